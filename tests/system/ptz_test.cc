// The five PTZ commands end to end: the ONVIF requests the camera receives
// (operation, service version, which ones carry a fresh token, the values
// that matter), the echo replies and the daemon's lines.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "command/byte_order.h"
#include "command/rifa.h"
#include "harness.h"
#include "stdsoap2.h"

namespace vantel_test {
namespace {

using namespace vantel;
using json = nlohmann::json;
using Lines = std::vector<std::string>;

const char kVer10PtzAction[] = "http://127.0.0.1:8000/WebService/PTZ";

std::vector<uint8_t> ptz_payload(int port, int32_t at72, int32_t at80 = 0,
                                 const std::string& password = "admin") {
  std::vector<uint8_t> payload = camera_request(port, "admin", password);
  put_be32s(payload.data() + kReqPtzDirection, at72);
  put_be32s(payload.data() + kReqPtzZoom, at80);
  return payload;
}

// One command; whatever the handler did, a PTZ reply is the bare echo.
void send_ptz(uint32_t major, const std::vector<uint8_t>& payload) {
  const Reply reply = parse_reply(exchange(rifa_request(major, 0, payload)));
  EXPECT_EQ(0u, reply.size);
  EXPECT_EQ(major, reply.major);
  EXPECT_EQ(major, reply.minor);
}

// The requests a camera received since the last call.
class NewRequests {
 public:
  explicit NewRequests(const Camsim& camera) : camera_(camera) {}
  std::vector<json> operator()() {
    std::vector<json> all = camera_.record();
    std::vector<json> fresh(all.begin() + std::min(seen_, all.size()), all.end());
    seen_ = all.size();
    return fresh;
  }

 private:
  const Camsim& camera_;
  size_t seen_ = 0;
};

std::string service(const std::string& ns) {
  if (ns == "http://www.onvif.org/ver10/device/wsdl") return "tds";
  if (ns == "http://www.onvif.org/ver10/media/wsdl") return "trt";
  if (ns == "http://www.onvif.org/ver20/ptz/wsdl") return "tptz";
  if (ns == "http://www.onvif.org/ver10/ptz/wsdl") return "tptz1";
  return "?" + ns;
}

// "Op service token" per request, e.g. "Stop tptz1 none".
Lines summary(const std::vector<json>& requests) {
  Lines out;
  for (const json& r : requests) {
    out.push_back(r.value("op", "") + " " + service(r.value("ns", "")) + " " + r.value("token", ""));
  }
  return out;
}

const Lines kSessionOpening = {"GetCapabilities tds fresh", "GetProfiles trt fresh"};

Lines opening_and(const Lines& more) {
  Lines all = kSessionOpening;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

// The daemon's lines that start with `prefix`, once `count` of them are there
// (or after five seconds).
Lines log_lines(const Daemon& daemon, const std::string& prefix, size_t count) {
  Lines lines;
  for (int wait = 0; wait < 500; ++wait) {
    lines.clear();
    const std::string log = daemon.log();
    // Whole lines only: the one being written may lack its end yet.
    for (size_t at = 0, end; (end = log.find('\n', at)) != std::string::npos; at = end + 1) {
      if (log.compare(at, prefix.size(), prefix) == 0) lines.push_back(log.substr(at, end + 1 - at));
    }
    if (lines.size() >= count) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return lines;
}

void expect_stop_values(const json& stop, const std::string& profile) {
  EXPECT_EQ(profile, stop["values"]["ProfileToken"]);
  EXPECT_EQ(true, stop["values"]["PanTilt"]);
  EXPECT_EQ(true, stop["values"]["Zoom"]);
}

// A move that reached ContinuousMove on the default camera.
void expect_move(const std::vector<json>& got, float pan, float tilt, float zoom) {
  ASSERT_EQ(opening_and({"GetNode tptz fresh", "ContinuousMove tptz fresh", "Stop tptz fresh"}), summary(got));
  EXPECT_EQ("PTZNodeMain", got[2]["values"]["NodeToken"]);
  const json& v = got[3]["values"];
  EXPECT_EQ("MainProfile", v["ProfileToken"]);
  EXPECT_EQ(pan, v["pan"].get<float>());
  EXPECT_EQ(tilt, v["tilt"].get<float>());
  EXPECT_EQ(zoom, v["zoom"].get<float>());
  EXPECT_EQ(false, v["space"]);
  EXPECT_TRUE(v["timeout"].is_null());
  EXPECT_EQ("ok", got[3]["answer"]);
  EXPECT_EQ("http://www.onvif.org/ver20/ptz/wsdl/ContinuousMove", got[3]["action"]);
  EXPECT_EQ("http://www.onvif.org/ver20/ptz/wsdl/Stop", got[4]["action"]);
  expect_stop_values(got[4], "MainProfile");
}

struct Move {
  int32_t direction, zoom_code;
  float pan, tilt, zoom;
};

TEST(Ptz, MoveWalksTheDirectionTableAndTheZoomRampThenStops) {
  Daemon daemon;
  Camsim camera;
  NewRequests requests(camera);
  Lines server_lines;
  auto moved = [&](int32_t direction, int32_t zoom_code) {
    server_lines.push_back("[vantel ptz] \n");
    server_lines.push_back("[vantel ptz] ptz move (" + std::to_string(direction) + ") (" +
                           std::to_string(zoom_code) + ") \n");
  };

  // Nothing to move: only the Stop, and the ramp stays where it was.
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), 0, 0));
  moved(0, 0);
  std::vector<json> got = requests();
  ASSERT_EQ(opening_and({"Stop tptz fresh"}), summary(got));
  expect_stop_values(got[2], "MainProfile");

  // Pan/tilt with zoom code 0 from a fresh process walks the ramp down from
  // its middle; 9 and -1 are no direction at all.
  const Move moves[] = {
      {1, 0, 0, 1, 0.2f},     {2, 0, 1, 0, 0.0f},     {3, 0, 0, -1, -0.2f},   {4, 0, -1, 0, -0.5f},
      {5, 0, 1, 1, -0.6f},    {6, 0, 1, -1, -0.8f},   {7, 0, -1, -1, -1.0f},  {8, 0, -1, 1, -1.0f},
      {9, 0, 0, 0, -1.0f},    {-1, 0, 0, 0, -1.0f},
      // Zoom in: a new code restarts at 0.2 and climbs to 1.0.
      {0, 9, 0, 0, 0.2f},     {0, 9, 0, 0, 0.4f},     {0, 9, 0, 0, 0.6f},     {0, 9, 0, 0, 0.8f},
      {0, 9, 0, 0, 1.0f},     {2, 9, 1, 0, 1.0f},
      // Zoom out after zoom in: -0.2, then -0.5.
      {0, 1, 0, 0, -0.2f},    {0, 1, 0, 0, -0.5f},
  };
  for (const Move& m : moves) {
    SCOPED_TRACE("direction " + std::to_string(m.direction) + " zoom " + std::to_string(m.zoom_code));
    send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), m.direction, m.zoom_code));
    moved(m.direction, m.zoom_code);
    expect_move(requests(), m.pan, m.tilt, m.zoom);
  }
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), 0, 0));
  moved(0, 0);
  EXPECT_EQ(opening_and({"Stop tptz fresh"}), summary(requests()));
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), 0, 1));
  moved(0, 1);
  expect_move(requests(), 0, 0, -0.6f);

  // The stop command: ver10 Stop right after GetProfiles, with no token of
  // its own. The context holds none any more, so this camera refuses it.
  send_ptz(RIFA_CMD_PTZ_STOP, ptz_payload(camera.port(), 0, 0));
  server_lines.push_back("[vantel ptz] ptz stop \n");
  got = requests();
  ASSERT_EQ(opening_and({"Stop tptz1 none"}), summary(got));
  EXPECT_EQ(kVer10PtzAction, got[2]["action"]);
  EXPECT_EQ("ter:NotAuthorized", got[2]["answer"]);
  expect_stop_values(got[2], "MainProfile");

  // A camera whose velocity space is narrower than -1..1 gets no pan/tilt.
  // The ramp is the process's, not the camera's: it goes on at -0.8.
  Camsim narrow(json{{"ptz_nodes", {{{"velocity_x", {-0.5, 0.5}}, {"velocity_y", {-0.5, 0.5}}}}}});
  NewRequests narrow_requests(narrow);
  const float narrow_zoom[] = {-0.8f, -1.0f, -1.0f, -1.0f, -1.0f, -1.0f, -1.0f, -1.0f};
  for (int32_t direction = 1; direction <= 8; ++direction) {
    SCOPED_TRACE("narrow, direction " + std::to_string(direction));
    send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(narrow.port(), direction, 1));
    moved(direction, 1);
    expect_move(narrow_requests(), 0, 0, narrow_zoom[direction - 1]);
  }

  // GetNode refused: no ContinuousMove, but the Stop still goes out and the
  // ramp steps as if it had moved (-0.2 unsent, then -0.5).
  Camsim no_node(json{{"faults", {{{"op", "GetNode"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoEntity"}}}}});
  NewRequests no_node_requests(no_node);
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(no_node.port(), 2, 3));
  moved(2, 3);
  EXPECT_EQ(opening_and({"GetNode tptz fresh", "Stop tptz fresh"}), summary(no_node_requests()));
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(no_node.port(), 2, 3));
  moved(2, 3);
  expect_move(no_node_requests(), 1, 0, -0.5f);

  // A first profile without PTZ configuration names no node to ask for.
  Camsim fixed_main(json{{"profiles", {{{"ptz_node", nullptr}}}}});
  NewRequests fixed_requests(fixed_main);
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(fixed_main.port(), 1, 9));
  moved(1, 9);
  EXPECT_EQ(opening_and({"Stop tptz fresh"}), summary(fixed_requests()));

  EXPECT_EQ(server_lines, log_lines(daemon, "[vantel ptz]", server_lines.size()));
}

TEST(Ptz, PresetsAreFoundByListPositionAndRemovedByNumber) {
  Daemon daemon;
  // A camera that lists its presets and stops without authentication: the
  // requests that follow GetProfiles directly carry no token.
  Camsim camera(json{{"auth_exempt", json::array({"GetPresets", "Stop"})}});
  NewRequests requests(camera);

  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, ptz_payload(camera.port(), 0));
  std::vector<json> got = requests();
  ASSERT_EQ(opening_and({"GetPresets tptz none", "GotoPreset tptz fresh"}), summary(got));
  EXPECT_EQ("MainProfile", got[2]["values"]["ProfileToken"]);
  EXPECT_EQ("http://www.onvif.org/ver20/ptz/wsdl/GotoPreset", got[3]["action"]);
  EXPECT_EQ(json({{"ProfileToken", "MainProfile"}, {"PresetToken", "1"}}), got[3]["values"]);
  EXPECT_EQ("ok", got[3]["answer"]);

  // The third listed preset is stored again under its own token and name.
  send_ptz(RIFA_CMD_PTZ_PRESET, ptz_payload(camera.port(), 2));
  got = requests();
  ASSERT_EQ(opening_and({"GetPresets tptz none", "SetPreset tptz fresh"}), summary(got));
  EXPECT_EQ("http://www.onvif.org/ver20/ptz/wsdl/SetPreset", got[3]["action"]);
  EXPECT_EQ(json({{"ProfileToken", "MainProfile"}, {"PresetName", "3"}, {"PresetToken", "3"}}),
            got[3]["values"]);
  EXPECT_EQ("ok", got[3]["answer"]);

  // Positions outside the three-entry list: nothing is sent after GetPresets.
  for (int32_t position : {-1, 3}) {
    send_ptz(RIFA_CMD_PTZ_GOTOPRESET, ptz_payload(camera.port(), position));
    EXPECT_EQ(opening_and({"GetPresets tptz none"}), summary(requests())) << position;
  }
  send_ptz(RIFA_CMD_PTZ_PRESET, ptz_payload(camera.port(), 3));
  EXPECT_EQ(opening_and({"GetPresets tptz none"}), summary(requests()));

  // Remove: ver10, second profile, the number as decimal text.
  for (int32_t number : {3, 5, 1000, INT32_MIN}) {
    send_ptz(RIFA_CMD_PTZ_REMOVE_PRESET, ptz_payload(camera.port(), number));
    got = requests();
    ASSERT_EQ(opening_and({"RemovePreset tptz1 fresh"}), summary(got)) << number;
    EXPECT_EQ(kVer10PtzAction, got[2]["action"]);
    EXPECT_EQ(json({{"ProfileToken", "SubProfile"}, {"PresetToken", std::to_string(number)}}), got[2]["values"]);
    EXPECT_EQ(number == 3 ? "ok" : "ter:InvalidArgVal/ter:NoToken", got[2]["answer"]) << number;
  }

  // The stop's header-less Stop is served by a camera that allows it.
  send_ptz(RIFA_CMD_PTZ_STOP, ptz_payload(camera.port(), 0));
  got = requests();
  ASSERT_EQ(opening_and({"Stop tptz1 none"}), summary(got));
  EXPECT_EQ("ok", got[2]["answer"]);

  // A camera that wants a token for GetPresets: goto and set end there.
  Camsim strict;
  NewRequests strict_requests(strict);
  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, ptz_payload(strict.port(), 0));
  send_ptz(RIFA_CMD_PTZ_PRESET, ptz_payload(strict.port(), 0));
  got = strict_requests();
  EXPECT_EQ((Lines{"GetCapabilities tds fresh", "GetProfiles trt fresh", "GetPresets tptz none",
                   "GetCapabilities tds fresh", "GetProfiles trt fresh", "GetPresets tptz none"}),
            summary(got));
  EXPECT_EQ("ter:NotAuthorized", got[2]["answer"]);

  // Tokens of 19 characters fit the token buffer, 20 do not; with a single
  // profile there is none to remove presets through.
  const std::string t19(19, 'p'), t20(20, 'q');
  Camsim long_tokens(json{{"auth_exempt", json::array({"GetPresets"})},
                      {"profile_count", 1},
                      {"presets", {{{"token", t19}, {"name", "a"}, {"pan", 0}, {"tilt", 0}, {"zoom", 0}},
                                   {{"token", t20}, {"name", "b"}, {"pan", 0}, {"tilt", 0}, {"zoom", 0}}}}});
  NewRequests long_requests(long_tokens);
  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, ptz_payload(long_tokens.port(), 0));
  got = long_requests();
  ASSERT_EQ(opening_and({"GetPresets tptz none", "GotoPreset tptz fresh"}), summary(got));
  EXPECT_EQ(t19, got[3]["values"]["PresetToken"]);
  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, ptz_payload(long_tokens.port(), 1));
  send_ptz(RIFA_CMD_PTZ_PRESET, ptz_payload(long_tokens.port(), 1));
  send_ptz(RIFA_CMD_PTZ_REMOVE_PRESET, ptz_payload(long_tokens.port(), 1));
  EXPECT_EQ((Lines{"GetCapabilities tds fresh", "GetProfiles trt fresh", "GetPresets tptz none",
                   "GetCapabilities tds fresh", "GetProfiles trt fresh", "GetPresets tptz none",
                   "GetCapabilities tds fresh", "GetProfiles trt fresh"}),
            summary(long_requests()));

  // Only commands that sent their preset request named it.
  EXPECT_EQ((Lines{"ptz (0) 1 \n", "ptz (2) 3 \n", "ptz (0) " + t19 + " \n"}), log_lines(daemon, "ptz (", 3));
}

// A port on which nothing listens.
int closed_port() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  close(fd);
  return ntohs(address.sin_port);
}

const uint32_t kPtzCommands[] = {RIFA_CMD_PTZ_MOVE, RIFA_CMD_PTZ_STOP, RIFA_CMD_PTZ_PRESET,
                                 RIFA_CMD_PTZ_GOTOPRESET, RIFA_CMD_PTZ_REMOVE_PRESET};

TEST(Ptz, SessionFailuresSendNoPtzRequestAndLeaveTheRampAlone) {
  Daemon daemon;

  // Unreachable: the GetCapabilities line, without a line end, then the
  // server's own line.
  const int nowhere = closed_port();
  for (uint32_t major : kPtzCommands) send_ptz(major, ptz_payload(nowhere, 1, 9));
  const std::string refused = "GetCapabilities error (" + std::to_string(SOAP_TCP_ERROR) + ")";
  EXPECT_EQ((Lines{refused + "[vantel ptz] ptz move (1) (9) \n", refused + "[vantel ptz] ptz stop \n",
                   refused + "[vantel ptz] ptz preset \n", refused + "[vantel ptz] ptz gotopreset \n",
                   refused + "[vantel ptz] ptz remove preset \n"}),
            log_lines(daemon, "GetCapabilities error", 5));

  // No PTZ service, by an empty address or no PTZ element at all.
  for (const char* ptz : {"empty", "absent"}) {
    Camsim fixed(json{{"ptz", ptz}});
    for (uint32_t major : kPtzCommands) send_ptz(major, ptz_payload(fixed.port(), 1, 9));
    EXPECT_EQ(Lines(5, "GetCapabilities tds fresh"), summary(fixed.record())) << ptz;
  }
  EXPECT_EQ(Lines(10, "[ipcam] ptz disable \n"), log_lines(daemon, "[ipcam]", 10));

  Camsim camera(json{{"faults", {{{"op", "GetProfiles"}, {"times", 2}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}}}}});
  NewRequests requests(camera);
  // Wrong password: the camera's NotAuthorized ends the command.
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), 1, 9, "wrong"));
  send_ptz(RIFA_CMD_PTZ_GOTOPRESET, ptz_payload(camera.port(), 0, 0, "wrong"));
  std::vector<json> got = requests();
  ASSERT_EQ(Lines(2, "GetCapabilities tds fresh"), summary(got));
  EXPECT_EQ("ter:NotAuthorized", got[0]["answer"]);
  const std::string fault = "GetCapabilities error (" + std::to_string(SOAP_FAULT) + ")";
  const Lines errors = log_lines(daemon, "GetCapabilities error", 7);
  ASSERT_EQ(7u, errors.size());
  EXPECT_EQ((Lines{fault + "[vantel ptz] ptz move (1) (9) \n", fault + "[vantel ptz] ptz gotopreset \n"}),
            Lines(errors.begin() + 5, errors.end()));

  // GetProfiles refused: nothing after it.
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), 1, 9));
  send_ptz(RIFA_CMD_PTZ_STOP, ptz_payload(camera.port(), 0));
  EXPECT_EQ((Lines{"GetCapabilities tds fresh", "GetProfiles trt fresh", "GetCapabilities tds fresh",
                   "GetProfiles trt fresh"}),
            summary(requests()));

  // None of the moves above reached the ramp: zoom code 0 still finds the
  // initial state and sends 0.2.
  send_ptz(RIFA_CMD_PTZ_MOVE, ptz_payload(camera.port(), 2, 0));
  expect_move(requests(), 1, 0, 0.2f);
}

}  // namespace
}  // namespace vantel_test
