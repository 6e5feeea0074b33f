// The Wireshark dissector tools/wireshark/rifa.lua under Debian's tshark: its
// layout table against the wire constants, the real daemon's traffic with
// camsim for every command and reply kind, and malformed streams, which must
// never raise a Lua error. Captures are built with text2pcap from the bytes.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "block_fields.h"
#include "harness.h"
#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/result_block.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using namespace vantel;
using Bytes = std::vector<uint8_t>;
using Row = std::map<std::string, std::string>;  // field -> value; absent fields are ""

const std::string kSource = VANTEL_SOURCE_DIR;
const std::string kDissector = kSource + "/tools/wireshark/rifa.lua";

std::string hex32(uint32_t value) {
  char text[16];
  snprintf(text, sizeof text, "0x%08x", value);
  return text;
}
// The words separated by blanks: one line of the layout listing.
template <typename... Words>
std::string words(const Words&... w) {
  std::ostringstream line;
  ((line << w << ' '), ...);
  return line.str().substr(0, line.str().size() - 1);
}
int sh(const std::string& command) { return std::system(command.c_str()); }

// The command and reply codes' names, spelled by the constants themselves.
std::map<uint32_t, std::string> code_names() {
  std::map<uint32_t, std::string> names;
  for (const CommandInfo& command : kCommands) names[command.major] = command.code;
#define VANTEL_NAME(code) names[code] = #code;
  VANTEL_NAME(RIFA_RPL_RESULT) VANTEL_NAME(RIFA_RPL_SETTING_OK) VANTEL_NAME(RIFA_RPL_SETTING_FAIL)
  VANTEL_NAME(RIFA_RPL_CODEC_FAIL)
#undef VANTEL_NAME
  return names;
}
const std::map<uint32_t, std::string> kNames = code_names();

const char* const kPrefixNames[] = {"camera_ip", "camera_port", "user_name", "password"};
const char* const kPrefixTypes[] = {"ipv4", "s32", "text", "text"};
// Each command's own signed 32-bit fields after the prefix.
const struct {
  uint32_t major;
  const char* name;
  WireField field;
} kOwnFields[] = {
    {RIFA_CMD_PTZ_MOVE, "ptz_direction", req::move::kFields[0]},
    {RIFA_CMD_PTZ_MOVE, "ptz_zoom", req::move::kFields[1]},
    {RIFA_CMD_PTZ_PRESET, "preset_number", req::preset::kFields[0]},
    {RIFA_CMD_PTZ_GOTOPRESET, "preset_number", req::preset::kFields[0]},
    {RIFA_CMD_PTZ_REMOVE_PRESET, "preset_number", req::preset::kFields[0]},
    {RIFA_CMD_MULTIUSER, "user_mode", req::user_mode::kFields[0]},
};

struct TempDir {
  TempDir() : path(temp_path("wireshark")) { mkdir(path.c_str(), 0755); }
  ~TempDir() {
    if (!::testing::Test::HasFailure()) sh("rm -rf " + path);
  }
  std::string path;
};

// Runs tshark with the dissector and `arguments`; its standard output. No
// input may make the dissector fail: tshark reports that as "Lua Error".
// `script` names another Lua script to run instead, with the dissector's path.
std::string tshark(const TempDir& dir, const std::string& arguments, const std::string& script = kDissector) {
  const std::string out = dir.path + "/tshark.out", err = dir.path + "/tshark.err";
  const std::string command = "timeout 120 tshark -X lua_script:" + script + " -X lua_script1:" + kDissector;
  EXPECT_EQ(0, sh(command + " " + arguments + " >" + out + " 2>" + err)) << read_text(err);
  const std::string text = read_text(out), all = text + read_text(err);
  const size_t error = all.find("Lua Error");
  EXPECT_EQ(std::string::npos, error) << arguments << ":\n" << all.substr(error < 600 ? 0 : error - 600, 900);
  return text;
}

// One TCP segment: towards the daemon or from it.
struct Segment {
  bool to_daemon;
  Bytes bytes;
};
using Stream = std::vector<Segment>;

// Each stream becomes its own connection from port 40000 + index to port
// 1997: text2pcap adds the dummy headers, mergecap puts them one after another.
std::string write_capture(const TempDir& dir, const std::vector<Stream>& streams) {
  std::string parts;
  for (size_t i = 0; i < streams.size(); ++i) {
    const std::string text = dir.path + "/" + std::to_string(i) + ".txt", part = text + ".pcapng";
    std::ofstream out(text);
    for (const Segment& segment : streams[i]) {
      out << (segment.to_daemon ? "I " : "O ");
      for (uint8_t b : segment.bytes) out << "0123456789abcdef"[b >> 4] << "0123456789abcdef"[b & 15];
      out << "\n";
    }
    out.close();
    EXPECT_EQ(0, sh("text2pcap -q -D -r '^(?<dir>[IO]) (?<data>[0-9a-f]+)$' -4 127.0.0.1,127.0.0.1 -T " +
                    std::to_string(40000 + i) + ",1997 " + text + " " + part + " 2>>" + dir.path + "/text2pcap.err"));
    parts += " " + part;
  }
  EXPECT_EQ(0, sh("mergecap -a -w " + dir.path + "/capture.pcapng" + parts + " 2>>" + dir.path + "/text2pcap.err"));
  return dir.path + "/capture.pcapng";
}

// tshark's -T fields output: the values of `fields` in each frame.
std::vector<Row> field_rows(const TempDir& dir, const std::string& capture, bool reassemble,
                            const std::vector<std::string>& fields) {
  std::string arguments = "-r " + capture + " -o tcp.desegment_tcp_streams:" + (reassemble ? "TRUE" : "FALSE") +
                          " -T fields -E occurrence=a -E aggregator=,";
  for (const std::string& field : fields) arguments += " -e " + field;
  std::vector<Row> rows;
  std::istringstream lines(tshark(dir, arguments));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream cells(line);
    rows.emplace_back();
    for (const std::string& field : fields) std::getline(cells, rows.back()[field], '\t');
  }
  return rows;
}

TEST(WiresharkDissector, LayoutTableMatchesTheWireConstants) {
  std::set<std::string> want = {words("port", kCommandPort), words("magic", std::string(kRifaMagic, 4)),
                                words("size header", kRifaHeaderSize),
                                words("size payload", kPayloadSize), words("size block", kResultBlockSize)};
  const char* const header_names[] = {"magic", "size", "major", "minor"};
  for (size_t i = 0; i < 4; ++i)
    want.insert(words("header", header_names[i], header_check::kFields[i].offset, header_check::kFields[i].size));
  for (const CommandInfo& command : kCommands)
    want.insert(words("command", command.code, hex32(command.major), command.sends_block ? "block" : "header-only"));
  for (const auto& [code, name] : kNames)
    if (name.rfind("RIFA_RPL_", 0) == 0) want.insert(words("reply", name, hex32(code)));
  for (size_t i = 0; i < 4; ++i) {
    const WireField& f = req::kPrefixFields[i];
    want.insert(words("prefix", kPrefixNames[i], f.offset, f.size, kPrefixTypes[i]));
  }
  for (const auto& own : kOwnFields)
    want.insert(words("request", kNames.at(own.major), own.name, own.field.offset, own.field.size, "s32"));
  const char* const types[] = {"u8", "s16", "s32", "text", "uri", "ipv4", "range", "options", "quad"};
  for (size_t i = 0; i < vantelctl::kBlockFieldCount; ++i) {
    const vantelctl::BlockField& f = vantelctl::kBlockFields[i];
    want.insert(words("block", f.name, f.offset, f.width, types[static_cast<int>(f.type)]));
  }
  for (int codec = kCodecUnknown; codec <= kCodecMpeg4; ++codec) {
    const std::string name = encoding_of_codec(static_cast<StreamCodec>(codec));
    want.insert(words("codec", codec, name.empty() ? "unknown" : name));
  }

  TempDir dir;
  ASSERT_EQ(0, sh("text2pcap -q /dev/null " + dir.path + "/empty.pcapng 2>/dev/null"));
  std::istringstream lines(
      tshark(dir, "-q -r " + dir.path + "/empty.pcapng", kSource + "/tests/wireshark/wire_layout.lua"));
  std::set<std::string> got;
  for (std::string line; std::getline(lines, line);) got.insert(line);
  for (const std::string& line : want) EXPECT_EQ(1u, got.count(line)) << "rifa.lua lacks: " << line;
  for (const std::string& line : got) EXPECT_EQ(1u, want.count(line)) << "rifa.lua has, the wire has not: " << line;
}

// What the dissector must show for a result block: vantelctl's decoding,
// with the password only as present (1) or empty (0).
void add_block(Row& row, const uint8_t* block) {
  std::istringstream lines(vantelctl::block_as_text(block));
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find(": ");
    row["rifa." + line.substr(0, colon)] = line.substr(colon + 2);
  }
  row["rifa.password"] = block[block::kPassword] ? "1" : "0";
}

Row request_row(const Bytes& wire) {
  const RifaHeader header = decode_header(wire.data());
  const uint8_t* payload = wire.data() + kRifaHeaderSize;
  const CommandInfo* command = find_command(header.major);
  Row row = {{"_ws.col.Info", (command ? kNames.at(header.major) : "unknown command") + " request"},
             {"rifa.size", std::to_string(header.size)}, {"rifa.major", hex32(header.major)}, {"rifa.minor", hex32(header.minor)}};
  if (command && command->sends_block) {
    add_block(row, payload);
  } else if (command) {
    char ip[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, payload + req::kCameraIp, ip, sizeof ip);
    row["rifa.camera_ip"] = ip;
    row["rifa.camera_port"] = std::to_string(get_be32s(payload + req::kCameraPort));
    row["rifa.user_name"] = reinterpret_cast<const char*>(payload + req::kUserName);  // NUL-padded here
    row["rifa.password"] = payload[req::kPassword] ? "1" : "0";
    for (const auto& own : kOwnFields)
      if (own.major == header.major) row[std::string("rifa.") + own.name] = std::to_string(get_be32s(payload + own.field.offset));
  }
  return row;
}

Row reply_row(const Bytes& wire) {
  const RifaHeader header = decode_header(wire.data());
  std::string info = header.major == 0 ? "dummy" : kNames.at(header.major);
  info += " reply";
  if (header.major != 0) info += header.minor == header.major ? " (echo)" : " " + kNames.at(header.minor);
  Row row = {{"_ws.col.Info", info}, {"rifa.size", std::to_string(header.size)}, {"rifa.major", hex32(header.major)},
             {"rifa.reply_code", hex32(header.minor)}};
  if (header.size > 0) add_block(row, wire.data() + kRifaHeaderSize);
  return row;
}

TEST(WiresharkDissector, DecodesTheDaemonsAnswerToEveryCommand) {
  const std::string secret = "Never-In-The-Tree";
  Camsim camera(nlohmann::json{{"users", {{"viewer", secret}}}});
  Daemon daemon;
  std::vector<Stream> streams;
  std::vector<Row> expected;
  std::set<uint32_t> reply_codes;
  auto send = [&](const Bytes& request) {
    const Bytes reply = exchange(request).reply;
    if (reply.size() < kRifaHeaderSize) {
      ADD_FAILURE() << "no reply to " << hex32(decode_header(request.data()).major);
      return Bytes(kResultBlockSize);
    }
    // The daemon writes the header and the block in two calls.
    streams.push_back({{true, request}, {false, Bytes(reply.begin(), reply.begin() + kRifaHeaderSize)}});
    if (reply.size() > kRifaHeaderSize) streams.back().push_back({false, Bytes(reply.begin() + kRifaHeaderSize, reply.end())});
    expected.push_back(request_row(request));
    expected.push_back(reply_row(reply));
    reply_codes.insert(decode_header(reply.data()).minor);
    return Bytes(reply.begin() + kRifaHeaderSize, reply.end());
  };
  auto with_block = [&](uint32_t major, uint32_t minor) {
    return rifa_request(major, minor, block_request(camera.port(), "viewer", secret));
  };
  const Bytes registered = send(with_block(RIFA_CMD_CAMERA_SETTING, 0));
  send(rifa_request(RIFA_CMD_NET_CODEC, 0, registered));
  send(rifa_request(RIFA_CMD_NET_CODEC, RIFA_CMD_NET_CODEC, registered));
  send(with_block(RIFA_CMD_STREAM_INFO, 0));
  const int32_t values[] = {2, 9, 3, 1, 4, 1};  // direction, zoom, the preset numbers, the user mode
  for (const CommandInfo& command : kCommands) {
    if (command.sends_block) continue;
    Bytes payload = camera_request(camera.port(), "viewer", secret);
    for (size_t i = 0; i < std::size(kOwnFields); ++i)
      if (kOwnFields[i].major == command.major) put_be32s(payload.data() + kOwnFields[i].field.offset, values[i]);
    send(rifa_request(command.major, 0, payload));
  }
  send(rifa_request(0x0b060002, 0, camera_request(camera.port(), "viewer", secret)));
  camera.stop();  // the failure codes
  send(with_block(RIFA_CMD_CAMERA_SETTING, 0));
  send(with_block(RIFA_CMD_NET_CODEC, 0));
  for (uint32_t code : {RIFA_RPL_RESULT, RIFA_RPL_SETTING_OK, RIFA_RPL_SETTING_FAIL, RIFA_RPL_CODEC_FAIL})
    EXPECT_EQ(1u, reply_codes.count(code)) << "no reply with " << kNames.at(code);

  TempDir dir;
  const std::string capture = write_capture(dir, streams);
  std::vector<std::string> fields = {"_ws.col.Info",       "rifa.size",          "rifa.major",
                                     "rifa.minor",         "rifa.reply_code",    "rifa.ptz_direction",
                                     "rifa.ptz_zoom",      "rifa.preset_number", "rifa.user_mode"};
  for (size_t i = 0; i < vantelctl::kBlockFieldCount; ++i) fields.push_back(std::string("rifa.") + vantelctl::kBlockFields[i].name);
  std::vector<Row> decoded;
  for (const Row& row : field_rows(dir, capture, true, fields))
    if (!row.at("rifa.size").empty()) decoded.push_back(row);  // else a segment of a message still to come
  ASSERT_EQ(expected.size(), decoded.size());
  for (size_t m = 0; m < expected.size(); ++m)
    for (const std::string& field : fields)
      EXPECT_EQ(expected[m][field], decoded[m][field]) << field << " of " << expected[m]["_ws.col.Info"];
  EXPECT_EQ(std::string::npos, tshark(dir, "-V -r " + capture).find(secret));
}

TEST(WiresharkDissector, MalformedStreamsDecodeWithoutLuaErrors) {
  auto cut = [](const Bytes& bytes, size_t from, size_t to) {
    return Bytes(bytes.begin() + from, bytes.begin() + std::min(to, bytes.size()));
  };
  auto cat = [](Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  };
  // The command-port fuzzer's seeds: each command with a zero payload and
  // its major as minor, all in one segment.
  Bytes seeds;
  std::string majors;
  for (const CommandInfo& command : kCommands) {
    seeds = cat(seeds, rifa_request(command.major, command.major, Bytes(command.sends_block ? 480 : 84)));
    majors += (majors.empty() ? "" : ",") + hex32(command.major);
  }
  const Bytes query = rifa_request(RIFA_CMD_STREAM_INFO, 0, block_request(9, "u", "p"));
  const Bytes answer = rifa_request(RIFA_CMD_STREAM_INFO, RIFA_RPL_RESULT, Bytes(kResultBlockSize));
  Bytes lower_case = rifa_request(RIFA_CMD_PTZ_STOP, 0, {});
  std::memcpy(lower_case.data(), "rifa", 4);
  std::vector<Stream> streams = {
      {{true, seeds}},
      {{true, cut(query, 0, 7)}, {true, cut(query, 7, 16)}, {true, cut(query, 16, 200)}, {true, cut(query, 200, 999)},
       {false, cut(answer, 0, 5)}, {false, cut(answer, 5, 999)}},
      {{true, cat(lower_case, query)}},
      {{true, rifa_request(RIFA_CMD_STREAM_INFO, 0, camera_request(9, "u", "p"))}},
      {{true, rifa_request(RIFA_CMD_PTZ_MOVE, 0, Bytes(1100, 7), 5000)}},
      {{true, rifa_request(RIFA_CMD_PTZ_MOVE, 0, Bytes(30, 1), 84)}},
      {{true, rifa_request(RIFA_CMD_PTZ_STOP, 0, {}, -5)}, {false, rifa_request(RIFA_CMD_PTZ_STOP, 0, Bytes(7), 480)}},
  };
  // Garbage, half of it behind a RIFA magic with sizes around the limits.
  uint32_t state = 1997;
  auto next = [&state] { return (state = state * 1103515245u + 12345u) >> 8; };
  const int32_t sizes[] = {0, 1, -1, 16, 84, 479, 480, 481, 1024, 1025, INT32_MAX, INT32_MIN};
  for (int s = 0; s < 8; ++s) {
    Stream stream;
    for (int k = 0; k < 30; ++k) {
      Bytes bytes(1 + next() % 700);
      for (uint8_t& b : bytes) b = static_cast<uint8_t>(next());
      if (next() % 2 && bytes.size() >= 16) {
        bytes = cat(rifa_request(kCommands[next() % kCommandCount].major, next(), {}, sizes[next() % 12]), cut(bytes, 16, 999));
      }
      stream.push_back({next() % 3 != 0, bytes});
    }
    streams.push_back(stream);
  }
  TempDir dir;
  const std::string capture = write_capture(dir, streams);
  // Frames cut at a capture's snapshot length: inside the header, after it.
  for (int snaplen : {62, 70}) {
    const std::string cut_capture = capture + ".cut" + std::to_string(snaplen);
    ASSERT_EQ(0, sh(words("editcap -s", snaplen, capture, cut_capture)));
    tshark(dir, "-V -r " + cut_capture);
  }
  std::map<bool, std::map<int, std::string>> seen;  // reassembled or not -> stream -> all it decoded
  for (bool reassemble : {true, false}) {
    tshark(dir, std::string("-V -o tcp.desegment_tcp_streams:") + (reassemble ? "TRUE" : "FALSE") + " -r " + capture);
    for (Row row : field_rows(dir, capture, reassemble, {"tcp.stream", "rifa.major", "rifa.camera_port", "_ws.expert.message"})) {
      const std::string decoded = words(row["rifa.major"], row["rifa.camera_port"], row["_ws.expert.message"]);
      if (decoded != "  ") seen[reassemble][std::stoi(row["tcp.stream"])] += decoded + "\n";
    }
  }
  const auto has = [&](bool reassemble, int stream, const std::string& text) {
    return seen[reassemble][stream].find(text) != std::string::npos;
  };
  EXPECT_TRUE(has(true, 0, majors + " "));
  EXPECT_EQ("0x0b060004 9 \n0x0b060004 0 \n", seen[true][1]) << "reassembled across segments";
  EXPECT_TRUE(has(true, 2, "Not a RIFA header") && has(true, 2, "0x0b060004 9 "));
  EXPECT_TRUE(has(true, 3, "Payload of 84 bytes, the fields need 480"));
  EXPECT_TRUE(has(true, 4, "Size 5000 is over the 1024-byte payload buffer"));
  EXPECT_TRUE(has(false, 5, "Payload cut short: 30 of 84 bytes"));
  EXPECT_TRUE(has(true, 6, "Request without payload") && has(false, 6, "Payload cut short: 7 of 480 bytes"));
}

}  // namespace
}  // namespace vantel_test
