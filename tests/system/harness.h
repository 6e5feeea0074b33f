// System test harness: starts the real daemon (and the simulated camera) as
// child processes in their own process groups, talks to port 1997 like the
// recorder does, reads back what the camera received and the daemon
// printed, and kills every process it started. Test thread only.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "wire/result_block.h"

namespace vantel_test {

std::string temp_path(const std::string& name);
std::string read_text(const std::string& path);

// A process group started by the test; killed whole on destruction.
class ProcessGroup {
 public:
  ProcessGroup() = default;
  ProcessGroup(const ProcessGroup&) = delete;
  ProcessGroup& operator=(const ProcessGroup&) = delete;
  ~ProcessGroup() { kill_all(); }

  // Runs argv[0] with stdout and stderr appended to `log_path`.
  void start(const std::vector<std::string>& argv, const std::string& log_path,
             const std::vector<std::string>& env = {});
  void kill_all();
  pid_t leader() const { return leader_; }
  // Exit status of the leader once it has ended by itself, else -1.
  int wait_leader(int timeout_ms);

 private:
  pid_t leader_ = -1;
  int leader_status_ = -1;
};

// Holds port 1997 for this process: test runs from several build trees on
// one machine take turns instead of talking to each other's daemon.
class PortLock {
 public:
  PortLock();
  ~PortLock();
  PortLock(const PortLock&) = delete;
  PortLock& operator=(const PortLock&) = delete;
};

// The daemon under test, serving port 1997. Its restart commands find the
// stand-ins in tests/system/fake-bin first on PATH, never the machine's.
class Daemon {
 public:
  explicit Daemon(const std::string& binary = VANTEL_BIN, const std::vector<std::string>& env = {});
  // In the sanitizer build, first has the daemon run LeakSanitizer and
  // expects it clean: every system test is a leak test. Shows the daemon's
  // output when the test failed: a sanitizer report is usually the story.
  ~Daemon();
  std::string log() const { return read_text(log_path_); }
  // Waits until the log contains `text`; true when it did in time.
  bool wait_for_log(const std::string& text, int timeout_ms = 5000) const;
  int parent_exit_status() { return parent_status_; }
  // The daemon's process group, for signals sent to the daemon itself.
  pid_t group() const { return group_.leader(); }

 private:
  PortLock port_lock_;
  std::string log_path_;
  ProcessGroup group_;
  int parent_status_ = -1;
};

std::string fake_bin();  // the stand-ins' folder
// A new, empty directory for a daemon's state file; every daemon gets its
// own unless the test passes one ("VANTEL_STATE_DIR=...") to share.
std::string state_dir();

// What came back on one connection.
struct Exchange {
  std::vector<uint8_t> reply;
  bool closed_by_daemon = false;  // false: still open when we gave up waiting
};

// Sends `request` in one go on a new connection to port 1997 and reads until
// the daemon closes the connection or `timeout_ms` pass without data.
Exchange exchange(const std::vector<uint8_t>& request, int timeout_ms = 20000);
int connect_command_port();

std::vector<uint8_t> rifa_request(uint32_t major, uint32_t minor, const std::vector<uint8_t>& payload,
                                  int32_t size = -1);
// A CameraRequest for the camera at 127.0.0.1:`port`, `length` bytes long.
std::vector<uint8_t> camera_request(int port, const std::string& user, const std::string& password,
                                    size_t length = 84);
// A whole command with a CameraRequest for camsim (admin/admin) and the
// two words at offsets 72 and 80.
std::vector<uint8_t> camera_command(uint32_t major, int port, int32_t at72 = 0, int32_t at80 = 0);
// Sends it; the reply must be the bare echo of a header-only command.
void expect_echo(const std::vector<uint8_t>& command);
// A 480-byte result block naming the camera at 127.0.0.1:`port`.
std::vector<uint8_t> block_request(int port, const std::string& user, const std::string& password);

struct Reply {
  uint32_t size = 0, major = 0, minor = 0;
  std::vector<uint8_t> block;
};
// Decodes a header (and block); fails the test when malformed.
Reply parse_reply(const Exchange& exchange);

// The simulated camera, on an ephemeral port.
class Camsim {
 public:
  // `config` is merged over the built-in camera `profile`.
  explicit Camsim(const nlohmann::json& config = nlohmann::json::object(),
                  const std::string& profile = "default");
  // `camsim COMMAND...` (record, hostile), on an ephemeral port as well.
  struct Command {
    std::vector<std::string> argv;
  };
  explicit Camsim(const Command& command);
  ~Camsim();
  int port() const { return port_; }
  // Every request received so far, in order.
  std::vector<nlohmann::json> record() const { return record_lines(false); }
  // Its connection, TLS and failed-handshake lines ("connection", "tls",
  // "tls_failed").
  std::vector<nlohmann::json> events(const std::string& kind) const;
  // To camsim itself: SIGUSR1 gives it a new certificate.
  void signal(int number) const { kill(group_.leader(), number); }
  std::string log() const { return read_text(log_path_); }
  void stop() { group_.kill_all(); }

 private:
  void start(std::vector<std::string> command);
  std::vector<nlohmann::json> record_lines(bool events) const;
  std::string log_path_, record_path_;
  ProcessGroup group_;
  int port_ = 0;
};

using Ints = std::vector<int>;
using Lines = std::vector<std::string>;

// A 480-byte block naming a camsim camera (admin/admin), with a view to edit it.
struct Block {
  explicit Block(int port) : bytes(block_request(port, "admin", "admin")) {}
  explicit Block(std::vector<uint8_t> received) : bytes(std::move(received)) {}
  vantel::ResultBlockView view() { return vantel::ResultBlockView(bytes.data()); }
  std::vector<uint8_t> bytes;
};
Reply send_block(uint32_t major, uint32_t minor, const Block& block);

// Stream `i`'s (0 first, 1 second) {width, height, codec, fps, quality, bitrate}.
Ints stream_fields(vantel::ResultBlockView block, size_t i);

// Each request camsim received as "Op" plus the profile, configuration,
// node or set token it names.
Lines trace(const Camsim& camera);
// Camsim's whole record entry of every request of `op`, in order.
std::vector<nlohmann::json> requests_of(const Camsim& camera, const std::string& op);
// Only their "values".
std::vector<nlohmann::json> values_of(const Camsim& camera, const std::string& op);
// Each key of `expected` has that value in `got` (other keys are not looked at).
void expect_values(const nlohmann::json& got, const nlohmann::json& expected, const std::string& what = "");
// The values of the SetVideoEncoderConfiguration requests, push by push
// ("answer": what camsim answered).
void expect_pushes(const Camsim& camera, const std::vector<nlohmann::json>& expected);

// What the daemon printed after the last command's "received data" line.
std::string last_command_output(const Daemon& daemon);
// Waits until the last command has printed `text` (commands that reply
// before they finish), then returns all it printed.
std::string wait_for_last_command(const Daemon& daemon, const std::string& text);

}  // namespace vantel_test
