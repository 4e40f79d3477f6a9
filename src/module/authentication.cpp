#include "module/authentication.hpp"

#include "base/base64.hpp"
#include "base/debug_log.hpp"
#include "platform/nvram_config.hpp"

namespace kd {
namespace {

constexpr std::string_view kScheme = "Basic";

// The realm names the first model whatever the device is.
constexpr std::string_view kChallenge = "Basic realm=\"NX220\"";

enum class Verdict { no_header, not_basic, undecodable, no_colon, wrong, right };

struct Credentials {
  Verdict verdict;
  HeapText user;
  HeapText password;
};

// Absent is not empty: a device without credentials lets nobody in.
bool is_stored(const char* key, std::string_view given) {
  const HeapText stored = nvram_text(key);
  return stored && given == stored.get();
}

// Some devices' libraries answer every key that is not there with an empty text. An empty login is none on
// such a device.
bool store_tells_absent_from_empty() {
  return !nvram_text("NeverStored");
}

Credentials judge(const port::Request& server_request) {
  const auto value = port::header(server_request, "Authorization");
  if (!value) return {Verdict::no_header, {}, {}};
  const std::size_t scheme = value->find(kScheme);
  if (scheme == std::string_view::npos) return {Verdict::not_basic, {}, {}};
  const DecodedText decoded = b64_decode_strict(tail(*value, scheme + kScheme.size() + 1));
  if (!decoded.text) return {Verdict::undecodable, {}, {}};
  const std::string_view text{decoded.text.get(), decoded.size};
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return {Verdict::no_colon, {}, {}};
  const std::string_view user = head(text, colon);
  const std::string_view password = tail(text, colon + 1);
  Credentials found{Verdict::wrong, copy_of(user), copy_of(password)};
  // Without memory for the name there is nobody whom a handler could compare with.
  if (found.user && found.password && is_stored("Login", user) && is_stored("Password", password) &&
      (!user.empty() || store_tells_absent_from_empty())) {
    found.verdict = Verdict::right;
  }
  return found;
}

}  // namespace

bool has_stored_credentials(const port::Request& server_request) {
  return judge(server_request).verdict == Verdict::right;
}

bool kd_hnap_is_authorized(port::Request& server_request, hnap_request& request) {
  Credentials found = judge(server_request);
  request.auth_user = std::move(found.user);
  request.auth_password = std::move(found.password);
  switch (found.verdict) {
    case Verdict::no_header:
      KD_LOG_MODULE("Can not found the Authorization header");
      break;
    case Verdict::not_basic:
      KD_LOG_MODULE("Is not Basic Authorization");
      break;
    case Verdict::undecodable:
      port::log_error(server_request, __LINE__, "decodeing base64-string for Authorization failed");
      break;
    case Verdict::no_colon:
      break;
    case Verdict::wrong:
      KD_LOG_MODULE("Authorization failed");
      break;
    case Verdict::right:
      KD_LOG_MODULE("Authorization successful");
      return true;
  }
  return false;
}

void kd_hnap_fail_authorized(port::Request& server_request) {
  port::add_header(server_request, "WWW-Authenticate", kChallenge);
  port::refuse(server_request, 401);
}

}  // namespace kd
