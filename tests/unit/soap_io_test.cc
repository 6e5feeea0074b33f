// The bindings on a context without a camera: answers' parts that no
// command reads are read past whatever they hold, wherever the input's
// reads happen to end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "onvif_namespaces.h"
#include "soapH.h"

namespace vantel {
namespace {

struct Wire {
  std::string in;
  size_t read = 0;
  size_t step = 0;  // bytes per read
};

size_t read_some(struct soap* soap, char* buffer, size_t size) {
  Wire* wire = static_cast<Wire*>(soap->user);
  const size_t n = std::min({size, wire->step, wire->in.size() - wire->read});
  wire->in.copy(buffer, n, wire->read);
  wire->read += n;
  return n;
}

struct Context {
  explicit Context(Wire& wire) : soap(soap_new()) {
    soap_set_namespaces(soap, namespaces);
    soap->user = &wire;
    soap->frecv = read_some;
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
      Wire wire{kProfiles, 0, step};
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
  Wire wire{std::string(kProfiles, std::strstr(kProfiles, "<tt:Bounds") - kProfiles + 20), 0, 5};
  Context context(wire);
  _trt__GetProfilesResponse answer;
  EXPECT_NE(SOAP_OK, soap_recv___trt__GetProfiles(context.soap, answer));
}

}  // namespace
}  // namespace vantel
