// speed: how fast bytes come from the device.
#include <algorithm>

#include "commands/commands.hpp"
#include "failure.hpp"
#include "terminal.hpp"

namespace hnap {

void measure_speed(Context& context, const SpeedOptions& options) {
  const double total = static_cast<double>(options.bytes) * static_cast<double>(options.rounds);
  double received = 0;
  double seconds = 0;
  {
    Progress progress;
    for (long round = 0; round < options.rounds; ++round) {
      CallOptions call;
      call.on_progress = [&](double, double, double bytes) {
        progress.bar("Measuring", received + bytes, total);
      };
      const Reply reply = context.device.call(
          "DownloadSpeedTest", {{"Bytes", std::to_string(options.bytes)}, {"BufferSize", "65536"}}, call);
      if (reply["ByteStream"].size() != static_cast<std::size_t>(options.bytes))
        throw Failure(Exit::unreachable, context.device.label() + ": sent " +
                                             std::to_string(reply["ByteStream"].size()) + " bytes of " +
                                             std::to_string(options.bytes));
      received += static_cast<double>(reply.http.body.size());
      seconds += reply.http.seconds_of_body;
    }
  }
  // What is there at once took no time that can be measured.
  const double rate = received * 8 / std::max(seconds, 1e-6);
  if (context.json)
    return print(Json::object()
                     .number("bytes", static_cast<long>(received))
                     .real("seconds", seconds)
                     .number("bits_per_second", static_cast<long>(rate)));
  print(decimal(rate / 1e6, 1) + " Mbit/s (" + decimal(received / 1e6, 1) + " MB in " + decimal(seconds, 3) +
        " s)");
}

}  // namespace hnap
