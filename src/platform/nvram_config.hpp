// The configuration store, section 0.
#pragma once

#include "base/hnap_request.hpp"
#include "base/memory.hpp"

namespace kd {

// A value and its terminator: longer stored values are refused on reading.
inline constexpr std::size_t kConfigValueSize = 1024;
using config_value = char[kConfigValueSize];

// Properties that kd_hnap_get_config and kd_hnap_set_config name by number; every other number means nothing.
enum config_index : unsigned {
  kDeviceType = 0,
  kDeviceName = 1,  // "HostName"
  kVendorName = 3,
  kModelName = 4,
  kModelDescription = 5,
  kModelRevision = 6,
  kFirmwareVersion = 7,
  kPresentationUrl = 8,
  kStatusUrl = 9,
  kLanguage = 16,  // "Language"
  kPassword = 18,  // "Password"
};

// Copies one value out. An absent key clears `dst`. A value of 1024 characters or more leaves `dst` as it
// was: callers clear it first and so see an empty value.
void kd_get_nvram_config(const hnap_request* request, const char* key, config_value& dst);

// Sets one value without committing it; a null value stores an empty text. Returns the store's result.
int kd_set_nvram_config(const hnap_request* request, const char* key, const char* value);

// The stored text of a key; null when absent.
heap_text nvram_text(const char* key);

// A stored decimal number; 0 when absent, over-long or not a number.
int nvram_number(const hnap_request* request, const char* key);

// Reads a property into `dst`.
//   returns  the device type (0 to 3, `dst` untouched) for kDeviceType, else 0
int kd_hnap_get_config(const hnap_request* request, unsigned index, config_value& dst);

// Sets kDeviceName or kPassword; anything else does nothing. Always 0.
int kd_hnap_set_config(const hnap_request* request, unsigned index, const char* value);

// Writes the values set so far to flash. Returns the store's result.
int kd_hnap_commit_config(const hnap_request* request);

}  // namespace kd
