#include "nvram_tools.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "nvram.h"
#include "section_file.hpp"

namespace kd::store {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongArguments = 2;

// Opens the section that the first argument names; -1 after a message.
int open_named(const char* program, const char* name, int& status) {
  const int section = section_index(name);
  if (section < 0) {
    std::fprintf(stderr, "%s: no section \"%s\"\n", program, name);
    status = kWrongArguments;
    return -1;
  }
  if (nvram_init(section) != 0) {
    std::fprintf(stderr, "%s: section %s in %s cannot be read, or is damaged\n", program, name, directory());
    status = kFailed;
    return -1;
  }
  return section;
}

}  // namespace

int nvram_set_main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: nvram_set SECTION KEY VALUE\n", stderr);
    return kWrongArguments;
  }
  int status = 0;
  const int section = open_named("nvram_set", argv[1], status);
  if (section < 0) return status;
  if (nvram_bufset(section, argv[2], argv[3]) != 0 || nvram_commit(section) != 0) {
    std::fprintf(stderr, "nvram_set: %s cannot be stored in %s\n", argv[2], directory());
    return kFailed;
  }
  return 0;
}

int nvram_get_main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: nvram_get SECTION KEY\n", stderr);
    return kWrongArguments;
  }
  int status = 0;
  const int section = open_named("nvram_get", argv[1], status);
  if (section < 0) return status;
  const OwnedText value(nvram_bufget(section, argv[2]));
  if (!value) return kFailed;
  return std::puts(value.get()) < 0 || std::fflush(stdout) != 0 ? kFailed : 0;
}

}  // namespace kd::store
