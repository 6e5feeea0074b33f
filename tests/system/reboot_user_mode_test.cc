// Reboot and user mode end to end against camsim: the header-only replies,
// the calls the camera sees and the lines the daemon prints.
#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command/byte_order.h"
#include "command/rifa.h"
#include "harness.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

// The echo reply of the header-only commands: "RIFA", 0, major, major.
void expect_echo(uint32_t major, const Exchange& exchange) {
  const Reply reply = parse_reply(exchange);
  EXPECT_EQ(0u, reply.size);
  EXPECT_EQ(major, reply.major);
  EXPECT_EQ(major, reply.minor);
  EXPECT_TRUE(exchange.closed_by_daemon);
}

// Everything the daemon printed after the last command's "received data" line.
std::string after_last_command(const Daemon& daemon) {
  const std::string log = daemon.log();
  const size_t received = log.rfind("[Vantel] received data");
  return received == std::string::npos ? "" : log.substr(log.find('\n', received) + 1);
}

// Waits until the last command has printed `text`, then returns all it printed.
std::string wait_for_last_command(const Daemon& daemon, const std::string& text) {
  for (int i = 0; i < 500; ++i) {
    const std::string printed = after_last_command(daemon);
    if (printed.find(text) != std::string::npos) return printed;
    usleep(10000);
  }
  return after_last_command(daemon);
}

std::vector<uint8_t> user_mode_request(int port, int32_t mode) {
  std::vector<uint8_t> payload = camera_request(port, "admin", "admin", 76);
  put_be32s(payload.data() + kReqUserMode, mode);
  return payload;
}

std::vector<json> sets_of(const Camsim& camera) {
  std::vector<json> sets;
  for (const json& entry : camera.record()) {
    if (entry["op"] == "SetVideoEncoderConfiguration") sets.push_back(entry["values"]);
  }
  return sets;
}

TEST(Reboot, SentToTheDeviceServiceAndRepliedToWhateverTheCameraSays) {
  Daemon daemon;
  Camsim camera(json::parse(R"({"faults": [{"op": "SystemReboot", "times": null, "subcode": "ter:Action"}]})"));
  expect_echo(RIFA_CMD_REBOOT, exchange(rifa_request(RIFA_CMD_REBOOT, 0, camera_request(camera.port(), "admin", "admin"))));
  EXPECT_EQ("[vantel reboot] \n", wait_for_last_command(daemon, "[vantel reboot] \n"));
  const std::vector<json> record = camera.record();
  ASSERT_EQ(2u, record.size());
  EXPECT_EQ("GetCapabilities", record[0]["op"]);
  EXPECT_EQ("SystemReboot", record[1]["op"]);
  EXPECT_EQ("/onvif/device_service", record[1]["path"]);
  EXPECT_EQ("fresh", record[1]["token"]);
  EXPECT_EQ("ter:Action", record[1]["answer"]);

  // A camera that refuses the credentials is never asked to reboot.
  expect_echo(RIFA_CMD_REBOOT, exchange(rifa_request(RIFA_CMD_REBOOT, 0, camera_request(camera.port(), "admin", "wrong"))));
  const std::string refused = wait_for_last_command(daemon, "[vantel reboot] \n");
  EXPECT_EQ(0u, refused.rfind("GetCapabilities error (", 0)) << refused;
  EXPECT_NE(std::string::npos, refused.find(")[vantel reboot] \n")) << refused;
  EXPECT_EQ(3u, camera.record().size());
}

TEST(UserMode, OnlyTheNetworkStreamsGopLengthChanges) {
  Daemon daemon;
  // Profile 1 in H.264 with a GOP of 20.
  Camsim camera(json::parse(R"({"profiles": [{}, {"encoder": {"encoding": "H264", "gov": 20}}]})"));
  const std::vector<std::pair<int32_t, int>> modes = {{0, 1}, {1, 10}, {2, 1}};
  for (const auto& [mode, gov] : modes) {
    expect_echo(RIFA_CMD_MULTIUSER, exchange(rifa_request(RIFA_CMD_MULTIUSER, 0, user_mode_request(camera.port(), mode))));
    EXPECT_EQ(std::string(mode == 1 ? "[single user set]" : "[multi user set]") + "\n[vantel multiuser] (1)\n",
              wait_for_last_command(daemon, "[vantel multiuser] ("))
        << "mode " << mode;
  }
  const std::vector<json> sets = sets_of(camera);
  ASSERT_EQ(3u, sets.size());
  for (size_t i = 0; i < sets.size(); ++i) {
    EXPECT_EQ("SubEncoder", sets[i]["token"]);
    EXPECT_EQ(modes[i].second, sets[i]["gov"]) << "mode " << modes[i].first;
    // Nothing else of the encoder moves.
    EXPECT_EQ("H264", sets[i]["encoding"]);
    EXPECT_EQ(640, sets[i]["width"]);
    EXPECT_EQ(480, sets[i]["height"]);
    EXPECT_EQ(3.0, sets[i]["quality"]);
    EXPECT_EQ(10, sets[i]["fps"]);
    EXPECT_EQ(1024, sets[i]["bitrate"]);
    EXPECT_EQ(true, sets[i]["force_persistence"]);
  }
  std::vector<std::string> ops;
  for (const json& entry : camera.record()) {
    ops.push_back(entry["op"].get<std::string>() + " " + entry["values"].value("ProfileToken", "") +
                  entry["values"].value("ConfigurationToken", ""));
  }
  const std::vector<std::string> one_command = {"GetCapabilities ", "GetProfiles ", "GetProfile SubProfile",
                                                "GetVideoEncoderConfiguration SubEncoder",
                                                "SetVideoEncoderConfiguration "};
  ASSERT_EQ(15u, ops.size());
  for (size_t i = 0; i < ops.size(); ++i) EXPECT_EQ(one_command[i % 5], ops[i]) << i;
}

TEST(UserMode, StreamsThatCannotBeTunedAreLeftAlone) {
  Daemon daemon;
  {
    // A JPEG network stream: nothing is pushed, nothing printed.
    Camsim camera;
    expect_echo(RIFA_CMD_MULTIUSER, exchange(rifa_request(RIFA_CMD_MULTIUSER, 0, user_mode_request(camera.port(), 1))));
    EXPECT_EQ("[vantel multiuser] (0)\n", wait_for_last_command(daemon, "[vantel multiuser] ("));
    EXPECT_TRUE(sets_of(camera).empty());
  }
  {
    // Profile 1 cannot be read; then the camera refuses the change, which is
    // not retried.
    Camsim camera(json::parse(R"({
      "profiles": [{}, {"encoder": {"encoding": "H264"}}],
      "faults": [{"op": "GetProfile", "times": 1, "subcode": "ter:InvalidArgVal/ter:NoProfile"},
                 {"op": "SetVideoEncoderConfiguration", "times": 1, "subcode": "ter:InvalidArgVal/ter:ConfigModify"}]})"));
    exchange(rifa_request(RIFA_CMD_MULTIUSER, 0, user_mode_request(camera.port(), 1)));
    EXPECT_EQ("=> second stream Not Find !!! \n[vantel multiuser] (0)\n",
              wait_for_last_command(daemon, "[vantel multiuser] ("));
    exchange(rifa_request(RIFA_CMD_MULTIUSER, 0, user_mode_request(camera.port(), 1)));
    EXPECT_EQ("[single user set]\n[vantel multiuser] (0)\n", wait_for_last_command(daemon, "[vantel multiuser] ("));
    EXPECT_EQ(1u, sets_of(camera).size());
  }
  {
    // A camera with one profile has no network stream.
    Camsim camera(json::object(), "jpegonly");
    exchange(rifa_request(RIFA_CMD_MULTIUSER, 0, user_mode_request(camera.port(), 2)));
    EXPECT_EQ("=> second stream Not Find !!! \n[vantel multiuser] (0)\n",
              wait_for_last_command(daemon, "[vantel multiuser] ("));
    EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles"}), camera.ops());
  }
}

}  // namespace
}  // namespace vantel_test
