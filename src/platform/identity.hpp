// What the device is. One binary serves two hardware models, told apart by "/var/boardid". Unless said
// otherwise a getter writes a terminated text and returns 0.
#pragma once

#include "base/hnap_request.hpp"
#include "platform/nvram_config.hpp"

namespace kd {

// Also the realm of the login challenge, on either model.
inline constexpr const char* kFirstModelName = "NX220";

int kd_get_vendor_name(const hnap_request* request, config_value& out);
int kd_get_model_desc(const hnap_request* request, config_value& out);
int kd_get_presentation_url(const hnap_request* request, config_value& out);
int kd_get_status_url(const hnap_request* request, config_value& out);
int kd_get_device_name(const hnap_request* request, config_value& out);

// Compares the first line of the board id file as it is, line end included: a file that ends in a line end
// always names the first model. Returns 1, with `out` unwritten, when the pipe cannot be opened.
int kd_get_model_name(const hnap_request* request, config_value& out);

// These two compare the file's first word, and take the first model when the pipe cannot be opened.
int kd_get_model_reversion(const hnap_request* request, config_value& out);
int kd_get_firmware_version(const hnap_request* request, config_value& out);

// 0 access point, 1 bridge, 2 gateway, 3 extender; from "OperationMode", "ethConvert" and "apClient".
int kd_get_device_type(const hnap_request* request);

// Fourteen characters from the radio's EEPROM and a terminator; takes at least 13 ms.
inline constexpr std::size_t kSerialNumberSize = 15;
int kd_hnap_get_serial_number(const hnap_request* request, char (&out)[kSerialNumberSize]);

inline constexpr std::size_t kVersionFieldSize = 128;
using version_field = char[kVersionFieldSize];

// Splits the built-in version string into the version ("3.1.07, build 2") and the date
// ("2014-04-19T00:00:00"). Callers clear both fields first.
//   returns  0, or -1 when the string cannot be split
int kd_hnap_get_frimware_version_date(const hnap_request* request, version_field& version_out,
                                      version_field& date_out);

// The same for any version string.
int split_firmware_version(const char* text, version_field& version_out, version_field& date_out);

// Turns a three-letter month name into its two-digit number in place.
//   text     at least 3 bytes of room
//   returns  0, or -1 for an unknown name, which stays
int kd_hnap_translate_month_string(char* text);

}  // namespace kd
