#include "probe_findings.h"

#include <cstdio>

namespace vantelctl {
namespace {

// Length of the UTF-8 sequence starting at `at`, 0 when it is not one
// (overlong forms and surrogates included).
size_t utf8_length(const std::string& text, size_t at) {
  const unsigned char lead = static_cast<unsigned char>(text[at]);
  size_t length = 0;
  unsigned min = 0;
  if (lead >= 0xc2 && lead <= 0xdf) length = 2, min = 0x80;
  else if (lead >= 0xe0 && lead <= 0xef) length = 3, min = 0x800;
  else if (lead >= 0xf0 && lead <= 0xf4) length = 4, min = 0x10000;
  else return 0;
  if (at + length > text.size()) return 0;
  unsigned code = lead & (0x7f >> length);
  for (size_t i = 1; i < length; ++i) {
    const unsigned char next = static_cast<unsigned char>(text[at + i]);
    if ((next & 0xc0) != 0x80) return 0;
    code = code << 6 | (next & 0x3f);
  }
  if (code < min || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff)) return 0;
  return length;
}

// Camera text on a terminal: no control character gets through to it.
std::string printable(const std::string& text) {
  std::string out = text;
  for (char& c : out) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return out;
}

std::string object_of(const Finding& finding) {
  std::string out = "{\"kind\": " + json_text(finding.kind) + ", \"text\": " + json_text(finding.text);
  for (const auto& [name, value] : finding.members) out += ", " + json_text(name) + ": " + value;
  return out + "}";
}

}  // namespace

std::string json_text(const std::string& text) {
  std::string out = "\"";
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7f) {
      char escaped[8];
      snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else if (c >= 0x80) {
      const size_t length = utf8_length(text, i);
      out += length ? text.substr(i, length) : "\\ufffd";
      i += length ? length : 1;
      continue;
    } else {
      out += static_cast<char>(c);
    }
    ++i;
  }
  return out + "\"";
}

std::string json_number(long long value) { return std::to_string(value); }

std::string json_bool(bool value) { return value ? "true" : "false"; }

std::string json_list(const std::vector<std::string>& values) {
  std::string out = "[";
  for (size_t i = 0; i < values.size(); ++i) out += (i ? ", " : "") + values[i];
  return out + "]";
}

void Findings::add(const Finding& finding) {
  if (json_) {
    objects_.push_back(object_of(finding));
    return;
  }
  printf("%s: %s\n", finding.kind.c_str(), printable(finding.text).c_str());
  fflush(stdout);  // a slow camera's findings show as they come
}

void Findings::finish(const std::string& camera, const Finding& verdict, int exit_status) {
  if (!json_) {
    add(verdict);
    return;
  }
  printf("{\"camera\": %s, \"findings\": %s, \"verdict\": %s, \"exit_status\": %d}\n", json_text(camera).c_str(),
         json_list(objects_).c_str(), object_of(verdict).c_str(), exit_status);
}

}  // namespace vantelctl
