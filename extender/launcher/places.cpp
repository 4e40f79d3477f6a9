#include "launcher/places.hpp"

#include <cstdlib>
#include <filesystem>

#include "common/failure.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

std::string text_or_empty(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

std::string default_state_directory() {
  const std::string xdg = text_or_empty(std::getenv("XDG_STATE_HOME"));
  if (!xdg.empty()) return xdg + "/kd-extender";
  const std::string home = text_or_empty(std::getenv("HOME"));
  if (home.empty())
    throw Failure("neither XDG_STATE_HOME nor HOME is set: say where with --state", kExitUsage);
  return home + "/.local/state/kd-extender";
}

std::string program_path() {
  return fs::read_symlink("/proc/self/exe").string();
}

std::string install_prefix() {
  return fs::path(program_path()).parent_path().parent_path().string();
}

std::string shared_directory() {
  std::string directory = install_prefix() + "/share/kd-extender";
  if (!fs::is_directory(directory + "/scenarios/home")) throw Failure("no scenarios in " + directory);
  return directory;
}

}  // namespace kd
