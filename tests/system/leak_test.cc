// Memory lost per command: every command kind is run many times against
// camsim on the sanitizer build's daemon, which then runs LeakSanitizer on
// request (SIGUSR2) and reports whether anything it allocated is unreachable.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/rifa.h"
#include "harness.h"
#include "wire/result_block.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

#ifndef VANTEL_LEAK_CHECK_HOOK
TEST(Leaks, NoCommandKindLosesMemory) { GTEST_SKIP() << "only the sanitizer build has the leak check hook"; }
#else
// Repetitions per kind: a leak is any unreachable block, so a handful would
// do; a few dozen also walk the zoom ramp and the preset list around.
constexpr int kRepeats = 20;

std::vector<uint8_t> ptz(int port) {
  std::vector<uint8_t> payload = camera_request(port, "admin", "admin");
  put_be32s(payload.data() + req::move::kDirection, 2);
  put_be32s(payload.data() + req::move::kZoom, 1);
  put_be32s(payload.data() + req::preset::kNumber, 1);
  return payload;
}
std::vector<uint8_t> block(int port) { return block_request(port, "admin", "admin"); }

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

TEST(Leaks, NoCommandKindLosesMemory) {
  struct Kind {
    const char* name;
    uint32_t major, minor;
    std::vector<uint8_t> (*payload)(int port);
    json camera;
  };
  const json presets_open = {{"auth_exempt", {"GetPresets", "Stop"}}};
  // The XR-410 is read through working copies of the context.
  const json xr410 = {{"model", "XR-410"}};
  const Kind kinds[] = {
      {"move", RIFA_CMD_PTZ_MOVE, 0, ptz, json::object()},
      {"stop", RIFA_CMD_PTZ_STOP, 0, ptz, presets_open},
      {"set preset", RIFA_CMD_PTZ_PRESET, 0, ptz, presets_open},
      {"goto preset", RIFA_CMD_PTZ_GOTOPRESET, 0, ptz, presets_open},
      {"remove preset", RIFA_CMD_PTZ_REMOVE_PRESET, 0, ptz, json::object()},
      {"reboot", RIFA_CMD_REBOOT, 0, ptz, json::object()},
      {"user mode", RIFA_CMD_MULTIUSER, 0, ptz, json::object()},
      {"stream info", RIFA_CMD_STREAM_INFO, 0, block, json::object()},
      {"codec list", RIFA_CMD_NET_CODEC, 0, block, json::object()},
      {"codec explicit", RIFA_CMD_NET_CODEC, RIFA_CMD_NET_CODEC, block, json::object()},
      {"codec XR-410", RIFA_CMD_NET_CODEC, 0, block, xr410},
      {"camera setting", RIFA_CMD_CAMERA_SETTING, 0, block, json::object()},
      {"camera setting XR-410", RIFA_CMD_CAMERA_SETTING, 0, block, xr410},
      {"PTZ refused", RIFA_CMD_PTZ_MOVE, 0, ptz, {{"users", {{"admin", "other"}}}}},
  };
  const std::string suppressions = std::string(VANTEL_SOURCE_DIR) + "/tests/system/data/lsan-suppressions.txt";
  // Hundreds of commands add up to more than the watchdog's minute of busy
  // time: its restart must reach the stand-ins, not the machine's killall.
  const std::string fake_bin = std::string(VANTEL_SOURCE_DIR) + "/tests/system/fake-bin";
  for (const Kind& kind : kinds) {
    // A daemon of its own per kind: a leak stays leaked, and would show in
    // every later check.
    Daemon daemon(VANTEL_BIN, {"LSAN_OPTIONS=suppressions=" + suppressions + ":print_suppressions=0",
                               "PATH=" + fake_bin + ":" + getenv("PATH"), "VANTEL_TEST_CALLS=" + temp_path("calls")});
    Camsim camera(kind.camera);
    for (int i = 0; i < kRepeats; ++i) {
      ASSERT_TRUE(exchange(rifa_request(kind.major, kind.minor, kind.payload(camera.port()))).closed_by_daemon)
          << kind.name;
    }
    ASSERT_EQ(0, kill(-daemon.group(), SIGUSR2));
    ASSERT_TRUE(daemon.wait_for_log("[leak check] ", 20000)) << kind.name;
    const bool clean = daemon.wait_for_log("[leak check] clean", 0);
    printf("%-22s %d commands, leak check %s\n", kind.name, kRepeats, clean ? "clean" : "FOUND LEAKS");
    EXPECT_TRUE(clean) << kind.name;
    if (kind.camera.contains("users")) {
      // The refused camera took the early return that skips the tear-down.
      EXPECT_EQ(static_cast<size_t>(kRepeats), count(daemon.log(), "GetCapabilities error")) << kind.name;
    }
  }
}
#endif

}  // namespace
}  // namespace vantel_test
