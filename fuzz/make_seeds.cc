// Records camsim's answer to every camera operation the handlers call, as
// the raw HTTP response bytes, one file per operation: the answer fuzzer's
// seeds. From them, the recovery fuzzer's conversations with a camera that
// refuses first; and one well-formed request per command code for the
// command-port fuzzer.   make_seeds CAMSIM_PORT OUT_DIR
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "camera_calls.h"
#include "wire/rifa.h"

namespace {

std::string g_answer;
size_t (*g_receive)(struct soap*, char*, size_t) = nullptr;

size_t record(struct soap* soap, char* buffer, size_t length) {
  const size_t n = g_receive(soap, buffer, length);
  g_answer.append(buffer, n);
  return n;
}

}  // namespace

void write_file(const std::string& path, const std::string& bytes) {
  FILE* out = fopen(path.c_str(), "wb");
  if (out == nullptr) return;
  fwrite(bytes.data(), 1, bytes.size(), out);
  fclose(out);
}

// The refusals real cameras send, then camsim's own answers, as the
// recovery fuzzer reads them: one connection's answer after another.
void write_conversations(const std::string& dir, const std::map<std::string, std::string>& answers) {
  mkdir(dir.c_str(), 0755);
  const std::string next = "\n--next answer--\n";
  const std::string fault =
      "<?xml version=\"1.0\"?><env:Envelope xmlns:env=\"http://www.w3.org/2003/05/soap-envelope\" "
      "xmlns:ter=\"http://www.onvif.org/ver10/error\"><env:Body><env:Fault><env:Code><env:Value>env:Sender"
      "</env:Value><env:Subcode><env:Value>ter:NotAuthorized</env:Value></env:Subcode></env:Code><env:Reason>"
      "<env:Text xml:lang=\"en\">Sender not authorized</env:Text></env:Reason></env:Fault></env:Body></env:Envelope>";
  auto refusal = [&](const std::string& date) {
    return "HTTP/1.1 400 Bad Request\r\nContent-Type: application/soap+xml; charset=utf-8\r\n" + date +
           "Content-Length: " + std::to_string(fault.size()) + "\r\n\r\n" + fault;
  };
  const std::string challenge =
      "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Digest realm=\"camera\", qop=\"auth\", "
      "nonce=\"5f2b8e1c0a\", opaque=\"77aa\", algorithm=MD5\r\nContent-Length: 0\r\n\r\n";
  const std::string capabilities = answers.at("tds__GetCapabilities");
  const std::string ptz = next + answers.at("tptz__GetPresets") + next + answers.at("tptz__GotoPreset");
  write_file(dir + "/digest", challenge + next + capabilities + ptz);
  write_file(dir + "/clock_date", refusal("Date: Thu, 01 Jan 2026 00:00:00 GMT\r\n") + next + capabilities + ptz);
  write_file(dir + "/clock_asked",
             refusal("") + next + answers.at("tds__GetSystemDateAndTime") + next + capabilities + ptz);
  write_file(dir + "/as_is_refused", capabilities + next + refusal("") + ptz);
}

void write_requests(const std::string& dir) {
  mkdir(dir.c_str(), 0755);
  const uint32_t majors[] = {vantel::RIFA_CMD_CAMERA_SETTING, vantel::RIFA_CMD_NET_CODEC, vantel::RIFA_CMD_STREAM_INFO,
                             vantel::RIFA_CMD_PTZ_MOVE,       vantel::RIFA_CMD_PTZ_STOP,  vantel::RIFA_CMD_PTZ_PRESET,
                             vantel::RIFA_CMD_PTZ_GOTOPRESET, vantel::RIFA_CMD_PTZ_REMOVE_PRESET,
                             vantel::RIFA_CMD_REBOOT,         vantel::RIFA_CMD_MULTIUSER};
  for (uint32_t major : majors) {
    const int32_t size = major <= vantel::RIFA_CMD_STREAM_INFO ? 480 : 84;
    std::string request(vantel::kRifaHeaderSize + static_cast<size_t>(size), '\0');
    vantel::encode_header(vantel::make_header(size, major, major), reinterpret_cast<uint8_t*>(&request[0]));
    FILE* out = fopen((dir + "/" + std::to_string(major)).c_str(), "wb");
    if (out == nullptr) continue;
    fwrite(request.data(), 1, request.size(), out);
    fclose(out);
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: make_seeds CAMSIM_PORT OUT_DIR\n");
    return 2;
  }
  mkdir(argv[2], 0755);
  int failures = 0;
  std::map<std::string, std::string> answers;
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
    answers[call.name] = g_answer;
    printf("%-45s %s (%d), %zu bytes\n", call.name, result == SOAP_OK ? "answered" : "fault", result, g_answer.size());
  }
  write_requests(std::string(argv[2]) + "/command_port");
  if (failures == 0) write_conversations(std::string(argv[2]) + "/recovery", answers);
  return failures == 0 ? 0 : 1;
}
