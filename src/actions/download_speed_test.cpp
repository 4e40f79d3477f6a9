// DownloadSpeedTest: filler bytes whose download the client times.
#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "xml/reply.hpp"

namespace kd {
namespace {

constexpr std::size_t kMostReply = 2'100'000;  // terminator included

reply_text refuse_size(const hnap_request& request) {
  Reply reply{"DownloadSpeedTest", namespace_of(request)};
  reply.result("ERROR_BUFFER_TOO_LARGE");
  return reply.finish();
}

}  // namespace

reply_text download_speed_test(hnap_request& request, const xml_element* action) {
  Reply reply{"DownloadSpeedTest", namespace_of(request)};
  const char* bytes = "";
  const char* buffer_size = "";
  Argument arguments[] = {latest_text_argument("Bytes", &bytes),
                          latest_text_argument("BufferSize", &buffer_size)};
  if (const argument_fault fault = read_arguments(action, arguments)) return reply.error(fault.text);

  const int count = text_to_int(bytes);
  if (!*bytes || count < 0) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "Bytes (%s) < 0 is invalid", bytes);
    return reply.error();
  }
  if (text_to_int(buffer_size) < 1) {
    kd_hnap_printf(&request, kHandlerSource, __LINE__, "BufferSize (%s) <= 0 is invalid", buffer_size);
    return reply.error();
  }
  kd_hnap_printf(&request, kHandlerSource, __LINE__, "Bytes = %s, BufferSize = %s", bytes, buffer_size);
  reply.result("OK");
  reply.filled_leaf("ByteStream", 'y', static_cast<std::uint32_t>(count));
  if (reply && count > 0 && !reply.fits(kMostReply)) return refuse_size(request);
  return reply.finish();
}

}  // namespace kd
