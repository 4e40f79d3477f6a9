// What a commit finds in the store's directory, and what it leaves there.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "nvram.h"
#include "scratch_store.hpp"
#include "section_file.hpp"

namespace kd::test {
namespace {

namespace fs = std::filesystem;

class StoreReplace : public testing::Test {
 protected:
  bool commit(const char* value) const {
    return nvram_init(0) == 0 && nvram_bufset(0, "key", value) == 0 && nvram_commit(0) == 0;
  }
  ~StoreReplace() override { nvram_close(0); }

  const ScratchStore store;
  const fs::path file = store.directory() / "2860.nvram";
  const fs::path left_over = store.directory() / "2860.nvram.new";
};

TEST_F(StoreReplace, KeepsOwnerAndMode) {
  ASSERT_TRUE(commit("first"));
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U) << "keys are nobody else's business";
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
  ASSERT_EQ(::chown(file.c_str(), 65534, 65533), 0);
  ASSERT_TRUE(commit("second"));
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
  EXPECT_EQ(status.st_uid, 65534U);
  EXPECT_EQ(status.st_gid, 65533U);
}

TEST_F(StoreReplace, PutsAKilledWritersFileAside) {
  const fs::path elsewhere = store.directory() / "elsewhere";
  const std::string longer(5000, 'x');
  const auto put = [](const fs::path& path, const std::string& text) { std::ofstream(path) << text; };
  for (const bool is_link : {false, true}) {
    put(elsewhere, "untouched");
    is_link ? fs::create_symlink(elsewhere, left_over) : put(left_over, longer);
    ASSERT_TRUE(commit(is_link ? "third" : "second"));
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    EXPECT_EQ(text.str(), is_link ? "nvram 1\nkey=third\nend\n" : "nvram 1\nkey=second\nend\n");
    EXPECT_FALSE(fs::exists(fs::symlink_status(left_over)));
    EXPECT_EQ(fs::file_size(elsewhere), 9U);
  }
}

TEST_F(StoreReplace, GoesOnWithItsValuesWhenTheyCannotBeReadAgain) {
  ASSERT_TRUE(commit("known"));
  const auto value = [] {
    const store::OwnedText text(nvram_bufget(0, "key"));
    return std::string(text ? text.get() : "(none)");
  };
  nvram_close(0);
  EXPECT_EQ(value(), "(none)");
  std::ofstream(file) << "damaged";
  EXPECT_EQ(nvram_init(0), -1);
  EXPECT_EQ(value(), "known");
  std::ofstream(file) << "nvram 1\nkey=mended\nend\n";
  EXPECT_EQ(nvram_init(0), 0) << "the next opening tries again";
  EXPECT_EQ(value(), "mended");
}

}  // namespace
}  // namespace kd::test
