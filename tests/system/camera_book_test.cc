// What the daemon remembers of each camera, through the real daemon: a
// camera's wrong clock costs one refused login in the daemon's life and
// across its restarts, for hundreds of cameras, and a damaged state file
// costs nothing but its line.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "harness.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;
using vantel::RIFA_CMD_PTZ_GOTOPRESET;
using vantel::RIFA_CMD_STREAM_INFO;

// Requests the camera refused for their credentials since `seen`.
int refused_since(const Camsim& camera, size_t& seen) {
  const std::vector<json> record = camera.record();
  int refused = 0;
  for (size_t i = seen; i < record.size(); ++i) refused += record[i].value("auth", "") == "bad";
  seen = record.size();
  return refused;
}

void goto_presets(int port, int times) {
  for (int i = 0; i < times; ++i) expect_echo(camera_command(RIFA_CMD_PTZ_GOTOPRESET, port, 0));
}

TEST(CameraBook, ASkewedCameraCostsOneRefusedLoginAcrossKillsAndADamagedFileOnlyItsLine) {
  Camsim camera(json{{"clock_offset", 3 * 3600}});
  const std::string dir = state_dir();
  const std::string env = "VANTEL_STATE_DIR=" + dir;
  size_t seen = 0;
  {
    Daemon daemon(VANTEL_BIN, {env});
    goto_presets(camera.port(), 6);
    EXPECT_EQ(1, refused_since(camera, seen));
  }  // killed with SIGKILL
  {
    Daemon daemon(VANTEL_BIN, {env});
    goto_presets(camera.port(), 3);
    EXPECT_EQ(0, refused_since(camera, seen));
    EXPECT_EQ(std::string::npos, daemon.log().find("[camera book]")) << daemon.log();
  }
  std::ofstream(dir + "/vantel.cameras", std::ios::trunc) << "vantel.cameras 1\n127.0.0.1 80 61646d696e 10";
  Daemon daemon(VANTEL_BIN, {env});
  goto_presets(camera.port(), 2);
  EXPECT_EQ(1, refused_since(camera, seen));  // learned once more
  EXPECT_NE(std::string::npos, daemon.log().find("[camera book] " + dir + "/vantel.cameras ignored: truncated \n"))
      << daemon.log();
}

// Two hundred skewed cameras (one camera, a user each: the book keeps a
// camera per address and user): the first round of stream queries learns
// every clock, the second spends no refused login.
TEST(CameraBook, TwoHundredSkewedCamerasAreLearnedOnce) {
  constexpr int kCameras = 200;
  json users = json::object();
  for (int i = 0; i < kCameras; ++i) users["user" + std::to_string(i)] = "pw";
  Camsim camera(json{{"clock_offset", -3600}, {"users", users}});
  Daemon daemon;
  size_t seen = 0;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < kCameras; ++i) {
      Block reply(send_block(RIFA_CMD_STREAM_INFO, 0, Block(block_request(camera.port(), "user" + std::to_string(i), "pw"))).block);
      ASSERT_EQ("KPT-2120", reply.view().text(vantel::block::kModel, vantel::block::kNameFieldSize)) << round << " " << i;
    }
    EXPECT_EQ(round == 0 ? kCameras : 0, refused_since(camera, seen)) << round;
  }
}

}  // namespace
}  // namespace vantel_test
