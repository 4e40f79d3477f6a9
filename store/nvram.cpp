// The C interface of the store over its files.
#pragma GCC visibility push(default)
#include "nvram.h"
#pragma GCC visibility pop

#include <cstdlib>
#include <cstring>

#include "section_file.hpp"
#include "value_table.hpp"

namespace {

enum class Cache {
  none,      // never read
  closed,    // waits for the next opening
  outlived,  // that opening failed: in use all the same, and the next one tries again
  open,
};

struct Section {
  Cache cache = Cache::none;
  kd::store::Table stored;   // the file as last read
  kd::store::Table pending;  // set by this process and not yet committed; lies over what is stored
};

constinit Section sections[kd::store::kSections];

Section* open_section(int index) {
  if (index < 0 || index >= kd::store::kSections) return nullptr;
  Section& s = sections[index];
  return s.cache == Cache::open || s.cache == Cache::outlived ? &s : nullptr;
}

}  // namespace

int nvram_init(int section) {
  if (section < 0 || section >= kd::store::kSections) return -1;
  Section& s = sections[section];
  if (s.cache == Cache::open) return 0;
  kd::store::Table read;
  if (kd::store::read_section(kd::store::directory(), section, read) != kd::store::ReadStatus::ok) {
    // A server that could not read its password any more would let nobody in until its restart.
    if (s.cache == Cache::closed) s.cache = Cache::outlived;
    return -1;
  }
  s.stored.swap(read);
  s.cache = Cache::open;
  return 0;
}

char* nvram_bufget(int section, const char* key) {
  const Section* s = open_section(section);
  if (s == nullptr || key == nullptr) return nullptr;
  const char* value = s->pending.find(key);
  if (value == nullptr) value = s->stored.find(key);
  return value != nullptr ? strdup(value) : nullptr;
}

int nvram_bufset(int section, const char* key, const char* value) {
  Section* s = open_section(section);
  if (s == nullptr || key == nullptr || value == nullptr) return -1;
  return s->pending.set(key, value) ? 0 : -1;
}

int nvram_commit(int section) {
  Section* s = open_section(section);
  if (s == nullptr) return -1;
  if (s->pending.size() == 0) return 0;

  const char* directory = kd::store::directory();
  kd::store::Lock lock;
  if (!lock.acquire(directory, section)) return -1;
  // Other processes have committed since this one read the file: their values stay.
  kd::store::Table merged;
  if (kd::store::read_section(directory, section, merged) != kd::store::ReadStatus::ok) return -1;
  // Setting what is stored already writes nothing: flash wears, and every start sets one key to the same "0".
  if (!merged.contains(s->pending)) {
    if (!merged.overlay(s->pending) || !kd::store::replace_section(directory, section, merged)) return -1;
  }
  s->stored.swap(merged);
  s->pending.clear();
  return 0;
}

void nvram_close(int section) {
  Section* s = open_section(section);
  if (s != nullptr) s->cache = Cache::closed;
}
