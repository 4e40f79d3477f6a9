// The two loops that a firmware upload spends its time in, beside well-known ones over the same 4 MB image.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <zlib.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "base/base64.hpp"
#include "firmware/crc32.hpp"

namespace {

constexpr std::size_t kImageSize = 4u << 20;

const std::vector<unsigned char>& image() {
  static const std::vector<unsigned char> bytes = [] {
    std::mt19937 random{1};
    std::vector<unsigned char> made(kImageSize);
    for (unsigned char& byte : made) byte = static_cast<unsigned char>(random());
    return made;
  }();
  return bytes;
}

const std::string& flat_text() {
  static const std::string text = [] {
    gchar* encoded = g_base64_encode(image().data(), image().size());
    std::string made{encoded};
    g_free(encoded);
    return made;
  }();
  return text;
}

const std::string& column_text() {
  static const std::string text = [] {
    std::string made;
    for (std::size_t at = 0; at < flat_text().size(); at += 76) made += flat_text().substr(at, 76) + '\n';
    return made;
  }();
  return text;
}

using Decoder = std::size_t (*)(const std::string&, unsigned char*);

std::size_t decode_module(const std::string& text, unsigned char* out) {
  return kd::b64_decode(text, out, text.size() + 1);
}

std::size_t decode_glib(const std::string& text, unsigned char* out) {
  gint state = 0;
  guint save = 0;
  return g_base64_decode_step(text.data(), text.size(), out, &state, &save);
}

// One byte, one look-up, one step of the phase.
std::size_t decode_byte_loop(const std::string& text, unsigned char* out) {
  static const std::array<int, 256> values = [] {
    std::array<int, 256> made{};
    made.fill(-1);
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
      made[static_cast<unsigned char>(alphabet[i])] = static_cast<int>(i);
    }
    return made;
  }();
  const std::size_t capacity = text.size() + 1;
  std::size_t written = 0;
  int phase = 0, previous = 0;
  for (const char c : text) {
    if (c == '\0') break;
    const int value = values[static_cast<unsigned char>(c)];
    if (value < 0) continue;
    int byte = 0;
    if (phase == 1) byte = previous << 2 | (value & 0x30) >> 4;
    if (phase == 2) byte = (previous & 0x0F) << 4 | (value & 0x3C) >> 2;
    if (phase == 3) byte = (previous & 0x03) << 6 | value;
    if (phase != 0 && written < capacity) out[written++] = static_cast<unsigned char>(byte);
    previous = value;
    phase = (phase + 1) & 3;
  }
  return written;
}

void decode(benchmark::State& state, Decoder decoder, const std::string& (*text)()) {
  std::vector<unsigned char> out(text().size() + 1);
  for (auto _ : state) {
    if (decoder(text(), out.data()) != kImageSize) state.SkipWithError("wrong size");
    benchmark::ClobberMemory();
  }
  out.resize(kImageSize);
  if (out != image()) state.SkipWithError("wrong bytes");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text().size()));
}
BENCHMARK_CAPTURE(decode, flat / module, decode_module, flat_text);
BENCHMARK_CAPTURE(decode, flat / glib, decode_glib, flat_text);
BENCHMARK_CAPTURE(decode, flat / byte_loop, decode_byte_loop, flat_text);
BENCHMARK_CAPTURE(decode, columns / module, decode_module, column_text);
BENCHMARK_CAPTURE(decode, columns / glib, decode_glib, column_text);
BENCHMARK_CAPTURE(decode, columns / byte_loop, decode_byte_loop, column_text);

using Checksum = std::uint32_t (*)(const unsigned char*, std::size_t);

std::uint32_t checksum_module(const unsigned char* data, std::size_t length) {
  return kd::crc32(0, data, length);
}

std::uint32_t checksum_zlib(const unsigned char* data, std::size_t length) {
  return static_cast<std::uint32_t>(::crc32_z(0, data, length));
}

std::uint32_t checksum_byte_table(const unsigned char* data, std::size_t length) {
  const z_crc_t* table = get_crc_table();
  std::uint32_t crc = 0xFFFFFFFF;
  for (std::size_t i = 0; i < length; ++i) {
    crc = crc >> 8 ^ static_cast<std::uint32_t>(table[(crc ^ data[i]) & 0xFF]);
  }
  return ~crc;
}

void checksum(benchmark::State& state, Checksum function) {
  const std::uint32_t expected = checksum_zlib(image().data(), image().size());
  for (auto _ : state) {
    if (function(image().data(), image().size()) != expected) state.SkipWithError("wrong checksum");
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t{kImageSize});
}
BENCHMARK_CAPTURE(checksum, module, checksum_module);
BENCHMARK_CAPTURE(checksum, zlib, checksum_zlib);
BENCHMARK_CAPTURE(checksum, byte_table, checksum_byte_table);

}  // namespace
