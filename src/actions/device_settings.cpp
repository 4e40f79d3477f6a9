// GetDeviceSettings, SetDeviceSettings.
#include <cstdio>

#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "actions/properties.hpp"
#include "base/debug_log.hpp"
#include "platform/identity.hpp"
#include "platform/markers.hpp"
#include "xml/namespaces.hpp"
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
const char* listed_namespace(const hnap_request& request, std::string_view action) {
  if (action != "StartWPS" && action != "GetWPSStatus" && action != "StopWPS") return HNAP1_NAMESPACE;
  return request.alternate_namespace ? EXTENDER_NAMESPACE_B : EXTENDER_NAMESPACE_A;
}

void add_action_list(const hnap_request& request, Reply& reply) {
  reply.open("SOAPActions");
  for (const action_hndl_pair& row : action_hndl_pairs()) {
    char name[200];
    std::snprintf(name, sizeof name, "%s%s", listed_namespace(request, row.name), row.name.data());
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

bool has_length(const char* text, std::size_t least, std::size_t most) {
  const std::size_t length = view_of(text).size();
  return length >= least && length <= most;
}

ReplyText refuse_settings(hnap_request& request) {
  return Reply{request, "SetDeviceSettings", Namespace::core}.only("ERROR");
}

}  // namespace

ReplyText get_device_settings(hnap_request& request, const xml_element*) {
  KD_LOG_MODULE("%s", "get_device_settings");
  Reply reply{request, "GetDeviceSettings", Namespace::core};
  reply.result("OK");
  reply.leaf("Type", type_name(kd_get_device_type()));
  ConfigValue device_name{};
  kd_hnap_get_config(ConfigIndex::device_name, device_name);
  const EncodedText encoded_name{device_name};
  reply.leaf("DeviceName", encoded_name.get());

  property_leaf(reply, "VendorName", ConfigIndex::vendor_name);
  property_leaf(reply, "ModelDescription", ConfigIndex::model_description);
  property_leaf(reply, "ModelName", ConfigIndex::model_name);
  VersionField version{}, date{};
  kd_hnap_get_frimware_version_date(version, date);
  reply.leaf("FirmwareVersion", version);

  ConfigValue presentation_url{}, status_url{};
  kd_hnap_get_config(ConfigIndex::presentation_url, presentation_url);
  kd_hnap_get_config(ConfigIndex::status_url, status_url);
  reply.leaf("PresentationURL", presentation_url);
  add_action_list(request, reply);
  reply.leaf("SubDeviceURLs", "");
  reply.open("Tasks");
  add_task(reply, "Status Page", status_url);
  add_task(reply, "Basic Wireless Settings", presentation_url);
  add_task(reply, encoded_name.get(), SUPPORT_URL);
  return reply.finish();
}

ReplyText set_device_settings(hnap_request& request, const xml_element* action) {
  Reply reply{request, "SetDeviceSettings", Namespace::core};
  const char* name = "";
  const char* password = "";
  Argument arguments[] = {{"DeviceName", accept_text, &name}, {"AdminPassword", accept_text, &password}};
  if (const ArgumentFault fault = read_arguments(action, arguments)) return reply.error(fault.text);
  if (!has_length(name, 1, 15) || !has_length(password, 1, 64)) return refuse_settings(request);
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing

  kd_hnap_set_config(ConfigIndex::password, password);
  kd_hnap_set_config(ConfigIndex::device_name, name);
  kd_hnap_commit_config();
  // The store is committed first, so a failure here leaves the new password in it.
  return write_user_file(password) ? reply.finish() : refuse_settings(request);
}

}  // namespace kd
