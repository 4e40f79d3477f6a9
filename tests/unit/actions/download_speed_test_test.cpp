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

ActionCase row(const char* name, Arguments arguments, std::string reply, const char* ns = HNAP1_NAMESPACE) {
  const bool streams = reply.starts_with("<");
  return {name, kAction, std::move(arguments), std::move(reply), {}, nullptr, 0, ns, ns, streams};
}

const ActionCase kRows[] = {
    row("nothing", sizes("0", "1"), stream(0)),
    row("ten", sizes("10"), stream(10)),
    row("no number is 0", sizes("many"), stream(0)),
    row("what follows the number is left out", sizes(" +3x", "1k"), stream(3)),
    row("the other order", {{"BufferSize", "1"}, {"Bytes", "2"}}, stream(2)),
    row("the later one counts", {{"Bytes", "9"}, {"Bytes", "2"}, {"BufferSize", "1"}, {"Else", ""}},
        stream(2)),
    row("also without text", {{"Bytes", "9"}, {"Bytes", ""}, {"BufferSize", "1"}}, "ERROR"),
    row("below 0", sizes("-1"), "ERROR"),
    row("bytes without text", sizes(""), "ERROR"),
    row("buffer of 0", sizes("10", "0"), "ERROR"),
    row("buffer without text", sizes("10", ""), "ERROR"),
    row("no buffer", {{"Bytes", "10"}}, "ERROR"),
    row("another element", {{"Bytes", "10"}, {"Else", "1"}, {"BufferSize", "1"}}, "ERROR"),
    row("one more than fits", sizes("2099572"), kTooLarge),
    row("one more than fits A", sizes("2099564"), kTooLarge, EXTENDER_NAMESPACE_A),
    row("one more than fits B", sizes("2099562"), kTooLarge, EXTENDER_NAMESPACE_B),
    row("2 to the 31st", sizes("2147483648"), kTooLarge),
    row("beyond 64 bits", sizes("99999999999999999999"), kTooLarge),
};
INSTANTIATE_TEST_SUITE_P(DownloadSpeedTest, ActionTest, ::testing::ValuesIn(kRows), row_name);

TEST_F(DeviceTest, SendsTheLargestStream) {
  const std::pair<const char*, std::size_t> rows[] = {
      {HNAP1_NAMESPACE, 2099571}, {EXTENDER_NAMESPACE_A, 2099563}, {EXTENDER_NAMESPACE_B, 2099561}};
  for (const auto& [action_namespace, bytes] : rows) {
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
