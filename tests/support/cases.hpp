// What tests of one family of actions share: a fixture that leaves no leak behind, and the table row from
// which the generic tests of cases.cpp run. To test an action, add rows to the table of its family:
//
//   const ActionCase kRows[] = {
//       {"name", "SetDeviceSettings", {{"DeviceName", "Den"}, ...}, "OK", {"nvram set ...", ...}},
//   };
//   INSTANTIATE_TEST_SUITE_P(DeviceSettings, ActionTest, ::testing::ValuesIn(kRows), row_name);
//
// Every row is answered once exactly as it says, then once for each allocation and for each effect that can
// fail on the way.
#pragma once

#include <gtest/gtest.h>

#include <iosfwd>
#include <string>
#include <vector>

#include "actions/kd_hnap_handler.hpp"
#include "support/fixture.hpp"
#include "support/host_double.hpp"
#include "xml/namespaces.hpp"

namespace kd::test {

struct ActionCase {
  const char* name;  // what is special
  const char* action;
  Arguments arguments = {};
  std::string reply =
      "";  // what lies inside the response element; without any "<" the text of its only result
  std::vector<std::string> changes = {};  // Device::changes() of the request, without the survey marker's
  Device::Step prepare = nullptr;         // the device, besides prepare_extender
  int deferred = 0;                       // the action code for the connection's end
  const char* request_namespace = HNAP1_NAMESPACE;
  const char* reply_namespace = HNAP1_NAMESPACE;
  bool varies = false;               // what it can read decides which elements the reply has
  bool acts_first = false;           // it acts before it builds its reply, or whatever becomes of that
  action_handler handler = nullptr;  // of an action that no request reaches: called with the parsed request
};

void PrintTo(const ActionCase& row, std::ostream* out);
std::string row_name(const ::testing::TestParamInfo<ActionCase>& info);
// Letters and digits of a row's name, for tables of other rows.
std::string identifier(std::string_view name);

// One request on a device of its own. Every fault that it can meet happens in turn; whatever comes of it, the
// client gets a defined answer, nothing leaks, the device is changed as without the fault or less, and the
// next request is served.
struct Trial {
  host::Request request;
  Device::Step prepare = nullptr;
  bool varies = false;               // as in ActionCase
  bool acts_first = false;           // as in ActionCase
  action_handler handler = nullptr;  // as in ActionCase
};
void survive_each_failed_allocation(const Trial& trial);
void survive_each_failed_effect(const Trial& trial);
void survive_each_fault(const Trial& trial);

class ActionTest : public ::testing::TestWithParam<ActionCase> {};

// A reply that the module may give when something failed: complete XML, the out-of-memory reply, a fault or
// error page, or the challenge. Empty when it is one, else what is wrong.
std::string wrong_with(const host::Request& request);

}  // namespace kd::test
