#include "support/action_rows.hpp"

namespace kd::test {
namespace {

using SpeedTest = DeviceTest;

constexpr const char* kAction = "DownloadSpeedTest";

ActionRow row(const char* name, const std::string& bytes, const std::string& buffer, std::string reply,
              const char* asked_in = kCore) {
  return {.name = name,
          .action = kAction,
          .arguments = "Bytes=" + bytes + "|BufferSize=" + buffer,
          .reply = std::move(reply),
          .asked_in = asked_in,
          .reads = true};
}

const char* const kTooLarge = "ERROR_BUFFER_TOO_LARGE";
const ActionRow kRows[] = {
    row("ten", "10", "1024", "OK|ByteStream=yyyyyyyyyy"),
    row("nothing", "0", "1", "OK|ByteStream="),
    row("no number is 0", "many", "1", "OK|ByteStream="),
    row("what follows the number is left out", " +3x", "1k", "OK|ByteStream=yyy"),
    row("below 0", "-1", "1024", "ERROR"),
    row("bytes without text, though they came before", "9|Bytes=", "1024", "ERROR"),
    row("buffer of 0", "10", "0", "ERROR"),
    row("buffer without text", "10", "", "ERROR"),
    {"no buffer", kAction, "Bytes=10", "ERROR"},
    row("one more than fits", "2099572", "1", kTooLarge),
    row("one more than fits A", "2099564", "1", kTooLarge, kExtenderA),
    row("one more than fits B", "2099562", "1", kTooLarge, kExtenderB),
    row("2 to the 31st", "2147483648", "1", kTooLarge),
    row("beyond 64 bits", "99999999999999999999", "1", kTooLarge),
};
const bool kAdded = add_rows("DownloadSpeedTest", kRows);

TEST_F(SpeedTest, SendsTheLargestStream) {
  const std::pair<const char*, std::size_t> rows[] = {
      {kCore, 2099571}, {kExtenderA, 2099563}, {kExtenderB, 2099561}};
  for (const auto& [action_namespace, bytes] : rows) {
    const std::string reply =
        ask(soap(kAction, "BufferSize=1|Bytes=" + std::to_string(bytes), action_namespace));
    EXPECT_EQ(reply.size() + 1, 2100000U);
    EXPECT_TRUE(reply == reply_of(kAction, "OK|ByteStream=" + std::string(bytes, 'y'), action_namespace));
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

}  // namespace
}  // namespace kd::test
