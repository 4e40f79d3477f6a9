// The hosts' store: what a section's file may hold, byte for byte the same on every processor, and commits
// that are killed, failed at every one of their calls, and beside other writers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "calls.hpp"
#include "nvram.h"
#include "nvram_tools.hpp"
#include "section_file.hpp"
#include "section_text.hpp"

namespace kd::test {
namespace {

namespace fs = std::filesystem;
using namespace std::literals;

// "key=value" each, with "|" between them; "line N" of a damaged text
std::string values_in(const std::string& text) {
  store::Table table;
  const store::ParseResult result = store::parse(text, table);
  if (result.status != store::ParseStatus::ok) return "line " + std::to_string(result.line);
  std::string values;
  for (const store::Entry& entry : table) {
    values += (values.empty() ? "" : "|") + std::string(entry.key) + "=" + entry.value;
  }
  return values;
}

TEST(StoreText, Values) {
  // Between the first line and the last.
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"b=2\n\xC3\xA4=3\nB=1\n", "B=1|b=2|\xC3\xA4=3"},
      {"k= a=b \n", "k= a=b "},
      {"=v\n", "=v"},
      {"k=1\nk=22\n", "k=22"},
      {"# k=1\n\nk=2\n", "k=2"},
      {R"(k=\\\n\r\t)"s + "\n", "k=\\\n\r\t"},
      {R"(k=\x01\x9a\xBf\xF0)"s + "\n", "k=\x01\x9A\xBF\xF0"},
      {"\\x23a\\x3Db=v\n", "#a=b=v"},
      {"k=\\x00\n", "line 2"},
      {"k=a\0b\n"s, "line 2"},
      {"a=1\nk=\\q\n", "line 3"},
      {"k=\\\n", "line 2"},
      {"key\n", "line 2"},
      {"end\n", "line 3"},
  };
  for (const auto& [text, values] : rows) {
    EXPECT_EQ(values_in("nvram 1\n" + text + "end\n"), values) << text;
  }
  for (const char neighbour : "/:@G`g"s) {  // of the digits
    EXPECT_EQ(values_in("nvram 1\nk=\\x1"s + neighbour + "\nend\n"), "line 2") << neighbour;
  }
  EXPECT_EQ(values_in(""), "line 1");
  EXPECT_EQ(values_in("nvram 2\nend\n"), "line 1");
  EXPECT_EQ(values_in("nvram 1\nk=v\nend"), "line 3");
}

TEST(StoreText, IsWrittenTheSameEverywhere) {
  store::Table table;
  ASSERT_TRUE(table.set("b#", "\\\n\r\t\x01\x0F\x1F \x7E\x7F\xC3\xA4#="));
  ASSERT_TRUE(table.set("#a=", ""));
  std::size_t size = 0;
  const store::OwnedText text = store::write(table, size);
  EXPECT_EQ(std::string(text.get(), size),
            "nvram 1\n\\x23a\\x3D=\nb#=\\\\\\n\\r\\t\\x01\\x0F\\x1F ~\\x7F\xC3\xA4#=\nend\n");
  EXPECT_EQ(text.get()[size], '\0');
}

// With a directory of the test's own, named to the library while it lives.
class Store : public testing::Test {
 protected:
  Store() {
    // In memory where that exists: thousands of commits wait for the disk thousands of times.
    std::string name = (access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : testing::TempDir()) + "kd-store-XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
    setenv("NVRAM_DIR", name.c_str(), 1);
  }
  ~Store() override {
    nvram_close(0);
    unsetenv("NVRAM_DIR");
    fs::remove_all(directory);
  }
  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(file(), std::ios::binary).rdbuf();
    return text.str();
  }
  // An empty text stands for no file.
  void put(const std::string& text) const {
    fs::remove(file());
    if (!text.empty()) std::ofstream(file(), std::ios::binary) << text;
  }
  fs::path file() const { return directory / "2860.nvram"; }
  fs::path left_over() const { return directory / "2860.nvram.new"; }

  fs::path directory;
};

// A value as the library gives it out.
std::string value_of(const std::string& key) {
  char* value = nvram_bufget(0, key.c_str());
  const std::string text = value ? value : "(none)";
  std::free(value);
  return text;
}

TEST_F(Store, WhatIsNoFileIsRefused) {
  const auto read = [] {
    store::Table table;
    return store::read_section(store::directory(), 0, table);
  };
  EXPECT_EQ(read(), store::ReadStatus::ok);
  put("nvram 1\nend");
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  put("nvram 1\n#" + std::string(16 * 1024 * 1024, 'x') + "\nend\n");
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  put("");
  ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(read(), store::ReadStatus::damaged);
  setenv("NVRAM_DIR", std::string(4100, 'd').c_str(), 1);
  EXPECT_EQ(read(), store::ReadStatus::failed);
  setenv("NVRAM_DIR", "", 1);
  EXPECT_STREQ(store::directory(), "/etc/nvram");
}

TEST_F(Store, IsUsedOnlyWhenOpen) {
  for (const int section : {-1, 2}) {
    EXPECT_EQ(nvram_init(section), -1);
    EXPECT_EQ(nvram_bufset(section, "k", "v"), -1);
    EXPECT_EQ(nvram_commit(section), -1);
    nvram_close(section);
  }
  EXPECT_EQ(nvram_bufset(1, "k", "v"), -1);
  std::ofstream(directory / "second.nvram") << "damaged";
  EXPECT_EQ(nvram_init(1), -1);
  EXPECT_EQ(nvram_bufset(1, "k", "v"), -1) << "never read: nothing to go on with";
  put("nvram 1\nk=known\nend\n");
  EXPECT_EQ(nvram_init(0), 0);
  nvram_close(0);
  EXPECT_EQ(value_of("k"), "(none)");
  put("damaged");
  EXPECT_EQ(nvram_init(0), -1);
  EXPECT_EQ(value_of("k"), "known");
  EXPECT_EQ(nvram_bufset(0, "k", "set"), 0);
  EXPECT_EQ(nvram_commit(0), -1) << "over a damaged file";
  put("nvram 1\nk=mended\nother=x\nend\n");
  EXPECT_EQ(nvram_init(0), 0) << "the next opening tries again";
  EXPECT_EQ(value_of("k") + value_of("other"), "setx");
  EXPECT_EQ(nvram_commit(0), 0);
}

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

TEST_F(Store, KilledAtEveryCall) {
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
    EXPECT_GT(at, 10);
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

TEST_F(Store, FailedAtEveryCall) {
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
TEST_F(Store, ReachesTheDiskBeforeItsNameAndOnlyWhenItMust) {
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

TEST_F(Store, KeepsOwnerAndMode) {
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

TEST_F(Store, PutsAKilledWritersFileAsideAndFollowsNoLink) {
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
  fs::remove(directory / ".2860.lock");
  fs::create_symlink(elsewhere, directory / ".2860.lock");
  EXPECT_EQ(in_child(commit_new), 1);
}

TEST_F(Store, LosesNothingOfOtherWriters) {
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

TEST_F(Store, Tools) {
  EXPECT_EQ(tool({"nvram_get", "2860", "k"}), "1 ");
  EXPECT_EQ(tool({"nvram_set", "2860", "k", "v w"}), "0 ");
  EXPECT_EQ(tool({"nvram_get", "0", "k"}), "0 v w\n");
  EXPECT_EQ(tool({"nvram_get", "0", "k"}, {0, ENOSPC, "fflush"}), "1 ");
  EXPECT_EQ(tool({"nvram_set", "second", "k", "2"}), "0 ");
  EXPECT_EQ(tool({"nvram_get", "1", "k"}), "0 2\n");
  EXPECT_EQ(tool({"nvram_get", "2", "k"}), "2 ");
  EXPECT_EQ(tool({"nvram_get", "0"}), "2 ");
  EXPECT_EQ(tool({"nvram_set", "third", "k", "v"}), "2 ");
  fs::remove_all(directory);
  EXPECT_EQ(tool({"nvram_set", "0", "k", "v"}), "1 ");
}

}  // namespace
}  // namespace kd::test
