// A commit of the store: killed and failed at every one of its calls, and beside other writers.
#include <algorithm>
#include <iterator>
#include <map>

#include "calls.hpp"
#include "nvram_tools.hpp"
#include "scratch_store.hpp"

namespace kd::test {
namespace {

namespace fs = std::filesystem;
using Values = std::map<std::string, std::string>;

std::string text_of(const Values& values) {
  std::string text = "nvram 1\n";
  for (const auto& [key, value] : values) text += key + "=" + value + "\n";
  return text + "end\n";
}

// As many as fill the table's first room.
Values old_values() {
  Values values;
  for (int i = 10; i < 42; ++i) values["key" + std::to_string(i)] = "old";
  return values;
}
const Values kNew = {{"key20", "another"}, {"new", std::string(1000, 'n')}};

Values over(Values older, Values newer) {
  newer.merge(older);
  return newer;
}
const std::string kBefore = text_of(old_values()), kAfter = text_of(over(old_values(), kNew));

int commit_new() {
  if (nvram_init(0) != 0) return 1;
  for (const auto& [key, value] : kNew) {
    if (nvram_bufset(0, key.c_str(), value.c_str()) != 0) return 1;
  }
  return nvram_commit(0) == 0 ? 0 : 1;
}

class StoreCommit : public ScratchStore {
 protected:
  fs::path left_over() const { return directory / "2860.nvram.new"; }
};

TEST_F(StoreCommit, KilledAtEveryCall) {
  for (const std::string& before : {kBefore, std::string{}}) {
    const std::string after = before.empty() ? text_of(kNew) : kAfter;
    int at = 0;
    for (int status = kKilled; status == kKilled && !HasFailure(); ++at) {
      SCOPED_TRACE(at);
      put(before);
      status = in_child(commit_new, {at});
      EXPECT_TRUE(status == kKilled || status == 0);
      EXPECT_TRUE(content() == before || content() == after) << content();
      // Whatever was left behind does not hinder the next writer.
      EXPECT_EQ(in_child(commit_new), 0);
      EXPECT_EQ(content(), after);
      EXPECT_FALSE(fs::exists(left_over()));
    }
    EXPECT_GT(at, 15);
  }
}

// One process that opens the store, reads, sets, commits and reads anew, and what it must then find there: a
// call changes that if, and only if, it reports success.
struct Caller {
  Values stored = old_values(), pending = {};
  int failures = 0;

  bool succeeds(bool success) {
    if (!success) ++failures;
    return success;
  }
  void read(const std::string& key) {
    const std::string value = value_of(key);
    EXPECT_EQ(succeeds(value != "(none)") ? over(stored, pending)[key] : "(none)", value);
  }
  void use_store() {
    if (!succeeds(nvram_init(0) == 0)) return;
    read("key20");
    for (const auto& [key, value] : kNew) {
      if (succeeds(nvram_bufset(0, key.c_str(), value.c_str()) == 0)) pending[key] = value;
    }
    read("key20");
    if (succeeds(nvram_commit(0) == 0)) {
      stored = over(stored, pending);
      pending.clear();
    }
    nvram_close(0);
    succeeds(nvram_init(0) == 0);
    read("key20");  // from the table of before when it cannot be read again
  }
};

auto open_descriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST_F(StoreCommit, FailedAtEveryCall) {
  for (const int error : {EIO, EINTR}) {
    bool meets = true;
    for (int at = 0; meets && !HasFailure(); ++at) {
      Caller caller;
      put(kBefore);
      const auto descriptors = open_descriptors();
      befall({at, error});
      caller.use_store();
      armed = false;
      meets = met;
      const std::string& call = made.back();
      SCOPED_TRACE(call + " " + std::to_string(error) + " at " + std::to_string(at));
      const bool goes_on = error == EINTR && (call == "read" || call == "write" || call == "flock");
      EXPECT_EQ(caller.failures, met && call != "close" && !goes_on ? 1 : 0);
      // Behind the rename the new file stands, though its name may not have reached the disk.
      const bool renamed = call != "rename" && std::ranges::find(made, "rename") != made.end();
      const Values all = over(caller.stored, caller.pending);
      EXPECT_EQ(content(), text_of(renamed ? all : caller.stored));
      EXPECT_FALSE(fs::exists(left_over()));
      EXPECT_EQ(open_descriptors(), descriptors);

      // The next use is right: what was set and not committed is still there.
      EXPECT_EQ(nvram_init(0), 0);
      for (const auto& [key, value] : all) EXPECT_EQ(value_of(key), value);
      EXPECT_EQ(nvram_commit(0), 0);
      EXPECT_EQ(content(), text_of(all));
      nvram_close(0);
      EXPECT_TRUE(met || at > 200) << "fewer calls than the table needs";
    }
  }
}

// What no kill shows: the text is on the disk before the name points to it, and the name before success.
TEST_F(StoreCommit, ReachesTheDiskBeforeItsNameAndOnlyWhenItMust) {
  befall({});
  EXPECT_EQ(commit_new(), 0);
  auto at = made.begin();
  for (const char* call : {"write", "fsync", "close written", "rename", "fsync", "close"}) {
    at = std::find(at, made.end(), call);
    ASSERT_NE(at, made.end()) << call;
  }
  befall({});
  EXPECT_EQ(commit_new(), 0);
  armed = false;
  EXPECT_EQ(std::ranges::find(made, "write"), made.end()) << "of what is stored already";
}

TEST_F(StoreCommit, KeepsOwnerAndMode) {
  const auto status = [&] {
    struct stat found {};
    ::stat(file().c_str(), &found);
    return std::vector{found.st_mode & 0777U, found.st_uid, found.st_gid};
  };
  ASSERT_EQ(in_child(commit_new), 0);
  EXPECT_EQ(status()[0], 0600U) << "keys are nobody else's business";
  // Only root may give files away.
  const bool is_root = ::geteuid() == 0;
  const auto commit_to_anothers = [&](Fault fault_there) {
    put("nvram 1\nend\n");
    ::chmod(file().c_str(), 0664);
    EXPECT_TRUE(!is_root || ::chown(file().c_str(), 65534, 65533) == 0);
    return in_child(commit_new, fault_there) == 0;
  };
  EXPECT_TRUE(commit_to_anothers({}));
  const auto kept = std::vector{0664U, is_root ? 65534U : ::geteuid(), is_root ? 65533U : ::getegid()};
  EXPECT_EQ(status(), kept);
  EXPECT_EQ(commit_to_anothers({0, EPERM, "fchown"}), !is_root) << "its owner could not read it";
  EXPECT_EQ(status(), kept);
  EXPECT_TRUE(commit_to_anothers({1, EPERM, "fchown"}));
  EXPECT_EQ(status()[0], is_root ? 0604U : 0664U) << "the rights of a group go to no other";
}

TEST_F(StoreCommit, PutsAKilledWritersFileAside) {
  const fs::path elsewhere = directory / "elsewhere";
  std::ofstream(elsewhere) << "untouched";
  for (const bool is_link : {false, true}) {
    put(kBefore);
    if (is_link) fs::create_symlink(elsewhere, left_over());
    if (!is_link) std::ofstream(left_over()) << std::string(5000, 'x');
    EXPECT_EQ(in_child(commit_new), 0);
    EXPECT_EQ(content(), kAfter);
    EXPECT_FALSE(fs::exists(fs::symlink_status(left_over())));
    EXPECT_EQ(fs::file_size(elsewhere), 9U);
  }
}

TEST_F(StoreCommit, LosesNothingOfOtherWriters) {
  constexpr int kWriters = 4, kRounds = 60;
  const auto key = [](int writer, int i) { return "key" + std::to_string(writer * kRounds + i); };
  for (int writer = 0; writer < kWriters; ++writer) {
    if (::fork() != 0) continue;
    // The module's way: the store stays open, so the cache is old at every commit.
    bool good = nvram_init(0) == 0;
    for (int i = 0; good && i < kRounds; ++i) {
      good = nvram_bufset(0, key(writer, i).c_str(), "committed") == 0 && nvram_commit(0) == 0;
    }
    ::_exit(good ? 0 : 1);
  }
  for (int status = 0; ::wait(&status) > 0;) EXPECT_EQ(status, 0);
  EXPECT_EQ(nvram_init(0), 0);
  for (int i = 0; i < kWriters * kRounds; ++i) EXPECT_EQ(value_of(key(0, i)), "committed") << i;
}

// Exit status and output.
std::string tool(std::vector<std::string> words, Fault fault_there = {}) {
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const auto main = words[0] == "nvram_get" ? store::nvram_get_main : store::nvram_set_main;
  testing::internal::CaptureStdout();
  const int status = in_child([&] { return main(static_cast<int>(words.size()), argv.data()); }, fault_there);
  return std::to_string(status) + " " + testing::internal::GetCapturedStdout();
}

TEST_F(StoreCommit, Tools) {
  EXPECT_EQ(tool({"nvram_get", "2860", "k"}), "1 ");
  EXPECT_EQ(tool({"nvram_set", "2860", "k", "v w"}), "0 ");
  EXPECT_EQ(tool({"nvram_get", "0", "k"}), "0 v w\n");
  EXPECT_EQ(tool({"nvram_get", "0", "k"}, {0, ENOSPC, "fflush"}), "1 ");
  EXPECT_EQ(tool({"nvram_set", "second", "k", "2"}), "0 ");
  EXPECT_EQ(tool({"nvram_get", "1", "k"}), "0 2\n");
  for (const char* section : {"", "2", "third"})
    EXPECT_EQ(tool({"nvram_get", section, "k"}), "2 ") << section;
  EXPECT_EQ(tool({"nvram_get", "0"}), "2 ");
  EXPECT_EQ(tool({"nvram_set", "0", "k"}), "2 ");
  EXPECT_EQ(tool({"nvram_set", "third", "k", "v"}), "2 ");
  put("damaged");
  EXPECT_EQ(tool({"nvram_get", "0", "k"}), "1 ");
  fs::remove_all(directory);
  EXPECT_EQ(tool({"nvram_set", "0", "k", "v"}), "1 ");
}

}  // namespace
}  // namespace kd::test
