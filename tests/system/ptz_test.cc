// The five PTZ commands end to end: the ONVIF requests the camera receives
// (operation, service version, which ones carry a fresh token, the values
// that matter), the echo replies and the handlers' lines.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "wire/rifa.h"
#include "harness.h"
#include "stdsoap2.h"

namespace vantel_test {
namespace {

using namespace vantel;
using json = nlohmann::json;

// One command with the two motion words (or the preset number) to the
// camera on `port`; a PTZ reply is the bare echo whatever the handler did.
void send_ptz(uint32_t major, int port, int32_t at72, int32_t at80 = 0) {
  expect_echo(camera_command(major, port, at72, at80));
}

// The requests a camera received since the last call.
struct NewRequests {
  const Camsim& camera;
  size_t seen = 0;
  std::vector<json> operator()() {
    std::vector<json> all = camera.record();
    all.erase(all.begin(), all.begin() + std::min(seen, all.size()));
    seen += all.size();
    return all;
  }
};

// "Op service token" per request, e.g. "Stop tptz1 none".
Lines summary(const std::vector<json>& requests) {
  const std::map<std::string, std::string> services = {{"http://www.onvif.org/ver10/device/wsdl", "tds"},
                                                       {"http://www.onvif.org/ver10/media/wsdl", "trt"},
                                                       {"http://www.onvif.org/ver20/ptz/wsdl", "tptz"},
                                                       {"http://www.onvif.org/ver10/ptz/wsdl", "tptz1"}};
  Lines out;
  for (const json& r : requests) {
    const auto service = services.find(r.value("ns", ""));
    out.push_back(r.value("op", "") + " " + (service == services.end() ? "?" : service->second) + " " +
                  r.value("token", ""));
  }
  return out;
}

Lines opening_and(const Lines& more) {
  Lines all = {"GetCapabilities tds fresh", "GetProfiles trt fresh"};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

// The daemon's lines that start with `prefix`, once `count` of them are there
// (or after five seconds).
Lines log_lines(const Daemon& daemon, const std::string& prefix, size_t count) {
  Lines lines;
  for (int wait = 0; wait < 500 && lines.size() < count; ++wait) {
    if (wait > 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    lines.clear();
    const std::string log = daemon.log();
    // Whole lines only: the one being written may lack its end yet.
    for (size_t at = 0, end; (end = log.find('\n', at)) != std::string::npos; at = end + 1) {
      if (log.compare(at, prefix.size(), prefix) == 0) lines.push_back(log.substr(at, end + 1 - at));
    }
  }
  return lines;
}

void expect_stop_values(const json& stop, const std::string& profile) {
  EXPECT_EQ(json({{"ProfileToken", profile}, {"PanTilt", true}, {"Zoom", true}}), stop["values"]);
}

// A move that reached ContinuousMove on the default camera.
void expect_move(const std::vector<json>& got, float pan, float tilt, float zoom) {
  ASSERT_EQ(opening_and({"GetNode tptz fresh", "ContinuousMove tptz fresh", "Stop tptz fresh"}), summary(got));
  EXPECT_EQ("PTZNodeMain", got[2]["values"]["NodeToken"]);
  const json& v = got[3]["values"];
  EXPECT_EQ("MainProfile", v["ProfileToken"]);
  EXPECT_EQ((std::vector<float>{pan, tilt, zoom}), (std::vector<float>{v["pan"], v["tilt"], v["zoom"]}));
  EXPECT_EQ(false, v["space"]);
  EXPECT_TRUE(v["timeout"].is_null());
  expect_stop_values(got[4], "MainProfile");
}

TEST(Ptz, MoveWalksTheDirectionTableAndTheZoomRampThenStops) {
  Daemon daemon;
  // The default camera; one whose velocity space is narrower than -1..1 (no
  // pan/tilt); one refusing GetNode once; one whose first profile has no PTZ
  // configuration, so no node to ask for. The ramp is the process's, not a
  // camera's.
  Camsim cameras[] = {
      Camsim(),
      Camsim(json{{"ptz_nodes", {{{"velocity_x", {-0.5, 0.5}}, {"velocity_y", {-0.5, 0.5}}}}}}),
      Camsim(json{{"faults", {{{"op", "GetNode"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoEntity"}}}}}),
      Camsim(json{{"profiles", {{{"ptz_node", nullptr}}}}})};
  std::vector<NewRequests> requests;
  for (const Camsim& camera : cameras) requests.push_back(NewRequests{camera});
  enum Sent { kMove, kStopOnly, kNoNode, kStopRefused };
  struct Step {
    int camera;
    int32_t direction, zoom_code;
    Sent sent;
    float pan, tilt, zoom;
  };
  const Step steps[] = {
      // Nothing to move: only the Stop, and the ramp stays where it was.
      {0, 0, 0, kStopOnly, 0, 0, 0},
      // Zoom code 0 from a fresh process walks the ramp down from its
      // middle; 9 and -1 are no direction at all.
      {0, 1, 0, kMove, 0, 1, 0.2f}, {0, 2, 0, kMove, 1, 0, 0.0f}, {0, 3, 0, kMove, 0, -1, -0.2f},
      {0, 4, 0, kMove, -1, 0, -0.5f}, {0, 5, 0, kMove, 1, 1, -0.6f}, {0, 6, 0, kMove, 1, -1, -0.8f},
      {0, 7, 0, kMove, -1, -1, -1.0f}, {0, 8, 0, kMove, -1, 1, -1.0f}, {0, 9, 0, kMove, 0, 0, -1.0f},
      {0, -1, 0, kMove, 0, 0, -1.0f},
      // Zoom in: a new code restarts at 0.2 and climbs to 1.0; then out.
      {0, 0, 9, kMove, 0, 0, 0.2f}, {0, 0, 9, kMove, 0, 0, 0.4f}, {0, 0, 9, kMove, 0, 0, 0.6f},
      {0, 0, 9, kMove, 0, 0, 0.8f}, {0, 0, 9, kMove, 0, 0, 1.0f}, {0, 2, 9, kMove, 1, 0, 1.0f},
      {0, 0, 1, kMove, 0, 0, -0.2f}, {0, 0, 1, kMove, 0, 0, -0.5f}, {0, 0, 0, kStopOnly, 0, 0, 0},
      {0, 0, 1, kMove, 0, 0, -0.6f},
      {1, 1, 1, kMove, 0, 0, -0.8f}, {1, 2, 1, kMove, 0, 0, -1.0f}, {1, 5, 1, kMove, 0, 0, -1.0f},
      {1, 7, 1, kMove, 0, 0, -1.0f},
      // GetNode refused: no ContinuousMove, but the Stop still goes out and
      // the ramp steps as if it had moved (-0.2 unsent, then -0.5).
      {2, 2, 3, kNoNode, 0, 0, 0}, {2, 2, 3, kMove, 1, 0, -0.5f},
      // A refused Stop goes again once, whatever the refusal.
      {3, 1, 9, kStopRefused, 0, 0, 0},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE("camera " + std::to_string(s.camera) + " direction " + std::to_string(s.direction) + " zoom " +
                 std::to_string(s.zoom_code));
    send_ptz(RIFA_CMD_PTZ_MOVE, cameras[s.camera].port(), s.direction, s.zoom_code);
    const std::vector<json> got = requests[s.camera]();
    if (s.sent == kMove) {
      expect_move(got, s.pan, s.tilt, s.zoom);
    } else {
      const Lines stops = s.sent == kNoNode       ? Lines{"GetNode tptz fresh", "Stop tptz fresh"}
                          : s.sent == kStopRefused ? Lines{"Stop tptz fresh", "Stop tptz fresh"}
                                                   : Lines{"Stop tptz fresh"};
      ASSERT_EQ(opening_and(stops), summary(got));
      expect_stop_values(got.back(), "MainProfile");
    }
  }

  // The stop command: ver10 Stop right after GetProfiles, with no token of
  // its own. The context holds none any more, so this camera refuses it,
  // and it goes again with a fresh one.
  send_ptz(RIFA_CMD_PTZ_STOP, cameras[0].port(), 0, 0);
  const std::vector<json> got = requests[0]();
  ASSERT_EQ(opening_and({"Stop tptz1 none", "Stop tptz1 fresh"}), summary(got));
  EXPECT_EQ("ter:NotAuthorized", got[2]["answer"]);
  EXPECT_EQ("ok", got[3]["answer"]);
  expect_stop_values(got[3], "MainProfile");
}

TEST(Ptz, PresetsAreFoundByListPositionAndRemovedByNumber) {
  Daemon daemon;
  // A camera that lists its presets without authentication: GetPresets
  // follows GetProfiles directly and carries no token. Real preset lists
  // (order, token shapes, 255 entries) are the interop table's.
  Camsim camera(json{{"auth_exempt", json::array({"GetPresets"})}});
  NewRequests requests{camera};

  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, camera.port(), 0);
  std::vector<json> got = requests();
  ASSERT_EQ(opening_and({"GetPresets tptz none", "GotoPreset tptz fresh"}), summary(got));
  EXPECT_EQ("MainProfile", got[2]["values"]["ProfileToken"]);
  EXPECT_EQ(json({{"ProfileToken", "MainProfile"}, {"PresetToken", "1"}}), got[3]["values"]);

  // The third listed preset is stored again under its own token and name.
  send_ptz(RIFA_CMD_PTZ_PRESET, camera.port(), 2);
  got = requests();
  ASSERT_EQ(opening_and({"GetPresets tptz none", "SetPreset tptz fresh"}), summary(got));
  EXPECT_EQ(json({{"ProfileToken", "MainProfile"}, {"PresetName", "3"}, {"PresetToken", "3"}}), got[3]["values"]);

  // Positions outside the three-entry list: nothing is sent after GetPresets.
  for (const auto& [major, position] : {std::pair{RIFA_CMD_PTZ_GOTOPRESET, -1}, {RIFA_CMD_PTZ_GOTOPRESET, 3},
                                        {RIFA_CMD_PTZ_PRESET, 3}}) {
    send_ptz(major, camera.port(), position);
    EXPECT_EQ(opening_and({"GetPresets tptz none"}), summary(requests())) << position;
  }

  // Remove: ver10, second profile, the number as decimal text.
  for (int32_t number : {3, INT32_MIN}) {
    send_ptz(RIFA_CMD_PTZ_REMOVE_PRESET, camera.port(), number);
    got = requests();
    ASSERT_EQ(opening_and({"RemovePreset tptz1 fresh"}), summary(got)) << number;
    EXPECT_EQ(json({{"ProfileToken", "SubProfile"}, {"PresetToken", std::to_string(number)}}), got[2]["values"]);
    EXPECT_EQ(number == 3 ? "ok" : "ter:InvalidArgVal/ter:NoToken", got[2]["answer"]) << number;
  }

  // A camera that wants a token for GetPresets gets the list on a fresh one.
  Camsim strict;
  NewRequests strict_requests{strict};
  for (const auto& [major, op] : {std::pair{RIFA_CMD_PTZ_GOTOPRESET, "GotoPreset tptz fresh"},
                                  {RIFA_CMD_PTZ_PRESET, "SetPreset tptz fresh"}}) {
    send_ptz(major, strict.port(), 0);
    got = strict_requests();
    ASSERT_EQ(opening_and({"GetPresets tptz none", "GetPresets tptz fresh", op}), summary(got));
    EXPECT_EQ("ter:NotAuthorized", got[2]["answer"]);
  }

  // Tokens of 19 characters fit the token buffer, 20 do not; with a single
  // profile there is none to remove presets through.
  const std::string t19(19, 'p'), t20(20, 'q');
  Camsim long_tokens(json{{"auth_exempt", json::array({"GetPresets"})}, {"profile_count", 1},
                          {"presets", {{{"token", t19}, {"name", "a"}}, {{"token", t20}, {"name", "b"}}}}});
  NewRequests long_requests{long_tokens};
  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, long_tokens.port(), 0);
  got = long_requests();
  ASSERT_EQ(opening_and({"GetPresets tptz none", "GotoPreset tptz fresh"}), summary(got));
  EXPECT_EQ(t19, got[3]["values"]["PresetToken"]);
  for (uint32_t major : {RIFA_CMD_PTZ_GOTOPRESET, RIFA_CMD_PTZ_PRESET}) {
    send_ptz(major, long_tokens.port(), 1);
    EXPECT_EQ(opening_and({"GetPresets tptz none"}), summary(long_requests()));
  }
  send_ptz(RIFA_CMD_PTZ_REMOVE_PRESET, long_tokens.port(), 1);
  EXPECT_EQ(opening_and({}), summary(long_requests()));

  // Only commands that sent their preset request named it.
  EXPECT_EQ((Lines{"ptz (0) 1 \n", "ptz (2) 3 \n", "ptz (0) 1 \n", "ptz (0) 1 \n", "ptz (0) " + t19 + " \n"}),
            log_lines(daemon, "ptz (", 5));
}

const uint32_t kPtzCommands[] = {RIFA_CMD_PTZ_MOVE, RIFA_CMD_PTZ_STOP, RIFA_CMD_PTZ_PRESET, RIFA_CMD_PTZ_GOTOPRESET,
                                 RIFA_CMD_PTZ_REMOVE_PRESET};

TEST(Ptz, SessionFailuresSendNoPtzRequestAndLeaveTheRampAlone) {
  Daemon daemon;

  // Unreachable: every command ends at GetCapabilities.
  int nowhere;
  { nowhere = Camsim().port(); }  // nothing listens there any more
  for (uint32_t major : kPtzCommands) send_ptz(major, nowhere, 1, 9);
  // The error line has no end of its own: the server's line runs on from it.
  Lines errors = log_lines(daemon, "GetCapabilities error (", 5);
  for (std::string& line : errors) line = line.substr(0, line.find(')') + 2);
  EXPECT_EQ(Lines(5, "GetCapabilities error (" + std::to_string(SOAP_TCP_ERROR) + ")["), errors);

  // No PTZ service, by an empty address or no PTZ element at all.
  for (const char* ptz : {"empty", "absent"}) {
    Camsim fixed(json{{"ptz", ptz}});
    for (uint32_t major : kPtzCommands) send_ptz(major, fixed.port(), 1, 9);
    EXPECT_EQ(Lines(5, "GetCapabilities tds fresh"), summary(fixed.record())) << ptz;
  }
  EXPECT_EQ(Lines(10, "[ipcam] ptz disable \n"), log_lines(daemon, "[ipcam]", 10));

  // GetProfiles refused: nothing after it. (A refused password is the
  // interop table's.)
  Camsim camera(
      json{{"faults", {{{"op", "GetProfiles"}, {"times", 2}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}}}}});
  NewRequests requests{camera};
  send_ptz(RIFA_CMD_PTZ_MOVE, camera.port(), 1, 9);
  send_ptz(RIFA_CMD_PTZ_STOP, camera.port(), 0);
  EXPECT_EQ(opening_and(opening_and({})), summary(requests()));

  // None of the moves above reached the ramp: zoom code 0 still finds the
  // initial state and sends 0.2.
  send_ptz(RIFA_CMD_PTZ_MOVE, camera.port(), 2, 0);
  expect_move(requests(), 1, 0, 0.2f);
}

}  // namespace
}  // namespace vantel_test
