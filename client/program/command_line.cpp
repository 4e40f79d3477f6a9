// Every command and option with its help; the one file that knows CLI11, which is slow to compile.
#include "program/command_line.hpp"

#include <CLI/CLI.hpp>
#include <functional>

#include "commands/commands.hpp"
#include "failure.hpp"
#include "help.hpp"

namespace hnap {
namespace {

class CommandLine {
 public:
  CommandLine();
  int run(int argc, char** argv);

 private:
  CLI::App* add(CLI::App& parent, const char* name, const char* help);
  // A command that talks to the one device.
  CLI::App* add(CLI::App& parent, const char* name, const char* help, std::function<void(Context&)> action);
  void add_shared_options();
  void add_questions();
  void add_join();
  void add_administration();
  void add_restarts();
  void add_call();
  void add_tools();

  CLI::App app_{"Talks to a Wi-Fi device over HNAP: finds it, reads it, sets it up", "hnap"};
  std::function<void()> chosen_;

  Given given_;
  bool json_ = false;
  bool verbose_ = false;
  JoinOptions join_;
  StatusOptions status_;
  SpeedOptions speed_;
  UploadOptions upload_;
  RestartOptions restart_;
  CallCommand call_;
  DiscoverOptions discover_;
  std::string text_;  // the argument of set name, set language and completion; the file of set password
};

// The help says in words what may stand there.
CLI::Validator quiet(CLI::Validator validator) {
  return validator.description("");
}

OptionHelp help_of(const CLI::Option& option) {
  OptionHelp help;
  for (const std::string& name : option.get_lnames()) help.names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) help.names.push_back("-" + name);
  help.type = option.get_type_name();
  help.description = option.get_description();
  help.required = option.get_required();
  help.many = option.get_items_expected_max() > 1;
  return help;
}

CommandHelp help_of(const CLI::App& app) {
  CommandHelp help{app.get_name(), app.get_description(), {}, {}};
  for (const CLI::Option* option : app.get_options()) help.options.push_back(help_of(*option));
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    help.commands.push_back(help_of(*command));
  return help;
}

CommandLine::CommandLine() {
  app_.require_subcommand(1);
  app_.set_version_flag("--version", std::string("hnap ") + version());
  add_shared_options();
  add_questions();
  add_join();
  add_administration();
  add_restarts();
  add_call();
  add_tools();
  app_.footer(std::string(kExitStatuses) +
              "\n\"hnap COMMAND --help\" says more; so does the manual, hnap(1).");
  app_.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("hnap: ") + error.what() + "; see hnap --help\n";
  });
}

int CommandLine::run(int argc, char** argv) {
  try {
    app_.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app_.exit(error) == 0 ? 0 : static_cast<int>(Exit::usage);
  }
  chosen_();
  return 0;
}

CLI::App* CommandLine::add(CLI::App& parent, const char* name, const char* help) {
  CLI::App* command = parent.add_subcommand(name, help);
  command->fallthrough();  // the shared options may stand behind the command too
  return command;
}

CLI::App* CommandLine::add(CLI::App& parent, const char* name, const char* help,
                           std::function<void(Context&)> action) {
  CLI::App* command = add(parent, name, help);
  command->callback([this, action = std::move(action)] {
    chosen_ = [this, action] {
      Context context{Device(settle(given_), verbose_), json_, style_of(1)};
      action(context);
    };
  });
  return command;
}

void CommandLine::add_shared_options() {
  app_.add_option("--host", given_.host, "The device: host, host:port or http://host/path")
      ->type_name("HOST");
  app_.add_option("--user", given_.user,
                  "User (default admin); USER:PASSWORD shows the password to other users")
      ->type_name("USER");
  app_.add_option("--password-file", given_.password_file,
                  "File whose first line is the password; - is standard input")
      ->type_name("FILE");
  app_.add_option("--config", given_.config_file, "Configuration file (default ~/.config/hnap/config)")
      ->type_name("FILE");
  app_.add_option("--timeout", given_.timeout, "Seconds until an answer must be complete (default 30)")
      ->type_name("SECONDS");
  app_.add_flag("--json", json_, "Print JSON");
  app_.add_flag("--verbose,-v", verbose_, "Show the exchange on standard error, secrets masked");
}

void CommandLine::add_questions() {
  add(app_, "info", "Who the device is (needs no password; with one it tells more)", &show_info);
  add(app_, "actions", "The actions that the device serves", &list_actions);
  add(app_, "networks", "Networks that the device sees, the strongest first", &list_networks);
  CLI::App* status = add(app_, "status", "The upstream link and how many clients there are",
                         [this](Context& context) { show_status(context, status_); });
  status->add_flag("--watch", status_.watch, "Go on until Ctrl-C; with --json a line each");
  status->add_option("--interval", status_.interval, "Seconds between two looks (default 2)")
      ->type_name("SECONDS")
      ->check(quiet(CLI::Range(0.1, 86400.0)));
  add(app_, "clients", "Who is connected to the device", &list_clients);
  CLI::App* speed = add(app_, "speed", "How fast bytes come from the device",
                        [this](Context& context) { measure_speed(context, speed_); });
  speed->add_option("--bytes", speed_.bytes, "Bytes of a round (default 2000000)")
      ->type_name("N")
      ->check(quiet(CLI::Range(1L, 4000000L)));
  speed->add_option("--rounds", speed_.rounds, "Rounds (default 5)")
      ->type_name("N")
      ->check(quiet(CLI::Range(1L, 10000L)));
}

void CommandLine::add_join() {
  CLI::App* command = add(app_, "join", "Join a network and wait until the device says how that ended",
                          [this](Context& context) { join(context, join_); });
  command->add_option("ssid", join_.ssid, "The network's name")->required()->type_name("SSID");
  command->add_option("--key", join_.key, "Its key, seen by other users; without one it is asked for")
      ->type_name("KEY");
  command->add_option("--key-file", join_.key_file, "File whose first line is the key; - is standard input")
      ->type_name("FILE");
  command->add_option("--security", join_.security, "Of a hidden network: open, wep, wpa, wpa2 or wpa-auto")
      ->type_name("KIND")
      ->check(quiet(CLI::IsMember({"open", "wep", "wpa", "wpa2", "wpa-auto"})));
  command->add_flag_callback(
      "--no-wait", [this] { join_.wait = false; }, "End as soon as the device has taken the choice");
}

void CommandLine::add_administration() {
  CLI::App* firmware = add(app_, "firmware", "Show or replace the firmware");
  firmware->require_subcommand(1);
  add(*firmware, "show", "Version and date", &show_firmware);
  CLI::App* upload =
      add(*firmware, "upload", "Send an image, wait for the restart, name the version that came up",
          [this](Context& context) { upload_firmware(context, upload_); });
  upload->add_option("file", upload_.file, "The image")->required()->type_name("FILE");
  upload->add_flag_callback(
      "--no-wait", [this] { upload_.wait = false; }, "End as soon as the image is written");

  CLI::App* set = add(app_, "set", "Set the device's name, password or language");
  set->require_subcommand(1);
  CLI::App* name =
      add(*set, "name", "Its name, 1 to 15 bytes", [this](Context& context) { set_name(context, text_); });
  name->add_option("name", text_, "The new name")->required()->type_name("NAME");
  CLI::App* password = add(*set, "password", "The administrator's password; it is asked for",
                           [this](Context& context) { set_password(context, text_); });
  password->add_option("--new-password-file", text_, "File whose first line it is; - is standard input")
      ->type_name("FILE");
  CLI::App* language = add(*set, "language", "The language of its web pages",
                           [this](Context& context) { set_language(context, text_); });
  language->add_option("locale", text_, "One of the \"locales\" in \"hnap info --json\", such as de-de")
      ->required()
      ->type_name("LOCALE");
}

void CommandLine::add_restarts() {
  const auto add_restart = [this](const char* name, const char* help, auto action) {
    CLI::App* command =
        add(app_, name, help, [this, action](Context& context) { action(context, restart_); });
    command->add_flag("--yes,-y", restart_.yes, "Do not ask");
    command->add_flag_callback(
        "--no-wait", [this] { restart_.wait = false; }, "Do not wait until the device is back");
  };
  add_restart("reboot", "Restart the device", &reboot);
  add_restart("factory-reset", "Forget all settings and restart", &restore_factory_settings);
}

void CommandLine::add_call() {
  CLI::App* command = add(app_, "call", "Call any action and show its answer",
                          [this](Context& context) { call(context, call_); });
  command->add_option("action", call_.action, "The action's name")->required()->type_name("ACTION");
  command->add_option("arguments", call_.arguments, "Its arguments, in the order in which they are sent")
      ->type_name("NAME=VALUE");
  command
      ->add_option("--namespace", call_.name_space, "Of the action (default http://purenetworks.com/HNAP1/)")
      ->type_name("URI");
  command->add_option("--xml", call_.xml_file, "File with the arguments as XML; - is standard input")
      ->type_name("FILE");
  command->add_option("--body", call_.body_file, "File with the whole request, sent as it is")
      ->type_name("FILE");
  command->add_flag("--raw", call_.raw, "Show the answer as it came");
}

void CommandLine::add_tools() {
  add(app_, "check", "Call every action that changes nothing and say what is wrong with the answers", &check);

  CLI::App* search = add(app_, "discover", "Ask addresses whether a device is there");
  search->add_option("addresses", discover_.targets, "Hosts, or networks such as 192.168.1.0/24")
      ->required()
      ->type_name("ADDRESS");
  search->add_option("--port", discover_.port, "Port (default 80)")
      ->type_name("N")
      ->check(quiet(CLI::Range(1L, 65535L)));
  search->callback([this] {
    chosen_ = [this] {
      if (given_.timeout) discover_.timeout = *given_.timeout;
      discover(discover_, json_, style_of(1));
    };
  });

  CLI::App* completion = add(app_, "completion", "Print the completion script for a shell");
  completion->add_option("shell", text_, "bash or zsh")
      ->required()
      ->type_name("SHELL")
      ->check(quiet(CLI::IsMember({"bash", "zsh"})));
  completion->callback(
      [this] { chosen_ = [this] { std::fputs(completion_of(help_of(app_), text_).c_str(), stdout); }; });
  CLI::App* manual = add(app_, "manual", "Print the manual page; \"hnap manual | man -l -\" shows it");
  manual->callback([this] { chosen_ = [this] { std::fputs(manual_of(help_of(app_)).c_str(), stdout); }; });
}

}  // namespace

int run_command_line(int argc, char** argv) {
  return CommandLine().run(argc, argv);
}

}  // namespace hnap
