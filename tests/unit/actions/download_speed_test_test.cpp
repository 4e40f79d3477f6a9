// DownloadSpeedTest.
#include "support/cases.hpp"

namespace kd::test {
namespace {

constexpr const char* kAction = "DownloadSpeedTest";
constexpr const char* kTooLarge = "ERROR_BUFFER_TOO_LARGE";

Arguments sizes(const std::string& bytes, const std::string& buffer = "1024") {
  return {{"Bytes", bytes}, {"BufferSize", buffer}};
}
std::string stream(std::size_t bytes) {
  return "<DownloadSpeedTestResult>OK</DownloadSpeedTestResult>\n<ByteStream>" + std::string(bytes, 'y') +
         "</ByteStream>\n";
}

const ActionCase kRows[] = {
    {.name = "nothing", .action = kAction, .arguments = sizes("0", "1"), .reply = stream(0)},
    {.name = "ten", .action = kAction, .arguments = sizes("10"), .reply = stream(10), .varies = true},
    {.name = "no number is 0", .action = kAction, .arguments = sizes("many"), .reply = stream(0)},
    {.name = "what follows the number is left out",
     .action = kAction,
     .arguments = sizes(" +3x", "1k"),
     .reply = stream(3),
     .varies = true},
    {.name = "the other order",
     .action = kAction,
     .arguments = {{"BufferSize", "1"}, {"Bytes", "2"}},
     .reply = stream(2),
     .varies = true},
    {.name = "the later one counts",
     .action = kAction,
     .arguments = {{"Bytes", "9"}, {"Bytes", "2"}, {"BufferSize", "1"}, {"Else", ""}},
     .reply = stream(2),
     .varies = true},
    {.name = "also without text",
     .action = kAction,
     .arguments = {{"Bytes", "9"}, {"Bytes", ""}, {"BufferSize", "1"}},
     .reply = "ERROR"},
    {.name = "below 0", .action = kAction, .arguments = sizes("-1"), .reply = "ERROR"},
    {.name = "far below 0", .action = kAction, .arguments = sizes("-99999999999"), .reply = "ERROR"},
    {.name = "bytes without text", .action = kAction, .arguments = sizes(""), .reply = "ERROR"},
    {.name = "buffer of 0", .action = kAction, .arguments = sizes("10", "0"), .reply = "ERROR"},
    {.name = "buffer without text", .action = kAction, .arguments = sizes("10", ""), .reply = "ERROR"},
    {.name = "no buffer", .action = kAction, .arguments = {{"Bytes", "10"}}, .reply = "ERROR"},
    {.name = "another element",
     .action = kAction,
     .arguments = {{"Bytes", "10"}, {"Else", "1"}, {"BufferSize", "1"}},
     .reply = "ERROR"},
    {.name = "one more than fits", .action = kAction, .arguments = sizes("2099572"), .reply = kTooLarge},
    {.name = "one more than fits A",
     .action = kAction,
     .arguments = sizes("2099564"),
     .reply = kTooLarge,
     .request_namespace = EXTENDER_NAMESPACE_A,
     .reply_namespace = EXTENDER_NAMESPACE_A},
    {.name = "one more than fits B",
     .action = kAction,
     .arguments = sizes("2099562"),
     .reply = kTooLarge,
     .request_namespace = EXTENDER_NAMESPACE_B,
     .reply_namespace = EXTENDER_NAMESPACE_B},
    {.name = "2 to the 31st", .action = kAction, .arguments = sizes("2147483648"), .reply = kTooLarge},
    {.name = "beyond 64 bits",
     .action = kAction,
     .arguments = sizes("99999999999999999999"),
     .reply = kTooLarge},
};
INSTANTIATE_TEST_SUITE_P(DownloadSpeedTest, ActionTest, ::testing::ValuesIn(kRows), row_name);

struct LargestRow {
  const char* action_namespace;
  std::size_t bytes;
};
TEST_F(DeviceTest, SendsTheLargestStream) {
  for (const auto& [action_namespace, bytes] :
       {LargestRow{HNAP1_NAMESPACE, 2099571}, LargestRow{EXTENDER_NAMESPACE_A, 2099563},
        LargestRow{EXTENDER_NAMESPACE_B, 2099561}}) {
    host::Request request = soap_request(kAction, sizes(std::to_string(bytes)), action_namespace);
    send(request);
    EXPECT_EQ(request.reply.size() + 1, 2100000U);
    EXPECT_TRUE(request.reply == whole_reply(kAction, stream(bytes), action_namespace));
  }
}

// A stream whose memory cannot be had is too large; without one there is only the want of memory.
TEST_F(DeviceTest, TellsWhenThereIsNoMemoryForTheStream) {
  int too_large = 0;
  for (unsigned at = 1;; ++at) {
    heap.fail({at});
    host::Request request = soap_request(kAction, sizes("1000000"));
    send(request);
    if (!heap.fault_met()) break;
    too_large += request.reply == whole_reply(kAction,
                                              "<DownloadSpeedTestResult>ERROR_BUFFER_TOO_LARGE"
                                              "</DownloadSpeedTestResult>\n",
                                              HNAP1_NAMESPACE);
  }
  heap.fail({});
  EXPECT_EQ(too_large, 1);
}

}  // namespace
}  // namespace kd::test
