// Cameras that speak only HTTPS, through the real daemon: reached behind a
// redirect and on a port of their own, remembered, their certificate pinned
// at first use and any other refused before a credential leaves, across
// restarts, until the recorder registers the camera again; and redirects
// that must not be followed.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "harness.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;
using vantel::RIFA_CMD_CAMERA_SETTING;
using vantel::RIFA_CMD_STREAM_INFO;

// The model a stream query reported: "" when the command failed.
std::string query(const Camsim& camera) {
  Block reply(send_block(RIFA_CMD_STREAM_INFO, 0, Block(camera.port())).block);
  return reply.view().text(vantel::block::kModel, vantel::block::kNameFieldSize);
}

size_t count_of(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

TEST(Https, ReachedOnItsOwnPortAndBehindARedirectThenStraightOverTls) {
  for (const json& config : {json{{"tls", true}}, json{{"redirect_https", true}}}) {
    Camsim camera(config);
    Daemon daemon;
    for (int i = 0; i < 3; ++i) EXPECT_EQ("KPT-2120", query(camera)) << config << " " << i;
    const std::string log = daemon.log();
    EXPECT_EQ(1u, count_of(log, config.contains("tls") ? "answers no plain HTTP: trying TLS" : "redirects to https://"))
        << log;
    EXPECT_EQ(1u, count_of(log, "shows certificate SHA-256 ")) << log;
    // Found out once: later commands go straight to TLS, so the camera saw
    // one plain request in all (refused handshake or redirect).
    size_t redirects = 0;
    for (const json& request : camera.record()) redirects += request.value("answer", "").rfind("redirect", 0) == 0;
    EXPECT_EQ(config.contains("tls") ? 0u : 1u, redirects);
    EXPECT_EQ(config.contains("tls") ? 1u : 0u, camera.events("tls_failed").size());
    // One connection per command, and one full handshake in all: the
    // commands after the first resume its session.
    const std::vector<json> handshakes = camera.events("tls");
    ASSERT_EQ(3u, handshakes.size()) << "one connection per command";
    for (size_t i = 0; i < handshakes.size(); ++i) EXPECT_EQ(i > 0, handshakes[i].value("resumed", false)) << i;
  }
}

TEST(Https, AnotherCertificateIsRefusedBeforeAnyCredentialAcrossRestartsUntilRegistered) {
  Camsim camera(json{{"tls", true}});
  const std::string env = "VANTEL_STATE_DIR=" + state_dir();
  {
    Daemon daemon(VANTEL_BIN, {env});
    EXPECT_EQ("KPT-2120", query(camera));
  }
  camera.signal(SIGUSR1);  // the camera (or a man in the middle) shows a new one
  for (int i = 0; i < 100 && camera.log().find("new TLS certificate") == std::string::npos; ++i) usleep(50000);
  const size_t requests = camera.record().size();
  Daemon daemon(VANTEL_BIN, {env});
  EXPECT_EQ("", query(camera));
  EXPECT_EQ(requests, camera.record().size()) << "a request reached the camera";
  EXPECT_NE(std::string::npos, daemon.log().find(", not the pinned ")) << daemon.log();
  EXPECT_NE(std::string::npos, daemon.log().find("GetCapabilities error (")) << daemon.log();
  // The owner who replaced the camera registers it again.
  const Reply registered = send_block(RIFA_CMD_CAMERA_SETTING, 0, Block(camera.port()));
  EXPECT_EQ(vantel::RIFA_RPL_SETTING_OK, registered.minor) << daemon.log();
  EXPECT_EQ("KPT-2120", query(camera));
}

TEST(Https, RedirectsElsewhereAreNotFollowedAndNothingIsRemembered) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"http://{host}:{tls_port}/", "not to HTTPS"},
      {"https://10.9.9.9:{tls_port}/", "to another host"},
      {"https://{host}:{port}/", ""},  // back to the plain port: followed once, never again
      {"https://{host}:99999/", "bad port"},
      {std::string(300, 'x'), "Location too long"},
      {"https://{host} x/", "Location not an address"},
      {"", "no Location"}};
  for (const auto& [location, why] : cases) {
    Camsim camera(json{{"redirect_https", true}, {"redirect_location", location}});
    Daemon daemon;
    EXPECT_EQ("", query(camera)) << location;
    EXPECT_EQ("", query(camera)) << location;
    const std::string log = daemon.log();
    if (!why.empty()) {
      EXPECT_EQ(2u, count_of(log, "not followed (" + why + ")")) << log;
    }
    EXPECT_EQ(std::string::npos, log.find("shows certificate")) << log;
  }
}

}  // namespace
}  // namespace vantel_test
