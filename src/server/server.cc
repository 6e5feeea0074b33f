// The command server loop and the daemon's columns of the command table.
#include "server/server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "commands/handlers.h"
#include "log/log.h"
#include "server/command_state.h"
#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/result_block.h"
#include "wire/rifa.h"

namespace vantel {
namespace {

constexpr int kListenBacklog = 5;
// The received header is kept with a fifth, always-zero word: it ends the
// magic when a bad header is printed as a string, and its length is logged.
constexpr size_t kHeaderRecordSize = kRifaHeaderSize + 4;

int sock_fd_app = -1;
int accepted_fd = -1;

// Every connection ends this way: the close discards anything unsent and
// resets the connection instead of lingering.
void close_abortive(int fd) {
  const linger abortive = {2, 0};
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
  close(fd);
}

// One write call each; short writes are not retried. MSG_NOSIGNAL: a client
// that has already gone must not take the daemon down with a broken pipe.
void send_bytes(int fd, const void* data, size_t length) {
  send(fd, data, length, MSG_NOSIGNAL);
}

void send_reply(int fd, const RifaHeader& reply) {
  uint8_t wire[kRifaHeaderSize];
  encode_header(reply, wire);
  send_bytes(fd, wire, sizeof wire);
  if (reply.size > 0) send_bytes(fd, g_payload, kResultBlockSize);
}

// Hooks run around the reply, in the order of each command's log lines. The
// recorder reads these lines, so their texts and their places stay exact.
using ReplyHook = void (*)(const RifaHeader& reply, int32_t result);

void log_send_data(const RifaHeader& reply, int32_t) {
  log_printf("Send data : major(0x%08x), minor(0x%08x) size(%d) \n", reply.major, reply.minor,
             reply.size);
}

// Registration's result also reaches the block: status 1 done, 3 failed.
void store_status_and_log(const RifaHeader& reply, int32_t result) {
  ResultBlockView(g_payload).set_s32(block::kStatus, result != 0 ? 1 : 3);
  log_send_data(reply, result);
}

void log_ptz_move(const RifaHeader&, int32_t) {
  log_printf("[vantel ptz] ptz move (%d) (%d) \n", get_be32s(g_payload + req::move::kDirection),
             get_be32s(g_payload + req::move::kZoom));
}
void log_ptz_stop(const RifaHeader&, int32_t) { log_puts("[vantel ptz] ptz stop "); }
void log_ptz_preset(const RifaHeader&, int32_t) { log_puts("[vantel ptz] ptz preset "); }
void log_ptz_goto(const RifaHeader&, int32_t) { log_puts("[vantel ptz] ptz gotopreset "); }
void log_ptz_remove(const RifaHeader&, int32_t) { log_puts("[vantel ptz] ptz remove preset "); }
void log_reboot(const RifaHeader&, int32_t) { log_puts("[vantel reboot] "); }
void log_multiuser(const RifaHeader&, int32_t result) { log_printf("[vantel multiuser] (%d)\n", result); }

// The daemon's columns of a row of the command table.
struct Dispatch {
  CommandHandler handler;
  CommandHandler when_minor_is_major;  // chosen instead when minor == major
  const char* line_before;             // printed before the handler runs
  ReplyHook before_reply;
  ReplyHook after_close;
};

#define VANTEL_DAEMON_COLUMNS(major, name, block, rule, handler, variant, before, reply, after) \
  {handler, variant, before, reply, after},
// Row i here is row i of kCommands: both come from the one table.
const Dispatch kDispatch[kCommandCount] = {VANTEL_COMMAND_TABLE(VANTEL_DAEMON_COLUMNS)};
#undef VANTEL_DAEMON_COLUMNS

void dispatch(int fd, const RifaHeader& request) {
  const CommandInfo* command = find_command(request.major);
  if (command == nullptr) {
    send_reply(fd, make_header(0, 0, 0));
    close_abortive(fd);
    log_puts("[vantel dummy] ");
    return;
  }
  const Dispatch* branch = &kDispatch[command - kCommands];

  if (branch->line_before) log_puts(branch->line_before);
  CommandHandler handler = branch->handler;
  if (branch->when_minor_is_major && request.minor == request.major) {
    handler = branch->when_minor_is_major;
  }
  const int32_t result = handler(g_payload);

  const RifaHeader reply = reply_header(request.major, result);
  if (branch->before_reply) branch->before_reply(reply, result);
  send_reply(fd, reply);
  close_abortive(fd);
  if (branch->after_close) branch->after_close(reply, result);
}

// Serves one accepted connection: headers are read until one is dispatched
// or the connection fails. Exactly one command per connection.
void serve_connection(uint8_t (&record)[kHeaderRecordSize]) {
  for (;;) {
    if (accepted_fd <= 0) {
      g_busy_mark = -1;
      return;
    }
    // A short read still counts as a header: the bytes not delivered keep
    // what the record held before.
    const ssize_t got = read(accepted_fd, record, kRifaHeaderSize);
    if (got <= 0) {
      close_abortive(accepted_fd);
      accepted_fd = -1;
      g_busy_mark = -1;
      return;
    }
    const RifaHeader header = decode_header(record);
    if (!has_rifa_magic(header)) {
      log_printf("[Vantel] fail payload recv .(payload.rifa =%s)\n", reinterpret_cast<char*>(record));
      continue;
    }

    // A copy of the header that nothing reads. It is released only when the
    // payload read fails; every served command leaves its 20 bytes behind.
    void* copy = malloc(kHeaderRecordSize);
    if (copy == nullptr) continue;
    std::memcpy(copy, record, kHeaderRecordSize);

    g_busy_mark = static_cast<int32_t>(header.major);
    // The recorder parses this line for the command it sent; its odd labels
    // and the header record's length stay as they have always been.
    log_printf("[Vantel] received data : major(0x%08x), minor(0x%08x) len : %d pdata->payload.size : "
               "%d, pay_len : %d\n",
               header.major, header.minor, header.size, header.size, static_cast<int>(kHeaderRecordSize));
    if (header.size <= 0) continue;

    // The payload never goes past the buffer: a larger size is served with
    // its first 1024 bytes and the excess is dropped with the connection.
    std::memset(g_payload, 0, sizeof g_payload);
    const size_t wanted = static_cast<size_t>(header.size) < sizeof g_payload
                              ? static_cast<size_t>(header.size)
                              : sizeof g_payload;
    if (read(accepted_fd, g_payload, wanted) <= 0) {
      close_abortive(accepted_fd);
      g_busy_mark = -1;
      free(copy);
      log_puts("[Vantel] vantel end .... ");
      return;
    }

    dispatch(accepted_fd, header);
    g_busy_mark = -1;
    return;
  }
}

void serve_forever() {
  sockaddr_in address{};
  uint8_t record[kHeaderRecordSize];
  for (;;) {
    socklen_t address_length = sizeof address;
    accepted_fd = accept(sock_fd_app, reinterpret_cast<sockaddr*>(&address), &address_length);
    std::memset(record, 0, sizeof record);
    serve_connection(record);
  }
}

}  // namespace

void* net_cmd_daemon(void*) {
  sock_fd_app = socket(AF_INET, SOCK_STREAM, 0);
  if (sock_fd_app < 0) {
    log_printf("[Vantel] Server Socket Create Failed ! ");
  } else {
    const int reuse = 1;
    const linger graceful = {1, 10};
    setsockopt(sock_fd_app, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    setsockopt(sock_fd_app, SOL_SOCKET, SO_LINGER, &graceful, sizeof graceful);

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kCommandPort);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(sock_fd_app, reinterpret_cast<sockaddr*>(&address), sizeof address) < 0) {
      log_puts("[Vantel] socket bind error 1");
    } else {
      listen(sock_fd_app, kListenBacklog);
      if (sock_fd_app < 0) {
        log_printf("[Vantel] netport_valid_fd sock_fd_app(%d)", sock_fd_app);
      } else {
        serve_forever();
      }
    }
  }
  log_puts("[Vantel] end ... ");
  return nullptr;
}

}  // namespace vantel
