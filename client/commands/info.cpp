// Who the device is: info, actions, firmware show.
#include "actions.hpp"
#include "commands/commands.hpp"
#include "table.hpp"
#include "text.hpp"

namespace hnap {
namespace {

struct ListedAction {
  std::string name_space, name;
};

std::vector<ListedAction> listed_actions(const Reply& identity) {
  std::vector<ListedAction> actions;
  for (const pugi::xml_node node : child(identity.response, "SOAPActions").children()) {
    const std::string uri = without_blanks_around(text_of(node));
    const std::size_t slash = uri.rfind('/');
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    actions.push_back({uri.substr(0, name), uri.substr(name)});
  }
  return actions;
}

bool serves(const Reply& identity, const std::string& name) {
  for (const ListedAction& action : listed_actions(identity))
    if (action.name == name) return true;
  return false;
}

}  // namespace

void show_info(Context& context) {
  const Reply identity = context.device.identity();
  // The rest is told to those with the password only.
  Reply more;
  if (context.device.settings().password && serves(identity, "GetDeviceSettings2"))
    more = context.device.call("GetDeviceSettings2");
  const std::size_t actions = listed_actions(identity).size();
  if (context.json)
    return print(Json::object()
                     .text("host", context.device.label())
                     .text("name", identity["DeviceName"])
                     .text("type", identity["Type"])
                     .text("vendor", identity["VendorName"])
                     .text("model", identity["ModelName"])
                     .text("description", identity["ModelDescription"])
                     .text("firmware", identity["FirmwareVersion"])
                     .text("presentation_url", identity["PresentationURL"])
                     .number("actions", static_cast<long>(actions))
                     .text_or_null("serial", more["SerialNumber"])
                     .text_or_null("time_zone", more["TimeZone"])
                     .text_or_null("locale", more["Locale"])
                     .value("locales", texts_of(child(more.response, "SupportedLocales"))));
  print_fields({{"Name", visible(identity["DeviceName"])},
                {"Type", visible(identity["Type"])},
                {"Vendor", visible(identity["VendorName"])},
                {"Model", visible(identity["ModelName"])},
                {"Description", visible(identity["ModelDescription"])},
                {"Firmware", visible(identity["FirmwareVersion"])},
                {"Serial number", visible(more["SerialNumber"])},
                {"Language", visible(more["Locale"])},
                {"Time zone", visible(more["TimeZone"])},
                {"Web page", visible(identity["PresentationURL"])},
                {"Actions", std::to_string(actions)}},
               context.style);
}

void list_actions(Context& context) {
  const std::vector<ListedAction> actions = listed_actions(context.device.identity());
  Json list = Json::list();
  Table table({{"ACTION", 0, false, 32}, {"WHAT IT DOES", 1}});
  for (const ListedAction& action : actions) {
    const std::string purpose(purpose_of(action.name));
    list.add(std::move(
        Json::object().text("name", action.name).text("namespace", action.name_space).text("does", purpose)));
    table.add({{visible(action.name)}, {purpose}});
  }
  if (context.json) return print(list);
  table.print(context.style, stdout);
}

void show_firmware(Context& context) {
  const Reply reply = context.device.call("GetFirmwareSettings");
  if (context.json)
    return print(Json::object()
                     .text("vendor", reply["VendorName"])
                     .text("model", reply["ModelName"])
                     .text("revision", reply["ModelRevision"])
                     .text("version", reply["FirmwareVersion"])
                     .text("date", reply["FirmwareDate"])
                     .value("update_methods", texts_of(child(reply.response, "UpdateMethods"))));
  print_fields({{"Vendor", visible(reply["VendorName"])},
                {"Model", visible(reply["ModelName"])},
                {"Revision", visible(reply["ModelRevision"])},
                {"Version", visible(reply["FirmwareVersion"])},
                {"Date", visible(reply["FirmwareDate"].substr(0, 10))}},
               context.style);
}

}  // namespace hnap
