// libFuzzer target: one camera operation's answer, as HTTP response bytes,
// through the generated client call the handler makes. gSOAP's transport
// callbacks stand in for the socket: the request goes nowhere and the
// answer is read from the fuzz input. The operation is chosen by the
// environment (VANTEL_FUZZ_OP=tptz__GetPresets); each has its own corpus.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "camera_calls.h"

namespace {

const vantel_fuzz::CameraCall* g_call = nullptr;
const uint8_t* g_input = nullptr;
size_t g_left = 0;

// Never a real descriptor: any system call that reached it would fail.
constexpr SOAP_SOCKET kNoSocket = 1 << 20;

SOAP_SOCKET fake_open(struct soap*, const char*, const char*, int) { return kNoSocket; }
int fake_close(struct soap*) { return SOAP_OK; }
int fake_send(struct soap*, const char*, size_t) { return SOAP_OK; }
size_t feed(struct soap*, char* buffer, size_t length) {
  const size_t n = length < g_left ? length : g_left;
  std::memcpy(buffer, g_input, n);
  g_input += n;
  g_left -= n;
  return n;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* name = getenv("VANTEL_FUZZ_OP");
  for (const vantel_fuzz::CameraCall& call : vantel_fuzz::kCameraCalls) {
    if (name && std::strcmp(name, call.name) == 0) g_call = &call;
  }
  if (g_call == nullptr) {
    fprintf(stderr, "set VANTEL_FUZZ_OP to one of:");
    for (const vantel_fuzz::CameraCall& call : vantel_fuzz::kCameraCalls) fprintf(stderr, " %s", call.name);
    fprintf(stderr, "\n");
    exit(2);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  g_input = data;
  g_left = size;
  struct soap soap;
  vantel_fuzz::open_context(&soap);
  soap.fopen = fake_open;
  soap.fclose = fake_close;
  soap.fsend = fake_send;
  soap.frecv = feed;
  const std::string address = std::string("http://127.0.0.1:80/onvif/") + g_call->path + "_service";
  g_call->call(&soap, address.c_str());
  vantel_fuzz::end_context(&soap);
  return 0;
}
