#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct Download {
  std::string response;      // as received, header included
  double first_byte_ms = 0;  // from the start of connecting
  double last_byte_ms = 0;
};

// Posts a DownloadSpeedTest for `bytes` bytes to 127.0.0.1 and reads the response to its last byte. Ends the
// program when that fails.
Download download(std::uint16_t port, const std::string& credentials, std::size_t bytes);
