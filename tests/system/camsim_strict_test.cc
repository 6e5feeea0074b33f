// camsim's answers read back through the generated deserializers in strict
// mode, for every operation the daemon uses and for the unusual cameras the
// daemon tests build: a missing required element, an unknown element or a
// wrong namespace in camsim's XML fails here, not as a puzzle in a daemon
// test. Injected faults must arrive as well-formed SOAP 1.2 faults.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness.h"
#include "onvif_namespaces.h"
#include "soapH.h"
#include "wsseapi.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

// One strict client context towards one camera.
class StrictClient {
 public:
  StrictClient(int port, const std::string& user, const std::string& password)
      : user_(user), password_(password),
        device_("http://127.0.0.1:" + std::to_string(port) + "/onvif/device_service") {
    soap_init(&soap_);
    soap_set_mode(&soap_, SOAP_XML_STRICT);
    soap_set_namespaces(&soap_, namespaces);
  }
  ~StrictClient() {
    soap_destroy(&soap_);
    soap_end(&soap_);
    soap_done(&soap_);
  }
  StrictClient(const StrictClient&) = delete;
  StrictClient& operator=(const StrictClient&) = delete;

  // The context with a fresh UsernameToken for the next call.
  struct soap* signed_soap() {
    soap_wsse_add_UsernameTokenDigest(&soap_, nullptr, user_.c_str(), password_.c_str());
    return &soap_;
  }
  // The context with no security header at all.
  struct soap* bare_soap() {
    soap_wsse_delete_Security(&soap_);
    return &soap_;
  }
  const char* device() const { return device_.c_str(); }

  // Code, subcodes and reason of the last fault, or the runtime's own
  // description of what went wrong: the message of a failed expectation.
  std::string what() {
    char text[1024] = "";
    soap_sprint_fault(&soap_, text, sizeof text);
    return fault_codes() + " " + text;
  }
  // "SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoProfile"
  std::string fault_codes() {
    std::string codes;
    const SOAP_ENV__Fault* fault = soap_.fault;
    for (const SOAP_ENV__Code* c = fault ? fault->SOAP_ENV__Code : nullptr; c; c = c->SOAP_ENV__Subcode) {
      codes += (codes.empty() ? "" : "/") + std::string(c->SOAP_ENV__Value ? c->SOAP_ENV__Value : "?");
    }
    return codes;
  }

 private:
  struct soap soap_;
  std::string user_, password_, device_;
};

// What a camera's answers held, for the checks particular to one camera.
struct Seen {
  std::string first_profile;
  std::vector<std::string> uris;
  std::vector<tt__VideoEncoderConfiguration*> encoders;  // per profile, as GetVideoEncoderConfiguration read it
  std::vector<tt__VideoEncoderConfigurationOptions*> options;
};

void read_media(StrictClient& c, const char* media, Seen& seen) {
  _trt__GetProfiles profiles_request;
  _trt__GetProfilesResponse profiles;
  ASSERT_EQ(SOAP_OK, soap_call___trt__GetProfiles(c.signed_soap(), media, nullptr, &profiles_request, profiles))
      << c.what();
  ASSERT_FALSE(profiles.Profiles.empty());
  ASSERT_NE(nullptr, profiles.Profiles.front());
  seen.first_profile = profiles.Profiles.front()->token;

  for (const tt__Profile* listed : profiles.Profiles) {
    ASSERT_NE(nullptr, listed);
    SCOPED_TRACE("profile " + listed->token);
    _trt__GetProfile profile_request;
    profile_request.ProfileToken = listed->token;
    _trt__GetProfileResponse profile;
    ASSERT_EQ(SOAP_OK, soap_call___trt__GetProfile(c.signed_soap(), media, nullptr, &profile_request, profile))
        << c.what();
    ASSERT_NE(nullptr, profile.Profile);
    ASSERT_NE(nullptr, profile.Profile->VideoEncoderConfiguration);

    tt__Transport transport;
    transport.Protocol = tt__TransportProtocol__RTSP;
    tt__StreamSetup setup;
    setup.Stream = tt__StreamType__RTP_Unicast;
    setup.Transport = &transport;
    _trt__GetStreamUri uri_request;
    uri_request.StreamSetup = &setup;
    uri_request.ProfileToken = listed->token;
    _trt__GetStreamUriResponse uri;
    ASSERT_EQ(SOAP_OK, soap_call___trt__GetStreamUri(c.signed_soap(), media, nullptr, &uri_request, uri))
        << c.what();
    ASSERT_NE(nullptr, uri.MediaUri);
    seen.uris.push_back(uri.MediaUri->Uri);

    _trt__GetVideoEncoderConfiguration encoder_request;
    encoder_request.ConfigurationToken = profile.Profile->VideoEncoderConfiguration->token;
    _trt__GetVideoEncoderConfigurationResponse encoder;
    ASSERT_EQ(SOAP_OK, soap_call___trt__GetVideoEncoderConfiguration(c.signed_soap(), media, nullptr,
                                                                     &encoder_request, encoder))
        << c.what();
    ASSERT_NE(nullptr, encoder.Configuration);
    seen.encoders.push_back(encoder.Configuration);

    _trt__GetVideoEncoderConfigurationOptions options_request;
    options_request.ConfigurationToken = &encoder_request.ConfigurationToken;
    options_request.ProfileToken = &profile_request.ProfileToken;
    _trt__GetVideoEncoderConfigurationOptionsResponse options;
    ASSERT_EQ(SOAP_OK, soap_call___trt__GetVideoEncoderConfigurationOptions(c.signed_soap(), media, nullptr,
                                                                            &options_request, options))
        << c.what();
    ASSERT_NE(nullptr, options.Options);
    seen.options.push_back(options.Options);

    // The configuration as read, written back: camsim must take its own.
    _trt__SetVideoEncoderConfiguration set_request;
    set_request.Configuration = encoder.Configuration;
    set_request.ForcePersistence = true;
    _trt__SetVideoEncoderConfigurationResponse set;
    ASSERT_EQ(SOAP_OK, soap_call___trt__SetVideoEncoderConfiguration(c.signed_soap(), media, nullptr,
                                                                     &set_request, set))
        << c.what();
  }

  _trt__GetVideoEncoderConfigurations all_request;
  _trt__GetVideoEncoderConfigurationsResponse all;
  ASSERT_EQ(SOAP_OK,
            soap_call___trt__GetVideoEncoderConfigurations(c.signed_soap(), media, nullptr, &all_request, all))
      << c.what();
  EXPECT_FALSE(all.Configurations.empty());
}

void read_ptz(StrictClient& c, const char* ptz, const std::string& profile) {
  _tptz__GetNodes nodes_request;
  _tptz__GetNodesResponse nodes;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__GetNodes(c.signed_soap(), ptz, nullptr, &nodes_request, nodes)) << c.what();
  ASSERT_FALSE(nodes.PTZNode.empty());
  ASSERT_NE(nullptr, nodes.PTZNode.front());

  _tptz__GetNode node_request;
  node_request.NodeToken = nodes.PTZNode.front()->token;
  _tptz__GetNodeResponse node;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__GetNode(c.signed_soap(), ptz, nullptr, &node_request, node)) << c.what();
  ASSERT_NE(nullptr, node.PTZNode);
  ASSERT_NE(nullptr, node.PTZNode->SupportedPTZSpaces);
  ASSERT_FALSE(node.PTZNode->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace.empty());

  tt__Vector2D pan_tilt;
  pan_tilt.x = 0.25f;
  pan_tilt.y = -0.25f;
  tt__Vector1D zoom;
  zoom.x = 0.2f;
  tt__PTZSpeed velocity;
  velocity.PanTilt = &pan_tilt;
  velocity.Zoom = &zoom;
  _tptz__ContinuousMove move_request;
  move_request.ProfileToken = profile;
  move_request.Velocity = &velocity;
  _tptz__ContinuousMoveResponse move;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__ContinuousMove(c.signed_soap(), ptz, nullptr, &move_request, move))
      << c.what();

  bool both = true;
  _tptz__Stop stop_request;
  stop_request.ProfileToken = profile;
  stop_request.PanTilt = &both;
  stop_request.Zoom = &both;
  _tptz__StopResponse stop;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__Stop(c.signed_soap(), ptz, nullptr, &stop_request, stop)) << c.what();

  tptz1__StopRequest old_stop_request;
  old_stop_request.ProfileToken = profile;
  old_stop_request.PanTilt = &both;
  old_stop_request.Zoom = &both;
  tptz1__StopResponse old_stop;
  ASSERT_EQ(SOAP_OK, soap_call___tptz1__Stop(c.signed_soap(), ptz, nullptr, &old_stop_request, old_stop))
      << c.what();

  _tptz__GetPresets presets_request;
  presets_request.ProfileToken = profile;
  _tptz__GetPresetsResponse presets;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__GetPresets(c.signed_soap(), ptz, nullptr, &presets_request, presets))
      << c.what();
  ASSERT_FALSE(presets.Preset.empty());
  ASSERT_NE(nullptr, presets.Preset.back());
  ASSERT_NE(nullptr, presets.Preset.back()->token);
  std::string token = *presets.Preset.back()->token;

  _tptz__SetPreset set_request;
  set_request.ProfileToken = profile;
  set_request.PresetName = &token;
  set_request.PresetToken = &token;
  _tptz__SetPresetResponse set;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__SetPreset(c.signed_soap(), ptz, nullptr, &set_request, set)) << c.what();
  EXPECT_EQ(token, set.PresetToken);

  _tptz__GotoPreset goto_request;
  goto_request.ProfileToken = profile;
  goto_request.PresetToken = token;
  _tptz__GotoPresetResponse went;
  ASSERT_EQ(SOAP_OK, soap_call___tptz__GotoPreset(c.signed_soap(), ptz, nullptr, &goto_request, went)) << c.what();

  tptz1__RemovePreset remove_request;
  remove_request.ProfileToken = profile;
  remove_request.PresetToken = token;
  tptz1__RemovePresetResponse removed;
  ASSERT_EQ(SOAP_OK, soap_call___tptz1__RemovePreset(c.signed_soap(), ptz, nullptr, &remove_request, removed))
      << c.what();
}

// Every operation the daemon uses, against `camera`. PTZ operations go to
// the device address when the camera announces no PTZ service, and must
// then come back as ActionNotSupported faults. What `seen` points to lives
// in `c`'s context.
void read_everything(StrictClient& c, Seen& seen) {
  _tds__GetCapabilities capabilities_request;
  capabilities_request.Category.push_back(tt__CapabilityCategory__All);
  _tds__GetCapabilitiesResponse capabilities;
  ASSERT_EQ(SOAP_OK, soap_call___tds__GetCapabilities(c.signed_soap(), c.device(), nullptr, &capabilities_request,
                                                      capabilities))
      << c.what();
  ASSERT_NE(nullptr, capabilities.Capabilities);
  ASSERT_NE(nullptr, capabilities.Capabilities->Media);

  _tds__GetDeviceInformation info_request;
  _tds__GetDeviceInformationResponse info;
  ASSERT_EQ(SOAP_OK, soap_call___tds__GetDeviceInformation(c.signed_soap(), c.device(), nullptr, &info_request, info))
      << c.what();

  read_media(c, capabilities.Capabilities->Media->XAddr.c_str(), seen);
  if (::testing::Test::HasFatalFailure()) return;

  const tt__PTZCapabilities* ptz = capabilities.Capabilities->PTZ;
  if (ptz != nullptr && !ptz->XAddr.empty()) {
    read_ptz(c, ptz->XAddr.c_str(), seen.first_profile);
    if (::testing::Test::HasFatalFailure()) return;
  } else {
    _tptz__GetNodes nodes_request;
    _tptz__GetNodesResponse nodes;
    EXPECT_EQ(SOAP_FAULT, soap_call___tptz__GetNodes(c.signed_soap(), c.device(), nullptr, &nodes_request, nodes));
    EXPECT_EQ("SOAP-ENV:Receiver/ter:ActionNotSupported", c.fault_codes()) << c.what();
  }

  _tds__SystemReboot reboot_request;
  _tds__SystemRebootResponse reboot;
  ASSERT_EQ(SOAP_OK, soap_call___tds__SystemReboot(c.signed_soap(), c.device(), nullptr, &reboot_request, reboot))
      << c.what();
  EXPECT_FALSE(reboot.Message.empty());
}

json resolutions(int count) {
  json list = json::array({{1920, 1080}});
  for (int i = 1; i < count; ++i) list.push_back({1920 - 16 * i, 1080 - 8 * i});
  return list;
}

TEST(CamsimStrict, EveryAnswerOfTheBuiltInCamerasDeserializes) {
  for (const char* profile : {"default", "noptz", "emptyptz", "jpegonly"}) {
    SCOPED_TRACE(profile);
    Camsim camera(json::object(), profile);
    StrictClient c(camera.port(), "admin", "admin");
    Seen seen;
    read_everything(c, seen);
  }
}

TEST(CamsimStrict, UnusualEncodersAndStreamAddressesDeserialize) {
  // Long resolution lists, an MPEG4 stream, a fractional quality.
  Camsim encoders(json{
      {"profiles",
       {{{"encoder", {{"quality", 4.9}, {"options", {{"h264", {{"resolutions", resolutions(40)}}},
                                                      {"jpeg", {{"resolutions", resolutions(33)}}}}}}}},
        {{"encoder",
          {{"encoding", "MPEG4"},
           {"width", 640},
           {"height", 480},
           {"fps", 10},
           {"options",
            {{"mpeg4", {{"resolutions", {{640, 480}, {320, 240}}}, {"gov_range", {1, 60}}, {"fps_range", {1, 15}},
                        {"interval_range", {1, 1}}, {"profiles", {"SP", "ASP"}}}}}}}}}}}});
  StrictClient c(encoders.port(), "admin", "admin");
  Seen seen;
  read_everything(c, seen);
  ASSERT_EQ(2u, seen.encoders.size());
  EXPECT_EQ(4.9f, seen.encoders[0]->Quality);
  ASSERT_NE(nullptr, seen.options[0]->H264);
  EXPECT_EQ(40u, seen.options[0]->H264->ResolutionsAvailable.size());
  ASSERT_NE(nullptr, seen.options[0]->JPEG);
  EXPECT_EQ(33u, seen.options[0]->JPEG->ResolutionsAvailable.size());
  EXPECT_EQ(tt__VideoEncoding__MPEG4, seen.encoders[1]->Encoding);
  ASSERT_NE(nullptr, seen.encoders[1]->MPEG4);
  ASSERT_NE(nullptr, seen.options[1]->MPEG4);
  EXPECT_EQ(2u, seen.options[1]->MPEG4->Mpeg4ProfilesSupported.size());

  // Stream addresses around the 50 bytes of the result block's fields.
  const std::string head = "rtsp://127.0.0.1:8554/";
  const std::vector<std::string> uris = {head + std::string(49 - head.size(), 'a'),
                                         head + std::string(50 - head.size(), 'b'),
                                         head + std::string(80 - head.size(), 'c')};
  Camsim addresses(json{{"profiles", {{{"uri", uris[0]}}, {{"uri", uris[1]}}, {{"uri", uris[2]}}}}});
  StrictClient other(addresses.port(), "admin", "admin");
  Seen at;
  read_everything(other, at);
  EXPECT_EQ(uris, at.uris);
}

TEST(CamsimStrict, FaultsArriveAsSoap12FaultsWithTheirSubcodes) {
  Camsim camera(json{{"faults",
                      {{{"op", "GetProfile"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}},
                       {{"op", "GotoPreset"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoToken"}}}}});
  {
    StrictClient wrong(camera.port(), "admin", "wrong");
    _tds__GetCapabilities request;
    request.Category.push_back(tt__CapabilityCategory__All);
    _tds__GetCapabilitiesResponse answer;
    EXPECT_EQ(SOAP_FAULT, soap_call___tds__GetCapabilities(wrong.signed_soap(), wrong.device(), nullptr, &request,
                                                           answer));
    EXPECT_EQ("SOAP-ENV:Sender/ter:NotAuthorized", wrong.fault_codes()) << wrong.what();
  }

  StrictClient c(camera.port(), "admin", "admin");
  const std::string base = "http://127.0.0.1:" + std::to_string(camera.port());
  _trt__GetProfile profile_request;
  profile_request.ProfileToken = "MainProfile";
  _trt__GetProfileResponse profile;
  EXPECT_EQ(SOAP_FAULT, soap_call___trt__GetProfile(c.signed_soap(), (base + "/onvif/media_service").c_str(), nullptr,
                                                    &profile_request, profile));
  EXPECT_EQ("SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoProfile", c.fault_codes()) << c.what();

  _tptz__GotoPreset goto_request;
  goto_request.ProfileToken = "MainProfile";
  goto_request.PresetToken = "1";
  _tptz__GotoPresetResponse went;
  EXPECT_EQ(SOAP_FAULT, soap_call___tptz__GotoPreset(c.signed_soap(), (base + "/onvif/ptz_service").c_str(), nullptr,
                                                     &goto_request, went));
  EXPECT_EQ("SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoToken", c.fault_codes()) << c.what();

  // Faults that camsim raises by itself: a ver10 request without a token.
  tptz1__StopRequest stop_request;
  stop_request.ProfileToken = "MainProfile";
  tptz1__StopResponse stop;
  EXPECT_EQ(SOAP_FAULT, soap_call___tptz1__Stop(c.bare_soap(), (base + "/onvif/ptz_service").c_str(), nullptr,
                                                &stop_request, stop));
  EXPECT_EQ("SOAP-ENV:Sender/ter:NotAuthorized", c.fault_codes()) << c.what();
}

}  // namespace
}  // namespace vantel_test
