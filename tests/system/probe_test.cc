// vantelctl probe against a camera under each condition of the field, then
// every command through the daemon: the probe names the condition, costs a
// wrong password one refused login, and its verdict is what the daemon
// then did, command by command, with the exit status to match.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "harness.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

// vantelctl with `args`, then the camera's address and credentials; what
// it printed (JSON), and its exit status in `status`.
json vantelctl(std::vector<std::string> args, const Camsim& camera, const std::string& password, int& status) {
  args.insert(args.begin(), VANTELCTL_BIN);
  for (const char* option : {"--json", "--camera", "127.0.0.1", "--user", "admin", "--password"})
    args.push_back(option);
  args.push_back(password);
  args.push_back("--camera-port");
  args.push_back(std::to_string(camera.port()));
  const std::string out = temp_path("vantelctl.json");
  ProcessGroup ctl;
  ctl.start(args, out);
  status = ctl.wait_leader(60000);
  return json::parse(read_text(out), nullptr, false);
}

// Each command, and how the daemon's doing shows: the reply's code, or the
// camera call that is the command's purpose, answered.
struct Command {
  std::vector<std::string> args;
  const char* done;  // a reply code, "block" (a block read) or a camera call
};
const char kBlock[] = "@BLOCK@";
// The order spares the verdict's camera: what only reads or comes back to
// where it was first, registration and the codec changes last.
const std::vector<Command> kCommands = {
    {{"stream-info"}, "block"},
    {{"multiuser", "--mode", "1"}, "SetVideoEncoderConfiguration"},
    {{"ptz-move", "--direction", "2", "--zoom", "9"}, "ContinuousMove"},
    {{"ptz-stop"}, "Stop"},
    {{"ptz-preset", "--preset", "0"}, "SetPreset"},
    {{"ptz-goto", "--preset", "0"}, "GotoPreset"},
    {{"ptz-remove", "--preset", "1"}, "RemovePreset"},
    {{"reboot"}, "SystemReboot"},
    {{"camera-setting", "--field", "second_codec=2", "--save-block", kBlock}, "RIFA_RPL_SETTING_OK"},
    {{"net-codec", "--block-file", kBlock}, "RIFA_RPL_RESULT"},
    {{"net-codec", "--explicit", "--block-file", kBlock}, "RIFA_RPL_RESULT"}};

bool done(const Command& command, const json& printed, const std::vector<json>& calls) {
  const std::string how = command.done;
  if (!printed.is_object() || !printed.contains("reply")) return false;
  if (how == "block") {
    return printed.contains("block") && printed["block"]["status"] != 3 && printed["block"]["model"] != "";
  }
  if (how.rfind("RIFA_", 0) == 0) return printed["reply"]["minor_name"] == how;
  for (const json& call : calls)
    if (call.value("op", "") == how && call.value("answer", "") == "ok") return true;
  return false;
}

int refused_logins(const std::vector<json>& calls) {
  int refused = 0;
  for (const json& call : calls) refused += call.value("auth", "") == "bad" || call.value("http_auth", "") == "refused";
  return refused;
}

using Names = std::vector<std::string>;
const Names kAll = {"stream-info", "multiuser",  "ptz-move",       "ptz-stop",  "ptz-preset",          "ptz-goto",
                    "ptz-remove",  "reboot",     "camera-setting", "net-codec", "net-codec --explicit"};

struct Row {
  const char* name;
  json camera;
  const char* profile;  // the built-in camera
  const char* named;    // in the probe's findings
  Names fail;           // in the order of kCommands
  int exit_status;
  int refused;  // logins the probe cost
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class ProbeVerdict : public ::testing::TestWithParam<Row> {};

TEST_P(ProbeVerdict, NamesTheConditionAndForetellsTheDaemon) {
  const Row& row = GetParam();
  // Like many cameras, the preset list and the ver10 Stop are left open; the
  // second stream is H.264, so that user mode has its GOP to set.
  json config = {{"auth_exempt", {"GetPresets", "Stop"}},
                 {"profiles",
                  {json::object(),
                   {{"encoder", {{"encoding", "H264"}, {"gov", 10}, {"h264_profile", "Main"},
                                 {"options", {{"quality_range", {1, 100}}}}}}}}}};
  config.merge_patch(row.camera);
  Camsim camera(config, row.profile);
  const std::string password = "admin";  // the row's camera may know another
  int status = -1;
  const json probed = vantelctl({"probe"}, camera, password, status);
  ASSERT_TRUE(probed.is_object()) << probed;
  EXPECT_EQ(row.exit_status, status) << probed.dump(1);
  EXPECT_EQ(row.exit_status, probed["exit_status"]);
  std::string texts;
  for (const json& finding : probed["findings"]) texts += finding["text"].get<std::string>() + "\n";
  texts += probed["verdict"]["text"].get<std::string>() + "\n";
  EXPECT_NE(std::string::npos, texts.find(row.named)) << texts;
  EXPECT_EQ(row.refused, refused_logins(camera.record())) << texts;

  Names foretold;
  for (const json& fail : probed["verdict"]["fail"]) foretold.push_back(fail["command"]);
  Daemon daemon;
  const std::string block = temp_path("block");
  Names failed;
  for (const Command& command : kCommands) {
    std::vector<std::string> args = command.args;
    for (std::string& arg : args)
      if (arg == kBlock) arg = block;
    const size_t seen = camera.record().size();
    int ignored = 0;
    const json printed = vantelctl(args, camera, password, ignored);
    const std::vector<json> calls = camera.record();
    if (!done(command, printed, std::vector<json>(calls.begin() + static_cast<long>(seen), calls.end()))) {
      failed.push_back(args[0] == "net-codec" && args[1] == "--explicit" ? "net-codec --explicit" : args[0]);
    }
  }
  EXPECT_EQ(row.fail, failed) << texts;
  std::sort(foretold.begin(), foretold.end());
  std::sort(failed.begin(), failed.end());
  EXPECT_EQ(foretold, failed) << texts << daemon.log();
}

const Row kRows[] = {
    {"plain", json::object(), "default", ", plain HTTP, device service http://127.0.0.1:", {}, 0, 0},
    // Tokens go out on the camera's clock from the first: no login refused.
    {"clockAhead", {{"clock_offset", 3600}}, "default", "camera +3600 s from ours", {}, 0, 0},
    {"httpDigest", {{"http_digest", true}}, "default", "HTTP Digest asked for: answered", {}, 0, 0},
    {"natAddress", {{"advertise", "127.0.0.2:9"}}, "default",
     "media at http://127.0.0.2:9/onvif/media_service: not the camera's address", {}, 0, 0},
    {"h265", {{"encoding_main", "H265"}}, "default", "MainStream (token MainProfile): H.265 1920x1080", {}, 0, 0},
    {"replayProtection", {{"replay_protection", true}}, "default",
     "GetPresets on the previous request's header refused: sent again with a fresh token", {}, 0, 0},
    {"https", {{"tls", true}}, "default", "answers no plain HTTP: TLS on the same port, certificate SHA-256 ", {}, 0,
     0},
    {"redirect", {{"redirect_https", true}}, "default", ": followed, TLS, certificate SHA-256 ", {}, 0, 0},
    {"soap11", {{"soap11", true}}, "default", "answers in SOAP 1.1", {}, 0, 0},
    {"wrongPassword", {{"users", {{"admin", "other"}}}}, "default", "refused: ter:NotAuthorized: Sender not authorized",
     kAll, 2, 1},
    {"wrongPasswordDigestClockAhead", {{"users", {{"admin", "other"}}}, {"http_digest", true}, {"clock_offset", -7200}},
     "default", "refused: HTTP 401", kAll, 2, 1},
    // No PTZ, and the built-in second stream in JPEG.
    {"noPtz", {{"profiles", {json::object(), json::object()}}}, "noptz", "ptz: none",
     {"multiuser", "ptz-move", "ptz-stop", "ptz-preset", "ptz-goto", "ptz-remove"}, 1, 0},
    // One JPEG profile: no registration, no second stream to query, no H.264
    // for the first stream.
    {"jpegOnly", {{"profiles", {json::object()}}}, "jpegonly", "JPEG 640x480",
     {"stream-info", "multiuser", "ptz-move", "ptz-stop", "ptz-preset", "ptz-goto", "ptz-remove", "camera-setting",
      "net-codec"}, 1, 0},
    // Preset tokens too long to name, and not numbers to remove by.
    {"uuidPresets", {{"values", {"uuid_tokens"}}}, "default", "; 3 presets", {"ptz-preset", "ptz-goto", "ptz-remove"},
     1, 0},
};

INSTANTIATE_TEST_SUITE_P(Conditions, ProbeVerdict, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace vantel_test
