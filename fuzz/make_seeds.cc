// Records camsim's answer to every camera operation the handlers call, as
// the raw HTTP response bytes, one file per operation: the answer fuzzer's
// seeds.   make_seeds CAMSIM_PORT OUT_DIR
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "camera_calls.h"

namespace {

std::string g_answer;
size_t (*g_receive)(struct soap*, char*, size_t) = nullptr;

size_t record(struct soap* soap, char* buffer, size_t length) {
  const size_t n = g_receive(soap, buffer, length);
  g_answer.append(buffer, n);
  return n;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: make_seeds CAMSIM_PORT OUT_DIR\n");
    return 2;
  }
  mkdir(argv[2], 0755);
  int failures = 0;
  for (const vantel_fuzz::CameraCall& call : vantel_fuzz::kCameraCalls) {
    struct soap soap;
    vantel_fuzz::open_context(&soap);
    g_receive = soap.frecv;
    soap.frecv = record;
    g_answer.clear();
    const std::string address = std::string("http://127.0.0.1:") + argv[1] + "/onvif/" + call.path + "_service";
    const int result = call.call(&soap, address.c_str());
    vantel_fuzz::end_context(&soap);
    const std::string dir = std::string(argv[2]) + "/" + call.name;
    mkdir(dir.c_str(), 0755);
    FILE* out = fopen((dir + "/camsim").c_str(), "wb");
    if (out == nullptr || g_answer.empty()) {
      ++failures;
    } else {
      fwrite(g_answer.data(), 1, g_answer.size(), out);
    }
    if (out) fclose(out);
    printf("%-45s %s (%d), %zu bytes\n", call.name, result == SOAP_OK ? "answered" : "fault", result, g_answer.size());
  }
  return failures == 0 ? 0 : 1;
}
