// The connections a command costs a camera, through the real daemon: one
// for all of a command's calls while the camera keeps it open, a new one
// whenever it does not, none left open once the reply is out, and a kept
// connection the camera closes as a request goes out costs neither the
// command nor a login.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "harness.h"
#include "wire/rifa.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;
using vantel::RIFA_CMD_PTZ_GOTOPRESET;
using vantel::RIFA_CMD_STREAM_INFO;

struct Seen {
  std::vector<std::string> operations;
  size_t connections = 0, full_handshakes = 0, dropped = 0;
  int refused = 0;
};

// What the camera has seen so far, once every connection it accepted has
// closed (waiting a little for its own threads).
Seen seen(const Camsim& camera) {
  for (int i = 0; i < 100 && camera.events("closed").size() < camera.events("connection").size(); ++i) usleep(20000);
  EXPECT_EQ(camera.events("connection").size(), camera.events("closed").size()) << "a connection outlived its command";
  Seen now;
  for (const json& request : camera.record()) {
    now.operations.push_back(request.value("op", ""));
    now.refused += request.value("auth", "") == "bad";
  }
  now.connections = camera.events("connection").size();
  for (const json& handshake : camera.events("tls")) now.full_handshakes += !handshake.value("resumed", false);
  now.dropped = camera.events("dropped").size();
  return now;
}

Seen since(const Seen& now, const Seen& before) {
  Seen part;
  part.operations.assign(now.operations.begin() + static_cast<long>(before.operations.size()), now.operations.end());
  part.connections = now.connections - before.connections;
  part.full_handshakes = now.full_handshakes - before.full_handshakes;
  part.dropped = now.dropped - before.dropped;
  part.refused = now.refused - before.refused;
  return part;
}

TEST(KeepAlive, OneConnectionPerCommandWhereTheCameraAllowsItAndNoneOutlivesIt) {
  struct Row {
    const char* name;
    json config;
    size_t query_connections;  // 0: one per request
    size_t goto_connections;
  };
  const json base{{"record_connections", true}, {"auth_exempt", {"GetPresets", "Stop"}}};
  const std::vector<Row> rows = {
      {"keeps", json::object(), 1, 1},
      {"closes", {{"close_connections", true}}, 0, 0},
      {"http10", {{"framing", {"http10"}}}, 0, 0},
      // Every kept connection dies under the next request: each call after
      // the first goes out twice, the second time on a new connection.
      {"drops", {{"drop_kept", true}}, 0, 0},
      {"tls closes", {{"tls", true}, {"close_connections", true}}, 0, 0},
      {"tls 1.2 keeps", {{"tls", true}, {"tls12", true}}, 1, 1},
  };
  std::vector<std::string> query_operations, goto_operations;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    json config = base;
    config.update(row.config);
    Camsim camera(config);
    Daemon daemon;
    for (int round = 0; round < 2; ++round) {
      const Seen start = seen(camera);
      Block reply(send_block(RIFA_CMD_STREAM_INFO, 0, Block(camera.port())).block);
      EXPECT_EQ("KPT-2120", reply.view().text(vantel::block::kModel, vantel::block::kNameFieldSize));
      const Seen middle = seen(camera);
      expect_echo(camera_command(RIFA_CMD_PTZ_GOTOPRESET, camera.port(), 0));
      const Seen query = since(middle, start), go = since(seen(camera), middle);
      // The same requests as on every other camera, each answered once.
      if (query_operations.empty()) query_operations = query.operations;
      if (goto_operations.empty()) goto_operations = go.operations;
      EXPECT_EQ(query_operations, query.operations);
      EXPECT_EQ(goto_operations, go.operations);
      EXPECT_EQ(0, query.refused + go.refused);
      if (config.value("drop_kept", false)) {
        EXPECT_EQ(query.operations.size() - 1, query.dropped);
      }
      // The first command to a TLS camera found out first that it is one.
      if (round == 0 && config.contains("tls")) continue;
      EXPECT_EQ(row.query_connections ? row.query_connections : query.operations.size(), query.connections);
      EXPECT_EQ(row.goto_connections ? row.goto_connections : go.operations.size(), go.connections);
    }
    // Over TLS one full handshake in all, even with a camera that closes
    // every connection: every later connection resumes the session, by
    // ticket or, on TLS 1.2, by its ID.
    if (config.contains("tls")) {
      EXPECT_EQ(1u, seen(camera).full_handshakes);
    }
  }
}

}  // namespace
}  // namespace vantel_test
