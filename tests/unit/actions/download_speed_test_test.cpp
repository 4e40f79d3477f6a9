#include <deque>

#include "support/action_rows.hpp"

namespace kd::test::download_speed_test {

constexpr const char *kAction = "DownloadSpeedTest", *kTooLarge = "ERROR_BUFFER_TOO_LARGE";

ActionRow row(const std::string& bytes, const char* buffer, const char* reply, const char* asked_in = kCore) {
  static std::deque<std::string> names;
  return {.name = names.emplace_back(bytes + " of " + buffer).c_str(),
          .action = kAction,
          .arguments = "Bytes=" + bytes + "|BufferSize=" + buffer,
          .reply = reply,
          .asked_in = asked_in,
          .reads = true};
}
const ActionRow kRows[] = {row("10", "1024", "OK|ByteStream=yyyyyyyyyy"),
                           row("0", "1", "OK|ByteStream="),
                           row("many", "1", "OK|ByteStream="),
                           row(" +3x", "1k", "OK|ByteStream=yyy"),
                           row("-1", "1024", "ERROR"),
                           row("9|Bytes=", "1024", "ERROR"),
                           row("10", "0", "ERROR"),
                           row("10", "", "ERROR"),
                           row("2099572", "1", kTooLarge),
                           row("2099564", "2", kTooLarge, kExtenderA),
                           row("2099562", "3", kTooLarge, kExtenderB),
                           row("2147483648", "1", kTooLarge),
                           row("99999999999999999999", "1", kTooLarge)};
const bool kAdded = add_rows(kAction, kRows);

using SpeedTest = DeviceTest;

TEST_F(SpeedTest, SendsTheLargestStream) {
  const std::pair<const char*, std::size_t> rows[] = {
      {kCore, 2099571}, {kExtenderA, 2099563}, {kExtenderB, 2099561}};
  for (const auto& [asked_in, bytes] : rows) {
    const std::string reply = ask(soap(kAction, "BufferSize=1|Bytes=" + std::to_string(bytes), asked_in));
    EXPECT_EQ(reply.size() + 1, 2100000U);
    EXPECT_TRUE(reply == reply_of(kAction, "OK|ByteStream=" + std::string(bytes, 'y'), asked_in));
  }
}

// A stream whose memory cannot be had is too large; without one there is only the want of memory.
TEST_F(SpeedTest, TellsWhenThereIsNoMemoryForTheStream) {
  int too_large = 0;
  bool met = true;
  for (unsigned at = 1; met; ++at) {
    heap.fail({at});
    too_large += ask(soap(kAction, "Bytes=1000000|BufferSize=1")) == reply_of(kAction, kTooLarge);
    met = heap.fault_met();
  }
  heap.fail({});
  EXPECT_EQ(too_large, 1);
}

}  // namespace kd::test::download_speed_test
