#include "discover.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "device_list.h"
#include "probe_match.h"

namespace vantelctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kMulticastGroup[] = "239.255.255.250";
constexpr int kDiscoveryPort = 3702;
// UDP may lose the probe: it goes out twice, the second time after this,
// with the same MessageID, as SOAP-over-UDP repeats a message.
constexpr int kSends = 2;
constexpr auto kRepeatAfter = std::chrono::milliseconds(100);
// No UDP datagram is longer: one that fills the buffer was cut.
constexpr size_t kDatagramBytes = 65536;

int complain(const std::string& message) {
  fprintf(stderr, "vantelctl: %s\n", message.c_str());
  return 2;
}

// ADDRESS[:PORT], the address IPv4 or a name that has one; empty: the
// multicast group.
bool parse_target(const std::string& text, sockaddr_in* target) {
  std::string host = text.empty() ? kMulticastGroup : text;
  long port = kDiscoveryPort;
  const size_t colon = host.find(':');
  if (colon != std::string::npos) {
    const std::string digits = host.substr(colon + 1);
    if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    port = strtol(digits.c_str(), nullptr, 10);
    host.resize(colon);
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  if (port < 1 || port > 65535 || host.empty() || getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) {
    return false;
  }
  *target = sockaddr_in{};
  target->sin_family = AF_INET;
  target->sin_addr = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  target->sin_port = htons(static_cast<uint16_t>(port));
  freeaddrinfo(found);
  return true;
}

// A random (version 4) UUID as a URN; empty when the kernel has no random bytes.
std::string fresh_message_id() {
  uint8_t b[16];
  if (getrandom(b, sizeof b, 0) != static_cast<ssize_t>(sizeof b)) return "";
  b[6] = static_cast<uint8_t>((b[6] & 0x0f) | 0x40);
  b[8] = static_cast<uint8_t>((b[8] & 0x3f) | 0x80);
  char text[64];
  snprintf(text, sizeof text, "urn:uuid:%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0],
           b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
  return text;
}

std::string probe_text(const std::string& message_id) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\""
         " xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
         " xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\""
         " xmlns:dn=\"http://www.onvif.org/ver10/network/wsdl\">"
         "<s:Header>"
         "<a:Action s:mustUnderstand=\"1\">http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</a:Action>"
         "<a:MessageID>" + message_id + "</a:MessageID>"
         "<a:ReplyTo><a:Address>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address>"
         "</a:ReplyTo>"
         "<a:To s:mustUnderstand=\"1\">urn:schemas-xmlsoap-org:ws:2005:04:discovery</a:To>"
         "</s:Header>"
         "<s:Body><d:Probe><d:Types>dn:NetworkVideoTransmitter</d:Types></d:Probe></s:Body>"
         "</s:Envelope>";
}

struct Collected {
  DeviceList devices;
  int ignored = 0;  // datagrams that were not an answer to our probe
};

void receive_one(int fd, const std::string& message_id, std::vector<uint8_t>* buffer, Collected* collected) {
  const ssize_t n = recv(fd, buffer->data(), buffer->size(), MSG_TRUNC | MSG_DONTWAIT);
  if (n < 0) return;
  ProbeAnswer answer;
  if (static_cast<size_t>(n) >= buffer->size() || !read_probe_answer(buffer->data(), static_cast<size_t>(n), &answer) ||
      answer.relates_to != message_id) {
    ++collected->ignored;
    return;
  }
  collected->devices.add(answer);
}

// Sends the probe (twice) and reads answers until `timeout_s` has passed;
// false with errno set when the socket fails.
bool probe_and_collect(int fd, const sockaddr_in& target, const std::string& message_id, double timeout_s,
                       Collected* collected) {
  const std::string probe = probe_text(message_id);
  std::vector<uint8_t> buffer(kDatagramBytes);
  const Clock::time_point start = Clock::now();
  const Clock::time_point deadline =
      start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeout_s));
  int sent = 0;
  for (Clock::time_point now = start; now < deadline; now = Clock::now()) {
    const Clock::time_point next_send = start + sent * kRepeatAfter;
    if (sent < kSends && now >= next_send) {
      if (sendto(fd, probe.data(), probe.size(), 0, reinterpret_cast<const sockaddr*>(&target), sizeof target) !=
          static_cast<ssize_t>(probe.size())) {
        return false;
      }
      ++sent;
      continue;
    }
    const Clock::time_point wake = sent < kSends ? std::min(deadline, next_send) : deadline;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - now);
    pollfd readable{fd, POLLIN, 0};
    const int ready = poll(&readable, 1, static_cast<int>(wait.count()));
    if (ready < 0 && errno != EINTR) return false;
    if (ready > 0) receive_one(fd, message_id, &buffer, collected);
  }
  return true;
}

}  // namespace

int discover(const DiscoverOptions& options) {
  sockaddr_in target{};
  if (!parse_target(options.to, &target)) {
    return complain("bad --to '" + options.to + "': ADDRESS[:PORT], an IPv4 address or name, port 1..65535");
  }
  const std::string message_id = fresh_message_id();
  if (message_id.empty()) return complain(std::string("no random bytes for the probe: ") + strerror(errno));
  // The multicast probe keeps the default TTL of 1: the local network only.
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return complain(std::string("cannot open a UDP socket: ") + strerror(errno));
  Collected collected;
  const bool ok = probe_and_collect(fd, target, message_id, options.timeout_s, &collected);
  const int error = errno;
  close(fd);
  if (!ok) {
    char address[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &target.sin_addr, address, sizeof address);
    return complain(std::string("probe to ") + address + ":" + std::to_string(ntohs(target.sin_port)) +
                    " failed: " + strerror(error));
  }
  if (collected.ignored > 0) {
    fprintf(stderr, "vantelctl: %d datagram(s) ignored: not a well-formed answer to this probe\n", collected.ignored);
  }
  if (collected.devices.overflowed()) {
    fprintf(stderr, "vantelctl: more than %zu cameras answered: the first %zu are listed\n", kMaxDevices, kMaxDevices);
  }
  if (collected.devices.empty()) {
    fprintf(stderr, "vantelctl: no camera answered within %g s\n", options.timeout_s);
    return 1;
  }
  fputs(options.json ? collected.devices.json_lines().c_str() : collected.devices.table().c_str(), stdout);
  return 0;
}

}  // namespace vantelctl
