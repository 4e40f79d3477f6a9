// Several processes write the store at once, some are killed: nobody's committed value is lost.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "nvram.h"
#include "nvram_tools.hpp"
#include "scratch_store.hpp"
#include "section_file.hpp"

namespace kd::test {
namespace {

constexpr int kRounds = 60;
constexpr int kVictims = 40;

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

// What `nvram_set 2860 KEY VALUE` does, in a process of its own.
bool set_by_tool(std::string key, std::string value) {
  char program[] = "nvram_set";
  char section[] = "2860";
  char* words[] = {program, section, key.data(), value.data(), nullptr};
  return end_of(start([&] { return store::nvram_set_main(4, words) == 0; })) == 0;
}

std::string stored(const std::string& key) {
  nvram_close(0);
  if (nvram_init(0) != 0) return "(unreadable)";
  const std::unique_ptr<char, decltype(&std::free)> value(nvram_bufget(0, key.c_str()), &std::free);
  return value ? value.get() : "(absent)";
}

// The module's way: one process that keeps the store open and whose cache is old at every commit.
bool write_as_module() {
  if (nvram_init(0) != 0) return false;
  for (int i = 1; i <= kRounds; ++i) {
    const std::string value = std::to_string(i);
    if (nvram_bufset(0, "module-a", value.c_str()) != 0 || nvram_bufset(0, "module-b", value.c_str()) != 0)
      return false;
    // A look at what the others wrote, between a set and its commit.
    if (i % 7 == 0 && stored("module-a") != value) return false;
    if (nvram_commit(0) != 0) return false;
  }
  return true;
}

bool write_with_tool(int writer) {
  for (int i = 1; i <= kRounds; ++i) {
    const std::string key = "tool" + std::to_string(writer) + "-" + std::to_string(i);
    if (!set_by_tool(key, "committed") || stored(key) != "committed") return false;
  }
  return true;
}

// Sees whole commits only: the module's two values are equal at every moment.
bool watch() {
  for (int i = 0; i < 20 * kRounds; ++i) {
    store::Table table;
    if (store::read_section(store::directory(), 0, table) != store::ReadStatus::ok) return false;
    const char* a = table.find("module-a");
    const char* b = table.find("module-b");
    if ((a == nullptr) != (b == nullptr) || (a != nullptr && std::string(a) != b)) return false;
  }
  return true;
}

// Commits without an end, to be killed.
bool write_until_killed() {
  if (nvram_init(0) != 0) return false;
  for (unsigned i = 0;; ++i) {
    const std::string value(i % 4000, 'v');
    if (nvram_bufset(0, "victim", value.c_str()) != 0 || nvram_commit(0) != 0) return false;
  }
}

TEST(StoreWriters, LoseNothingThatTheyCommitted) {
  const ScratchStore scratch;
  std::vector<pid_t> workers = {start(write_as_module), start(watch)};
  for (int writer = 0; writer < 3; ++writer)
    workers.push_back(start([=] { return write_with_tool(writer); }));
  std::minstd_rand random(1);
  for (int i = 0; i < kVictims; ++i) {
    const pid_t victim = start(write_until_killed);
    ::usleep(std::uniform_int_distribution<unsigned>(0, 20000)(random));
    ::kill(victim, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(end_of(victim)));
  }
  for (const pid_t worker : workers) EXPECT_EQ(end_of(worker), 0);

  EXPECT_EQ(stored("module-a"), std::to_string(kRounds));
  for (int writer = 0; writer < 3; ++writer) {
    for (int i = 1; i <= kRounds; ++i) {
      const std::string key = "tool" + std::to_string(writer) + "-" + std::to_string(i);
      EXPECT_EQ(stored(key), "committed") << key;
    }
  }
}

}  // namespace
}  // namespace kd::test
