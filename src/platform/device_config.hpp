// The properties of the device that the protocol names by number: from the store, or built in.
#pragma once

#include "platform/nvram_config.hpp"

namespace kd {

// Every other number means nothing.
enum class ConfigIndex : unsigned {
  device_type = 0,
  device_name = 1,  // "HostName"
  vendor_name = 3,
  model_name = 4,
  model_description = 5,
  model_revision = 6,
  firmware_version = 7,
  presentation_url = 8,
  status_url = 9,
  language = 16,  // "Language"
  password = 18,  // "Password"
};

// Reads a property into `dst`.
//   returns  the device type (0 to 3, `dst` untouched) for device_type, else 0
int kd_hnap_get_config(ConfigIndex index, ConfigValue& dst);

// Sets device_name or password; anything else does nothing. Always 0.
int kd_hnap_set_config(ConfigIndex index, const char* value);

}  // namespace kd
