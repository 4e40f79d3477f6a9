// What the files under radio/ may hold.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/format.hpp"

namespace kd::radio {

const Format& neighbours_format();
const Format& clients_format();
const Format& stations_format();
const Format& link_format();

// Everything wrong with a file under radio/, given by its name there; with a name that means nothing, that.
std::vector<Problem> check_file(const std::string& name, std::string_view text);

// Whether a file's name says that nobody reads it: README, .hidden, backup~.
bool is_note(const std::string& name);

}  // namespace kd::radio
