// libFuzzer target: the session's recovery from a camera's refusals, on
// the daemon's own session code. The input is the camera's answers to one
// command's calls, in order, separated by kNextAnswer: a 401 whose Digest
// challenge the session answers, a refusal whose Date header or
// GetSystemDateAndTime answer sets the token clock, the answer to the call
// sent again. gSOAP's transport callbacks stand in for the socket.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "camera/services/onvif_session.h"
#include "camera/services/ptz_calls.h"

namespace {

constexpr char kNextAnswer[] = "\n--next answer--\n";

const char* g_next = nullptr;  // the answer of the next connection
const char* g_end = nullptr;
const char* g_input = nullptr;  // what is left of this connection's answer
size_t g_left = 0;

constexpr SOAP_SOCKET kNoSocket = 1 << 20;

SOAP_SOCKET fake_open(struct soap*, const char*, const char*, int) {
  if (g_next >= g_end) {
    g_input = nullptr;
    g_left = 0;
    return kNoSocket;
  }
  const char* stop = static_cast<const char*>(memmem(g_next, g_end - g_next, kNextAnswer, sizeof kNextAnswer - 1));
  if (stop == nullptr) stop = g_end;
  g_input = g_next;
  g_left = stop - g_next;
  g_next = stop == g_end ? g_end : stop + sizeof kNextAnswer - 1;
  return kNoSocket;
}
int fake_close(struct soap*) { return SOAP_OK; }
int fake_send(struct soap*, const char*, size_t) { return SOAP_OK; }
size_t feed(struct soap*, char* buffer, size_t length) {
  const size_t n = length < g_left ? length : g_left;
  if (n == 0) return 0;
  std::memcpy(buffer, g_input, n);
  g_input += n;
  g_left -= n;
  return n;
}

void use_fakes(struct soap* soap) {
  soap->fopen = fake_open;
  soap->fclose = fake_close;
  soap->fsend = fake_send;
  soap->frecv = feed;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The session's lines would bury libFuzzer's own.
  const int null = open("/dev/null", O_WRONLY);
  if (null >= 0) dup2(null, STDOUT_FILENO);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  g_next = reinterpret_cast<const char*>(data);
  g_end = g_next + size;
  vantel::CameraAccess camera{"127.0.0.1", 80, "admin", "admin"};
  vantel::OnvifSession session(camera);
  use_fakes(session.soap());
  if (session.get_capabilities() == SOAP_OK) {
    // What is left goes to the PTZ calls: one on the header as is, one on a
    // working copy that inherits the Digest answer and the clock.
    const char* ptz = session.ptz_address() ? session.ptz_address() : "";
    _tptz__GetPresetsResponse presets;
    vantel::PtzService(session, session.soap(), ptz).get_presets_as_is("MainProfile", presets);
    session.on_working_copy([&](struct soap* copy) {
      return vantel::PtzService(session, copy, ptz).goto_preset("MainProfile", "1");
    });
  }
  session.end();
  return 0;
}
