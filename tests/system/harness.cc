#include "harness.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/rifa.h"
#include "wire/result_block.h"

namespace vantel_test {
namespace {

using Clock = std::chrono::steady_clock;

void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Orphans of the daemon (its forked child) are re-parented to us, so that we
// can reap them and know for certain when they are gone.
struct BecomeSubreaper {
  BecomeSubreaper() { prctl(PR_SET_CHILD_SUBREAPER, 1); }
} become_subreaper;

// Process groups alive right now. When the test process dies abnormally (a
// sanitizer report, a crash, a signal) no destructor runs, so these are
// killed from the death paths: a daemon left behind would hold port 1997.
constexpr int kMaxGroups = 16;
volatile sig_atomic_t live_groups[kMaxGroups];

void kill_live_groups() {
  for (int i = 0; i < kMaxGroups; ++i)
    if (live_groups[i] > 0) kill(-live_groups[i], SIGKILL);
}

extern "C" void on_fatal_signal(int signal_number) {
  kill_live_groups();
  ::signal(signal_number, SIG_DFL);
  raise(signal_number);
}

extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

struct KillGroupsOnDeath {
  KillGroupsOnDeath() {
    for (int s : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTERM, SIGINT}) ::signal(s, on_fatal_signal);
    if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(kill_live_groups);
  }
} kill_groups_on_death;

// Sets the first slot holding `from` to `to`.
void swap_group(pid_t from, pid_t to) {
  for (int i = 0; i < kMaxGroups; ++i) {
    if (live_groups[i] == from) {
      live_groups[i] = to;
      return;
    }
  }
}

}  // namespace

std::string temp_path(const std::string& name) {
  static std::atomic<int> serial{0};
  const char* dir = getenv("TMPDIR");
  std::ostringstream path;
  path << (dir ? dir : "/tmp") << "/vantel-test-" << getpid() << "-" << serial++ << "-" << name;
  // A killed earlier run with the same process id may have left this name
  // behind; logs are appended to, so it must start empty.
  unlink(path.str().c_str());
  return path.str();
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void ProcessGroup::start(const std::vector<std::string>& argv, const std::string& log_path,
                         const std::vector<std::string>& env) {
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setpgid(0, 0);
    // camsim and the daemon's first half die with us even on SIGKILL.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int log = open(log_path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(log, 1);
    dup2(log, 2);
    const int null = open("/dev/null", O_RDONLY);
    dup2(null, 0);
    for (const std::string& assignment : env) putenv(strdup(assignment.c_str()));
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  setpgid(pid, pid);
  swap_group(0, pid);
  leader_ = pid;
  leader_status_ = -1;
}

int ProcessGroup::wait_leader(int timeout_ms) {
  const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
  while (leader_status_ < 0 && Clock::now() < end) {
    int status = 0;
    if (waitpid(leader_, &status, WNOHANG) == leader_) {
      leader_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      break;
    }
    sleep_ms(10);
  }
  return leader_status_;
}

void ProcessGroup::kill_all() {
  if (leader_ <= 0) return;
  kill(-leader_, SIGKILL);
  // Reap the whole group, the re-parented daemon included, so its port and
  // its name are free before the next test starts.
  const auto end = Clock::now() + std::chrono::seconds(10);
  while (Clock::now() < end) {
    int status;
    const pid_t reaped = waitpid(-leader_, &status, WNOHANG);
    if (reaped < 0 && errno == ECHILD) break;
    if (reaped == 0) sleep_ms(5);
  }
  swap_group(leader_, 0);
  leader_ = -1;
}

namespace {
int port_lock_fd = -1;
int port_lock_holders = 0;

// A cross-built daemon is tested by this build's driver and camsim:
// VANTEL_TEST_DAEMON_BUILD names its build tree (the daemons sit at the same
// places in it as in ours), and VANTEL_TEST_DAEMON_WRAPPER the command
// (words split at spaces) that runs them, e.g. "qemu-s390x -L /usr/s390x-linux-gnu".
std::vector<std::string> daemon_command(const std::string& binary) {
  std::vector<std::string> argv;
  const char* wrapper = getenv("VANTEL_TEST_DAEMON_WRAPPER");
  std::istringstream words(wrapper ? wrapper : "");
  for (std::string word; words >> word;) argv.push_back(word);
  const std::string own_build = std::string(VANTEL_BIN).substr(0, std::string(VANTEL_BIN).rfind('/'));
  const char* other_build = getenv("VANTEL_TEST_DAEMON_BUILD");
  if (other_build && *other_build && binary.compare(0, own_build.size(), own_build) == 0) {
    argv.push_back(other_build + binary.substr(own_build.size()));
  } else {
    argv.push_back(binary);
  }
  return argv;
}
}  // namespace

PortLock::PortLock() {
  if (port_lock_holders++ > 0) return;
  // A run inside its own network namespace has a port 1997 of its own and
  // may name its own lock, so that it need not wait for runs outside.
  const char* path = getenv("VANTEL_TEST_PORT_LOCK");
  if (path == nullptr || *path == '\0') path = "/tmp/vantel-test-port-1997.lock";
  port_lock_fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (port_lock_fd >= 0) flock(port_lock_fd, LOCK_EX);
}

PortLock::~PortLock() {
  if (--port_lock_holders > 0 || port_lock_fd < 0) return;
  close(port_lock_fd);  // releases the lock
  port_lock_fd = -1;
}

std::string fake_bin() { return std::string(VANTEL_SOURCE_DIR) + "/tests/system/fake-bin"; }

std::string state_dir() {
  const std::string dir = temp_path("state");
  mkdir(dir.c_str(), 0700);
  return dir;
}

Daemon::Daemon(const std::string& binary, const std::vector<std::string>& env)
    : log_path_(temp_path("daemon.log")) {
  std::vector<std::string> full_env = {
      "PATH=" + fake_bin() + ":" + getenv("PATH"), "VANTEL_TEST_CALLS=" + temp_path("calls"),
      "LSAN_OPTIONS=print_suppressions=0:suppressions=" + std::string(VANTEL_SOURCE_DIR) +
          "/tests/system/data/lsan-suppressions.txt",
      "VANTEL_STATE_DIR=" + state_dir()};
  full_env.insert(full_env.end(), env.begin(), env.end());  // later ones win
  group_.start(daemon_command(binary), log_path_, full_env);
  parent_status_ = group_.wait_leader(5000);
  // The daemon opens its port a second after start-up.
  const auto end = Clock::now() + std::chrono::seconds(10);
  while (Clock::now() < end) {
    const int fd = connect_command_port();
    if (fd >= 0) {
      close(fd);
      return;
    }
    sleep_ms(20);
  }
  ADD_FAILURE() << "daemon did not open port 1997; log:\n" << log();
}

Daemon::~Daemon() {
#ifdef VANTEL_LEAK_CHECK_HOOK
  // A daemon that ended by itself (and was reaped here) cannot be asked.
  for (int status; waitpid(-group_.leader(), &status, WNOHANG) > 0;) {
  }
  if (!::testing::Test::HasFailure() && kill(-group_.leader(), 0) == 0) {
    kill(-group_.leader(), SIGUSR2);
    EXPECT_TRUE(wait_for_log("[leak check] ", 20000)) << "no answer to the leak check";
    EXPECT_EQ(std::string::npos, log().find("[leak check] leaks found"));
  }
#endif
  group_.kill_all();
  if (::testing::Test::HasFailure()) fprintf(stderr, "---- daemon output ----\n%s\n----\n", log().c_str());
}

bool Daemon::wait_for_log(const std::string& text, int timeout_ms) const {
  const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
  do {
    if (log().find(text) != std::string::npos) return true;
    sleep_ms(10);
  } while (Clock::now() < end);
  return false;
}

int connect_command_port() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(vantel::kCommandPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

Exchange exchange(const std::vector<uint8_t>& request, int timeout_ms) {
  Exchange result;
  const int fd = connect_command_port();
  EXPECT_GE(fd, 0) << "cannot connect to port 1997";
  if (fd < 0) return result;
  EXPECT_EQ(static_cast<ssize_t>(request.size()), send(fd, request.data(), request.size(), MSG_NOSIGNAL));
  for (;;) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, timeout_ms) <= 0) break;
    uint8_t chunk[2048];
    const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
    if (n <= 0) {  // orderly close or the abortive reset
      result.closed_by_daemon = true;
      break;
    }
    result.reply.insert(result.reply.end(), chunk, chunk + n);
  }
  close(fd);
  return result;
}

std::vector<uint8_t> rifa_request(uint32_t major, uint32_t minor, const std::vector<uint8_t>& payload,
                                  int32_t size) {
  std::vector<uint8_t> wire(vantel::kRifaHeaderSize);
  vantel::encode_header(
      vantel::make_header(size >= 0 ? size : static_cast<int32_t>(payload.size()), major, minor),
      wire.data());
  wire.insert(wire.end(), payload.begin(), payload.end());
  return wire;
}

namespace {
void put_camera(uint8_t* bytes, size_t ip, size_t port_at, size_t user_at, size_t password_at,
                int port, const std::string& user, const std::string& password) {
  inet_pton(AF_INET, "127.0.0.1", bytes + ip);
  vantel::put_be32s(bytes + port_at, port);
  std::memcpy(bytes + user_at, user.data(), std::min<size_t>(user.size(), 32));
  std::memcpy(bytes + password_at, password.data(), std::min<size_t>(password.size(), 32));
}
}  // namespace

std::vector<uint8_t> camera_request(int port, const std::string& user, const std::string& password,
                                    size_t length) {
  std::vector<uint8_t> payload(length, 0);
  put_camera(payload.data(), vantel::req::kCameraIp, vantel::req::kCameraPort, vantel::req::kUserName,
             vantel::req::kPassword, port, user, password);
  return payload;
}

std::vector<uint8_t> block_request(int port, const std::string& user, const std::string& password) {
  namespace block = vantel::block;
  std::vector<uint8_t> payload(vantel::kResultBlockSize, 0);
  put_camera(payload.data(), block::kCameraIp, block::kCameraPort, block::kUserName, block::kPassword,
             port, user, password);
  return payload;
}

Reply parse_reply(const Exchange& exchange) {
  Reply reply;
  EXPECT_GE(exchange.reply.size(), vantel::kRifaHeaderSize) << "no reply header";
  if (exchange.reply.size() < vantel::kRifaHeaderSize) return reply;
  const vantel::RifaHeader header = vantel::decode_header(exchange.reply.data());
  EXPECT_TRUE(vantel::has_rifa_magic(header));
  reply.size = static_cast<uint32_t>(header.size);
  reply.major = header.major;
  reply.minor = header.minor;
  reply.block.assign(exchange.reply.begin() + vantel::kRifaHeaderSize, exchange.reply.end());
  EXPECT_EQ(reply.size, reply.block.size());
  return reply;
}

Camsim::Camsim(const nlohmann::json& config, const std::string& profile)
    : log_path_(temp_path("camsim.log")), record_path_(temp_path("camsim.jsonl")) {
  const std::string config_path = temp_path("camsim.json");
  std::ofstream(config_path) << config.dump();
  start({"--record", record_path_, "--profile", profile, "--config", config_path});
}

Camsim::Camsim(const Command& command) : log_path_(temp_path("camsim.log")) { start(command.argv); }

void Camsim::start(std::vector<std::string> command) {
  const std::string port_path = temp_path("camsim.port");
  command.insert(command.begin(), {"/usr/bin/python3", std::string(VANTEL_SOURCE_DIR) + "/tools/camsim/camsim"});
  command.insert(command.end(), {"--port", "0", "--port-file", port_path});
  group_.start(command, log_path_);
  const auto end = Clock::now() + std::chrono::seconds(10);
  while (Clock::now() < end) {
    const std::string text = read_text(port_path);
    if (!text.empty() && text.back() == '\n') {
      port_ = std::stoi(text);
      return;
    }
    sleep_ms(20);
  }
  ADD_FAILURE() << "camsim did not start; log:\n" << log();
}

Camsim::~Camsim() {
  group_.kill_all();
  if (::testing::Test::HasFailure()) fprintf(stderr, "---- camsim output ----\n%s\n----\n", log().c_str());
}

std::vector<uint8_t> camera_command(uint32_t major, int port, int32_t at72, int32_t at80) {
  std::vector<uint8_t> payload = camera_request(port, "admin", "admin");
  // The preset number and the user mode sit where a move's direction does.
  vantel::put_be32s(payload.data() + vantel::req::move::kDirection, at72);
  vantel::put_be32s(payload.data() + vantel::req::move::kZoom, at80);
  return rifa_request(major, 0, payload);
}

void expect_echo(const std::vector<uint8_t>& command) {
  const Exchange answer = exchange(command);
  const Reply reply = parse_reply(answer);
  const uint32_t major = vantel::decode_header(command.data()).major;
  EXPECT_EQ((std::vector<uint32_t>{0, major, major}), (std::vector<uint32_t>{reply.size, reply.major, reply.minor}));
  EXPECT_TRUE(answer.closed_by_daemon);
}

std::vector<nlohmann::json> Camsim::record_lines(bool events) const {
  std::vector<nlohmann::json> lines;
  std::istringstream in(read_text(record_path_));
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    nlohmann::json entry = nlohmann::json::parse(line);
    if (entry.contains("event") == events) lines.push_back(std::move(entry));
  }
  return lines;
}

std::vector<nlohmann::json> Camsim::events(const std::string& kind) const {
  std::vector<nlohmann::json> found;
  for (nlohmann::json& entry : record_lines(true)) {
    if (entry.value("event", "") == kind) found.push_back(std::move(entry));
  }
  return found;
}

Reply send_block(uint32_t major, uint32_t minor, const Block& block) {
  return parse_reply(exchange(rifa_request(major, minor, block.bytes)));
}

Ints stream_fields(vantel::ResultBlockView b, size_t i) {
  using namespace vantel::block;
  return {b.s16(kFirstWidth + 4 * i), b.s16(kFirstHeight + 4 * i), b.u8(kFirstCodec + i),
          b.u8(kFirstFps + i),        b.s16(kFirstQuality + 2 * i), b.s16(kFirstBitrate + 2 * i)};
}

Lines trace(const Camsim& camera) {
  Lines lines;
  for (const nlohmann::json& entry : camera.record()) {
    std::string line = entry.value("op", "");
    const nlohmann::json& values = entry["values"];
    for (const char* key : {"ProfileToken", "ConfigurationToken", "NodeToken", "token"}) {
      if (values.contains(key) && values[key].is_string()) line += " " + values[key].get<std::string>();
    }
    lines.push_back(line);
  }
  return lines;
}

std::vector<nlohmann::json> requests_of(const Camsim& camera, const std::string& op) {
  std::vector<nlohmann::json> found;
  for (const nlohmann::json& entry : camera.record()) {
    if (entry.value("op", "") == op) found.push_back(entry);
  }
  return found;
}

std::vector<nlohmann::json> values_of(const Camsim& camera, const std::string& op) {
  std::vector<nlohmann::json> values;
  for (const nlohmann::json& entry : requests_of(camera, op)) values.push_back(entry["values"]);
  return values;
}

void expect_values(const nlohmann::json& got, const nlohmann::json& expected, const std::string& what) {
  for (const auto& [key, value] : expected.items()) {
    EXPECT_EQ(value, got.value(key, nlohmann::json())) << what << " " << key;
  }
}

void expect_pushes(const Camsim& camera, const std::vector<nlohmann::json>& expected) {
  const std::vector<nlohmann::json> sets = requests_of(camera, "SetVideoEncoderConfiguration");
  ASSERT_EQ(expected.size(), sets.size());
  for (size_t i = 0; i < sets.size(); ++i) {
    nlohmann::json values = sets[i]["values"];
    values["answer"] = sets[i]["answer"];
    expect_values(values, expected[i], "push " + std::to_string(i));
  }
}

std::string last_command_output(const Daemon& daemon) {
  const std::string log = daemon.log();
  const size_t received = log.rfind("[Vantel] received data");
  return received == std::string::npos ? "" : log.substr(log.find('\n', received) + 1);
}

std::string wait_for_last_command(const Daemon& daemon, const std::string& text) {
  for (int i = 0; i < 500 && last_command_output(daemon).find(text) == std::string::npos; ++i) sleep_ms(10);
  return last_command_output(daemon);
}

}  // namespace vantel_test
