// What a client uploads.
#include <cstring>
#include <span>
#include <vector>

#include "base/base64.hpp"
#include "base/text.hpp"
#include "firmware/crc32.hpp"
#include "firmware/flash.hpp"
#include "firmware/upgrade.hpp"
#include "harness.hpp"
#include "support/requests.hpp"
#include "targets.hpp"

namespace kd::fuzz {
namespace {

constexpr const char* kUpload = "\"http://purenetworks.com/HNAP1/FirmwareUpload\"";

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
  const bool is_valid = check_image(nullptr, image) == image_fault::none;
  const std::string_view text{reinterpret_cast<const char*>(image.data()), image.size()};
  host::Request request = post(kUpload, "<Base64Image>" + test::base64(text) + "</Base64Image>");
  extender.serve(request);
  const auto written = extender.device.files.find(kUploadedImagePath);
  demand(is_valid == (written != extender.device.files.end()), "a valid image, and no other, is written");
  demand(!is_valid || written->second == text, "the image is written as it is");
}

// The lenient decoder, one character after the other.
Bytes decode_slowly(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  Bytes decoded;
  unsigned bits = 0, count = 0;
  for (const char c : head(text, text.find('\0'))) {
    const std::size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) continue;
    bits = bits << 6 | static_cast<unsigned>(value);
    if (count++ % 4 != 0) decoded.push_back(static_cast<unsigned char>(bits >> (2 * (3 - (count - 1) % 4))));
  }
  return decoded;
}

}  // namespace

void firmware_image(std::string_view input) {
  const auto* data = reinterpret_cast<const unsigned char*>(input.data());
  const std::size_t half = input.size() / 2;
  demand(crc32(crc32(0, data, half), data + half, input.size() - half) == crc32(0, data, input.size()),
         "a checksum may be taken in two steps");
  Bytes image{data, data + input.size()};
  upload_image(image);
  if (image.size() < kImageHeaderSize) return;
  repair(image);
  upload_image(image);
}

void firmware_upload(std::string_view input) {
  Extender extender;
  host::Request request = post(kUpload, input);
  extender.serve(request);
  demand(contains(request.reply, "<FirmwareUploadResult>"), "an upload has a result");

  const std::string_view text = find_image_text(input).value_or("");
  Bytes decoded(text.begin(), text.end());
  decoded.resize(b64_decode({reinterpret_cast<const char*>(decoded.data()), decoded.size()}, decoded.data(),
                            decoded.size()));
  const Bytes expected = decode_slowly(text);
  demand(decoded == expected, "decoding in place gives the same");
  Bytes start(expected.size() / 2);
  demand(b64_decode(text, start.data(), start.size()) == start.size(), "no more is written than fits");
}

}  // namespace kd::fuzz
