// The command port as the recorder sees it: framing, the dummy reply, bad
// input on one connection, and the server's log lines.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "harness.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using namespace vantel;

const std::vector<uint8_t> kDummyReply = {'R', 'I', 'F', 'A', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(CommandServer, OneCommandPerConnectionWhateverTheClientSends) {
  Daemon daemon;
  EXPECT_EQ(0, daemon.parent_exit_status());
  // An unknown code (a gap in the codes, a reply code) gets the dummy reply and the close.
  for (uint32_t code : {0x0b060002u, RIFA_RPL_RESULT}) {
    Exchange dummy = exchange(rifa_request(code, 7, {1, 2, 3, 4}));
    EXPECT_EQ(kDummyReply, dummy.reply);
    EXPECT_TRUE(dummy.closed_by_daemon);
  }

  // Two requests back to back: the first is served, the second dropped. A
  // size of 4096 with 4096 bytes is served from the first 1024. A bad magic
  // is skipped and the next header on the connection served.
  std::vector<uint8_t> bad = rifa_request(0x0b060002, 0, {}, 4);
  std::memcpy(bad.data(), "rifa", 5);  // the NUL ends the printed magic like the record's zero word would
  for (const auto& request : {rifa_request(0x0b060002, 0, {1}) + rifa_request(0x0b060002, 0, {2}),
                              rifa_request(0x0b060002, 0, std::vector<uint8_t>(4096, 0x5a)),
                              bad + rifa_request(0x0b060002, 0, {9})}) {
    EXPECT_EQ(kDummyReply, exchange(request).reply);
  }
  EXPECT_TRUE(daemon.wait_for_log("[Vantel] fail payload recv .(payload.rifa =rifa)\n"));

  // Size 0 is logged but not answered, and the server waits for another
  // header on the same connection.
  const int fd = connect_command_port();
  ASSERT_GE(fd, 0);
  const std::vector<uint8_t> empty = rifa_request(0x0b060002, 0, {}, 0);
  ASSERT_EQ(16, send(fd, empty.data(), empty.size(), 0));
  ASSERT_TRUE(daemon.wait_for_log("len : 0 "));
  uint8_t reply[32];
  EXPECT_EQ(-1, recv(fd, reply, 1, MSG_DONTWAIT));  // nothing sent, still open
  const std::vector<uint8_t> next = rifa_request(0x0b060002, 0, {1});
  ASSERT_EQ(17, send(fd, next.data(), next.size(), 0));
  size_t got = 0;
  for (ssize_t n; (n = recv(fd, reply + got, sizeof reply - got, 0)) > 0;) got += static_cast<size_t>(n);
  close(fd);
  EXPECT_EQ(kDummyReply, std::vector<uint8_t>(reply, reply + got));
  // A connection closed without a byte leaves the port serving.
  close(connect_command_port());
  EXPECT_EQ(kDummyReply, exchange(rifa_request(0x0b060002, 0, {3})).reply);
}

TEST(CommandServer, LogLinesAreExact) {
  Daemon daemon;
  exchange(rifa_request(0x0b060002, 0x11, {1, 2}));
  exchange(rifa_request(RIFA_CMD_PTZ_MOVE, 0, camera_request(0, "u", "p")));
  exchange(rifa_request(RIFA_CMD_PTZ_GOTOPRESET, 0, camera_request(0, "u", "p")));
  exchange(rifa_request(RIFA_CMD_STREAM_INFO, 0, block_request(0, "u", "p")));
  // A header whose payload never comes.
  const int fd = connect_command_port();
  const std::vector<uint8_t> header = rifa_request(RIFA_CMD_REBOOT, 0, {}, 10);
  send(fd, header.data(), header.size(), 0);
  shutdown(fd, SHUT_WR);
  ASSERT_TRUE(daemon.wait_for_log("[Vantel] vantel end .... \n"));
  close(fd);

  const std::string log = daemon.log();
  // The parent's and the child's start-up lines race each other.
  const std::string parent = "parent process end !", child = "rtsp client create .. \n\n";
  ASSERT_TRUE(log.rfind(parent + child, 0) == 0 || log.rfind(child + parent, 0) == 0) << log;
  std::string commands = log.substr(parent.size() + child.size());
  // Whatever a handler prints on the way is its own; the server's lines are these.
  for (const char* line :
       {"[Vantel] received data : major(0x0b060002), minor(0x00000011) len : 2 pdata->payload.size : 2, pay_len : 20\n",
        "[vantel dummy] \n",
        "[Vantel] received data : major(0x0b060005), minor(0x00000000) len : 84 pdata->payload.size : 84, pay_len : 20\n",
        "[vantel ptz] \n", "[vantel ptz] ptz move (0) (0) \n",
        "[Vantel] received data : major(0x0b060008), minor(0x00000000) len : 84 pdata->payload.size : 84, pay_len : 20\n",
        "[vantel ptz] ptz gotopreset \n",
        "[Vantel] received data : major(0x0b060004), minor(0x00000000) len : 480 pdata->payload.size : 480, pay_len : 20\n",
        "Send data : major(0x0b060004), minor(0x0b061001) size(480) \n",
        "[Vantel] received data : major(0x0b060020), minor(0x00000000) len : 10 pdata->payload.size : 10, pay_len : 20\n"}) {
    const size_t at = commands.find(line);
    ASSERT_NE(std::string::npos, at) << "missing: " << line << "\nin:\n" << commands;
    commands = commands.substr(at + strlen(line));
  }
  EXPECT_EQ("[Vantel] vantel end .... \n", commands);
}

TEST(CommandServer, ASecondInstanceCannotBindAndSaysSo) {
  Daemon first;
  Daemon second;  // its port probe reaches the first one
  ASSERT_TRUE(second.wait_for_log("[Vantel] end ... \n", 5000));
  EXPECT_NE(std::string::npos, second.log().find("[Vantel] socket bind error 1\n[Vantel] end ... \n"));
  EXPECT_EQ(kDummyReply, exchange(rifa_request(0x0b060002, 0, {1})).reply);
}

}  // namespace
}  // namespace vantel_test
