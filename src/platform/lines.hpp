// The files and pipes through which the module and the device's other programs speak.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <span>
#include <string_view>

#include "base/text.hpp"
#include "platform/os.hpp"

namespace kd {

// The next line with its line end, at most one byte less than there is room, terminated; a longer line comes
// in several pieces. The view has the true length also when the line holds NUL bytes; it is empty at the end
// of the input or after a failed read.
std::string_view read_piece(std::FILE* file, std::span<char> line);

// The same, but what does not fit is read and dropped, so that the next call starts at the next line.
std::string_view read_line(std::FILE* file, std::span<char> line);

// Skips a line as fscanf's "%[^\n]\n" does: with its end goes all white space that follows, the blanks at the
// start of the next line included; an empty line is not consumed at all.
void skip_line(std::FILE* file);

inline std::string_view without_line_end(std::string_view line) {
  return head(line, line.find('\n'));
}

// A whole file; empty text when it cannot be read.
void read_file(const char* path, Text& text);

// Writes the parts one behind the other; false when they did not all reach the disk.
bool write_and_close(os::File file, std::initializer_list<std::string_view> parts);

// First line of a file, cut to the room, as fgets reads it.
//   returns  false when the file cannot be opened; an empty file gives an empty text
bool read_first_line(const char* path, std::span<char> line);

// First line of a command's output; false when the pipe cannot be opened.
bool read_first_line_of_command(const char* command, std::span<char> line);

}  // namespace kd
