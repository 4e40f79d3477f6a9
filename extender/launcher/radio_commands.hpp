// `extender radio`: small edits of the files under radio/, for those who do not want to open an editor.
// They work on a running device and on one that is not running.
#pragma once

#include <string>
#include <vector>

namespace kd {

// `fields` are words "name=value". Each throws Failure when a file cannot be written or a field is missing.
int add_network(const std::string& state, const std::vector<std::string>& fields);
int remove_network(const std::string& state, const std::string& ssid);
int connect_client(const std::string& state, const std::vector<std::string>& fields);
int disconnect_client(const std::string& state, const std::string& mac);
// "up", "down" or fields of the link.
int change_link(const std::string& state, const std::vector<std::string>& words);

}  // namespace kd
