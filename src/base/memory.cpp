#include "base/memory.hpp"

#include <cstring>

// Of the leak checker, where there is one.
extern "C" __attribute__((weak)) void __lsan_ignore_object(const void* block);

namespace kd {

HeapText copy_of(std::string_view text) {
  HeapText copy{static_cast<char*>(std::malloc(text.size() + 1))};
  if (!copy) return copy;
  if (!text.empty()) std::memcpy(copy.get(), text.data(), text.size());
  copy.get()[text.size()] = '\0';
  return copy;
}

void outlives_request(void* block) {
  if (__lsan_ignore_object) __lsan_ignore_object(block);
}

}  // namespace kd
