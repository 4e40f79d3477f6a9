// The debug log, written to the server's error log in a build with KD_HNAP_DEBUG_LOG: it shows the flow, and
// keys, passwords and names with it. In every other build nothing of it is compiled in; formats are checked
// all the same.
#pragma once

namespace kd {

#ifdef KD_HNAP_DEBUG_LOG
inline constexpr bool kDebugLog = true;
#else
inline constexpr bool kDebugLog = false;
#endif

// Where the messages go, one line without its end at a time; set by the binding to the server.
using DebugLogSink = void (*)(const char* source, int line, const char* text);
void set_debug_log_sink(DebugLogSink sink);

// One message of at most 2047 bytes under the name of a source.
void kd_hnap_printf(const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace kd

// The two names under which the messages are known. What stands in a message runs in a build with the log
// only: it has no effects.
#define KD_LOG(source, ...) (kd::kDebugLog ? kd::kd_hnap_printf(source, __LINE__, __VA_ARGS__) : void())
#define KD_LOG_MODULE(...) KD_LOG("mod_kd_hnap.c", __VA_ARGS__)
#define KD_LOG_HANDLER(...) KD_LOG("kd_hnap_handler.c", __VA_ARGS__)
