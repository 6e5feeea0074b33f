// Reboot and user mode end to end against camsim: the header-only replies,
// the calls the camera sees and the lines the daemon prints.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

TEST(Reboot, SentToTheDeviceServiceAndRepliedToWhateverTheCameraSays) {
  Daemon daemon;
  Camsim camera(json::parse(R"({"faults": [{"op": "SystemReboot", "times": null, "subcode": "ter:Action"}]})"));
  expect_echo(camera_command(RIFA_CMD_REBOOT, camera.port()));
  EXPECT_EQ("[vantel reboot] \n", wait_for_last_command(daemon, "[vantel reboot] \n"));
  EXPECT_EQ((Lines{"GetCapabilities", "SystemReboot"}), trace(camera));
  expect_values(camera.record().back(),
                {{"path", "/onvif/device_service"}, {"token", "fresh"}, {"answer", "ter:Action"}}, "SystemReboot");
  // (A camera that refuses the credentials is the interop table's.)
}

TEST(UserMode, OnlyAnH264NetworkStreamsGopLengthChanges) {
  Daemon daemon;
  const std::vector<std::string> tuning = {"GetCapabilities", "GetProfiles", "GetProfile SubProfile",
                                           "GetVideoEncoderConfiguration SubEncoder",
                                           "SetVideoEncoderConfiguration SubEncoder"};
  const std::string single = "[single user set]\n", multi = "[multi user set]\n", changed = "[vantel multiuser] (1)\n",
                    missing = "=> second stream Not Find !!! \n", unchanged = "[vantel multiuser] (0)\n";
  struct Command {
    int32_t mode;
    std::string printed;
    size_t calls;  // how far into `tuning` the camera is asked
  };
  struct Case {
    const char* what;
    const char* config;
    const char* builtin;
    std::vector<Command> commands;
    std::vector<int> pushed_govs;
  };
  const Case cases[] = {
      {"H.264 network stream with a GOP of 20",
       R"({"profiles": [{}, {"encoder": {"encoding": "H264", "gov": 20}}]})", "default",
       {{0, multi + changed, 5}, {1, single + changed, 5}, {2, multi + changed, 5}}, {1, 10, 1}},
      {"JPEG network stream: nothing pushed, nothing printed", "{}", "default", {{1, unchanged, 3}}, {}},
      {"profile 1 unreadable, then the change refused and not retried", R"({
         "profiles": [{}, {"encoder": {"encoding": "H264"}}],
         "faults": [{"op": "GetProfile", "times": 1, "subcode": "ter:InvalidArgVal/ter:NoProfile"},
                    {"op": "SetVideoEncoderConfiguration", "times": 1,
                     "subcode": "ter:InvalidArgVal/ter:ConfigModify"}]})",
       "default", {{1, missing + unchanged, 3}, {1, single + unchanged, 5}}, {10}},
      {"one profile: no network stream", "{}", "jpegonly", {{2, missing + unchanged, 2}}, {}},
      {"encoder configuration unreadable: nothing pushed", R"({
         "profiles": [{}, {"encoder": {"encoding": "H264"}}],
         "faults": [{"op": "GetVideoEncoderConfiguration", "times": null, "match": "SubEncoder",
                     "subcode": "ter:InvalidArgVal/ter:NoConfig"}]})",
       "default", {{1, unchanged, 4}}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Camsim camera(json::parse(c.config), c.builtin);
    std::vector<std::string> calls;
    for (const Command& command : c.commands) {
      expect_echo(camera_command(RIFA_CMD_MULTIUSER, camera.port(), command.mode));
      EXPECT_EQ(command.printed, wait_for_last_command(daemon, "[vantel multiuser] (")) << "mode " << command.mode;
      calls.insert(calls.end(), tuning.begin(), tuning.begin() + command.calls);
    }
    EXPECT_EQ(calls, trace(camera));
    // Nothing of the encoder but its GOP length moves.
    std::vector<json> pushes;
    for (int gov : c.pushed_govs) {
      pushes.push_back({{"gov", gov}, {"encoding", "H264"}, {"width", 640}, {"height", 480}, {"quality", 3.0},
                        {"fps", 10}, {"bitrate", 1024}, {"force_persistence", true}});
    }
    expect_pushes(camera, pushes);
  }
}

}  // namespace
}  // namespace vantel_test
