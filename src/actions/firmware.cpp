// FirmwareUpload, GetFirmwareSettings.
#include <cstdlib>
#include <optional>

#include "actions/kd_hnap_handler.hpp"
#include "actions/properties.hpp"
#include "base/base64.hpp"
#include "base/debug_log.hpp"
#include "firmware/upgrade.hpp"
#include "platform/identity.hpp"
#include "platform/markers.hpp"
#include "platform/restart.hpp"

namespace kd {
namespace {

// The base64 text of an upload: what lies between the tags; none when one of them is missing or they stand in
// the wrong order.
std::optional<std::string_view> find_image_text(std::string_view body) {
  constexpr std::string_view kOpening = "<Base64Image>";
  constexpr std::string_view kClosing = "</Base64Image>";
  const std::size_t opening = body.find(kOpening);
  if (opening == std::string_view::npos) return std::nullopt;
  const std::string_view text = tail(body, opening + kOpening.size());
  const std::size_t closing = text.find(kClosing);
  if (closing == std::string_view::npos) return std::nullopt;
  return head(text, closing);
}

// Replaces the body by the image in it; false when there is none. Decoding in place and giving the rest back
// keeps one copy of an upload that takes a good part of the device's memory.
bool decode_content(hnap_request& request) {
  const auto text = find_image_text(request.body());
  if (!text) return false;
  KD_LOG_MODULE("Got the frimware image from HNAP message ..");
  KD_LOG_MODULE("The size of firmware image before base64 decode is %d bytes",
                static_cast<int>(text->size()));
  const std::size_t size = b64_decode(*text, request.content.get(), request.content_len);
  KD_LOG_MODULE("The size of firmware image after base64 decode is %d bytes", static_cast<int>(size));
  unsigned char* body = request.content.release();
  void* image = size > 0 ? std::realloc(body, size) : nullptr;
  if (!image) std::free(body);
  request.content.reset(static_cast<unsigned char*>(image));
  request.content_len = image ? static_cast<std::uint32_t>(size) : 0;
  return image || size == 0;
}

bool upgrade(hnap_request& request) {
  if (request.isFirmwareSizeTooLarge) return false;  // the body was not even read
  stop_daemons_for_upgrade();
  return decode_content(request) &&
         kd_hnap_firmware_upgrade({request.content.get(), request.content_len}) == 0;
}

}  // namespace

ReplyText firmware_upload(hnap_request& request, const xml_element*) {
  // The device first, the reply afterwards: once the flash is written the restart follows in any case.
  const bool upgraded = upgrade(request);
  if (upgraded) {
    request.module.hnap_reboot_flag = true;
  } else {
    KD_LOG_MODULE("Firmware upgrade fail, abort...");
    release_site_survey();
  }
  return Reply{request, "FirmwareUpload", Namespace::core}.only(upgraded ? "REBOOT" : "ERROR");
}

ReplyText get_firmware_settings(hnap_request& request, const xml_element*) {
  KD_LOG_MODULE("%s", "get_firmware_settings");
  Reply reply{request, "GetFirmwareSettings", Namespace::core};
  reply.result("OK");
  property_leaf(reply, "VendorName", ConfigIndex::vendor_name);
  property_leaf(reply, "ModelName", ConfigIndex::model_name);
  property_leaf(reply, "ModelRevision", ConfigIndex::model_revision);
  VersionField version{}, date{};
  kd_hnap_get_frimware_version_date(version, date);
  reply.leaf("FirmwareVersion", version);
  reply.leaf("FirmwareDate", date);
  reply.open("UpdateMethods");
  reply.leaf("string", "HNAP_UPLOAD");
  return reply.finish();
}

}  // namespace kd
