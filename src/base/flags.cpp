#include "base/flags.hpp"

namespace kd {

hnap_flags flags;

}  // namespace kd
