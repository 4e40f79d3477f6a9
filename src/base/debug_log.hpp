#pragma once

#include "base/hnap_request.hpp"

namespace kd {

// Source names of the debug log.
inline constexpr const char* kModuleSource = "mod_kd_hnap.c";
inline constexpr const char* kHandlerSource = "kd_hnap_handler.c";

// The debug log, silent in this build: its messages document the flow, and their formats are checked.
inline void kd_hnap_printf(const hnap_request*, const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
inline void kd_hnap_printf(const hnap_request*, const char*, int, const char*, ...) {}

}  // namespace kd
