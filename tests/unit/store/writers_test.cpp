// Several processes write the store at once: nobody's committed value is lost.
#include <sys/wait.h>

#include "scratch_store.hpp"

namespace kd::test {
namespace {

constexpr int kWriters = 4;
constexpr int kRounds = 60;

std::string key_of(int writer, int round) {
  return "key" + std::to_string(writer) + "-" + std::to_string(round);
}

// The module's way: the store stays open, so the cache is old at every commit.
bool write(int writer) {
  bool good = nvram_init(0) == 0;
  for (int i = 1; good && i <= kRounds; ++i) {
    good = nvram_bufset(0, key_of(writer, i).c_str(), "committed") == 0;
    if (i % 7 == 0) {  // a look at what the others wrote, between a set and its commit
      nvram_close(0);
      good = good && nvram_init(0) == 0 && value_of(key_of(writer, i)) == "committed";
    }
    good = good && nvram_commit(0) == 0;
  }
  return good;
}

class StoreWriters : public ScratchStore {};

TEST_F(StoreWriters, LoseNothingThatTheyCommitted) {
  for (int writer = 0; writer < kWriters; ++writer) {
    if (::fork() == 0) ::_exit(write(writer) ? 0 : 1);
  }
  for (int status = 0; ::wait(&status) > 0;) EXPECT_EQ(status, 0);
  EXPECT_EQ(nvram_init(0), 0);
  for (int writer = 0; writer < kWriters; ++writer) {
    for (int i = 1; i <= kRounds; ++i) EXPECT_EQ(value_of(key_of(writer, i)), "committed");
  }
}

}  // namespace
}  // namespace kd::test
