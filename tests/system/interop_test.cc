// vantel against the shapes real camera firmware sends: what goes out must
// not depend on what came in last (beyond the header echo the toolkit does),
// and every firmware family must get its commands done.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "harness.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

// Runs `vantelctl --json COMMAND` against the camera on `camera_port`; what
// it printed, or null when it failed.
json vantelctl(const std::vector<std::string>& command, int camera_port) {
  std::vector<std::string> argv = {VANTELCTL_BIN, "--json"};
  argv.insert(argv.end(), command.begin(), command.end());
  for (const char* option : {"--camera", "127.0.0.1", "--user", "admin", "--password", "admin", "--camera-port"})
    argv.push_back(option);
  argv.push_back(std::to_string(camera_port));
  const std::string out_path = temp_path("vantelctl.json");
  ProcessGroup ctl;
  ctl.start(argv, out_path);
  if (ctl.wait_leader(60000) != 0) return nullptr;
  return json::parse(read_text(out_path), nullptr, false);
}

// A request body without what changes every time: nonce, creation time and
// the digest made from them.
std::string normalised(std::string body) {
  static const std::regex nonce("(<wsse:Nonce[^>]*>)[^<]*(</wsse:Nonce>)");
  static const std::regex created("(<wsu:Created>)[^<]*(</wsu:Created>)");
  static const std::regex digest("(<wsse:Password[^>]*>)[^<]*(</wsse:Password>)");
  body = std::regex_replace(body, nonce, "$1NONCE$2");
  body = std::regex_replace(body, created, "$1CREATED$2");
  return std::regex_replace(body, digest, "$1DIGEST$2");
}

// Every command kind once against a camera that leaves GetPresets and Stop
// open. data/requests_golden.json holds the bodies the daemon sent for this
// sequence before its SOAP header learnt WS-Addressing, with the envelope's
// start tag (the same in every request) kept once.
TEST(Interop, RequestsAreTheBytesSentBeforeTheHeaderKnewWsAddressing) {
  std::ifstream in(std::string(VANTEL_SOURCE_DIR) + "/tests/system/data/requests_golden.json");
  const json golden = json::parse(in);
  Daemon daemon;
  Camsim camera(json{{"auth_exempt", {"GetPresets", "Stop"}},
                     {"profiles", {json::object(), {{"encoder", {{"options", {{"quality_range", {1, 100}}}}}}}}}});
  const std::vector<std::vector<std::string>> commands = {
      {"stream-info"}, {"camera-setting", "--field", "second_codec=2"}, {"net-codec"}, {"net-codec", "--explicit"},
      {"ptz-move", "--direction", "2", "--zoom", "9"}, {"ptz-stop"}, {"ptz-preset", "--preset", "1"},
      {"ptz-goto", "--preset", "1"}, {"ptz-remove", "--preset", "1"}, {"reboot"}, {"multiuser", "--mode", "1"}};
  for (const auto& command : commands) EXPECT_FALSE(vantelctl(command, camera.port()).is_null()) << command[0];

  const std::vector<json> sent = camera.record();
  const json& want = golden["requests"];
  ASSERT_EQ(want.size(), sent.size());
  const std::string envelope = golden["envelope"];
  for (size_t i = 0; i < sent.size(); ++i) {
    const std::string body = normalised(sent[i]["body"]);
    SCOPED_TRACE("request " + std::to_string(i) + " " + sent[i].value("op", ""));
    ASSERT_EQ(envelope, body.substr(0, envelope.size()));
    EXPECT_EQ(want[i]["body"].get<std::string>(), body.substr(envelope.size()));
  }
}

// What one command did, as the interop table shows it: the reply (the block
// commands' reply code and block status, "echo" for a bare header) and the
// last request the camera received for it, with the preset token it named.
std::string run_command(const std::vector<std::string>& command, const Camsim& camera, size_t& seen) {
  const json printed = vantelctl(command, camera.port());
  std::string cell = "no reply";
  if (printed.contains("block")) {
    cell = printed["reply"]["minor_name"].get<std::string>().substr(sizeof "RIFA_RPL_" - 1) + "/" +
           std::to_string(printed["block"]["status"].get<int>());
  } else if (printed.contains("reply")) {
    const json& reply = printed["reply"];
    cell = reply["size"] == 0 && reply["major"] == reply["minor"] ? "echo" : reply.dump();
  }
  const std::vector<json> record = camera.record();
  const json last = record.size() > seen ? record.back() : json{{"op", "nothing"}};
  seen = record.size();
  cell += " " + last.value("op", "?");
  if (last.contains("values") && last["values"].contains("PresetToken"))
    cell += "(" + last["values"]["PresetToken"].get<std::string>() + ")";
  return cell;
}

// The local names of a request's SOAP header blocks, e.g. "ReplyTo To Security".
std::string header_blocks(const std::string& body) {
  static const std::regex header("<[A-Za-z0-9-]+:Header>(.*)</[A-Za-z0-9-]+:Header>");
  static const std::regex block("<[A-Za-z0-9]+:([A-Za-z]+)[ >]");
  std::smatch found;
  std::string names;
  if (!std::regex_search(body, found, header)) return "none";
  std::string inner = found[1];
  // Only the top level: skip each block's content by its closing tag.
  while (std::regex_search(inner, found, block)) {
    const std::string name = found[1];
    names += (names.empty() ? "" : " ") + name;
    const size_t close = inner.find(":" + name + ">", found.position(0) + found.length(0));
    inner = close == std::string::npos ? "" : inner.substr(close);
  }
  return names;
}

// Registration's block is the codec change's request, as the recorder does it.
const char kBlock[] = "@BLOCK@";
const std::vector<std::vector<std::string>> kCommands = {
    {"stream-info"},
    {"camera-setting", "--field", "second_codec=2", "--save-block", kBlock},
    {"net-codec", "--block-file", kBlock},
    {"net-codec", "--explicit", "--block-file", kBlock},
    {"ptz-move", "--direction", "2", "--zoom", "9"},
    {"ptz-stop"},
    {"ptz-preset", "--preset", "1"},
    {"ptz-goto", "--preset", "0"},
    {"ptz-remove", "--preset", "1"},
    {"reboot"},
    {"multiuser", "--mode", "1"}};
const size_t kGoto = 7;

using Cells = std::vector<std::string>;
const Cells kDone = {"RESULT/0 GetStreamUri",
                     "SETTING_OK/1 SetVideoEncoderConfiguration",
                     "RESULT/1 GetStreamUri",
                     "RESULT/1 GetStreamUri",
                     "echo Stop",
                     "echo Stop",
                     "echo SetPreset(2)",
                     "echo GotoPreset(1)",
                     "echo RemovePreset(1)",
                     "echo SystemReboot",
                     "echo SetVideoEncoderConfiguration"};
// The camera refused or garbled its first answer: every command ends after
// GetCapabilities with its failure reply.
const Cells kRefused = {"RESULT/0 GetCapabilities",  "SETTING_FAIL/3 GetCapabilities", "CODEC_FAIL/3 GetCapabilities",
                        "CODEC_FAIL/3 GetCapabilities", "echo GetCapabilities",        "echo GetCapabilities",
                        "echo GetCapabilities",      "echo GetCapabilities",          "echo GetCapabilities",
                        "echo GetCapabilities",      "echo GetCapabilities"};

Cells with(Cells cells, size_t at, const std::string& cell) {
  cells[at] = cell;
  return cells;
}
Cells with_presets(const std::string& set, const std::string& go) { return with(with(kDone, 6, set), kGoto, go); }

struct Row {
  const char* name;
  json camera;
  Cells cells;
  const char* log;          // a line the daemon printed, or ""
  const char* goto_headers;  // header blocks of the goto-preset's four requests, or ""
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class InteropTable : public ::testing::TestWithParam<Row> {};

TEST_P(InteropTable, EveryCommandAgainstTheFirmware) {
  const Row& row = GetParam();
  // Like many cameras, these leave the preset list and the ver10 Stop open:
  // both go out on whatever header the previous answer left.
  json config = {{"auth_exempt", {"GetPresets", "Stop"}},
                 {"profiles", {json::object(), {{"encoder", {{"options", {{"quality_range", {1, 100}}}}}}}}}};
  config.merge_patch(row.camera);
  Daemon daemon;
  Camsim camera(config);
  const std::string block = temp_path("block");
  size_t seen = 0, goto_from = 0, goto_to = 0;
  Cells cells;
  for (size_t i = 0; i < kCommands.size(); ++i) {
    std::vector<std::string> command = kCommands[i];
    for (std::string& arg : command)
      if (arg == kBlock) arg = block;
    if (i == kGoto) goto_from = seen;
    cells.push_back(run_command(command, camera, seen));
    if (i == kGoto) goto_to = seen;
  }
  EXPECT_EQ(row.cells, cells);
  if (*row.log) {
    EXPECT_NE(std::string::npos, daemon.log().find(row.log)) << daemon.log();
  }
  if (*row.goto_headers) {
    const std::vector<json> record = camera.record();
    std::string headers;
    for (size_t i = goto_from; i < goto_to; ++i)
      headers += std::string(i > goto_from ? " / " : "") + header_blocks(record[i]["body"]);
    EXPECT_EQ(row.goto_headers, headers);
  }
  // Whatever the camera did, the daemon serves the next command.
  size_t after = camera.record().size();
  EXPECT_EQ(row.cells[0], run_command(kCommands[0], camera, after));
}

// Each row is one firmware family or one habit of real firmware; the table
// in the closing notes of the interop work is this one.
const Row kRows[] = {
    {"plain", json::object(), kDone, "", "Security / Security / none / Security"},
    {"gsoap", {{"style", "gsoap"}}, kDone, "",
     "Security / ReplyTo To Action Security / ReplyTo To Action / Security"},
    {"gsoap2004", {{"style", "gsoap"}, {"wsa", "2004"}, {"framing", {"http10"}}}, kDone, "", ""},
    {"gsoapChunked", {{"style", "gsoap"}, {"framing", {"chunked", "action"}}}, kDone, "", ""},
    {"wcf", {{"style", "wcf"}, {"framing", {"chunked"}}}, kDone, "", ""},
    {"numbered", {{"style", "numbered"}, {"framing", {"action"}}}, with_presets("echo SetPreset(002)", "echo GotoPreset(001)"),
     "", ""},
    {"enotation", {{"values", {"enotation"}}}, kDone, "", ""},
    // Positions count in the camera's order, whatever it is.
    {"descending", {{"values", {"descending"}}}, with_presets("echo SetPreset(2)", "echo GotoPreset(3)"), "", ""},
    // 36 characters do not fit the 20-byte preset token: no preset request.
    {"uuidTokens", {{"values", {"uuid_tokens"}}}, with_presets("echo GetPresets", "echo GetPresets"), "", ""},
    {"accented", {{"values", {"accented"}}}, kDone, "", ""},
    {"presets255", {{"values", {"presets255"}}}, kDone, "", ""},
    {"presets255Descending", {{"values", {"presets255", "descending"}}},
     with_presets("echo SetPreset(254)", "echo GotoPreset(255)"), "", ""},
    {"resolutions25", {{"values", {"resolutions25"}}}, kDone, "", ""},
    {"badDigest", {{"users", {{"admin", "other"}}}}, kRefused, "GetCapabilities error (12)", ""},
    {"gsoapBadDigest", {{"style", "gsoap"}, {"users", {{"admin", "other"}}}}, kRefused, "GetCapabilities error (1)",
     ""},
    {"empty200", {{"faults", {{{"op", "*"}, {"shape", "empty"}}}}}, kRefused, "GetCapabilities error (200)", ""},
    {"soap11", {{"faults", {{{"op", "*"}, {"shape", "soap11"}}}}}, kRefused, "GetCapabilities error (3)", ""},
    {"html401", {{"faults", {{{"op", "*"}, {"shape", "html401"}}}}}, kRefused, "GetCapabilities error (401)", ""},
};

INSTANTIATE_TEST_SUITE_P(Firmware, InteropTable, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

// A bench camera turned into a regression test: `camsim record` between the
// daemon and the camera, then `camsim --replay` of what it stored. Here the
// bench camera is camsim itself, in the gsoap style so that the capture holds
// the WS-Addressing blocks a real one sends.
TEST(Interop, CaptureReplaysToTheSameReplies) {
  Daemon daemon;
  const std::string capture = temp_path("capture");
  const std::vector<std::vector<std::string>> commands = {
      {"stream-info"}, {"camera-setting", "--field", "second_codec=2"}, {"ptz-goto", "--preset", "1"}};
  std::vector<json> live, replayed;
  std::vector<std::string> live_ops;
  {
    Camsim camera(json{{"style", "gsoap"}, {"auth_exempt", {"GetPresets", "Stop"}}});
    Camsim recorder(Camsim::Command{
        {"record", "--upstream", "http://127.0.0.1:" + std::to_string(camera.port()), "--out", capture, "--quiet"}});
    const int port = recorder.port();
    for (const auto& command : commands) live.push_back(vantelctl(command, port));
    live_ops = camera.ops();
  }
  Camsim replay(json{{"replay", capture}, {"auth_exempt", {"GetPresets", "Stop"}}});
  for (const auto& command : commands) replayed.push_back(vantelctl(command, replay.port()));
  for (size_t i = 0; i < commands.size(); ++i) {
    ASSERT_TRUE(live[i].contains("reply")) << commands[i][0];
    // The block names the camera's port, which is the recorder's or the replay's.
    for (json* printed : {&live[i], &replayed[i]})
      if (printed->contains("block")) (*printed)["block"].erase("camera_port");
    EXPECT_EQ(live[i], replayed[i]) << commands[i][0];
  }
  EXPECT_EQ(live_ops, replay.ops());
  EXPECT_EQ("Kestrel Optics", live[0]["block"].value("manufacturer", ""));
  // The capture holds no credentials, nonces or digests.
  std::string stored;
  for (const auto& file : std::filesystem::directory_iterator(capture)) stored += read_text(file.path());
  EXPECT_NE(std::string::npos, stored.find("GetProfilesResponse"));
  for (const char* secret : {"admin", "Nonce", "PasswordDigest", "UsernameToken"})
    EXPECT_EQ(std::string::npos, stored.find(secret)) << secret;
}

}  // namespace
}  // namespace vantel_test
