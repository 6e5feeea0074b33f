// vantel against the shapes real camera firmware sends: every firmware
// family must get its commands done, and a camera that refuses or garbles
// its first answer must end each command in its failure reply.
#include <gtest/gtest.h>

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

// What one command did, as the interop table shows it: the reply (the block
// commands' reply code and block status, "echo" for a bare header) and the
// last request the camera received for it, with the preset token it named.
// `refused` counts the requests the camera refused for their credentials:
// the logins a camera counts towards locking the recorder out.
std::string run_command(const std::vector<std::string>& command, const Camsim& camera, size_t& seen,
                        int& refused) {
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
  refused = 0;
  for (size_t i = seen; i < record.size(); ++i)
    refused += record[i].value("auth", "") == "bad" || record[i].value("http_auth", "") == "refused";
  seen = record.size();
  cell += " " + last.value("op", "?");
  if (last.contains("values") && last["values"].contains("PresetToken"))
    cell += "(" + last["values"]["PresetToken"].get<std::string>() + ")";
  return cell;
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

using Cells = std::vector<std::string>;
const std::pair<const char*, json> kWrongPassword = {"users", {{"admin", "other"}}};
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
Cells with_presets(const std::string& set, const std::string& go) { return with(with(kDone, 6, set), 7, go); }
// After two refused logins in a row the daemon holds the credentials back:
// from command `from` on, the camera hears nothing.
Cells held_from(size_t from) {
  Cells cells = kRefused;
  for (size_t i = from; i < cells.size(); ++i) cells[i].replace(cells[i].rfind(' ') + 1, std::string::npos, "nothing");
  return cells;
}

struct Row {
  const char* name;
  json camera;
  Cells cells;
  const char* log;  // a line the daemon printed, or ""
  int refused;      // refused logins the whole table cost
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
  size_t seen = 0;
  Cells cells;
  std::vector<int> refused(kCommands.size());
  for (size_t i = 0; i < kCommands.size(); ++i) {
    std::vector<std::string> command = kCommands[i];
    for (std::string& arg : command)
      if (arg == kBlock) arg = block;
    cells.push_back(run_command(command, camera, seen, refused[i]));
  }
  EXPECT_EQ(row.cells, cells);
  int total = 0;
  for (int n : refused) total += n;
  EXPECT_EQ(row.refused, total) << ::testing::PrintToString(refused);
  EXPECT_NE(std::string::npos, daemon.log().find(row.log)) << daemon.log();  // "" is always found
  // Whatever the camera did, the daemon serves the next command (or, its
  // credentials held back, answers it without asking the camera).
  size_t after = camera.record().size();
  int ignored = 0;
  const std::string next = run_command(kCommands[0], camera, after, ignored);
  EXPECT_EQ(row.cells.back().find("nothing") == std::string::npos ? row.cells[0] : "RESULT/0 nothing", next);
}

// Each row is one firmware family or one habit of real firmware; the table
// in the closing notes of the interop work is this one.
const Row kRows[] = {
    {"plain", json::object(), kDone, "", 0},
    {"gsoap", {{"style", "gsoap"}}, kDone, "", 0},
    {"gsoap2004", {{"style", "gsoap"}, {"wsa", "2004"}, {"framing", {"http10"}}}, kDone, "", 0},
    {"gsoapChunked", {{"style", "gsoap"}, {"framing", {"chunked", "action"}}}, kDone, "", 0},
    {"wcf", {{"style", "wcf"}, {"framing", {"chunked"}}}, kDone, "", 0},
    {"numbered", {{"style", "numbered"}, {"framing", {"action"}}},
     with_presets("echo SetPreset(002)", "echo GotoPreset(001)"), "", 0},
    {"enotation", {{"values", {"enotation"}}}, kDone, "", 0},
    // Positions count in the camera's order, whatever it is.
    {"descending", {{"values", {"descending"}}}, with_presets("echo SetPreset(2)", "echo GotoPreset(3)"), "", 0},
    // 36 characters do not fit the 20-byte preset token: no preset request.
    {"uuidTokens", {{"values", {"uuid_tokens"}}}, with_presets("echo GetPresets", "echo GetPresets"), "", 0},
    {"accented", {{"values", {"accented"}}}, kDone, "", 0},
    {"presets255", {{"values", {"presets255"}}}, kDone, "", 0},
    {"presets255Descending", {{"values", {"presets255", "descending"}}},
     with_presets("echo SetPreset(254)", "echo GotoPreset(255)"), "", 0},
    {"resolutions25", {{"values", {"resolutions25"}}}, kDone, "", 0},
    {"badDigest", {{"users", {{"admin", "other"}}}}, held_from(2), "GetCapabilities error (12)", 2},
    {"gsoapBadDigest", {{"style", "gsoap"}, {"users", {{"admin", "other"}}}}, held_from(2), "GetCapabilities error (1)", 2},
    {"empty200", {{"faults", {{{"op", "*"}, {"shape", "empty"}}}}}, kRefused, "GetCapabilities error (200)", 0},
    // SOAP 1.1 answers (text/xml, 1.1 faults) read like their 1.2 twins.
    {"soap11", {{"soap11", true}}, kDone, "", 0},
    {"soap11BadPassword", {{"soap11", true}, {"style", "gsoap"}, kWrongPassword}, held_from(2),
     "GetCapabilities error (12)", 2},
    // A camera's own HTTP/1.1 server: chunked, no Content-Length, the
    // connection kept open.
    {"chunkedKeepAlive", {{"framing", {"keepalive", "chunked"}}, {"keep_alive", true}}, kDone, "", 0},
    // To the daemon a 401 is a refused login, whatever the camera's reasons.
    {"html401", {{"faults", {{{"op", "*"}, {"shape", "html401"}}}}}, held_from(2), "its credentials are held back for ", 0},
    // Cameras in the field, each with the recorder's password and with a
    // wrong one: recovery acts only on a refusal and costs at most one more
    // login, none where the clocks agree; what it learns holds for every
    // later command, and a wrong password costs two refused logins in all.
    {"h265", {{"encoding_main", "H265"}}, kDone, "", 0},
    {"h265BadPassword", {{"encoding_main", "H265"}, kWrongPassword}, held_from(2), "GetCapabilities error (12)", 2},
    {"clockAhead", {{"clock_offset", 3600}}, kDone, " s from ours: sent again on the camera's time", 1},
    // A camera that locks a client out after three refused logins never
    // locks the recorder out, whichever the password.
    {"clockAheadLockout", {{"clock_offset", 3600}, {"lockout", 3}}, kDone, "", 1},
    {"clockAheadLockoutBadPassword", {{"clock_offset", 3600}, {"lockout", 3}, kWrongPassword}, held_from(1),
     "its credentials are held back for ", 2},
    {"clockAheadBadPassword", {{"clock_offset", 3600}, kWrongPassword}, held_from(1), "GetCapabilities error (12)", 2},
    // Never set, and no Date header: the time comes from GetSystemDateAndTime.
    {"clockUnset", {{"clock_offset", -800000000}, {"date_header", false}}, kDone, "[ipcam] camera clock -8", 1},
    {"clockUnsetBadPassword", {{"clock_offset", -800000000}, {"date_header", false}, kWrongPassword}, held_from(1),
     "GetCapabilities error (12)", 2},
    // Nonces that serve three requests each: renewed when stale mid-command.
    {"httpDigest", {{"http_digest", true}, {"http_digest_nonce_uses", 3}}, kDone,
     "[ipcam] camera asks for HTTP Digest: answered", 0},
    // A digest over the body as well: the request's bytes as sent.
    {"httpDigestAuthInt", {{"http_digest", true}, {"http_digest_qop", "auth-int"}}, kDone,
     "[ipcam] camera asks for HTTP Digest: answered", 0},
    {"httpDigestBadPassword", {{"http_digest", true}, kWrongPassword}, held_from(2), "GetCapabilities error (401)", 2},
    // Behind NAT: the services named on another host (loopback, so a
    // regression reaches nothing beyond this machine).
    {"natAddress", {{"advertise", "127.0.0.2:9"}}, kDone,
     "[ipcam] media service at http://127.0.0.2:9/onvif/media_service is not the camera's address", 0},
    {"natAddressBadPassword", {{"advertise", "127.0.0.2:9"}, kWrongPassword}, held_from(2), "GetCapabilities error (12)",
     2},
    {"replayProtection", {{"replay_protection", true}}, kDone, "sent again with a fresh token", 0},
    {"replayProtectionBadPassword", {{"replay_protection", true}, kWrongPassword}, held_from(2),
     "GetCapabilities error (12)", 2},
};

INSTANTIATE_TEST_SUITE_P(Firmware, InteropTable, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace vantel_test
