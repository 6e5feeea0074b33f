// The network codec change end to end, both variants: what the daemon sends
// camsim (read from its record, in order), the block and the reply code it
// answers, and the lines it prints.
#include <gtest/gtest.h>

#include <string>

#include "harness.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

constexpr uint32_t kList = 0, kExplicit = RIFA_CMD_NET_CODEC;  // the two variants' minor codes

Reply change(uint32_t variant, const Block& block) { return send_block(RIFA_CMD_NET_CODEC, variant, block); }

json reject_set(const std::string& encoder, json times = nullptr) {
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

Lines opening_and(const Lines& rest) {
  Lines all = {"GetCapabilities", "GetProfiles", "GetDeviceInformation"};
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
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
  size_t from = daemon.log().size();
  Reply reply = change(kList, request);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  // What the re-reads found shows in the block below.
  EXPECT_EQ(14u, camera.record().size());
  // Listed size kept; above 20 fps the bitrate is 4000 whatever was asked.
  // Then the listed width nearest to 1280; the camera's own rate at 12 fps.
  expect_pushes(camera, {{{"token", "MainEncoder"}, {"encoding", "H264"}, {"width", 1920}, {"fps", 25},
                          {"bitrate", 4000}, {"gov", 30}, {"force_persistence", true}},
                         {{"token", "SubEncoder"}, {"encoding", "JPEG"}, {"width", 704}, {"height", 576}, {"fps", 12},
                          {"bitrate", 1024}, {"force_persistence", true}}});
  Block got(reply.block);
  // The first codec byte is never rewritten by this variant.
  EXPECT_EQ((Ints{1920, 1080, 7, 25, 5, 4000}), stream_fields(got.view(), 0));
  EXPECT_EQ((Ints{704, 576, kCodecJpeg, 12, 3, 1024}), stream_fields(got.view(), 1));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/main", got.view().text(block::kFirstUri, 50));
  std::string log = daemon.log().substr(from);
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
  from = daemon.log().size();
  reply = change(kList, zero);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  expect_pushes(jpeg, {{{"encoding", "H264"}, {"width", 640}},
                       {{"width", 0}, {"height", 0}, {"fps", 6}, {"bitrate", 4000}},
                       {{"encoding", "H264"}, {"gov", 1}, {"fps", 15}, {"bitrate", 4000}}});
  ResultBlockView zero_reply(reply.block.data());
  EXPECT_EQ(4000, zero_reply.s16(block::kFirstBitrate));
  EXPECT_EQ((Ints{kCodecH264, 15, 4000}), (Ints{zero_reply.u8(block::kSecondCodec), zero_reply.u8(block::kSecondFps),
                                                zero_reply.s16(block::kSecondBitrate)}));
  log = daemon.log().substr(from);
  EXPECT_TRUE(printed(log, "net codec width(0) height(0) \n")) << log;
  EXPECT_TRUE(printed(log, "1).second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (2)\n")) << log;
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
  Reply reply = change(kExplicit, request);
  EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
  // Each setting to its profile's encoder, Other's read back; a pair rule
  // would have asked for Profile2 and found none.
  EXPECT_EQ(12u, camera.record().size());
  // Quality 0 is below the lower bound but not above the upper one: sent.
  expect_pushes(camera,
                {{{"token", "MainEncoder"}, {"encoding", "H264"}, {"width", 1280}, {"fps", 25}, {"bitrate", 4000}},
                 {{"token", "SubEncoder"}, {"encoding", "H264"}, {"width", 704}, {"quality", 0.0}, {"fps", 10},
                  {"bitrate", 4000}}});
  ResultBlockView got(reply.block.data());
  EXPECT_EQ(4000, got.s16(block::kFirstBitrate));
  EXPECT_EQ(77, got.s16(block::kFirstQuality));  // the first stream is not read back
  EXPECT_EQ("rtsp://as-sent", got.text(block::kFirstUri, 50));
  EXPECT_EQ(kCodecH264, got.u8(block::kSecondCodec));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/sub", got.text(block::kSecondUri, 50));
  EXPECT_TRUE(daemon.wait_for_log("1).second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (2)\n"));

  // A first stream in H.265 goes back in H.265: only its sizes and rates change.
  Camsim h265(json{{"validate_set", false}, {"encoding_main", "H265"}});
  change(kExplicit, Block(h265.port()));
  expect_values(values_of(h265, "SetVideoEncoderConfiguration").at(0), {{"token", "MainEncoder"}, {"encoding", "H265"}});

  // The same codec again: the set is sent a second time. A quality outside
  // its bounds on both sides falls back to 50; above 14 fps the stream gets
  // 15 at 4000. Passing either bound is enough: 200 against 1..100 is sent.
  struct Again {
    int16_t quality, lower, upper;
    uint8_t fps, codec;
    json sent;
  };
  for (const Again& a : {Again{7, 10, 5, 20, kCodecH264, {{"quality", 50.0}, {"fps", 15}, {"bitrate", 4000}}},
                         Again{200, 1, 100, 14, kCodecJpeg, {{"quality", 200.0}, {"fps", 14}}}}) {
    in.set_s16(block::kSecondQuality, a.quality);
    in.set_range(kSecondStream.quality_range, a.lower, a.upper);
    in.set_u8(block::kSecondFps, a.fps);
    in.set_u8(block::kSecondCodec, a.codec);
    const size_t sets_before = values_of(camera, "SetVideoEncoderConfiguration").size();
    reply = change(kExplicit, request);
    EXPECT_EQ(RIFA_RPL_RESULT, reply.minor);
    const std::vector<json> sets = values_of(camera, "SetVideoEncoderConfiguration");
    EXPECT_EQ(sets_before + (a.codec == kCodecH264 ? 3 : 2), sets.size()) << a.quality;
    expect_values(sets.back(), a.sent);
    EXPECT_EQ(a.sent["fps"], Block(reply.block).view().u8(block::kSecondFps));
    EXPECT_EQ(a.codec, Block(reply.block).view().u8(block::kSecondCodec));
  }
  EXPECT_FALSE(printed(daemon.log(), "network codec changed failed")) << daemon.log();
}

// A refused set is sent once more; what still fails ends in the reply code
// and the lines. Each case runs against its own camera.
TEST(CodecChange, RetriesAndFailuresEndInTheirReplyCodes) {
  Daemon daemon;
  const std::string uri50 = "rtsp://old/" + std::string(39, 'o');
  const Lines main_set = {"GetProfile MainProfile", "GetVideoEncoderConfiguration MainEncoder",
                          "SetVideoEncoderConfiguration MainEncoder"};
  const Lines sub_set = {"GetProfile SubProfile", "GetVideoEncoderConfiguration SubEncoder",
                         "SetVideoEncoderConfiguration SubEncoder", "SetVideoEncoderConfiguration SubEncoder",
                         "GetProfile SubProfile", "GetVideoEncoderConfiguration SubEncoder"};
  auto join = [](Lines a, const Lines& b) { return a.insert(a.end(), b.begin(), b.end()), a; };
  struct Case {
    const char* what;
    uint32_t variant;
    json faults, profiles;
    Lines trace;  // after the opening calls
    uint32_t minor;
    Lines printed;
    std::string not_printed;
  };
  const Case cases[] = {
      {"each set through on its second try", kList,
       {reject_set("MainEncoder", 1), reject_set("SubEncoder", 1)},
       nullptr,
       join(join(main_set, {"SetVideoEncoderConfiguration MainEncoder", "GetProfile MainProfile",
                            "GetStreamUri MainProfile"}),
            join(sub_set, {"GetStreamUri SubProfile"})),
       RIFA_RPL_RESULT,
       {"[IP CAMERA SETTING] suc 2\n", "\n.second rtsp url : rtsp://127.0.0.1:8554/live/sub  codec (1)\n"},
       "[IP CAMERA SETTING] suc \n"},
      {"first stream refuses twice", kList, {reject_set("MainEncoder")}, nullptr,
       join(main_set, {"SetVideoEncoderConfiguration MainEncoder"}), RIFA_RPL_CODEC_FAIL,
       {"[IP CAMERA SETTING] failed \n"}, "rtsp url"},
      // Re-read without a new address: the block's own, at most 50 long.
      {"second stream refuses twice", kList, {fail_always("GetProfile", "MainProfile"), reject_set("SubEncoder")},
       nullptr, join({"GetProfile MainProfile"}, sub_set), RIFA_RPL_RESULT,
       {".second rtsp url : " + uri50 + "  codec (1)\nnetwork codec changed failed \n"}, "suc"},
      {"then an encoding the recorder cannot take", kList,
       {fail_always("GetProfile", "MainProfile"), reject_set("SubEncoder")},
       {json::object(), {{"encoder", {{"encoding", "MPEG4"}}}}}, join({"GetProfile MainProfile"}, sub_set),
       RIFA_RPL_CODEC_FAIL, {"net codec failed \n"}, "rtsp url"},
      {"explicit, second stream refuses twice", kExplicit, {reject_set("SubEncoder")}, nullptr,
       join(main_set, sub_set), RIFA_RPL_RESULT,
       {".second rtsp url : " + uri50 + "  codec (1)\nnetwork codec changed failed \n"}, "1).second"},
      // An encoder that cannot be read is left alone; a second stream that
      // cannot be read ends the command without failure.
      {"explicit, unreadable", kExplicit,
       {fail_always("GetVideoEncoderConfiguration", "MainEncoder"), fail_always("GetProfile", "SubProfile")},
       nullptr, Lines{main_set[0], main_set[1], "GetProfile SubProfile"}, RIFA_RPL_RESULT, {}, "rtsp url"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    json config = {{"validate_set", false}, {"faults", c.faults}};
    if (!c.profiles.is_null()) config["profiles"] = c.profiles;
    Camsim camera(config);
    Block request(camera.port());
    ResultBlockView in = request.view();
    set_options(in, block::kFirstOptions, {{1920, 1080}});
    set_options(in, block::kSecondOptions, {{640, 480}});
    in.set_u8(block::kSecondCodec, kCodecH264);
    std::copy(uri50.begin(), uri50.end(), request.bytes.begin() + block::kSecondUri);
    in.set_u8(block::kFirstFlag, 'X');
    const size_t from = daemon.log().size();
    EXPECT_EQ(c.minor, change(c.variant, request).minor);
    EXPECT_EQ(opening_and(c.trace), trace(camera));
    const std::string log = daemon.log().substr(from);
    for (const std::string& line : c.printed) EXPECT_TRUE(printed(log, line)) << log;
    EXPECT_FALSE(printed(log, c.not_printed)) << log;
  }

  // (Refused capabilities, a CODEC_FAIL, are the interop table's.)
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
  Reply reply = change(kList, request_for(xr410.port()));
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetStreamUri MainProfile", "GetProfile SubProfile",
                         "GetStreamUri SubProfile"}),
            trace(xr410));
  for (const json& entry : xr410.record()) EXPECT_EQ("fresh", entry["token"]) << entry["op"];
  ResultBlockView got(reply.block.data());
  EXPECT_EQ((Ints{640, 480, kCodecH264, 10, 3, 1024}), stream_fields(got, 0));
  EXPECT_EQ((Ints{1920, 1080, kCodecJpeg, 25, 5, 4096}), stream_fields(got, 1));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/sub", got.text(block::kFirstUri, 50));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/main", got.text(block::kSecondUri, 50));
  EXPECT_EQ(0, got.u8(block::kFirstFlag) + got.u8(block::kSecondFlag));
  // Ranges {lower, upper} of fps, quality (the first's is not ours to write)
  // and bitrate, stream by stream; and no option lists.
  Ints ranges;
  for (size_t at = block::kFpsRange; at < block::kFirstOptions; at += 2) ranges.push_back(got.s16(at));
  EXPECT_EQ((Ints{1, 30, 1, 15, 33, 44, 1, 100, 2048, 6000, 2048, 6000}), ranges);
  EXPECT_EQ(0, got.option_width(block::kFirstOptions, 0) + got.option_width(block::kSecondOptions, 0));

  // XR-520: the first stream comes from profile 2; the explicit variant
  // takes the same road.
  Camsim xr520(json{{"model", "XR-520"}, {"profile_count", 3}});
  reply = change(kExplicit, request_for(xr520.port()));
  EXPECT_EQ(RIFA_RPL_CODEC_FAIL, reply.minor);
  EXPECT_EQ(opening_and({"GetProfile MainProfile", "GetStreamUri MainProfile", "GetProfile Stream3",
                         "GetStreamUri Stream3"}),
            trace(xr520));
  EXPECT_EQ("rtsp://127.0.0.1:8554/live/stream3", Block(reply.block).view().text(block::kFirstUri, 50));
}

}  // namespace
}  // namespace vantel_test
