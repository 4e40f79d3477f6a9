// The table row for tests of one action, and the sweeps over everything that can fail. To test an action, add
// rows to the table of its family:
//
//   const ActionRow kRows[] = {
//       {"name", "SetDeviceSettings", "DeviceName=Den|AdminPassword=x", "OK", {"nvram set ...", ...}},
//   };
//   const bool kAdded = add_rows("DeviceSettings", kRows);
//
// Every row is answered exactly as it says. The first one of each action and result also meets each failure
// of an allocation and of an effect on its way.
#pragma once

#include <span>

#include "support/fixture.hpp"

namespace kd::test {

struct ActionRow {
  const char* name;  // what is special
  const char* action;
  std::string arguments = "";          // XML in short
  std::string reply = "";              // in short
  Effects changes = {};                // of the request, without the survey marker's
  Device::Step prepare = nullptr;      // the device, besides prepare_extender
  const char* asked_in = kCore;        // namespace of the request
  const char* answered_in = nullptr;   // of the reply, when it is another one
  bool reloads = false;                // the radio when the connection has ended
  bool reads = false;                  // what it can read decides what it does and answers
  bool acts_first = false;             // before it builds its reply, or whatever becomes of that
  const char* may_miss = "(nothing)";  // effects that it leaves out without memory, and answers the same
};
bool add_rows(const char* family, std::span<const ActionRow> rows);

// One request on a device of its own. Every fault that it can meet happens in turn. Whatever comes of it, the
// client gets a defined answer, nothing leaks, and the next request is served. Without memory the device is
// changed in the same order or less, and no more once the reply is lost; a reply has all its elements. The
// same reply means the same changes.
struct Trial {
  Request request;
  Device::Step prepare = nullptr;
  bool reads = false, acts_first = false;  // as in ActionRow
  const char* may_miss = "(nothing)";      // as in ActionRow
};
void survive_each_fault(const Trial& trial);

inline constexpr const char* kMarker = "run echo 1 > /tmp/postponeSiteSurvey";
inline constexpr const char* kMarkerGone = "run rm -f /tmp/postponeSiteSurvey";

}  // namespace kd::test
