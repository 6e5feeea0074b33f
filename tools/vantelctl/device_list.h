// The cameras one `vantelctl discover` heard from, each once (by its
// endpoint address, else by its XAddrs), at most kMaxDevices of them, and
// their printing: a table for people, one JSON object per line for
// machines. Client only; main thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "probe_match.h"

namespace vantelctl {

constexpr size_t kMaxDevices = 256;

struct Device {
  std::string endpoint;
  std::vector<std::string> xaddrs;
  std::string name, hardware, location;  // from the scopes, decoded
};

class DeviceList {
 public:
  // Lists every match of the answer not listed yet; a match naming neither
  // an endpoint nor an XAddr is passed over.
  void add(const ProbeAnswer& answer);
  bool empty() const { return devices_.empty(); }
  // A new device came when the list was full, and was left out.
  bool overflowed() const { return overflowed_; }

  // Columns NAME, HARDWARE, LOCATION, ENDPOINT, XADDRS under a header line,
  // control characters shown as '?'.
  std::string table() const;
  // {"endpoint": ..., "xaddrs": [...], "name": ..., "hardware": ...,
  // "location": ...}, a value missing as null, one device per line.
  std::string json_lines() const;

 private:
  std::vector<Device> devices_;
  std::vector<std::string> keys_;
  bool overflowed_ = false;
};

}  // namespace vantelctl
