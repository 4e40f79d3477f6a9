// hnap: a client for devices that speak HNAP.
#include <curl/curl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "failure.hpp"
#include "program/command_line.hpp"
#include "terminal.hpp"

namespace {

int run(int argc, char** argv) {
  hnap::set_locale();
  hnap::restore_terminal_on_signals();
  curl_global_init(CURL_GLOBAL_DEFAULT);
  const int status = hnap::run_command_line(argc, argv);
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    std::fprintf(stderr, "hnap: standard output: %s\n", std::strerror(errno));
    return static_cast<int>(hnap::Exit::refused);
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  int status = static_cast<int>(hnap::Exit::unreachable);
  try {
    status = run(argc, argv);
  } catch (const hnap::Failure& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "hnap: %s\n", failure.what());
    status = static_cast<int>(failure.status());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hnap: %s\n", error.what());
  }
  return status;
}
