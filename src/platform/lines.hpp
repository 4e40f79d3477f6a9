// Reading the files and pipes that the device's other programs write.
#pragma once

#include <cstdio>
#include <string_view>

#include "base/text.hpp"
#include "platform/os.hpp"

namespace kd {

// The next line with its line end, at most N - 1 bytes, terminated; a longer line comes in several pieces.
// The view has the true length also when the line holds NUL bytes; it is empty at the end of the input or
// after a failed read.
template <std::size_t N>
std::string_view read_piece(std::FILE* file, char (&line)[N]) {
  std::size_t length = 0;
  while (length < N - 1) {
    const int byte = os::getc(file);
    if (byte == EOF) break;
    line[length++] = static_cast<char>(byte);
    if (byte == '\n') break;
  }
  line[length] = '\0';
  return {line, length};
}

// The same, but what does not fit is read and dropped, so that the next call starts at the next line.
template <std::size_t N>
std::string_view read_line(std::FILE* file, char (&line)[N]) {
  const std::string_view read = read_piece(file, line);
  char rest[256];
  for (std::string_view piece = read; piece.size() && piece.back() != '\n';) piece = read_piece(file, rest);
  return read;
}

// Skips a line as fscanf's "%[^\n]\n" does: with its end goes all white space that follows, the blanks at the
// start of the next line included; an empty line is not consumed at all.
inline void skip_line(std::FILE* file) {
  int byte = os::getc(file);
  if (byte != '\n') {
    while (byte != '\n' && byte != EOF) byte = os::getc(file);
    while (byte != EOF && is_space(static_cast<char>(byte))) byte = os::getc(file);
  }
  if (byte != EOF) std::ungetc(byte, file);
}

inline std::string_view without_line_end(std::string_view line) {
  return head(line, line.find('\n'));
}

// A whole file; empty text when it cannot be read.
void read_file(const char* path, Text& text);

// First line of a file, cut to N - 1 bytes, as fgets reads it.
//   returns  false when the file cannot be opened; an empty file gives an empty text
template <std::size_t N>
bool read_first_line(const char* path, char (&line)[N]) {
  line[0] = '\0';
  const os::File file{os::fopen(path, "r")};
  if (!file) return false;
  read_piece(file.get(), line);
  return true;
}

// First line of a command's output; false when the pipe cannot be opened.
template <std::size_t N>
bool read_first_line_of_command(const char* command, char (&line)[N]) {
  line[0] = '\0';
  const os::Pipe pipe{os::popen(command)};
  if (!pipe) return false;
  read_piece(pipe.get(), line);
  return true;
}

}  // namespace kd
