// What goes wrong on purpose: the lines of radio/faults, such as
//
//   fault=late ms=2000 share=30 seed=7 action=GetWirelessNetworks
//   fault=upstream-gone ssid="Home Network" for=5000
//
// Faults of the connection are the launcher's business, all others the device's programs'.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/format.hpp"

namespace kd {

struct FaultKind {
  const char* name;
  bool of_connection;
  std::span<const Field> fields;
  const char* meaning;
};
std::span<const FaultKind> fault_kinds();

struct Fault {
  const FaultKind* kind;
  Record record;
  bool is(std::string_view name) const { return kind->name == name; }
};

struct CheckedFaults {
  std::vector<Fault> faults;
  std::vector<Problem> problems;
};
CheckedFaults check_faults(std::string_view text);

// Judges one line. Empty, or what is wrong with it.
std::string wrong_fault(const Record& record);

// Those of a text that are right.
std::vector<Fault> parse_faults(std::string_view text);

}  // namespace kd
