#include "probe.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "camera/auth/camera_clock.h"
#include "camera/auth/refusal.h"
#include "camera/book/camera_book.h"
#include "camera/services/device_calls.h"
#include "camera/services/media_calls.h"
#include "camera/services/onvif_session.h"
#include "camera/services/ptz_calls.h"
#include "camera/transport/answer_headers.h"
#include "camera/transport/redirect.h"
#include "commands/common/profile_tokens.h"
#include "log/log.h"
#include "probe_findings.h"
#include "probe_outcome.h"
#include "probe_verdict.h"
#include "wire/result_block.h"

namespace vantelctl {
namespace {

using namespace vantel;

// Clocks this close are the same clock to the session: tokens stay on ours.
constexpr int64_t kClockToleranceS = 5;
// The probe is for a person waiting at a screen: a camera that stops
// answering ends it after this. The runtime's own time limits are left
// unset: they leave the socket non-blocking, which the TLS layer's reads
// cannot take.
constexpr unsigned kProbeLimitS = 120;
// The longest preset token the preset commands can name.
constexpr size_t kPresetTokenMax = 19;

void out_of_time(int) {
  static const char kLine[] = "vantelctl: the camera stopped answering: probe ended\n";
  static_cast<void>(write(STDERR_FILENO, kLine, sizeof kLine - 1));
  _exit(2);
}

std::string value_or_null(const char* text) { return text != nullptr ? json_text(text) : "null"; }

std::string encoding_name(const std::string& encoding) {
  if (encoding == "H264") return "H.264";
  if (encoding == "H265" || encoding == "HEVC") return "H.265";
  if (encoding == "MPEG4") return "MPEG-4";
  return encoding.empty() ? "no encoding" : encoding;
}

CameraAccess access_of(const ProbeOptions& o) {
  CameraAccess access{};
  std::snprintf(access.ip_text, sizeof access.ip_text, "%s", o.camera.c_str());
  access.port = o.port;
  std::snprintf(access.user, sizeof access.user, "%s", o.user.c_str());
  std::snprintf(access.password, sizeof access.password, "%s", o.password.c_str());
  return access;
}

// The camera as the session is to meet it, remembered in `book` from the
// first call on, as the daemon remembers it.
CameraAccess in_book(CameraBook& book, const ProbeOptions& o) {
  OnvifSession::use_book(&book);
  return access_of(o);
}

class Probe {
 public:
  Probe(const ProbeOptions& options, Findings& findings)
      : options_(options),
        camera_(options.camera + ":" + std::to_string(options.port)),
        findings_(findings),
        session_(in_book(book_, options), CameraBook::Meeting::kFirst),
        entry_(book_.entry({options.camera, options.port, options.user}, options.password.c_str())),
        formed_(session_.device_address()) {}

  int run() {
    if (reach() && log_in()) {
      facts_.stage = CameraFacts::Stage::kAnswered;
      services();
      device();
      profiles();
      ptz();
    }
    const std::vector<CommandVerdict> verdicts = judge(facts_);
    const int status = exit_status(facts_, verdicts);
    std::vector<std::string> work, fail;
    for (const CommandVerdict& v : verdicts) {
      if (v.why.empty()) work.push_back(json_text(v.command));
      else fail.push_back("{\"command\": " + json_text(v.command) + ", \"why\": " + json_text(v.why) + "}");
    }
    Finding verdict("verdict", verdict_text(facts_, verdicts));
    verdict.with("work", json_list(work)).with("fail", json_list(fail));
    findings_.finish(camera_, verdict, status);
    return status;
  }

 private:
  bool reach();
  bool unreached_by(const std::string& why);
  void report_reached();
  bool log_in();
  void clock(int login);
  void services();
  void service(const char* name, const std::string* advertised, const char* used);
  void device();
  void profiles();
  void profile(MediaService& media, const std::string& name, const tt__Profile& p);
  void ptz();

  const ProbeOptions& options_;
  const std::string camera_;  // "address:port"
  Findings& findings_;
  CameraBook book_{""};  // in memory only: the probe leaves no state file
  OnvifSession session_;
  CameraEntry& entry_;
  const std::string formed_;  // the device address as a command forms it
  CameraFacts facts_;
  bool clock_known_ = false;
  int64_t clock_offset_ = 0;
  std::string clock_source_;
  _trt__GetProfilesResponse profiles_;
};

// GetSystemDateAndTime without credentials, through the session like any
// call, so that a camera behind a redirect or on TLS only is found the
// way the daemon finds it. Its answer (or its Date header) gives the
// camera's clock, and tokens are dated by it from the first one on: a
// camera with a wrong clock costs no refused login here.
bool Probe::reach() {
  if (const std::string why = tcp_reachable(options_.camera, options_.port); !why.empty()) return unreached_by(why);
  _tds__GetSystemDateAndTime request;
  _tds__GetSystemDateAndTimeResponse answer;
  struct soap* soap = session_.soap();
  const int result =
      session_.call_as_is(soap, soap_call___tds__GetSystemDateAndTime, session_.device_address(), request, answer);
  if (unreached(result)) {
    if (result < 300 || result >= 400) return unreached_by(reason(soap, result));
    std::string not_followed;
    redirect_target(answer_location(soap), options_.camera.c_str(), formed_.c_str(), not_followed);
    const std::string location = std::string(answer_location(soap)).substr(0, 120);
    return unreached_by("redirects to " + location + ", not followed (" + not_followed + ")");
  }
  int64_t camera_now = 0;
  if (result == SOAP_OK && camera_time(answer, camera_now)) {
    clock_source_ = "GetSystemDateAndTime";
  } else if (parse_http_date(answer_date(soap), camera_now)) {
    clock_source_ = "its HTTP Date header";
  }
  clock_known_ = !clock_source_.empty();
  clock_offset_ = camera_now - static_cast<int64_t>(time(nullptr));
  if (clock_known_ && std::llabs(clock_offset_) > kClockToleranceS) entry_.lasting.clock_offset = clock_offset_;
  report_reached();
  return true;
}

bool Probe::unreached_by(const std::string& why) {
  facts_.why = "camera not reached: " + why;
  findings_.add(Finding("reached", "no: " + camera_ + ": " + why)
                    .with("reached", json_bool(false)).with("why", json_text(why)));
  return false;
}

// How the session got there, as the camera's entry now holds it.
void Probe::report_reached() {
  const std::string address = session_.device_address();
  const std::string& pin = entry_.lasting.certificate_pin;
  const bool tls = entry_.lasting.tls;
  const bool same_port = tls && address == "https://" + formed_.substr(7);
  std::string text = camera_ + (tls ? same_port ? " answers no plain HTTP: TLS on the same port"
                                               : " redirects to " + address + ": followed, TLS"
                                        : ", plain HTTP");
  if (!pin.empty()) text += ", certificate SHA-256 " + pin;
  if (!tls) text += ", device service " + address;
  findings_.add(Finding("reached", text)
                    .with("reached", json_bool(true)).with("address", json_text(address))
                    .with("transport", json_text(tls ? "tls" : "http"))
                    .with("redirect", tls && !same_port ? json_text(address) : "null")
                    .with("certificate_sha256", pin.empty() ? "null" : json_text(pin)));
}

bool Probe::log_in() {
  struct soap* soap = session_.soap();
  const int result = session_.get_capabilities();
  const bool refused = refused_for_authentication(soap, result);
  clock(result);
  const bool digest = !entry_.digest_challenge.empty();
  std::string text;
  if (result == SOAP_OK) {
    text = "WS-Security UsernameToken (password digest) accepted";
  } else if (refused) {
    const std::string why = reason(soap, result) + (digest && result == 401 ? " to the HTTP Digest answer" : "");
    text = "refused: " + why;
    facts_.stage = CameraFacts::Stage::kRefused;
    facts_.why = "the camera refused the login (" + why + ")";
  } else {
    const std::string why = reason(soap, result);
    text = "not refused, but GetCapabilities failed: " + why;
    facts_.stage = CameraFacts::Stage::kNoCapabilities;
    facts_.why = "GetCapabilities failed (" + why + ")";
  }
  if (digest) text = "HTTP Digest asked for: answered; " + text;
  findings_.add(Finding("authentication", text)
                    .with("ws_security", json_text(result == SOAP_OK ? "accepted" : refused ? "refused" : "unknown"))
                    .with("http_digest", json_bool(digest))
                    .with("http_digest_challenge", digest ? json_text(entry_.digest_challenge) : "null")
                    .with("refused", json_bool(refused)));
  if (soap->version != 0) {
    const char* version = soap->version == 1 ? "1.1" : "1.2";
    findings_.add(Finding("soap", std::string("answers in SOAP ") + version).with("version", json_text(version)));
  }
  return result == SOAP_OK;
}

// The camera's clock against ours, and how tokens dated by it fared.
void Probe::clock(int login) {
  const int64_t used = entry_.lasting.clock_offset;
  const bool learned = used != 0 && (!clock_known_ || std::llabs(used - clock_offset_) > kClockToleranceS);
  std::string text;
  if (learned) {
    text = "camera " + std::string(used > 0 ? "+" : "") + std::to_string(used) +
           " s from ours, learned from a refused token";
  } else if (!clock_known_) {
    text = "the camera tells no time (no GetSystemDateAndTime, no Date header)";
  } else if (used == 0) {
    text = "camera and recorder agree within " + std::to_string(kClockToleranceS) + " s (" + clock_source_ + ")";
  } else {
    text = "camera " + std::string(used > 0 ? "+" : "") + std::to_string(used) + " s from ours (" + clock_source_ +
           ")";
  }
  const bool accepted = login == SOAP_OK || !refused_for_authentication(session_.soap(), login);
  text += std::string("; tokens dated on ") + (used == 0 ? "our clock" : "the camera's clock") + ": " +
          (accepted ? "accepted" : clock_known_ || learned ? "refused, dated right: see the login" : "refused");
  findings_.add(Finding("clock", text)
                    .with("offset_s", clock_known_ || learned ? json_number(learned ? used : clock_offset_) : "null")
                    .with("tokens_on_camera_clock", json_bool(used != 0))
                    .with("tokens_accepted", json_bool(accepted)));
}

void Probe::services() {
  const tt__Capabilities* c = session_.capabilities();
  service("device", c && c->Device ? &c->Device->XAddr : nullptr, session_.device_service_address());
  const char* media = session_.media_address();
  service("media", c && c->Media ? &c->Media->XAddr : nullptr, media);
  const char* ptz = session_.ptz_address();
  service("ptz", c && c->PTZ ? &c->PTZ->XAddr : nullptr, ptz);
  facts_.media = media != nullptr;
  facts_.ptz = ptz != nullptr && *ptz != '\0';
}

void Probe::service(const char* name, const std::string* advertised, const char* used) {
  Finding finding("service", "");
  finding.with("name", json_text(name)).with("advertised", advertised ? json_text(*advertised) : "null");
  if (advertised == nullptr || advertised->empty()) {
    finding.text = std::string(name) + ": none" + (advertised ? " (an empty address)" : "");
    if (used != nullptr && *used != '\0') finding.text += ", the recorder uses " + std::string(used);
  } else if (used != nullptr && *advertised != used) {
    finding.text = std::string(name) + " at " + *advertised + ": not the camera's address, the recorder uses " +
                   used + " instead";
  } else {
    finding.text = std::string(name) + " at " + *advertised;
  }
  findings_.add(finding.with("address", value_or_null(used && *used ? used : nullptr)));
}

void Probe::device() {
  _tds__GetDeviceInformationResponse info;
  const int result = DeviceService(session_).get_information(info);
  if (result != SOAP_OK) {
    findings_.add(Finding("device", "GetDeviceInformation failed: " + reason(session_.soap(), result)));
    return;
  }
  facts_.model = info.Model;
  findings_.add(Finding("device", info.Manufacturer + " " + info.Model + ", firmware " + info.FirmwareVersion)
                    .with("manufacturer", json_text(info.Manufacturer)).with("model", json_text(info.Model))
                    .with("firmware", json_text(info.FirmwareVersion)));
}

void Probe::profiles() {
  if (!facts_.media) {
    findings_.add(Finding("profiles", "none: the camera names no media service"));
    return;
  }
  MediaService media(session_);
  const int result = media.get_profiles(profiles_);
  facts_.profiles_read = result == SOAP_OK;
  if (!facts_.profiles_read) {
    findings_.add(Finding("profiles", "GetProfiles failed: " + reason(session_.soap(), result)));
    return;
  }
  const ProfileTokens tokens = recorder_profile_tokens(profiles_);
  facts_.first_stream = tokens.first;
  facts_.second_stream = tokens.second;
  if (profiles_.Profiles.empty()) findings_.add(Finding("profiles", "none listed"));
  // Each profile's encoder as the stream query reads it: from GetProfile.
  for (const tt__ListedProfile* listed : profiles_.Profiles) {
    if (listed == nullptr) continue;
    _trt__GetProfileResponse answer;
    const int got = media.get_profile(listed->token, answer);
    if (got != SOAP_OK || answer.Profile == nullptr) {
      findings_.add(Finding("profile", listed->Name + " (token " + listed->token + "): GetProfile failed (" +
                                           reason(session_.soap(), got) + ")")
                        .with("token", json_text(listed->token)).with("name", json_text(listed->Name)));
      continue;
    }
    profile(media, listed->Name, *answer.Profile);
  }
}

void Probe::profile(MediaService& media, const std::string& name, const tt__Profile& p) {
  ProfileFacts facts;
  facts.token = p.token;
  const tt__VideoEncoderConfiguration* encoder = p.VideoEncoderConfiguration;
  facts.encoder = encoder != nullptr;
  facts.encoding = encoder ? encoder->Encoding : "";
  facts.ptz = p.PTZConfiguration != nullptr;
  const tt__VideoResolution* size = encoder ? encoder->Resolution : nullptr;
  std::string text = name + " (token " + p.token + "): " +
                     (encoder ? encoding_name(encoder->Encoding) : std::string("no video encoder"));
  if (size != nullptr) text += " " + std::to_string(size->Width) + "x" + std::to_string(size->Height);

  _trt__GetStreamUriResponse answer;
  const int result = media.get_stream_uri(p.token, answer);
  const std::string* uri = result == SOAP_OK ? answered_uri(answer) : nullptr;
  facts.uri = uri != nullptr;
  text += uri ? ", " + *uri : ", no stream URI (" + reason(session_.soap(), result) + ")";
  if (uri && uri->size() >= block::kUriFieldSize) {
    text += " (the result block holds its first " + std::to_string(block::kUriFieldSize) + " bytes)";
  }
  const char* stream = facts_.first_stream == p.token ? "first" : facts_.second_stream == p.token ? "second" : nullptr;
  if (stream != nullptr) text += std::string("; the recorder's ") + stream + " stream";
  if (facts_.first_stream == p.token && encoder != nullptr) {
    _trt__GetVideoEncoderConfigurationOptionsResponse options;
    facts_.first_stream_h264 = media.get_options_for_profile(p.token, options) == SOAP_OK && options.Options &&
                               options.Options->H264 != nullptr;
    if (!facts_.first_stream_h264) text += ", no H.264 options";
  }
  facts_.profiles.push_back(facts);
  findings_.add(Finding("profile", text)
                    .with("token", json_text(p.token)).with("name", json_text(name))
                    .with("encoding", encoder ? json_text(encoder->Encoding) : "null")
                    .with("width", size ? json_number(size->Width) : "null")
                    .with("height", size ? json_number(size->Height) : "null")
                    .with("stream_uri", uri ? json_text(*uri) : "null")
                    .with("recorder_stream", stream ? json_text(stream) : "null"));
}

// A preset token the remove command can name: it sends the number as
// "%d" prints it.
bool decimal(const std::string& token) {
  if (token.empty() || token.size() > 10 || token.find_first_not_of("0123456789") != std::string::npos) return false;
  return token == "0" || token[0] != '0';
}

bool continuous_pan_tilt(const tt__PTZNode* node) {
  if (node == nullptr || node->SupportedPTZSpaces == nullptr) return false;
  const auto& spaces = node->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace;
  return !spaces.empty() && spaces.front() != nullptr && spaces.front()->XRange && spaces.front()->YRange;
}

// What every PTZ command reads first: the node of the first profile's PTZ
// configuration and the preset list, at the address the commands use.
void Probe::ptz() {
  if (!facts_.ptz) {
    findings_.add(Finding("ptz", "none: the camera names no PTZ service").with("node", "null").with("presets", "null"));
    return;
  }
  const tt__ListedProfile* first = profiles_.Profiles.empty() ? nullptr : profiles_.Profiles.front();
  const tt__PTZConfiguration* configuration = first ? first->PTZConfiguration : nullptr;
  if (configuration == nullptr) {
    findings_.add(Finding("ptz", "service present, but the first profile has no PTZ configuration")
                      .with("node", "null").with("presets", "null"));
    return;
  }
  PtzService service(session_, session_.soap(), session_.ptz_address());
  _tptz__GetNodeResponse node;
  const int found = service.get_node(&configuration->NodeToken, node);
  facts_.pan_tilt = found == SOAP_OK && continuous_pan_tilt(node.PTZNode);
  std::string text = "node " + configuration->NodeToken;
  if (found != SOAP_OK) {
    text += ": GetNode failed (" + reason(session_.soap(), found) + ")";
  } else {
    text += " present" + std::string(facts_.pan_tilt ? ", continuous pan/tilt" : ", no continuous pan/tilt");
  }
  // As the preset commands ask it: on the previous request's header.
  _tptz__GetPresetsResponse presets;
  const int resent_before = session_.resent_with_fresh_token();
  const int listed = service.get_presets_as_is(first->token, presets);
  const bool resent = session_.resent_with_fresh_token() > resent_before;
  facts_.presets_read = listed == SOAP_OK;
  facts_.presets = presets.Preset.size();
  const tt__PTZPreset* preset = facts_.presets ? presets.Preset.front() : nullptr;
  facts_.first_preset_fits = preset != nullptr && preset->token != nullptr && preset->token->size() <= kPresetTokenMax;
  for (const tt__PTZPreset* p : presets.Preset) {
    if (p != nullptr && p->token != nullptr && decimal(*p->token)) facts_.numbered_presets = true;
  }
  text += facts_.presets_read ? "; " + std::to_string(facts_.presets) + " presets"
                              : "; GetPresets failed (" + reason(session_.soap(), listed) + ")";
  if (resent) {
    text += "; GetPresets on the previous request's header refused: sent again with a fresh token";
  }
  findings_.add(Finding("ptz", text)
                    .with("node", json_text(configuration->NodeToken)).with("node_present", json_bool(found == SOAP_OK))
                    .with("continuous_pan_tilt", json_bool(facts_.pan_tilt))
                    .with("presets", facts_.presets_read ? json_number(static_cast<long long>(facts_.presets)) : "null")
                    .with("fresh_token_needed", json_bool(resent)));
}

}  // namespace

int probe(const ProbeOptions& options) {
  // The camera layer's own lines are the daemon's log; here they would
  // mix with the findings.
  log_to(options.verbose ? STDERR_FILENO : -1);
  signal(SIGALRM, out_of_time);
  alarm(kProbeLimitS);
  Findings findings(options.json);
  int status = 2;
  {
    Probe camera(options, findings);
    status = camera.run();
  }
  OnvifSession::use_book(nullptr);  // the probe's book is gone
  return status;
}

}  // namespace vantelctl
