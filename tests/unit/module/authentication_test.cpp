#include "mkfirmware/image_maker.hpp"
#include "support/fixture.hpp"

namespace kd::test::authentication {

using namespace std::string_view_literals;
using Authentication = DeviceTest;

std::string basic(std::string_view credentials) {
  return "Basic " + mkfirmware::base64(credentials, 0);
}

TEST_F(Authentication, LetsOnlyTheStoredCredentialsIn) {
  const std::string good = basic("admin:password").substr(6);
  for (const std::string& value : {"Basic " + good, "Basic " + good.substr(0, good.find('=')),
                                   "Basic:" + good, "Bearer x, Basic " + good, "Basic " + good + " "}) {
    EXPECT_EQ(ask(with_header(soap("IsDeviceReady"), "Authorization", value)),
              reply_of("IsDeviceReady", "OK"))
        << value;
  }
  for (const std::string& value :
       {std::string{"Digest "} + good, std::string{"Basic"}, std::string{"Basic "}, "Basic  " + good,
        std::string{"Basic ****"}, basic("admin"), basic("admin\0:password"sv), basic("admin:password\0"sv),
        basic("Admin:password"), basic("admin:Password"), basic("admin:passwor"), basic("admin:password1"),
        basic(":"), std::string{"(no header)"}}) {
    Request request = with_header(soap("IsDeviceReady"), "Authorization", value);
    if (value.starts_with("(")) request.headers.pop_back();
    server.receive(request);
    EXPECT_EQ(server.sent(), "<page of the server>") << value;
    EXPECT_EQ(server.status(), 401) << value;
    EXPECT_EQ(server.reply_headers(), "WWW-Authenticate: Basic realm=\"NX220\"\n") << value;
    const bool is_undecodable = value.starts_with("Basic  ") || value.starts_with("Basic *");
    EXPECT_EQ(server.log(),
              Effects(is_undecodable, "mod_kd_hnap.c: decodeing base64-string for Authorization failed"));
    server.finish();
  }
}

TEST_F(Authentication, ComparesWithWhatIsStored) {
  const std::string kLong(2000, 'p');
  const struct {
    const char* name;
    std::vector<std::pair<std::string, std::string>> stored;
    const char* given;
    bool accepted;
    bool absent_is_empty = false;  // what the store's library says of a key that is not there
  } rows[] = {
      {"colon in the password", {{"Login", "admin"}, {"Password", "a:b:"}}, "admin:a:b:", true},
      {"no login stored", {{"Password", "password"}}, ":password", false},
      {"no password stored", {{"Login", "admin"}}, "admin:", false},
      {"empty password stored", {{"Login", "admin"}, {"Password", ""}}, "admin:", true},
      {"both empty", {{"Login", ""}, {"Password", ""}}, ":", true},
      {"longer than a value may be", {{"Login", "admin"}, {"Password", kLong}}, "admin:p", false},
      {"nothing stored looks empty", {}, ":", false, true},
      {"an empty login is none then", {{"Login", ""}, {"Password", "x"}}, ":x", false, true},
      {"no password looks empty", {{"Login", "admin"}}, "admin:", true, true},
  };
  for (const auto& row : rows) {
    device.library.clear();
    device.absent_is_empty = row.absent_is_empty;
    has_stored(row.stored)(device);
    server.receive(with_header(soap("IsDeviceReady"), "Authorization", basic(row.given)));
    EXPECT_EQ(server.status(), row.accepted ? 200 : 401) << row.name;
  }
}

}  // namespace kd::test::authentication
