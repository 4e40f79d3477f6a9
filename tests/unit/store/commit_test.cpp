// A commit of the store is killed, failed and cut at every one of its system calls.
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "nvram.h"
#include "scratch_store.hpp"
#include "stepper.hpp"

namespace kd::test {
namespace {

namespace fs = std::filesystem;

enum Status { committed, committed_later, refused, cannot_open };

// One process's commit of `keys` values; the old and the new ones differ in length.
struct Commit {
  const char* name;
  int keys;
  bool new_values;
  bool again = false;  // tries a second time when the first failed

  int operator()() const {
    if (nvram_init(0) != 0) return cannot_open;
    // One value more in the old text: another process's, which the new commit must keep.
    for (int i = 0; i < keys + (new_values ? 0 : 1); ++i) {
      const std::string value(static_cast<std::size_t>(i % 50 + (new_values ? 7 : 0)),
                              new_values ? 'n' : 'o');
      if (nvram_bufset(0, ("key" + std::to_string(i)).c_str(), value.c_str()) != 0) return refused;
    }
    if (nvram_commit(0) == 0) return committed;
    return again && nvram_commit(0) == 0 ? committed_later : refused;
  }
  Commit old() const { return {name, keys, false}; }
  Commit trying_again() const { return {name, keys, new_values, true}; }
};

constexpr Commit kCommits[] = {
    {"one value", 1, true},
    {"a device's settings", 60, true},
    {"a large store", 1000, true},
};

// The two texts between which a commit leads, and a place with the old one.
struct Passage {
  std::string before;
  std::string after;
};

class StoreCommit : public testing::Test {
 protected:
  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
  }
  void restore(const std::string& text) const {
    fs::remove(file);
    if (!text.empty()) std::ofstream(file, std::ios::binary) << text;
  }

  // False when tracing is not allowed here.
  bool prepare(const Commit& commit, bool first_commit, Passage& passage) {
    restore("");
    if (!first_commit && run_undisturbed(commit.old()) != committed) return false;
    passage.before = content();
    const Outcome whole = run_stepwise(commit);
    passage.after = content();
    EXPECT_TRUE(!whole.traced || whole.status == committed);
    EXPECT_NE(passage.before, passage.after);
    restore(passage.before);
    return whole.traced;
  }

  // Applies a fault at call 0, 1, 2, ... until the child makes no such call; `judge` sees each that was hit.
  template <class Judge>
  void sweep(const Commit& commit, const Passage& passage, Fault fault, Judge judge) {
    std::size_t hit = 0;
    for (;; ++fault.call) {
      restore(passage.before);
      const Outcome outcome = run_stepwise(commit, fault);
      SCOPED_TRACE(std::string(commit.name) + ", fault " + std::to_string(fault.kind) + " error " +
                   std::to_string(fault.error) + " at call " + std::to_string(fault.call));
      const std::string now = content();
      ASSERT_TRUE(now == passage.before || now == passage.after) << now.substr(0, 200);
      if (outcome.reached) {
        ++hit;
        judge(outcome, now);
        // Whatever was left behind does not hinder the next writer.
        ASSERT_EQ(run_undisturbed(commit), committed);
        ASSERT_EQ(content(), passage.after);
      } else if (outcome.past_end) {
        break;
      }
      ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(hit, counts_writes(fault) ? 0U : 10U);
  }

  const ScratchStore store;
  const fs::path file = store.directory() / "2860.nvram";
};

#define SKIP_WITHOUT(condition, reason) \
  if (!(condition)) GTEST_SKIP() << reason

TEST_F(StoreCommit, KilledAtEveryCall) {
  for (const Commit& commit : kCommits) {
    for (const bool first_commit : {false, true}) {
      Passage passage;
      SKIP_WITHOUT(prepare(commit, first_commit, passage), "a process may not trace its child here");
      for (const Fault::Kind kind : {Fault::kill_before, Fault::kill_after}) {
        sweep(commit, passage, {kind},
              [](const Outcome& outcome, const std::string&) { EXPECT_LE(outcome.status, committed); });
      }
    }
  }
}

TEST_F(StoreCommit, KilledInTheMiddleOfAWrite) {
  SKIP_WITHOUT(can_change_calls(), "the registers of this machine are not known");
  for (const Commit& commit : kCommits) {
    Passage passage;
    SKIP_WITHOUT(prepare(commit, false, passage), "a process may not trace its child here");
    sweep(commit, passage, {Fault::cut_and_kill},
          [&](const Outcome&, const std::string& now) { EXPECT_EQ(now, passage.before); });
  }
}

TEST_F(StoreCommit, FailedAtEveryCall) {
  SKIP_WITHOUT(can_change_calls(), "the registers of this machine are not known");
  for (const Commit& commit : {kCommits[0], kCommits[1]}) {
    Passage passage;
    SKIP_WITHOUT(prepare(commit, false, passage), "a process may not trace its child here");
    const auto judge = [&](const Outcome& outcome, const std::string& now) {
      EXPECT_GE(outcome.status, committed);
      EXPECT_EQ(outcome.descriptors_left, 0U);
      if (outcome.status == committed) {
        EXPECT_EQ(now, passage.after);
      }
      if (outcome.status == cannot_open) {
        EXPECT_EQ(now, passage.before);
      }
    };
    for (const int error : {ENOSPC, EINTR}) sweep(commit, passage, {Fault::fail, 0, error}, judge);
    // A value that could not be stored stays pending: the next commit of the same process stores it.
    sweep(commit.trying_again(), passage, {Fault::fail, 0, EIO},
          [&](const Outcome& outcome, const std::string& now) {
            judge(outcome, now);
            EXPECT_NE(outcome.status, refused);
          });
  }
}

TEST_F(StoreCommit, CutWriteOnAFullDisk) {
  SKIP_WITHOUT(can_change_calls(), "the registers of this machine are not known");
  for (const Commit& commit : kCommits) {
    Passage passage;
    SKIP_WITHOUT(prepare(commit, false, passage), "a process may not trace its child here");
    sweep(commit, passage, {Fault::cut, 0, ENOSPC}, [&](const Outcome& outcome, const std::string& now) {
      EXPECT_EQ(outcome.status, refused);
      EXPECT_EQ(now, passage.before);
      EXPECT_FALSE(fs::exists(store.directory() / "2860.nvram.new"));
    });
    // An interrupted write goes on where it was.
    sweep(commit, passage, {Fault::cut, 0, EINTR}, [&](const Outcome& outcome, const std::string& now) {
      EXPECT_EQ(outcome.status, committed);
      EXPECT_EQ(now, passage.after);
    });
  }
}

// What no kill shows: the text is on the disk before the name points to it, and the name before success.
TEST_F(StoreCommit, ReachesTheDiskBeforeItsName) {
  restore("");
  const Outcome outcome = run_stepwise(kCommits[1]);
  SKIP_WITHOUT(outcome.traced, "a process may not trace its child here");
  const std::vector<long>& calls = outcome.calls;
  const auto is_rename = [](long call) {
    return call == SYS_rename || call == SYS_renameat || call == SYS_renameat2;
  };
  const auto last_write = std::find(calls.rbegin(), calls.rend(), SYS_write).base();
  const auto sync = std::find(last_write, calls.end(), SYS_fsync);
  const auto rename = std::find_if(sync, calls.end(), is_rename);
  ASSERT_NE(rename, calls.end());
  EXPECT_NE(std::find(rename, calls.end(), SYS_fsync), calls.end());
}

}  // namespace
}  // namespace kd::test
