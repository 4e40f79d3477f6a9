#include "platform/user_file.hpp"

#include "platform/lines.hpp"

namespace kd {

bool write_user_file(const char* password) {
  os::File file{os::fopen("/etc/lighttpd.user", "w+")};
  return file && write_and_close(std::move(file), {"admin:", password});
}

}  // namespace kd
