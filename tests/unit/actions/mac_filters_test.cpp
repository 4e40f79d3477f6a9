// GetMACFilters2, SetMACFilters2.
#include "support/action_rows.hpp"

namespace kd::test::mac_filters {

const std::string kLower = "00:23:45:67:89:ab", kUpper = "00:23:45:67:89:AB", kOther = "02:00:00:00:00:01";

// So many addresses, each in its frame and with a separator between them.
std::string addresses(unsigned count, const std::string& before, const std::string& behind,
                      const char* separator) {
  std::string list;
  for (unsigned i = 0; i < count; ++i) {
    list += (i ? separator : "") + before + "00:23:45:67:89:" + std::to_string(10 + i) + behind;
  }
  return list;
}
std::string info(const std::string& mac) {
  return "MACInfo{MacAddress=" + mac + "|DeviceName=Anna's phone}";
}
std::string infos(unsigned count) {
  return addresses(count, "MACInfo{MacAddress=", "|DeviceName=}", "|");
}

const Effects kRestarted = lines(
    "nvram commit 0", "run ifconfig ra0 down", "run ralink_init make_wireless_config rt2860",
    "run ifconfig ra0 up", "run kill -9 `cat /var/run/wscd.pid.ra0`",
    "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1", "run route delete 239.255.255.250 1>/dev/null 2>&1");
ActionRow set(const char* name, const std::string& enabled, const char* allow, const std::string& list,
              const char* policy = nullptr, const std::string& stored = "") {
  ActionRow row{name, "SetMACFilters2",
                "Enabled=" + enabled + "|IsAllowList=" + allow + "|MACList{" + list + "}",
                policy ? "OK" : "ERROR"};
  row.may_miss = "run route";  // a mode that cannot be read switches WPS off
  if (!policy) return row;
  row.changes = {std::string{"nvram set AccessPolicy0="} + policy};
  if (*policy != '0') row.changes.push_back("nvram set AccessControlList0=" + stored);
  row.changes = row.changes + kRestarted;
  return row;
}
const ActionRow kSet[] = {
    set("allow list", "true", "true", info(kLower) + "|" + info(kOther), "1", kLower + ";" + kOther),
    set("deny list", "true", "false", info(kLower), "2", kLower),
    set("off leaves the list", "false", "true", info(kLower), "0"),
    set("empty list", "true", "true", "", "1"),
    set("32 addresses", "true", "true", infos(32), "1", addresses(32, "", "", ";")),
    set("a lower-case repeat", "true", "true", info(kLower) + "|" + info(kLower), "1", kLower + ";" + kLower),
    set("the later list", "true|MACList{" + infos(32) + "}|MACList{" + info(kLower) + "}", "true", "", "1",
        kLower),
    set("33 addresses", "true", "true", infos(33)),
    set("repeat of an upper-case address", "true", "true", info(kUpper) + "|" + info(kLower)),
    set("dash at the end", "true", "true", info("00:23:45:67:89-ab")),
    set("multicast", "true", "true", info("03:00:00:00:00:01")),
    set("not hexadecimal", "true", "true", info("00:23:45:67:89:ag")),
    set("the second has no address", "true", "true", info(kLower) + "|" + info("")),
    set("another element in place of the name", "true", "true", "MACInfo{MacAddress=" + kLower + "|Name=}"),
    set("no name", "true", "true", "MACInfo{MacAddress=" + kLower + "}"),
    set("neither true nor false", "TRUE", "true", ""),
};
const bool kSetAdded = add_rows("SetMacFilters", kSet);

ActionRow get(const char* policy, const char* name, const std::string& list, const char* enabled,
              const char* allow, const std::string& listed) {
  ActionRow row{name, "GetMACFilters2", "",
                std::string{"OK|Enabled="} + enabled + "|IsAllowList=" + allow + "|MACList{" + listed + "}"};
  row.prepare = has_stored({{"AccessPolicy0", policy}, {"AccessControlList0", list}});
  row.reads = true;
  return row;
}
const std::string kOne = "MACInfo{MacAddress=" + kOther + "|DeviceName=}";
const ActionRow kGet[] = {
    get("1", "allow list with gaps", kOther + ";;00:23:45;" + kOther + ";03:00:00:00:00:01;", "true", "true",
        kOne + "|" + kOne),
    get("2", "deny list", kOther, "true", "false", kOne),
    get("0", "off, the list stays", kOther, "false", "false", kOne),
    get("3", "unknown policy", "", "false", "false", ""),
    get("2", "no more than 32", addresses(50, "", "", ";"), "true", "false", infos(32)),
};
const bool kGetAdded = add_rows("GetMacFilters", kGet);

}  // namespace kd::test::mac_filters
