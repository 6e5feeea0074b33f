// vantelctl's table of result block fields by name: the decoder prints every
// field through it and --field NAME=VALUE writes through it. Client only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vantelctl {

enum class FieldType { kU8, kS16, kS32, kText, kUri, kIpv4, kRange, kOptions, kQuad };

struct BlockField {
  const char* name;
  size_t offset;
  FieldType type;
  size_t width;  // bytes, for text fields
};

extern const BlockField kBlockFields[];
extern const size_t kBlockFieldCount;

const BlockField* find_field(const std::string& name);

// Writes `value` into the 480-byte `block`; false with `error` set when the
// value does not fit the field's type.
bool write_field(uint8_t* block, const BlockField& field, const std::string& value,
                 std::string* error);

// The whole block, one "name: value" line per field, or one JSON object.
std::string block_as_text(const uint8_t* block);
std::string block_as_json(const uint8_t* block);

}  // namespace vantelctl
