// kd_client_list: on SIGUSR1 writes who is connected, and the host names that other services learned.
#include <signal.h>
#include <unistd.h>

#include <string>

#include "common/files.hpp"
#include "programs/programs.hpp"
#include "radio/files.hpp"
#include "radio/reports.hpp"

namespace kd {
namespace {

void write_host_name(const char* prefix, const radio::Client& client, const std::string& name) {
  if (name.empty() || client.ip.find('/') != std::string::npos) return;
  replace_file(prefix + client.ip, name + "\n");
}

void write_lists() {
  const std::vector<radio::Client> clients = radio::load_clients();
  for (const radio::Client& client : clients) {
    write_host_name("/tmp/hostname_netbios_", client, client.netbios);
    write_host_name("/tmp/hostname_mdns_", client, client.mdns);
  }
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
  for (;;) {
    int signal = 0;
    if (sigwait(&request, &signal) == 0) write_lists();
  }
}

}  // namespace kd
