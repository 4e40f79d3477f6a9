// set name, set password, set language, reboot, factory-reset.
#include "commands/commands.hpp"
#include "failure.hpp"
#include "files.hpp"
#include "restart.hpp"
#include "text.hpp"

namespace hnap {
namespace {

constexpr std::size_t kLongestName = 15;
constexpr std::size_t kLongestPassword = 64;

void check_length(const std::string& what, const std::string& text, std::size_t most) {
  if (text.empty() || text.size() > most)
    throw Failure(Exit::usage, what + " has 1 to " + std::to_string(most) + " bytes");
  if (const std::string flaw = xml_text_flaw(text); !flaw.empty())
    throw Failure(Exit::usage, what + " cannot be sent: " + flaw);
}

void print_done(const Context& context, const Json& json, const std::string& line) {
  if (context.json) return print(json);
  print(line);
}

std::string new_password(const std::string& file) {
  if (!file.empty()) return secret_from_file(file);
  const char* const otherwise = "no terminal to ask for the new password; see --new-password-file";
  std::string password = ask("New password: ", true, otherwise);
  if (ask("New password again: ", true, otherwise) != password)
    throw Failure(Exit::usage, "the two passwords differ; nothing was changed");
  return password;
}

void restart_by(Context& context, const char* action, const RestartOptions& options,
                const std::string& question) {
  if (!options.yes && !confirmed(question, "no terminal to ask on; --yes goes ahead without"))
    throw Failure(Exit::usage, "nothing was done");
  const auto start = std::chrono::steady_clock::now();
  context.device.call(action);
  if (options.wait) wait_for_restart(context.device, "Restarting");
  const double seconds = seconds_since(start);
  print_done(
      context, Json::object().flag("back", options.wait).real("seconds", seconds),
      options.wait ? "The device is back after " + decimal(seconds, 1) + " s." : "The device restarts.");
}

}  // namespace

// Name and password are set together: the one that stays is sent as it is.
void set_name(Context& context, const std::string& name) {
  check_length("a name", name, kLongestName);
  const std::string& password = context.device.password();
  context.device.call("SetDeviceSettings", {{"DeviceName", name}, {"AdminPassword", password}});
  print_done(context, Json::object().text("name", name), "The device's name is now " + visible(name) + ".");
}

void set_password(Context& context, const std::string& file) {
  const std::string password = new_password(file);
  check_length("a password", password, kLongestPassword);
  const std::string name = context.device.identity()["DeviceName"];
  if (name.empty() || name.size() > kLongestName)
    throw Failure(Exit::refused, "the device would not take its own name \"" + visible(name) +
                                     "\" again; first say hnap set name NAME");
  context.device.call("SetDeviceSettings", {{"DeviceName", name}, {"AdminPassword", password}});
  print_done(context, Json::object().text("password", "changed"),
             "The password is changed and counts from now on.");
}

void set_language(Context& context, const std::string& locale) {
  check_length("a locale", locale, 32);
  const Reply now = context.device.call("GetDeviceSettings2");
  std::string supported;
  bool known = false;
  for (const pugi::xml_node node : child(now.response, "SupportedLocales").children()) {
    known = known || text_of(node) == locale;
    supported += " " + visible(text_of(node));
  }
  if (!known)
    throw Failure(Exit::usage, "\"" + visible(locale) + "\" is none of the device's locales:" + supported);
  context.device.call("SetDeviceSettings2", {{"Username", context.device.settings().user},
                                             {"TimeZone", now["TimeZone"]},
                                             {"AutoAdjustDST", now["AutoAdjustDST"]},
                                             {"Locale", locale},
                                             {"SSL", now["SSL"]}});
  print_done(context, Json::object().text("locale", locale), "The device's language is now " + locale + ".");
}

void reboot(Context& context, const RestartOptions& options) {
  restart_by(context, "Reboot", options, "Restart the device at " + context.device.label() + "?");
}

void restore_factory_settings(Context& context, const RestartOptions& options) {
  restart_by(context, "RestoreFactoryDefaults", options,
             "Forget all settings of the device at " + context.device.label() + ", its password too?");
}

}  // namespace hnap
