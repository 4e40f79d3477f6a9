// One function for each kind of untrusted input. To add one: declare it here and in the table below, write it
// in targets/, and put seeds into seeds/<name>/, named after what they hold.
#pragma once

#include <string_view>

namespace kd::fuzz {

// What a client sends.
void request_body(std::string_view input);     // line 1: SOAPAction; behind its last quote the Content-Length
void authorization(std::string_view input);    // the header
void soap_action(std::string_view input);      // the header
void firmware_upload(std::string_view input);  // a body with an image in base64
void firmware_image(std::string_view input);   // the image, as it is and with its checksums repaired

// What the device's other programs report, some of it learned from the air. Parts end in a line "--".
void scan_list(std::string_view input);
void station_table(std::string_view input);   // the table, the uplink's "iwconfig", its RSSI
void client_list(std::string_view input);     // the list, a learned device name, the daemon's pid file
void device_reports(std::string_view input);  // board id, "ps", EEPROM, traffic, WPS status, WPS progress

// Files: the device's own, and those that people edit while the virtual extender runs.
void strings_file(std::string_view input);
void store_file(std::string_view input);
void radio_files(std::string_view input);

struct Target {
  const char* name;
  void (*run)(std::string_view input);
};
inline constexpr Target kTargets[] = {
    {"request_body", request_body},       {"authorization", authorization},
    {"soap_action", soap_action},         {"scan_list", scan_list},
    {"station_table", station_table},     {"client_list", client_list},
    {"device_reports", device_reports},   {"firmware_image", firmware_image},
    {"firmware_upload", firmware_upload}, {"strings_file", strings_file},
    {"store_file", store_file},           {"radio_files", radio_files},
};

}  // namespace kd::fuzz
