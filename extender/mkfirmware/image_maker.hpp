// Firmware images, whole or with one thing wrong, and the upload that carries them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kd::mkfirmware {

// What is wrong. Everything else is right, the checksums over it too, so that just one check can fail.
enum class Flaw {
  none,
  // of the image
  short_image,
  header_only,
  magic,
  header_crc,
  maker_magic,
  board,
  data_crc,
  data_size,
  huge_data_size,
  // of the upload
  no_tags,
  no_closing_tag,
  swapped_tags,
  empty_text,
  rubbish_text,
  cut_text,
};

// Whether only the upload can have it.
inline bool is_of_upload(Flaw flaw) {
  return flaw >= Flaw::no_tags;
}

struct FlawName {
  const char* name;
  Flaw flaw;
  const char* meaning;
};
const std::vector<FlawName>& flaw_names();
std::optional<Flaw> flaw_of(std::string_view name);

struct Recipe {
  std::string name = "test image";  // at most 20 characters are kept
  std::uint32_t board = 0;          // 0 fits every board
  Flaw flaw = Flaw::none;
};

// A header and the data behind it.
std::string make_image(std::string_view data, const Recipe& recipe);

// `columns` characters a line, 0 for a single line.
std::string base64(std::string_view bytes, std::size_t columns);

// The body of a FirmwareUpload request.
std::string make_upload(std::string_view image, std::size_t columns, Flaw flaw);

}  // namespace kd::mkfirmware
