#include "harness.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lang/lang.hpp"
#include "module/mod_kd_hnap.hpp"
#include "radio/reports.hpp"
#include "xml/namespaces.hpp"

namespace kd::port {

Method method(const Request& request) {
  return request.method;
}
std::optional<std::string_view> uri(const Request&) {
  return "/HNAP1/";
}
std::optional<std::string_view> header(const Request& request, std::string_view name) {
  return name == "SOAPAction" ? request.soap_action : request.authorization;
}
std::uint64_t content_length(const Request& request) {
  return request.length;
}
void read_body(Request& request, HeapBytes& content, std::uint32_t& length) {
  length = static_cast<std::uint32_t>(request.body.size());
  content.reset(length ? static_cast<unsigned char*>(std::malloc(length)) : nullptr);
  if (length) std::memcpy(content.get(), request.body.data(), length);
}
void add_header(Request&, std::string_view, std::string_view) {}
void append_body(Request& request, std::string_view bytes) {
  request.reply += bytes;
}
void give_body(Request& request, HeapText text, std::size_t length) {
  fuzz::demand(text.get()[length] == '\0', "a text that is given away is terminated");
  request.reply.append(text.get(), length);
}
void finish(Request& request, int status) {
  request.status = status;
}
void refuse(Request& request, int status) {
  request.status = status;
  request.refused = true;
}
void log_error(Request&, unsigned, const char*) {}

}  // namespace kd::port

namespace kd::fuzz {
namespace {

// The uplink is there; other requests get no answer.
bool answer_driver(test::DriverRequest& request) {
  constexpr unsigned long kStatus = 0x8BE1;
  if (request.number != kStatus || request.length < 4) return false;
  const std::uint32_t up = 1;
  std::memcpy(request.data, &up, sizeof up);
  return true;
}

// Made once, and put back behind each execution.
struct Kept {
  test::Device device;
  test::Device::Texts files, store, outputs, library;

  Kept() {
    // A neighbour may call itself anything.
    const auto networks = radio::parse_networks(
        "ssid=Home channel=6 security=WPA2PSK/AES\nssid=Den5 channel=36\nssid=\"$(taint)\" channel=11");
    const auto stations =
        radio::parse_stations("mac=02:00:00:00:00:01 rate=130\nmac=02:AA:00:00:00:01 phy=OFDM rate=54");
    device.outputs = {
        {"ps",
         "  PID USER       VSZ STAT COMMAND\n    1 admin     1500 S    init\n  321 admin  1500 S "
         "nvram_daemon\n"},
        {"iwpriv ra0 get_site_survey", radio::survey_text("ra0", networks)},
        {"dmesg -c | grep -in '^..:.*$'", "3:" + radio::station_table(stations)},
        {"iwconfig apcli0", radio::iwconfig_text({"apcli0", "Home", 6, "02:00:00:00:00:01", 65})},
        {"iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'", "6\n"},
    };
    const auto clients = radio::parse_clients(
        "mac=02:AA:00:00:00:01 ip=10.0.0.2 name=\"phone of the house\" wireless=yes\nmac=02:AA:00:00:00:02 "
        "ip=10.0.0.3");
    device.files = {
        {"/var/boardid", "027210\n"},
        {"/var/is_dev_ready", ""},
        {"/var/run/kd_client_list.pid", "77\n"},
        {"/tmp/connected_client_list", radio::client_list_text(clients)},
        {"/proc/mtd", "mtd1: 00fb0000 00010000 \"Kernel\"\n"},
        {"/web/lang/STRINGS_EN.txt", "Save,Save\nCancel,Cancel\n"},
        {"/web/lang/STRINGS_DE.txt", "Save,Speichern\n"},
        // The flash writer is done at once; a waiting module would wait for ever.
        {"/var/upgrade_progress", "100\n"},
    };
    device.store = {
        {"Login", "admin"}, {"Password", "password"}, {"HostName", "Attic"}, {"OperationMode", "0"},
        {"apClient", "1"},  {"Language", "EN"},       {"ApCliSsid", "Home"}, {"HNAPConfiguredBand", "2.4"}};
    start();
    files = device.files;
    store = device.store;
    outputs = device.outputs;
    library = device.library;
    put_back();
  }
  void put_back() {
    device.files = files;
    device.store = store;
    device.outputs = outputs;
    device.library = library;
    device.pending.clear();
    device.driver = answer_driver;
    device.journal.clear();
    device.restart_clock();  // a thousand short waits are no endless one
  }
};

Kept& kept() {
  static Kept the_one;
  return the_one;
}

bool is_complete(const port::Request& request) {
  constexpr std::size_t kErrorPage = 511;
  const std::string_view reply = request.reply;
  if (request.refused) return request.status == 401 && reply.empty();
  if (request.status == 500 && reply.starts_with("<html>")) return reply.size() == kErrorPage;
  if (request.status != 200 && request.status != 500) return false;
  return reply.starts_with("<?xml ") &&
         (reply.ends_with("</soap:Envelope>\n") || reply.ends_with("</soap:Envelope>"));
}

}  // namespace

void demand(bool holds, const char* what, std::string_view detail) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n%.*s\n", what, static_cast<int>(detail.size()), detail.data());
  std::abort();
}

Extender::Extender() : device{kept().device} {}

Extender::~Extender() {
  lang_free();
  demand(device.misuse().empty(), "everything is closed", device.misuse());
  for (const std::string& line : device.journal) {
    const bool is_command = line.starts_with("run ") || line.starts_with("pipe ");
    demand(!is_command || !contains(line, kTaint), "no input is part of a command", line);
    demand(!line.starts_with("open ") || !contains(line, "/.."), "no input leads out of a path", line);
  }
  kept().put_back();
}

void Extender::serve(port::Request& request) {
  ModuleState state;
  demand(wants(request), "the request is the module's");
  const DeferredAction deferred = handle(request, state, needs_body(request));
  demand(is_complete(request), "the answer is complete", request.reply);
  hnap_connection_close_callback(deferred, ConnectionUri::hnap);
}

void Extender::ask(std::string_view action) {
  const std::string name{action};
  const std::string soap_action = HNAP1_NAMESPACE + name;
  const std::string body =
      "<Envelope><Body><" + name + " xmlns=\"" HNAP1_NAMESPACE "\"></" + name + "></Body></Envelope>";
  port::Request request{.soap_action = soap_action, .body = body};
  serve(request);
  demand(request.status == 200, "an action without arguments is answered", request.reply);
}

std::string_view take_part(std::string_view& input) {
  constexpr std::string_view kEnd = "\n--\n";
  const std::size_t end = input.find(kEnd);
  const std::string_view part = head(input, end);
  input = end == std::string_view::npos ? std::string_view{} : tail(input, end + kEnd.size());
  return part;
}

}  // namespace kd::fuzz
