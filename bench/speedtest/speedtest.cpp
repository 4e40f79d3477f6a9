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

void pause_briefly() {
  std::this_thread::sleep_for(std::chrono::milliseconds{20});
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
  std::printf("%-8s %8.3f ms %8.0f MB/s   %8.3f ms %8.0f MB/s\n", name, median(times.transfer),
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
  const long peak_of_first = memory_of(pid, "VmHWM");
  if (sample.find("<ByteStream>yyyy") == std::string::npos) {
    std::fprintf(stderr, "the device did not send the bytes\n");
    return 1;
  }
  const std::uint16_t bare_port = start_bare_server(sample);
  Times device, bare;
  for (int round = 0; round < kRounds; ++round) {
    // What a server does behind a reply must not delay the next.
    pause_briefly();
    add(bare, download(bare_port, credentials, kBytes));
    pause_briefly();
    add(device, download(port, credentials, kBytes));
  }
  std::printf("%zu bytes, median of %d   first to last byte         from connecting\n", sample.size(),
              kRounds);
  print_row("bare", bare, sample.size());
  print_row("device", device, sample.size());
  std::printf("rate of the device, bare server = 1: %.2f (from connecting: %.2f)\n",
              median(bare.transfer) / median(device.transfer), median(bare.whole) / median(device.whole));
  if (resident > 0) {
    const double reply_kb = static_cast<double>(sample.size()) / 1024;
    std::printf(
        "server memory: %ld kB before, peak +%ld kB after one reply (%.2f replies), +%ld kB after %d\n",
        resident, peak_of_first - resident, static_cast<double>(peak_of_first - resident) / reply_kb,
        memory_of(pid, "VmHWM") - resident, kRounds + 1);
  }
}
