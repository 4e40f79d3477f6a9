// The driver's table of stations, which it prints into the kernel log when asked.
#pragma once

#include <cstdint>
#include <string_view>

namespace kd {

// The columns of a line that are used: its first, tenth, eleventh and sixteenth word. Missing ones are empty.
struct StationLine {
  std::string_view mac;  // behind a line number and a colon
  std::string_view phy_mode;
  std::string_view bandwidth;
  std::string_view data_rate;  // Mbps
};
StationLine split_station_line(std::string_view line);

// Takes the lines of the table out of the kernel log, for every other reader too.
inline constexpr const char* kTakeStationTable = "dmesg -c | grep -in '^..:.*$'";

// 802.11 mode of a station: "802.11b", "802.11g", "802.11a" or "802.11n"; empty when the words do not tell.
//   channel  0 counts as 2.4 GHz
//   rate     Mbps
const char* station_mode(std::int32_t channel, std::string_view phy_mode, std::int32_t rate);

}  // namespace kd
