// The actions of the protocol: what each does and what its reply holds.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "device.hpp"

namespace hnap {

struct ActionInfo {
  const char* name;
  const char* does;
  bool safe;  // may be called at any time: changes nothing
};

/// Every action that we know; those that few devices serve come last.
std::span<const ActionInfo> known_actions();

/// What an action does; empty for an unknown one.
std::string_view purpose_of(std::string_view action);

/// What a value in a reply may be.
enum class Kind {
  any,      // any text
  filled,   // a text that is not empty
  number,   // a decimal number, in the range of `values` ("0..100") if there is one
  boolean,  // "true" or "false"
  choice,   // one of `values`, separated by "|"; an empty choice allows the empty text
  mac,      // six octets, or nothing
  date,     // 2014-04-19T00:00:00, or nothing
  group,    // an element with children
};

struct Field {
  const char* action;
  const char* path;  // below the response element; "*" behind a name: any number of them
  Kind kind = Kind::any;
  const char* values = "";
};

/// The elements that an action's reply must have, parents first.
std::span<const Field> fields_of(std::string_view action);

}  // namespace hnap
