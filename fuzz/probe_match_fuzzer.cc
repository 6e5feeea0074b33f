// libFuzzer target: one datagram as `vantelctl discover` receives it, through
// the ProbeMatches reader, the device list and both printings. Whatever
// arrives, what is kept stays within its bounds and what is printed is
// UTF-8 (JSON readers and terminals take nothing else).
#include <cstdio>
#include <cstdlib>

#include "device_list.h"
#include "probe_match.h"
#include "xml_scan.h"

namespace {

void check(bool condition, const char* what) {
  if (condition) return;
  fprintf(stderr, "broken: %s\n", what);
  abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vantelctl::ProbeAnswer answer;
  if (!vantelctl::read_probe_answer(data, size, &answer)) return 0;
  check(answer.matches.size() <= vantelctl::kMaxMatches, "match count");
  check(answer.relates_to.size() <= vantelctl::kMaxFieldBytes, "RelatesTo length");
  for (const vantelctl::ProbeMatch& match : answer.matches) {
    for (const std::string* field : {&match.address, &match.scopes, &match.xaddrs})
      check(field->size() <= vantelctl::kMaxFieldBytes, "field length");
  }
  vantelctl::DeviceList devices;
  devices.add(answer);
  devices.add(answer);  // the same answer twice lists nothing more
  check(vantelctl::valid_utf8(devices.table()), "table is UTF-8");
  const std::string json = devices.json_lines();
  check(vantelctl::valid_utf8(json), "JSON is UTF-8");
  size_t lines = 0;
  for (char c : json) lines += c == '\n';
  check(lines <= answer.matches.size(), "one line per device at most");
  return 0;
}
