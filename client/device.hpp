// A device: actions called by name, replies as trees.
#pragma once

#include <functional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "http.hpp"
#include "settings.hpp"

namespace hnap {

inline constexpr const char* kHnap1 = "http://purenetworks.com/HNAP1/";

/// An element's name without its prefix.
std::string_view local_name(pugi::xml_node node);

/// The first child of that local name; a null node when there is none.
pugi::xml_node child(pugi::xml_node node, std::string_view name);

/// All text of an element as it came; empty for a null node.
std::string text_of(pugi::xml_node node);

/// The text of a child.
std::string text_of(pugi::xml_node node, std::string_view name);

class Reply {
 public:
  HttpReply http;
  std::string action;  // that was asked for
  pugi::xml_document document;
  pugi::xml_node response;  // the element inside the body
  std::string result;       // "OK", "REBOOT", "ERROR", ...; empty when the reply has none

  std::string operator[](std::string_view name) const { return text_of(response, name); }
};

using Arguments = std::vector<std::pair<std::string, std::string>>;

struct CallOptions {
  std::string name_space = kHnap1;
  std::string arguments_xml;             // in place of arguments: well-formed XML
  std::chrono::milliseconds timeout{0};  // 0: that of the settings
  OnProgress on_progress;
};

/// The request's body. Throws Failure (usage) when XML cannot carry an argument.
std::string envelope(const std::string& action, const Arguments& arguments, const CallOptions& options = {});

class Device {
 public:
  Device(Settings settings, bool verbose) : settings_(std::move(settings)), verbose_(verbose) {}

  /// Calls an action and gives back its reply when it says "OK" or "REBOOT". Asks for the password when none
  /// is known and the device wants one. Throws Failure: refused, unreachable, credentials.
  Reply call(const std::string& action, const Arguments& arguments = {}, const CallOptions& options = {});

  /// The same with a body of the caller's.
  Reply call_with_body(const std::string& action, const std::string& body, const CallOptions& options = {});

  /// Who the device is, which it tells anybody (a GET).
  Reply identity(std::chrono::milliseconds timeout = std::chrono::milliseconds(0));

  /// Sends and parses without judging the result: for `check`. Throws Failure (unreachable) only.
  Reply fetch(const std::string& action, const std::string& body, const CallOptions& options = {});

  const Settings& settings() const { return settings_; }
  const std::string& label() const { return settings_.label; }

  /// The password that the user gave or, asked for now, gives.
  const std::string& password();
  void set_password(const std::string& password) { settings_.password = password; }

 private:
  Settings settings_;
  bool verbose_;
};

/// Fills document, response and result from the body. Gives what is wrong with it; empty when nothing is.
std::string parse(Reply& reply);

/// Throws the Failure that a reply stands for, if any: status, fault, result.
void judge(const Reply& reply, const std::string& label, const std::string& flaw);

}  // namespace hnap
