// vantelctl: sends one RIFA command to the daemon's command port and prints
// the decoded reply, for people (text) and for machines (--json).
#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "block_fields.h"
#include "discover.h"
#include "probe.h"
#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/rifa.h"
#include "wire/result_block.h"

namespace {

using namespace vantel;
using namespace vantelctl;

const char kUsage[] =
    "usage: vantelctl [--host H] [--port P] [--timeout S] [--json] COMMAND [options]\n"
    "\n"
    "commands:\n"
    "  camera-setting | stream-info | net-codec [--explicit]   (result block commands)\n"
    "  ptz-move --direction N --zoom N | ptz-stop\n"
    "  ptz-preset | ptz-goto | ptz-remove --preset N\n"
    "  reboot | multiuser --mode N\n"
    "  raw --major X [--minor X] [--size N] [--hex BYTES | --payload-file F]\n"
    "  discover [--timeout S] [--json] [--to ADDRESS[:PORT]]\n"
    "      which cameras are on this network: a WS-Discovery probe to\n"
    "      239.255.255.250:3702 (or to ADDRESS, port 3702 by default), answers\n"
    "      collected for S seconds (default 3, fractions allowed); --json prints\n"
    "      one object per camera and line. Exit status 0: a camera answered,\n"
    "      1: none did, 2: bad arguments or a socket error\n"
    "  probe --camera IPV4 [--camera-port N] --user U --password P [--json] [--verbose]\n"
    "      will this camera work with the recorder: asks the camera directly\n"
    "      (no daemon), with read-only calls, and prints what it found, one\n"
    "      line each (how it was reached, its clock, the login, SOAP version,\n"
    "      services, profiles, PTZ), then which commands would work and why\n"
    "      the others would not; --json: the same as one object; --verbose:\n"
    "      the camera layer's own lines on stderr. Exit status 0: every\n"
    "      command would work, 1: some would not, 2: the camera was not\n"
    "      reached, refused the login, or bad arguments\n"
    "\n"
    "camera options (all commands):\n"
    "  --camera IPV4  --camera-port N  --user NAME  --password TEXT\n"
    "result block options:\n"
    "  --block-file F      start from a saved 480-byte block\n"
    "  --field NAME=VALUE  set one block field (names as printed in a reply)\n"
    "  --save-block F      write the reply's block to F\n"
    "\n"
    "to watch port 1997, decoded with the same field names (capturing needs root\n"
    "or the wireshark group), from the source tree:\n"
    "  tshark -X lua_script:tools/wireshark/rifa.lua -i lo -f \"tcp port 1997\" -V\n";

struct Options {
  std::string host = "127.0.0.1";
  int port = kCommandPort;
  int timeout_s = 120;
  const char* timeout_text = nullptr;  // read once the command is known
  std::string to;
  bool json = false;
  bool verbose = false;
  std::string command;
  std::string camera_ip;
  long camera_port = 80;
  std::string user, password;
  long direction = 0, zoom = 0, preset = 0, mode = 0;
  bool explicit_variant = false;
  std::string block_file, save_block;
  std::vector<std::string> fields;
  long major = -1, minor = -1, size = 0;
  bool size_given = false;
  std::string hex, payload_file;
};

// discover keeps 1 for "no camera answered", probe for "some command
// would not work": their usage errors exit 2.
int g_usage_status = 1;

[[noreturn]] void fail(const std::string& message) {
  fprintf(stderr, "vantelctl: %s\n", message.c_str());
  exit(g_usage_status);
}

long number_arg(const char* option, const char* text) {
  errno = 0;
  char* end = nullptr;
  const long long value = strtoll(text, &end, 0);
  if (errno != 0 || *end != '\0' || *text == '\0' || value < INT32_MIN || value > UINT32_MAX) {
    fail(std::string("bad number for ") + option + ": '" + text + "'");
  }
  return static_cast<long>(value);
}

Options parse_arguments(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> const char* {
      if (i + 1 >= argc) fail("missing value for " + arg);
      return argv[++i];
    };
    if (arg == "--help" || arg == "-h") {
      fputs(kUsage, stdout);
      exit(0);
    } else if (arg == "--host") o.host = value();
    else if (arg == "--port") o.port = static_cast<int>(number_arg("--port", value()));
    else if (arg == "--timeout") o.timeout_text = value();
    else if (arg == "--json") o.json = true;
    else if (arg == "--verbose") o.verbose = true;
    else if (arg == "--camera") o.camera_ip = value();
    else if (arg == "--camera-port") o.camera_port = number_arg("--camera-port", value());
    else if (arg == "--user") o.user = value();
    else if (arg == "--password") o.password = value();
    else if (arg == "--direction") o.direction = number_arg("--direction", value());
    else if (arg == "--zoom") o.zoom = number_arg("--zoom", value());
    else if (arg == "--preset") o.preset = number_arg("--preset", value());
    else if (arg == "--mode") o.mode = number_arg("--mode", value());
    else if (arg == "--explicit") o.explicit_variant = true;
    else if (arg == "--block-file") o.block_file = value();
    else if (arg == "--save-block") o.save_block = value();
    else if (arg == "--field") o.fields.push_back(value());
    else if (arg == "--major") o.major = number_arg("--major", value());
    else if (arg == "--minor") o.minor = number_arg("--minor", value());
    else if (arg == "--size") {
      o.size = number_arg("--size", value());
      o.size_given = true;
    }
    else if (arg == "--hex") o.hex = value();
    else if (arg == "--payload-file") o.payload_file = value();
    else if (arg == "--to") o.to = value();
    else if (!arg.empty() && arg[0] != '-' && o.command.empty()) {
      o.command = arg;
      if (arg == "discover" || arg == "probe") g_usage_status = 2;
    }
    else fail("unknown argument '" + arg + "' (try --help)");
  }
  if (o.command.empty()) fail("no command given (try --help)");
  if (o.timeout_text && o.command != "discover") {
    o.timeout_s = static_cast<int>(number_arg("--timeout", o.timeout_text));
  }
  return o;
}

// Seconds to collect answers: fractions allowed, up to an hour.
double discover_timeout(const char* text) {
  if (text == nullptr) return 3;
  char* end = nullptr;
  const double seconds = strtod(text, &end);
  if (*text == '\0' || *end != '\0' || !(seconds > 0 && seconds <= 3600)) {
    fail(std::string("bad --timeout '") + text + "': seconds, more than 0 and at most 3600");
  }
  return seconds;
}

std::vector<uint8_t> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail("cannot read " + path);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void put_text(uint8_t* dst, const std::string& text, const char* what) {
  if (text.size() >= req::kCredentialSize) fail(std::string(what) + " longer than 31 characters");
  std::memcpy(dst, text.data(), text.size());
}

// The camera prefix sits at the front of a CameraRequest and at 84..159 of
// a result block.
void put_camera(const Options& o, uint8_t* payload, bool block_layout) {
  const size_t ip = block_layout ? block::kCameraIp : req::kCameraIp;
  const size_t port = block_layout ? block::kCameraPort : req::kCameraPort;
  const size_t user = block_layout ? block::kUserName : req::kUserName;
  const size_t password = block_layout ? block::kPassword : req::kPassword;
  if (!o.camera_ip.empty() && inet_pton(AF_INET, o.camera_ip.c_str(), payload + ip) != 1) {
    fail("bad camera address '" + o.camera_ip + "'");
  }
  if (!block_layout || !o.camera_ip.empty()) put_be32s(payload + port, static_cast<int32_t>(o.camera_port));
  if (!block_layout || !o.user.empty()) {
    std::memset(payload + user, 0, req::kCredentialSize);
    put_text(payload + user, o.user, "user name");
  }
  if (!block_layout || !o.password.empty()) {
    std::memset(payload + password, 0, req::kCredentialSize);
    put_text(payload + password, o.password, "password");
  }
}

struct Request {
  uint32_t major = 0, minor = 0;
  int32_t size = 0;
  std::vector<uint8_t> payload;
};

ProbeOptions probe_options(const Options& o) {
  in_addr address;
  if (inet_pton(AF_INET, o.camera_ip.c_str(), &address) != 1) fail("probe needs --camera with an IPv4 address");
  if (o.camera_port < 1 || o.camera_port > 65535) fail("bad --camera-port: 1 to 65535");
  if (o.user.empty()) fail("probe needs --user");
  if (o.user.size() >= req::kCredentialSize || o.password.size() >= req::kCredentialSize) {
    fail("user name and password: at most 31 characters each");
  }
  return {o.camera_ip, static_cast<int>(o.camera_port), o.user, o.password, o.json, o.verbose};
}

Request build_request(const Options& o) {
  Request r;
  if (o.command == "raw") {
    if (o.major < 0) fail("raw needs --major");
    r.major = static_cast<uint32_t>(o.major);
    r.minor = o.minor < 0 ? 0 : static_cast<uint32_t>(o.minor);
    if (!o.payload_file.empty()) r.payload = read_file(o.payload_file);
    if (o.hex.size() % 2 != 0) fail("--hex needs an even number of digits");
    for (size_t i = 0; i < o.hex.size(); i += 2) {
      const std::string byte = "0x" + o.hex.substr(i, 2);
      r.payload.push_back(static_cast<uint8_t>(number_arg("--hex", byte.c_str())));
    }
    // --size may lie about the payload on purpose: that is what raw is for.
    r.size = o.size_given ? static_cast<int32_t>(o.size) : static_cast<int32_t>(r.payload.size());
    return r;
  }

  const CommandInfo* info = nullptr;
  for (const CommandInfo& command : kCommands) {
    if (o.command == command.name) info = &command;
  }
  if (info == nullptr) fail("unknown command '" + o.command + "' (try --help)");
  r.major = info->major;
  r.minor = o.minor >= 0 ? static_cast<uint32_t>(o.minor) : (o.explicit_variant ? info->major : 0);

  if (info->sends_block) {
    r.payload.assign(kResultBlockSize, 0);
    if (!o.block_file.empty()) {
      const std::vector<uint8_t> saved = read_file(o.block_file);
      if (saved.size() != kResultBlockSize) fail(o.block_file + " is not a 480-byte block");
      r.payload = saved;
    }
    put_camera(o, r.payload.data(), true);
    for (const std::string& assignment : o.fields) {
      const size_t eq = assignment.find('=');
      const BlockField* field = find_field(assignment.substr(0, eq));
      if (eq == std::string::npos || field == nullptr) fail("unknown field in '" + assignment + "'");
      std::string error;
      if (!write_field(r.payload.data(), *field, assignment.substr(eq + 1), &error)) fail(error);
    }
  } else {
    r.payload.assign(req::kRequestSize, 0);
    put_camera(o, r.payload.data(), false);
    if (info->major == RIFA_CMD_PTZ_MOVE) {
      put_be32s(r.payload.data() + req::move::kDirection, static_cast<int32_t>(o.direction));
      put_be32s(r.payload.data() + req::move::kZoom, static_cast<int32_t>(o.zoom));
    } else if (info->major == RIFA_CMD_MULTIUSER) {
      put_be32s(r.payload.data() + req::user_mode::kMode, static_cast<int32_t>(o.mode));
    } else {
      put_be32s(r.payload.data() + req::preset::kNumber, static_cast<int32_t>(o.preset));
    }
  }
  r.size = static_cast<int32_t>(r.payload.size());
  return r;
}

int connect_to(const Options& o) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const std::string port = std::to_string(o.port);
  if (getaddrinfo(o.host.c_str(), port.c_str(), &hints, &found) != 0) fail("cannot resolve " + o.host);
  int fd = -1;
  int error = 0;
  for (addrinfo* a = found; a && fd < 0; a = a->ai_next) {
    fd = socket(a->ai_family, a->ai_socktype, a->ai_protocol);
    if (fd >= 0 && connect(fd, a->ai_addr, a->ai_addrlen) != 0) {
      error = errno;
      close(fd);
      fd = -1;
    }
  }
  freeaddrinfo(found);
  if (fd < 0) fail("cannot connect to " + o.host + ":" + port + ": " + strerror(error));
  timeval timeout{o.timeout_s, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  return fd;
}

void send_all(int fd, const std::vector<uint8_t>& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) fail(std::string("send failed: ") + strerror(errno));
    sent += static_cast<size_t>(n);
  }
}

// Reads until `want` bytes arrived or the daemon closed the connection.
std::vector<uint8_t> receive(int fd, size_t want, int timeout_s) {
  std::vector<uint8_t> got(want);
  size_t have = 0;
  while (have < want) {
    const ssize_t n = recv(fd, got.data() + have, want - have, 0);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) fail("no reply within " + std::to_string(timeout_s) + " s");
      if (errno == ECONNRESET) break;
      fail(std::string("receive failed: ") + strerror(errno));
    }
    have += static_cast<size_t>(n);
  }
  got.resize(have);
  return got;
}

const char* reply_code_name(uint32_t minor) {
  switch (minor) {
    case RIFA_RPL_RESULT: return "RIFA_RPL_RESULT";
    case RIFA_RPL_SETTING_OK: return "RIFA_RPL_SETTING_OK";
    case RIFA_RPL_SETTING_FAIL: return "RIFA_RPL_SETTING_FAIL";
    case RIFA_RPL_CODEC_FAIL: return "RIFA_RPL_CODEC_FAIL";
  }
  const CommandInfo* command = find_command(minor);
  return command ? command->name : "";
}

}  // namespace

int main(int argc, char** argv) {
  const Options o = parse_arguments(argc, argv);
  if (o.command == "discover") return discover({discover_timeout(o.timeout_text), o.json, o.to});
  if (o.command == "probe") return probe(probe_options(o));
  const Request request = build_request(o);

  std::vector<uint8_t> wire(kRifaHeaderSize);
  encode_header(make_header(request.size, request.major, request.minor), wire.data());
  wire.insert(wire.end(), request.payload.begin(), request.payload.end());

  const int fd = connect_to(o);
  send_all(fd, wire);
  const std::vector<uint8_t> head = receive(fd, kRifaHeaderSize, o.timeout_s);
  if (head.size() < kRifaHeaderSize) {
    fail("short reply: " + std::to_string(head.size()) + " of 16 header bytes");
  }
  const RifaHeader reply = decode_header(head.data());
  if (!has_rifa_magic(reply)) fail("reply without RIFA magic");
  std::vector<uint8_t> block;
  if (reply.size > 0) {
    block = receive(fd, static_cast<size_t>(reply.size), o.timeout_s);
    if (block.size() < static_cast<size_t>(reply.size) || block.size() != kResultBlockSize) {
      fail("short reply: " + std::to_string(block.size()) + " of " + std::to_string(reply.size) +
           " block bytes");
    }
  }
  close(fd);

  if (!o.save_block.empty() && !block.empty()) {
    std::ofstream out(o.save_block, std::ios::binary);
    out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
    if (!out) fail("cannot write " + o.save_block);
  }

  char major[16], minor[16];
  snprintf(major, sizeof major, "0x%08x", reply.major);
  snprintf(minor, sizeof minor, "0x%08x", reply.minor);
  if (o.json) {
    printf("{\"reply\": {\"magic\": \"RIFA\", \"size\": %d, \"major\": \"%s\", \"minor\": \"%s\", "
           "\"minor_name\": \"%s\"}",
           reply.size, major, minor, reply_code_name(reply.minor));
    if (!block.empty()) printf(", \"block\": %s", block_as_json(block.data()).c_str());
    printf("}\n");
  } else {
    printf("reply: RIFA size=%d major=%s minor=%s %s\n", reply.size, major, minor,
           reply_code_name(reply.minor));
    if (!block.empty()) fputs(block_as_text(block.data()).c_str(), stdout);
  }
  return 0;
}
