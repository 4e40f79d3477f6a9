// What `strings` finds in the file: the release that it is of.
#include <cstddef>

namespace kd {

#if __has_attribute(retain)  // the linker drops what nothing refers to
#define KD_KEEP gnu::used, gnu::retain
#else
#define KD_KEEP gnu::used
#endif
[[KD_KEEP]] static const char kVersion[] = "mod_kd_hnap " KD_HNAP_VERSION;

}  // namespace kd
