// `extender radio`: small edits of the files under radio/, for those who do not want to open an editor.
// They work on a running device and on one that is not running.
#ifndef KD_EXTENDER_RADIO_FILES_HPP
#define KD_EXTENDER_RADIO_FILES_HPP

#include <string>
#include <string_view>
#include <vector>

namespace kd {

// `fields` are words "name=value". Each throws Failure when a file cannot be written or a field is missing.
int add_network(const std::string& state, const std::vector<std::string>& fields);
int remove_network(const std::string& state, const std::string& ssid);
int connect_client(const std::string& state, const std::vector<std::string>& fields);
int disconnect_client(const std::string& state, const std::string& mac);
// "up", "down" or fields of the link.
int change_link(const std::string& state, const std::vector<std::string>& words);

// The text without the lines whose record has this field with this value; other lines stay byte for byte.
// Addresses compare without letter case.
std::string without_records(std::string_view text, std::string_view field, std::string_view value,
                            bool address);

}  // namespace kd

#endif
