// GetMACFilters2, SetMACFilters2.
#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "base/text.hpp"
#include "platform/mac_filter.hpp"
#include "platform/nvram_config.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

const char* text_of(bool value) {
  return value ? "true" : "false";
}

const char* accept_bool(const xml_element& element, void* target) {
  const std::string_view text = view_of(element.text);
  if (text != "true" && text != "false") return kGenericError;
  *static_cast<bool*>(target) = text == "true";
  return nullptr;
}

// The addresses of a request on their way to the store.
struct NewList {
  MacList text = "";
  std::size_t length = 0;
  int count = 0;

  bool add(const char* address) {
    const std::string_view mac = view_of(address);
    if (!kd_hnap_valid_mac(mac) || kd_hnap_is_duplicate_entry(text, mac)) {
      KD_LOG_HANDLER("ERROR:Got a invalid MAC %s ..", address ? address : "");
      return false;
    }
    if (count == kMostMacFilters) return false;
    if (count++ > 0) text[length++] = ';';
    copy_text({text + length, sizeof text - length}, mac);
    length += mac.size();
    return true;
  }
};

// Each child is a MACInfo of an address and a name, which the store has no place for.
const char* accept_list(const xml_element& element, void* target) {
  NewList& list = *static_cast<NewList*>(target);
  list.text[0] = '\0';
  list.length = 0;
  list.count = 0;
  for (const xml_element* info = element.first_child; info; info = info->next_sibling) {
    const xml_element* address = info->first_child;
    const xml_element* name = address ? address->next_sibling : nullptr;
    if (view_of(info->name) != "MACInfo" || !name || view_of(address->name) != "MacAddress" ||
        view_of(name->name) != "DeviceName" || !list.add(address->text)) {
      return kGenericError;
    }
  }
  return nullptr;
}

}  // namespace

ReplyText get_mac_filters_2(hnap_request& request, const xml_element*) {
  Reply reply{request, "GetMACFilters2", Namespace::core};
  MacFilterSettings settings;
  kd_hnap_get_mac_filter_settings(settings);
  reply.result("OK");
  reply.leaf("Enabled", text_of(settings.enabled));
  reply.leaf("IsAllowList", text_of(settings.enabled && settings.is_allow_list));
  reply.open("MACList");
  for (int i = 0; i < settings.count; ++i) {
    reply.open("MACInfo");
    reply.leaf("MacAddress", settings.addresses[i]);
    reply.leaf("DeviceName", "");  // the store keeps no names
    reply.close();
  }
  return reply.finish();
}

ReplyText set_mac_filters_2(hnap_request& request, const xml_element* action) {
  Reply reply{request, "SetMACFilters2", Namespace::core};
  bool enabled = false, is_allow_list = false;
  NewList list;
  Argument arguments[] = {{"Enabled", accept_bool, &enabled},
                          {"IsAllowList", accept_bool, &is_allow_list},
                          {"MACList", accept_list, &list}};
  if (const ArgumentFault fault = read_arguments(action, arguments)) return reply.error(fault.text);
  reply.result("OK");
  if (!reply.ready()) return reply.finish();  // out of memory: change nothing

  kd_hnap_set_mac_filter_settings(enabled, is_allow_list, list.text);
  kd_hnap_commit_config();
  KD_LOG_MODULE("Active MAC fileter settings");
  kd_hnap_reactive_wifi();
  return reply.finish();
}

}  // namespace kd
