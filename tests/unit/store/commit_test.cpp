// A commit of the store, killed, failed and cut at every one of its calls.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>

#include "calls.hpp"
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

Values over(Values values, const Values& newer) {
  for (const auto& [key, value] : newer) values[key] = value;
  return values;
}

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
  for (const bool first_commit : {false, true}) {
    const std::string before = first_commit ? "" : text_of(old_values());
    const std::string after = text_of(over(first_commit ? Values{} : old_values(), kNew));
    int at = 0;
    for (int status = kKilled; status == kKilled && !HasFailure(); ++at) {
      SCOPED_TRACE(at);
      put(before);
      status = in_child(commit_new, {Fault::kill, 0, at});
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

TEST_F(StoreCommit, CutWrite) {
  const std::string before = text_of(old_values());
  for (const auto& [error, expected] : std::map<int, int>{{ENOSPC, 1}, {EINTR, 0}, {0, kKilled}}) {
    put(before);
    EXPECT_EQ(in_child(commit_new, {Fault::cut, error, 0}), expected);
    EXPECT_EQ(content(), expected == 0 ? text_of(over(old_values(), kNew)) : before);
    EXPECT_EQ(fs::exists(left_over()), expected == kKilled);
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
    bool met = true;
    for (int at = 0; met && !HasFailure(); ++at) {
      Caller caller;
      put(text_of(caller.stored));
      const auto descriptors = open_descriptors();
      befall({Fault::fail, error, at});
      caller.use_store();
      const Calls seen = recover();
      met = seen.met;
      const std::string& call = seen.made.back();
      SCOPED_TRACE(call + " " + std::to_string(error) + " at " + std::to_string(at));
      const bool goes_on = error == EINTR && (call == "read" || call == "write" || call == "flock");
      EXPECT_EQ(caller.failures, met && call != "close" && !goes_on ? 1 : 0);
      // Behind the rename the new file stands, though its name may not have reached the disk.
      const bool renamed = call != "rename" && std::ranges::find(seen.made, "rename") != seen.made.end();
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
TEST_F(StoreCommit, ReachesTheDiskBeforeItsName) {
  befall({});
  EXPECT_EQ(commit_new(), 0);
  const std::vector<std::string> made = recover().made;
  auto at = made.begin();
  for (const char* call : {"write", "fsync", "close written", "rename", "fsync", "close"}) {
    at = std::find(at, made.end(), call);
    ASSERT_NE(at, made.end()) << call;
  }
}

TEST_F(StoreCommit, ThatChangesNothingWritesNothing) {
  put(text_of(kNew));
  befall({});
  EXPECT_EQ(commit_new(), 0);
  const std::vector<std::string> made = recover().made;
  EXPECT_EQ(std::ranges::find(made, "write"), made.end());
}

TEST_F(StoreCommit, KeepsOwnerAndMode) {
  const auto status = [&] {
    struct stat found {};
    ::stat(file().c_str(), &found);
    return std::vector{found.st_mode & 0777U, found.st_uid, found.st_gid};
  };
  ASSERT_EQ(in_child(commit_new), 0);
  EXPECT_EQ(status()[0], 0600U) << "keys are nobody else's business";
  put("nvram 1\nend\n");
  ASSERT_EQ(::chmod(file().c_str(), 0640), 0);
  // Only root may give files away.
  ASSERT_TRUE(::geteuid() != 0 || ::chown(file().c_str(), 65534, 65533) == 0);
  const auto wanted = status();
  ASSERT_EQ(in_child(commit_new), 0);
  EXPECT_EQ(status(), wanted);
}

TEST_F(StoreCommit, PutsAKilledWritersFileAside) {
  const fs::path elsewhere = directory / "elsewhere";
  std::ofstream(elsewhere) << "untouched";
  for (const bool is_link : {false, true}) {
    put(text_of(old_values()));
    if (is_link) fs::create_symlink(elsewhere, left_over());
    if (!is_link) std::ofstream(left_over()) << std::string(5000, 'x');
    EXPECT_EQ(in_child(commit_new), 0);
    EXPECT_EQ(content(), text_of(over(old_values(), kNew)));
    EXPECT_FALSE(fs::exists(fs::symlink_status(left_over())));
    EXPECT_EQ(fs::file_size(elsewhere), 9U);
  }
}

}  // namespace
}  // namespace kd::test
