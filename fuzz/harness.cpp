#include "harness.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/text.hpp"
#include "lang/lang.hpp"
#include "radio/reports.hpp"

namespace kd::fuzz {
namespace {

const test::Device::Texts& outputs() {
  // A neighbour may call itself anything.
  static const test::Device::Texts texts = {
      {"iwpriv ra0 get_site_survey",
       radio::survey_text("ra0",
                          radio::parse_networks("ssid=Home channel=6 security=WPA2PSK/AES\n"
                                                "ssid=Den5 channel=36\nssid=\"$(taint)\" channel=11"))},
      {"dmesg -c | grep -in '^..:.*$'",
       "3:" + radio::station_table(radio::parse_stations("mac=02:00:00:00:00:01 rate=130\n"
                                                         "mac=02:AA:00:00:00:01 phy=OFDM rate=54"))},
      {"iwconfig apcli0", radio::iwconfig_text({"apcli0", "Home", 6, "02:00:00:00:00:01", 65})},
      {"iwconfig ra0 | grep Channel | awk '{print $2}' | sed 's/Channel=//g'", "6\n"},
  };
  return texts;
}

const test::Device::Texts& files() {
  static const test::Device::Texts texts = {
      {"/var/run/kd_client_list.pid", "77\n"},
      {"/tmp/connected_client_list",
       radio::client_list_text(
           radio::parse_clients("mac=02:AA:00:00:00:01 ip=10.0.0.2 name=\"phone of the house\" wireless=yes\n"
                                "mac=02:AA:00:00:00:02 ip=10.0.0.3"))},
      {"/proc/mtd", "mtd1: 00fb0000 00010000 \"Kernel\"\n"},
      {"/web/lang/STRINGS_EN.txt", "Save,Save\nCancel,Cancel\n"},
      {"/web/lang/STRINGS_DE.txt", "Save,Speichern\n"},
      // The flash writer is done at once; a waiting module would wait for ever.
      {"/var/upgrade_progress", "100\n"},
  };
  return texts;
}

// The uplink is there; other requests get no answer.
bool answer_driver(test::DriverRequest& request) {
  constexpr unsigned long kStatus = 0x8BE1;
  if (request.number != kStatus || request.length < 4) return false;
  const std::uint32_t up = 1;
  std::memcpy(request.data, &up, sizeof up);
  return true;
}

bool is_complete(const std::string& reply, int status) {
  constexpr std::size_t kErrorPage = 511;
  if (status == 401) return reply == "<page of the server>";
  if (status == 500 && reply.starts_with("<html>")) return reply.size() == kErrorPage;
  if (status != 200 && status != 500) return false;
  return reply.starts_with("<?xml ") &&
         (reply.ends_with("</soap:Envelope>\n") || reply.ends_with("</soap:Envelope>"));
}

}  // namespace

void demand(bool holds, const char* what, std::string_view detail) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n%.*s\n", what, static_cast<int>(detail.size()), detail.data());
  std::abort();
}

Extender::Extender() {
  device.files = files();
  device.outputs = outputs();
  device.driver = answer_driver;
  test::prepare_extender(device);
  test::has_stored({{"Language", "EN"}, {"ApCliSsid", "Home"}, {"HNAPConfiguredBand", "2.4"}})(device);
}

Extender::~Extender() {
  const std::string complaints = server_ ? server_->complaints : "";
  server_.reset();
  lang_free();
  demand(complaints.empty(), "every connection ends well", complaints);
  demand(device.misuse().empty(), "everything is closed", device.misuse());
  for (const std::string& line : device.journal) {
    const bool is_command = line.starts_with("run ") || line.starts_with("pipe ");
    demand(!is_command || !contains(line, kTaint), "no input is part of a command", line);
    demand(!line.starts_with("open ") || !contains(line, "/.."), "no input leads out of a path", line);
  }
}

std::string Extender::serve(const test::Request& request) {
  if (!server_) server_.emplace();
  demand(server_->receive(request) == HANDLER_FINISHED, "the request is the module's");
  std::string reply = server_->sent();
  demand(is_complete(reply, server_->status()), "the answer is complete", reply);
  server_->finish();
  return reply;
}

void run(const Target& target, std::string_view input) {
  constexpr std::string_view kEnd = "\n--\n";
  Extender extender;
  std::string_view rest = input;
  for (const std::string_view place : target.places) {
    const std::size_t end = rest.find(kEnd);
    const bool is_file = place.starts_with('/');
    (is_file ? extender.device.files : extender.device.outputs)[std::string{place}] = head(rest, end);
    rest = end == std::string_view::npos ? std::string_view{} : tail(rest, end + kEnd.size());
    if (rest.empty()) break;
  }
  target.run(extender, input);
}

}  // namespace kd::fuzz
