#include "device_list.h"

#include <algorithm>
#include <cstdio>

namespace vantelctl {
namespace {

// A camera names itself: nothing it sends may move the cursor, clear the
// screen or retitle the terminal. C0 and C1 controls and DEL become '?'.
std::string for_terminal(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const bool c1 = c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (c < 0x20 || c == 0x7f || c1) {
      out += '?';
      i += c1;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

// Characters, not bytes: the text is UTF-8.
size_t width(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

std::string json_string(const std::string& text) {
  if (text.empty()) return "null";
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);  // UTF-8 as it came: the reader checked it
    }
  }
  return out + "\"";
}

std::string joined(const std::vector<std::string>& words, const char* separator) {
  std::string out;
  for (const std::string& word : words) out += (out.empty() ? "" : separator) + word;
  return out;
}

}  // namespace

void DeviceList::add(const ProbeAnswer& answer) {
  for (const ProbeMatch& match : answer.matches) {
    Device device{match.address, split_list(match.xaddrs), scope_value(match.scopes, "name"),
                  scope_value(match.scopes, "hardware"), scope_value(match.scopes, "location")};
    const std::string key = device.endpoint.empty() ? joined(device.xaddrs, " ") : device.endpoint;
    if (key.empty() || std::find(keys_.begin(), keys_.end(), key) != keys_.end()) continue;
    if (devices_.size() == kMaxDevices) {
      overflowed_ = true;
      continue;
    }
    keys_.push_back(key);
    devices_.push_back(std::move(device));
  }
}

std::string DeviceList::table() const {
  std::vector<std::vector<std::string>> rows = {{"NAME", "HARDWARE", "LOCATION", "ENDPOINT", "XADDRS"}};
  for (const Device& d : devices_) {
    rows.push_back({d.name, d.hardware, d.location, d.endpoint, joined(d.xaddrs, " ")});
    for (std::string& cell : rows.back()) cell = cell.empty() ? "-" : for_terminal(cell);
  }
  std::vector<size_t> widths(rows[0].size(), 0);
  for (const auto& row : rows) {
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], width(row[c]));
  }
  std::string out;
  for (const auto& row : rows) {
    for (size_t c = 0; c + 1 < row.size(); ++c) out += row[c] + std::string(widths[c] - width(row[c]) + 2, ' ');
    out += row.back() + "\n";
  }
  return out;
}

std::string DeviceList::json_lines() const {
  std::string out;
  for (const Device& d : devices_) {
    std::vector<std::string> xaddrs;
    for (const std::string& xaddr : d.xaddrs) xaddrs.push_back(json_string(xaddr));
    out += "{\"endpoint\": " + json_string(d.endpoint) + ", \"xaddrs\": [" + joined(xaddrs, ", ") +
           "], \"name\": " + json_string(d.name) + ", \"hardware\": " + json_string(d.hardware) +
           ", \"location\": " + json_string(d.location) + "}\n";
  }
  return out;
}

}  // namespace vantelctl
