// What a client uploads.
#include <algorithm>
#include <vector>

#include "base/text.hpp"
#include "firmware/crc32.hpp"
#include "firmware/upgrade.hpp"
#include "harness.hpp"
#include "mkfirmware/image_maker.hpp"
#include "targets.hpp"

namespace kd::fuzz {
namespace {

constexpr std::string_view kUpload = "\"http://purenetworks.com/HNAP1/FirmwareUpload\"";

using Bytes = std::vector<unsigned char>;

void put_number(Bytes& image, image_field field, std::uint32_t number) {
  for (std::size_t i = 0; i < 4; ++i) image[field + i] = static_cast<unsigned char>(number >> (24 - 8 * i));
}

// Everything right that a mutation cannot guess.
void repair(Bytes& image) {
  put_number(image, kImageMagicField, kImageMagic);
  put_number(image, kImageMakerMagicField, kMakerMagic);
  const std::uint32_t size = image_number(image, kImageDataSizeField);
  if (size <= image.size() - kImageHeaderSize) {
    put_number(image, kImageDataCrcField, crc32(0, image.data() + kImageHeaderSize, size));
  }
  put_number(image, kImageHeaderCrcField, image_header_crc(image));
}

void upload_image(const Bytes& image) {
  Extender extender;
  const bool is_valid = check_image(image) == ImageFault::none;
  const std::string_view bytes{reinterpret_cast<const char*>(image.data()), image.size()};
  const std::string body = mkfirmware::make_upload(bytes, 76, mkfirmware::Flaw::none);
  port::Request request{.soap_action = kUpload, .body = body};
  extender.serve(request);
  const auto written = extender.device.files.find("/var/hnapUploadedFirmware");
  demand(is_valid == (written != extender.device.files.end()), "a valid image, and no other, is written");
  demand(!is_valid || written->second == bytes, "the image is written as it is");
}

}  // namespace

void firmware_image(std::string_view input) {
  Bytes image{input.begin(), input.end()};
  upload_image(image);
  if (image.size() < kImageHeaderSize) return;
  repair(image);
  upload_image(image);
}

void firmware_upload(std::string_view input) {
  Extender extender;
  port::Request request{.soap_action = kUpload, .body = input};
  extender.serve(request);
  demand(contains(request.reply, "<FirmwareUploadResult>"), "an upload has a result");
}

}  // namespace kd::fuzz
