// DownloadSpeedTest: filler bytes whose download the client times.
#include "actions/arguments.hpp"
#include "actions/kd_hnap_handler.hpp"
#include "base/debug_log.hpp"
#include "xml/reply.hpp"

namespace kd {

ReplyText download_speed_test(hnap_request& request, const xml_element* action) {
  Reply reply{request, "DownloadSpeedTest", namespace_of(request)};
  const char* bytes = "";
  const char* buffer_size = "";
  Argument arguments[] = {{"Bytes", accept_latest_text, &bytes},
                          {"BufferSize", accept_latest_text, &buffer_size}};
  if (const ArgumentFault fault = read_arguments(action, arguments)) return reply.error(fault.text);

  const int count = text_to_int(bytes);
  if (!*bytes || count < 0) {
    KD_LOG_HANDLER("Bytes (%s) < 0 is invalid", bytes);
    return reply.error();
  }
  if (text_to_int(buffer_size) < 1) {
    KD_LOG_HANDLER("BufferSize (%s) <= 0 is invalid", buffer_size);
    return reply.error();
  }
  reply.result("OK");
  reply.leaf("ByteStream", "");
  constexpr std::size_t kMostReply = 2'100'000;  // terminator included
  const auto filler = static_cast<std::size_t>(count);
  if (reply && filler && !reply.fits(kMostReply, filler)) {
    return Reply{request, "DownloadSpeedTest", namespace_of(request)}.only("ERROR_BUFFER_TOO_LARGE");
  }
  return reply.finish(filler);
}

}  // namespace kd
