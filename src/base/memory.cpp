#include "base/memory.hpp"

#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define KD_LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KD_LEAK_CHECKED 1
#endif
#endif
#ifdef KD_LEAK_CHECKED
#include <sanitizer/lsan_interface.h>
#endif

namespace kd {

HeapText copy_of(std::string_view text) {
  HeapText copy{static_cast<char*>(std::malloc(text.size() + 1))};
  if (!copy) return copy;
  if (!text.empty()) std::memcpy(copy.get(), text.data(), text.size());
  copy.get()[text.size()] = '\0';
  return copy;
}

void outlives_request([[maybe_unused]] void* block) {
#ifdef KD_LEAK_CHECKED
  __lsan_ignore_object(block);
#endif
}

}  // namespace kd
