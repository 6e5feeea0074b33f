// The bindings' two economies, on a context without a camera: answers' parts
// that no command reads are read past whatever they hold, wherever the
// input's reads happen to end; requests declare only the namespaces they
// use, and their bytes after the Envelope's start tag stay the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <regex>
#include <set>
#include <string>

#include "camera/auth/username_token.h"
#include "camera/services/request_namespaces.h"
#include "onvif_namespaces.h"
#include "soapH.h"

namespace vantel {
namespace {

struct Wire {
  std::string in;
  size_t read = 0;
  size_t step = 0;  // bytes per read
  std::string out;
};

size_t read_some(struct soap* soap, char* buffer, size_t size) {
  Wire* wire = static_cast<Wire*>(soap->user);
  const size_t n = std::min({size, wire->step, wire->in.size() - wire->read});
  wire->in.copy(buffer, n, wire->read);
  wire->read += n;
  return n;
}
int write_all(struct soap* soap, const char* bytes, size_t size) {
  static_cast<Wire*>(soap->user)->out.append(bytes, size);
  return SOAP_OK;
}
SOAP_SOCKET no_connect(struct soap*, const char*, const char*, int) { return 3; }
int no_close(struct soap*, SOAP_SOCKET) { return SOAP_OK; }

struct Context {
  explicit Context(Wire& wire) : soap(soap_new()) {
    soap_set_namespaces(soap, namespaces);
    declare_used_namespaces(soap);
    soap->user = &wire;
    soap->frecv = read_some;
    soap->fsend = write_all;
    soap->fopen = no_connect;
    soap->fclosesocket = no_close;
  }
  ~Context() {
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
  }
  struct soap* soap;
};

const char kProfiles[] =
    "<?xml version=\"1.0\"?><s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
    "xmlns:tt=\"http://www.onvif.org/ver10/schema\" xmlns:trt=\"http://www.onvif.org/ver10/media/wsdl\">"
    "<s:Body><trt:GetProfilesResponse>"
    "<trt:Profiles token=\"A\"><tt:Name>a</tt:Name>"
    // Quoted '>' and "/>", a comment and CDATA holding tags, a processing
    // instruction, nested elements of the same name, empty elements.
    "<tt:VideoSourceConfiguration token=\"S\"><tt:Bounds x=\"/>\" y='a>b'><tt:B/></tt:Bounds><!-- </trt:Profiles> -->"
    "<tt:E><tt:E><tt:E/></tt:E><![CDATA[ </tt:E> <q]] x]]]><?pi </x>?></tt:E></tt:VideoSourceConfiguration>"
    "<tt:PTZConfiguration token=\"P\"><tt:Name>p</tt:Name><tt:UseCount>2</tt:UseCount>"
    "<tt:NodeToken>N</tt:NodeToken><tt:DefaultPTZSpeed><tt:PanTilt x=\"1\" y=\"1\"/></tt:DefaultPTZSpeed>"
    "</tt:PTZConfiguration><tt:Extension/></trt:Profiles>"
    "<trt:Profiles token=\"B\"><tt:VideoEncoderConfiguration token=\"V\"><tt:Encoding>H264</tt:Encoding>"
    "</tt:VideoEncoderConfiguration></trt:Profiles>"
    "</trt:GetProfilesResponse></s:Body></s:Envelope>";

TEST(SkippedParts, AreReadPastWhateverTheyHoldAndWhereverReadsEnd) {
  for (size_t step : {1, 2, 3, 7, 64, 4096}) {
    for (const bool strict : {false, true}) {
      Wire wire{kProfiles, 0, step, ""};
      Context context(wire);
      if (strict) soap_set_mode(context.soap, SOAP_XML_STRICT);
      _trt__GetProfilesResponse answer;
      ASSERT_EQ(SOAP_OK, soap_recv___trt__GetProfiles(context.soap, answer)) << step;
      ASSERT_EQ(2u, answer.Profiles.size());
      EXPECT_EQ("A", answer.Profiles[0]->token);
      ASSERT_NE(nullptr, answer.Profiles[0]->PTZConfiguration);
      EXPECT_EQ("N", answer.Profiles[0]->PTZConfiguration->NodeToken);
      EXPECT_EQ("B", answer.Profiles[1]->token);
      EXPECT_EQ(nullptr, answer.Profiles[1]->PTZConfiguration);
    }
  }
  // Cut short inside a skipped part: an error, not a wait or a loop.
  Wire wire{std::string(kProfiles, std::strstr(kProfiles, "<tt:Bounds") - kProfiles + 20), 0, 5, ""};
  Context context(wire);
  _trt__GetProfilesResponse answer;
  EXPECT_NE(SOAP_OK, soap_recv___trt__GetProfiles(context.soap, answer));
}

// The prefixes declared on the Envelope, and what follows its start tag.
std::pair<std::set<std::string>, std::string> request(const std::string& out) {
  const size_t start = out.find("<SOAP-ENV:Envelope");
  const size_t end = out.find('>', start);
  const std::string tag = out.substr(start, end - start);
  std::set<std::string> declared;
  const std::regex declaration("xmlns:([A-Za-z0-9-]+)=");
  for (std::sregex_iterator i(tag.begin(), tag.end(), declaration), none; i != none; ++i) declared.insert((*i)[1]);
  return {declared, out.substr(end)};
}

TEST(RequestNamespaces, EachRequestDeclaresWhatItUsesAndNothingElseChanges) {
  Wire wire;
  Context context(wire);
  struct soap* soap = context.soap;
  tt__Transport transport;
  tt__StreamSetup setup;
  setup.Transport = &transport;
  _trt__GetStreamUri uri;
  uri.StreamSetup = &setup;
  _tptz__GotoPreset go;
  // Each request twice: as the session sends it, then with the whole table.
  auto both = [&](auto send, const char* body) {
    wire.out.clear();
    next_request_uses(soap, body);
    EXPECT_EQ(SOAP_OK, send());
    const auto narrowed = request(wire.out);
    wire.out.clear();
    EXPECT_EQ(SOAP_OK, send());
    const auto whole = request(wire.out);
    EXPECT_EQ(whole.second, narrowed.second);
    EXPECT_EQ(11u, whole.first.size());
    return narrowed.first;
  };
  const auto send_uri = [&] { return soap_send___trt__GetStreamUri(soap, "http://127.0.0.1:9/m", nullptr, &uri); };
  const auto send_go = [&] { return soap_send___tptz__GotoPreset(soap, "http://127.0.0.1:9/p", nullptr, &go); };
  using Set = std::set<std::string>;
  EXPECT_EQ((Set{"SOAP-ENV", "trt", "tt"}), both(send_uri, body_namespaces(uri)));
  add_username_token(soap, "admin", "admin", 0);
  EXPECT_EQ((Set{"SOAP-ENV", "tptz", "wsse", "wsu"}), both(send_go, body_namespaces(go)));
  soap->header->wsa5__To = soap_strdup(soap, "http://www.w3.org/2005/08/addressing/anonymous");
  EXPECT_EQ((Set{"SOAP-ENV", "tptz", "wsse", "wsu", "wsa5"}), both(send_go, body_namespaces(go)));
}

}  // namespace
}  // namespace vantel
