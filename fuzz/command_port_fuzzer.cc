// libFuzzer target: whatever a client sends on the command port, through the
// server's own read-and-dispatch step, with every handler replaced by a
// recorder. The input goes in through one end of a socket pair, as the
// bytes of one connection; the replies come back on the other end and are
// checked against the request the recorder saw.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "wire/byte_order.h"
#include "commands/handlers.h"
#include "wire/rifa.h"
#include "server/server.h"
#include "wire/result_block.h"

namespace {

int g_calls = 0;
uint32_t g_handled = 0;

using vantel::CommandResult;
using vantel::ReplyKind;

// Each command's own reply kind, so that both replies of each are formed.
CommandResult record(uint32_t major, ReplyKind reply, const uint8_t* payload) {
  ++g_calls;
  g_handled = major;
  return vantel::result_of(reply, payload[0] & 1, payload[1] & 1);  // as the input chooses
}

}  // namespace

namespace vantel {
CommandResult handle_camera_setting(uint8_t* p) {
  return record(RIFA_CMD_CAMERA_SETTING, ReplyKind::kSettingOkFail, p);
}
CommandResult handle_net_codec_list(uint8_t* p) { return record(RIFA_CMD_NET_CODEC, ReplyKind::kResultCodecFail, p); }
CommandResult handle_net_codec_explicit(uint8_t* p) {
  return record(RIFA_CMD_NET_CODEC, ReplyKind::kResultCodecFail, p);
}
CommandResult handle_stream_info(uint8_t* p) { return record(RIFA_CMD_STREAM_INFO, ReplyKind::kAlwaysResult, p); }
CommandResult handle_ptz_move(uint8_t* p) { return record(RIFA_CMD_PTZ_MOVE, ReplyKind::kEchoMajor, p); }
CommandResult handle_ptz_stop(uint8_t* p) { return record(RIFA_CMD_PTZ_STOP, ReplyKind::kEchoMajor, p); }
CommandResult handle_ptz_preset(uint8_t* p) { return record(RIFA_CMD_PTZ_PRESET, ReplyKind::kEchoMajor, p); }
CommandResult handle_ptz_gotopreset(uint8_t* p) { return record(RIFA_CMD_PTZ_GOTOPRESET, ReplyKind::kEchoMajor, p); }
CommandResult handle_ptz_remove_preset(uint8_t* p) {
  return record(RIFA_CMD_PTZ_REMOVE_PRESET, ReplyKind::kEchoMajor, p);
}
CommandResult handle_reboot(uint8_t* p) { return record(RIFA_CMD_REBOOT, ReplyKind::kEchoMajor, p); }
CommandResult handle_multiuser(uint8_t* p) { return record(RIFA_CMD_MULTIUSER, ReplyKind::kEchoMajor, p); }
}  // namespace vantel

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The server's log lines would cost more than the fuzzing itself.
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, STDOUT_FILENO);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The whole input must fit the socket's buffer, since one thread both
  // sends it and serves it.
  if (size > 32768) return 0;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) abort();
  if (size > 0 && send(ends[0], data, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) abort();
  shutdown(ends[0], SHUT_WR);

  g_calls = 0;
  g_handled = 0;
  vantel::serve_accepted(ends[1]);

  std::vector<uint8_t> reply;
  uint8_t chunk[4096];
  for (ssize_t n; (n = recv(ends[0], chunk, sizeof chunk, MSG_DONTWAIT)) > 0;) reply.insert(reply.end(), chunk, chunk + n);
  close(ends[0]);

  // At most one command per connection, and a reply only for it: the bare
  // header, or the header and the result block.
  if (g_calls > 1) abort();
  if (reply.empty()) return 0;
  if (reply.size() != vantel::kRifaHeaderSize && reply.size() != vantel::kRifaHeaderSize + vantel::kResultBlockSize) abort();
  const vantel::RifaHeader header = vantel::decode_header(reply.data());
  if (!vantel::has_rifa_magic(header)) abort();
  if (g_calls == 1 && header.major != g_handled) abort();
  if (g_calls == 0 && (header.major != 0 || reply.size() != vantel::kRifaHeaderSize)) abort();
  return 0;
}
