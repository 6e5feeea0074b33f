// The stream profile query end to end: the daemon asks camsim cameras and
// the block comes back with their streams at the block's offsets.
#include <gtest/gtest.h>

#include <string>

#include "harness.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

Reply query(const Block& block) { return send_block(RIFA_CMD_STREAM_INFO, 0, block); }

TEST(StreamQuery, FillsBothStreamsAndLeavesEveryOtherByteOfTheRequest) {
  Daemon daemon;
  Camsim camera;
  // From the URIs on, the request holds a pattern, so that what the query
  // leaves of it shows.
  Block request(camera.port());
  std::fill(request.bytes.begin() + block::kFirstUri, request.bytes.end(), 0xAA);
  request.view().set_s32(block::kStatus, 7);
  Reply reply = query(request);
  EXPECT_EQ((std::vector<uint32_t>{RIFA_CMD_STREAM_INFO, RIFA_RPL_RESULT}), (std::vector<uint32_t>{reply.major, reply.minor}));
  Block got(reply.block);
  EXPECT_EQ("Kestrel Optics", got.view().text(block::kManufacturer, block::kNameFieldSize));
  EXPECT_EQ("KPT-2120", got.view().text(block::kModel, block::kNameFieldSize));
  EXPECT_EQ((Ints{1920, 1080, kCodecH264, 25, 5, 4096}), stream_fields(got.view(), 0));
  EXPECT_EQ((Ints{640, 480, kCodecJpeg, 10, 3, 1024}), stream_fields(got.view(), 1));
  const std::string main_uri = "rtsp://127.0.0.1:8554/live/main", sub_uri = "rtsp://127.0.0.1:8554/live/sub";
  EXPECT_EQ(main_uri, got.view().text(block::kFirstUri, 50));
  EXPECT_EQ(sub_uri, got.view().text(block::kSecondUri, 50));
  // Put the request's bytes back where the query wrote: nothing else moved.
  const std::pair<size_t, size_t> written[] = {
      {block::kManufacturer, 80}, {block::kFirstUri, main_uri.size() + 1}, {block::kSecondUri, sub_uri.size() + 1},
      {block::kFirstWidth, 8},    {block::kFirstCodec, 2},                 {block::kFirstFps, 10}};
  for (const auto& [offset, size] : written) std::copy_n(request.bytes.begin() + offset, size, got.bytes.begin() + offset);
  EXPECT_EQ(request.bytes, got.bytes);
  EXPECT_EQ((Lines{"GetCapabilities", "GetProfiles", "GetDeviceInformation", "GetProfile MainProfile",
                   "GetVideoEncoderConfiguration MainEncoder", "GetStreamUri MainProfile", "GetProfile SubProfile",
                   "GetVideoEncoderConfiguration SubEncoder", "GetStreamUri SubProfile"}),
            trace(camera));
  for (const json& entry : camera.record()) EXPECT_EQ("fresh", entry["token"]) << entry["op"];
  for (const json& uri : values_of(camera, "GetStreamUri"))
    EXPECT_EQ("RTP-Unicast/UDP", uri["Stream"].get<std::string>() + "/" + uri["Protocol"].get<std::string>());
  EXPECT_TRUE(daemon.wait_for_log("ip (127.0.0.1) port (" + std::to_string(camera.port()) +
                                  ") soap state(1) version(2) \n"));

  // A stream in H.265, outside the schema's list: codec 0, the rest as usual.
  Camsim h265(json{{"encoding_main", "H265"}});
  Block h265_reply(query(Block(h265.port())).block);
  EXPECT_EQ((Ints{1920, 1080, kCodecUnknown, 25, 5, 4096}), stream_fields(h265_reply.view(), 0));
  EXPECT_EQ((Ints{640, 480, kCodecJpeg, 10, 3, 1024}), stream_fields(h265_reply.view(), 1));
  EXPECT_EQ(main_uri, h265_reply.view().text(block::kFirstUri, 50));
}

TEST(StreamQuery, CameraFailuresAreReportedInTheBlock) {
  Daemon daemon;
  // Refused capabilities: the request comes back as it was sent.
  Camsim refusing;
  Block wrong_password(block_request(refusing.port(), "admin", "wrong"));
  Reply refused = query(wrong_password);
  EXPECT_EQ(RIFA_RPL_RESULT, refused.minor);
  EXPECT_EQ(wrong_password.bytes, refused.block);
  EXPECT_EQ(Lines{"GetCapabilities"}, trace(refusing));

  // A stream whose profile, encoder configuration or address cannot be read
  // is reported unread; the other is still filled.
  // "Profile1" pairs with "Profile2", which this camera lacks.
  auto fail = [](const char* op, const char* match) {
    return json{{"op", op}, {"times", nullptr}, {"match", match}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}};
  };
  const std::pair<json, bool> cases[] = {  // camera, first stream read
      {{{"profile_count", 0}}, false},
      {{{"faults", {fail("GetVideoEncoderConfiguration", "MainEncoder"), fail("GetStreamUri", "SubProfile")}}}, false},
      {{{"profiles", {{{"token", "Profile1"}}, {{"token", "Other"}}}}}, true},
      {{{"profiles", {json::object(), {{"uri", nullptr}}}}}, true},  // an answer without a MediaUri
  };
  for (const auto& [config, first_read] : cases) {
    SCOPED_TRACE(config.dump());
    Camsim camera(config);
    Block request(camera.port());
    request.view().set_s16(block::kFirstWidth, 1);
    request.view().set_s16(block::kSecondWidth, 1);
    request.view().set_u8(block::kSecondCodec, 1);
    request.view().set_uri(block::kSecondUri, "rtsp://kept");
    Block reply(query(request).block);
    EXPECT_EQ(3, reply.view().s32(block::kStatus));
    EXPECT_EQ("Kestrel Optics", reply.view().text(block::kManufacturer, 40));
    EXPECT_EQ(first_read ? 1920 : 0, reply.view().s16(block::kFirstWidth));
    EXPECT_EQ(Ints(6, 0), stream_fields(reply.view(), 1));
    EXPECT_EQ("rtsp://kept", reply.view().text(block::kSecondUri, 50));
  }
}

}  // namespace
}  // namespace vantel_test
