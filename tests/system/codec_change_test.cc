// The network codec change end to end, both variants: what the daemon sends
// camsim (read from its record, in order), the block and the reply code it
// answers, and the lines it prints.
#include <gtest/gtest.h>

#include <string>

#include "stream_test_helpers.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

Reply change_list(const Block& block) { return send_block(RIFA_CMD_NET_CODEC, 0, block); }
Reply change_explicit(const Block& block) { return send_block(RIFA_CMD_NET_CODEC, RIFA_CMD_NET_CODEC, block); }

json reject_set(const std::string& encoder, json times) {
  return {{"op", "SetVideoEncoderConfiguration"}, {"times", times}, {"match", encoder},
          {"subcode", "ter:InvalidArgVal/ter:ConfigModify"}};
}
json fail_always(const std::string& op, const std::string& match) {
  return {{"op", op}, {"times", nullptr}, {"match", match}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}};
}

void set_options(ResultBlockView block, size_t table, const std::vector<std::pair<int, int>>& sizes) {
  for (size_t i = 0; i < sizes.size(); ++i) block.set_option(table, i, sizes[i].first, sizes[i].second);
}

bool printed(const std::string& log, const std::string& text) { return log.find(text) != std::string::npos; }

const std::vector<std::string> kOpening = {"GetCapabilities", "GetProfiles", "GetDeviceInformation"};

std::vector<std::string> opening_and(std::vector<std::string> rest) {
  rest.insert(rest.begin(), kOpening.begin(), kOpening.end());
  return rest;
}

TEST(CodecChangeList, ForcesTheFirstStreamToH264AndFitsTheSecondToTheLists) {
  Daemon daemon;

  // First stream at a listed size; second stream slower than the cap.
  Camsim camera(json{{"profiles", {json::object(), {{"encoder", {{"fps", 12}}}}}}});
  Block request(camera.port());
  ResultBlockView in = request.view();
  set_options(in, block::kFirstOptions, {{704, 576}, {1920, 1080}, {1280, 720}});
  set_options(in, block::kSecondOptions, {{320, 240}, {704, 576}, {640, 480}});
  in.set_u8(block::kFirstFps, 25);
  in.set_s16(block::kFirstBitrate, 1500);
  in.set_u8(block::kFirstCodec, 7);
  size_t log_start = daemon.log().size();
  Reply reply = change_list(request);
  std::string log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetVideoEncoderConfiguration MainEncoder",
                         "SetVideoEncoderConfiguration MainEncoder", "GetProfile MainProfile",
                         "GetStreamUri MainProfile", "GetProfile SubProfile",
                         "GetVideoEncoderConfiguration SubEncoder", "SetVideoEncoderConfiguration SubEncoder",
                         "GetProfile SubProfile", "GetVideoEncoderConfiguration SubEncoder",
                         "GetStreamUri SubProfile"}),
            call_trace(camera));
  std::vector<json> sets = calls_of(camera, "SetVideoEncoderConfiguration");
  ASSERT_EQ(2u, sets.size());
  EXPECT_EQ("H264", sets[0]["encoding"]);
  EXPECT_EQ(1920, sets[0]["width"]);  // listed: kept
  EXPECT_EQ(25, sets[0]["fps"]);
  EXPECT_EQ(4000, sets[0]["bitrate"]);  // above 20 fps, whatever was asked
  EXPECT_EQ(30, sets[0]["gov"]);
  EXPECT_EQ("JPEG", sets[1]["encoding"]);
  EXPECT_EQ(704, sets[1]["width"]);  // the width nearest to 1280
  EXPECT_EQ(576, sets[1]["height"]);
  EXPECT_EQ(12, sets[1]["fps"]);
  EXPECT_EQ(1024, sets[1]["bitrate"]);  // the camera's own
  for (const json& set : sets) EXPECT_EQ(true, set["force_persistence"]);
  Block got_block(reply.block);
  ResultBlockView got = got_block.view();
  EXPECT_EQ(1920, got.s16(block::kFirstWidth));
  EXPECT_EQ(4000, got.s16(block::kFirstBitrate));
  EXPECT_EQ(7, got.u8(block::kFirstCodec));  // never rewritten by this variant
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/main", got.text(block::kFirstUri, 50));
  EXPECT_EQ(704, got.s16(block::kSecondWidth));
  EXPECT_EQ(kCodecJpeg, got.u8(block::kSecondCodec));
  EXPECT_EQ(12, got.u8(block::kSecondFps));
  EXPECT_EQ(1024, got.s16(block::kSecondBitrate));
  EXPECT_TRUE(printed(log, "[IP CAMERA SETTING] suc \nnet codec width(704) height(576) \n"
                           "1).second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (1)\n"))
      << log;

  // A JPEG first stream is made H.264 at once; all-zero lists give 0 x 0; a
  // request without rate asks for 6 fps and 4000; an H.264-capable second
  // stream at 30 fps is lowered to 15 at 4000.
  Camsim jpeg(json{{"validate_set", false},
                   {"profiles", {{{"encoder", {{"encoding", "JPEG"}, {"width", 640}, {"height", 480}}}},
                                 {{"encoder", {{"fps", 30}}}}}}});
  Block zero(jpeg.port());
  zero.view().set_s16(block::kRegH264Capable, 1);
  log_start = daemon.log().size();
  reply = change_list(zero);
  log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  sets = calls_of(jpeg, "SetVideoEncoderConfiguration");
  ASSERT_EQ(3u, sets.size());
  EXPECT_EQ("H264", sets[0]["encoding"]);
  EXPECT_EQ(640, sets[0]["width"]);
  EXPECT_EQ(0, sets[1]["width"]);
  EXPECT_EQ(0, sets[1]["height"]);
  EXPECT_EQ(6, sets[1]["fps"]);
  EXPECT_EQ(4000, sets[1]["bitrate"]);
  EXPECT_EQ("H264", sets[2]["encoding"]);
  EXPECT_EQ(1, sets[2]["gov"]);
  EXPECT_EQ(15, sets[2]["fps"]);
  EXPECT_EQ(4000, sets[2]["bitrate"]);
  Block zero_reply(reply.block);
  EXPECT_EQ(4000, zero_reply.view().s16(block::kFirstBitrate));
  EXPECT_EQ(15, zero_reply.view().u8(block::kSecondFps));
  EXPECT_EQ(4000, zero_reply.view().s16(block::kSecondBitrate));
  EXPECT_EQ(kCodecH264, zero_reply.view().u8(block::kSecondCodec));
  EXPECT_TRUE(printed(log, "net codec width(0) height(0) \n")) << log;
  EXPECT_TRUE(printed(log, "1).second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (2)\n")) << log;
}

TEST(CodecChangeList, RetriesARejectedSetOnceAndReportsWhatFailed) {
  Daemon daemon;
  auto listed_request = [](int port) {
    Block request(port);
    set_options(request.view(), block::kFirstOptions, {{1920, 1080}});
    set_options(request.view(), block::kSecondOptions, {{640, 480}});
    return request;
  };

  // Each set goes through on its second try.
  Camsim once(json{{"faults", {reject_set("MainEncoder", 1), reject_set("SubEncoder", 1)}}});
  size_t log_start = daemon.log().size();
  Reply reply = change_list(listed_request(once.port()));
  std::string log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetVideoEncoderConfiguration MainEncoder",
                         "SetVideoEncoderConfiguration MainEncoder", "SetVideoEncoderConfiguration MainEncoder",
                         "GetProfile MainProfile", "GetStreamUri MainProfile", "GetProfile SubProfile",
                         "GetVideoEncoderConfiguration SubEncoder", "SetVideoEncoderConfiguration SubEncoder",
                         "SetVideoEncoderConfiguration SubEncoder", "GetProfile SubProfile",
                         "GetVideoEncoderConfiguration SubEncoder", "GetStreamUri SubProfile"}),
            call_trace(once));
  EXPECT_TRUE(printed(log, "[IP CAMERA SETTING] suc 2\n")) << log;
  EXPECT_FALSE(printed(log, "[IP CAMERA SETTING] suc \n")) << log;
  EXPECT_TRUE(printed(log, "\n.second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (1)\n")) << log;

  // The first stream refuses twice: the command ends there and fails.
  Camsim stubborn(json{{"faults", {reject_set("MainEncoder", nullptr)}}});
  log_start = daemon.log().size();
  reply = change_list(listed_request(stubborn.port()));
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetVideoEncoderConfiguration MainEncoder",
                         "SetVideoEncoderConfiguration MainEncoder",
                         "SetVideoEncoderConfiguration MainEncoder"}),
            call_trace(stubborn));
  EXPECT_TRUE(printed(log_since(daemon, log_start), "[IP CAMERA SETTING] failed \n"));

  // The second stream refuses twice (the first cannot be read, so it is
  // left alone): re-read without a new address, the address the block holds
  // printed at most 50 characters long, and the command still succeeds.
  Camsim second_stubborn(
      json{{"faults", {fail_always("GetProfile", "MainProfile"), reject_set("SubEncoder", nullptr)}}});
  Block request = listed_request(second_stubborn.port());
  const std::string uri50 = "rtsp://old/" + std::string(39, 'o');
  std::copy(uri50.begin(), uri50.end(), request.bytes.begin() + block::kSecondUri);
  request.view().set_u8(block::kFirstFlag, 'X');
  log_start = daemon.log().size();
  reply = change_list(request);
  log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetProfile SubProfile",
                         "GetVideoEncoderConfiguration SubEncoder",
                         "SetVideoEncoderConfiguration SubEncoder", "SetVideoEncoderConfiguration SubEncoder",
                         "GetProfile SubProfile", "GetVideoEncoderConfiguration SubEncoder"}),
            call_trace(second_stubborn));
  EXPECT_TRUE(printed(log, ".second rtsp url : " + uri50 + "  codec (1)\nnetwork codec changed failed \n"))
      << log;
  EXPECT_EQ(uri50, Block(reply.block).uri_bytes(block::kSecondUri));

  // ... and when the camera then still reports an encoding the recorder
  // cannot take, the command fails.
  Camsim mpeg4(json{{"faults", {fail_always("GetProfile", "MainProfile"), reject_set("SubEncoder", nullptr)}},
                    {"profiles", {json::object(), {{"encoder", {{"encoding", "MPEG4"}}}}}}});
  log_start = daemon.log().size();
  reply = change_list(listed_request(mpeg4.port()));
  log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ("GetVideoEncoderConfiguration SubEncoder", call_trace(mpeg4).back());
  EXPECT_TRUE(printed(log, "net codec failed \n")) << log;
  EXPECT_FALSE(printed(log, "rtsp url")) << log;
}

TEST(CodecChangeExplicit, SendsTheRequestedSettingsToTheFirstTwoProfiles) {
  Daemon daemon;
  // Named so that the pair rule of the list variant would pick "Profile2".
  Camsim camera(json{{"validate_set", false}, {"profiles", {{{"token", "Profile1"}}, {{"token", "Other"}}}}});
  Block request(camera.port());
  ResultBlockView in = request.view();
  in.set_s16(block::kFirstWidth, 1280);
  in.set_s16(block::kFirstHeight, 720);
  in.set_u8(block::kFirstFps, 25);
  in.set_s16(block::kFirstBitrate, 1500);
  in.set_s16(block::kFirstQuality, 77);
  in.set_uri(block::kFirstUri, "rtsp://as-sent");
  in.set_u8(block::kSecondCodec, kCodecH264);
  in.set_s16(block::kSecondWidth, 704);
  in.set_s16(block::kSecondHeight, 576);
  in.set_u8(block::kSecondFps, 10);
  in.set_s16(block::kSecondQuality, 0);
  in.set_range(kSecondStream.quality_range, 1, 100);
  size_t log_start = daemon.log().size();
  Reply reply = change_explicit(request);
  std::string log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile Profile1", "GetVideoEncoderConfiguration MainEncoder",
                         "SetVideoEncoderConfiguration MainEncoder", "GetProfile Other",
                         "GetVideoEncoderConfiguration SubEncoder", "SetVideoEncoderConfiguration SubEncoder",
                         "GetProfile Other", "GetVideoEncoderConfiguration SubEncoder", "GetStreamUri Other"}),
            call_trace(camera));
  std::vector<json> sets = calls_of(camera, "SetVideoEncoderConfiguration");
  ASSERT_EQ(2u, sets.size());
  EXPECT_EQ(1280, sets[0]["width"]);
  EXPECT_EQ(25, sets[0]["fps"]);
  EXPECT_EQ(4000, sets[0]["bitrate"]);
  EXPECT_EQ("H264", sets[0]["encoding"]);
  EXPECT_EQ("H264", sets[1]["encoding"]);
  EXPECT_EQ(704, sets[1]["width"]);
  EXPECT_EQ(0.0, sets[1]["quality"]);  // below the lower bound, but not above the upper one
  EXPECT_EQ(10, sets[1]["fps"]);
  EXPECT_EQ(4000, sets[1]["bitrate"]);
  Block first_reply(reply.block);
  ResultBlockView got = first_reply.view();
  EXPECT_EQ(4000, got.s16(block::kFirstBitrate));
  EXPECT_EQ(77, got.s16(block::kFirstQuality));  // the first stream is not read back
  EXPECT_EQ("rtsp://as-sent", got.text(block::kFirstUri, 50));
  EXPECT_EQ(kCodecH264, got.u8(block::kSecondCodec));
  EXPECT_EQ(4000, got.s16(block::kSecondBitrate));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/sub", got.text(block::kSecondUri, 50));
  EXPECT_TRUE(printed(log, "1).second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (2)\n")) << log;

  // The same codec again: the set is sent a second time. A quality outside
  // its bounds on both sides falls back to 50; above 14 fps the stream gets
  // 15 at 4000.
  in.set_s16(block::kSecondQuality, 7);
  in.set_range(kSecondStream.quality_range, 10, 5);
  in.set_u8(block::kSecondFps, 20);
  log_start = daemon.log().size();
  reply = change_explicit(request);
  log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  std::vector<std::string> trace = call_trace(camera);
  EXPECT_EQ((std::vector<std::string>{"SetVideoEncoderConfiguration SubEncoder",
                                      "SetVideoEncoderConfiguration SubEncoder", "GetProfile Other",
                                      "GetVideoEncoderConfiguration SubEncoder", "GetStreamUri Other"}),
            std::vector<std::string>(trace.end() - 5, trace.end()));
  sets = calls_of(camera, "SetVideoEncoderConfiguration");
  EXPECT_EQ(50.0, sets.back()["quality"]);
  EXPECT_EQ(15, sets.back()["fps"]);
  EXPECT_EQ(4000, sets.back()["bitrate"]);
  EXPECT_EQ(15, Block(reply.block).view().u8(block::kSecondFps));
  EXPECT_TRUE(printed(log, "\n.second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (2)\n")) << log;
  EXPECT_FALSE(printed(log, "network codec changed failed")) << log;

  // Passing either bound is enough: 200 against 1..100 is sent as it is.
  in.set_s16(block::kSecondQuality, 200);
  in.set_range(kSecondStream.quality_range, 1, 100);
  in.set_u8(block::kSecondCodec, kCodecJpeg);
  reply = change_explicit(request);
  EXPECT_EQ(200.0, calls_of(camera, "SetVideoEncoderConfiguration").back()["quality"]);
  EXPECT_EQ(kCodecJpeg, Block(reply.block).view().u8(block::kSecondCodec));
}

TEST(CodecChangeExplicit, FailuresEndInTheirReplyCodes) {
  Daemon daemon;

  // Both tries of the second set refused: re-read without a new address.
  Camsim stubborn(json{{"faults", {reject_set("SubEncoder", nullptr)}}});
  Block request(stubborn.port());
  request.view().set_s16(block::kFirstWidth, 1920);
  request.view().set_s16(block::kFirstHeight, 1080);
  request.view().set_u8(block::kFirstFps, 10);
  request.view().set_u8(block::kSecondCodec, kCodecH264);
  request.view().set_s16(block::kSecondWidth, 640);
  request.view().set_s16(block::kSecondHeight, 480);
  request.view().set_u8(block::kSecondFps, 10);
  request.view().set_uri(block::kSecondUri, "rtsp://before");
  size_t log_start = daemon.log().size();
  Reply reply = change_explicit(request);
  std::string log = log_since(daemon, log_start);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  std::vector<std::string> trace = call_trace(stubborn);
  EXPECT_EQ((std::vector<std::string>{"SetVideoEncoderConfiguration SubEncoder",
                                      "SetVideoEncoderConfiguration SubEncoder", "GetProfile SubProfile",
                                      "GetVideoEncoderConfiguration SubEncoder"}),
            std::vector<std::string>(trace.end() - 4, trace.end()));
  EXPECT_TRUE(printed(log, ".second rtsp url : rtsp://before  codec (1)\nnetwork codec changed failed \n"))
      << log;

  // An encoder that cannot be read is left alone; a second stream that
  // cannot be read ends the command without failure.
  Camsim unreadable(json{{"faults", {fail_always("GetVideoEncoderConfiguration", "MainEncoder"),
                                     fail_always("GetProfile", "SubProfile")}}});
  reply = change_explicit(Block(unreadable.port()));
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetVideoEncoderConfiguration MainEncoder",
                         "GetProfile SubProfile"}),
            call_trace(unreadable));

  // Refused capabilities: the request comes back as sent, as a failure.
  Block wrong_password(block_request(unreadable.port(), "admin", "wrong"));
  reply = change_explicit(wrong_password);
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(wrong_password.bytes, reply.block);
}

TEST(CodecChange, ModelsThatKeepTheirEncodersAreOnlyRead) {
  Daemon daemon;
  auto request_for = [](int port) {
    Block request(port);
    ResultBlockView in = request.view();
    set_options(in, block::kFirstOptions, {{1920, 1080}});
    set_options(in, block::kSecondOptions, {{640, 480}});
    in.set_u8(block::kFirstFlag, 5);
    in.set_u8(block::kSecondFlag, 5);
    in.set_range(kFirstStream.quality_range, 33, 44);
    return request;
  };

  // XR-410: profile 0 to the second stream, profile 1 to the first, codecs
  // fixed by the slot whatever the camera streams.
  Camsim xr410(json{{"model", "XR-410"}});
  Reply reply = change_list(request_for(xr410.port()));
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetStreamUri MainProfile", "GetProfile SubProfile",
                         "GetStreamUri SubProfile"}),
            call_trace(xr410));
  for (const json& entry : xr410.record()) EXPECT_EQ("fresh", entry["token"]) << entry["op"];
  Block got_block(reply.block);
  ResultBlockView got = got_block.view();
  EXPECT_EQ(0, got.u8(block::kSecondFlag));
  EXPECT_EQ(1920, got.s16(block::kSecondWidth));
  EXPECT_EQ(kCodecJpeg, got.u8(block::kSecondCodec));
  EXPECT_EQ(25, got.u8(block::kSecondFps));
  EXPECT_EQ(5, got.s16(block::kSecondQuality));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/main", got.text(block::kSecondUri, 50));
  EXPECT_EQ(0, got.u8(block::kFirstFlag));
  EXPECT_EQ(640, got.s16(block::kFirstWidth));
  EXPECT_EQ(kCodecH264, got.u8(block::kFirstCodec));
  EXPECT_EQ(1024, got.s16(block::kFirstBitrate));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/sub", got.text(block::kFirstUri, 50));
  EXPECT_EQ(1, got.s16(kFirstStream.fps_range));
  EXPECT_EQ(30, got.s16(kFirstStream.fps_range + 2));
  EXPECT_EQ(1, got.s16(kSecondStream.fps_range));
  EXPECT_EQ(15, got.s16(kSecondStream.fps_range + 2));
  EXPECT_EQ(33, got.s16(kFirstStream.quality_range));  // not the first stream's to write
  EXPECT_EQ(1, got.s16(kSecondStream.quality_range));
  EXPECT_EQ(100, got.s16(kSecondStream.quality_range + 2));
  for (const StreamLayout* stream : {&kFirstStream, &kSecondStream}) {
    EXPECT_EQ(2048, got.s16(stream->bitrate_range));
    EXPECT_EQ(6000, got.s16(stream->bitrate_range + 2));
    EXPECT_EQ(0, got.option_width(stream->options, 0));
  }

  // XR-520: the first stream comes from profile 2; the explicit variant
  // takes the same road.
  Camsim xr520(json{{"model", "XR-520"}, {"profile_count", 3}});
  reply = change_explicit(request_for(xr520.port()));
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetStreamUri MainProfile", "GetProfile Stream3",
                         "GetStreamUri Stream3"}),
            call_trace(xr520));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/stream3", Block(reply.block).view().text(block::kFirstUri, 50));

  // Without a profile 2 the first stream is left as it came.
  Camsim short_xr520(json{{"model", "XR-520"}});
  Block request = request_for(short_xr520.port());
  reply = change_list(request);
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetStreamUri MainProfile"}), call_trace(short_xr520));
  EXPECT_TRUE(std::equal(request.bytes.begin() + block::kFirstUri, request.bytes.begin() + block::kSecondUri,
                         reply.block.begin() + block::kFirstUri));
  EXPECT_EQ(5, Block(reply.block).view().u8(block::kFirstFlag));
  EXPECT_EQ(1920, Block(reply.block).view().option_width(block::kFirstOptions, 0));
}

}  // namespace
}  // namespace vantel_test
