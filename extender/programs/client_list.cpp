// kd_client_list: on SIGUSR1 writes who is connected, and the host names that other services learned.
#include <signal.h>
#include <unistd.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/files.hpp"
#include "programs/programs.hpp"
#include "radio/reports.hpp"
#include "radio/surroundings.hpp"

namespace kd {
namespace {

// Which file holds which name.
using HostNames = std::map<std::string, std::string>;

HostNames host_names(const std::vector<radio::Client>& clients) {
  HostNames names;
  for (const radio::Client& client : clients) {
    if (client.ip.empty() || client.ip.find('/') != std::string::npos) continue;
    if (!client.netbios.empty()) names["/tmp/hostname_netbios_" + client.ip] = client.netbios;
    if (!client.mdns.empty()) names["/tmp/hostname_mdns_" + client.ip] = client.mdns;
  }
  return names;
}

// A name that this program wrote and that nobody goes by any more is removed; other files stay.
void write_lists(HostNames& written) {
  const std::vector<radio::Client> clients = radio::load_clients();
  HostNames names = host_names(clients);
  for (const auto& [file, name] : names) replace_file(file, name + "\n");
  for (const auto& [file, name] : written) {
    if (!names.contains(file)) ::unlink(file.c_str());
  }
  written = std::move(names);
  replace_file("/tmp/connected_client_list",
               radio::raw_text("client_list").value_or(radio::client_list_text(clients)));
}

}  // namespace

int kd_client_list_main(int, char**) {
  sigset_t request;
  sigemptyset(&request);
  sigaddset(&request, SIGUSR1);
  sigprocmask(SIG_BLOCK, &request, nullptr);
  write_file("/var/run/kd_client_list.pid", std::to_string(::getpid()) + "\n");
  HostNames written;
  for (;;) {
    int signal = 0;
    if (sigwait(&request, &signal) == 0) write_lists(written);
  }
}

}  // namespace kd
