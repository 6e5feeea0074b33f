// Cameras that misbehave on purpose (camsim hostile), one row each: the
// reply the recorder gets, how long it took, and that the daemon then serves
// a command to a good camera. (What memory a command costs is the bench's.) The default build has no limits, so a camera that never finishes
// its answer is ended only by the self-watchdog: those rows run on the fast-
// watchdog daemon with stand-ins for the restart's shell commands, and the
// camera is let go once the restart sequence has fired. The hardened build
// ends every row by one of its limits, with a line saying which.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <string>

#include "harness.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using namespace vantel;

#ifdef VANTEL_HARDENED
constexpr bool kHardened = true;
#else
constexpr bool kHardened = false;
#endif

std::vector<uint8_t> goto_preset(int port) { return camera_command(RIFA_CMD_PTZ_GOTOPRESET, port); }

TEST(HostileCamera, EveryRowEndsInTheCommandsReplyAndTheDaemonServesOn) {
  struct Row {
    const char* name;
    const char* mode;
    int size_kb;
    bool endless;                // no limit of the default build ends it
    const char* default_line;    // in the daemon's log; "request X": the camera got X
    const char* hardened_line;
  };
  const char* kCapsFailed = "GetCapabilities error (";
  const Row rows[] = {
      {"silent camera", "silent", 0, true, kCapsFailed, "[hardened] no complete answer within 10 s"},
      {"a byte a second", "byte", 0, true, kCapsFailed, "[hardened] no complete answer within 10 s"},
      {"gzip bomb (32 MB)", "gzip", 32768, false, "request GetProfiles", "[hardened] compressed answer"},
      {"20 MB string", "big", 20480, false, "request GetProfiles", "[hardened] answer with Content-Length 2097"},
      {"2 MB of padding", "padded", 2048, false, "request GetProfiles", "[hardened] answer over 1048576 bytes"},
      {"64 KB string", "big", 64, false, "request GetProfiles", "[hardened] answer holds a string over 4096"},
      {"own command port", "self", 0, true, nullptr, "[hardened] service address http://127.0.0.1:1997/"},
      {"empty 200", "empty", 0, false, kCapsFailed, kCapsFailed},
      {"HTML 500", "html", 0, false, kCapsFailed, kCapsFailed},
      {"truncated XML", "truncated", 0, false, kCapsFailed, kCapsFailed},
  };
  Camsim good(nlohmann::json{{"auth_exempt", {"GetPresets"}}});
  printf("%-18s %-9s %-28s %9s  %s\n", "row", "build", "reply", "seconds", "line");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string calls = temp_path("calls");
    const bool by_watchdog = row.endless && !kHardened;
    std::future<Exchange> pending;  // ends after the daemon: its kill ends a reply never sent
    Daemon daemon(by_watchdog ? VANTEL_FASTDOG_BIN : VANTEL_BIN, {"VANTEL_TEST_CALLS=" + calls});
    Camsim camera(Camsim::Command{{"hostile", row.mode, "--size-kb", std::to_string(row.size_kb)}});
    const auto start = std::chrono::steady_clock::now();
    pending = std::async(std::launch::async, [&] { return exchange(goto_preset(camera.port()), 60000); });
    const char* line = kHardened ? row.hardened_line : row.default_line;
    if (by_watchdog) {
      EXPECT_TRUE(daemon.wait_for_log("[vantel] self watchdog start \n", 20000));
      for (int wait = 0; wait < 100 && read_text(calls).find("start ") == std::string::npos; ++wait) usleep(20000);
      // The restart sequence in order, and nothing before it while the daemon was idle.
      const std::string sequence = "killall -9 vantel\nkillall -9 vantel\nstart " + fake_bin() + "/vantel-start\n";
      EXPECT_EQ(0u, read_text(calls).rfind(sequence, 0)) << read_text(calls);
      camera.stop();
    }
    std::string reply_text = "none: restart sequence";
    if (line != nullptr) {  // else the daemon waits on its own port: only the restart ends that
      const Reply reply = parse_reply(pending.get());
      EXPECT_EQ((std::vector<uint32_t>{0, RIFA_CMD_PTZ_GOTOPRESET, RIFA_CMD_PTZ_GOTOPRESET}),
                (std::vector<uint32_t>{reply.size, reply.major, reply.minor}));
      if (std::string(line).rfind("request ", 0) == 0) {
        EXPECT_NE(std::string::npos, camera.log().find(line));
      } else {
        EXPECT_TRUE(daemon.wait_for_log(line, 2000));
      }
      reply_text = by_watchdog ? "echo, after restart sequence" : "echo (RIFA 0 major major)";
    }
    printf("%-18s %-9s %-28s %9.1f  %s\n", row.name, kHardened ? "hardened" : "default", reply_text.c_str(),
           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
           line ? line : "[vantel] self watchdog start");
    if (line == nullptr) continue;
    // A good camera is served as ever.
    const size_t before = good.record().size();
    EXPECT_EQ(RIFA_CMD_PTZ_GOTOPRESET, parse_reply(exchange(goto_preset(good.port()))).minor);
    const std::vector<nlohmann::json> after = good.record();
    EXPECT_EQ("GotoPreset", after.size() > before ? after.back()["op"] : "");
  }
}

// How many bytes the daemon sent before it closed `fd`; -1 when the
// connection was still open after `ms`.
long bytes_before_close(int fd, int ms) {
  long got = 0;
  for (uint8_t chunk[64];;) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, ms) != 1) return -1;
    const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
    if (n <= 0) return got;
    got += n;
  }
}

TEST(HostileClient, TheHardenedCommandPortBoundsWhatAClientCanHold) {
  Daemon daemon;
  const std::vector<uint8_t> dummy = rifa_request(0x0b0600ff, 0, {1, 2, 3, 4});

  // A header in sixteen pieces: the hardened build assembles it, the
  // default build takes its first read as the whole header.
  int fd = connect_command_port();
  for (uint8_t byte : dummy) {
    send(fd, &byte, 1, MSG_NOSIGNAL);
    usleep(20000);
  }
  EXPECT_EQ(kHardened ? 16 : -1, bytes_before_close(fd, 1000));  // the dummy's reply
  close(fd);

  // Headers that are not a command: the hardened build closes after 16.
  fd = connect_command_port();
  const std::vector<uint8_t> empty = rifa_request(RIFA_CMD_PTZ_STOP, 0, {}, 0);
  for (int i = 0; i < 16; ++i) send(fd, empty.data(), empty.size(), MSG_NOSIGNAL);
  EXPECT_EQ(kHardened ? 0 : -1, bytes_before_close(fd, 1000));
  close(fd);

  // A client that sends nothing holds the port until the hardened limit.
  if (kHardened) {
    fd = connect_command_port();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, bytes_before_close(fd, 8000));
    const double held = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NEAR(5.0, held, 0.5);
    EXPECT_TRUE(daemon.wait_for_log("[hardened] command port: header not complete within 5 s (0 of 16 bytes)"));
    close(fd);
    EXPECT_TRUE(daemon.wait_for_log("[hardened] command port: 16 headers without a command"));
  }
  EXPECT_EQ(0u, parse_reply(exchange(dummy)).major);  // and the port serves on
}

}  // namespace
}  // namespace vantel_test
