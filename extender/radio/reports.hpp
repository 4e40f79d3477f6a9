// What the driver's tools print, in the layouts that the device's software cuts apart.
#pragma once

#include <string>
#include <vector>

#include "radio/model.hpp"

namespace kd::radio {

// "iwpriv ra0 get_site_survey": two header lines of together at least 150 bytes, so that a survey without a
// network is not taken for a failed one, then a line a network in fixed columns.
std::string survey_text(const std::string& interface, const std::vector<Network>& networks);

// "iwconfig": one interface. An access address of "" shows as not associated.
struct InterfaceReport {
  std::string name;
  std::string ssid;
  int channel;
  std::string access_point;
  int rate;
};
std::string iwconfig_text(const InterfaceReport& report);

// "iwpriv X show stainfo": the station table, as the driver prints it into the kernel log. A line begins
// with the address; words 10, 11 and 16 are PHY mode, bandwidth and rate.
std::string station_table(const std::vector<Station>& stations);

// "iwpriv apcli0 stat": the counters, among them the line of the signal strength.
std::string stat_text(const Link& link);

// The client-list daemon's file: seven columns between tabs.
std::string client_list_text(const std::vector<Client>& clients);

}  // namespace kd::radio
