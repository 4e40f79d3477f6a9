#include "support/action_rows.hpp"

namespace kd::test::download_speed_test {

constexpr const char *kAction = "DownloadSpeedTest", *kTooLarge = "ERROR_BUFFER_TOO_LARGE";

ActionRow row(const char* arguments, const char* reply, const char* asked_in = kCore) {
  return {arguments, kAction, arguments, reply, {}, nullptr, asked_in, nullptr, false, true};
}
const ActionRow kRows[] = {
    row("Bytes=10|BufferSize=1024", "OK|ByteStream=yyyyyyyyyy"),
    row("Bytes=0|BufferSize=1", "OK|ByteStream="),
    row("Bytes=many|BufferSize=1", "OK|ByteStream="),
    row("BufferSize=1k|Bytes= +3x", "OK|ByteStream=yyy"),
    row("Bytes=-1|BufferSize=1024", "ERROR"),
    row("Bytes=9|Bytes=|BufferSize=1024", "ERROR"),
    row("Bytes=10|BufferSize=0", "ERROR"),
    row("Bytes=10|BufferSize=", "ERROR"),
    row("Bytes=2099572|BufferSize=1", kTooLarge),
    row("Bytes=2099564|BufferSize=1", kTooLarge, kExtenderA),
    row("Bytes=2099562|BufferSize=1", kTooLarge, kExtenderB),
    row("Bytes=99999999999999999999|BufferSize=1", kTooLarge),
};
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
