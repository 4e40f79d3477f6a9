// Compares the device's DownloadSpeedTest with a bare server that sends the same bytes from memory, and
// reports how far the server's peak memory grew.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bare_server.hpp"
#include "download.hpp"

namespace {

constexpr std::size_t kBytes = 2'000'000;
constexpr int kRounds = 40;

struct Times {
  std::vector<double> transfer, whole;  // ms, from the first byte and from the start
};

void add(Times& times, const Download& result) {
  times.transfer.push_back(result.last_byte_ms - result.first_byte_ms);
  times.whole.push_back(result.last_byte_ms);
}

// What a server does behind a reply must not delay the next.
Download measure(std::uint16_t port, const std::string& credentials, std::size_t bytes) {
  std::this_thread::sleep_for(std::chrono::milliseconds{20});
  return download(port, credentials, bytes);
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
  return values[kRounds / 2];
}

// A "Vm..." value of a process in kB; 0 without a process.
long memory_of(const char* pid, const std::string& name) {
  std::ifstream status{std::string{"/proc/"} + pid + "/status"};
  for (std::string word; status >> word;) {
    long value = 0;
    if (word == name + ":" && status >> value) return value;
  }
  return 0;
}

void print_row(const char* name, const Times& times, std::size_t size) {
  const double megabytes = static_cast<double>(size) / 1e6;
  std::printf("%-12s %8.3f ms %8.0f MB/s   %8.3f ms %8.0f MB/s\n", name, median(times.transfer),
              megabytes / median(times.transfer) * 1e3, median(times.whole),
              megabytes / median(times.whole) * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr,
                 "usage: %s PORT USER:PASSWORD [PID]\n"
                 "  PORT  of a running device on 127.0.0.1\n"
                 "  PID   of its web server, to report its memory\n",
                 argv[0]);
    return 2;
  }
  const auto port = static_cast<std::uint16_t>(std::atoi(argv[1]));
  const std::string credentials = argv[2];
  const char* pid = argc > 3 ? argv[3] : "";

  download(port, credentials, 1);  // the server's own first-request work is not the reply's
  const long resident = memory_of(pid, "VmRSS");
  const std::string sample = download(port, credentials, kBytes).response;
  if (sample.find("<ByteStream>yyyy") == std::string::npos) {
    std::fprintf(stderr, "the device did not send the bytes\n");
    return 1;
  }
  const std::uint16_t bare_port = start_bare_server(sample);
  Times device, bare, nothing;
  for (int round = 0; round < kRounds; ++round) {
    add(bare, measure(bare_port, credentials, kBytes));
    add(device, measure(port, credentials, kBytes));
    add(nothing, measure(port, credentials, 0));
  }
  std::printf("%zu bytes, median of %d   first to last byte          whole request\n", sample.size(),
              kRounds);
  print_row("bare server", bare, sample.size());
  print_row("device", device, sample.size());
  std::printf("a request for 0 bytes takes the device %.3f ms, most of it its marker command\n",
              median(nothing.whole));
  std::printf("rate, bare server = 1: %.2f\n", median(bare.transfer) / median(device.transfer));
  if (resident > 0) {
    const long growth = memory_of(pid, "VmHWM") - resident;
    std::printf("peak memory: %ld kB, +%ld kB = %.2f replies\n", resident, growth,
                static_cast<double>(growth) * 1024 / static_cast<double>(sample.size()));
  }
}
