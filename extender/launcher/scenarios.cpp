#include "launcher/scenarios.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "common/failure.hpp"
#include "common/faults.hpp"
#include "common/files.hpp"
#include "common/settings.hpp"
#include "launcher/places.hpp"
#include "radio/formats.hpp"
#include "radio/model.hpp"
#include "section_text.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

std::string scenarios_directory() {
  return shared_directory() + "/scenarios";
}

void check_store(const std::string& path, Complaints& complaints) {
  store::Table table;
  const store::ParseResult parsed = store::parse(read_file_or_empty(path), table);
  if (parsed.status == store::ParseStatus::ok) return;
  complaints.add(
      path, {{parsed.line,
              "a store file begins with \"nvram 1\", ends with \"end\" and has a line KEY=VALUE for each "
              "value, where a backslash stands only in \\\\, \\n, \\r, \\t and \\xHH"}});
}

bool is_mtd_line(std::string_view line) {
  std::size_t number = 0;
  char size[9] = "";
  char erase[9] = "";
  int end = 0;
  const std::string text(line);
  return std::sscanf(text.c_str(), "mtd%zu: %8[0-9a-fA-F] %8[0-9a-fA-F] \"%*[^\"]\"%n", &number, size, erase,
                     &end) == 3 &&
         static_cast<std::size_t>(end) == text.size();
}

std::vector<Problem> check_mtd(std::string_view text) {
  bool is_first = true;
  if (text.empty()) text = "\n";  // wants its first line all the same
  return check_lines(text, [&](std::string_view line) -> std::string {
    if (std::exchange(is_first, false)) {
      return line.rfind("dev:", 0) == 0 ? "" : "the first line begins with \"dev:\"";
    }
    return is_mtd_line(line) ? "" : "a partition is a line as: mtd4: 00fb0000 00010000 \"Kernel\"";
  });
}

// A part of a scenario; boardid and the files of web/ may hold anything.
bool check_part(const std::string& path, const std::string& name, Complaints& complaints) {
  constexpr std::array kParts = {"boardid", "mtd", "radio", "settings", "store", "web"};
  if (std::find(kParts.begin(), kParts.end(), name) == kParts.end()) return false;
  const bool is_folder = name == "radio" || name == "web";
  if (fs::is_directory(path) != is_folder) {
    complaints.add(path, is_folder ? "a file; a directory belongs here" : "a directory; a file belongs here");
    return true;
  }
  if (name == "store") check_store(path, complaints);
  if (name == "mtd") complaints.add(path, check_mtd(read_file_or_empty(path)));
  if (name == "radio") check_radio(path, complaints);
  if (name == "settings") {
    complaints.add(path, check_records(read_file_or_empty(path), settings_format()).problems);
  }
  return true;
}

// A scene about a network that the scenario has not would never be seen.
void check_scenes(const std::string& directory, Complaints& complaints) {
  const std::string path = directory + "/radio/faults";
  const std::string own = directory + "/radio/neighbours";
  const std::vector<radio::Network> networks = radio::parse_networks(
      read_file_or_empty(exists(own) ? own : scenarios_directory() + "/home/radio/neighbours"));
  for (const Fault& fault : parse_faults(read_file_or_empty(path))) {
    const std::string ssid = fault.record.text("ssid");
    if (ssid.empty() || radio::find_network(networks, ssid) != nullptr) continue;
    complaints.add(path, format_record(fault.record) + ": no network of the scenario has that name");
  }
}

}  // namespace

void Complaints::add(const std::string& file, const std::vector<Problem>& problems) {
  for (const Problem& problem : problems) {
    text_ += "\n  " + file + (problem.line > 0 ? ", line " + std::to_string(problem.line) : "") + ": " +
             problem.text;
  }
}

void Complaints::throw_if_any(const std::string& hint) const {
  if (text_.empty()) return;
  throw Failure("nothing was started or changed; please mend" + text_ + (hint.empty() ? "" : "\n" + hint),
                kExitUsage);
}

std::string find_scenario(const std::string& name) {
  const bool is_path = name.find('/') != std::string::npos;
  std::string directory =
      is_path ? fs::absolute(name).lexically_normal().string() : scenarios_directory() + "/" + name;
  if (fs::is_directory(directory)) return directory;
  if (is_path) throw Failure("no directory " + directory + " for a scenario", kExitUsage);
  std::string names;
  for (const auto& [known, about] : list_scenarios()) names += (names.empty() ? "" : ", ") + known;
  throw Failure(
      "no scenario is named \"" + name + "\"; there are " + names + ", or give a directory (with a slash)",
      kExitUsage);
}

void check_scenario(const std::string& directory) {
  Complaints complaints;
  bool is_one = false;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    if (check_part(entry.path().string(), name, complaints)) {
      is_one = true;
    } else if (name != "about" && !radio::is_note(name)) {
      complaints.add(
          entry.path().string(),
          "no part of a scenario; there are about, boardid, mtd, radio/, settings, store and web/");
    }
  }
  if (!is_one && fs::path(directory).filename() != "home") {
    throw Failure(
        directory + " is no scenario: it has neither boardid, mtd, radio/, settings, store nor web/",
        kExitUsage);
  }
  check_scenes(directory, complaints);
  complaints.throw_if_any();
}

void check_radio(const std::string& directory, Complaints& complaints) {
  const auto check = [&](const fs::path& file) {
    const std::string name = file.lexically_relative(directory).string();
    complaints.add(file.string(), radio::check_file(name, read_file_or_empty(file.string())));
  };
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    if (name == "raw" && entry.is_directory()) {
      for (const fs::directory_entry& raw : fs::directory_iterator(entry.path())) check(raw.path());
    } else if (!radio::is_note(name)) {
      check(entry.path());
    }
  }
}

std::vector<std::pair<std::string, std::string>> list_scenarios() {
  std::vector<std::pair<std::string, std::string>> list;
  for (const fs::directory_entry& entry : fs::directory_iterator(scenarios_directory())) {
    const std::string about = read_file_or_empty(entry.path().string() + "/about");
    list.emplace_back(entry.path().filename().string(), about.substr(0, about.find('\n')));
  }
  std::sort(list.begin(), list.end());
  return list;
}

std::string numbered_eeprom(const std::string& text, int number) {
  std::string kept;
  // The serial number's last four characters, and the last two bytes of the address.
  constexpr std::array kReplaced = {"01DD", "01DE", "01DF", "01E0", "0008"};
  for_each_line(text, [&](std::string_view line) {
    const bool replaced = std::any_of(kReplaced.begin(), kReplaced.end(),
                                      [&](std::string_view offset) { return line.substr(0, 4) == offset; });
    if (!replaced) kept += std::string(line) + "\n";
  });
  char digits[5];
  std::snprintf(digits, sizeof digits, "%04d", number);
  char line[16];
  for (int i = 0; i < 4; ++i) {
    std::snprintf(line, sizeof line, "%s %04X\n", kReplaced[static_cast<std::size_t>(i)],
                  static_cast<unsigned>(digits[i]));
    kept += line;
  }
  const auto low = static_cast<unsigned>(number);
  std::snprintf(line, sizeof line, "0008 %04X\n", (low & 0xFF) << 8 | low >> 8);
  return kept + line;
}

std::string numbered_store(const std::string& text, int number) {
  store::Table table;
  std::size_t size = 0;
  char name[16];
  std::snprintf(name, sizeof name, "Extender-%03d", number);
  if (store::parse(text, table).status != store::ParseStatus::ok || !table.set("HostName", name)) return text;
  const store::OwnedText numbered = store::write(table, size);
  return numbered ? std::string(numbered.get(), size) : text;
}

}  // namespace kd
