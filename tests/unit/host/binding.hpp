// What the tests of both bindings share. Each has its own program, compiled against its double of the server.
#pragma once

#include <algorithm>

#include "host.hpp"  // of support/classic_host or support/modern_host
#include "support/fixture.hpp"

namespace kd::test {

using Binding = DeviceTest;

inline constexpr const char* kCore = "http://purenetworks.com/HNAP1/";
inline const std::string kMarker = "run echo 1 > /tmp/postponeSiteSurvey";
inline const std::string kMarkerGone = "run rm -f /tmp/postponeSiteSurvey";
inline const std::string kReload = "console Reload WLAN by HNAP\n";
inline const std::string kReady =
    whole_reply("IsDeviceReady", "<IsDeviceReadyResult>OK</IsDeviceReadyResult>\n", kCore);

inline std::string body_of(const char* action) {
  return envelope(action, elements({{"DeviceName", "Den"}, {"AdminPassword", "secret"}}), kCore);
}

inline TestedRequest post(const char* action, std::vector<Piece> body) {
  TestedRequest request;
  request.headers = soap_headers(action, kCore);
  request.body = std::move(body);
  return request;
}
inline TestedRequest post(const char* action) {
  return post(action, {{Piece::memory, body_of(action)}});
}

// Its action waits for the connection's end.
inline TestedRequest choice_of_network() {
  const char* action = "SetWirelessClientSettings";
  const Arguments arguments = {{"SSID", "Upstream"},         {"NetworkType", "INFRASTRUCTURE"},
                               {"SecurityEnabled", "false"}, {"SecurityType", ""},
                               {"Encryption", ""},           {"Key", ""}};
  return post(action, {{Piece::memory, envelope(action, elements(arguments), kCore)}});
}

}  // namespace kd::test
