// The files of the store: one a section, in the directory that NVRAM_DIR names.
#pragma once

#include "value_table.hpp"

namespace kd::store {

constexpr int kSections = 2;

// The index of a section given by name ("2860") or by number ("0"); -1 when there is none.
int section_index(const char* name);

// NVRAM_DIR, or "/etc/nvram" when it is unset or empty.
const char* directory();

enum class ReadStatus { ok, damaged, failed };

// Reads a section's file into an empty table. A file that does not exist is an empty section.
//   returns  damaged: not a whole, well-formed file; failed: cannot be opened or read, or memory is short
ReadStatus read_section(const char* directory, int section, Table& out);

// The section's write lock, held between all processes from acquire() to the end of this object.
class Lock {
 public:
  Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock();

  // Waits for the lock. False when its file cannot be made or locked.
  [[nodiscard]] bool acquire(const char* directory, int section);

 private:
  int fd_ = -1;
};

// Replaces a section's file; the caller holds the lock. A crash or power cut at any moment leaves the old
// file or the new one, whole.
//   returns  false when the new file could not be written or put in place
[[nodiscard]] bool replace_section(const char* directory, int section, const Table& table);

}  // namespace kd::store
