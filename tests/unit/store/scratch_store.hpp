// A store directory of a test's own, named to the library while it lives.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kd::test {

class ScratchStore {
 public:
  ScratchStore() {
    // In memory where that exists: thousands of commits wait for the disk thousands of times.
    std::string name = (access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : testing::TempDir()) + "kd-store-XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
    setenv("NVRAM_DIR", name.c_str(), 1);
  }
  ScratchStore(const ScratchStore&) = delete;
  ScratchStore& operator=(const ScratchStore&) = delete;
  ~ScratchStore() {
    unsetenv("NVRAM_DIR");
    std::filesystem::remove_all(directory_);
  }
  const std::filesystem::path& directory() const { return directory_; }

 private:
  std::filesystem::path directory_;
};

}  // namespace kd::test
