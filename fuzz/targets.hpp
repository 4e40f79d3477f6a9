// One function for each kind of untrusted input. To add one: declare it here and in the table below, write it
// in targets/, name it in CMakeLists.txt, and put seeds into seeds/<name>/.
#pragma once

#include <string_view>

namespace kd::fuzz {

void request_body(std::string_view input);  // line 1: SOAPAction, with a Content-Length behind its last quote
void authorization(std::string_view input);  // the header
void soap_action(std::string_view input);    // the header
void scan_list(std::string_view input);      // the radio's report
void station_table(std::string_view input);  // the driver's table; parts: table, "iwconfig", RSSI
void client_list(std::string_view input);    // the daemon's file; parts: list, learned name, pid file
void device_reports(
    std::string_view input);  // parts: board id, "ps", EEPROM, counters, WPS status and progress
void firmware_image(std::string_view input);   // an image, as it is and with its checksums repaired
void firmware_upload(std::string_view input);  // the body with the image in base64
void strings_file(std::string_view input);     // a language's strings
void store_file(std::string_view input);       // a section of the store

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
    {"store_file", store_file},
};

}  // namespace kd::fuzz
