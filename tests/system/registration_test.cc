// Camera registration end to end against camsim: the block the recorder
// gets back, the calls and encoder pushes the camera sees, and the log.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "harness.h"

namespace vantel_test {
namespace {

using namespace vantel;
using namespace vantel::block;
using nlohmann::json;
using Sizes = std::vector<std::pair<int, int>>;

constexpr uint8_t kUntouched = 0x5a;
const std::string kRefused = "ter:InvalidArgVal/ter:ConfigModify";
const std::string kSubUri = "rtsp://127.0.0.1:8554/live/sub";

// Registers the camera on `port` with a request whose every byte but the
// camera's address and credentials holds a pattern, so that what the
// handler wrote (or cleared) shows against what it left alone.
Reply register_camera(int port, uint8_t second_codec, std::vector<uint8_t>* sent = nullptr) {
  std::vector<uint8_t> bytes = block_request(port, "admin", "admin");
  for (size_t i = 0; i < bytes.size(); ++i)
    if (i < kCameraIp || i >= kPassword + kCredentialSize) bytes[i] = kUntouched;
  std::memset(bytes.data() + kStatus, 0, 4);
  bytes[kSecondCodec] = second_codec;
  if (sent) *sent = bytes;
  return parse_reply(exchange(rifa_request(RIFA_CMD_CAMERA_SETTING, 0, bytes)));
}

// A big-endian field of the block and the value it should hold.
struct Field {
  size_t offset;
  int width;
  int32_t value;
};

// `block` holds `fields` and otherwise the bytes of `base` (by default
// itself: only the fields matter); byte by byte, so a failure names the offset.
void expect_fields(const std::vector<uint8_t>& block, const std::vector<Field>& fields, std::vector<uint8_t> base = {}) {
  ASSERT_EQ(kResultBlockSize, block.size());
  if (base.empty()) base = block;
  for (const Field& f : fields)
    for (int i = 0; i < f.width; ++i) base.at(f.offset + i) = uint8_t(uint32_t(f.value) >> 8 * (f.width - 1 - i));
  for (size_t i = 0; i < base.size(); ++i) EXPECT_EQ(base[i], block[i]) << "offset " << i;
}

Sizes padded(Sizes pairs) {
  pairs.resize(kOptionEntries, {0, 0});
  return pairs;
}

Sizes options_of(const std::vector<uint8_t>& bytes, size_t table) {
  ResultBlockView view(const_cast<uint8_t*>(bytes.data()));
  Sizes pairs;
  for (size_t i = 0; i < kOptionEntries; ++i) pairs.emplace_back(view.option_width(table, i), view.option_height(table, i));
  return pairs;
}

std::string uri_field(const std::vector<uint8_t>& bytes, size_t offset) {
  return std::string(bytes.begin() + offset, bytes.begin() + offset + kUriFieldSize);
}

// The first two lines of a registration that got past the profile list, the
// last two of one that read both streams, and the server's reply line.
std::string names(const std::string& model, const std::string& maker = "Kestrel Optics") {
  return "==>> Came\tname (" + model + ") \n==>> Model  name (" + maker + ") \n";
}
const std::string kCodecs = "jpeg enable \nh.264 enable \n";
std::string sent(bool ok) {
  return std::string("Send data : major(0x0b060001), minor(0x0b06100") + (ok ? "2" : "3") + ") size(480) \n";
}

TEST(Registration, PtzCameraIsSetUpAndReportedInEveryField) {
  Daemon daemon;
  const std::string maker = "Kestrel Optics International Surveillance GmbH";  // over 40 characters
  const std::string main_uri = "rtsp://127.0.0.1:8554/live/main/recording/stream/with/a/long/path";
  Camsim camera(json::parse(R"({
    "manufacturer": "Kestrel Optics International Surveillance GmbH",
    "profiles": [{"uri": "rtsp://{host}:8554/live/main/recording/stream/with/a/long/path"},
                 {"encoder": {"options": {"quality_range": [0, 60]}}}]})"));
  std::vector<uint8_t> want;
  const Reply reply = register_camera(camera.port(), kCodecH264, &want);
  EXPECT_EQ(RIFA_CMD_CAMERA_SETTING, reply.major);
  EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);

  // Every field registration writes; every other byte as the recorder sent it.
  auto text = [&want](size_t offset, const std::string& bytes) { std::memcpy(&want[offset], bytes.data(), bytes.size()); };
  text(kManufacturer, maker.substr(0, 39) + '\0');
  text(kModel, std::string("KPT-2120") + '\0');
  text(kFirstUri, main_uri.substr(0, kUriFieldSize));  // cut, no NUL
  text(kSecondUri, kSubUri + std::string(kUriFieldSize - kSubUri.size(), '\0'));
  // The option tables are compared as size pairs below.
  std::copy_n(reply.block.begin() + kFirstOptions, 2 * kOptionTableSize, want.begin() + kFirstOptions);
  expect_fields(reply.block,
                {{kStatus, 4, 1}, {kFirstFlag, 1, 5} /* 1920x1080 as read after the first push */,
                 {kSecondFlag, 1, 2} /* 640x480 as read after the codec push */, {kFirstWidth, 2, 1280},
                 {kFirstHeight, 2, 720}, {kSecondWidth, 2, 704}, {kSecondHeight, 2, 576}, {kSetupState, 1, 2},
                 {kFirstCodec, 1, kCodecH264}, {kSecondCodec, 1, kCodecH264}, {kPtzPresent, 1, 1},
                 {kReserved275, 1, 0}, {kFirstFps, 1, 8}, {kSecondFps, 1, 6}, {kFirstQuality, 2, 5},
                 {kSecondQuality, 2, 3}, {kFirstBitrate, 2, 4000}, {kSecondBitrate, 2, 1024}, {kRegZero, 2, 0},
                 {kRegOne, 2, 1}, {kRegJpegCapable, 2, 1}, {kRegH264Capable, 2, 1}, {kFpsRange, 2, 1},
                 {kFpsRange + 2, 2, 25}, {kFpsRange + 4, 2, 1}, {kFpsRange + 6, 2, 15},
                 {kQualityRange + 4, 2, 0}, {kQualityRange + 6, 2, 60} /* the first stream's stays unwritten */,
                 {kBitrateRange, 2, 2048}, {kBitrateRange + 2, 2, 6000}, {kBitrateRange + 4, 2, 2048},
                 {kBitrateRange + 6, 2, 6000}},
                want);
  EXPECT_EQ(padded({{1920, 1080}, {1280, 720}, {704, 576}}), options_of(reply.block, kFirstOptions));
  EXPECT_EQ(padded({{704, 576}, {640, 480}, {352, 288}, {320, 240}}), options_of(reply.block, kSecondOptions));

  // What each call read shows in the block; here how many there were,
  // each with a token of its own, and where the PTZ questions went.
  EXPECT_EQ(23u, camera.record().size());
  for (const json& entry : camera.record()) expect_values(entry, {{"token", "fresh"}, {"answer", "ok"}}, "each");
  EXPECT_EQ("/onvif/device_service", requests_of(camera, "GetNodes").at(0)["path"]);
  EXPECT_EQ("/onvif/ptz_service", requests_of(camera, "GetNode").at(0)["path"]);

  // Recording stream: H.264 at 8 fps / 4000 kbit/s, the rest as the camera had
  // it; then the recordable size nearest to 1280 wide with a GOP of 30.
  // Network stream: the requested codec at 6 fps, size and quality kept; then
  // quality 50 at the size nearest to 1280 and a GOP of 1.
  const std::pair<const char*, json> persistent = {"force_persistence", true};
  const std::pair<const char*, json> main = {"token", "MainEncoder"}, sub = {"token", "SubEncoder"};
  expect_pushes(camera, {{{"encoding", "H264"}, {"fps", 8}, {"bitrate", 4000}, {"width", 1920}, {"quality", 5.0},
                          {"gov", 50}, persistent, main},
                         {{"width", 1280}, {"height", 720}, {"gov", 30}, {"fps", 8}, persistent, main},
                         {{"encoding", "H264"}, {"fps", 6}, {"width", 640}, {"quality", 3.0}, persistent, sub},
                         {{"quality", 50.0}, {"width", 704}, {"height", 576}, {"gov", 1}, persistent, sub}});

  EXPECT_EQ(names("KPT-2120", maker) + "[ipcam]. ptz enable \n[rec]\trec width(1280) height(720) \n" +
                " changed ==>>\tnet width(704) height(576) \n" + kCodecs + sent(true),
            last_command_output(daemon));
}

TEST(Registration, CamerasThatCannotBeSetUpAreRefusedEarly) {
  Daemon daemon;
  // Nobody listening: a requested codec of 0 still comes back as JPEG.
  Reply unreachable = register_camera(0, 0);
  EXPECT_EQ(RIFA_RPL_SETTING_FAIL, unreachable.minor);
  expect_fields(unreachable.block, {{kSecondCodec, 1, kCodecJpeg}, {kStatus, 4, 3}});
  EXPECT_TRUE(std::regex_match(last_command_output(daemon),
                               std::regex("GetCapabilities error \\(-?[0-9]+\\)Send data : major\\(0x0b060001\\), "
                                          "minor\\(0x0b061003\\) size\\(480\\) \n")))
      << last_command_output(daemon);

  // No profile list, or one profile only: as unusable as none.
  Camsim no_profiles(json::parse(R"({"faults": [{"op": "GetProfiles", "times": null, "subcode": "ter:Action"}]})"));
  Camsim one_profile(json::object(), "jpegonly");
  for (const Camsim* camera : {&no_profiles, &one_profile}) {
    std::vector<uint8_t> request;
    Reply refused = register_camera(camera->port(), kCodecH264, &request);
    EXPECT_EQ(RIFA_RPL_SETTING_FAIL, refused.minor);
    EXPECT_EQ("IP CAM ERROR, CHECK IP CAMERA !! \n" + sent(false), last_command_output(daemon));
    EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles"}), trace(*camera));
    expect_fields(refused.block, {{kStatus, 4, 3}}, request);
  }
}

TEST(Registration, RefusedPushesAreRetriedAndTheStreamsReportedAsTheyRun) {
  Daemon daemon;
  // Every first attempt refused; the recording stream's second push (GOP 30
  // beyond the camera's range) and the network stream's (quality 50 beyond
  // 0..10) are refused every time. The PTZ entry names no address: no
  // node is asked for.
  Camsim camera(json::parse(R"({
    "ptz": "empty",
    "faults": [
      {"op": "SetVideoEncoderConfiguration", "times": 1, "match": "MainEncoder",
       "subcode": "ter:InvalidArgVal/ter:ConfigModify"},
      {"op": "SetVideoEncoderConfiguration", "times": 1, "match": "SubEncoder",
       "subcode": "ter:InvalidArgVal/ter:ConfigModify"}],
    "profiles": [{"encoder": {"gov": 20, "options": {"h264": {"gov_range": [1, 20]}}}}, {}]})"));
  const Reply reply = register_camera(camera.port(), kCodecJpeg);
  EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
  // As the camera runs after the retried codec push; the refused size is still the one reported.
  expect_fields(reply.block, {{kPtzPresent, 1, 0}, {kSecondFps, 1, 6}, {kSecondBitrate, 2, 1024},
                              {kSecondFlag, 1, 2}, {kSecondWidth, 2, 704}, {kSecondHeight, 2, 576}});
  EXPECT_EQ(kSubUri + std::string(kUriFieldSize - kSubUri.size(), '\0'), uri_field(reply.block, kSecondUri));
  EXPECT_EQ(names("KPT-2120") + "[ipcam]. ptz disable \n" +
                "H.264 Recording setting failed \nH.264 Recording setting suc. \n" +
                "[rec]\trec width(1280) height(720) \n" +
                "H.264 Recording setting failed \nH.264 Recording setting failed again\n" +
                "codec changed try again \ncodec changed suc \n" +
                " changed ==>>\tnet width(704) height(576) \nnet setup failed \n" + kCodecs + sent(true),
            last_command_output(daemon));

  // Each retry follows its refused push directly, after a second for each
  // stream's first push and 50 ms for the recording size; the refused
  // network push is followed by an options request instead.
  const std::vector<json> record = camera.record();
  std::vector<size_t> at;
  for (size_t i = 0; i < record.size(); ++i)
    if (record[i]["op"] == "SetVideoEncoderConfiguration") at.push_back(i);
  ASSERT_EQ(7u, at.size());
  const std::vector<std::string> answers = {kRefused, "ok", kRefused, kRefused, kRefused, "ok", kRefused};
  for (size_t k = 0; k < at.size(); ++k) EXPECT_EQ(answers[k], record[at[k]]["answer"]) << "push " << k;
  struct Pause { size_t push; double lowest, highest; };
  for (const Pause& p : {Pause{0, 0.95, 3.0}, Pause{2, 0.045, 0.9}, Pause{4, 0.95, 3.0}}) {
    EXPECT_EQ(at[p.push] + 1, at[p.push + 1]) << "retry of push " << p.push;
    const double pause = record[at[p.push + 1]]["time"].get<double>() - record[at[p.push]]["time"].get<double>();
    EXPECT_TRUE(pause >= p.lowest && pause < p.highest) << "retry of push " << p.push << " after " << pause << " s";
  }
  EXPECT_EQ("GetVideoEncoderConfigurationOptions", record[at[6] + 1]["op"]);
  EXPECT_EQ(at[6] + 2, record.size());

  // The network stream refuses its codec push twice and cannot be read
  // again: it is reported as forgotten, neither codec offered.
  Camsim forgetful(json::parse(R"({"faults": [
      {"op": "SetVideoEncoderConfiguration", "times": 2, "match": "SubEncoder", "subcode": "ter:InvalidArgVal"},
      {"op": "GetProfile", "times": null, "after": 1, "match": "SubProfile", "subcode": "ter:InvalidArgVal"}]})"));
  std::vector<uint8_t> sent_block;
  const Reply forgotten = register_camera(forgetful.port(), kCodecH264, &sent_block);
  EXPECT_EQ(RIFA_RPL_SETTING_OK, forgotten.minor);
  expect_fields(forgotten.block, {{kSecondFlag, 1, 0}, {kSecondFps, 1, 0}, {kSecondBitrate, 2, 0},
                                  {kSecondQuality, 2, 0}, {kRegJpegCapable, 2, 0}, {kRegH264Capable, 2, 0}});
  EXPECT_EQ(std::string(kUriFieldSize, '\0'), uri_field(forgotten.block, kSecondUri));
  EXPECT_NE(std::string::npos, last_command_output(daemon).find(
                                   "codec changed try again \ncodec changed failed \n"
                                   "=> Profile 1 Not Support ( MPEG4 ) !!! \n" + sent(true)))
      << last_command_output(daemon);
}

// Which sizes are recordable, and that only the first twenty count, is the
// unit tests' business; here the tables as they reach the block.
TEST(Registration, SizeTablesKeepTwentyEntries) {
  Daemon daemon;
  // No recordable size at all: the recording stream is pushed 0x0. The
  // network stream lists 26 sizes; the 21st, 1280x720, is beyond the table.
  Sizes network;
  for (int i = 0; i < 26; ++i) network.emplace_back(i == 20 ? 1280 : 400 + 10 * i, i == 20 ? 720 : 300);
  json config = json::parse(R"({"validate_set": false, "profiles": [
      {"encoder": {"options": {"h264": {"resolutions": [[640, 480], [720, 576], [1024, 768]]}}}},
      {"encoder": {"options": {"jpeg": {}}}}]})");
  for (const auto& [w, h] : network) config["profiles"][1]["encoder"]["options"]["jpeg"]["resolutions"].push_back({w, h});
  Camsim camera(config);
  const Reply reply = register_camera(camera.port(), kCodecJpeg);
  EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
  EXPECT_EQ(padded({}), options_of(reply.block, kFirstOptions));
  EXPECT_EQ(Sizes(network.begin(), network.begin() + 20), options_of(reply.block, kSecondOptions));
  expect_fields(reply.block, {{478, 2, kUntouched * 0x101}});
  // The second network push: the nearest to 1280 among the twenty kept.
  expect_pushes(camera, {{}, {{"width", 0}, {"height", 0}}, {}, {{"width", 590}}});
  EXPECT_NE(std::string::npos, last_command_output(daemon).find("[rec]\trec width(0) height(0) \n"));
}

TEST(Registration, UnreadableProfilesAndModelsReadOtherwise) {
  Daemon daemon;
  {
    // Profile 0 cannot be read: the network stream is still set up.
    Camsim camera(json::parse(R"({"faults": [{"op": "GetProfile", "times": null, "match": "MainProfile",
                                               "subcode": "ter:InvalidArgVal/ter:NoProfile"}]})"));
    const Reply reply = register_camera(camera.port(), kCodecJpeg);
    EXPECT_EQ(RIFA_RPL_SETTING_FAIL, reply.minor);
    EXPECT_EQ(std::string(50, '\0'), uri_field(reply.block, kFirstUri));
    expect_fields(reply.block, {{kPtzPresent, 1, kUntouched}, {kFirstCodec, 1, kUntouched},
                                {kSecondCodec, 1, kCodecJpeg}, {kSetupState, 1, 2}});
    EXPECT_EQ((std::vector<std::string>{
                  "GetCapabilities", "GetProfiles", "GetDeviceInformation", "GetProfile MainProfile",
                  "GetProfile SubProfile", "GetVideoEncoderConfiguration SubEncoder",
                  "SetVideoEncoderConfiguration SubEncoder", "GetProfile SubProfile", "GetStreamUri SubProfile",
                  "GetVideoEncoderConfigurations", "GetVideoEncoderConfigurationOptions SubProfile",
                  "GetVideoEncoderConfiguration SubEncoder", "SetVideoEncoderConfiguration SubEncoder",
                  "GetVideoEncoderConfigurationOptions SubProfile"}),
              trace(camera));
    EXPECT_EQ(names("KPT-2120") + "=> Profile 0 Not Find !!! \n" +
                  " changed ==>>\tnet width(704) height(576) \nnet setup failed \n" + kCodecs + sent(false),
              last_command_output(daemon));
  }
  {
    // A QF2093 has its node list asked but never its node; profile 1
    // cannot be read, and the requested codec goes back as it came.
    Camsim camera(json::parse(R"({"model": "QF2093-IR",
                                  "faults": [{"op": "GetProfile", "times": null, "match": "SubProfile",
                                              "subcode": "ter:InvalidArgVal/ter:NoProfile"}]})"));
    const Reply reply = register_camera(camera.port(), 0);
    EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
    expect_fields(reply.block, {{kPtzPresent, 1, 0}, {kSecondCodec, 1, kCodecJpeg}, {kSetupState, 1, 1},
                                {kReserved275, 1, 0}, {kSecondFps, 1, kUntouched}});
    EXPECT_EQ(std::string(50, '\0'), uri_field(reply.block, kSecondUri));
    const std::vector<std::string> calls = trace(camera);
    ASSERT_LE(6u, calls.size());
    EXPECT_EQ((std::vector<std::string>{"GetNodes", "GetVideoEncoderConfiguration MainEncoder"}),
              std::vector<std::string>(calls.begin() + 4, calls.begin() + 6));
    EXPECT_EQ("GetProfile SubProfile", calls.back());
    EXPECT_EQ(names("QF2093-IR") + "[ipcam] ptz disable \n[rec]\trec width(1280) height(720) \n" +
                  "=> Profile 1 Not Find !!! \n" + sent(true),
              last_command_output(daemon));
  }
  {
    // XR models: read with the profile reader and never changed. Profile 0
    // fills the second stream, profile 1 the first.
    Camsim camera(json::parse(R"({"model": "XR-410"})"));
    const Reply reply = register_camera(camera.port(), kCodecH264);
    EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
    expect_fields(reply.block, {{kSecondWidth, 2, 1920}, {kSecondFps, 1, 25}, {kFirstWidth, 2, 640},
                                {kFirstFps, 1, 10}, {kSetupState, 1, 2}, {kPtzPresent, 1, kUntouched},
                                {kReserved275, 1, kUntouched}, {kRegZero, 2, kUntouched * 0x101},
                                {kRegH264Capable, 2, kUntouched * 0x101}});
    EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles", "GetDeviceInformation",
                                        "GetProfile MainProfile", "GetStreamUri MainProfile",
                                        "GetProfile SubProfile", "GetStreamUri SubProfile"}),
              trace(camera));
    EXPECT_EQ(names("XR-410") + sent(true), last_command_output(daemon));
  }
  {
    // The XR-520's first stream is its third profile (which profiles are read
    // is the codec change's test, on the same rule). Without a third the
    // block still says the streams were read, the reply that setting failed.
    Camsim camera(json::parse(R"({"model": "XR-520"})"));
    const Reply reply = register_camera(camera.port(), kCodecH264);
    EXPECT_EQ(RIFA_RPL_SETTING_FAIL, reply.minor);
    expect_fields(reply.block, {{kSetupState, 1, 2}, {kSecondWidth, 2, 1920}});
    EXPECT_TRUE(requests_of(camera, "SetVideoEncoderConfiguration").empty());
    EXPECT_EQ(names("XR-520") + sent(false), last_command_output(daemon));
  }
}

}  // namespace
}  // namespace vantel_test
