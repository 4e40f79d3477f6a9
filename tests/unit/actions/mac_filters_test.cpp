// GetMACFilters2, SetMACFilters2.
#include "platform/mac_filter.hpp"

#include "support/action_rows.hpp"

namespace kd::test {
namespace {

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

ActionRow set(const char* name, const std::string& enabled, const std::string& allow, const std::string& list,
              const char* policy = nullptr, const std::string& stored = "") {
  ActionRow row{name, "SetMACFilters2",
                "Enabled=" + enabled + "|IsAllowList=" + allow + "|MACList{" + list + "}",
                policy ? "OK" : "ERROR"};
  row.may_miss = "run route";  // a mode that cannot be read switches WPS off
  if (!policy) return row;
  row.changes = {std::string{"nvram set AccessPolicy0="} + policy};
  if (*policy != '0') row.changes.push_back("nvram set AccessControlList0=" + stored);
  for (const char* line :
       {"nvram commit 0", "run ifconfig ra0 down", "run ralink_init make_wireless_config rt2860",
        "run ifconfig ra0 up", "run kill -9 `cat /var/run/wscd.pid.ra0`",
        "run iwpriv ra0 set WscConfMode=0 1>/dev/null 2>&1",
        "run route delete 239.255.255.250 1>/dev/null 2>&1"}) {
    row.changes.push_back(line);
  }
  return row;
}

const ActionRow kSet[] = {
    set("allow list", "true", "true", info(kLower) + "|" + info(kOther), "1", kLower + ";" + kOther),
    set("deny list", "true", "false", info(kLower), "2", kLower),
    set("off leaves the list", "false", "true", info(kLower), "0"),
    set("empty list", "true", "true", "", "1"),
    set("32 addresses", "true", "true", infos(32), "1", addresses(32, "", "", ";")),
    set("more behind the name", "true", "true", "MACInfo{MacAddress=" + kLower + "|DeviceName=|Other=}", "1",
        kLower),
    set("a lower-case repeat is not noticed", "true", "true", info(kLower) + "|" + info(kLower), "1",
        kLower + ";" + kLower),
    set("the later list counts", "true|MACList{" + infos(32) + "}|MACList{" + info(kLower) + "}", "true", "",
        "1", kLower),
    set("33 addresses", "true", "true", infos(33)),
    set("repeat of an upper-case address", "true", "true", info(kUpper) + "|" + info(kLower)),
    set("dashes", "true", "true", info("00-23-45-67-89-ab")),
    set("a dash at the end", "true", "true", info("00:23:45:67:89-ab")),
    set("multicast", "true", "true", info("03:00:00:00:00:01")),
    set("18 characters", "true", "true", info(kLower + "0")),
    set("not hexadecimal", "true", "true", info("00:23:45:67:89:ag")),
    set("no address", "true", "true", info("")),
    set("the second is bad", "true", "true", info(kLower) + "|" + info("x")),
    set("name first", "true", "true", "MACInfo{DeviceName=|MacAddress=" + kLower + "}"),
    set("another element in place of the name", "true", "true", "MACInfo{MacAddress=" + kLower + "|Name=}"),
    set("no name", "true", "true", "MACInfo{MacAddress=" + kLower + "}"),
    set("nothing in it", "true", "true", "MACInfo{}"),
    set("another element", "true", "true", "Info{MacAddress=" + kLower + "|DeviceName=}"),
    set("neither true nor false", "TRUE", "true", ""),
    set("no text", "true", "", ""),
};
const bool kSetAdded = add_rows("SetMacFilters", kSet);

ActionRow get(const char* name, const char* policy, const std::string& list, const std::string& reply) {
  return {.name = name,
          .action = "GetMACFilters2",
          .reply = "OK|" + reply,
          .prepare = has_stored({{"AccessPolicy0", policy}, {"AccessControlList0", list}}),
          .reads = true};
}
std::string listed(const std::string& mac) {
  return "MACInfo{MacAddress=" + mac + "|DeviceName=}";
}
const ActionRow kGet[] = {
    get("allow list with gaps", "1", kLower + ";;00:23:45;" + kOther + ";03:00:00:00:00:01;",
        "Enabled=true|IsAllowList=true|MACList{" + listed(kLower) + "|" + listed(kOther) + "}"),
    get("nothing stored", "", "", "Enabled=false|IsAllowList=false|MACList{}"),
    get("deny list", "2", kOther, "Enabled=true|IsAllowList=false|MACList{" + listed(kOther) + "}"),
    get("off, the list stays", "0", kOther,
        "Enabled=false|IsAllowList=false|MACList{" + listed(kOther) + "}"),
    get("unknown policy", "3", "", "Enabled=false|IsAllowList=false|MACList{}"),
    get("no more than 32", "2", addresses(50, "", "", ";"),
        "Enabled=true|IsAllowList=false|MACList{" + infos(32) + "}"),
    get("longer than a stored value may be", "2", addresses(57, "", "", ";"),
        "Enabled=true|IsAllowList=false|MACList{}"),
};
const bool kGetAdded = add_rows("GetMacFilters", kGet);

}  // namespace
}  // namespace kd::test
