// GetMACFilters2, SetMACFilters2: complete, but in the table only on request.
#include "platform/mac_filter.hpp"
#include "support/cases.hpp"

namespace kd::test {
namespace {

using Effects = std::vector<std::string>;

std::string address(int number) {
  char text[18];
  std::snprintf(text, sizeof text, "00:23:45:67:89:%02X", static_cast<unsigned>(number) & 0xFF);
  return text;
}

std::string addresses(int count) {
  std::string list;
  for (int i = 0; i < count; ++i) list += (i ? ";" : "") + address(i);
  return list;
}

std::string info(const std::string& mac, const std::string& name = "") {
  return "<MACInfo><MacAddress>" + mac + "</MacAddress><DeviceName>" + name + "</DeviceName></MACInfo>";
}

std::string infos(int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += info(address(i));
  return all;
}

Effects stored_and_restarted(const std::string& policy, const std::string& list) {
  Effects all{"nvram set AccessPolicy0=" + policy};
  if (policy != "0") all.push_back("nvram set AccessControlList0=" + list);
  for (const char* line :
       {"nvram commit 0", "run ifconfig ra0 down", "run ralink_init make_wireless_config rt2860",
        "run ifconfig ra0 up", "run kill -9 `cat /var/run/wscd.pid.ra0`",
        "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1",
        "run route delete 239.255.255.250 1>/dev/null 2>&1"}) {
    all.push_back(line);
  }
  return all;
}

Arguments filter(const std::string& enabled, const std::string& allow, const std::string& list) {
  return {{"Enabled", enabled}, {"IsAllowList", allow}, {"MACList", list}};
}

ActionCase set(const char* name, Arguments arguments, const char* reply, Effects changes = {}) {
  ActionCase made{name, "SetMACFilters2", std::move(arguments), reply, std::move(changes)};
  made.handler = set_mac_filters_2;
  return made;
}
ActionCase accepted(const char* name, Arguments arguments, const std::string& policy,
                    const std::string& list) {
  return set(name, std::move(arguments), "OK", stored_and_restarted(policy, list));
}
ActionCase refused(const char* name, Arguments arguments) {
  return set(name, std::move(arguments), "ERROR");
}
ActionCase refused_list(const char* name, const std::string& list) {
  return refused(name, filter("true", "true", list));
}

const std::string kLower = "00:23:45:67:89:ab", kUpper = "00:23:45:67:89:AB";

const ActionCase kSet[] = {
    accepted("allow list", filter("true", "true", info(kLower, "Anna's phone") + info(address(1))), "1",
             kLower + ";" + address(1)),
    accepted("deny list", filter("true", "false", info(kLower)), "2", kLower),
    accepted("off leaves the list", filter("false", "true", info(kLower)), "0", ""),
    accepted("empty list", filter("true", "true", ""), "1", ""),
    accepted("32 addresses", filter("true", "true", infos(32)), "1", addresses(32)),
    accepted("more behind the name",
             filter("true", "true",
                    "<MACInfo><MacAddress>" + kLower + "</MacAddress><DeviceName/><Other/></MACInfo>"),
             "1", kLower),
    accepted("a lower-case repeat is not noticed", filter("true", "true", info(kLower) + info(kLower)), "1",
             kLower + ";" + kLower),
    accepted(
        "the later list counts",
        {{"MACList", infos(32)}, {"MACList", info(kLower)}, {"Enabled", "true"}, {"IsAllowList", "true"}},
        "1", kLower),
    refused_list("33 addresses", infos(33)),
    refused_list("repeat of an upper-case address", info(kUpper) + info(kLower)),
    refused_list("dashes", info("00-23-45-67-89-ab")),
    refused_list("multicast", info("03:00:00:00:00:01")),
    refused_list("18 characters", info(kLower + "0")),
    refused_list("not hexadecimal", info("00:23:45:67:89:ag")),
    refused_list("no address", info("")),
    refused_list("the second is bad", info(kLower) + info("x")),
    refused_list("name first", "<MACInfo><DeviceName/><MacAddress>" + kLower + "</MacAddress></MACInfo>"),
    refused_list("another element in place of the name",
                 "<MACInfo><MacAddress>" + kLower + "</MacAddress><Name/></MACInfo>"),
    refused_list("no name", "<MACInfo><MacAddress>" + kLower + "</MacAddress></MACInfo>"),
    refused_list("nothing in it", "<MACInfo/>"),
    refused_list("another element", "<Info/>"),
    refused("one is missing", {{"Enabled", "true"}, {"IsAllowList", "true"}}),
    refused("neither true nor false", filter("TRUE", "true", "")),
    refused("no text", filter("true", "", "")),
    refused("unknown element", {{"Enabled", "true"}, {"Policy", "1"}}),
    refused("nothing", {}),
};
INSTANTIATE_TEST_SUITE_P(SetMacFilters, ActionTest, ::testing::ValuesIn(kSet), row_name);

// No row of the table: without memory for the stored mode WPS counts as off, which is a change of its own.
TEST(SetMacFilters, SurvivesEachFailedEffectOfStartingWps) {
  Trial trial{soap_request("SetMACFilters2", filter("true", "false", info(kLower)))};
  trial.prepare = in_turn({has_lan_address, has_stored({{"WscModeOption", "7"}})});
  trial.handler = set_mac_filters_2;
  survive_each_failed_effect(trial);
}

std::string listed(const char* enabled, const char* allow, const Effects& macs) {
  std::string list;
  for (const std::string& mac : macs) {
    list += "<MACInfo>\n<MacAddress>" + mac + "</MacAddress>\n<DeviceName></DeviceName>\n</MACInfo>\n";
  }
  return "<GetMACFilters2Result>OK</GetMACFilters2Result>\n<Enabled>" + std::string{enabled} +
         "</Enabled>\n<IsAllowList>" + allow + "</IsAllowList>\n<MACList>" + (macs.empty() ? "" : "\n") +
         list + "</MACList>\n";
}

ActionCase get(const char* name, const std::string& reply, const std::string& policy,
               const std::string& list) {
  ActionCase made{name, "GetMACFilters2",
                  {},   reply,
                  {},   has_stored({{"AccessPolicy0", policy}, {"AccessControlList0", list}})};
  made.varies = true;
  made.handler = get_mac_filters_2;
  return made;
}

const ActionCase kGet[] = {
    get("nothing stored", listed("false", "false", {}), "", ""),
    get("allow list with gaps", listed("true", "true", {kLower, address(2)}), "1",
        kLower + ";;00:23:45;" + address(2) + ";03:00:00:00:00:01;"),
    get("deny list", listed("true", "false", {address(1)}), "2", address(1)),
    get("off, the list stays", listed("false", "false", {address(1)}), "0", address(1)),
    get("unknown policy", listed("false", "false", {}), "3", ""),
};
INSTANTIATE_TEST_SUITE_P(GetMacFilters, ActionTest, ::testing::ValuesIn(kGet), row_name);

using MacFilter = DeviceTest;

TEST_F(MacFilter, ReadsNoMoreThanItHolds) {
  device.set("AccessControlList0", addresses(50));
  mac_filter_settings settings;
  kd_hnap_get_mac_filter_settings(nullptr, settings);
  EXPECT_EQ(settings.count, 32);
  EXPECT_EQ(settings.addresses[31], address(31));

  device.set("AccessControlList0", addresses(60));  // longer than a stored value may be
  kd_hnap_get_mac_filter_settings(nullptr, settings);
  EXPECT_EQ(settings.count, 0);
}

}  // namespace
}  // namespace kd::test
