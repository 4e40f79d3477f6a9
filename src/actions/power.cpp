// IsDeviceReady, Reboot, RestoreFactoryDefaults.
#include "actions/kd_hnap_handler.hpp"
#include "platform/markers.hpp"
#include "platform/restart.hpp"
#include "xml/reply.hpp"

namespace kd {
ReplyText is_device_ready(hnap_request& request, const xml_element*) {
  Reply reply{request, "IsDeviceReady", Namespace::core};
  reply.result(is_device_started() ? "OK" : "ERROR");
  return reply.finish();
}

ReplyText reboot_dev(hnap_request& request, const xml_element*) {
  Reply reply{request, "Reboot", Namespace::core};
  reply.result("REBOOT");
  ReplyText text = reply.finish();
  if (!request.hnap_error_flag) request.module.hnap_reboot_flag = true;
  return text;
}

ReplyText restore_factory_defaults(hnap_request& request, const xml_element*) {
  Reply reply{request, "RestoreFactoryDefaults", Namespace::core};
  reply.result("REBOOT");
  ReplyText text = reply.finish();
  if (!request.hnap_error_flag) kd_hnap_reset_device();
  return text;
}

}  // namespace kd
