#include "module/authentication.hpp"

#include "base/base64.hpp"
#include "base/debug_log.hpp"
#include "host/host.hpp"
#include "platform/nvram_config.hpp"

namespace kd {
namespace {

constexpr std::string_view kScheme = "Basic";

// The realm names the first model whatever the device is.
constexpr std::string_view kChallenge = "Basic realm=\"NX220\"";

// Absent is not empty: a device without credentials lets nobody in.
bool is_stored(const char* key, std::string_view given) {
  const heap_text stored = nvram_text(key);
  return stored && given == stored.get();
}

// Some devices' libraries answer every key that is not there with an empty text. An empty login is none on
// such a device.
bool store_tells_absent_from_empty() {
  return !nvram_text("NeverStored");
}

}  // namespace

bool kd_hnap_is_authorized(hnap_request& request) {
  const auto value = host::header(*request.host, "Authorization");
  if (!value) {
    kd_hnap_printf(&request, kModuleSource, __LINE__, "Can not found the Authorization header");
    return false;
  }
  const std::size_t scheme = value->find(kScheme);
  if (scheme == std::string_view::npos) {
    kd_hnap_printf(&request, kModuleSource, __LINE__, "Is not Basic Authorization");
    return false;
  }
  const decoded_text credentials = b64_decode_strict(tail(*value, scheme + kScheme.size() + 1));
  if (!credentials.text) {
    host::log_error(*request.host, __LINE__, "decodeing base64-string for Authorization failed");
    return false;
  }
  const std::string_view text{credentials.text.get(), credentials.size};
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return false;
  const std::string_view user = head(text, colon);
  const std::string_view password = tail(text, colon + 1);
  request.auth_user = copy_of(user);
  request.auth_password = copy_of(password);

  // Without memory for the name there is nobody whom a handler could compare with.
  const bool authorized = request.auth_user && request.auth_password && is_stored("Login", user) &&
                          is_stored("Password", password) &&
                          (!user.empty() || store_tells_absent_from_empty());
  kd_hnap_printf(&request, kModuleSource, __LINE__, "%s",
                 authorized ? "Authorization successful" : "Authorization failed");
  return authorized;
}

void kd_hnap_fail_authorized(hnap_request& request) {
  host::add_header(*request.host, "WWW-Authenticate", kChallenge);
  host::refuse(*request.host, 401);
}

}  // namespace kd
