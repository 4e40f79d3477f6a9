// The configuration store, section 0.
#pragma once

#include "base/memory.hpp"

namespace kd {

// A value and its terminator: longer stored values are refused on reading.
inline constexpr std::size_t kConfigValueSize = 1024;
using ConfigValue = char[kConfigValueSize];

// Opens the store's two sections.
void open_config();

// Closes the store and opens it again, which shows what other programs wrote.
void reopen_config();

// Writes the values set so far to flash. Returns the store's result.
int kd_hnap_commit_config();

// The stored text of a key; null when absent.
HeapText nvram_text(const char* key);

// Copies one value out. An absent key clears `dst`. A value of 1024 characters or more leaves `dst` as it
// was: callers clear it first and so see an empty value.
void kd_get_nvram_config(const char* key, ConfigValue& dst);

// A stored decimal number; 0 when absent, over-long or not a number.
int nvram_number(const char* key);

// Sets one value without committing it; a null value stores an empty text. Returns the store's result.
int kd_set_nvram_config(const char* key, const char* value);

// Resets how the last choice of a network ended, "LastSetWirelessClientResult", in the store itself.
void forget_last_choice();

}  // namespace kd
