#include "settings.hpp"

#include <curl/curl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include "failure.hpp"
#include "files.hpp"
#include "text.hpp"

namespace hnap {
namespace {

[[noreturn]] void wrong(const std::string& line) {
  throw Failure(Exit::usage, line);
}

std::string from_environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

std::string home() {
  if (std::string home = from_environment("HOME"); !home.empty()) return home;
  const passwd* const entry = getpwuid(getuid());
  return entry ? entry->pw_dir : "";
}

std::chrono::milliseconds timeout_of(double seconds, const std::string& where) {
  if (!(seconds >= 0.1 && seconds <= 86400)) wrong(where + ": a timeout is 0.1 to 86400 seconds");
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

double seconds_in(const std::string& text) {
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  return text.empty() || *end ? -1 : seconds;
}

// Lines of "key = value"; "#" begins a comment line.
struct ConfigFile {
  std::map<std::string, std::string> values;

  const std::string& operator[](const std::string& key) { return values[key]; }
};

// Nobody else may read a password.
void check_mode(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) wrong(path + ": " + std::strerror(errno));
  if (status.st_uid != getuid() && status.st_uid != 0) wrong(path + ": holds a password and is not yours");
  if (status.st_mode & (S_IRWXG | S_IRWXO))
    wrong(path + ": holds a password that others can read; chmod 600 " + path);
}

ConfigFile read_config(const std::string& path, bool must_exist) {
  ConfigFile config;
  std::ifstream file(path);
  if (!file) {
    if (must_exist || (errno != ENOENT && errno != ENOTDIR)) wrong(path + ": " + std::strerror(errno));
    return config;
  }
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    line = without_blanks_around(line);
    if (line.empty() || line[0] == '#') continue;
    const std::string where = path + ":" + std::to_string(number);
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) wrong(where + ": not of the form key = value");
    const std::string key = without_blanks_around(line.substr(0, equals));
    if (key != "host" && key != "user" && key != "password" && key != "password_file" && key != "timeout")
      wrong(where + ": there is no setting \"" + visible(key) + "\"");
    config.values[key] = without_blanks_around(line.substr(equals + 1));
  }
  if (config.values.contains("password")) check_mode(path);
  if ((config.values.contains("password") || config.values.contains("password_file")) &&
      config["host"].empty())
    wrong(path + ": a password needs the host that it belongs to");
  return config;
}

std::string default_config() {
  const std::string base = from_environment("XDG_CONFIG_HOME");
  return (base.empty() ? home() + "/.config" : base) + "/hnap/config";
}

// One word of a netrc file; quoted ones may hold blanks.
bool next_word(std::istream& in, std::string& word) {
  word.clear();
  if ((in >> std::ws).peek() != '"') return static_cast<bool>(in >> word);
  in.get();
  for (int next = in.get(); next != EOF && next != '"'; next = in.get())
    word += static_cast<char>(next == '\\' ? in.get() : next);
  return true;
}

// Takes user and password of the first entry that fits the host (and the user, if one is known).
void take_from_netrc(Settings& settings, const std::string& host) {
  const std::string named = from_environment("NETRC");
  const std::string path = named.empty() ? home() + "/.netrc" : named;
  std::ifstream file(path);
  if (!file) return;
  std::string word, login, password;
  bool fits = false;
  const auto take = [&] {
    if (!fits || password.empty() || (!settings.user.empty() && settings.user != login)) return false;
    check_mode(path);
    settings.user = login;
    settings.password = password;
    return true;
  };
  while (next_word(file, word)) {
    if (word == "machine" || word == "default") {
      if (take()) return;
      login.clear();
      password.clear();
      fits = word == "default" || (next_word(file, word) && word == host);
    } else if (word == "login") {
      next_word(file, login);
    } else if (word == "password") {
      next_word(file, password);
    } else if (word == "macdef") {  // ends at an empty line
      for (std::string line; std::getline(file, line) && !line.empty();) continue;
    } else if (word[0] == '#') {
      std::getline(file, word);
    }
  }
  take();
}

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part_of(const Url& url, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) return {};
  std::string result = text;
  curl_free(text);
  return result;
}

Url parsed(const std::string& host) {
  std::string address = host;
  const bool bare_ipv6 = address.find('[') == std::string::npos && address.find(':') != address.rfind(':') &&
                         address.find("//") == std::string::npos;
  if (bare_ipv6) address = "[" + address + "]";
  if (address.find("://") == std::string::npos) address = "http://" + address;
  Url url(curl_url(), &curl_url_cleanup);
  if (address.find_first_of(" \t\r\n\\") != std::string::npos ||
      curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK)
    wrong("\"" + visible(host) + "\" is no address; expected host, host:port or http://host/path");
  return url;
}

void take_user(Settings& settings, const std::string& user) {
  const std::size_t colon = user.find(':');
  settings.user = user.substr(0, colon);
  settings.password.reset();  // another user's does not go with this one
  if (colon != std::string::npos) settings.password = user.substr(colon + 1);
}

// What is said of user and password, the first place that says something. The file's password is for the
// file's host and user.
void find_credentials(Settings& settings, const Given& given, ConfigFile& config, const std::string& host) {
  Settings at_home;
  if (!config["host"].empty()) set_address(at_home, config["host"]);
  const bool right_host = at_home.url == settings.url;
  if (right_host || config["host"].empty()) settings.user = config["user"];
  if (const std::string user = from_environment("HNAP_USER"); !user.empty()) take_user(settings, user);
  if (!given.user.empty()) take_user(settings, given.user);

  if (!given.password_file.empty()) settings.password = secret_from_file(given.password_file);
  if (!settings.password && std::getenv("HNAP_PASSWORD"))
    settings.password = from_environment("HNAP_PASSWORD");
  const auto or_admin = [](const std::string& user) { return user.empty() ? "admin" : user; };
  const bool file_counts = right_host && or_admin(settings.user) == or_admin(config["user"]);
  if (!settings.password && file_counts && !config["password"].empty())
    settings.password = config["password"];
  if (!settings.password && file_counts && !config["password_file"].empty())
    settings.password = secret_from_file(config["password_file"]);
  if (!settings.password) take_from_netrc(settings, part_of(parsed(host), CURLUPART_HOST));
  settings.user = or_admin(settings.user);
}

void find_timeout(Settings& settings, const Given& given, ConfigFile& config) {
  const std::string said = from_environment("HNAP_TIMEOUT");
  settings.timeout_given = given.timeout || !said.empty() || !config["timeout"].empty();
  if (given.timeout)
    settings.timeout = timeout_of(*given.timeout, "--timeout");
  else if (!said.empty())
    settings.timeout = timeout_of(seconds_in(said), "HNAP_TIMEOUT");
  else if (!config["timeout"].empty())
    settings.timeout = timeout_of(seconds_in(config["timeout"]), "timeout in the configuration");
}

}  // namespace

void set_address(Settings& settings, const std::string& host) {
  const Url url = parsed(host);
  const std::string scheme = part_of(url, CURLUPART_SCHEME);
  if (scheme != "http" && scheme != "https")
    wrong("\"" + visible(host) + "\": only http and https are spoken");
  if (!part_of(url, CURLUPART_USER).empty() || !part_of(url, CURLUPART_PASSWORD).empty())
    wrong("a password does not belong into an address; see --user and --password-file");
  if (part_of(url, CURLUPART_PATH) == "/") curl_url_set(url.get(), CURLUPART_PATH, "/HNAP1/", 0);
  settings.url = part_of(url, CURLUPART_URL);
  const std::string port = part_of(url, CURLUPART_PORT);
  settings.label = visible(part_of(url, CURLUPART_HOST) + (port.empty() ? "" : ":" + port));
}

Settings settle(const Given& given) {
  ConfigFile config =
      given.config_file.empty() ? read_config(default_config(), false) : read_config(given.config_file, true);
  std::string host = given.host.empty() ? from_environment("HNAP_HOST") : given.host;
  if (host.empty()) host = config["host"];
  if (host.empty())
    wrong("which device? Name it with --host, HNAP_HOST or a line \"host = ...\" in " + default_config());
  Settings settings;
  set_address(settings, host);
  find_credentials(settings, given, config, host);
  find_timeout(settings, given, config);
  return settings;
}

}  // namespace hnap
