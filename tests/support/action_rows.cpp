#include "support/action_rows.hpp"

#include <algorithm>
#include <set>

#include "lang/lang.hpp"

namespace kd::test {
namespace {

// The tags that lines begin with: the shape of a reply, whatever its texts say.
std::string shape(std::string_view reply) {
  std::string tags;
  while (!reply.empty()) {
    const std::string_view line = reply.substr(0, reply.find('\n'));
    tags += line.substr(0, line.find('>') + 1);
    reply.remove_prefix(std::min(reply.size(), line.size() + 1));
  }
  return tags;
}

struct Outcome {
  int status = 0;
  std::string reply;
  Effects changes;         // of the request
  Effects all;             // of the connection's end too
  Effects late;            // of the request, behind its first failed allocation
  bool fault_met = false;  // otherwise there are no more
  std::string faults;      // leaks and the like
};

// Whether the module may answer so when something failed: complete XML, the out-of-memory reply, a fault or
// error page, or the challenge.
bool is_defined(int status, const std::string& reply) {
  if (status == 401) return reply == "<page of the server>";
  if (status == 200) return reply == kOutOfMemory || is_whole_reply(reply);
  const auto shown = between(reply, "HTTP Header ", "</faultstring>");
  const auto message = between(reply, "Document Error: ", "</title>");
  return (shown && reply == fault_of(*shown)) || (message && reply == error_page_of(*message));
}

Outcome run(const Trial& trial, HeapFault heap_fault = {}, Fault fault = {}) {
  Device device;
  Server server;
  prepare_extender(device);
  if (trial.prepare) trial.prepare(device);
  device.journal.clear();
  HeapWatch heap;
  std::size_t fault_line = SIZE_MAX;
  heap.fail(heap_fault, [&] { fault_line = device.journal.size(); });
  device.fail(fault);
  Outcome outcome;
  server.receive(trial.request);
  outcome.status = server.status();
  outcome.reply = server.sent();
  outcome.changes = device.changes();
  outcome.late = device.changes(fault_line);
  server.finish();
  outcome.all = device.changes();
  outcome.fault_met = heap.fault_met() || device.fault_met();

  heap.fail({});
  device.fail({});
  lang_free();  // a loaded language stays between requests
  outcome.faults = device.misuse() + server.complaints;
  const bool answers = trial.request.method != HTTP_METHOD_HEAD;
  if (answers != is_defined(outcome.status, outcome.reply))
    outcome.faults += "no such answer: " + outcome.reply;
  has_stored({{"Login", "admin"}, {"Password", "password"}})(device);
  device.files["/var/is_dev_ready"] = "";
  const std::string next = server.answer(soap("IsDeviceReady"));
  if (next != reply_of("IsDeviceReady", "OK")) outcome.faults += "the next request is not served: " + next;
  outcome.faults += heap.leaks();
  return outcome;
}

// The survey marker counts as nothing, nor does what is said on console and output, the time, or the reopened
// store: a failure may do more of these.
Effects essential(const Trial& trial, Effects changes) {
  std::erase_if(changes, [&](const std::string& line) {
    for (const char* note : {kMarker, kMarkerGone, "console ", "print ", "sleep ", "nvram init ",
                             "nvram close ", trial.may_miss}) {
      if (line.starts_with(note)) return true;
    }
    return false;
  });
  return changes;
}

bool is_part_of(const Effects& some, const Effects& all) {
  auto at = all.begin();
  for (const std::string& line : some) {
    at = std::find(at, all.end(), line);
    if (at++ == all.end()) return false;
  }
  return true;
}

// Lets each fault happen in turn until a run meets none, and hands every outcome to `check`.
template <class MakeFault, class Check>
void sweep(const Trial& trial, MakeFault fault_at, Check check) {
  for (unsigned at = 1;; ++at) {
    SCOPED_TRACE(at);
    const auto [heap_fault, fault] = fault_at(at);
    const Outcome outcome = run(trial, heap_fault, fault);
    EXPECT_EQ(outcome.faults, "");
    // What no handler answered has changed nothing.
    EXPECT_TRUE(outcome.status == 200 || essential(trial, outcome.all).empty())
        << ::testing::PrintToString(outcome.all);
    check(outcome);
    if (::testing::Test::HasFailure() || !outcome.fault_met) break;
  }
}

void survive_each_failed_allocation(const Trial& trial, const Outcome& full, bool and_later) {
  sweep(
      trial,
      [=](unsigned at) {
        return std::pair{HeapFault{at, and_later}, Fault{}};
      },
      [&](const Outcome& outcome) {
        EXPECT_TRUE(is_part_of(essential(trial, outcome.all), full.all))
            << ::testing::PrintToString(outcome.all);
        if (outcome.reply == full.reply) {
          EXPECT_EQ(essential(trial, outcome.changes), essential(trial, full.changes));
        }
        if (outcome.reply == kOutOfMemory && !trial.acts_first) {
          EXPECT_EQ(count(outcome.changes, "nvram commit"), 0);
          EXPECT_TRUE(and_later || essential(trial, outcome.late).empty())
              << ::testing::PrintToString(outcome.late);
        }
        if (outcome.status != 200 || outcome.reply == kOutOfMemory || trial.reads) return;
        EXPECT_EQ(shape(outcome.reply), shape(full.reply));
      });
}

void survive_each_failed_effect(const Trial& trial, const Outcome& full, bool cut) {
  sweep(
      trial,
      [=](unsigned at) {
        return std::pair{HeapFault{}, Fault{at, cut}};
      },
      [&](const Outcome& outcome) {
        // What a failed read leads to is the handler's own business.
        if (outcome.reply != full.reply || trial.reads) return;
        EXPECT_EQ(essential(trial, outcome.changes), essential(trial, full.changes));
      });
}

Trial trial_of(const ActionRow& row) {
  return {soap(row.action, row.arguments, row.asked_in), row.prepare, row.reads, row.acts_first,
          row.may_miss};
}

void answers_as_it_says(const ActionRow& row) {
  const Outcome outcome = run(trial_of(row));
  EXPECT_EQ(outcome.reply, reply_of(row.action, row.reply, row.answered_in ? row.answered_in : row.asked_in));
  EXPECT_EQ(outcome.faults, "");
  EXPECT_EQ(outcome.changes, Effects{kMarker} + row.changes);
  EXPECT_EQ(count(outcome.all, "console Reload WLAN by HNAP\n"), row.reloads);
}

void survives_each_fault(const ActionRow& row) {
  survive_each_fault(trial_of(row));
}

void add_test(const char* family, const std::string& name, const ActionRow& row,
              void (*body)(const ActionRow&)) {
  struct RowTest : ::testing::Test {
    void TestBody() override { body(*row); }
    const ActionRow* row;
    void (*body)(const ActionRow&);
  };
  ::testing::RegisterTest(family, name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [=, &row]() -> ::testing::Test* {
                            auto* test = new RowTest;
                            test->row = &row;
                            test->body = body;
                            return test;
                          });
}

}  // namespace

bool add_rows(const char* family, std::span<const ActionRow> rows) {
  std::set<std::string> swept;
  for (const ActionRow& row : rows) {
    const std::string name = std::string{row.action} + ", " + row.name;
    add_test(family, name, row, answers_as_it_says);
    const std::string result = row.reply.substr(0, row.reply.find('|'));
    const bool is_first = swept.insert(row.action + result).second;
    if (is_first) add_test(family, name + ", with each fault", row, survives_each_fault);
  }
  return true;
}

void survive_each_fault(const Trial& trial) {
  const Outcome full = run(trial);
  for (const bool more : {false, true}) {
    survive_each_failed_allocation(trial, full, more);
    survive_each_failed_effect(trial, full, more);
  }
}

}  // namespace kd::test
