// A store directory of a test's own, named to the library while it lives.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "nvram.h"

namespace kd::test {

class ScratchStore : public testing::Test {
 protected:
  ScratchStore() {
    // In memory where that exists: thousands of commits wait for the disk thousands of times.
    std::string name = (access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : testing::TempDir()) + "kd-store-XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
    setenv("NVRAM_DIR", name.c_str(), 1);
  }
  ~ScratchStore() override {
    nvram_close(0);
    unsetenv("NVRAM_DIR");
    std::filesystem::remove_all(directory);
  }
  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(file(), std::ios::binary).rdbuf();
    return text.str();
  }
  // An empty text stands for no file.
  void put(const std::string& text) const {
    std::filesystem::remove(file());
    if (!text.empty()) std::ofstream(file(), std::ios::binary) << text;
  }
  std::filesystem::path file() const { return directory / "2860.nvram"; }

  std::filesystem::path directory;
};

// A value as the library gives it out.
inline std::string value_of(const std::string& key) {
  char* value = nvram_bufget(0, key.c_str());
  const std::string text = value ? value : "(none)";
  std::free(value);
  return text;
}

}  // namespace kd::test
