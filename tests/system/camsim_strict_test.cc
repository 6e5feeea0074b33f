// camsim's answers read back in the runtime's strict mode through the
// daemon's own call wrappers, for every operation the daemon uses, in every
// firmware style, HTTP framing and value set camsim offers: a missing
// required element, an unknown element or a wrong namespace in camsim's XML
// fails here, not as a puzzle in a daemon test. Faults must arrive as
// well-formed SOAP 1.2 faults.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "camera/auth/camera_clock.h"
#include "camera/services/device_calls.h"
#include "camera/services/media_calls.h"
#include "camera/services/onvif_session.h"
#include "camera/services/ptz_calls.h"
#include "harness.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;
using namespace vantel;

// A session on the daemon's context towards camsim, reading strictly.
class StrictSession : public OnvifSession {
 public:
  StrictSession(int port, const char* password) : OnvifSession(access(port, password)) {
    soap_set_mode(soap(), SOAP_XML_STRICT);
  }
  // The codes of the fault just read, e.g. "SOAP-ENV:Sender/ter:NotAuthorized".
  std::string fault() {
    std::string codes;
    for (const SOAP_ENV__Code* c = soap()->fault ? soap()->fault->SOAP_ENV__Code : nullptr; c; c = c->SOAP_ENV__Subcode)
      codes += (codes.empty() ? "" : "/") + std::string(c->SOAP_ENV__Value ? c->SOAP_ENV__Value : "?");
    return codes;
  }

 private:
  static CameraAccess access(int port, const char* password) {
    CameraAccess camera{"127.0.0.1", port, "admin", ""};
    std::strncpy(camera.password, password, sizeof camera.password - 1);
    return camera;
  }
};

// Every media call, profile by profile; camsim must take back its own
// encoder configuration. Returns the first profile.
const tt__ListedProfile* read_media(StrictSession& s) {
  MediaService media(s);
  _trt__GetProfilesResponse profiles;
  EXPECT_EQ(SOAP_OK, media.get_profiles(profiles)) << s.fault();
  for (const tt__ListedProfile* listed : profiles.Profiles) {
    _trt__GetProfileResponse profile;
    _trt__GetStreamUriResponse uri;
    _trt__GetVideoEncoderConfigurationResponse encoder;
    _trt__GetVideoEncoderConfigurationOptionsResponse options;
    EXPECT_EQ(SOAP_OK, media.get_profile(listed->token, profile)) << s.fault();
    EXPECT_EQ(SOAP_OK, media.get_stream_uri(listed->token, uri)) << s.fault();
    EXPECT_NE(nullptr, answered_uri(uri)) << listed->token;
    const tt__VideoEncoderConfiguration* in_profile = profile_encoder(profile);
    EXPECT_NE(nullptr, in_profile) << listed->token;
    if (in_profile == nullptr) continue;
    EXPECT_EQ(SOAP_OK, media.get_encoder(in_profile->token, encoder)) << s.fault();
    EXPECT_EQ(SOAP_OK, media.get_options_for_configuration(&in_profile->token, options)) << s.fault();
    EXPECT_EQ(SOAP_OK, media.get_options_for_profile(listed->token, options)) << s.fault();
    EXPECT_NE(nullptr, options.Options) << listed->token;
    EXPECT_EQ(SOAP_OK, media.push_encoder(encoder.Configuration)) << s.fault();
  }
  _trt__GetVideoEncoderConfigurationsResponse all;
  EXPECT_EQ(SOAP_OK, media.get_encoder_configurations(all)) << s.fault();
  EXPECT_NE(nullptr, first_configuration_token(all));
  return profiles.Profiles.empty() ? nullptr : profiles.Profiles.front();
}

// Every PTZ call in the daemon's order, each answered as `fault` says ("" for
// a real answer); a camera without PTZ is asked at its device address.
void read_ptz(StrictSession& s, const tt__ListedProfile& profile, const std::string& fault) {
  const bool ok = fault.empty();
  const char* ptz = ok ? s.ptz_address() : s.device_address();
  auto answered = [&](int code, const char* op) {
    EXPECT_EQ(fault, code == SOAP_OK ? "" : s.fault().empty() ? "error " + std::to_string(code) : s.fault()) << op;
  };
  const std::string node_token = ok && profile.PTZConfiguration ? profile.PTZConfiguration->NodeToken : "none";
  _tptz__GetNodeResponse node;
  answered(PtzService(s, s.soap(), s.device_address()).get_nodes(), "GetNodes");
  PtzService service(s, s.soap(), ptz);
  answered(service.get_node(&node_token, node), "GetNode");
  EXPECT_TRUE(!ok || (node.PTZNode && node.PTZNode->SupportedPTZSpaces &&
                      !node.PTZNode->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace.empty()));
  tt__Vector2D pan_tilt;
  tt__PTZSpeed velocity;
  velocity.PanTilt = &pan_tilt;
  _tptz__ContinuousMove move;
  move.ProfileToken = profile.token;
  move.Velocity = &velocity;
  answered(service.continuous_move(move), "ContinuousMove");
  answered(service.stop(profile.token), "Stop");
  answered(service.stop_v10_as_is(profile.token), "Stop ver10");
  _tptz__GetPresetsResponse presets;
  answered(service.get_presets_as_is(profile.token, presets), "GetPresets");
  ASSERT_TRUE(!ok || (!presets.Preset.empty() && presets.Preset.back() && presets.Preset.back()->token));
  const std::string token = ok ? *presets.Preset.back()->token : "1";
  answered(service.set_preset(profile.token, token), "SetPreset");
  answered(service.goto_preset(profile.token, token), "GotoPreset");
  answered(service.remove_preset(profile.token, token), "RemovePreset");
}

TEST(CamsimStrict, EveryAnswerOfEveryStyleDeserializes) {
  const std::string head = "rtsp://127.0.0.1:8554/";
  const struct {
    const char* builtin;
    json config;
    bool has_ptz;
  } cameras[] = {
      {"default", json::object(), true}, {"noptz", json::object(), false}, {"emptyptz", json::object(), false},
      {"jpegonly", json::object(), false},
      // An MPEG4 stream, a fractional quality; addresses around the block's 50 bytes.
      {"default",
       {{"profiles", {{{"uri", head + std::string(28, 'a')}, {"encoder", {{"quality", 4.9}}}},
                      {{"uri", head + std::string(58, 'c')},
                       {"encoder", {{"encoding", "MPEG4"}, {"width", 640}, {"height", 480}, {"fps", 10},
                                    {"options", {{"mpeg4", {{"resolutions", {{640, 480}}}, {"gov_range", {1, 60}},
                                                            {"fps_range", {1, 15}}, {"profiles", {"SP", "ASP"}}}}}}}}}}}},
       true},
      // Firmware styles, each with one HTTP framing, and every value set.
      {"default", {{"style", "gsoap"}, {"framing", {"chunked"}}}, true},
      {"default", {{"style", "gsoap"}, {"wsa", "2004"}, {"framing", {"http10"}}}, true},
      {"noptz", {{"style", "gsoap"}}, false},
      {"default", {{"style", "wcf"}, {"framing", {"action"}}}, true},
      {"default", {{"style", "numbered"}, {"framing", {"chunked", "action"}}}, true},
      {"default", {{"values", {"all"}}}, true},
      {"default", {{"style", "wcf"}, {"values", {"all"}}, {"framing", {"http10"}}}, true},
      // A camera in the field: H.265, behind NAT, its clock an hour ahead.
      {"default", {{"encoding_main", "H265"}, {"advertise", "127.0.0.2:9"}, {"clock_offset", 3600}}, true},
  };
  for (const auto& camera : cameras) {
    SCOPED_TRACE(std::string(camera.builtin) + " " + camera.config.dump());
    json config = camera.config;
    config["faults"] = {{{"op", "GetProfile"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}}};
    config["auth_exempt"] = {"GetPresets", "Stop"};  // the two calls made on the header left before them
    Camsim camsim(config, camera.builtin);
    {
      // The faults camsim raises by itself, and the injected one used up.
      StrictSession wrong(camsim.port(), "wrong");
      EXPECT_NE(SOAP_OK, wrong.get_capabilities());
      EXPECT_EQ("SOAP-ENV:Sender/ter:NotAuthorized", wrong.fault());
      if (wrong.soap()->header) wrong.soap()->header->wsse__Security = nullptr;  // no token at all
      _tds__GetDeviceInformation bare;
      _tds__GetDeviceInformationResponse info;
      const char* device = wrong.device_address();
      EXPECT_NE(SOAP_OK, soap_call___tds__GetDeviceInformation(wrong.soap(), device, nullptr, &bare, info));
      EXPECT_EQ("SOAP-ENV:Sender/ter:NotAuthorized", wrong.fault());
    }
    StrictSession s(camsim.port(), "admin");
    ASSERT_EQ(SOAP_OK, s.get_capabilities()) << s.fault();
    ASSERT_NE(nullptr, s.media_address());
    _trt__GetProfileResponse unused;
    EXPECT_NE(SOAP_OK, MediaService(s).get_profile("MainProfile", unused));
    EXPECT_EQ("SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoProfile", s.fault());
    _tds__GetDeviceInformationResponse info;
    EXPECT_EQ(SOAP_OK, DeviceService(s).get_information(info)) << s.fault();
    _tds__GetSystemDateAndTime ask;
    _tds__GetSystemDateAndTimeResponse now;
    int64_t camera_now = 0;
    EXPECT_EQ(SOAP_OK, soap_call___tds__GetSystemDateAndTime(s.soap(), s.device_address(), nullptr, &ask, now))
        << s.fault();
    EXPECT_TRUE(camera_time(now, camera_now));
    EXPECT_NEAR(time(nullptr) + camera.config.value("clock_offset", 0), camera_now, 5);
    const tt__ListedProfile* first = read_media(s);
    ASSERT_NE(nullptr, first);
    ASSERT_EQ(camera.has_ptz, s.ptz_address() != nullptr && *s.ptz_address() != '\0');
    read_ptz(s, *first, camera.has_ptz ? "" : "SOAP-ENV:Receiver/ter:ActionNotSupported");
    EXPECT_EQ(SOAP_OK, DeviceService(s).reboot()) << s.fault();
  }
}

}  // namespace
}  // namespace vantel_test
