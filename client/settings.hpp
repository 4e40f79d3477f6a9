// Which device, with which credentials: command line, environment, configuration file, netrc.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace hnap {

/// What the command line says.
struct Given {
  std::string host, user, password_file, config_file;
  std::optional<double> timeout;  // seconds
};

struct Settings {
  std::string url;    // where requests go, "http://192.168.1.2/HNAP1/"
  std::string label;  // the host and port in messages, visible
  std::string user;
  std::optional<std::string> password;
  std::chrono::milliseconds timeout{30000};
  bool timeout_given = false;
};

/// An address as users write it (host, host:port, [::1]:80, http://host/path) as a URL and a label. Throws
/// Failure (usage) when it is none.
void set_address(Settings& settings, const std::string& host);

/// Puts together what is said in all places; the first that says something wins: command line, environment
/// (HNAP_HOST, HNAP_USER, HNAP_PASSWORD, HNAP_TIMEOUT), configuration file, netrc. A password of the
/// configuration file goes to that file's host only. Throws Failure (usage).
Settings settle(const Given& given);

}  // namespace hnap
