// What a client sends.
#include <algorithm>

#include "base/text.hpp"
#include "harness.hpp"
#include "module/intake.hpp"
#include "targets.hpp"

namespace kd::fuzz {
namespace {

constexpr std::string_view kIsDeviceReady =
    "<Envelope><Body><IsDeviceReady xmlns=\"http://purenetworks.com/HNAP1/\"/></Body></Envelope>";
constexpr std::string_view kIsDeviceReadyAction = "\"http://purenetworks.com/HNAP1/IsDeviceReady\"";

}  // namespace

void request_body(std::string_view input) {
  constexpr std::int32_t kMostLength = 100000;  // longer ones only take longer
  const std::string_view header = head(input, input.find('\n'));
  const std::string_view length = tail(header, header.rfind('"') + 1);
  Extender extender;
  port::Request request{.soap_action = header, .body = tail(input, header.size() + 1)};
  if (!length.empty())
    request.length = static_cast<std::uint32_t>(std::min(text_to_int(length), kMostLength));
  extender.serve(request);

  // The request may have changed them.
  extender.device.set("Login", "admin");
  extender.device.set("Password", "password");
  extender.ask("IsDeviceReady");
}

void authorization(std::string_view input) {
  // admin:password in base64; its last character has four bits that do not count.
  constexpr std::string_view kCredentials = "YWRtaW46cGFzc3dvcm";
  Extender extender;
  port::Request request{.soap_action = kIsDeviceReadyAction, .authorization = input, .body = kIsDeviceReady};
  extender.serve(request);
  demand(request.refused || contains(input, kCredentials), "nobody else gets in");
}

void soap_action(std::string_view input) {
  demand(soap_action_of(input).size() < 1024, "the action is cut");
  Extender extender;
  for (const port::Method method : {port::Method::post, port::Method::get}) {
    port::Request request{.method = method, .soap_action = input, .body = kIsDeviceReady};
    extender.serve(request);
  }
}

}  // namespace kd::fuzz
