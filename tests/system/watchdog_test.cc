// The self-watchdog end to end, on a daemon built to poll every 20 ms and
// with the restart's shell commands caught by stand-ins early on PATH.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "wire/rifa.h"
#include "harness.h"

namespace vantel_test {
namespace {

TEST(Watchdog, BusyPollsTriggerTheRestartSequenceInOrder) {
  const std::string calls = temp_path("calls");
  Daemon daemon(VANTEL_FASTDOG_BIN, {"VANTEL_TEST_CALLS=" + calls});

  // Idle for well over 61 polls: nothing happens.
  std::this_thread::sleep_for(std::chrono::milliseconds(2000));
  EXPECT_EQ("", read_text(calls));
  EXPECT_EQ(std::string::npos, daemon.log().find("self watchdog"));

  // A header with size 0 keeps the busy mark at its major while the
  // connection stays open.
  const int fd = connect_command_port();
  ASSERT_GE(fd, 0);
  const std::vector<uint8_t> header = rifa_request(vantel::RIFA_CMD_STREAM_INFO, 0, {}, 0);
  ASSERT_EQ(16, send(fd, header.data(), header.size(), 0));
  ASSERT_TRUE(daemon.wait_for_log("[vantel] self watchdog start \n", 20000));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  close(fd);

  const std::string expected_start = "killall -9 vantel\nkillall -9 vantel\nstart " + fake_bin() + "/vantel-start\n";
  EXPECT_EQ(0u, read_text(calls).rfind(expected_start, 0)) << read_text(calls);
}

}  // namespace
}  // namespace vantel_test
