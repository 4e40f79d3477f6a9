// GetWirelessNetworks without the driver's scan: reading the report from a file, the list, the whole reply.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "actions/kd_hnap_handler.hpp"
#include "platform/os.hpp"

namespace {

std::string report_path;

void write_report(long networks) {
  char path[] = "/tmp/survey_bench.XXXXXX";
  const int descriptor = mkstemp(path);
  if (descriptor < 0) std::abort();
  report_path = path;
  std::FILE* file = fdopen(descriptor, "w");
  std::fputs(
      "ra0       get_site_survey:\nCh  SSID                             BSSID               Security\n",
      file);
  for (long i = 0; i < networks; ++i) {
    const std::string ssid = "Network & " + std::to_string(i);
    std::fprintf(file, "%-4ld%02zu %-33s%-20s%-23s%-9d%-8s%-7s%-3s\n", i % 13 + 1, ssid.size(), ssid.c_str(),
                 "02:00:00:00:00:01", "WPA2PSK/AES", 70, "11b/g/n", "NONE", "In");
  }
  std::fclose(file);
}

void survey(benchmark::State& state) {
  write_report(state.range(0));
  kd::ModuleState module;
  kd::hnap_request request{module};
  request.soap_action = kd::copy_of("http://purenetworks.com/HNAP1/GetWirelessNetworks");
  std::size_t bytes = 0;
  for (auto _ : state) {
    const kd::ReplyText reply = kd::get_wireless_networks(request, nullptr);
    bytes = reply.view().size();
    benchmark::DoNotOptimize(reply.view().data());
  }
  state.counters["reply"] = static_cast<double>(bytes);
  unlink(report_path.c_str());
}
BENCHMARK(survey)->Arg(100)->Arg(120)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace

// The door to the device: the driver has scanned already, and left its report in a file of ours.
namespace kd::os {

int system(const char*) {
  return 0;
}
std::FILE* popen(const char*) {
  return nullptr;
}
int pclose(std::FILE*) {
  return 0;
}
std::FILE* fopen(const char*, const char* mode) {
  return std::fopen(report_path.c_str(), mode);
}
int fclose(std::FILE* file) {
  return std::fclose(file);
}
int getc(std::FILE* file) {
  return ::getc_unlocked(file);
}
int ungetc(int byte, std::FILE* file) {
  return std::ungetc(byte, file);
}
std::size_t fread(void* data, std::size_t size, std::FILE* file) {
  return std::fread(data, 1, size, file);
}
off_t size(std::FILE* file) {
  const long length = std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : -1;
  std::rewind(file);
  return length;
}

}  // namespace kd::os
