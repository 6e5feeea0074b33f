// camsim's answers read back through the generated deserializers in strict
// mode, for every operation the daemon uses, in every firmware style, HTTP
// framing and value set camsim offers: a missing required element, an
// unknown element or a wrong namespace in camsim's XML fails here, not as a
// puzzle in a daemon test. Faults must arrive as well-formed SOAP 1.2 faults.
#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include "harness.h"
#include "onvif_namespaces.h"
#include "soapH.h"
#include "wsseapi.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

// One strict client context towards one camera; with an empty password
// its requests carry no security header at all.
class StrictClient {
 public:
  StrictClient(int port, const std::string& password) : password_(password), port_(std::to_string(port)) {
    soap_init(&soap_);
    soap_set_mode(&soap_, SOAP_XML_STRICT);
    soap_set_namespaces(&soap_, namespaces);
  }
  ~StrictClient() {
    soap_destroy(&soap_);
    soap_end(&soap_);
    soap_done(&soap_);
  }

  // Calls `op` with a fresh token on a request that `fill` sets up, and
  // expects the answer to deserialize (`fault` empty) or to be a fault with
  // exactly the codes `fault`, e.g. "SOAP-ENV:Sender/ter:NotAuthorized".
  template <typename Request, typename Response, typename Fill>
  Response call(const std::string& fault, int (*op)(struct soap*, const char*, const char*, Request*, Response&),
                const std::string& endpoint, Fill fill) {
    soap_wsse_delete_Security(&soap_);
    if (!password_.empty()) soap_wsse_add_UsernameTokenDigest(&soap_, nullptr, "admin", password_.c_str());
    Request request;
    fill(request);
    Response response;
    const int code = op(&soap_, endpoint.c_str(), nullptr, &request, response);
    std::string codes;
    for (const SOAP_ENV__Code* c = soap_.fault ? soap_.fault->SOAP_ENV__Code : nullptr; c; c = c->SOAP_ENV__Subcode)
      codes += (codes.empty() ? "" : "/") + std::string(c->SOAP_ENV__Value ? c->SOAP_ENV__Value : "?");
    // gSOAP says SOAP_CLI_FAULT or SOAP_SVR_FAULT instead of SOAP_FAULT when
    // the answer happens to use its own prefix, SOAP-ENV.
    const bool is_fault = code == SOAP_FAULT || code == SOAP_CLI_FAULT || code == SOAP_SVR_FAULT;
    char text[1024] = "";
    soap_sprint_fault(&soap_, text, sizeof text);
    EXPECT_TRUE(fault.empty() ? code == SOAP_OK : is_fault && codes == fault)
        << typeid(Response).name() << " from " << endpoint << ": " << code << " " << codes << " " << text;
    return response;
  }
  std::string service(const char* name) const { return "http://127.0.0.1:" + port_ + "/onvif/" + name; }

 private:
  struct soap soap_;
  std::string password_, port_;
};

const std::string kOk;
const auto kAsIs = [](auto&) {};

void read_media(StrictClient& c, const std::string& media, std::string& first_profile) {
  const auto profiles = c.call(kOk, soap_call___trt__GetProfiles, media, kAsIs);
  ASSERT_FALSE(profiles.Profiles.empty());
  for (const tt__Profile* listed : profiles.Profiles) {
    ASSERT_NE(nullptr, listed);
    std::string token = listed->token;
    if (first_profile.empty()) first_profile = token;
    const auto profile = c.call(kOk, soap_call___trt__GetProfile, media, [&](auto& r) { r.ProfileToken = token; });
    ASSERT_TRUE(profile.Profile && profile.Profile->VideoEncoderConfiguration) << token;
    std::string encoder_token = profile.Profile->VideoEncoderConfiguration->token;
    tt__Transport transport;
    transport.Protocol = tt__TransportProtocol__RTSP;
    tt__StreamSetup setup;
    setup.Stream = tt__StreamType__RTP_Unicast;
    setup.Transport = &transport;
    const auto uri = c.call(kOk, soap_call___trt__GetStreamUri, media,
                            [&](auto& r) { r.StreamSetup = &setup; r.ProfileToken = token; });
    EXPECT_NE(nullptr, uri.MediaUri) << token;
    const auto encoder = c.call(kOk, soap_call___trt__GetVideoEncoderConfiguration, media,
                                [&](auto& r) { r.ConfigurationToken = encoder_token; });
    ASSERT_NE(nullptr, encoder.Configuration) << token;
    const auto options = c.call(kOk, soap_call___trt__GetVideoEncoderConfigurationOptions, media,
                                [&](auto& r) { r.ConfigurationToken = &encoder_token; r.ProfileToken = &token; });
    EXPECT_NE(nullptr, options.Options) << token;
    // The configuration as read, written back: camsim must take its own.
    c.call(kOk, soap_call___trt__SetVideoEncoderConfiguration, media,
           [&](auto& r) { r.Configuration = encoder.Configuration; r.ForcePersistence = true; });
  }
  EXPECT_FALSE(c.call(kOk, soap_call___trt__GetVideoEncoderConfigurations, media, kAsIs).Configurations.empty());
}

// Every PTZ operation the daemon uses, in its order; on a camera without PTZ
// each must come back as an ActionNotSupported fault (`fault`).
void read_ptz(StrictClient& c, const std::string& ptz, const std::string& profile, const std::string& fault) {
  const bool ok = fault.empty();
  const auto nodes = c.call(fault, soap_call___tptz__GetNodes, ptz, kAsIs);
  ASSERT_TRUE(!ok || (!nodes.PTZNode.empty() && nodes.PTZNode.front()));
  const auto node = c.call(fault, soap_call___tptz__GetNode, ptz,
                           [&](auto& r) { r.NodeToken = ok ? nodes.PTZNode.front()->token : "none"; });
  EXPECT_TRUE(!ok || (node.PTZNode && node.PTZNode->SupportedPTZSpaces &&
                      !node.PTZNode->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace.empty()));
  tt__Vector2D pan_tilt;
  tt__Vector1D zoom;
  tt__PTZSpeed velocity;
  velocity.PanTilt = &pan_tilt;
  velocity.Zoom = &zoom;
  c.call(fault, soap_call___tptz__ContinuousMove, ptz, [&](auto& r) { r.ProfileToken = profile; r.Velocity = &velocity; });
  bool both = true;
  auto stop_both = [&](auto& r) { r.ProfileToken = profile; r.PanTilt = r.Zoom = &both; };
  c.call(fault, soap_call___tptz__Stop, ptz, stop_both);
  c.call(fault, soap_call___tptz1__Stop, ptz, stop_both);
  const auto presets = c.call(fault, soap_call___tptz__GetPresets, ptz, [&](auto& r) { r.ProfileToken = profile; });
  ASSERT_TRUE(!ok || (!presets.Preset.empty() && presets.Preset.back() && presets.Preset.back()->token));
  std::string token = ok ? *presets.Preset.back()->token : "1";
  const auto set = c.call(fault, soap_call___tptz__SetPreset, ptz,
                          [&](auto& r) { r.ProfileToken = profile; r.PresetName = r.PresetToken = &token; });
  EXPECT_TRUE(!ok || token == set.PresetToken) << set.PresetToken;
  auto preset = [&](auto& r) { r.ProfileToken = profile; r.PresetToken = token; };
  c.call(fault, soap_call___tptz__GotoPreset, ptz, preset);
  c.call(fault, soap_call___tptz1__RemovePreset, ptz, preset);
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
  };
  for (const auto& camera : cameras) {
    SCOPED_TRACE(std::string(camera.builtin) + " " + camera.config.dump());
    json config = camera.config;
    config["faults"] = {{{"op", "GetProfile"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}}};
    Camsim camsim(config, camera.builtin);
    StrictClient c(camsim.port(), "admin"), wrong(camsim.port(), "wrong"), bare(camsim.port(), "");
    const std::string device = c.service("device_service");
    auto all = [](auto& r) { r.Category.push_back(tt__CapabilityCategory__All); };
    // The faults camsim raises by itself, and the injected one used up.
    wrong.call("SOAP-ENV:Sender/ter:NotAuthorized", soap_call___tds__GetCapabilities, device, all);
    bare.call("SOAP-ENV:Sender/ter:NotAuthorized", soap_call___tds__GetDeviceInformation, device, kAsIs);
    c.call("SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoProfile", soap_call___trt__GetProfile, c.service("media_service"),
           [](auto& r) { r.ProfileToken = "MainProfile"; });

    const auto capabilities = c.call(kOk, soap_call___tds__GetCapabilities, device, all);
    ASSERT_TRUE(capabilities.Capabilities && capabilities.Capabilities->Media);
    c.call(kOk, soap_call___tds__GetDeviceInformation, device, kAsIs);
    std::string first_profile;
    read_media(c, capabilities.Capabilities->Media->XAddr, first_profile);
    const tt__PTZCapabilities* ptz = capabilities.Capabilities->PTZ;
    ASSERT_EQ(camera.has_ptz, ptz != nullptr && !ptz->XAddr.empty());
    read_ptz(c, camera.has_ptz ? ptz->XAddr : device, first_profile,
             camera.has_ptz ? kOk : "SOAP-ENV:Receiver/ter:ActionNotSupported");
    EXPECT_FALSE(c.call(kOk, soap_call___tds__SystemReboot, device, kAsIs).Message.empty());
  }
}

}  // namespace
}  // namespace vantel_test
