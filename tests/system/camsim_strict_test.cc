// camsim's answers read back through the generated deserializers in strict
// mode, for every operation the daemon uses, in every firmware style, HTTP
// framing and value set camsim offers and for the unusual cameras the daemon
// tests build: a missing required element, an unknown element or a wrong
// namespace in camsim's XML fails here, not as a puzzle in a daemon test.
// Faults must arrive as well-formed SOAP 1.2 faults in every style.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "harness.h"
#include "onvif_namespaces.h"
#include "soapH.h"
#include "wsseapi.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

const std::string kOk;  // what `call` expects of an answer that deserializes
const std::string kNotSupported = "SOAP-ENV:Receiver/ter:ActionNotSupported";

// One strict client context towards one camera; with an empty password
// its requests carry no security header at all.
class StrictClient {
 public:
  explicit StrictClient(int port, const std::string& password = "admin")
      : password_(password), base_("http://127.0.0.1:" + std::to_string(port)) {
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

  // The context for the next call, with a fresh UsernameToken.
  struct soap* next() {
    soap_wsse_delete_Security(&soap_);
    if (!password_.empty()) soap_wsse_add_UsernameTokenDigest(&soap_, nullptr, "admin", password_.c_str());
    return &soap_;
  }
  std::string service(const char* name) const { return base_ + "/onvif/" + name; }
  // The WS-Addressing Action of the last answer, if it had one.
  std::string action() const { return soap_.header && soap_.header->wsa5__Action ? soap_.header->wsa5__Action : ""; }

  // "SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoProfile" and the runtime's own
  // description of what went wrong.
  std::pair<std::string, std::string> fault() {
    std::string codes;
    for (const SOAP_ENV__Code* c = soap_.fault ? soap_.fault->SOAP_ENV__Code : nullptr; c; c = c->SOAP_ENV__Subcode) {
      codes += (codes.empty() ? "" : "/") + std::string(c->SOAP_ENV__Value ? c->SOAP_ENV__Value : "?");
    }
    char text[1024] = "";
    soap_sprint_fault(&soap_, text, sizeof text);
    return {codes, text};
  }

 private:
  struct soap soap_;
  std::string password_, base_;
};

// Calls `op` with a fresh token on a request that `fill` sets up, and
// expects the answer to deserialize (`fault` empty) or to be a fault with
// exactly the codes `fault`. What the answer points to lives in `c`.
template <typename Request, typename Response, typename Fill>
Response call(StrictClient& c, const std::string& fault,
              int (*op)(struct soap*, const char*, const char*, Request*, Response&), const std::string& endpoint,
              Fill fill) {
  Request request;
  fill(request);
  Response response;
  const int code = op(c.next(), endpoint.c_str(), nullptr, &request, response);
  const auto [codes, text] = c.fault();
  // gSOAP says SOAP_CLI_FAULT or SOAP_SVR_FAULT instead of SOAP_FAULT when
  // the answer happens to use its own prefix, SOAP-ENV.
  const bool is_fault = code == SOAP_FAULT || code == SOAP_CLI_FAULT || code == SOAP_SVR_FAULT;
  EXPECT_TRUE(fault.empty() ? code == SOAP_OK : is_fault && codes == fault)
      << typeid(Response).name() << " from " << endpoint << ": " << code << " " << codes << " " << text;
  return response;
}
const auto kAsIs = [](auto&) {};

// What a camera's answers held, for the checks particular to one camera.
struct Seen {
  std::vector<std::string> uris;
  std::vector<tt__VideoEncoderConfiguration*> encoders;  // per profile, as GetVideoEncoderConfiguration read it
  std::vector<tt__VideoEncoderConfigurationOptions*> options;
  std::vector<tt__PTZPreset*> presets;
  tt__PTZNode* node = nullptr;
  std::string capabilities_action;
  bool media_read = false, ptz_read = false;  // an ASSERT above returned early otherwise
};

void read_media(StrictClient& c, const std::string& media, std::string& first_profile, Seen& seen) {
  const auto profiles = call(c, kOk, soap_call___trt__GetProfiles, media, kAsIs);
  ASSERT_FALSE(profiles.Profiles.empty());
  for (const tt__Profile* listed : profiles.Profiles) {
    ASSERT_NE(nullptr, listed);
    SCOPED_TRACE("profile " + listed->token);
    if (first_profile.empty()) first_profile = listed->token;
    const std::string& token = listed->token;
    const auto profile = call(c, kOk, soap_call___trt__GetProfile, media, [&](auto& r) { r.ProfileToken = token; });
    ASSERT_TRUE(profile.Profile && profile.Profile->VideoEncoderConfiguration);
    std::string encoder_token = profile.Profile->VideoEncoderConfiguration->token;

    tt__Transport transport;
    transport.Protocol = tt__TransportProtocol__RTSP;
    tt__StreamSetup setup;
    setup.Stream = tt__StreamType__RTP_Unicast;
    setup.Transport = &transport;
    const auto uri = call(c, kOk, soap_call___trt__GetStreamUri, media,
                          [&](auto& r) { r.StreamSetup = &setup; r.ProfileToken = token; });
    ASSERT_NE(nullptr, uri.MediaUri);
    seen.uris.push_back(uri.MediaUri->Uri);
    const auto encoder = call(c, kOk, soap_call___trt__GetVideoEncoderConfiguration, media,
                              [&](auto& r) { r.ConfigurationToken = encoder_token; });
    ASSERT_NE(nullptr, encoder.Configuration);
    seen.encoders.push_back(encoder.Configuration);
    std::string profile_token = token;
    const auto options = call(c, kOk, soap_call___trt__GetVideoEncoderConfigurationOptions, media,
                              [&](auto& r) { r.ConfigurationToken = &encoder_token; r.ProfileToken = &profile_token; });
    ASSERT_NE(nullptr, options.Options);
    seen.options.push_back(options.Options);
    // The configuration as read, written back: camsim must take its own.
    call(c, kOk, soap_call___trt__SetVideoEncoderConfiguration, media,
         [&](auto& r) { r.Configuration = encoder.Configuration; r.ForcePersistence = true; });
  }
  EXPECT_FALSE(call(c, kOk, soap_call___trt__GetVideoEncoderConfigurations, media, kAsIs).Configurations.empty());
  seen.media_read = true;
}

// Every PTZ operation the daemon uses, in its order; on a camera without PTZ
// each must come back as an ActionNotSupported fault (`fault`).
void read_ptz(StrictClient& c, const std::string& ptz, const std::string& profile, const std::string& fault,
              Seen& seen) {
  const bool ok = fault.empty();
  const auto nodes = call(c, fault, soap_call___tptz__GetNodes, ptz, kAsIs);
  ASSERT_TRUE(!ok || (!nodes.PTZNode.empty() && nodes.PTZNode.front()));
  const auto node = call(c, fault, soap_call___tptz__GetNode, ptz,
                         [&](auto& r) { r.NodeToken = ok ? nodes.PTZNode.front()->token : "none"; });
  ASSERT_TRUE(!ok || (node.PTZNode && node.PTZNode->SupportedPTZSpaces &&
                      !node.PTZNode->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace.empty()));
  seen.node = node.PTZNode;

  tt__Vector2D pan_tilt;
  pan_tilt.x = 0.25f;
  pan_tilt.y = -0.25f;
  tt__Vector1D zoom;
  zoom.x = 0.2f;
  tt__PTZSpeed velocity;
  velocity.PanTilt = &pan_tilt;
  velocity.Zoom = &zoom;
  call(c, fault, soap_call___tptz__ContinuousMove, ptz,
       [&](auto& r) { r.ProfileToken = profile; r.Velocity = &velocity; });
  bool both = true;
  auto stop_both = [&](auto& r) { r.ProfileToken = profile; r.PanTilt = r.Zoom = &both; };
  call(c, fault, soap_call___tptz__Stop, ptz, stop_both);
  call(c, fault, soap_call___tptz1__Stop, ptz, stop_both);

  const auto presets = call(c, fault, soap_call___tptz__GetPresets, ptz, [&](auto& r) { r.ProfileToken = profile; });
  ASSERT_TRUE(!ok || (!presets.Preset.empty() && presets.Preset.back() && presets.Preset.back()->token));
  seen.presets = presets.Preset;
  std::string token = ok ? *presets.Preset.back()->token : "1";
  const auto set = call(c, fault, soap_call___tptz__SetPreset, ptz,
                        [&](auto& r) { r.ProfileToken = profile; r.PresetName = r.PresetToken = &token; });
  EXPECT_TRUE(!ok || token == set.PresetToken) << set.PresetToken;
  auto preset = [&](auto& r) { r.ProfileToken = profile; r.PresetToken = token; };
  call(c, fault, soap_call___tptz__GotoPreset, ptz, preset);
  call(c, fault, soap_call___tptz1__RemovePreset, ptz, preset);
  seen.ptz_read = true;
}

// Every operation the daemon uses, against one camera. PTZ operations go to
// the device address when the camera announces no PTZ service.
void read_everything(StrictClient& c, bool has_ptz, Seen& seen) {
  const std::string device = c.service("device_service");
  const auto capabilities = call(c, kOk, soap_call___tds__GetCapabilities, device,
                                 [](auto& r) { r.Category.push_back(tt__CapabilityCategory__All); });
  ASSERT_TRUE(capabilities.Capabilities && capabilities.Capabilities->Media);
  seen.capabilities_action = c.action();
  call(c, kOk, soap_call___tds__GetDeviceInformation, device, kAsIs);

  std::string first_profile;
  read_media(c, capabilities.Capabilities->Media->XAddr, first_profile, seen);
  if (!seen.media_read) return;
  const tt__PTZCapabilities* ptz = capabilities.Capabilities->PTZ;
  ASSERT_EQ(has_ptz, ptz != nullptr && !ptz->XAddr.empty());
  read_ptz(c, has_ptz ? ptz->XAddr : device, first_profile, has_ptz ? kOk : kNotSupported, seen);
  if (!seen.ptz_read) return;
  EXPECT_FALSE(call(c, kOk, soap_call___tds__SystemReboot, device, kAsIs).Message.empty());
}

json resolutions(int count) {
  json list = json::array({{1920, 1080}});
  for (int i = 1; i < count; ++i) list.push_back({1920 - 16 * i, 1080 - 8 * i});
  return list;
}

// Faults camsim raises by itself and an injected one, read before
// everything else so the injected one (times 1) is used up here.
void read_faults(StrictClient& c, int port) {
  StrictClient wrong(port, "wrong");
  call(wrong, "SOAP-ENV:Sender/ter:NotAuthorized", soap_call___tds__GetCapabilities, wrong.service("device_service"),
       [](auto& r) { r.Category.push_back(tt__CapabilityCategory__All); });
  StrictClient bare(port, "");
  call(bare, "SOAP-ENV:Sender/ter:NotAuthorized", soap_call___tds__GetDeviceInformation,
       bare.service("device_service"), kAsIs);
  call(c, "SOAP-ENV:Sender/ter:InvalidArgVal/ter:NoProfile", soap_call___trt__GetProfile, c.service("media_service"),
       [](auto& r) { r.ProfileToken = "MainProfile"; });
}

TEST(CamsimStrict, EveryAnswerOfEveryStyleDeserializes) {
  // Stream addresses around the 50 bytes of the result block's fields.
  const std::string head = "rtsp://127.0.0.1:8554/";
  const std::vector<std::string> uris = {head + std::string(49 - head.size(), 'a'),
                                         head + std::string(50 - head.size(), 'b'),
                                         head + std::string(80 - head.size(), 'c')};
  const json all_values = json::array({"all"});
  const struct {
    const char *name, *builtin;
    json config;
    bool has_ptz;
  } cameras[] = {
      {"default", "default", json::object(), true},    {"noptz", "noptz", json::object(), false},
      {"emptyptz", "emptyptz", json::object(), false}, {"jpegonly", "jpegonly", json::object(), false},
      // Long resolution lists, a fractional quality, an MPEG4 stream.
      {"encoders", "default",
       {{"profiles",
         {{{"encoder", {{"quality", 4.9}, {"options", {{"h264", {{"resolutions", resolutions(40)}}},
                                                        {"jpeg", {{"resolutions", resolutions(33)}}}}}}}},
          {{"encoder",
            {{"encoding", "MPEG4"}, {"width", 640}, {"height", 480}, {"fps", 10},
             {"options", {{"mpeg4", {{"resolutions", {{640, 480}, {320, 240}}}, {"gov_range", {1, 60}},
                                     {"fps_range", {1, 15}}, {"interval_range", {1, 1}},
                                     {"profiles", {"SP", "ASP"}}}}}}}}}}}},
       true},
      {"addresses", "default", {{"profiles", {{{"uri", uris[0]}}, {{"uri", uris[1]}}, {{"uri", uris[2]}}}}}, true},
      // Firmware styles, each with one HTTP framing, plain with every value set.
      {"gsoap", "default", {{"style", "gsoap"}, {"framing", {"chunked"}}}, true},
      {"gsoap2004", "default", {{"style", "gsoap"}, {"wsa", "2004"}, {"framing", {"http10"}}}, true},
      {"gsoap-noptz", "noptz", {{"style", "gsoap"}}, false},
      {"wcf", "default", {{"style", "wcf"}, {"framing", {"action"}}}, true},
      {"numbered", "default", {{"style", "numbered"}, {"framing", {"chunked", "action"}}}, true},
      {"values", "default", {{"values", all_values}}, true},
      {"wcf-values", "default", {{"style", "wcf"}, {"values", all_values}, {"framing", {"http10"}}}, true},
  };
  const json injected = {{"faults", {{{"op", "GetProfile"}, {"times", 1}, {"subcode", "ter:InvalidArgVal/ter:NoProfile"}}}}};
  std::map<std::string, Seen> seen;
  std::vector<std::unique_ptr<StrictClient>> clients;  // keep what `seen` points to
  for (const auto& camera : cameras) {
    SCOPED_TRACE(camera.name);
    json config = camera.config;
    config.update(injected);
    Camsim camsim(config, camera.builtin);
    clients.push_back(std::make_unique<StrictClient>(camsim.port()));
    read_faults(*clients.back(), camsim.port());
    read_everything(*clients.back(), camera.has_ptz, seen[camera.name]);
  }

  const Seen& encoders = seen["encoders"];
  ASSERT_EQ(2u, encoders.encoders.size());
  EXPECT_EQ(4.9f, encoders.encoders[0]->Quality);
  ASSERT_TRUE(encoders.options[0]->H264 && encoders.options[0]->JPEG);
  EXPECT_EQ(40u, encoders.options[0]->H264->ResolutionsAvailable.size());
  EXPECT_EQ(33u, encoders.options[0]->JPEG->ResolutionsAvailable.size());
  EXPECT_EQ(tt__VideoEncoding__MPEG4, encoders.encoders[1]->Encoding);
  ASSERT_TRUE(encoders.encoders[1]->MPEG4 && encoders.options[1]->MPEG4);
  EXPECT_EQ(2u, encoders.options[1]->MPEG4->Mpeg4ProfilesSupported.size());
  EXPECT_EQ(uris, seen["addresses"].uris);
  for (const auto& [name, row] : seen) {
    EXPECT_TRUE(row.media_read && row.ptz_read) << name;
    // The addressing header is read, not skipped, in both namespaces.
    EXPECT_EQ(name.rfind("gsoap", 0) == 0 ? "http://www.onvif.org/ver10/device/wsdl/GetCapabilitiesResponse" : "",
              row.capabilities_action) << name;
  }
  ASSERT_EQ(2u, seen["numbered"].encoders.size());
  EXPECT_EQ("001", seen["numbered"].encoders[1]->token);

  // The value sets arrive as sent: E-notation ranges and positions, 255
  // presets newest first with UUID tokens and accented names, 25 resolutions.
  for (const char* name : {"values", "wcf-values"}) {
    SCOPED_TRACE(name);
    const Seen& values = seen[name];
    ASSERT_EQ(255u, values.presets.size());
    const tt__PTZPreset* first = values.presets.front();
    ASSERT_TRUE(first->Name && first->token && first->PTZPosition && first->PTZPosition->PanTilt);
    EXPECT_EQ(36u, first->token->size());
    // Without SOAP_C_UTFSTRING (the daemon does not set it either) gSOAP hands out Latin-1.
    EXPECT_EQ("H\xF4tel de Ville 255", *first->Name);  // the 255th and last preset, listed first
    EXPECT_FLOAT_EQ(-0.7f, first->PTZPosition->PanTilt->x);
    ASSERT_TRUE(values.node && values.node->SupportedPTZSpaces);
    EXPECT_FLOAT_EQ(-1.0f, values.node->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace.front()->XRange->Min);
    ASSERT_TRUE(values.options[0]->H264);
    EXPECT_EQ(25u, values.options[0]->H264->ResolutionsAvailable.size());
  }
}

}  // namespace
}  // namespace vantel_test
