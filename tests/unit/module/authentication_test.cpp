#include "module/authentication.hpp"

#include "support/cases.hpp"

namespace kd::test {
namespace {

using Authentication = DeviceTest;
using Effects = std::vector<std::string>;
using namespace std::string_view_literals;

const std::string kGood = base64("admin:password");
constexpr const char* kUndecodable = "decodeing base64-string for Authorization failed";

TEST_F(Authentication, AcceptsTheStoredCredentialsOnly) {
  const struct {
    const char* name;
    std::optional<std::string> value;
    bool accepted;
    const char* log = nullptr;
  } rows[] = {
      {"right", "Basic " + kGood, true},
      {"unpadded", "Basic " + kGood.substr(0, kGood.find('=')), true},
      {"any separator", "Basic:" + kGood, true},
      {"behind something else", "Bearer x, Basic " + kGood, true},
      {"missing", std::nullopt, false},
      {"another scheme", "Digest " + kGood, false},
      {"the word alone", "Basic", false},
      {"the word and a blank", "Basic ", false},
      {"two blanks", "Basic  " + kGood, false, kUndecodable},
      {"a blank behind", "Basic " + kGood + " ", true},
      {"not base64", "Basic ****", false, kUndecodable},
      {"no colon", "Basic " + base64("admin"), false},
      {"NUL behind the user", "Basic " + base64("admin\0:password"sv), false},
      {"NUL behind the password", "Basic " + base64("admin:password\0"sv), false},
      {"password in another case", "Basic " + base64("admin:Password"), false},
      {"shorter", "Basic " + base64("admin:passwor"), false},
      {"longer", "Basic " + base64("admin:password1"), false},
      {"both empty", "Basic " + base64(":"), false},
  };
  for (const auto& row : rows) {
    host::Request request = soap_request("IsDeviceReady");
    std::erase_if(request.headers, [](const auto& header) { return header.first == "Authorization"; });
    if (row.value) set_header(request, "authorization", *row.value);
    EXPECT_TRUE(send(request));
    EXPECT_EQ(request.status, row.accepted ? 200 : 401) << row.name;
    EXPECT_EQ(request.refused, !row.accepted) << row.name;
    EXPECT_EQ(request.reply.empty(), !row.accepted) << row.name;
    EXPECT_EQ(request.log, row.log ? Effects{row.log} : Effects{}) << row.name;
    const Headers challenge = {{"WWW-Authenticate", "Basic realm=\"NX220\""}};
    EXPECT_EQ(request.reply_headers == challenge, !row.accepted) << row.name;
  }
}

TEST_F(Authentication, ComparesWithWhatIsStored) {
  const struct {
    const char* name;
    std::optional<std::string> login, password;
    const char* given;
    bool accepted;
  } rows[] = {
      {"colon in the password", "admin", "a:b:", "admin:a:b:", true},
      {"no login stored", std::nullopt, "password", ":password", false},
      {"no password stored", "admin", std::nullopt, "admin:", false},
      {"nothing stored", std::nullopt, std::nullopt, ":", false},
      {"empty password stored", "admin", "", "admin:", true},
      {"both empty", "", "", ":", true},
      {"longer than a value may be", "admin", std::string(2000, 'p'), "admin:p", false},
  };
  for (const auto& row : rows) {
    device.library.clear();
    if (row.login) device.set("Login", *row.login);
    if (row.password) device.set("Password", *row.password);
    host::Request host;
    set_header(host, "Authorization", "Basic " + base64(row.given));
    hnap_request request;
    request.host = &host;
    EXPECT_EQ(kd_hnap_is_authorized(request), row.accepted) << row.name;
    EXPECT_EQ(std::string{request.auth_user.get()} + ":" + request.auth_password.get(), row.given)
        << row.name;
  }
}

// A library that gives an empty text for what is absent: nobody gets into a device without credentials.
TEST_F(Authentication, NeedsALoginWhereAbsentLooksEmpty) {
  device.library.clear();
  device.absent_is_empty = true;
  const struct {
    const char *login, *given;
    bool accepted;
  } rows[] = {{"", ":", false}, {"admin", "admin:", true}};
  for (const auto& row : rows) {
    device.set("Login", row.login);
    host::Request host;
    set_header(host, "Authorization", "Basic " + base64(row.given));
    hnap_request request;
    request.host = &host;
    EXPECT_EQ(kd_hnap_is_authorized(request), row.accepted) << row.given;
  }
}

}  // namespace
}  // namespace kd::test
