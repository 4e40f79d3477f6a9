#include "actions/arguments.hpp"

#include "base/debug_log.hpp"
#include "xml/envelope.hpp"

namespace kd {
namespace {

Argument* find_argument(std::span<Argument> arguments, std::string_view name) {
  for (Argument& argument : arguments) {
    if (name == argument.name) return &argument;
  }
  return nullptr;
}

bool all_seen(std::span<Argument> arguments) {
  for (const Argument& argument : arguments) {
    if (!argument.seen) return false;
  }
  return true;
}

}  // namespace

const char* accept_text(const xml_element& element, void* target) {
  if (element.text) *static_cast<const char**>(target) = element.text;
  return nullptr;
}

const char* accept_latest_text(const xml_element& element, void* target) {
  *static_cast<const char**>(target) = element.text ? element.text : "";
  return nullptr;
}

ArgumentFault read_arguments(const xml_element* action, std::span<Argument> arguments) {
  const xml_element* child = action ? action->first_child : nullptr;
  while (!all_seen(arguments)) {
    if (!child) return {kGenericError};
    KD_LOG_HANDLER("%s = %s", child->name, child->text ? child->text : "");
    Argument* argument = find_argument(arguments, child->name);
    if (!argument) return {kGenericError, child->name};
    if (const char* error = argument->accept(*child, argument->target)) return {error};
    argument->seen = true;
    child = child->next_sibling;
  }
  return {};
}

}  // namespace kd
