#include "harness.hpp"

#include <algorithm>
#include <cstring>

#include "base/text.hpp"
#include "common/faults.hpp"
#include "firmware/crc32.hpp"
#include "firmware/upgrade.hpp"
#include "lang/lang.hpp"
#include "launcher/exchange.hpp"
#include "mkfirmware/image_maker.hpp"
#include "module/mod_kd_hnap.hpp"
#include "platform/client_list.hpp"
#include "platform/identity.hpp"
#include "platform/if_statistics.hpp"
#include "platform/shell.hpp"
#include "platform/site_survey.hpp"
#include "platform/upstream_target.hpp"
#include "platform/wps.hpp"
#include "radio/association.hpp"
#include "radio/formats.hpp"
#include "radio/reports.hpp"
#include "radio/scenes.hpp"
#include "section_text.hpp"

namespace kd::fuzz {
namespace {

// What a client sends.

// Line 1: the header SOAPAction; behind its last quote the Content-Length.
void request_body(Extender& extender, std::string_view input) {
  constexpr std::int32_t kMostLength = 100000;  // longer ones only take longer
  const std::string_view header = head(input, input.find('\n'));
  const std::string_view length = tail(header, header.rfind('"') + 1);
  test::Request request = test::with_header(test::soap("IsDeviceReady"), "SOAPAction", header);
  request.body = {{std::string{tail(input, header.size() + 1)}}};
  if (!length.empty())
    request.length = static_cast<std::uint32_t>(std::min(text_to_int(length), kMostLength));
  extender.serve(request);

  // The request may have changed them.
  test::has_stored({{"Login", "admin"}, {"Password", "password"}})(extender.device);
  extender.ask("IsDeviceReady");
}

void authorization(Extender& extender, std::string_view input) {
  // admin:password in base64; its last character has four bits that do not count.
  constexpr std::string_view kCredentials = "YWRtaW46cGFzc3dvcm";
  const std::string reply =
      extender.serve(test::with_header(test::soap("IsDeviceReady"), "Authorization", input));
  demand(!contains(reply, "Response") || contains(input, kCredentials), "nobody else gets in");
}

using Bytes = std::vector<unsigned char>;

// Whether it is a valid one.
bool upload_image(Extender& extender, const Bytes& image) {
  const bool is_valid = check_image(image) == ImageFault::none;
  const std::string_view bytes{reinterpret_cast<const char*>(image.data()), image.size()};
  test::Request upload = test::soap("FirmwareUpload");
  upload.body = {{mkfirmware::make_upload(bytes, 76, mkfirmware::Flaw::none)}};
  extender.serve(upload);
  const auto written = extender.device.files.find("/var/hnapUploadedFirmware");
  demand(is_valid == (written != extender.device.files.end()), "a valid image, and no other, is written");
  demand(!is_valid || written->second == bytes, "the image is written as it is");
  return is_valid;
}

// The image as it is, and with everything right that a mutation cannot guess.
void firmware_image(Extender& extender, std::string_view input) {
  Bytes image{input.begin(), input.end()};
  if (upload_image(extender, image) || image.size() < kImageHeaderSize) return;
  const auto put_number = [&](image_field field, std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i) image[field + i] = static_cast<unsigned char>(number >> (24 - 8 * i));
  };
  put_number(kImageMagicField, kImageMagic);
  put_number(kImageMakerMagicField, kMakerMagic);
  const std::uint32_t size = image_number(image, kImageDataSizeField);
  if (size <= image.size() - kImageHeaderSize) {
    put_number(kImageDataCrcField, crc32(0, image.data() + kImageHeaderSize, size));
  }
  put_number(kImageHeaderCrcField, image_header_crc(image));
  upload_image(extender, image);
}

// What the device's other programs report, some of it learned from the air.

void scan_list(Extender&, std::string_view input) {
  for_each_line(input, [](std::string_view line) {
    site_survey_entry entry{};
    if (parse_scan_line(line, entry)) {
      demand(contains(line, entry.ssid), "a name comes from the line", entry.ssid);
    }
    UpstreamTarget target{};
    for (const char* band : {"2.4", "5"}) match_target_line(line, "Home", band, target);
  });
  site_survey_list list;
  demand(kd_hnap_repeater_get_networks(list) == list.count || list.count == 0, "the list is counted");
  kd_hnap_repeater_free_networks(list);
  kd_update_settings_by_site_survey();
}

void station_table(Extender& extender, std::string_view) {
  extender.ask("GetWirelessClientConnectionInfo");
  extender.ask("GetConnectedDevices");
}

void client_list(Extender&, std::string_view input) {
  // The daemon's lines are too short for the longest name.
  char name[256];
  copy_text(name, input);
  clean_device_name(name);
  client_entry entry{};
  parse_client_line(input, entry);
  ClientList list;
  kd_hnap_get_client_list(list);
  kd_hnap_free_client_list(list);
}

void device_reports(Extender& extender, std::string_view) {
  test::Device& device = extender.device;
  device.driver = [&device](test::DriverRequest& request) {
    constexpr std::size_t kRoom = 4096;  // the driver fills the caller's whole buffer, without a terminator
    const std::string& eeprom = device.outputs["eeprom"];
    if (request.number == 0x8BE7) std::memcpy(request.data, eeprom.data(), std::min(eeprom.size(), kRoom));
    return request.number == 0x8BE7;
  };
  device.outputs["cat /proc/net/dev | grep eth2 | grep -v eth2.1 | grep -v eth2.2"] =
      device.outputs["cat /proc/net/dev | grep ra0"];
  device.files["/var/run/wpsctl.pid"] = device.files["/var/wps_progress"];

  ConfigValue text{};
  kd_get_model_name(text);
  kd_get_model_reversion(text);
  kd_get_firmware_version(text);
  char serial[kSerialNumberSize];
  kd_hnap_get_serial_number(serial);
  kd_get_process_pid("nvram_daemon");
  IfStatistics record{};
  kd_hnap_get_if_statistics("ra0", true, record);
  kd_hnap_get_if_statistics("eth2", false, record);
  WpsStatus status{};
  kd_hnap_get_wps_status(status);
  kd_hnap_stop_wps();
}

// Files: the device's own, as a crash or another program may leave them, and the virtual extender's, as a
// person in the middle of an edit does.

void strings_file(Extender&, std::string_view input) {
  lang_init();
  const std::string first_tag{head(input, input.find(','))};
  for (const char* tag : {"", "Save", first_tag.c_str()}) {
    const char* translation = nullptr;
    if (!lang_get(tag, &translation)) continue;
    demand(contains(input, translation) || contains(translation, "\n"), "a translation comes from the file",
           translation);
  }
}

void store_file(Extender& extender, std::string_view input) {
  store::Table table;
  if (store::parse(input, table).status != store::ParseStatus::ok) return;
  std::size_t size = 0;
  const store::OwnedText text = store::write(table, size);
  store::Table again;
  demand(text && store::parse({text.get(), size}, again).status == store::ParseStatus::ok,
         "what is written can be read");
  demand(table.size() == again.size() && again.contains(table), "all of it", {text.get(), size});

  for (const store::Entry& entry : table) extender.device.set(entry.key, entry.value);
  test::has_stored({{"Login", "admin"}, {"Password", "password"}})(extender.device);
  for (const char* action : {"GetDeviceSettings", "GetDeviceSettings2", "GetWirelessClientSettings",
                             "GetWirelessClientConnectionInfo", "GetLastSetWirelessClientSettingsResult"}) {
    extender.ask(action);
  }
  hnap_connection_close_callback(DeferredAction::reload_wireless, ConnectionUri::hnap);
}

void radio_files(Extender&, std::string_view input) {
  for_each_line(input, [](std::string_view text) {
    Record record;
    if (!read_record(text, record).empty()) return;
    const std::string line = format_record(record);
    Record same;
    demand(!contains(line, "\n") && read_record(line, same).empty() && same.fields() == record.fields(),
           "a record survives", line);
  });
  for (const char* file : {"neighbours", "clients", "stations", "link", "eeprom", "faults"}) {
    radio::check_file(file, input);
  }
  std::vector<radio::Network> networks = radio::parse_networks(input);
  radio::apply_scenes(parse_faults(input), networks);
  read_request(input);
  read_reply(input);
  const radio::Link link = radio::parse_link(input);
  const std::string again = radio::format_link(radio::parse_link(radio::format_link(link)));
  demand(again == radio::format_link(link), "a link survives", again);
  radio::survey_text("ra0", networks);
  radio::station_table(radio::parse_stations(input));
  radio::client_list_text(radio::parse_clients(input));
  radio::stat_text(link);
  radio::iwconfig_text({"apcli0", link.ssid, link.channel, link.bssid, link.rate});
  radio::without_records(input, "bssid", link.bssid, true);
  store::Table settings;
  const Record all = parse_record(input);
  for (const auto& [name, value] : all.fields()) {
    if (!settings.set(name, value)) return;
  }
  radio::associate(networks, settings);
}

}  // namespace

std::span<const Target> targets() {
  static const Target rows[] = {
      {"request_body", {}, request_body},
      {"authorization", {}, authorization},
      {"firmware_image", {}, firmware_image},
      {"scan_list", {"iwpriv ra0 get_site_survey"}, scan_list},
      {"station_table",
       {"dmesg -c | grep -in '^..:.*$'", "iwconfig apcli0",
        "iwpriv apcli0 stat|grep RSSI-A|sed -n 's/^.*= //p'"},
       station_table},
      {"client_list",
       {"/tmp/connected_client_list", "/tmp/hostname_netbios_10.0.0.2", "/var/run/kd_client_list.pid"},
       client_list},
      {"device_reports",
       {"/var/boardid", "ps", "eeprom", "cat /proc/net/dev | grep ra0", "/var/wps_status",
        "/var/wps_progress"},
       device_reports},
      {"strings_file", {"/web/lang/STRINGS_EN.txt"}, strings_file},
      {"store_file", {}, store_file},
      {"radio_files", {}, radio_files},
  };
  return rows;
}

}  // namespace kd::fuzz
