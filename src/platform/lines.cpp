#include "platform/lines.hpp"

namespace kd {

std::string_view read_piece(std::FILE* file, std::span<char> line) {
  std::size_t length = 0;
  while (length + 1 < line.size()) {
    const int byte = os::getc(file);
    if (byte == EOF) break;
    line[length++] = static_cast<char>(byte);
    if (byte == '\n') break;
  }
  line[length] = '\0';
  return {line.data(), length};
}

std::string_view read_line(std::FILE* file, std::span<char> line) {
  const std::string_view read = read_piece(file, line);
  char rest[256];
  for (std::string_view piece = read; piece.size() && piece.back() != '\n';) piece = read_piece(file, rest);
  return read;
}

void skip_line(std::FILE* file) {
  int byte = os::getc(file);
  if (byte != '\n') {
    while (byte != '\n' && byte != EOF) byte = os::getc(file);
    while (byte != EOF && is_space(static_cast<char>(byte))) byte = os::getc(file);
  }
  if (byte != EOF) os::ungetc(byte, file);
}

bool read_first_line(const char* path, std::span<char> line) {
  line[0] = '\0';
  const os::File file{os::fopen(path, "r")};
  if (!file) return false;
  read_piece(file.get(), line);
  return true;
}

bool read_first_line_of_command(const char* command, std::span<char> line) {
  line[0] = '\0';
  const os::Pipe pipe{os::popen(command)};
  if (!pipe) return false;
  read_piece(pipe.get(), line);
  return true;
}

bool write_and_close(os::File file, std::initializer_list<std::string_view> parts) {
  bool written = true;
  for (const std::string_view part : parts) {
    written &= os::fwrite(part.data(), part.size(), file.get()) == part.size();
  }
  // A full disk may show only when the last bytes are written out.
  return os::fclose(file.release()) == 0 && written;
}

void read_file(const char* path, Text& text) {
  const os::File file{os::fopen(path, "r")};
  const off_t length = file ? os::size(file.get()) : 0;
  if (length <= 0) return;
  const auto size = static_cast<std::size_t>(length);
  char* room = text.extend(size);
  if (room) text.shrink(os::fread(room, size, file.get()));
}

}  // namespace kd
