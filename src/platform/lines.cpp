#include "platform/lines.hpp"

namespace kd {

void read_file(const char* path, Text& text) {
  const os::File file{os::fopen(path, "r")};
  struct ::stat status;
  if (!file || os::stat(path, &status) != 0 || status.st_size <= 0) return;
  const auto size = static_cast<std::size_t>(status.st_size);
  char* room = text.extend(size);
  if (!room) return;
  text.truncate(os::fread(room, size, file.get()));
}

}  // namespace kd
