// The answer to a WS-Discovery Probe, read from one datagram: the probe it
// answers (RelatesTo) and each device it names, whatever the prefixes and
// element order the firmware writes. Everything kept is bounded. Pure: any
// thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantelctl {

// An answer with a longer value is refused whole; matches past the
// count are left out.
constexpr size_t kMaxFieldBytes = 4096;
constexpr size_t kMaxMatches = 64;

struct ProbeMatch {
  std::string address;  // EndpointReference/Address: the device's stable name
  std::string scopes;   // the lists as sent, space separated
  std::string xaddrs;
};

struct ProbeAnswer {
  std::string relates_to;
  std::vector<ProbeMatch> matches;
};

// False when `data` is not a well-formed SOAP envelope whose Body holds a
// ProbeMatches, or a value it keeps is over kMaxFieldBytes. Values come
// trimmed of surrounding whitespace; a missing element leaves its value
// empty.
bool read_probe_answer(const uint8_t* data, size_t length, ProbeAnswer* answer);

// The words of a whitespace-separated list.
std::vector<std::string> split_list(std::string_view list);

// Every scope onvif://www.onvif.org/KIND/VALUE of `scopes` (KIND "name",
// "hardware", "location", ...): the VALUEs with their %-escapes decoded,
// joined by ", "; empty when there is none. A VALUE whose decoding would
// not be UTF-8 is given as sent.
std::string scope_value(std::string_view scopes, std::string_view kind);

}  // namespace vantelctl
