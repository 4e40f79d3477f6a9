// The scan report and the list of networks.
#include "platform/site_survey.hpp"

#include <algorithm>

#include "support/cases.hpp"
#include "support/radio_reports.hpp"

namespace kd::test {
namespace {

struct LineRow {
  std::string line, entry;  // fields joined by "|"; empty: not listed
};

std::string with_security(const std::string& security) {
  return scan_line({.security = security});
}

std::string fields(const site_survey_entry& entry) {
  return std::string{entry.ssid} + "|" + entry.network_type + "|" + entry.mode + "|" + entry.band + "|" +
         std::to_string(entry.signal) + "|" + std::to_string(entry.security_enabled) + "|" +
         entry.security_type + "|" + entry.encryption;
}

std::string secured(const std::string& security) {
  return "Home|INFRASTRUCTURE|802.11bgn|2.4GHz|70|" + security;
}
std::string as_mode(const std::string& mode) {
  return "Home|INFRASTRUCTURE|" + mode + "|2.4GHz|70|1|WPA2-PSK|AES";
}
std::string named(const std::string& ssid) {
  return ssid + "|INFRASTRUCTURE|802.11bgn|2.4GHz|70|1|WPA2-PSK|AES";
}

const LineRow kLines[] = {
    {with_security("NONE"), secured("0||")},
    {with_security("WEP128"), secured("1|WEP-AUTO|WEP-64")},
    {with_security("WPAPSK/TKIP"), secured("1|WPA-PSK|TKIP")},
    {with_security("WPAPSK/TKIPAES"), secured("1|WPA-PSK|TKIP")},
    {with_security("WPAPSK/AES"), ""},
    {with_security("WPA2PSK/AES"), secured("1|WPA2-PSK|AES")},
    {with_security("WPA2PSK/TKIPAES"), secured("1|WPA2-PSK|TKIPORAES")},
    {with_security("WPA2PSK/TKIP"), ""},
    {with_security("WPA1PSKWPA2PSK/TKIPAES"), secured("1|WPA2-PSK|TKIPORAES")},
    {with_security("WPA1PSKWPA2PSK/AES"), secured("1|WPA2-PSK|TKIPORAES")},
    {with_security("WPA1PSKWPA2PSK/TKIP"), secured("1|WPA-PSK|TKIP")},
    {with_security("WPA2/AES"), ""},
    {with_security("none"), ""},
    {scan_line({.mode = "11b/g"}), as_mode("802.11bg")},
    {scan_line({.mode = "11a"}), as_mode("802.11a")},
    {scan_line({.mode = "11n"}), as_mode("802.11bgn")},
    {scan_line({.channel = 14}), as_mode("802.11bgn")},
    {scan_line({.channel = 15}), "Home|INFRASTRUCTURE|802.11bgn|5GHz|70|1|WPA2-PSK|AES"},
    {scan_line({.channel = 161}), "Home|INFRASTRUCTURE|802.11bgn|5GHz|70|1|WPA2-PSK|AES"},
    {scan_line({.type = "Ad"}), ""},
    {scan_line({.type = ""}), as_mode("802.11bgn")},
    {scan_line({.ssid = "", .length = "00"}), ""},
    {scan_line({.ssid = std::string(32, 's')}), named(std::string(32, 's'))},
    {scan_line({.length = "33"}), ""},
    {scan_line({.length = "99"}), ""},
    {scan_line({.length = "xx"}), ""},
    {scan_line({.ssid = " a ", .length = "05"}), named(" a   ")},
    {scan_line({.ssid = "caf\xC3\xA9\xFF"}), named("caf\xC3\xA9\xFF")},
    {scan_line({.signal = "abc"}), "Home|INFRASTRUCTURE|802.11bgn|2.4GHz|0|1|WPA2-PSK|AES"},
};

TEST(ScanLine, IsReadByItsColumns) {
  for (const LineRow& row : kLines) {
    site_survey_entry entry{};
    const bool listed = parse_scan_line(row.line, entry);
    EXPECT_EQ(listed ? fields(entry) : "", row.entry) << row.line;
  }
}

// The line's end may cut any column: what is missing is empty, and nothing behind the end is read.
TEST(ScanLine, MayEndInAnyColumn) {
  const std::string line = scan_line({});
  for (std::size_t length = 0; length <= line.size(); ++length) {
    SCOPED_TRACE(length);
    const std::string exact = line.substr(0, length);
    site_survey_entry entry{};
    const bool listed = parse_scan_line(exact, entry);
    EXPECT_EQ(listed, length >= 60 + std::string_view{"WPA2PSK/AES"}.size());
    if (!listed) continue;
    EXPECT_EQ(entry.signal, length <= 83 ? 0 : length == 84 ? 7 : 70);
  }
}

class SurveyTest : public DeviceTest {
 protected:
  void print(const std::string& report) { device.outputs[kScanCommand] = report; }
  std::string names() const {
    std::string all;
    for (const site_survey_entry* entry = list.head; entry; entry = entry->next) {
      all += std::string{entry->ssid} + ",";
    }
    return all;
  }
  void TearDown() override {
    kd_hnap_repeater_free_networks(nullptr, list);
    DeviceTest::TearDown();
  }
  site_survey_list list;
};

TEST_F(SurveyTest, ReadsReports) {
  const struct {
    const char* name;
    std::string report;
    int count;
    std::string names;
  } rows[] = {
      {"149 bytes", std::string(149, '\n'), -1, ""},
      {"150 bytes", std::string(150, '\n'), 0, ""},
      {"in their order", scan_report({{.ssid = "one"}, {.ssid = "two", .type = "Ad"}, {.ssid = "three"}}), 2,
       "one,three,"},
      {"no last line end", kScanHeader + scan_line({}), 1, "Home,"},
      {"short lines between",
       std::string{kScanHeader} + "\n \n" + scan_line({}) + "\n\nx\nxy\n" + scan_line({.ssid = "b"}) + "\n",
       2, "Home,b,"},
      // Neither skip consumes an empty line, so no network is taken for a header.
      {"an empty first line", "\n" + scan_line({.ssid = "a"}) + "\n" + scan_line({.ssid = "b"}) + "\n", 2,
       "a,b,"},
      {"header of 9000 bytes", std::string(9000, 'h') + "\nsecond\n" + scan_line({}) + "\n", 1, "Home,"},
      {"the end of a long line is none",
       kScanHeader + std::string(7999, 'x') + scan_line({.ssid = "no"}) + "\n" + scan_line({.ssid = "yes"}),
       1, "yes,"},
      {"nul bytes", kScanHeader + std::string(3, '\0') + "\n" + scan_line({}) + "\n", 1, "Home,"},
  };
  for (const auto& row : rows) {
    print(row.report);
    EXPECT_EQ(kd_hnap_repeater_get_networks(nullptr, list), row.count) << row.name;
    EXPECT_EQ(names(), row.names) << row.name;
    kd_hnap_repeater_free_networks(nullptr, list);
  }
  print(scan_report({{}}));
  for (const int all : {1, 2}) EXPECT_EQ(kd_hnap_repeater_get_networks(nullptr, list), all);
  EXPECT_EQ(names(), "Home,Home,");
}

std::size_t scans_in(const std::vector<std::string>& effects) {
  return static_cast<std::size_t>(std::count_if(effects.begin(), effects.end(), [](const std::string& line) {
    return line.starts_with("run iwpriv");
  }));
}

TEST_F(SurveyTest, CountsBothFaultsTogether) {
  print(scan_report({{}}));
  device.broken.insert("/tmp/scanList.txt");
  int scans = 0;
  device.steps["iwpriv ra0 get_site_survey > /tmp/scanList.txt"] = [&scans](Device& d) {
    if (++scans <= 3) d.files["/tmp/scanList.txt"] = "short";
    if (scans == 6) d.broken.clear();
  };
  EXPECT_EQ(kd_hnap_repeater_get_networks(nullptr, list), 1);
  EXPECT_EQ(scans_in(effects()), 6U);
}

TEST_F(SurveyTest, GivesTheLastEntryUp) {
  for (std::size_t networks = 0; networks <= 3; ++networks) {
    const std::size_t before = heap.given_up();
    print(kScanHeader + (networks > 0 ? scan_line({}) + "\n" : "") +
          (networks > 1 ? scan_line({}) + "\n" : "") + (networks > 2 ? scan_line({}) + "\n" : ""));
    kd_hnap_repeater_get_networks(nullptr, list);
    kd_hnap_repeater_free_networks(nullptr, list);
    EXPECT_EQ(heap.given_up() - before, networks > 0 ? 1U : 0U);
    EXPECT_EQ(list.head, nullptr);
    EXPECT_EQ(list.count, 0);
    EXPECT_EQ(heap.leaks(), "");
  }
}

constexpr const char* kBandCommand =
    "iwconfig apcli0 | grep Channel | awk '{ print $2 }' | sed 's/Channel=//g'";

TEST_F(SurveyTest, NamesTheBandOfTheLink) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "2.4GHz"},  {"14\n", "2.4GHz"},  {"15\n", "5GHz"},
      {"161", "5GHz"}, {"off\n", "2.4GHz"}, {"       161\n", "2.4GHz"}};  // behind the seventh character
  for (const auto& [output, band] : rows) {
    device.outputs[kBandCommand] = output;
    char text[7] = "before";
    EXPECT_EQ(kd_hnap_get_repeater_wifi_band(nullptr, text), 0);
    EXPECT_STREQ(text, band) << output;
  }
  device.broken.insert(kBandCommand);
  char text[7] = "before";
  EXPECT_EQ(kd_hnap_get_repeater_wifi_band(nullptr, text), -1);
  EXPECT_STREQ(text, "before");
}

}  // namespace
}  // namespace kd::test
