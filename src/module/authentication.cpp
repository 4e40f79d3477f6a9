#include "module/authentication.hpp"

#include "base/base64.hpp"
#include "base/debug_log.hpp"
#include "platform/nvram_config.hpp"

namespace kd {
namespace {

constexpr std::string_view kScheme = "Basic";

// The realm names the first model whatever the device is.
constexpr std::string_view kChallenge = "Basic realm=\"NX220\"";

constexpr const char* kUndecodable = "decodeing base64-string for Authorization failed";

struct Credentials {
  HeapText user = {};
  HeapText password = {};
  bool right = false;
  const char* why = "";  // for the log; empty when it says nothing
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
  if (!value) return {.why = "Can not found the Authorization header"};
  const std::size_t scheme = value->find(kScheme);
  if (scheme == std::string_view::npos) return {.why = "Is not Basic Authorization"};
  const DecodedText decoded = b64_decode_strict(tail(*value, scheme + kScheme.size() + 1));
  if (!decoded.text) return {.why = kUndecodable};
  const std::string_view text{decoded.text.get(), decoded.size};
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return {};
  const std::string_view user = head(text, colon);
  const std::string_view password = tail(text, colon + 1);
  Credentials found{copy_of(user), copy_of(password)};
  // Without memory for the name there is nobody whom a handler could compare with.
  found.right = found.user && found.password && is_stored("Login", user) && is_stored("Password", password) &&
                (!user.empty() || store_tells_absent_from_empty());
  found.why = found.right ? "Authorization successful" : "Authorization failed";
  return found;
}

}  // namespace

bool has_stored_credentials(const port::Request& server_request) {
  return judge(server_request).right;
}

bool kd_hnap_is_authorized(port::Request& server_request, hnap_request& request) {
  Credentials found = judge(server_request);
  request.auth_user = std::move(found.user);
  request.auth_password = std::move(found.password);
  if (found.why == kUndecodable) {
    port::log_error(server_request, __LINE__, found.why);
  } else {
    KD_LOG_MODULE("%s", found.why);
  }
  return found.right;
}

void kd_hnap_fail_authorized(port::Request& server_request) {
  port::add_header(server_request, "WWW-Authenticate", kChallenge);
  port::refuse(server_request, 401);
}

}  // namespace kd
