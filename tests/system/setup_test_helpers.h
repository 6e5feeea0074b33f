// Small helpers of the registration, reboot and user mode system tests: what
// the last command printed, camsim's record as a call trace, and checks of
// selected values of one request. Test thread only.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "harness.h"

namespace vantel_test {

// What the daemon printed after the last command's "received data" line.
inline std::string last_command_output(const Daemon& daemon) {
  const std::string log = daemon.log();
  const size_t received = log.rfind("[Vantel] received data");
  return received == std::string::npos ? "" : log.substr(log.find('\n', received) + 1);
}

// Waits until the last command has printed `text` (commands that reply
// before they finish), then returns all it printed.
inline std::string wait_for_last_command(const Daemon& daemon, const std::string& text) {
  for (int i = 0; i < 500 && last_command_output(daemon).find(text) == std::string::npos; ++i) usleep(10000);
  return last_command_output(daemon);
}

// Each request as "Op" plus the profile, configuration, node or set token it names.
inline std::vector<std::string> trace(const Camsim& camera) {
  std::vector<std::string> lines;
  for (const nlohmann::json& entry : camera.record()) {
    std::string line = entry.value("op", "");
    for (const char* key : {"ProfileToken", "ConfigurationToken", "NodeToken", "token"}) {
      if (entry["values"].contains(key)) line += " " + entry["values"][key].get<std::string>();
    }
    lines.push_back(line);
  }
  return lines;
}

// Camsim's whole record entry of every request of `op`, in order.
inline std::vector<nlohmann::json> requests_of(const Camsim& camera, const std::string& op) {
  std::vector<nlohmann::json> found;
  for (const nlohmann::json& entry : camera.record()) {
    if (entry.value("op", "") == op) found.push_back(entry);
  }
  return found;
}

// Each key of `expected` has that value in `got` (other keys are not looked at).
inline void expect_values(const nlohmann::json& got, const nlohmann::json& expected, const std::string& what) {
  for (const auto& [key, value] : expected.items()) {
    EXPECT_EQ(value, got.value(key, nlohmann::json())) << what << " " << key;
  }
}

// The values of the SetVideoEncoderConfiguration requests, push by push
// ("answer": what camsim answered).
inline void expect_pushes(const Camsim& camera, const std::vector<nlohmann::json>& expected) {
  const std::vector<nlohmann::json> sets = requests_of(camera, "SetVideoEncoderConfiguration");
  ASSERT_EQ(expected.size(), sets.size());
  for (size_t i = 0; i < sets.size(); ++i) {
    nlohmann::json values = sets[i]["values"];
    values["answer"] = sets[i]["answer"];
    expect_values(values, expected[i], "push " + std::to_string(i));
  }
}

}  // namespace vantel_test
