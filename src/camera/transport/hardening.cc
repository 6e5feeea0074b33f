#include "camera/transport/hardening.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "camera/transport/context_data.h"
#include "log/log.h"
#include "wire/rifa.h"

namespace vantel {
namespace {

using Clock = std::chrono::steady_clock;

// The hooks the limits wrap: the runtime's own, or another wrapper's.
struct Wrapped {
  static constexpr const char* kId = "vantel-hardening";
  SOAP_SOCKET (*connect)(struct soap*, const char*, const char*, int);
  int (*send)(struct soap*, const char*, size_t);
  int (*parse_header)(struct soap*, const char*, const char*);
};

bool same_address(const sockaddr* a, const sockaddr* b) {
  if (a->sa_family != b->sa_family) return false;
  if (a->sa_family == AF_INET) {
    return reinterpret_cast<const sockaddr_in*>(a)->sin_addr.s_addr ==
           reinterpret_cast<const sockaddr_in*>(b)->sin_addr.s_addr;
  }
  if (a->sa_family == AF_INET6) {
    return std::memcmp(&reinterpret_cast<const sockaddr_in6*>(a)->sin6_addr,
                       &reinterpret_cast<const sockaddr_in6*>(b)->sin6_addr, sizeof(in6_addr)) == 0;
  }
  return false;
}

bool is_local(const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    const uint32_t ip = ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
    if ((ip >> 24) == 127 || ip == INADDR_ANY) return true;
  } else if (address->sa_family == AF_INET6) {
    const in6_addr& ip = reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    if (IN6_IS_ADDR_LOOPBACK(&ip) || IN6_IS_ADDR_UNSPECIFIED(&ip)) return true;
    if (IN6_IS_ADDR_V4MAPPED(&ip) && ip.s6_addr[12] == 127) return true;
  }
  ifaddrs* interfaces = nullptr;
  if (getifaddrs(&interfaces) != 0) return false;
  bool found = false;
  for (const ifaddrs* i = interfaces; i && !found; i = i->ifa_next) {
    found = i->ifa_addr && same_address(i->ifa_addr, address);
  }
  freeifaddrs(interfaces);
  return found;
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

SOAP_SOCKET limited_connect(struct soap* soap, const char* endpoint, const char* host, int port) {
  if (is_own_command_port(host, port)) {
    log_printf("[hardened] service address %s is the daemon's own command port: refused\n", endpoint);
    soap->error = SOAP_TCP_ERROR;
    return SOAP_INVALID_SOCKET;
  }
  const Clock::time_point start = Clock::now();
  const SOAP_SOCKET socket = data_of<Wrapped>(soap)->connect(soap, endpoint, host, port);
  if (!soap_valid_socket(socket) && seconds_since(start) >= kConnectLimitS - 0.5) {
    log_printf("[hardened] no connection to %s within %d s: call ended\n", endpoint, kConnectLimitS);
  }
  return socket;
}

int limited_send(struct soap* soap, const char* data, size_t length) {
  const Clock::time_point start = Clock::now();
  const int result = data_of<Wrapped>(soap)->send(soap, data, length);
  if (result != SOAP_OK && seconds_since(start) >= kSendLimitS - 0.5) {
    log_printf("[hardened] request not sent within %d s: call ended\n", kSendLimitS);
  }
  return result;
}

// Compressed answers are refused outright: a small body can inflate to
// hundreds of megabytes before any size check sees it. So are lengths that
// are not a plain number within the answer size limit.
int parse_header_without_compression(struct soap* soap, const char* key, const char* value) {
  if (soap_tag_cmp(key, "Content-Encoding") == 0 && soap_tag_cmp(value, "identity") != 0) {
    log_printf("[hardened] compressed answer (Content-Encoding: %.32s) refused\n", value);
    return SOAP_ZLIB_ERROR;
  }
  // The toolkit reads a length like "-416" as a huge unsigned number and
  // may try to allocate it.
  if (soap_tag_cmp(key, "Content-Length") == 0 &&
      (value[strspn(value, "0123456789")] != '\0' || strlen(value) > 7 || atol(value) > kAnswerSizeLimit)) {
    log_printf("[hardened] answer with Content-Length %.32s refused\n", value);
    return SOAP_HTTP_ERROR;
  }
  return data_of<Wrapped>(soap)->parse_header(soap, key, value);
}

// Runs at the end of every call, successful or not, with the call's result
// still in soap->error: the place to tell which receive limit ended it.
int report_receive_limits(struct soap* soap) {
  // Ending the context closes the socket a second time: nothing new to say.
  if (!soap_valid_socket(soap->socket)) return SOAP_OK;
  if (soap->error == SOAP_LENGTH) {
    log_printf("[hardened] answer holds a string over %ld characters: refused\n", kStringLengthLimit);
  } else if (soap->error == SOAP_EOF && soap->count > static_cast<ULONG64>(kAnswerSizeLimit)) {
    log_printf("[hardened] answer over %ld bytes: refused\n", kAnswerSizeLimit);
  } else if (soap->error == SOAP_EOF && time(nullptr) - static_cast<time_t>(soap->start) >= kReceiveLimitS - 1) {
    log_printf("[hardened] no complete answer within %d s: call ended\n", kReceiveLimitS);
  }
  return SOAP_OK;
}

}  // namespace

bool is_own_command_port(const char* host, int port) {
  if (port != kCommandPort || host == nullptr) return false;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host, nullptr, &hints, &found) != 0) return false;
  bool own = false;
  for (const addrinfo* a = found; a && !own; a = a->ai_next) own = is_local(a->ai_addr);
  freeaddrinfo(found);
  return own;
}

void harden_context(struct soap* soap) {
  if (!kHardened) return;
  soap->connect_timeout = kConnectLimitS;
  soap->send_timeout = kSendLimitS;
  soap->recv_timeout = kReceiveLimitS;
  // A byte every few seconds never trips the per-read limit; this bounds
  // the whole answer.
  soap->transfer_timeout = kReceiveLimitS;
  soap->recv_maxlength = kAnswerSizeLimit;
  soap->maxlength = kStringLengthLimit;
  attach(soap, Wrapped{soap->fopen, soap->fsend, soap->fparsehdr});
  soap->fopen = limited_connect;
  soap->fsend = limited_send;
  soap->fparsehdr = parse_header_without_compression;
  soap->fdisconnect = report_receive_limits;
}

}  // namespace vantel
