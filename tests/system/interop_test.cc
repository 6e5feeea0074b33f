// vantel against the shapes real camera firmware sends: what goes out must
// not depend on what came in last (beyond the header echo the toolkit does),
// and every firmware family must get its commands done.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "harness.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

// Runs vantelctl with the camera options for `camera_port`; its exit status.
int vantelctl(const std::vector<std::string>& command, int camera_port) {
  std::vector<std::string> argv = {VANTELCTL_BIN};
  argv.insert(argv.end(), command.begin(), command.end());
  for (const char* option : {"--camera", "127.0.0.1", "--user", "admin", "--password", "admin", "--camera-port"})
    argv.push_back(option);
  argv.push_back(std::to_string(camera_port));
  ProcessGroup ctl;
  ctl.start(argv, temp_path("vantelctl.log"));
  return ctl.wait_leader(30000);
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
  for (const auto& command : commands) EXPECT_EQ(0, vantelctl(command, camera.port())) << command[0];

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

}  // namespace
}  // namespace vantel_test
