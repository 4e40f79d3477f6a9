#pragma once

namespace kd {

// One message on the system console: opens "/dev/console", writes, closes. A console that cannot be opened
// drops the message.
void console_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace kd
