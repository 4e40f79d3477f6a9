#include "support/cases.hpp"

#include <algorithm>
#include <ostream>
#include <utility>

#include "base/flags.hpp"
#include "lang/lang.hpp"
#include "module/intake.hpp"
#include "module/mod_kd_hnap.hpp"
#include "xml/envelope.hpp"
#include "xml/soap_parser.hpp"

namespace kd::test {
namespace {

constexpr const char* kMarker = "run echo 1 > /tmp/postponeSiteSurvey";
constexpr const char* kMarkerGone = "run rm -f /tmp/postponeSiteSurvey";

// The tags that lines begin with: the shape of a reply, whatever its texts say.
std::string shape(std::string_view reply) {
  std::string tags;
  while (!reply.empty()) {
    const std::string_view line = reply.substr(0, reply.find('\n'));
    tags += line.substr(0, line.find('>') + 1);
    tags += '\n';
    reply.remove_prefix(std::min(reply.size(), line.size() + 1));
  }
  return tags;
}

// What the dispatcher does, for a handler that it does not know.
void call_handler(action_handler handler, host::Request& host_request) {
  hnap_request request;
  request.host = &host_request;
  kd_hnap_get_soap_method(request);
  host::read_body(host_request, request.content, request.content_len);
  soap_document document;
  const char* error = open_document(document, request);
  if (!error) error = parse_document(document, request, static_cast<std::int32_t>(request.content_len));
  const xml_element* action = error ? nullptr : find_action_element(*document.tree);
  if (error) {
    host_request.reply = make_error_page(error).view();
    host_request.status = 500;
  } else if (!request.soap_action) {  // without memory for it no row is found
    host_request.reply = soap_fault(nullptr).view();
    host_request.status = 500;
  } else {
    host_request.reply = handler(request, action).view();
    host_request.status = 200;
  }
  host_request.action = request.hnap_action;
  flags.hnap_error_flag = false;
}

void deliver(const Trial& trial, host::Request& request) {
  if (trial.handler) {
    flags.alternate_namespace =
        contains(host::header(request, "SOAPAction").value_or(""), EXTENDER_NAMESPACE_B);
    call_handler(trial.handler, request);
  } else {
    send(request);
  }
}

struct Outcome {
  host::Request request;
  std::vector<std::string> changes;  // of the request
  std::vector<std::string> all;      // of the connection's end too
  std::vector<std::string> late;     // of the request, behind its first failed allocation
  bool fault_met = false;
  std::string faults;  // leaks and the like
};

std::string probe() {
  device().set("Login", "admin");
  device().set("Password", "password");
  device().files["/var/is_dev_ready"] = "";
  host::Request request = soap_request("IsDeviceReady");
  send(request);
  const bool served = request.status == 200 && reply_value(request.reply, "IsDeviceReadyResult") == "OK";
  return served ? "" : "the next request is not served: " + request.reply;
}

Outcome run(const Trial& trial, HeapFault heap_fault = {}, Fault fault = {}) {
  flags = {};
  Device device;
  prepare_extender(device);
  if (trial.prepare) trial.prepare(device);
  Outcome outcome;
  outcome.request = trial.request;
  HeapWatch heap;
  std::size_t fault_line = SIZE_MAX;
  heap.fail(heap_fault, [&] { fault_line = device.journal.size(); });
  device.fail(fault);
  deliver(trial, outcome.request);
  outcome.changes = device.changes();
  outcome.late = device.changes(fault_line);
  hnap_connection_close_callback(outcome.request.action, connection_uri::hnap);
  outcome.all = device.changes();
  outcome.fault_met = heap.fault_met() || device.fault_met();

  heap.fail({});
  device.fail({});
  outcome.faults = device.misuse() + wrong_with(outcome.request);
  if (flags.hnap_error_flag) outcome.faults += "hnap_error_flag is set\n";
  flags.hnap_reboot_flag = false;  // the device has restarted
  lang_free();                     // a loaded language stays between requests
  outcome.faults += probe() + heap.leaks();
  return outcome;
}

// The survey marker counts as nothing, nor does what is said on console and output or the reopened store: a
// failure may do more of these.
std::vector<std::string> without_notes(std::vector<std::string> changes) {
  std::erase_if(changes, [](const std::string& line) {
    if (line == kMarker || line == kMarkerGone) return true;
    for (const char* note : {"console ", "print ", "nvram init ", "nvram close "}) {
      if (line.starts_with(note)) return true;
    }
    return false;
  });
  return changes;
}

bool is_part_of(const std::vector<std::string>& some, const std::vector<std::string>& all) {
  auto at = all.begin();
  for (const std::string& line : without_notes(some)) {
    at = std::find(at, all.end(), line);
    if (at++ == all.end()) return false;
  }
  return true;
}

// A request that no handler answered has changed nothing but the survey marker.
std::string acted_unasked(const Outcome& outcome) {
  if (outcome.request.status == 200) return "";
  for (const std::string& line : outcome.all) {
    const bool waits = line.starts_with("sleep ") || line.starts_with("console ");
    if (!waits && line != kMarker && line != kMarkerGone) return "acted without an answer: " + line;
  }
  return "";
}

// Lets each fault happen in turn until a run meets none, and hands every outcome to `check`.
template <class MakeFault, class Check>
void sweep(const Trial& trial, MakeFault fault_at, Check check) {
  for (unsigned at = 1;; ++at) {
    SCOPED_TRACE(at);
    const auto [heap_fault, fault] = fault_at(at);
    const Outcome outcome = run(trial, heap_fault, fault);
    EXPECT_EQ(outcome.faults, "");
    EXPECT_EQ(acted_unasked(outcome), "");
    check(outcome);
    if (::testing::Test::HasFailure() || !outcome.fault_met) break;
  }
}

Trial trial_of(const ActionCase& row) {
  return {soap_request(row.action, row.arguments, row.request_namespace), row.prepare, row.varies,
          row.acts_first, row.handler};
}

}  // namespace

std::string wrong_with(const host::Request& request) {
  const std::string& reply = request.reply;
  switch (request.status) {
    case 0:
      return request.method == host::Method::other && reply.empty() ? "" : "no answer";
    case 200:
      return is_whole_reply(reply) || reply == kOutOfMemory ? "" : "no whole reply: " + reply;
    case 401:
      return request.refused && reply.empty() ? "" : "no plain refusal";
    case 500: {
      // Without memory for its copy the action is an unknown one without a name.
      const std::string_view action = soap_action_of(host::header(request, "SOAPAction").value_or(""));
      if (reply == kOutOfMemory || reply == fault_of("") || reply == fault_of(head(action, 3))) return "";
      for (const char* message : {"XML PARSE CREATE ERROR", "NEW XML TREE ERROR",
                                  "XML PARSE STATUS NOT OK ERROR", "CONTENT LEN == 0 XML PARSE ERROR",
                                  "CONTENT LEN < 0 XML PARSE ERROR", "HANDLE REQUEST INITIAL ERROR"}) {
        if (reply == error_page_of(message)) return "";
      }
      return "no whole page: " + reply;
    }
    default:
      return "status " + std::to_string(request.status);
  }
}

void PrintTo(const ActionCase& row, std::ostream* out) {
  *out << row.action << ": " << row.name;
}

std::string identifier(std::string_view name) {
  std::string kept;
  bool capital = true;
  for (const char c : name) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (letter) kept += capital && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    capital = !letter;
  }
  return kept;
}

std::string row_name(const ::testing::TestParamInfo<ActionCase>& info) {
  return info.param.action + std::string{"_"} + identifier(info.param.name);
}

// Without memory the device is changed in the same order, and no more once the reply is lost; a reply has all
// its elements.
void survive_each_failed_allocation(const Trial& trial) {
  const Outcome full = run(trial);
  for (const bool and_later : {false, true}) {
    sweep(
        trial,
        [=](unsigned at) {
          return std::pair{HeapFault{at, and_later}, Fault{}};
        },
        [&](const Outcome& outcome) {
          EXPECT_TRUE(is_part_of(outcome.all, full.all)) << ::testing::PrintToString(outcome.all);
          if (outcome.request.reply == kOutOfMemory && !trial.acts_first) {
            EXPECT_EQ(std::count(outcome.changes.begin(), outcome.changes.end(), "nvram commit 0"), 0);
            if (!and_later) {
              EXPECT_EQ(without_notes(outcome.late), std::vector<std::string>{});
            }
          }
          if (outcome.request.status != 200 || outcome.request.reply == kOutOfMemory || trial.varies) return;
          EXPECT_EQ(shape(outcome.request.reply), shape(full.request.reply));
        });
  }
}

// What a failed read leads to is the handler's own business, as long as it is answered.
void survive_each_failed_effect(const Trial& trial) {
  for (const bool cut : {false, true}) {
    sweep(
        trial,
        [=](unsigned at) {
          return std::pair{HeapFault{}, Fault{at, cut}};
        },
        [](const Outcome&) {});
  }
}

void survive_each_fault(const Trial& trial) {
  survive_each_failed_allocation(trial);
  survive_each_failed_effect(trial);
}

TEST_P(ActionTest, AnswersAsTheRowSays) {
  const ActionCase& row = GetParam();
  const Outcome outcome = run(trial_of(row));
  const std::string inside =
      row.reply.find('<') != std::string::npos
          ? row.reply
          : "<" + std::string{row.action} + "Result>" + row.reply + "</" + row.action + "Result>\n";
  EXPECT_EQ(outcome.request.reply, whole_reply(row.action, inside, row.reply_namespace));
  EXPECT_EQ(outcome.request.status, 200);
  EXPECT_EQ(outcome.request.action, row.deferred);
  EXPECT_EQ(outcome.faults, "");

  std::vector<std::string> changes = row.changes;
  if (!row.handler) changes.insert(changes.begin(), kMarker);
  EXPECT_EQ(outcome.changes, changes);
}

TEST_P(ActionTest, SurvivesEachFailedAllocation) {
  survive_each_failed_allocation(trial_of(GetParam()));
}

TEST_P(ActionTest, SurvivesEachFailedEffect) {
  survive_each_failed_effect(trial_of(GetParam()));
}

}  // namespace kd::test
