// Small helpers of the stream query and codec change system tests: result
// blocks to send, a stream's fields read back, and camsim's record read as a
// trace of calls. Test thread only.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "wire/rifa.h"
#include "harness.h"
#include "wire/result_block.h"

namespace vantel_test {

using Ints = std::vector<int>;
using Lines = std::vector<std::string>;

// A 480-byte block naming a camsim camera, with a view to edit it.
struct Block {
  explicit Block(int port) : bytes(block_request(port, "admin", "admin")) {}
  explicit Block(std::vector<uint8_t> received) : bytes(std::move(received)) {}
  vantel::ResultBlockView view() { return vantel::ResultBlockView(bytes.data()); }
  // The raw 50 bytes of a URI field.
  std::string uri_bytes(size_t offset) const {
    return std::string(bytes.begin() + offset, bytes.begin() + offset + vantel::block::kUriFieldSize);
  }
  std::vector<uint8_t> bytes;
};

inline Reply send_block(uint32_t major, uint32_t minor, const Block& block) {
  return parse_reply(exchange(rifa_request(major, minor, block.bytes)));
}

// Stream `i`'s (0 first, 1 second) fields as {width, height, codec, fps,
// quality, bitrate}, read at the block's offsets.
inline Ints stream_fields(vantel::ResultBlockView b, size_t i) {
  using namespace vantel::block;
  return {b.s16(kFirstWidth + 4 * i), b.s16(kFirstHeight + 4 * i), b.u8(kFirstCodec + i),
          b.u8(kFirstFps + i),        b.s16(kFirstQuality + 2 * i), b.s16(kFirstBitrate + 2 * i)};
}

// Each request camsim received as "Op" or "Op Token" (the profile, encoder
// configuration or configuration-being-set token it names).
inline Lines call_trace(const Camsim& camera) {
  Lines trace;
  for (const nlohmann::json& entry : camera.record()) {
    std::string line = entry.value("op", "");
    const nlohmann::json& values = entry["values"];
    for (const char* key : {"ProfileToken", "ConfigurationToken", "token"}) {
      if (values.contains(key) && values[key].is_string()) line += " " + values[key].get<std::string>();
    }
    trace.push_back(line);
  }
  return trace;
}

// The values of every request of operation `op`, in order.
inline std::vector<nlohmann::json> calls_of(const Camsim& camera, const std::string& op) {
  std::vector<nlohmann::json> found;
  for (const nlohmann::json& entry : camera.record()) {
    if (entry.value("op", "") == op) found.push_back(entry["values"]);
  }
  return found;
}

}  // namespace vantel_test
