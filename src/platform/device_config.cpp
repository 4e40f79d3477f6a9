#include "platform/device_config.hpp"

#include "platform/identity.hpp"

namespace kd {
namespace {

int kd_get_language(ConfigValue& out) {
  kd_get_nvram_config("Language", out);
  return 0;
}

constexpr struct {
  ConfigIndex index;
  int (*read)(ConfigValue& out);
} kReaders[] = {
    {ConfigIndex::device_name, kd_get_device_name},
    {ConfigIndex::vendor_name, kd_get_vendor_name},
    {ConfigIndex::model_name, kd_get_model_name},
    {ConfigIndex::model_description, kd_get_model_desc},
    {ConfigIndex::model_revision, kd_get_model_reversion},
    {ConfigIndex::firmware_version, kd_get_firmware_version},
    {ConfigIndex::presentation_url, kd_get_presentation_url},
    {ConfigIndex::status_url, kd_get_status_url},
    {ConfigIndex::language, kd_get_language},
};

}  // namespace

int kd_hnap_get_config(ConfigIndex index, ConfigValue& dst) {
  if (index == ConfigIndex::device_type) return kd_get_device_type();
  for (const auto& reader : kReaders) {
    if (reader.index == index) reader.read(dst);
  }
  return 0;
}

int kd_hnap_set_config(ConfigIndex index, const char* value) {
  if (index == ConfigIndex::device_name) kd_set_nvram_config("HostName", value);
  if (index == ConfigIndex::password) kd_set_nvram_config("Password", value);
  return 0;
}

}  // namespace kd
