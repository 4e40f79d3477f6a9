#pragma once

#include <cstdarg>

namespace kd {

// Formats a shell command of at most 4095 characters, echoes it on the console and runs it. A longer command
// is reported on the console and run as far as it fits.
//   returns  the result of system(), 0 when no command could be formatted
int doSystem(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Formats into a new heap text that the caller frees: at most limit - 1 characters, the rest is dropped. The
// conversions are those of printf; %n and %S, and null texts for %s, are not to be written.
//   returns  length of the whole formatted text: `limit` or more when it did not fit; 0 with a null `result`
//            when memory is short or the limit is below 1
int fmtValloc(char** result, int limit, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

}  // namespace kd
