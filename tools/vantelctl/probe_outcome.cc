#include "probe_outcome.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "soapH.h"

namespace vantelctl {
namespace {

std::string text_or(const char* text, const char* otherwise) {
  return text != nullptr && *text != '\0' ? text : otherwise;
}

}  // namespace

std::string tcp_reachable(const std::string& ip, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return std::strerror(errno);
  int error = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
  if (error == EINPROGRESS) {
    pollfd wait{fd, POLLOUT, 0};
    socklen_t size = sizeof error;
    if (poll(&wait, 1, kConnectLimitS * 1000) != 1) error = ETIMEDOUT;
    else if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
  }
  close(fd);
  if (error == ETIMEDOUT) return "no connection within " + std::to_string(kConnectLimitS) + " s";
  return error != 0 ? std::strerror(error) : "";
}

std::string reason(struct soap* soap, int result) {
  if (result == SOAP_FAULT || result == SOAP_CLI_FAULT || result == SOAP_SVR_FAULT) {
    const char* subcode = soap_fault_subcode(soap);
    return text_or(subcode, "fault") + ": " + text_or(soap_fault_string(soap), "no reason given");
  }
  if (result >= 100 && result < 600) return "HTTP " + std::to_string(result);
  if (result == SOAP_SSL_ERROR) return "TLS: " + text_or(soap_fault_detail(soap), "failed");
  if (soap->errnum != 0 && (result == SOAP_TCP_ERROR || result == SOAP_EOF)) return std::strerror(soap->errnum);
  if (result == SOAP_EOF) return "connection closed without an answer";
  return text_or(soap_fault_string(soap), "error") + " (" + std::to_string(result) + ")";
}

bool unreached(int result) {
  return result == SOAP_TCP_ERROR || result == SOAP_SSL_ERROR || result == SOAP_EOF || result == SOAP_UDP_ERROR ||
         result == 301 || result == 302 || result == 307 || result == 308;
}

}  // namespace vantelctl
