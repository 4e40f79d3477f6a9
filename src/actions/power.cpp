// IsDeviceReady, Reboot, RestoreFactoryDefaults.
#include "actions/kd_hnap_handler.hpp"
#include "platform/markers.hpp"
#include "platform/restart.hpp"
#include "xml/reply.hpp"

namespace kd {

ReplyText is_device_ready(hnap_request& request, const xml_element*) {
  return Reply{request, "IsDeviceReady", Namespace::core}.only(is_device_started() ? "OK" : "ERROR");
}

ReplyText reboot_dev(hnap_request& request, const xml_element*) {
  ReplyText text = Reply{request, "Reboot", Namespace::core}.only("REBOOT");
  if (!request.hnap_error_flag) request.module.hnap_reboot_flag = true;
  return text;
}

ReplyText restore_factory_defaults(hnap_request& request, const xml_element*) {
  ReplyText text = Reply{request, "RestoreFactoryDefaults", Namespace::core}.only("REBOOT");
  if (!request.hnap_error_flag) kd_hnap_reset_device();
  return text;
}

}  // namespace kd
