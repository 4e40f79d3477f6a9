// Commands, the system console and the process list.
#pragma once

#include <cstdarg>

namespace kd {

// One message on the system console: opens "/dev/console", writes, closes. A console that cannot be opened
// drops the message.
void console_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

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

// Process id of the first running process whose command (its first word) contains `name`.
//   returns  the id; 0 when there is none or the name is null or empty; -1 when the list cannot be read
//   source   "ps", through the scratch file "/var/psInfo", which is gone afterwards
int kd_get_process_pid(const char* name);

}  // namespace kd
