// A small XML reader for the datagrams `vantelctl discover` collects from the
// network: checks that a document is well-formed UTF-8 XML within fixed
// limits and hands its elements, by namespace URI and local name, and their
// decoded text to a visitor. Reads only inside the buffer it is given, keeps
// no state between calls. Pure: any thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace vantelctl {

// Nesting depth and namespace declarations in scope at once.
constexpr size_t kXmlMaxDepth = 32;
constexpr size_t kXmlMaxNamespaces = 64;

class XmlVisitor {
 public:
  virtual ~XmlVisitor() = default;
  // An element opens: its namespace URI ("" for none) and local name.
  virtual void start(std::string_view ns, std::string_view local) = 0;
  // Character data of the innermost open element, references decoded; an
  // element's text may come in several pieces (around comments, CDATA).
  virtual void text(std::string_view piece) = 0;
  virtual void end() = 0;
};

// Reads the document in `data`. False when it is not well-formed (or goes
// beyond the limits above, or has a DOCTYPE): the visitor may have seen
// part of it by then, and what it gathered is not to be used.
bool scan_xml(const char* data, size_t length, XmlVisitor* visitor);

// XML's whitespace: space, tab, CR, LF.
inline bool is_xml_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// True when `text` is UTF-8 without overlong forms, surrogates or code
// points past U+10FFFF.
bool valid_utf8(std::string_view text);

}  // namespace vantelctl
