#include "xml_scan.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vantelctl {
namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";

// Names as XML allows them, letters beyond ASCII taken on trust.
bool is_name_char(unsigned char c, bool first) {
  if ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') return true;
  if (c == '_' || c == ':' || c >= 0x80) return true;
  return !first && ((c >= '0' && c <= '9') || c == '-' || c == '.');
}

// The characters XML 1.0 allows: no control characters but tab, CR and LF.
bool allowed_char(uint32_t c) {
  return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0x10ffff && (c < 0xd800 || c > 0xdfff) &&
                                                 c != 0xfffe && c != 0xffff);
}

void append_utf8(uint32_t c, std::string* out) {
  if (c < 0x80) {
    *out += static_cast<char>(c);
  } else if (c < 0x800) {
    *out += static_cast<char>(0xc0 | (c >> 6));
    *out += static_cast<char>(0x80 | (c & 0x3f));
  } else if (c < 0x10000) {
    *out += static_cast<char>(0xe0 | (c >> 12));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
    *out += static_cast<char>(0x80 | (c & 0x3f));
  } else {
    *out += static_cast<char>(0xf0 | (c >> 18));
    *out += static_cast<char>(0x80 | ((c >> 12) & 0x3f));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
    *out += static_cast<char>(0x80 | (c & 0x3f));
  }
}

// One reference without its '&' and ';': a predefined entity or a character.
bool decode_reference(std::string_view ref, std::string* out) {
  static const struct {
    const char* name;
    char value;
  } kEntities[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& entity : kEntities) {
    if (ref == entity.name) {
      *out += entity.value;
      return true;
    }
  }
  if (ref.size() < 2 || ref[0] != '#') return false;
  const bool hex = ref[1] == 'x';
  const std::string_view digits = ref.substr(hex ? 2 : 1);
  if (digits.empty()) return false;
  uint32_t code = 0;
  for (char c : digits) {
    int digit = -1;
    if (c >= '0' && c <= '9') digit = c - '0';
    else if (hex && (c | 0x20) >= 'a' && (c | 0x20) <= 'f') digit = (c | 0x20) - 'a' + 10;
    if (digit < 0) return false;
    code = code * (hex ? 16 : 10) + static_cast<uint32_t>(digit);
    if (code > 0x10ffff) return false;
  }
  if (!allowed_char(code)) return false;
  append_utf8(code, out);
  return true;
}

// Character data or an attribute value with its references decoded.
bool decode_text(std::string_view raw, std::string* out) {
  out->clear();
  size_t i = 0;
  while (i < raw.size()) {
    const size_t amp = raw.find('&', i);
    out->append(raw.substr(i, amp == std::string_view::npos ? std::string_view::npos : amp - i));
    if (amp == std::string_view::npos) break;
    const size_t semi = raw.find(';', amp);
    if (semi == std::string_view::npos || !decode_reference(raw.substr(amp + 1, semi - amp - 1), out)) return false;
    i = semi + 1;
  }
  return true;
}

class Scanner {
 public:
  Scanner(const char* data, size_t length, XmlVisitor* visitor) : rest_(data, length), visitor_(visitor) {}
  bool document();

 private:
  struct Binding {
    std::string_view prefix;
    std::string uri;
    size_t depth;  // of the element declaring it
  };

  bool starts(std::string_view s) const { return rest_.substr(0, s.size()) == s; }
  void skip(size_t n) { rest_.remove_prefix(n); }
  bool skip_spaces();
  bool skip_past(std::string_view terminator);
  std::string_view name();
  bool comment();
  bool instruction();
  bool misc();
  bool start_tag();
  bool attribute(size_t depth);
  bool end_tag();
  bool cdata();
  bool character_data();
  void close_element();
  const std::string* lookup(std::string_view prefix) const;

  std::string_view rest_;
  XmlVisitor* visitor_;
  std::vector<Binding> bindings_;
  std::vector<std::string_view> open_;  // qualified names of the open elements
  std::string decoded_;
};

bool Scanner::skip_spaces() {
  size_t n = 0;
  while (n < rest_.size() && is_xml_space(rest_[n])) ++n;
  skip(n);
  return n > 0;
}

bool Scanner::skip_past(std::string_view terminator) {
  const size_t at = rest_.find(terminator);
  if (at == std::string_view::npos) return false;
  skip(at + terminator.size());
  return true;
}

std::string_view Scanner::name() {
  size_t n = 0;
  while (n < rest_.size() && is_name_char(static_cast<unsigned char>(rest_[n]), n == 0)) ++n;
  const std::string_view found = rest_.substr(0, n);
  skip(n);
  return found;
}

// At "<!--": the comment, in which "--" may only end it.
bool Scanner::comment() {
  skip(4);
  if (!skip_past("--") || !starts(">")) return false;
  skip(1);
  return true;
}

// At "<?": a processing instruction, the XML declaration among them.
bool Scanner::instruction() {
  skip(2);
  return !name().empty() && skip_past("?>");
}

// Whitespace, comments and processing instructions around the root element.
bool Scanner::misc() {
  for (;;) {
    skip_spaces();
    if (starts("<!--")) {
      if (!comment()) return false;
    } else if (starts("<?")) {
      if (!instruction()) return false;
    } else {
      return true;
    }
  }
}

const std::string* Scanner::lookup(std::string_view prefix) const {
  for (auto b = bindings_.rbegin(); b != bindings_.rend(); ++b) {
    if (b->prefix == prefix) return &b->uri;
  }
  return nullptr;
}

// One attribute after its element's name; namespace declarations are
// kept for the element at `depth` and its content.
bool Scanner::attribute(size_t depth) {
  const std::string_view qname = name();
  if (qname.empty()) return false;
  skip_spaces();
  if (!starts("=")) return false;
  skip(1);
  skip_spaces();
  if (rest_.empty() || (rest_[0] != '"' && rest_[0] != '\'')) return false;
  const size_t close = rest_.find(rest_[0], 1);
  if (close == std::string_view::npos) return false;
  const std::string_view raw = rest_.substr(1, close - 1);
  skip(close + 1);
  if (raw.find('<') != std::string_view::npos || !decode_text(raw, &decoded_)) return false;
  if (qname != "xmlns" && qname.substr(0, 6) != "xmlns:") return true;
  const std::string_view prefix = qname.size() > 5 ? qname.substr(6) : std::string_view();
  if ((qname.size() > 5 && (prefix.empty() || decoded_.empty())) || bindings_.size() >= kXmlMaxNamespaces) {
    return false;
  }
  bindings_.push_back({prefix, decoded_, depth});
  return true;
}

bool Scanner::start_tag() {
  skip(1);  // '<'
  const std::string_view qname = name();
  if (qname.empty() || open_.size() >= kXmlMaxDepth) return false;
  const size_t depth = open_.size() + 1;
  bool empty = false;
  for (;;) {
    const bool spaced = skip_spaces();
    if (starts(">") || starts("/>")) {
      empty = starts("/>");
      skip(empty ? 2 : 1);
      break;
    }
    if (!spaced || !attribute(depth)) return false;
  }
  const size_t colon = qname.find(':');
  const std::string_view prefix = colon == std::string_view::npos ? std::string_view() : qname.substr(0, colon);
  const std::string_view local = colon == std::string_view::npos ? qname : qname.substr(colon + 1);
  if (local.empty() || (colon != std::string_view::npos && prefix.empty()) ||
      local.find(':') != std::string_view::npos) {
    return false;
  }
  const std::string* uri = lookup(prefix);
  if (uri == nullptr && !prefix.empty() && prefix != "xml") return false;
  visitor_->start(prefix == "xml" ? kXmlNamespace : uri ? std::string_view(*uri) : std::string_view(), local);
  open_.push_back(qname);
  if (empty) close_element();
  return true;
}

void Scanner::close_element() {
  visitor_->end();
  while (!bindings_.empty() && bindings_.back().depth == open_.size()) bindings_.pop_back();
  open_.pop_back();
}

bool Scanner::end_tag() {
  skip(2);  // "</"
  const std::string_view qname = name();
  skip_spaces();
  if (!starts(">") || open_.empty() || qname != open_.back()) return false;
  skip(1);
  close_element();
  return true;
}

// At "<![CDATA[": its text as it stands.
bool Scanner::cdata() {
  skip(9);
  const size_t at = rest_.find("]]>");
  if (at == std::string_view::npos) return false;
  visitor_->text(rest_.substr(0, at));
  skip(at + 3);
  return true;
}

bool Scanner::character_data() {
  const size_t at = rest_.find('<');
  if (at == std::string_view::npos) return false;  // the root is never closed
  if (!decode_text(rest_.substr(0, at), &decoded_)) return false;
  skip(at);
  visitor_->text(decoded_);
  return true;
}

bool Scanner::document() {
  if (starts("\xef\xbb\xbf")) skip(3);
  if (!valid_utf8(rest_)) return false;
  for (char c : rest_) {
    if (static_cast<unsigned char>(c) < 0x20 && !is_xml_space(c)) return false;
  }
  if (!misc() || !starts("<") || !start_tag()) return false;
  while (!open_.empty()) {
    const bool ok = starts("</")          ? end_tag()
                    : starts("<!--")      ? comment()
                    : starts("<![CDATA[") ? cdata()
                    : starts("<?")        ? instruction()
                    : starts("<")         ? start_tag()
                                          : character_data();
    if (!ok) return false;
  }
  return misc() && rest_.empty();
}

}  // namespace

bool scan_xml(const char* data, size_t length, XmlVisitor* visitor) {
  return Scanner(data, length, visitor).document();
}

bool valid_utf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    size_t more = 0;
    uint32_t code = lead;
    if (lead >= 0xf0 && lead <= 0xf4) more = 3, code = lead & 0x07;
    else if (lead >= 0xe0 && lead <= 0xef) more = 2, code = lead & 0x0f;
    else if (lead >= 0xc2 && lead <= 0xdf) more = 1, code = lead & 0x1f;
    else if (lead >= 0x80) return false;
    if (text.size() - i <= more) return false;
    for (size_t k = 1; k <= more; ++k) {
      const unsigned char next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xc0) != 0x80) return false;
      code = (code << 6) | (next & 0x3f);
    }
    const uint32_t least[] = {0, 0x80, 0x800, 0x10000};
    if (code < least[more] || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff)) return false;
    i += more + 1;
  }
  return true;
}

}  // namespace vantelctl
