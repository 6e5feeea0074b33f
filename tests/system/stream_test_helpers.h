// Small helpers of the stream query and codec change system tests: result
// blocks to send, and camsim's record read as a trace of calls. Test thread
// only.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command/rifa.h"
#include "harness.h"
#include "stream/result_block.h"

namespace vantel_test {

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

// Each request camsim received as "Op" or "Op Token" (the profile, encoder
// configuration or configuration-being-set token it names).
inline std::vector<std::string> call_trace(const Camsim& camera) {
  std::vector<std::string> trace;
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

// The daemon's output from `from` on: what one command printed.
inline std::string log_since(const Daemon& daemon, size_t from) { return daemon.log().substr(from); }

}  // namespace vantel_test
