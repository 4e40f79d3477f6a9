// The commands. Each prints its result and throws Failure when it has none.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "output.hpp"

namespace hnap {

void show_info(Context& context);
void list_actions(Context& context);
void list_networks(Context& context);
void list_clients(Context& context);
void show_firmware(Context& context);

struct JoinOptions {
  std::string ssid;
  std::optional<std::string> key;
  std::string key_file;
  std::string security;  // in place of the survey's: open, wep, wpa, wpa2, wpa-auto
  bool wait = true;
};
void join(Context& context, const JoinOptions& options);

struct StatusOptions {
  bool watch = false;
  double interval = 2;  // seconds
};
void show_status(Context& context, const StatusOptions& options);

struct SpeedOptions {
  long bytes = 2000000;
  long rounds = 5;
};
void measure_speed(Context& context, const SpeedOptions& options);

struct UploadOptions {
  std::string file;
  bool wait = true;
};
void upload_firmware(Context& context, const UploadOptions& options);

void set_name(Context& context, const std::string& name);
/// Asks for the new password when no file is named.
void set_password(Context& context, const std::string& file);
void set_language(Context& context, const std::string& locale);

struct RestartOptions {
  bool yes = false;
  bool wait = true;
};
void reboot(Context& context, const RestartOptions& options);
void restore_factory_settings(Context& context, const RestartOptions& options);

struct CallCommand {
  std::string action;
  std::vector<std::string> arguments;  // "name=value"
  std::string name_space = kHnap1;
  std::string xml_file, body_file;
  bool raw = false;
};
void call(Context& context, const CallCommand& command);

/// Throws Failure (refused) when something is wrong.
void check(Context& context);

struct DiscoverOptions {
  std::vector<std::string> targets;
  long port = 80;
  double timeout = 2;  // seconds for each address
};
void discover(const DiscoverOptions& options, bool json, const Style& style);

}  // namespace hnap
