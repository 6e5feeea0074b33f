// The command port as the recorder sees it: framing, the dummy reply, the
// echo replies, bad input on one connection, and the log lines.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "wire/rifa.h"
#include "harness.h"

namespace vantel_test {
namespace {

using namespace vantel;

const std::vector<uint8_t> kDummyReply = {'R', 'I', 'F', 'A', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(CommandServer, UnknownCommandsGetTheDummyReplyAndKnownOnesTheirEcho) {
  Daemon daemon;
  EXPECT_EQ(0, daemon.parent_exit_status());

  Exchange dummy = exchange(rifa_request(0x0b060002, 7, {1, 2, 3, 4}));
  EXPECT_EQ(kDummyReply, dummy.reply);
  EXPECT_TRUE(dummy.closed_by_daemon);

  // A camera that cannot be reached: the PTZ reply is the echo whatever the
  // handler's result.
  Reply stop = parse_reply(exchange(rifa_request(RIFA_CMD_PTZ_STOP, 0, camera_request(0, "u", "p"))));
  EXPECT_EQ(0u, stop.size);
  EXPECT_EQ(RIFA_CMD_PTZ_STOP, stop.major);
  EXPECT_EQ(RIFA_CMD_PTZ_STOP, stop.minor);

  // The stream query answers RIFA_RPL_RESULT with the block, here the
  // request's own bytes since nothing could be filled in.
  const std::vector<uint8_t> request = block_request(0, "admin", "secret");
  Reply info = parse_reply(exchange(rifa_request(RIFA_CMD_STREAM_INFO, 0, request)));
  EXPECT_EQ(480u, info.size);
  EXPECT_EQ(RIFA_CMD_STREAM_INFO, info.major);
  EXPECT_EQ(RIFA_RPL_RESULT, info.minor);
  EXPECT_EQ(request, info.block);

  // The registration reply carries its status word at offset 92.
  Reply setting = parse_reply(exchange(rifa_request(RIFA_CMD_CAMERA_SETTING, 0, request)));
  EXPECT_EQ(RIFA_RPL_SETTING_FAIL, setting.minor);
  ASSERT_EQ(480u, setting.block.size());
  EXPECT_EQ(0, std::memcmp(setting.block.data() + 92, "\0\0\0\3", 4));
}

TEST(CommandServer, BadMagicIsSkippedAndTheNextHeaderOnTheConnectionServed) {
  Daemon daemon;
  std::vector<uint8_t> bad = rifa_request(0x0b060002, 0, {}, 4);
  std::memcpy(bad.data(), "rifa", 4);
  bad[4] = 0;  // ends the printed magic like the record's zero word would
  Exchange e = exchange(bad + rifa_request(0x0b060002, 0, {9}));
  EXPECT_EQ(kDummyReply, e.reply);
  EXPECT_TRUE(daemon.wait_for_log("[vantel dummy] \n"));
  EXPECT_NE(std::string::npos, daemon.log().find("[Vantel] fail payload recv .(payload.rifa =rifa)\n"));
}

TEST(CommandServer, SizeZeroIsLoggedButNotAnswered) {
  Daemon daemon;
  const int fd = connect_command_port();
  ASSERT_GE(fd, 0);
  const std::vector<uint8_t> empty = rifa_request(0x0b060002, 0, {}, 0);
  ASSERT_EQ(16, send(fd, empty.data(), empty.size(), 0));
  ASSERT_TRUE(daemon.wait_for_log("len : 0 "));
  uint8_t byte;
  EXPECT_EQ(-1, recv(fd, &byte, 1, MSG_DONTWAIT));  // nothing sent, still open
  // The server waits for another header on the same connection.
  const std::vector<uint8_t> next = rifa_request(0x0b060002, 0, {1});
  ASSERT_EQ(17, send(fd, next.data(), next.size(), 0));
  uint8_t reply[32];
  size_t got = 0;
  ssize_t n;
  while ((n = recv(fd, reply + got, sizeof reply - got, 0)) > 0) got += static_cast<size_t>(n);
  close(fd);
  EXPECT_EQ(kDummyReply, std::vector<uint8_t>(reply, reply + got));
}

TEST(CommandServer, OneCommandPerConnectionAndOversizedPayloadsStayInTheBuffer) {
  Daemon daemon;
  // Two requests back to back: the first is served, the second dropped.
  Exchange two = exchange(rifa_request(0x0b060002, 0, {1}) + rifa_request(0x0b060002, 0, {2}));
  EXPECT_EQ(kDummyReply, two.reply);
  EXPECT_TRUE(two.closed_by_daemon);

  // A size of 4096 with 4096 bytes: served from the first 1024, no crash.
  Exchange big = exchange(rifa_request(0x0b060002, 0, std::vector<uint8_t>(4096, 0x5a)));
  EXPECT_EQ(kDummyReply, big.reply);

  // Connect and close without a byte, then a normal request still works.
  const int fd = connect_command_port();
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(kDummyReply, exchange(rifa_request(0x0b060002, 0, {3})).reply);

  // The dummy line follows the close, so the client can be faster than it.
  const std::string three = "[vantel dummy] \n[Vantel] received data : major(0x0b060002), minor(0x00000000) "
                            "len : 1 pdata->payload.size : 1, pay_len : 20\n[vantel dummy] \n";
  ASSERT_TRUE(daemon.wait_for_log(three)) << daemon.log();
  size_t dummies = 0;
  const std::string log = daemon.log();
  for (size_t at = log.find("[vantel dummy] "); at != std::string::npos; at = log.find("[vantel dummy] ", at + 1)) {
    ++dummies;
  }
  EXPECT_EQ(3u, dummies);
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
  const std::string parent = "parent process end !";
  const std::string child = "rtsp client create .. \n\n";
  ASSERT_TRUE(log.rfind(parent + child, 0) == 0 || log.rfind(child + parent, 0) == 0) << log;
  std::string commands = log.substr(parent.size() + child.size());
  // Whatever a handler prints on the way is its own; the server's lines are these.
  auto take = [&commands](const std::string& line) {
    const size_t at = commands.find(line);
    EXPECT_NE(std::string::npos, at) << "missing: " << line << "\nin:\n" << commands;
    if (at != std::string::npos) commands = commands.substr(at + line.size());
  };
  take("[Vantel] received data : major(0x0b060002), minor(0x00000011) len : 2 pdata->payload.size : 2, pay_len : 20\n");
  take("[vantel dummy] \n");
  take("[Vantel] received data : major(0x0b060005), minor(0x00000000) len : 84 pdata->payload.size : 84, pay_len : 20\n");
  take("[vantel ptz] \n");
  take("[vantel ptz] ptz move (0) (0) \n");
  take("[Vantel] received data : major(0x0b060008), minor(0x00000000) len : 84 pdata->payload.size : 84, pay_len : 20\n");
  take("[vantel ptz] ptz gotopreset \n");
  take("[Vantel] received data : major(0x0b060004), minor(0x00000000) len : 480 pdata->payload.size : 480, pay_len : 20\n");
  take("Send data : major(0x0b060004), minor(0x0b061001) size(480) \n");
  take("[Vantel] received data : major(0x0b060020), minor(0x00000000) len : 10 pdata->payload.size : 10, pay_len : 20\n");
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
