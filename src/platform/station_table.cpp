#include "platform/station_table.hpp"

#include "base/text.hpp"
#include "platform/site_survey.hpp"

namespace kd {

StationLine split_station_line(std::string_view line) {
  constexpr int kWords = 16;
  std::string_view words[kWords];
  for (std::string_view& word : words) word = take_word(line);
  return {words[0], words[9], words[10], words[15]};
}

const char* station_mode(std::int32_t channel, std::string_view phy_mode, std::int32_t rate) {
  if (channel >= kFirst5GhzChannel) {
    if (phy_mode == "OFDM") return "802.11a";
    return phy_mode == "HTMIX" ? "802.11n" : "";
  }
  // Only 802.11n is as fast as 55 Mbps in this band.
  if (rate >= 55 || phy_mode == "HTMIX") return "802.11n";
  if (phy_mode == "CCK" && rate < 12) return "802.11b";
  return phy_mode == "OFDM" ? "802.11g" : "";
}

}  // namespace kd
