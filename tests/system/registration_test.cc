// Camera registration end to end against camsim: the block the recorder
// gets back, the calls and encoder pushes the camera sees, and the log.
#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "command/rifa.h"
#include "harness.h"
#include "stream/result_block.h"

namespace vantel_test {
namespace {

using namespace vantel;
using nlohmann::json;

constexpr uint8_t kUntouched = 0x5a;

// A registration request whose every byte but the camera's address and
// credentials holds a pattern, so that what the handler wrote (or cleared)
// shows against what it left alone.
std::vector<uint8_t> registration_request(int port, uint8_t second_codec) {
  std::vector<uint8_t> bytes = block_request(port, "admin", "admin");
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i < block::kCameraIp || i >= block::kPassword + kCredentialSize) bytes[i] = kUntouched;
  }
  bytes[block::kStatus] = bytes[block::kStatus + 1] = bytes[block::kStatus + 2] = bytes[block::kStatus + 3] = 0;
  bytes[block::kSecondCodec] = second_codec;
  return bytes;
}

Reply register_camera(const std::vector<uint8_t>& request) {
  return parse_reply(exchange(rifa_request(RIFA_CMD_CAMERA_SETTING, 0, request)));
}

// What the last command printed, from the line after its "received data"
// line to the end of the log (the server's "Send data" line included).
std::string last_command_output(const Daemon& daemon) {
  const std::string log = daemon.log();
  const size_t received = log.rfind("[Vantel] received data");
  if (received == std::string::npos) return "";
  return log.substr(log.find('\n', received) + 1);
}

// Each request as "Op Token" (profile, configuration or set token, if any).
std::vector<std::string> trace(const Camsim& camera) {
  std::vector<std::string> lines;
  for (const json& entry : camera.record()) {
    std::string line = entry.value("op", "");
    for (const char* key : {"ProfileToken", "ConfigurationToken", "NodeToken", "token"}) {
      if (entry["values"].contains(key)) line += " " + entry["values"][key].get<std::string>();
    }
    lines.push_back(line);
  }
  return lines;
}

std::vector<json> requests_of(const Camsim& camera, const std::string& op) {
  std::vector<json> found;
  for (const json& entry : camera.record()) {
    if (entry.value("op", "") == op) found.push_back(entry);
  }
  return found;
}

std::vector<std::pair<int, int>> options_of(const std::vector<uint8_t>& bytes, size_t table) {
  ResultBlockView view(const_cast<uint8_t*>(bytes.data()));
  std::vector<std::pair<int, int>> pairs;
  for (size_t i = 0; i < block::kOptionEntries; ++i) {
    pairs.emplace_back(view.option_width(table, i), view.option_height(table, i));
  }
  return pairs;
}

std::vector<std::pair<int, int>> padded(std::vector<std::pair<int, int>> pairs) {
  pairs.resize(block::kOptionEntries, {0, 0});
  return pairs;
}

json sizes(const std::vector<std::pair<int, int>>& pairs) {
  json list = json::array();
  for (const auto& p : pairs) list.push_back({p.first, p.second});
  return list;
}

std::string uri_field(const std::vector<uint8_t>& bytes, size_t offset) {
  return std::string(bytes.begin() + offset, bytes.begin() + offset + block::kUriFieldSize);
}

TEST(Registration, PtzCameraIsSetUpAndReportedInEveryField) {
  Daemon daemon;
  const std::string maker = "Kestrel Optics International Surveillance GmbH";  // over 40 characters
  Camsim camera(json::parse(R"({
    "manufacturer": "Kestrel Optics International Surveillance GmbH",
    "profiles": [{"uri": "rtsp://{host}:8554/live/main/recording/stream/with/a/long/path"},
                 {"encoder": {"options": {"quality_range": [0, 60]}}}]})"));
  const std::vector<uint8_t> request = registration_request(camera.port(), kCodecH264);
  const Reply reply = register_camera(request);

  EXPECT_EQ(RIFA_CMD_CAMERA_SETTING, reply.major);
  EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
  ASSERT_EQ(kResultBlockSize, reply.block.size());

  std::vector<uint8_t> expected = request;
  ResultBlockView e(expected.data());
  e.set_s32(block::kStatus, 1);
  std::memcpy(expected.data() + block::kManufacturer, maker.data(), 39);
  expected[block::kManufacturer + 39] = 0;
  std::memcpy(expected.data() + block::kModel, "KPT-2120", 9);
  const std::string main_uri = "rtsp://127.0.0.1:8554/live/main/recording/stream/with/a/long/path";
  std::memcpy(expected.data() + block::kFirstUri, main_uri.data(), 50);  // cut, no NUL
  e.clear(block::kSecondUri, 50);
  std::memcpy(expected.data() + block::kSecondUri, "rtsp://127.0.0.1:8554/live/sub", 30);
  e.set_u8(block::kFirstFlag, 5);   // 1920x1080 as read after the first push
  e.set_u8(block::kSecondFlag, 2);  // 640x480 as read after the codec push
  e.set_s16(block::kFirstWidth, 1280);
  e.set_s16(block::kFirstHeight, 720);
  e.set_s16(block::kSecondWidth, 704);
  e.set_s16(block::kSecondHeight, 576);
  e.set_u8(block::kSetupState, 2);
  e.set_u8(block::kFirstCodec, kCodecH264);
  e.set_u8(block::kSecondCodec, kCodecH264);
  e.set_u8(block::kPtzPresent, 1);
  e.set_u8(block::kReserved275, 0);
  e.set_u8(block::kFirstFps, 8);
  e.set_u8(block::kSecondFps, 6);
  e.set_s16(block::kFirstQuality, 5);
  e.set_s16(block::kSecondQuality, 3);
  e.set_s16(block::kFirstBitrate, 4000);
  e.set_s16(block::kSecondBitrate, 1024);
  e.set_s16(block::kRegZero, 0);
  e.set_s16(block::kRegOne, 1);
  e.set_s16(block::kRegJpegCapable, 1);
  e.set_s16(block::kRegH264Capable, 1);
  e.set_range(kFirstStream.fps_range, 1, 25);
  e.set_range(kSecondStream.fps_range, 1, 15);
  e.set_range(kSecondStream.quality_range, 0, 60);  // the first stream's stays unwritten
  e.set_range(kFirstStream.bitrate_range, 2048, 6000);
  e.set_range(kSecondStream.bitrate_range, 2048, 6000);
  e.clear(block::kFirstOptions, 2 * block::kOptionTableSize);
  e.set_option(block::kFirstOptions, 0, 1920, 1080);
  e.set_option(block::kFirstOptions, 1, 1280, 720);
  e.set_option(block::kFirstOptions, 2, 704, 576);
  e.set_option(block::kSecondOptions, 0, 704, 576);
  e.set_option(block::kSecondOptions, 1, 640, 480);
  e.set_option(block::kSecondOptions, 2, 352, 288);
  e.set_option(block::kSecondOptions, 3, 320, 240);
  for (size_t i = 0; i < kResultBlockSize; ++i) {
    EXPECT_EQ(expected[i], reply.block[i]) << "offset " << i;
  }

  const std::vector<std::string> calls = {
      "GetCapabilities",
      "GetProfiles",
      "GetDeviceInformation",
      "GetProfile MainProfile",
      "GetNodes",
      "GetNode PTZNodeMain",
      "GetVideoEncoderConfiguration MainEncoder",
      "SetVideoEncoderConfiguration MainEncoder",
      "GetProfile MainProfile",
      "GetVideoEncoderConfigurations",
      "GetVideoEncoderConfigurationOptions MainEncoder",
      "GetStreamUri MainProfile",
      "GetVideoEncoderConfiguration MainEncoder",
      "SetVideoEncoderConfiguration MainEncoder",
      "GetProfile SubProfile",
      "GetVideoEncoderConfiguration SubEncoder",
      "SetVideoEncoderConfiguration SubEncoder",
      "GetProfile SubProfile",
      "GetStreamUri SubProfile",
      "GetVideoEncoderConfigurations",
      "GetVideoEncoderConfigurationOptions SubProfile",
      "GetVideoEncoderConfiguration SubEncoder",
      "SetVideoEncoderConfiguration SubEncoder",
  };
  EXPECT_EQ(calls, trace(camera));
  for (const json& entry : camera.record()) {
    EXPECT_EQ("fresh", entry["token"]) << entry["op"];
    EXPECT_EQ("ok", entry["answer"]) << entry["op"];
  }
  EXPECT_EQ("/onvif/device_service", requests_of(camera, "GetNodes").at(0)["path"]);
  EXPECT_EQ("/onvif/ptz_service", requests_of(camera, "GetNode").at(0)["path"]);

  const std::vector<json> sets = requests_of(camera, "SetVideoEncoderConfiguration");
  ASSERT_EQ(4u, sets.size());
  auto pushed = [&sets](size_t i, const char* key) { return sets[i]["values"][key]; };
  // Recording stream: H.264 at 8 fps / 4000 kbit/s, the rest as the camera had it.
  EXPECT_EQ("H264", pushed(0, "encoding"));
  EXPECT_EQ(8, pushed(0, "fps"));
  EXPECT_EQ(4000, pushed(0, "bitrate"));
  EXPECT_EQ(1920, pushed(0, "width"));
  EXPECT_EQ(5.0, pushed(0, "quality"));
  EXPECT_EQ(50, pushed(0, "gov"));
  // ... then the recordable size nearest to 1280 wide with a GOP of 30.
  EXPECT_EQ(1280, pushed(1, "width"));
  EXPECT_EQ(720, pushed(1, "height"));
  EXPECT_EQ(30, pushed(1, "gov"));
  EXPECT_EQ(8, pushed(1, "fps"));
  // Network stream: the requested codec at 6 fps, size and quality kept ...
  EXPECT_EQ("H264", pushed(2, "encoding"));
  EXPECT_EQ(6, pushed(2, "fps"));
  EXPECT_EQ(640, pushed(2, "width"));
  EXPECT_EQ(3.0, pushed(2, "quality"));
  // ... then quality 50 at the size nearest to 1280 and a GOP of 1.
  EXPECT_EQ(50.0, pushed(3, "quality"));
  EXPECT_EQ(704, pushed(3, "width"));
  EXPECT_EQ(576, pushed(3, "height"));
  EXPECT_EQ(1, pushed(3, "gov"));
  for (const json& set : sets) EXPECT_EQ(true, set["values"]["force_persistence"]);

  EXPECT_EQ("==>> Came\tname (KPT-2120) \n"
            "==>> Model  name (" + maker + ") \n"
            "[ipcam]. ptz enable \n"
            "[rec]\trec width(1280) height(720) \n"
            " changed ==>>\tnet width(704) height(576) \n"
            "jpeg enable \n"
            "h.264 enable \n"
            "Send data : major(0x0b060001), minor(0x0b061002) size(480) \n",
            last_command_output(daemon));
}

TEST(Registration, CamerasThatCannotBeSetUpAreRefusedEarly) {
  Daemon daemon;
  const std::regex capabilities_failed("GetCapabilities error \\(-?[0-9]+\\)Send data : major\\(0x0b060001\\), "
                                       "minor\\(0x0b061003\\) size\\(480\\) \n");
  // Nobody listening: a requested codec of 0 still comes back as JPEG.
  Reply unreachable = register_camera(registration_request(0, 0));
  EXPECT_EQ(RIFA_RPL_SETTING_FAIL, unreachable.minor);
  ASSERT_EQ(kResultBlockSize, unreachable.block.size());
  EXPECT_EQ(kCodecJpeg, unreachable.block[block::kSecondCodec]);
  EXPECT_EQ(3, ResultBlockView(unreachable.block.data()).s32(block::kStatus));
  EXPECT_TRUE(std::regex_match(last_command_output(daemon), capabilities_failed)) << last_command_output(daemon);

  const std::string refused = "IP CAM ERROR, CHECK IP CAMERA !! \n"
                              "Send data : major(0x0b060001), minor(0x0b061003) size(480) \n";
  Camsim no_profiles(json::parse(R"({"faults": [{"op": "GetProfiles", "times": null, "subcode": "ter:Action"}]})"));
  Reply failed = register_camera(registration_request(no_profiles.port(), 0));
  EXPECT_EQ(RIFA_RPL_SETTING_FAIL, failed.minor);
  EXPECT_EQ(refused, last_command_output(daemon));
  EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles"}), trace(no_profiles));

  // One profile is as unusable as none.
  Camsim one_profile(json::object(), "jpegonly");
  const std::vector<uint8_t> request = registration_request(one_profile.port(), kCodecH264);
  Reply single = register_camera(request);
  EXPECT_EQ(RIFA_RPL_SETTING_FAIL, single.minor);
  EXPECT_EQ(refused, last_command_output(daemon));
  EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles"}), trace(one_profile));
  std::vector<uint8_t> unchanged = request;
  ResultBlockView(unchanged.data()).set_s32(block::kStatus, 3);
  EXPECT_EQ(unchanged, single.block);
}

TEST(Registration, RefusedPushesAreRetriedOnceAfterTheirPause) {
  Daemon daemon;
  // Every first attempt refused; the recording stream's second push (GOP 30
  // beyond the camera's range) and the network stream's (quality 50 beyond
  // 0..10) are refused every time.
  Camsim camera(json::parse(R"({
    "faults": [
      {"op": "SetVideoEncoderConfiguration", "times": 1, "match": "MainEncoder",
       "subcode": "ter:InvalidArgVal/ter:ConfigModify"},
      {"op": "SetVideoEncoderConfiguration", "times": 1, "match": "SubEncoder",
       "subcode": "ter:InvalidArgVal/ter:ConfigModify"},
      {"op": "GetNode", "times": null, "subcode": "ter:InvalidArgVal/ter:NoEntity"}],
    "profiles": [{"encoder": {"gov": 20, "options": {"h264": {"gov_range": [1, 20]}}}}, {}]})"));
  const Reply reply = register_camera(registration_request(camera.port(), kCodecJpeg));
  EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
  ASSERT_EQ(kResultBlockSize, reply.block.size());
  ResultBlockView got(const_cast<uint8_t*>(reply.block.data()));
  EXPECT_EQ(0, got.u8(block::kPtzPresent));
  // Reported as the camera runs after the retried codec push.
  EXPECT_EQ(6, got.u8(block::kSecondFps));
  EXPECT_EQ(1024, got.s16(block::kSecondBitrate));
  EXPECT_EQ(2, got.u8(block::kSecondFlag));
  EXPECT_EQ(0, std::memcmp(reply.block.data() + block::kSecondUri, "rtsp://127.0.0.1:8554/live/sub", 31));
  // The refused size is still the one reported.
  EXPECT_EQ(704, got.s16(block::kSecondWidth));
  EXPECT_EQ(576, got.s16(block::kSecondHeight));

  EXPECT_EQ("==>> Came\tname (KPT-2120) \n"
            "==>> Model  name (Kestrel Optics) \n"
            "[ipcam]. ptz disable \n"
            "H.264 Recording setting failed \n"
            "H.264 Recording setting suc. \n"
            "[rec]\trec width(1280) height(720) \n"
            "H.264 Recording setting failed \n"
            "H.264 Recording setting failed again\n"
            "codec changed try again \n"
            "codec changed suc \n"
            " changed ==>>\tnet width(704) height(576) \n"
            "net setup failed \n"
            "jpeg enable \n"
            "h.264 enable \n"
            "Send data : major(0x0b060001), minor(0x0b061002) size(480) \n",
            last_command_output(daemon));

  // Each retry follows its refused push directly; the refused network push
  // is followed by an options request instead.
  const std::vector<json> record = camera.record();
  std::vector<size_t> at;
  for (size_t i = 0; i < record.size(); ++i) {
    if (record[i]["op"] == "SetVideoEncoderConfiguration") at.push_back(i);
  }
  ASSERT_EQ(7u, at.size());
  const std::vector<std::string> answers = {"ter:InvalidArgVal/ter:ConfigModify", "ok",
                                            "ter:InvalidArgVal/ter:ConfigModify", "ter:InvalidArgVal/ter:ConfigModify",
                                            "ter:InvalidArgVal/ter:ConfigModify", "ok",
                                            "ter:InvalidArgVal/ter:ConfigModify"};
  for (size_t k = 0; k < at.size(); ++k) EXPECT_EQ(answers[k], record[at[k]]["answer"]) << "push " << k;
  for (size_t k : {0, 2, 4}) EXPECT_EQ(at[k] + 1, at[k + 1]) << "retry of push " << k;
  EXPECT_EQ(record[at[6] + 1]["op"], "GetVideoEncoderConfigurationOptions");
  EXPECT_EQ(at[6] + 2, record.size());
  auto gap = [&record, &at](size_t k) { return record[at[k + 1]]["time"].get<double>() - record[at[k]]["time"].get<double>(); };
  EXPECT_GE(gap(0), 0.9);  // one second
  EXPECT_LT(gap(2), 0.9);  // 50 milliseconds
  EXPECT_GE(gap(4), 0.9);  // one second
}

TEST(Registration, AJpegRecordingStreamTakesItsSizesFromTheH264List) {
  Daemon daemon;
  // The recording stream refuses H.264 twice and so is still JPEG when its
  // sizes are listed: the count comes from the two-entry JPEG list, the
  // entries from the H.264 list, so 1280x720 (third) is never looked at.
  // The network stream refuses its codec push twice; it is reported as it
  // runs anyway.
  Camsim camera(json::parse(R"({
    "faults": [
      {"op": "SetVideoEncoderConfiguration", "times": 2, "match": "MainEncoder",
       "subcode": "ter:InvalidArgVal/ter:ConfigModify"},
      {"op": "SetVideoEncoderConfiguration", "times": 2, "match": "SubEncoder",
       "subcode": "ter:InvalidArgVal/ter:ConfigModify"}],
    "profiles": [
      {"encoder": {"encoding": "JPEG", "options": {
         "jpeg": {"resolutions": [[640, 480], [320, 240]]},
         "h264": {"resolutions": [[1920, 1080], [704, 576], [1280, 720], [352, 288]]}}}},
      {"encoder": {"options": {"quality_range": [0, 100]}}}]})"),
                "noptz");
  const std::vector<uint8_t> request = registration_request(camera.port(), kCodecH264);
  const Reply reply = register_camera(request);
  EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
  ASSERT_EQ(kResultBlockSize, reply.block.size());
  EXPECT_EQ(padded({{1920, 1080}, {704, 576}}), options_of(reply.block, block::kFirstOptions));
  ResultBlockView got(const_cast<uint8_t*>(reply.block.data()));
  EXPECT_EQ(704, got.s16(block::kFirstWidth));
  EXPECT_EQ(576, got.s16(block::kFirstHeight));
  EXPECT_EQ(0, got.u8(block::kPtzPresent));
  // The network stream stayed JPEG at 10 fps, 640x480, quality 3.
  EXPECT_EQ(kCodecJpeg, got.u8(block::kSecondCodec));
  EXPECT_EQ(10, got.u8(block::kSecondFps));
  EXPECT_EQ(1024, got.s16(block::kSecondBitrate));
  EXPECT_EQ(2, got.u8(block::kSecondFlag));
  EXPECT_EQ(3, got.s16(block::kSecondQuality));
  EXPECT_EQ(padded({{704, 576}, {640, 480}, {352, 288}, {320, 240}}), options_of(reply.block, block::kSecondOptions));

  const std::vector<json> sets = requests_of(camera, "SetVideoEncoderConfiguration");
  ASSERT_EQ(7u, sets.size());
  // Recording: refused twice, then H.264 once more (accepted), then the size.
  for (size_t k : {0, 1, 2}) EXPECT_EQ("H264", sets[k]["values"]["encoding"]) << k;
  EXPECT_EQ("ok", sets[2]["answer"]);
  EXPECT_EQ(704, sets[3]["values"]["width"]);
  EXPECT_EQ(30, sets[3]["values"]["gov"]);
  // Network: the H.264 request refused twice, then quality 50 in JPEG.
  for (size_t k : {4, 5}) EXPECT_EQ("H264", sets[k]["values"]["encoding"]) << k;
  EXPECT_EQ("JPEG", sets[6]["values"]["encoding"]);
  EXPECT_EQ(50.0, sets[6]["values"]["quality"]);
  EXPECT_EQ(nullptr, sets[6]["values"]["gov"]);

  EXPECT_EQ("==>> Came\tname (KBF-2110) \n"
            "==>> Model  name (Kestrel Optics) \n"
            "[ipcam] ptz disable \n"
            "H.264 Recording setting failed \n"
            "H.264 Recording setting failed again\n"
            "[rec]\trec width(704) height(576) \n"
            "codec changed try again \n"
            "codec changed failed \n"
            " changed ==>>\tnet width(704) height(576) \n"
            "jpeg enable \n"
            "h.264 enable \n"
            "Send data : major(0x0b060001), minor(0x0b061002) size(480) \n",
            last_command_output(daemon));
}

TEST(Registration, SizeTablesKeepTwentyEntriesAndRecordingSizesAreFiltered) {
  Daemon daemon;
  {
    // No recordable size at all: the recording stream is pushed 0x0. The
    // network stream lists 26 sizes; the 21st, 1280x720, is beyond the table.
    std::vector<std::pair<int, int>> network;
    for (int i = 0; i < 26; ++i) network.emplace_back(i == 20 ? 1280 : 400 + 10 * i, i == 20 ? 720 : 300);
    json config = json::parse(R"({
      "validate_set": false,
      "profiles": [{"encoder": {"options": {"h264": {"resolutions": [[640, 480], [720, 576], [1024, 768]]}}}},
                   {"encoder": {"options": {"jpeg": {}}}}]})");
    config["profiles"][1]["encoder"]["options"]["jpeg"]["resolutions"] = sizes(network);
    Camsim camera(config);
    const Reply reply = register_camera(registration_request(camera.port(), kCodecJpeg));
    EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
    ASSERT_EQ(kResultBlockSize, reply.block.size());
    EXPECT_EQ(padded({}), options_of(reply.block, block::kFirstOptions));
    const std::vector<std::pair<int, int>> stored(network.begin(), network.begin() + 20);
    EXPECT_EQ(stored, options_of(reply.block, block::kSecondOptions));
    EXPECT_EQ(kUntouched, reply.block[478]);
    EXPECT_EQ(kUntouched, reply.block[479]);
    const std::vector<json> sets = requests_of(camera, "SetVideoEncoderConfiguration");
    ASSERT_EQ(4u, sets.size());
    EXPECT_EQ(0, sets[1]["values"]["width"]);
    EXPECT_EQ(0, sets[1]["values"]["height"]);
    EXPECT_EQ(590, sets[3]["values"]["width"]);  // nearest to 1280 among the twenty kept
    EXPECT_NE(std::string::npos, last_command_output(daemon).find("[rec]\trec width(0) height(0) \n"));
  }
  {
    // Recordable sizes among others, more than twenty of them: the first
    // twenty recordable ones in the camera's order; 1280x720 comes too late.
    const std::vector<std::pair<int, int>> recordable = {{1920, 1080}, {704, 480}, {704, 576}, {704, 240},
                                                         {704, 288},   {352, 240}, {352, 288}};
    const std::vector<std::pair<int, int>> near_misses = {{720, 480}, {640, 480}, {352, 576}, {1920, 1088}};
    std::vector<std::pair<int, int>> listed, kept;
    for (int round = 0; round < 3; ++round) {
      for (size_t i = 0; i < recordable.size(); ++i) {
        listed.push_back(recordable[i]);
        if (kept.size() < 20) kept.push_back(recordable[i]);
        listed.push_back(near_misses[i % near_misses.size()]);
      }
    }
    listed.push_back({1280, 720});
    json config = json::parse(R"({"validate_set": false, "profiles": [{"encoder": {"options": {"h264": {}}}}, {}]})");
    config["profiles"][0]["encoder"]["options"]["h264"]["resolutions"] = sizes(listed);
    Camsim camera(config);
    const Reply reply = register_camera(registration_request(camera.port(), kCodecJpeg));
    ASSERT_EQ(kResultBlockSize, reply.block.size());
    EXPECT_EQ(kept, options_of(reply.block, block::kFirstOptions));
    const std::vector<json> sets = requests_of(camera, "SetVideoEncoderConfiguration");
    ASSERT_LE(2u, sets.size());
    EXPECT_EQ(704, sets[1]["values"]["width"]);  // the first of the equally near
    EXPECT_EQ(480, sets[1]["values"]["height"]);
  }
}

TEST(Registration, ProfileFailuresAndPtzDetection) {
  Daemon daemon;
  {
    // Profile 0 cannot be read: the network stream is still set up.
    Camsim camera(json::parse(R"({"faults": [{"op": "GetProfile", "times": null, "match": "MainProfile",
                                               "subcode": "ter:InvalidArgVal/ter:NoProfile"}]})"));
    const std::vector<uint8_t> request = registration_request(camera.port(), kCodecJpeg);
    const Reply reply = register_camera(request);
    EXPECT_EQ(RIFA_RPL_SETTING_FAIL, reply.minor);
    ASSERT_EQ(kResultBlockSize, reply.block.size());
    EXPECT_EQ(std::string(50, '\0'), uri_field(reply.block, block::kFirstUri));
    EXPECT_EQ(kUntouched, reply.block[block::kPtzPresent]);
    EXPECT_EQ(kUntouched, reply.block[block::kFirstCodec]);
    EXPECT_EQ(kCodecJpeg, reply.block[block::kSecondCodec]);
    EXPECT_EQ(2, reply.block[block::kSetupState]);
    EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles", "GetDeviceInformation",
                                        "GetProfile MainProfile", "GetProfile SubProfile",
                                        "GetVideoEncoderConfiguration SubEncoder",
                                        "SetVideoEncoderConfiguration SubEncoder", "GetProfile SubProfile",
                                        "GetStreamUri SubProfile", "GetVideoEncoderConfigurations",
                                        "GetVideoEncoderConfigurationOptions SubProfile",
                                        "GetVideoEncoderConfiguration SubEncoder",
                                        "SetVideoEncoderConfiguration SubEncoder",
                                        "GetVideoEncoderConfigurationOptions SubProfile"}),
              trace(camera));
    EXPECT_EQ("==>> Came\tname (KPT-2120) \n"
              "==>> Model  name (Kestrel Optics) \n"
              "=> Profile 0 Not Find !!! \n"
              " changed ==>>\tnet width(704) height(576) \n"
              "net setup failed \n"
              "jpeg enable \n"
              "h.264 enable \n"
              "Send data : major(0x0b060001), minor(0x0b061003) size(480) \n",
              last_command_output(daemon));
  }
  {
    // A QF2093 has its node list asked but never its node; profile 1
    // cannot be read, and the requested codec goes back as it came.
    Camsim camera(json::parse(R"({"model": "QF2093-IR",
                                  "faults": [{"op": "GetProfile", "times": null, "match": "SubProfile",
                                              "subcode": "ter:InvalidArgVal/ter:NoProfile"}]})"));
    const std::vector<uint8_t> request = registration_request(camera.port(), 0);
    const Reply reply = register_camera(request);
    EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
    ASSERT_EQ(kResultBlockSize, reply.block.size());
    EXPECT_EQ(0, reply.block[block::kPtzPresent]);
    EXPECT_EQ(kCodecJpeg, reply.block[block::kSecondCodec]);
    EXPECT_EQ(1, reply.block[block::kSetupState]);
    EXPECT_EQ(0, reply.block[block::kReserved275]);
    EXPECT_EQ(std::string(50, '\0'), uri_field(reply.block, block::kSecondUri));
    EXPECT_EQ(kUntouched, reply.block[block::kSecondFps]);
    const std::vector<std::string> calls = trace(camera);
    ASSERT_LE(5u, calls.size());
    EXPECT_EQ("GetNodes", calls[4]);
    EXPECT_EQ("GetVideoEncoderConfiguration MainEncoder", calls[5]);
    EXPECT_EQ("GetProfile SubProfile", calls.back());
    EXPECT_EQ("==>> Came\tname (QF2093-IR) \n"
              "==>> Model  name (Kestrel Optics) \n"
              "[ipcam] ptz disable \n"
              "[rec]\trec width(1280) height(720) \n"
              "=> Profile 1 Not Find !!! \n"
              "Send data : major(0x0b060001), minor(0x0b061002) size(480) \n",
              last_command_output(daemon));
  }
}

TEST(Registration, XrModelsAreReadWithTheProfileReaderAndNeverChanged) {
  Daemon daemon;
  const std::string names = "==>> Came\tname (%s) \n==>> Model  name (Kestrel Optics) \n";
  auto lines = [&names](const std::string& model, const char* minor) {
    std::string text = names;
    text.replace(text.find("%s"), 2, model);
    return text + "Send data : major(0x0b060001), minor(" + minor + ") size(480) \n";
  };
  {
    Camsim camera(json::parse(R"({"model": "XR-410"})"));
    const std::vector<uint8_t> request = registration_request(camera.port(), kCodecH264);
    const Reply reply = register_camera(request);
    EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
    ASSERT_EQ(kResultBlockSize, reply.block.size());
    ResultBlockView got(const_cast<uint8_t*>(reply.block.data()));
    // Profile 0 fills the second stream, profile 1 the first.
    EXPECT_EQ(1920, got.s16(block::kSecondWidth));
    EXPECT_EQ(25, got.u8(block::kSecondFps));
    EXPECT_EQ(640, got.s16(block::kFirstWidth));
    EXPECT_EQ(10, got.u8(block::kFirstFps));
    EXPECT_EQ(2, got.u8(block::kSetupState));
    for (size_t offset : {block::kPtzPresent, block::kReserved275, size_t{286}, size_t{287}, size_t{292}, size_t{293}}) {
      EXPECT_EQ(kUntouched, reply.block[offset]) << "offset " << offset;
    }
    EXPECT_EQ((std::vector<std::string>{"GetCapabilities", "GetProfiles", "GetDeviceInformation",
                                        "GetProfile MainProfile", "GetStreamUri MainProfile",
                                        "GetProfile SubProfile", "GetStreamUri SubProfile"}),
              trace(camera));
    EXPECT_EQ(lines("XR-410", "0x0b061002"), last_command_output(daemon));
  }
  {
    // The XR-520's first stream is its third profile.
    Camsim camera(json::parse(R"({"model": "XR-520", "profile_count": 3})"));
    const Reply reply = register_camera(registration_request(camera.port(), kCodecH264));
    EXPECT_EQ(RIFA_RPL_SETTING_OK, reply.minor);
    const std::vector<std::string> calls = trace(camera);
    EXPECT_EQ((std::vector<std::string>{"GetProfile MainProfile", "GetStreamUri MainProfile", "GetProfile Stream3",
                                        "GetStreamUri Stream3"}),
              std::vector<std::string>(calls.begin() + 3, calls.end()));
  }
  {
    // Without a third profile the second reading fails: the block still
    // says the streams were read, the reply says the setting failed.
    Camsim camera(json::parse(R"({"model": "XR-520"})"));
    const Reply reply = register_camera(registration_request(camera.port(), kCodecH264));
    EXPECT_EQ(RIFA_RPL_SETTING_FAIL, reply.minor);
    ASSERT_EQ(kResultBlockSize, reply.block.size());
    EXPECT_EQ(2, reply.block[block::kSetupState]);
    EXPECT_EQ(1920, ResultBlockView(const_cast<uint8_t*>(reply.block.data())).s16(block::kSecondWidth));
    EXPECT_EQ(0u, requests_of(camera, "SetVideoEncoderConfiguration").size());
    EXPECT_EQ(lines("XR-520", "0x0b061003"), last_command_output(daemon));
  }
}

}  // namespace
}  // namespace vantel_test
