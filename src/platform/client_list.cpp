#include "platform/client_list.hpp"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/lines.hpp"
#include "platform/shell.hpp"
#include "platform/station_table.hpp"

namespace kd {
namespace {

constexpr const char* kListFile = "/tmp/connected_client_list";
constexpr int kMostRetries = 5;

// Opens the daemon's pid file, going on from the `retries` made so far.
os::File open_pid_file(int retries) {
  for (;;) {
    if (os::File file{os::fopen("/var/run/kd_client_list.pid", "r")}) return file;
    if (retries == kMostRetries) break;
    ++retries;
    KD_LOG_MODULE("get the pid of kd_client_list fail, retry %d\n", retries);
  }
  KD_LOG_MODULE("Fail to get site client list !!!");
  return nullptr;
}

// Signals the daemon until its file is there; false when its process id cannot be read.
bool request_list() {
  os::File pid_file = open_pid_file(0);
  while (pid_file) {
    char text[256];
    read_piece(pid_file.get(), text);
    pid_file.reset();
    const int daemon = text_to_int(text);
    if (daemon > 0) os::kill(daemon, SIGUSR1);
    os::sleep(2);
    if (os::exists(kListFile)) return true;
    // Without an end on purpose: the count starts again after each signal.
    KD_LOG_MODULE("get client list fail, retry %d\n", 1);
    pid_file = open_pid_file(1);
  }
  return false;
}

std::int32_t read_channel() {
  char text[200];
  read_first_line_of_command("iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'", text);
  return text_to_int(text);
}

// Has the driver print its stations, for this client alone.
void find_port_name(std::int32_t channel, client_entry& entry) {
  const std::string_view mac{entry.mac};
  copy_text(entry.port_name, "unknow");
  os::system("iwpriv ra0 show stainfo");
  const os::Pipe table{os::popen(kTakeStationTable)};
  char line[200];
  while (table && !read_line(table.get(), line).empty()) {
    const StationLine found = split_station_line(line);
    if (mac.empty() || !contains_ignoring_case(found.mac, mac)) continue;
    const char* mode = station_mode(channel, found.phy_mode, text_to_int(found.data_rate));
    if (*mode) std::snprintf(entry.port_name, sizeof entry.port_name, "WLAN %s", mode);
    return;
  }
}

void read_clients(std::FILE* file, std::int32_t channel, ClientList& list) {
  client_entry** end = &list.head;
  char line[256];
  for (std::string_view read; !(read = read_line(file, line)).empty();) {
    client_entry entry{};
    if (!parse_client_line(without_line_end(read), entry)) continue;
    if (view_of(entry.wireless) == "true") {
      find_port_name(channel, entry);
    } else {
      copy_text(entry.port_name, "LAN");
    }
    void* memory = std::malloc(sizeof entry);
    if (!memory) continue;
    *end = new (memory) client_entry{entry};
    end = &(*end)->next;
    ++list.count;
  }
}

}  // namespace

bool parse_client_line(std::string_view line, client_entry& entry) {
  constexpr int kColumns = 7;
  std::string_view columns[kColumns];
  for (int i = 0; i < kColumns - 1; ++i) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) return false;
    columns[i] = head(line, tab);
    line = tail(line, tab + 1);
  }
  columns[kColumns - 1] = line;
  copy_text(entry.connect_time, columns[0]);
  copy_text(entry.mac, columns[1]);
  copy_text(entry.network_address, columns[2]);
  copy_text(entry.device_name, columns[3]);
  copy_text(entry.wireless, columns[5] == "Wireless" ? "true" : "false");
  copy_text(entry.active, columns[6]);
  return true;
}

std::int32_t kd_hnap_get_client_list(ClientList& list) {
  if (!request_list()) return -1;
  const std::int32_t channel = read_channel();
  if (const os::File file{os::fopen(kListFile, "r")}) read_clients(file.get(), channel, list);
  int number = 0;
  for (const client_entry* entry = list.head; entry; entry = entry->next) {
    console_printf("%d - %s, %s, %s, %s, %s, %s\n", ++number, entry->connect_time, entry->mac,
                   entry->device_name, entry->port_name, entry->wireless, entry->active);
  }
  return list.count;
}

void kd_hnap_free_client_list(ClientList& list) {
  client_entry* entry = list.head;
  for (std::int32_t left = list.count; left > 0 && entry; --left) {
    client_entry* next = entry->next;
    std::free(entry);
    entry = next;
  }
  list = {};
}

void learn_device_name(client_entry& entry) {
  // The address is the daemon's text: it must not lead out of the two prefixes.
  if (contains(entry.network_address, "/")) return;
  for (const char* prefix : {"/tmp/hostname_netbios_", "/tmp/hostname_mdns_"}) {
    char path[64];
    std::snprintf(path, sizeof path, "%s%s", prefix, entry.network_address);
    const os::File file{os::fopen(path, "r")};
    if (!file) continue;
    char learned[sizeof entry.device_name];
    if (read_piece(file.get(), learned).empty()) return;
    copy_text({entry.device_name, std::strlen(entry.device_name)}, view_of(learned));
    return;
  }
}

void clean_device_name(char (&name)[256]) {
  const std::size_t length = std::strlen(name);
  std::size_t at = 0;
  while (at < length) {
    if (name[at] == '\n' || static_cast<signed char>(name[at]) >= 32) {
      ++at;
      continue;
    }
    name[at++] = '?';
    name[at++] = '?';  // at most the terminator
  }
  name[std::min(at, sizeof name - 1)] = '\0';
}

}  // namespace kd
