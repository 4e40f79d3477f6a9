// GetDeviceSettings, SetDeviceSettings.
#include <cstring>

#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "base/flags.hpp"
#include "platform/identity.hpp"
#include "platform/nvram_config.hpp"
#include "platform/os.hpp"
#include "xml/namespaces.hpp"
#include "xml/reply.hpp"
#include "xml/xml_encode.hpp"

namespace kd {
namespace {

const char* type_name(int device_type) {
  switch (device_type) {
    case 0:
      return "WiFiAccessPoint";
    case 1:
      return "WiFiBridge";
    case 3:
      return "Extender";
    default:
      return "GatewayWithWiFi";
  }
}

// These three belong to the extender's namespace wherever they are listed.
const char* listed_namespace(std::string_view action) {
  if (action != "StartWPS" && action != "GetWPSStatus" && action != "StopWPS") return HNAP1_NAMESPACE;
  return flags.alternate_namespace ? EXTENDER_NAMESPACE_B : EXTENDER_NAMESPACE_A;
}

void add_action_list(Reply& reply) {
  reply.open("SOAPActions");
  for (const action_hndl_pair& row : action_hndl_pairs()) {
    char name[200];
    std::snprintf(name, sizeof name, "%s%s", listed_namespace(row.name), row.name.data());
    reply.leaf("string", name);
  }
  reply.close();
}

void add_task(Reply& reply, const char* name, const char* url) {
  reply.open("TaskExtension");
  reply.leaf("Name", name);
  reply.leaf("URL", url);
  reply.leaf("Type", "Browser");
  reply.close();
}

// The web server's own login uses this file.
bool write_user_file(const char* password) {
  os::File file{os::fopen("/etc/lighttpd.user", "w+")};
  if (!file) return false;
  bool written = true;
  for (const std::string_view part : {std::string_view{"admin:"}, std::string_view{password}}) {
    written &= os::fwrite(part.data(), part.size(), file.get()) == part.size();
  }
  // A full disk may show only when the last bytes are written out.
  return os::fclose(file.release()) == 0 && written;
}

bool has_length(const char* text, std::size_t least, std::size_t most) {
  const std::size_t length = std::strlen(text);
  return length >= least && length <= most;
}

reply_text refuse_settings() {
  Reply reply{"SetDeviceSettings", Namespace::core};
  reply.result("ERROR");
  return reply.finish();
}

}  // namespace

reply_text get_device_settings(hnap_request& request, const xml_element*) {
  kd_hnap_printf(&request, kModuleSource, __LINE__, "%s", "get_device_settings");
  Reply reply{"GetDeviceSettings", Namespace::core};
  config_value value{};
  reply.result("OK");
  reply.leaf("Type", type_name(kd_hnap_get_config(&request, kDeviceType, value)));
  config_value device_name{};
  kd_hnap_get_config(&request, kDeviceName, device_name);
  const EncodedText encoded_name{device_name};
  reply.leaf("DeviceName", encoded_name.get());

  constexpr struct {
    const char* element;
    config_index index;
  } kIdentity[] = {
      {"VendorName", kVendorName}, {"ModelDescription", kModelDescription}, {"ModelName", kModelName}};
  for (const auto& [element, index] : kIdentity) {
    value[0] = '\0';
    kd_hnap_get_config(&request, index, value);
    reply.leaf(element, value);
  }
  version_field version{}, date{};
  kd_hnap_get_frimware_version_date(&request, version, date);
  reply.leaf("FirmwareVersion", version);

  config_value presentation_url{}, status_url{};
  kd_hnap_get_config(&request, kPresentationUrl, presentation_url);
  kd_hnap_get_config(&request, kStatusUrl, status_url);
  reply.leaf("PresentationURL", presentation_url);
  add_action_list(reply);
  reply.leaf("SubDeviceURLs", "");
  reply.open("Tasks");
  add_task(reply, "Status Page", status_url);
  add_task(reply, "Basic Wireless Settings", presentation_url);
  add_task(reply, encoded_name.get(), SUPPORT_URL);
  return reply.finish();
}

reply_text set_device_settings(hnap_request& request, const xml_element* action) {
  Reply reply{"SetDeviceSettings", Namespace::core};
  const char* name = "";
  const char* password = "";
  Argument arguments[] = {text_argument("DeviceName", &name), text_argument("AdminPassword", &password)};
  if (const argument_fault fault = read_arguments(action, arguments)) return reply.error(fault.text);
  if (!has_length(name, 1, 15) || !has_length(password, 1, 64)) return refuse_settings();
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing

  kd_hnap_set_config(&request, kPassword, password);
  kd_hnap_set_config(&request, kDeviceName, name);
  kd_hnap_commit_config(&request);
  // The store is committed first, so a failure here leaves the new password in it.
  return write_user_file(password) ? reply.finish() : refuse_settings();
}

}  // namespace kd
