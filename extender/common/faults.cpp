#include "common/faults.hpp"

#include <algorithm>
#include <utility>

namespace kd {
namespace {

std::string anything(const std::string&) {
  return "";
}

std::string wrong_moment(const std::string& value) {
  static constexpr const char* kMoments[] = {"request", "before", "in", "after"};
  return wrong_choice(value, kMoments);
}

std::string wrong_key(const std::string& value) {
  if (is_key_of("WEP", value) || is_key_of("WPA", value)) return "";
  return "one that somebody can join with: " + key_form("WPA") + "; " + key_form("WEP");
}

std::string wrong_action(const std::string& value) {
  static constexpr const char* kActions[] = {"GetDeviceSettings",
                                             "SetDeviceSettings",
                                             "GetDeviceSettings2",
                                             "SetDeviceSettings2",
                                             "IsDeviceReady",
                                             "Reboot",
                                             "RestoreFactoryDefaults",
                                             "FirmwareUpload",
                                             "GetFirmwareSettings",
                                             "DownloadSpeedTest",
                                             "GetWirelessClientCapabilities",
                                             "GetWirelessClientConnectionInfo",
                                             "GetWirelessClientConnectionInfo2",
                                             "GetWirelessClientSettings",
                                             "SetWirelessClientSettings",
                                             "SetWirelessClientSettings2",
                                             "GetLastSetWirelessClientSettingsResult",
                                             "GetWirelessNetworks",
                                             "GetWirelessNetworks2",
                                             "GetConnectedDevices",
                                             "StartWPS",
                                             "StopWPS",
                                             "GetWPSStatus",
                                             "GetMACFilters2",
                                             "SetMACFilters2",
                                             "GetNetworkStats"};
  return wrong_choice(value, kActions);
}

constexpr long kLongest = 600000;  // milliseconds
constexpr ValueCheck kTime = number_within<1, kLongest>;

// Of every fault, in front of its own fields.
#define KD_ANY_FAULT     \
  {"fault", anything}, { \
    "for", kTime         \
  }
#define KD_CONNECTION_FAULT                                                                 \
  KD_ANY_FAULT, {"share", number_within<1, 100>}, {"seed", number_within<0, 2147483646>}, { \
    "action", wrong_action                                                                  \
  }

constexpr Field kLate[] = {KD_CONNECTION_FAULT, {"ms", kTime, true}, {"jitter", number_within<0, kLongest>}};
constexpr Field kCut[] = {
    KD_CONNECTION_FAULT, {"at", wrong_moment, true}, {"bytes", number_within<1, 1 << 30>}};
constexpr Field kEmpty[] = {KD_CONNECTION_FAULT};
constexpr Field kTimed[] = {KD_ANY_FAULT, {"ms", kTime, true}};
constexpr Field kWeak[] = {KD_ANY_FAULT, {"ssid", wrong_ssid}, {"rssi", number_within<-110, -30>}};
constexpr Field kOfNetwork[] = {KD_ANY_FAULT, {"ssid", wrong_ssid, true}};
constexpr Field kNewKey[] = {KD_ANY_FAULT, {"ssid", wrong_ssid, true}, {"key", wrong_key}};
constexpr Field kTwin[] = {KD_ANY_FAULT,       {"ssid", wrong_ssid, true},        {"channel", wrong_channel},
                           {"key", wrong_key}, {"signal", number_within<0, 100>}, {"bssid", wrong_address}};
constexpr Field kRadar[] = {KD_ANY_FAULT, {"ssid", wrong_ssid, true}, {"channel", wrong_channel, true}};
constexpr Field kPlain[] = {KD_ANY_FAULT};

constexpr FaultKind kKinds[] = {
    {"late", true, kLate, "the reply comes ms=MILLISECONDS later (and up to jitter= more)"},
    {"cut", true, kCut,
     "the connection is reset: at=request (the device never sees it), before, in (behind bytes=N) or after "
     "the "
     "reply"},
    {"empty", true, kEmpty, "the connection ends without a reply"},
    {"slow-boot", false, kTimed, "each start takes ms=MILLISECONDS longer"},
    {"weak-signal", false, kWeak, "ssid=NAME, or every network, comes in with rssi=DBM (-86)"},
    {"upstream-gone", false, kOfNetwork, "the network ssid=NAME is off the air"},
    {"new-key", false, kNewKey, "the network ssid=NAME has another key, key=TEXT or one that nobody knows"},
    {"twin", false, kTwin,
     "a second network ssid=NAME (channel=, key=, signal=, bssid= differ if you say so)"},
    {"wpa3-only", false, kOfNetwork, "the network ssid=NAME takes WPA3 alone: the device cannot join it"},
    {"wpa3-mixed", false, kOfNetwork, "the network ssid=NAME takes WPA2 and WPA3"},
    {"radar", false, kRadar, "the network ssid=NAME moves to channel=N"},
    {"flash-fails", false, kPlain, "the flash writer ends without progress"},
    {"flash-stalls", false, kPlain, "the flash writer stops half-way for good"},
};

const FaultKind* find_kind(const std::string& name) {
  const auto at = std::find_if(std::begin(kKinds), std::end(kKinds),
                               [&](const FaultKind& kind) { return kind.name == name; });
  return at == std::end(kKinds) ? nullptr : at;
}

}  // namespace

std::span<const FaultKind> fault_kinds() {
  return kKinds;
}

std::string wrong_fault(const Record& record) {
  if (const FaultKind* kind = find_kind(record.text("fault"))) {
    if (record.has("bytes") && record.text("at") != "in") return "bytes=... goes with at=in";
    return check_fields(record, {kind->fields, true});
  }
  std::string names;
  for (const FaultKind& kind : kKinds) names += (names.empty() ? "" : ", ") + std::string(kind.name);
  return record.has("fault") ? "\"" + record.text("fault") + "\" is no fault; there are " + names
                             : "say fault=..., one of " + names;
}

CheckedFaults check_faults(std::string_view text) {
  CheckedFaults checked;
  Said said;
  checked.problems = check_record_lines(text, [&](Record& record) {
    std::string wrong = wrong_fault(record);
    if (wrong.empty()) wrong = said.wrong(format_record(record));
    if (!wrong.empty()) return wrong;
    const FaultKind* kind = find_kind(record.text("fault"));
    checked.faults.push_back({kind, std::move(record)});
    return wrong;
  });
  return checked;
}

std::vector<Fault> parse_faults(std::string_view text) {
  return check_faults(text).faults;
}

}  // namespace kd
