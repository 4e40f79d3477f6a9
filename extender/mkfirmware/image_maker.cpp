#include "mkfirmware/image_maker.hpp"

#include <algorithm>

#include "firmware/crc32.hpp"
#include "firmware/image.hpp"

namespace kd::mkfirmware {
namespace {

const unsigned char* bytes_of(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

void put_number(std::string& image, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) image[at + i] = static_cast<char>(value >> (24 - 8 * i));
}

std::uint32_t data_size(std::string_view data, Flaw flaw) {
  if (flaw == Flaw::huge_data_size) return 0xFFFFFFFF;
  return static_cast<std::uint32_t>(data.size()) + (flaw == Flaw::data_size ? 1 : 0);
}

}  // namespace

const std::vector<FlawName>& flaw_names() {
  static const std::vector<FlawName> names = {
      {"none", Flaw::none, "a valid image"},
      {"short", Flaw::short_image, "63 bytes"},
      {"header-only", Flaw::header_only, "64 bytes: the header of data that do not follow"},
      {"magic", Flaw::magic, "another magic number"},
      {"header-crc", Flaw::header_crc, "another checksum of the header"},
      {"maker-magic", Flaw::maker_magic, "another maker's mark"},
      {"board", Flaw::board, "the number of another board"},
      {"data-crc", Flaw::data_crc, "another checksum of the data"},
      {"data-size", Flaw::data_size, "one byte more announced than there is"},
      {"huge-data-size", Flaw::huge_data_size, "4294967295 bytes announced"},
      {"no-tags", Flaw::no_tags, "upload without the image's tags"},
      {"no-closing-tag", Flaw::no_closing_tag, "upload without the closing tag"},
      {"swapped-tags", Flaw::swapped_tags, "upload with the closing tag first"},
      {"empty", Flaw::empty_text, "upload with nothing between the tags"},
      {"rubbish", Flaw::rubbish_text, "upload with text that is no base64"},
      {"cut", Flaw::cut_text, "upload with a NUL byte half-way"},
  };
  return names;
}

std::optional<Flaw> flaw_of(std::string_view name) {
  for (const FlawName& each : flaw_names()) {
    if (name == each.name) return each.flaw;
  }
  return std::nullopt;
}

std::string make_image(std::string_view data, const Recipe& recipe) {
  const Flaw flaw = recipe.flaw;
  std::string image(kImageHeaderSize, '\0');
  image.replace(kImageNameField, std::min(recipe.name.size(), kImageNameSize), recipe.name, 0,
                kImageNameSize);
  put_number(image, kImageMagicField, kImageMagic ^ (flaw == Flaw::magic));
  put_number(image, kImageDataSizeField, data_size(data, flaw));
  put_number(image, kImageDataCrcField, crc32(0, bytes_of(data), data.size()) ^ (flaw == Flaw::data_crc));
  put_number(image, kImageMakerMagicField, kMakerMagic ^ (flaw == Flaw::maker_magic));
  put_number(image, kImageBoardField, recipe.board ^ (flaw == Flaw::board ? 3 : 0));
  const std::uint32_t header_crc = image_header_crc({bytes_of(image), image.size()});
  put_number(image, kImageHeaderCrcField, header_crc ^ (flaw == Flaw::header_crc));
  image += data;
  if (flaw == Flaw::short_image) image.resize(kImageHeaderSize - 1);
  if (flaw == Flaw::header_only) image.resize(kImageHeaderSize);
  return image;
}

std::string base64(std::string_view bytes, std::size_t columns) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  std::size_t column = 0;
  const auto put = [&](char c) {
    text += c;
    if (columns > 0 && ++column == columns) {
      text += '\n';
      column = 0;
    }
  };
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view group = bytes.substr(at, 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0);
    }
    for (std::size_t i = 0; i < 4; ++i) put(i <= group.size() ? alphabet[bits >> (18 - 6 * i) & 0x3F] : '=');
  }
  return text;
}

std::string make_upload(std::string_view image, std::size_t columns, Flaw flaw) {
  std::string text = base64(image, columns);
  if (flaw == Flaw::empty_text) text.clear();
  if (flaw == Flaw::rubbish_text) text = "-- ?? .. --";
  if (flaw == Flaw::cut_text) text[text.size() / 2] = '\0';
  std::string opening = "<Base64Image>", closing = "</Base64Image>";
  if (flaw == Flaw::no_tags) opening.clear();
  if (flaw == Flaw::no_tags || flaw == Flaw::no_closing_tag) closing.clear();
  if (flaw == Flaw::swapped_tags) opening.swap(closing);
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">\n<soap:Body>\n"
         "<FirmwareUpload xmlns=\"http://purenetworks.com/HNAP1/\">" +
         opening + text + closing + "</FirmwareUpload>\n</soap:Body>\n</soap:Envelope>\n";
}

}  // namespace kd::mkfirmware
