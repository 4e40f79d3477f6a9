// Several processes write the store at once, some are killed: nobody's committed value is lost.
#include <signal.h>
#include <sys/wait.h>

#include <functional>
#include <random>
#include <vector>

#include "scratch_store.hpp"

namespace kd::test {
namespace {

constexpr int kWriters = 4;
constexpr int kRounds = 60;
constexpr int kVictims = 20;

pid_t start(const std::function<bool()>& work) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(work() ? 0 : 1);
  return pid;
}

int end_of(pid_t pid) {
  int status = 0;
  ::waitpid(pid, &status, 0);
  return status;
}

std::string key_of(int writer, int round) {
  return "key" + std::to_string(writer) + "-" + std::to_string(round);
}

bool set(const std::string& key, const std::string& value) {
  return nvram_bufset(0, key.c_str(), value.c_str()) == 0;
}

bool reopen() {
  nvram_close(0);
  return nvram_init(0) == 0;
}

// The module's way: the store stays open, so the cache is old at every commit.
bool write(int writer) {
  if (nvram_init(0) != 0) return false;
  for (int i = 1; i <= kRounds; ++i) {
    if (!set(key_of(writer, i), "committed") || !set(key_of(writer, 0), std::to_string(i))) return false;
    // A look at what the others wrote, between a set and its commit.
    if (i % 7 == 0 && (!reopen() || value_of(key_of(writer, 0)) != std::to_string(i))) return false;
    if (nvram_commit(0) != 0) return false;
  }
  return true;
}

// Sees whole commits only.
bool watch() {
  for (int i = 0; i < 20 * kRounds; ++i) {
    if (!reopen()) return false;
    const std::string last = value_of(key_of(0, 0));
    if (last != "(none)" && value_of(key_of(0, std::stoi(last))) != "committed") return false;
  }
  return true;
}

// Commits without an end, to be killed.
bool write_until_killed() {
  unsigned i = 0;
  while (reopen() && set("victim", std::string(++i % 4000, 'v')) && nvram_commit(0) == 0) continue;
  return false;
}

class StoreWriters : public ScratchStore {};

TEST_F(StoreWriters, LoseNothingThatTheyCommitted) {
  std::vector<pid_t> workers = {start(watch)};
  for (int writer = 0; writer < kWriters; ++writer) workers.push_back(start([=] { return write(writer); }));
  std::minstd_rand random(1);
  for (int i = 0; i < kVictims; ++i) {
    const pid_t victim = start(write_until_killed);
    ::usleep(std::uniform_int_distribution<unsigned>(0, 20000)(random));
    ::kill(victim, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(end_of(victim)));
  }
  for (const pid_t worker : workers) EXPECT_EQ(end_of(worker), 0);
  EXPECT_TRUE(reopen());
  for (int writer = 0; writer < kWriters; ++writer) {
    for (int i = 1; i <= kRounds; ++i) EXPECT_EQ(value_of(key_of(writer, i)), "committed");
  }
}

}  // namespace
}  // namespace kd::test
