#include "platform/nvram_config.hpp"

#include <cstring>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "nvram.h"
#include "platform/identity.hpp"

namespace kd {

heap_text nvram_text(const char* key) {
  return heap_text{nvram_bufget(0, key)};
}

void kd_get_nvram_config(const hnap_request* request, const char* key, config_value& dst) {
  heap_text value = nvram_text(key);
  if (value && std::strlen(value.get()) >= kConfigValueSize) {
    kd_hnap_printf(request, kModuleSource, __LINE__, "%s%d%s", "The nvram value exceed maximum length (",
                   static_cast<int>(kConfigValueSize), ")");
    // The store's copy of a refused value is given up, not freed: the device does so.
    leak_deliberately(value.release());
    return;
  }
  std::memset(dst, 0, kConfigValueSize);
  copy_text(dst, view_of(value.get()));
}

int kd_set_nvram_config(const hnap_request*, const char* key, const char* value) {
  return nvram_bufset(0, key, value ? value : "");
}

int nvram_number(const hnap_request* request, const char* key) {
  config_value value{};
  kd_get_nvram_config(request, key, value);
  return text_to_int(value);
}

int kd_hnap_get_config(const hnap_request* request, unsigned index, config_value& dst) {
  switch (index) {
    case kDeviceType:
      return kd_get_device_type(request);
    case kDeviceName:
      kd_get_device_name(request, dst);
      break;
    case kVendorName:
      kd_get_vendor_name(request, dst);
      break;
    case kModelName:
      kd_get_model_name(request, dst);
      break;
    case kModelDescription:
      kd_get_model_desc(request, dst);
      break;
    case kModelRevision:
      kd_get_model_reversion(request, dst);
      break;
    case kFirmwareVersion:
      kd_get_firmware_version(request, dst);
      break;
    case kPresentationUrl:
      kd_get_presentation_url(request, dst);
      break;
    case kStatusUrl:
      kd_get_status_url(request, dst);
      break;
    case kLanguage:
      kd_get_nvram_config(request, "Language", dst);
      break;
    default:
      break;
  }
  return 0;
}

int kd_hnap_set_config(const hnap_request* request, unsigned index, const char* value) {
  if (index == kDeviceName) kd_set_nvram_config(request, "HostName", value);
  if (index == kPassword) kd_set_nvram_config(request, "Password", value);
  return 0;
}

int kd_hnap_commit_config(const hnap_request* request) {
  kd_hnap_printf(request, kModuleSource, __LINE__, "Commit settings");
  return nvram_commit(0);
}

}  // namespace kd
