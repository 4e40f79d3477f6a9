#pragma once

#include <cstdarg>

namespace kd {

// Formats a shell command of at most 4095 characters, echoes it on the console and runs it. A longer command
// is reported on the console and run as far as it fits.
//   returns  the result of system(), 0 when no command could be formatted
int doSystem(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Formats into a new heap text that the caller frees: at most limit - 1 characters, the rest is dropped.
// Conversions d i u o x X c s S p n %; flags - + space # 0; width and precision, also as *; modifiers h and
// l.
//   returns  length of the text; `limit` or more when it did not fit; 0 with a null `result` when memory is
//            short or the limit is below 1
int fmtValloc(char** result, int limit, const char* format, va_list arguments);

}  // namespace kd
