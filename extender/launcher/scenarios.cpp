#include "launcher/scenarios.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include "common/failure.hpp"
#include "common/files.hpp"
#include "common/settings.hpp"
#include "launcher/places.hpp"
#include "radio/formats.hpp"
#include "section_text.hpp"

namespace fs = std::filesystem;

namespace kd {
namespace {

std::string scenarios_directory() {
  return shared_directory() + "/scenarios";
}

bool is_note(const std::string& name) {
  return name.rfind("README", 0) == 0 || name.front() == '.' || name.back() == '~' || name == "about";
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

void check_mtd(const std::string& path, Complaints& complaints) {
  std::size_t number = 0;
  for_each_line(read_file_or_empty(path), [&](std::string_view line) {
    if (++number == 1 ? line.rfind("dev:", 0) == 0 : is_mtd_line(line)) return;
    complaints.add(path,
                   {{number, number == 1 ? "the first line begins with \"dev:\""
                                         : "a partition is a line as: mtd4: 00fb0000 00010000 \"Kernel\""}});
  });
}

// A file that stands in the scenario; boardid and web/ may hold anything.
bool check_part(const std::string& path, const std::string& name, Complaints& complaints) {
  if (name == "boardid" || name == "web") return true;
  if (name == "store") return check_store(path, complaints), true;
  if (name == "mtd") return check_mtd(path, complaints), true;
  if (name == "radio") return check_radio(path, complaints), true;
  if (name != "settings") return false;
  complaints.add(path, check_records(read_file_or_empty(path), settings_format()).problems);
  return true;
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
    } else if (!is_note(name)) {
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
  complaints.throw_if_any();
}

void check_radio(const std::string& directory, Complaints& complaints) {
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    const std::string path = entry.path().string();
    const std::string name = entry.path().filename().string();
    if (name == "raw") {
      for (const fs::directory_entry& raw : fs::directory_iterator(path)) {
        const std::string tool = raw.path().filename().string();
        if (!radio::is_raw_name(tool) && !is_note(tool)) {
          complaints.add(raw.path().string(), "replaces no tool's output; raw/README lists the names");
        }
      }
    } else if (!is_note(name)) {
      complaints.add(path, radio::check_file(name, read_file_or_empty(path)));
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
