// Scenarios: directories that say what a device and its surroundings are. Every line of them is checked.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "common/format.hpp"

namespace kd {

// What is wrong, with its places.
class Complaints {
 public:
  void add(const std::string& file, const std::vector<Problem>& problems);
  void add(const std::string& file, const std::string& what) { add(file, {{0, what}}); }
  // Throws a Failure that names all of them, a line each, and the hint.
  void throw_if_any(const std::string& hint = "") const;

 private:
  std::string text_;
};

// The directory of a scenario: one that is shipped for a name, any for a path. Throws Failure.
std::string find_scenario(const std::string& name);

// Throws Failure when a scenario holds nothing of one, something unknown, or a wrong line.
void check_scenario(const std::string& directory);

void check_radio(const std::string& directory, Complaints& complaints);

// Names of the shipped scenarios, each with what it is for.
std::vector<std::pair<std::string, std::string>> list_scenarios();

// The texts of radio/eeprom and of a store file for the device of a number, 1 to 9999.
std::string numbered_eeprom(const std::string& text, int number);
std::string numbered_store(const std::string& text, int number);

}  // namespace kd
