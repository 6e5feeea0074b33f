// The stream profile query end to end: the daemon asks camsim cameras and
// the block comes back with their streams, byte for byte at the block's
// offsets.
#include <gtest/gtest.h>

#include <string>

#include "stream_test_helpers.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

std::string uri_of_length(size_t length) { return "rtsp://cam/" + std::string(length - 11, 'u'); }

Reply query(const Block& block) { return send_block(RIFA_CMD_STREAM_INFO, 0, block); }

// A request whose URI fields hold a pattern, so that what the query leaves of
// them shows.
Block patterned_request(int port) {
  Block request(port);
  std::fill(request.bytes.begin() + block::kFirstUri, request.bytes.begin() + block::kFirstFlag, 0xAA);
  return request;
}

TEST(StreamQuery, FillsBothStreamsAndLeavesEveryOtherByteOfTheRequest) {
  Daemon daemon;
  Camsim camera;
  Block request = patterned_request(camera.port());
  ResultBlockView in = request.view();
  in.set_s32(block::kStatus, 7);
  in.set_range(block::kFpsRange, 11, 12);
  in.set_option(block::kFirstOptions, 0, 320, 240);
  in.set_u8(273, 0x5A);
  in.set_u8(478, 0x5B);

  const size_t log_start = daemon.log().size();
  Reply reply = query(request);
  EXPECT_EQ(RIFA_CMD_STREAM_INFO, reply.major);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);

  Block expected = request;
  ResultBlockView want = expected.view();
  want.set_text(block::kManufacturer, block::kNameFieldSize, "Kestrel Optics");
  want.set_text(block::kModel, block::kNameFieldSize, "KPT-2120");
  want.set_uri(block::kFirstUri, "rtsp://127.0.0.1:8554/live/main");
  want.set_uri(block::kSecondUri, "rtsp://127.0.0.1:8554/live/sub");
  want.set_s16(block::kFirstWidth, 1920);
  want.set_s16(block::kFirstHeight, 1080);
  want.set_s16(block::kSecondWidth, 640);
  want.set_s16(block::kSecondHeight, 480);
  want.set_u8(block::kFirstCodec, kCodecH264);
  want.set_u8(block::kSecondCodec, kCodecJpeg);
  want.set_u8(block::kFirstFps, 25);
  want.set_u8(block::kSecondFps, 10);
  want.set_s16(block::kFirstQuality, 5);
  want.set_s16(block::kSecondQuality, 3);
  want.set_s16(block::kFirstBitrate, 4096);
  want.set_s16(block::kSecondBitrate, 1024);
  EXPECT_EQ(expected.bytes, reply.block);

  const std::vector<std::string> trace = {
      "GetCapabilities",      "GetProfiles",
      "GetDeviceInformation", "GetProfile MainProfile",
      "GetVideoEncoderConfiguration MainEncoder", "GetStreamUri MainProfile",
      "GetProfile SubProfile", "GetVideoEncoderConfiguration SubEncoder",
      "GetStreamUri SubProfile"};
  EXPECT_EQ(trace, call_trace(camera));
  for (const json& entry : camera.record()) EXPECT_EQ("fresh", entry["token"]) << entry["op"];
  for (const json& uri : calls_of(camera, "GetStreamUri")) {
    EXPECT_EQ("RTP-Unicast", uri["Stream"]);
    EXPECT_EQ("UDP", uri["Protocol"]);
  }
  EXPECT_NE(std::string::npos,
            log_since(daemon, log_start)
                .find("ip (127.0.0.1) port (" + std::to_string(camera.port()) +
                      ") soap state(1) version(2) \n"
                      "Send data : major(0x0b060004), minor(0x0b061001) size(480) \n"))
      << log_since(daemon, log_start);

  // Camera text the fields cannot hold: URIs of 49, 50 and 80 characters,
  // names longer than their 40-byte fields, qualities with fractions, and
  // every encoding.
  const std::string long_maker(60, 'M');
  const std::string long_model(45, 'D');
  Camsim odd(json{{"manufacturer", long_maker},
                  {"model", long_model},
                  {"profiles",
                   {{{"uri", uri_of_length(49)}, {"encoder", {{"encoding", "MPEG4"}, {"quality", 4.9}}}},
                    {{"uri", uri_of_length(50)}, {"encoder", {{"encoding", "H264"}, {"quality", -2.5}}}}}}});
  Block odd_request = patterned_request(odd.port());
  odd_request.view().set_u8(block::kFirstFlag, 0x77);
  Block odd_reply(query(odd_request).block);
  ResultBlockView got = odd_reply.view();
  EXPECT_EQ(long_maker.substr(0, 39), got.text(block::kManufacturer, block::kNameFieldSize));
  EXPECT_EQ(0, got.u8(block::kManufacturer + 39));
  EXPECT_EQ(long_model.substr(0, 39), got.text(block::kModel, block::kNameFieldSize));
  EXPECT_EQ(uri_of_length(49) + std::string(1, '\0'), odd_reply.uri_bytes(block::kFirstUri));
  EXPECT_EQ(uri_of_length(50), odd_reply.uri_bytes(block::kSecondUri));
  EXPECT_EQ(0x77, got.u8(block::kFirstFlag));  // the request's byte after the field
  EXPECT_EQ(kCodecMpeg4, got.u8(block::kFirstCodec));
  EXPECT_EQ(kCodecH264, got.u8(block::kSecondCodec));
  EXPECT_EQ(4, got.s16(block::kFirstQuality));
  EXPECT_EQ(-2, got.s16(block::kSecondQuality));
  EXPECT_EQ(0, got.s32(block::kStatus));

  Camsim longer(json{{"profiles", {{{"uri", uri_of_length(80)}}, json::object()}}});
  Block longer_reply(query(patterned_request(longer.port())).block);
  EXPECT_EQ(uri_of_length(80).substr(0, 50), longer_reply.uri_bytes(block::kFirstUri));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/sub", longer_reply.view().text(block::kSecondUri, 50));
}

// An encoding outside the schema's list ("H265") does not deserialize: the
// SOAP runtime fails the whole call (SOAP_TYPE) that carries it, here already
// GetProfiles, whose list then ends before that profile. The stream has no
// profile, so it reads as unread and its codec as 0.
TEST(StreamQuery, EncodingOutsideTheSchemaMakesTheStreamUnreadable) {
  Daemon daemon;
  Camsim camera(json{{"profiles", {json::object(), {{"encoder", {{"encoding", "H265"}}}}}}});
  Block request(camera.port());
  request.view().set_s16(block::kSecondWidth, 99);
  Block reply(query(request).block);
  ResultBlockView got = reply.view();
  EXPECT_EQ(kCodecH264, got.u8(block::kFirstCodec));
  EXPECT_EQ(3, got.s32(block::kStatus));
  EXPECT_EQ(kCodecUnknown, got.u8(block::kSecondCodec));
  EXPECT_EQ(0, got.s16(block::kSecondWidth));
  EXPECT_EQ("GetStreamUri MainProfile", call_trace(camera).back());
}

TEST(StreamQuery, ChoosesTheProfilePairByTheFirstProfilesToken) {
  Daemon daemon;
  auto profile_calls = [](const Camsim& camera) {
    std::vector<std::string> tokens;
    for (const json& call : calls_of(camera, "GetProfile")) tokens.push_back(call["ProfileToken"]);
    return tokens;
  };

  Camsim numbered(json{{"profiles", {{{"token", "0"}}, {{"token", "1"}}}}});
  Block numbered_reply(query(Block(numbered.port())).block);
  EXPECT_EQ((std::vector<std::string>{"0", "1"}), profile_calls(numbered));
  EXPECT_EQ(0, numbered_reply.view().s32(block::kStatus));
  EXPECT_EQ(640, numbered_reply.view().s16(block::kSecondWidth));

  // "h264" pairs with "jpeg", wherever the camera lists it.
  Camsim named(json{{"profiles",
                     {{{"token", "h264"}},
                      {{"token", "other"}},
                      {{"token", "jpeg"}, {"encoder", {{"width", 352}, {"height", 288}}}}}}});
  Block named_reply(query(Block(named.port())).block);
  EXPECT_EQ((std::vector<std::string>{"h264", "jpeg"}), profile_calls(named));
  EXPECT_EQ(352, named_reply.view().s16(block::kSecondWidth));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/stream3", named_reply.view().text(block::kSecondUri, 50));

  // "Profile1" pairs with "Profile2" even when the camera has no such
  // profile: the second stream reads as failed, the first is filled.
  Camsim profile1(json{{"profiles", {{{"token", "Profile1"}}, {{"token", "Other"}}}}});
  Block request(profile1.port());
  ResultBlockView in = request.view();
  in.set_u8(block::kSecondCodec, 1);
  in.set_s16(block::kSecondWidth, 704);
  in.set_s16(block::kSecondHeight, 576);
  in.set_u8(block::kSecondFps, 9);
  in.set_s16(block::kSecondQuality, 8);
  in.set_s16(block::kSecondBitrate, 512);
  in.set_uri(block::kSecondUri, "rtsp://kept");
  Block reply(query(request).block);
  ResultBlockView got = reply.view();
  EXPECT_EQ((std::vector<std::string>{"Profile1", "Profile2"}), profile_calls(profile1));
  EXPECT_EQ(3, got.s32(block::kStatus));
  for (size_t offset :
       {block::kSecondWidth, block::kSecondHeight, block::kSecondQuality, block::kSecondBitrate}) {
    EXPECT_EQ(0, got.s16(offset)) << offset;
  }
  EXPECT_EQ(0, got.u8(block::kSecondCodec));
  EXPECT_EQ(0, got.u8(block::kSecondFps));
  EXPECT_EQ("rtsp://kept", got.text(block::kSecondUri, 50));
  EXPECT_EQ(1920, got.s16(block::kFirstWidth));
  EXPECT_EQ(kCodecH264, got.u8(block::kFirstCodec));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/main", got.text(block::kFirstUri, 50));

  // Any other camera: its first two profiles; with only one, the second
  // stream reads as failed.
  Camsim single(json{{"profile_count", 1}});
  Block single_reply(query(Block(single.port())).block);
  EXPECT_EQ((std::vector<std::string>{"MainProfile"}), profile_calls(single));
  EXPECT_EQ(3, single_reply.view().s32(block::kStatus));
  EXPECT_EQ(1080, single_reply.view().s16(block::kFirstHeight));
  EXPECT_EQ(0, single_reply.view().s16(block::kSecondHeight));
}

TEST(StreamQuery, CameraFailuresAreReportedInTheBlock) {
  Daemon daemon;

  // Refused capabilities: the request comes back as it was sent.
  Camsim refusing;
  Block wrong_password(block_request(refusing.port(), "admin", "wrong"));
  const size_t log_start = daemon.log().size();
  Reply refused = query(wrong_password);
  EXPECT_EQ(RIFA_RPL_RESULT, refused.minor);
  EXPECT_EQ(wrong_password.bytes, refused.block);
  EXPECT_EQ(std::vector<std::string>{"GetCapabilities"}, refusing.ops());
  EXPECT_NE(std::string::npos, log_since(daemon, log_start).find("GetCapabilities error ("));

  // No profiles at all: both streams unread, the maker still filled in.
  Camsim empty(json{{"profile_count", 0}});
  Block request(empty.port());
  request.view().set_s16(block::kFirstWidth, 1);
  Block empty_reply(query(request).block);
  EXPECT_EQ(3, empty_reply.view().s32(block::kStatus));
  EXPECT_EQ(0, empty_reply.view().s16(block::kFirstWidth));
  EXPECT_EQ("Kestrel Optics", empty_reply.view().text(block::kManufacturer, 40));
  EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles", "GetDeviceInformation"}), empty.ops());

  // A profile whose encoder configuration or stream address cannot be read
  // counts as unread too.
  Camsim faulty(json{{"faults",
                      {{{"op", "GetVideoEncoderConfiguration"}, {"times", nullptr}, {"match", "MainEncoder"},
                        {"subcode", "ter:InvalidArgVal/ter:NoConfig"}},
                       {{"op", "GetStreamUri"}, {"times", nullptr}, {"match", "SubProfile"},
                        {"subcode", "ter:InvalidArgVal/ter:NoProfile"}}}}});
  Block faulty_reply(query(Block(faulty.port())).block);
  ResultBlockView got = faulty_reply.view();
  EXPECT_EQ(3, got.s32(block::kStatus));
  EXPECT_EQ(0, got.s16(block::kFirstWidth));
  EXPECT_EQ(0, got.s16(block::kSecondWidth));
  EXPECT_EQ(0, got.u8(block::kSecondCodec));
  EXPECT_EQ(0, got.u8(block::kSecondFps));
  EXPECT_EQ("", got.text(block::kSecondUri, 50));
}

}  // namespace
}  // namespace vantel_test
