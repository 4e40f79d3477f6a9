// `extender radio`: small edits of the files under radio/, for those who do not want to open an editor.
// They work on a running device and on one that is not running.
#pragma once

#include <string>
#include <vector>

#include "common/record.hpp"

namespace kd {

// The path of a file under radio/. Throws Failure when the directory is no state directory.
std::string radio_path(const std::string& state, const char* name);

// Words "name=value" as a record. Throws Failure.
Record record_of(const std::vector<std::string>& words);

// The networks around, with what keeps them out of the device's list, the clients and the link.
int list_radio(const std::string& state);

// `fields` are words "name=value". Each throws Failure, and changes nothing, when a word is wrong or names
// what is not there, or when a file cannot be written.
int add_network(const std::string& state, const std::vector<std::string>& fields);
int remove_network(const std::string& state, const std::string& ssid);
int connect_client(const std::string& state, const std::vector<std::string>& fields);
int disconnect_client(const std::string& state, const std::string& mac);
// "up", "down" or fields of the link.
int change_link(const std::string& state, const std::vector<std::string>& words);

}  // namespace kd
