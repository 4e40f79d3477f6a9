#include "mkfirmware/image_maker.hpp"
#include "support/fixture.hpp"

namespace kd::test {
namespace {

using Authentication = DeviceTest;

using namespace std::string_view_literals;

std::string basic(std::string_view credentials) {
  return "Basic " + mkfirmware::base64(credentials, 0);
}

TEST_F(Authentication, LetsOnlyTheStoredCredentialsIn) {
  const std::string good = basic("admin:password").substr(6);
  const Effects undecodable = {"mod_kd_hnap.c: decodeing base64-string for Authorization failed"};
  const struct {
    const char* name;
    std::optional<std::string> value;
    bool accepted;
    Effects log = {};
  } rows[] = {
      {"right", "Basic " + good, true},
      {"unpadded", "Basic " + good.substr(0, good.find('=')), true},
      {"any separator", "Basic:" + good, true},
      {"behind something else", "Bearer x, Basic " + good, true},
      {"a blank behind", "Basic " + good + " ", true},
      {"missing", std::nullopt, false},
      {"another scheme", "Digest " + good, false},
      {"the word alone", "Basic", false},
      {"the word and a blank", "Basic ", false},
      {"two blanks", "Basic  " + good, false, undecodable},
      {"not base64", "Basic ****", false, undecodable},
      {"no colon", basic("admin"), false},
      {"NUL behind the user", basic("admin\0:password"sv), false},
      {"NUL behind the password", basic("admin:password\0"sv), false},
      {"user in another case", basic("Admin:password"), false},
      {"password in another case", basic("admin:Password"), false},
      {"shorter", basic("admin:passwor"), false},
      {"longer", basic("admin:password1"), false},
      {"both empty", basic(":"), false},
  };
  for (const auto& row : rows) {
    Request request = soap("IsDeviceReady");
    request.headers.pop_back();
    if (row.value) request = with_header(request, "authorization", *row.value);
    server.receive(request);
    EXPECT_EQ(server.sent(), row.accepted ? reply_of("IsDeviceReady", "OK") : "<page of the server>")
        << row.name;
    EXPECT_EQ(server.status(), row.accepted ? 200 : 401) << row.name;
    EXPECT_EQ(server.reply_header("WWW-Authenticate"), row.accepted ? "" : "Basic realm=\"NX220\"")
        << row.name;
    EXPECT_EQ(server.log(), row.log) << row.name;
    server.finish();
  }
}

TEST_F(Authentication, ComparesWithWhatIsStored) {
  const struct {
    const char* name;
    std::optional<std::string> login, password;
    const char* given;
    bool accepted;
    bool absent_is_empty = false;  // what the store's library says of a key that is not there
  } rows[] = {
      {"colon in the password", "admin", "a:b:", "admin:a:b:", true},
      {"no login stored", std::nullopt, "password", ":password", false},
      {"no password stored", "admin", std::nullopt, "admin:", false},
      {"nothing stored", std::nullopt, std::nullopt, ":", false},
      {"empty password stored", "admin", "", "admin:", true},
      {"both empty", "", "", ":", true},
      {"longer than a value may be", "admin", std::string(2000, 'p'), "admin:p", false},
      {"nothing stored looks empty", std::nullopt, std::nullopt, ":", false, true},
      {"an empty login is none then", "", "x", ":x", false, true},
      {"no password looks empty", "admin", std::nullopt, "admin:", true, true},
  };
  for (const auto& row : rows) {
    device.library.clear();
    device.absent_is_empty = row.absent_is_empty;
    if (row.login) device.set("Login", *row.login);
    if (row.password) device.set("Password", *row.password);
    server.receive(with_header(soap("IsDeviceReady"), "Authorization", basic(row.given)));
    EXPECT_EQ(server.status(), row.accepted ? 200 : 401) << row.name;
  }
}

}  // namespace
}  // namespace kd::test
