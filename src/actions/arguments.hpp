// Reading an action's arguments: the children of its element.
#pragma once

#include <span>

#include "xml/xml_tree.hpp"

namespace kd {

// One argument that an action requires.
struct Argument {
  const char* name;
  // Takes one occurrence, later ones overriding earlier ones.
  //   returns  null, or the text of the error reply
  const char* (*accept)(const xml_element& element, void* target);
  void* target;
  bool seen = false;
};

// The text goes to the `const char*` that is the target; an element without text leaves the earlier one.
const char* accept_text(const xml_element& element, void* target);
// The same, but an element without text counts as empty text and overrides.
const char* accept_latest_text(const xml_element& element, void* target);

// Why a walk failed: an element that is no argument, and is named; an argument missing; a text refused.
struct ArgumentFault {
  const char* text = nullptr;  // of the error reply; null when all went well
  const char* unknown_name = nullptr;

  explicit operator bool() const { return text != nullptr; }
};

// Walks the children in document order until every argument was seen; what follows is not examined. An
// unknown name, or too few children, is the generic error; a null action has no children.
ArgumentFault read_arguments(const xml_element* action, std::span<Argument> arguments);

}  // namespace kd
