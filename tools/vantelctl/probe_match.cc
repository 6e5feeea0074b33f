#include "probe_match.h"

#include <strings.h>

#include "xml_scan.h"

namespace vantelctl {
namespace {

enum class Space { kSoap, kAddressing, kDiscovery };

// By URI, never by prefix. Both SOAP versions and both WS-Addressing
// versions are taken: firmware mixes them.
bool in_space(std::string_view uri, Space space) {
  switch (space) {
    case Space::kSoap:
      return uri == "http://www.w3.org/2003/05/soap-envelope" || uri == "http://schemas.xmlsoap.org/soap/envelope/";
    case Space::kAddressing:
      return uri == "http://schemas.xmlsoap.org/ws/2004/08/addressing" ||
             uri == "http://www.w3.org/2005/08/addressing";
    case Space::kDiscovery:
      return uri == "http://schemas.xmlsoap.org/ws/2005/04/discovery";
  }
  return false;
}

enum class Role {
  kOutside, kEnvelope, kHeader, kBody, kRelatesTo, kProbeMatches, kProbeMatch, kReference, kAddress,
  kScopes, kXAddrs, kOther
};

// Which element is which: by its parent, namespace and local name.
const struct Step {
  Role parent;
  Space space;
  const char* local;
  Role role;
} kSteps[] = {
    {Role::kOutside, Space::kSoap, "Envelope", Role::kEnvelope},
    {Role::kEnvelope, Space::kSoap, "Header", Role::kHeader},
    {Role::kEnvelope, Space::kSoap, "Body", Role::kBody},
    {Role::kHeader, Space::kAddressing, "RelatesTo", Role::kRelatesTo},
    {Role::kBody, Space::kDiscovery, "ProbeMatches", Role::kProbeMatches},
    {Role::kProbeMatches, Space::kDiscovery, "ProbeMatch", Role::kProbeMatch},
    {Role::kProbeMatch, Space::kAddressing, "EndpointReference", Role::kReference},
    {Role::kReference, Space::kAddressing, "Address", Role::kAddress},
    {Role::kProbeMatch, Space::kDiscovery, "Scopes", Role::kScopes},
    {Role::kProbeMatch, Space::kDiscovery, "XAddrs", Role::kXAddrs},
};

class AnswerReader : public XmlVisitor {
 public:
  explicit AnswerReader(ProbeAnswer* answer) : answer_(answer) {}
  bool complete() const { return root_is_envelope_ && has_matches_ && !too_long_; }

  void start(std::string_view ns, std::string_view local) override {
    const Role parent = roles_.empty() ? Role::kOutside : roles_.back();
    Role role = Role::kOther;
    for (const Step& step : kSteps) {
      if (step.parent == parent && local == step.local && in_space(ns, step.space)) role = step.role;
    }
    if (parent == Role::kOutside) root_is_envelope_ = role == Role::kEnvelope;
    if (role == Role::kProbeMatches) has_matches_ = true;
    if (role == Role::kProbeMatch) {
      if (answer_->matches.size() < kMaxMatches) answer_->matches.emplace_back();
      else role = Role::kOther;
    }
    roles_.push_back(role);
  }

  void text(std::string_view piece) override {
    std::string* field = roles_.empty() ? nullptr : field_of(roles_.back());
    if (field == nullptr) return;
    if (field->size() + piece.size() > kMaxFieldBytes) too_long_ = true;
    else field->append(piece);
  }

  void end() override { roles_.pop_back(); }

 private:
  // The roles below a ProbeMatch occur only inside one that was kept: the
  // last one.
  std::string* field_of(Role role) {
    switch (role) {
      case Role::kRelatesTo: return &answer_->relates_to;
      case Role::kAddress: return &answer_->matches.back().address;
      case Role::kScopes: return &answer_->matches.back().scopes;
      case Role::kXAddrs: return &answer_->matches.back().xaddrs;
      default: return nullptr;
    }
  }

  ProbeAnswer* answer_;
  std::vector<Role> roles_;
  bool root_is_envelope_ = false, has_matches_ = false, too_long_ = false;
};

void trim(std::string* text) {
  size_t begin = 0, end = text->size();
  while (begin < end && is_xml_space((*text)[begin])) ++begin;
  while (end > begin && is_xml_space((*text)[end - 1])) --end;
  *text = text->substr(begin, end - begin);
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f') return (c | 0x20) - 'a' + 10;
  return -1;
}

// %XX escapes decoded; a '%' not followed by two hex digits stays.
std::string url_decoded(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hex_digit(text[i + 1]) >= 0 && hex_digit(text[i + 2]) >= 0) {
      out += static_cast<char>(hex_digit(text[i + 1]) * 16 + hex_digit(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return valid_utf8(out) ? out : std::string(text);
}

}  // namespace

bool read_probe_answer(const uint8_t* data, size_t length, ProbeAnswer* answer) {
  *answer = ProbeAnswer();
  AnswerReader reader(answer);
  if (!scan_xml(reinterpret_cast<const char*>(data), length, &reader) || !reader.complete()) return false;
  trim(&answer->relates_to);
  for (ProbeMatch& match : answer->matches) {
    for (std::string* field : {&match.address, &match.scopes, &match.xaddrs}) trim(field);
  }
  return true;
}

std::vector<std::string> split_list(std::string_view list) {
  std::vector<std::string> words;
  size_t i = 0;
  while (i < list.size()) {
    while (i < list.size() && is_xml_space(list[i])) ++i;
    const size_t begin = i;
    while (i < list.size() && !is_xml_space(list[i])) ++i;
    if (i > begin) words.emplace_back(list.substr(begin, i - begin));
  }
  return words;
}

std::string scope_value(std::string_view scopes, std::string_view kind) {
  const std::string prefix = "onvif://www.onvif.org/" + std::string(kind) + "/";
  std::string joined;
  for (const std::string& scope : split_list(scopes)) {
    // Scheme and host are case-insensitive in a URI.
    if (scope.size() <= prefix.size() || strncasecmp(scope.c_str(), prefix.c_str(), prefix.size()) != 0) continue;
    if (!joined.empty()) joined += ", ";
    joined += url_decoded(std::string_view(scope).substr(prefix.size()));
  }
  return joined;
}

}  // namespace vantelctl
