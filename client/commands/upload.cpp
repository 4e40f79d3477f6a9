// firmware upload: sends an image, waits for the restart and says what came up.
#include "commands/commands.hpp"
#include "files.hpp"
#include "restart.hpp"
#include "text.hpp"

namespace hnap {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLargestImage = 64U << 20;
constexpr auto kWritingTime = 600s;  // for sending and for writing the flash, unless --timeout says otherwise

std::string body_with(const std::string& image) {
  const std::string frame = envelope("FirmwareUpload", {{"Base64Image", "@"}});
  const std::size_t place = frame.rfind('@');
  std::string body = frame.substr(0, place);
  body.reserve(frame.size() + image.size() / 3 * 4 + 4);
  append_base64(body, image);
  return body += frame.substr(place + 1);
}

}  // namespace

void upload_firmware(Context& context, const UploadOptions& options) {
  const std::string image = contents_of(options.file, kLargestImage);
  Device& device = context.device;
  // Whether the password is right is asked before megabytes go out.
  const std::string before = device.call("GetFirmwareSettings")["FirmwareVersion"];
  const auto start = std::chrono::steady_clock::now();
  {
    Progress progress;
    CallOptions call;
    if (!device.settings().timeout_given) call.timeout = kWritingTime;
    call.on_progress = [&](double sent, double to_send, double) {
      if (sent < to_send) return progress.bar("Sending", sent, to_send);
      progress.show("Writing, " + std::to_string(static_cast<int>(seconds_since(start))) + " s");
    };
    device.call_with_body("FirmwareUpload", body_with(image), call);
  }
  std::string after;
  if (options.wait) {
    wait_for_restart(device, "Restarting");
    after = device.identity()["FirmwareVersion"];
  }
  if (context.json)
    return print(Json::object()
                     .text("before", before)
                     .text_or_null("after", after)
                     .number("bytes", static_cast<long>(image.size()))
                     .real("seconds", seconds_since(start)));
  print(options.wait ? "Restarted with firmware " + visible(after) + " (before: " + visible(before) + ")."
                     : "Image written; the device restarts.");
}

}  // namespace hnap
