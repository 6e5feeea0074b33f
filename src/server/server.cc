// The command server loop: one command per connection, dispatched through
// the command table.
#include "server/server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "camera/book/camera_book.h"
#include "camera/services/onvif_session.h"
#include "log/log.h"
#include "server/command_state.h"
#include "server/command_table.h"
#include "server/header_records.h"
#include "server/port_limits.h"
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

// The recorder reads this line for the commands that announce their reply.
void log_send_data(const RifaHeader& reply) {
  log_printf("Send data : major(0x%08x), minor(0x%08x) size(%d) \n", reply.major, reply.minor,
             reply.size);
}

void dispatch(int fd, const RifaHeader& request) {
  const Command* command = command_for(request.major);
  if (command == nullptr) {
    send_reply(fd, make_header(0, 0, 0));
    close_abortive(fd);
    log_puts("[vantel dummy] ");
    return;
  }
  const CommandHandler handler = command->when_minor_is_major != nullptr && request.minor == request.major
                                     ? command->when_minor_is_major
                                     : command->handler;
  const CommandResult result = handler(g_payload);

  const RifaHeader reply = reply_to(request.major, result);
  if (result.log_reply) log_send_data(reply);
  send_reply(fd, reply);
  close_abortive(fd);
  if (result.after_close[0] != '\0') log_puts(result.after_close);
}

HeaderRecords& header_records() {
  static HeaderRecords records;
  return records;
}

// The copy every header with the magic gets. A function of its own, so
// that the leak checks can tell these 20 bytes, kept by design, from
// anything a command leaves behind.
__attribute__((noinline)) void* copy_header(const uint8_t (&record)[kHeaderRecordSize]) {
  return header_records().keep(record, kHeaderRecordSize);
}

// The payload of a header that announced one, then its command. The payload
// never goes past the buffer: a larger size is served with its first 1024
// bytes and the excess is dropped with the connection. A failed read
// releases the header's copy.
void serve_command(const RifaHeader& header, CommandReads& reads, void* header_copy) {
  std::memset(g_payload, 0, sizeof g_payload);
  const size_t wanted = static_cast<size_t>(header.size) < sizeof g_payload
                            ? static_cast<size_t>(header.size)
                            : sizeof g_payload;
  if (reads.payload(accepted_fd, g_payload, wanted) <= 0) {
    close_abortive(accepted_fd);
    g_busy_mark = -1;
    header_records().release(header_copy);
    log_puts("[Vantel] vantel end .... ");
    return;
  }

  dispatch(accepted_fd, header);
  g_busy_mark = -1;
}

// Serves one accepted connection: headers are read until one is dispatched
// or the connection fails. Exactly one command per connection.
void serve_connection(uint8_t (&record)[kHeaderRecordSize]) {
  CommandReads reads;
  for (;;) {
    if (accepted_fd <= 0) {
      g_busy_mark = -1;
      return;
    }
    // A short read still counts as a header: the bytes not delivered keep
    // what the record held before.
    const ssize_t got = reads.header(accepted_fd, record, kRifaHeaderSize);
    if (got <= 0) {
      close_abortive(accepted_fd);
      accepted_fd = -1;
      g_busy_mark = -1;
      return;
    }
    const RifaHeader header = decode_header(record);
    if (!has_rifa_magic(header)) {
      log_printf("[Vantel] fail payload recv .(payload.rifa =%s)\n", reinterpret_cast<char*>(record));
      if (reads.too_many_headers()) break;
      continue;
    }

    // A copy of the header that nothing reads. It is released only when the
    // payload read fails; every served command leaves its 20 bytes behind.
    void* copy = copy_header(record);
    if (copy == nullptr) continue;

    g_busy_mark = static_cast<int32_t>(header.major);
    // The recorder parses this line for the command it sent; its odd labels
    // and the header record's length stay as they have always been.
    log_printf("[Vantel] received data : major(0x%08x), minor(0x%08x) len : %d pdata->payload.size : "
               "%d, pay_len : %d\n",
               header.major, header.minor, header.size, header.size, static_cast<int>(kHeaderRecordSize));
    if (header.size <= 0) {
      if (reads.too_many_headers()) break;
      continue;
    }

    serve_command(header, reads, copy);
    return;
  }
  // Only the hardened build leaves the loop: too many headers.
  close_abortive(accepted_fd);
  accepted_fd = -1;
  g_busy_mark = -1;
}

void serve_forever() {
  sockaddr_in address{};
  for (;;) {
    socklen_t address_length = sizeof address;
    serve_accepted(accept(sock_fd_app, reinterpret_cast<sockaddr*>(&address), &address_length));
  }
}

}  // namespace

void serve_accepted(int fd) {
  uint8_t record[kHeaderRecordSize];
  accepted_fd = fd;
  std::memset(record, 0, sizeof record);
  serve_connection(record);
}

void* net_cmd_daemon(void*) {
  // What the daemon learned of each camera, kept across commands and, in
  // the state file, across restarts. Lives as long as this thread serves.
  static CameraBook book(state_file_path());
  OnvifSession::use_book(&book);
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
    address.sin_addr.s_addr = htonl(command_port_address());
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
