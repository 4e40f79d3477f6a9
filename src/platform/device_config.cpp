#include "platform/device_config.hpp"

#include "platform/identity.hpp"

namespace kd {

int kd_hnap_get_config(ConfigIndex index, ConfigValue& dst) {
  switch (index) {
    case ConfigIndex::device_type:
      return kd_get_device_type();
    case ConfigIndex::device_name:
      kd_get_device_name(dst);
      break;
    case ConfigIndex::vendor_name:
      kd_get_vendor_name(dst);
      break;
    case ConfigIndex::model_name:
      kd_get_model_name(dst);
      break;
    case ConfigIndex::model_description:
      kd_get_model_desc(dst);
      break;
    case ConfigIndex::model_revision:
      kd_get_model_reversion(dst);
      break;
    case ConfigIndex::firmware_version:
      kd_get_firmware_version(dst);
      break;
    case ConfigIndex::presentation_url:
      kd_get_presentation_url(dst);
      break;
    case ConfigIndex::status_url:
      kd_get_status_url(dst);
      break;
    case ConfigIndex::language:
      kd_get_nvram_config("Language", dst);
      break;
    case ConfigIndex::password:
      break;  // is only set
  }
  return 0;
}

int kd_hnap_set_config(ConfigIndex index, const char* value) {
  if (index == ConfigIndex::device_name) kd_set_nvram_config("HostName", value);
  if (index == ConfigIndex::password) kd_set_nvram_config("Password", value);
  return 0;
}

}  // namespace kd
