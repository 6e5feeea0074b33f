#include "block_fields.h"

#include <arpa/inet.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "wire/result_block.h"

namespace vantelctl {

using vantel::ResultBlockView;
namespace block = vantel::block;

const BlockField kBlockFields[] = {
    {"manufacturer", block::kManufacturer, FieldType::kText, block::kNameFieldSize},
    {"model", block::kModel, FieldType::kText, block::kNameFieldSize},
    {"camera_ip", block::kCameraIp, FieldType::kIpv4, 4},
    {"camera_port", block::kCameraPort, FieldType::kS32, 4},
    {"status", block::kStatus, FieldType::kS32, 4},
    {"user_name", block::kUserName, FieldType::kText, 32},
    {"password", block::kPassword, FieldType::kText, 32},
    {"first_uri", block::kFirstUri, FieldType::kUri, block::kUriFieldSize},
    {"second_uri", block::kSecondUri, FieldType::kUri, block::kUriFieldSize},
    {"first_flag", block::kFirstFlag, FieldType::kU8, 1},
    {"second_flag", block::kSecondFlag, FieldType::kU8, 1},
    {"first_width", block::kFirstWidth, FieldType::kS16, 2},
    {"first_height", block::kFirstHeight, FieldType::kS16, 2},
    {"second_width", block::kSecondWidth, FieldType::kS16, 2},
    {"second_height", block::kSecondHeight, FieldType::kS16, 2},
    {"setup_state", block::kSetupState, FieldType::kU8, 1},
    {"first_codec", block::kFirstCodec, FieldType::kU8, 1},
    {"second_codec", block::kSecondCodec, FieldType::kU8, 1},
    {"ptz_present", block::kPtzPresent, FieldType::kU8, 1},
    {"first_fps", block::kFirstFps, FieldType::kU8, 1},
    {"second_fps", block::kSecondFps, FieldType::kU8, 1},
    {"first_quality", block::kFirstQuality, FieldType::kS16, 2},
    {"second_quality", block::kSecondQuality, FieldType::kS16, 2},
    {"first_bitrate", block::kFirstBitrate, FieldType::kS16, 2},
    {"second_bitrate", block::kSecondBitrate, FieldType::kS16, 2},
    {"registration", block::kRegZero, FieldType::kQuad, 8},
    {"first_fps_range", block::kFpsRange, FieldType::kRange, 4},
    {"second_fps_range", block::kFpsRange + 4, FieldType::kRange, 4},
    {"first_quality_range", block::kQualityRange, FieldType::kRange, 4},
    {"second_quality_range", block::kQualityRange + 4, FieldType::kRange, 4},
    {"first_bitrate_range", block::kBitrateRange, FieldType::kRange, 4},
    {"second_bitrate_range", block::kBitrateRange + 4, FieldType::kRange, 4},
    {"first_options", block::kFirstOptions, FieldType::kOptions, block::kOptionTableSize},
    {"second_options", block::kSecondOptions, FieldType::kOptions, block::kOptionTableSize},
};
const size_t kBlockFieldCount = sizeof kBlockFields / sizeof kBlockFields[0];

const BlockField* find_field(const std::string& name) {
  for (size_t i = 0; i < kBlockFieldCount; ++i) {
    if (name == kBlockFields[i].name) return &kBlockFields[i];
  }
  return nullptr;
}

namespace {

bool parse_long(const std::string& text, long low, long high, long* out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long value = strtol(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || value < low || value > high) return false;
  *out = value;
  return true;
}

// "a,b,c" or "WxH,WxH": up to `max` numbers split on ',' and 'x'.
bool parse_numbers(const std::string& text, size_t max, long* out, size_t* count) {
  *count = 0;
  std::string item;
  std::istringstream in(text);
  while (std::getline(in, item, ',')) {
    const size_t x = item.find('x');
    const std::string parts[2] = {item.substr(0, x), x == std::string::npos ? "" : item.substr(x + 1)};
    for (int p = 0; p < (x == std::string::npos ? 1 : 2); ++p) {
      if (*count == max || !parse_long(parts[p], SHRT_MIN, SHRT_MAX, &out[*count])) return false;
      ++*count;
    }
  }
  return true;
}

// Fixed text as it stands: up to the first NUL or the field's width, with
// anything unprintable escaped so a terminal or a JSON reader can take it.
std::string printable(const std::string& raw, bool json) {
  std::string out;
  for (unsigned char c : raw) {
    char escaped[8];
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c >= 0x7f) {
      snprintf(escaped, sizeof escaped, json ? "\\u%04x" : "\\x%02x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string options_list(const ResultBlockView& view, size_t table, bool json) {
  size_t used = block::kOptionEntries;
  while (used > 0 && view.option_width(table, used - 1) == 0 && view.option_height(table, used - 1) == 0) {
    --used;
  }
  std::string out;
  for (size_t i = 0; i < used; ++i) {
    if (i) out += json ? "," : " ";
    out += json ? "\"" : "";
    out += std::to_string(view.option_width(table, i)) + "x" + std::to_string(view.option_height(table, i));
    out += json ? "\"" : "";
  }
  return json ? "[" + out + "]" : out;
}

std::string field_value(const uint8_t* bytes, const BlockField& field, bool json) {
  ResultBlockView view(const_cast<uint8_t*>(bytes));
  const std::string quote = json ? "\"" : "";
  switch (field.type) {
    case FieldType::kU8:
      return std::to_string(view.u8(field.offset));
    case FieldType::kS16:
      return std::to_string(view.s16(field.offset));
    case FieldType::kS32:
      return std::to_string(view.s32(field.offset));
    case FieldType::kText:
    case FieldType::kUri:
      return quote + printable(view.text(field.offset, field.width), json) + quote;
    case FieldType::kIpv4: {
      char dotted[INET_ADDRSTRLEN];
      inet_ntop(AF_INET, bytes + field.offset, dotted, sizeof dotted);
      return quote + dotted + quote;
    }
    case FieldType::kRange:
    case FieldType::kQuad: {
      std::string out;
      for (size_t i = 0; i < field.width; i += 2) {
        if (i) out += json ? "," : " ";
        out += std::to_string(view.s16(field.offset + i));
      }
      return json ? "[" + out + "]" : out;
    }
    case FieldType::kOptions:
      return options_list(view, field.offset, json);
  }
  return "";
}

}  // namespace

bool write_field(uint8_t* bytes, const BlockField& field, const std::string& value,
                 std::string* error) {
  ResultBlockView view(bytes);
  long number = 0;
  long numbers[2 * block::kOptionEntries];
  size_t count = 0;
  bool ok = true;
  switch (field.type) {
    case FieldType::kU8:
      ok = parse_long(value, 0, 255, &number);
      if (ok) view.set_u8(field.offset, static_cast<uint8_t>(number));
      break;
    case FieldType::kS16:
      ok = parse_long(value, SHRT_MIN, SHRT_MAX, &number);
      if (ok) view.set_s16(field.offset, static_cast<int16_t>(number));
      break;
    case FieldType::kS32:
      ok = parse_long(value, INT32_MIN, INT32_MAX, &number);
      if (ok) view.set_s32(field.offset, static_cast<int32_t>(number));
      break;
    case FieldType::kText:
    case FieldType::kUri:
      ok = value.size() < field.width;
      if (ok) {
        view.clear(field.offset, field.width);
        std::memcpy(bytes + field.offset, value.data(), value.size());
      }
      break;
    case FieldType::kIpv4:
      ok = inet_pton(AF_INET, value.c_str(), bytes + field.offset) == 1;
      break;
    case FieldType::kRange:
    case FieldType::kQuad:
      ok = parse_numbers(value, field.width / 2, numbers, &count) && count == field.width / 2;
      for (size_t i = 0; ok && i < count; ++i) view.set_s16(field.offset + 2 * i, static_cast<int16_t>(numbers[i]));
      break;
    case FieldType::kOptions:
      ok = parse_numbers(value, 2 * block::kOptionEntries, numbers, &count) && count % 2 == 0;
      if (ok) {
        view.clear(field.offset, field.width);
        for (size_t i = 0; i < count / 2; ++i) {
          view.set_option(field.offset, i, static_cast<int16_t>(numbers[2 * i]),
                          static_cast<int16_t>(numbers[2 * i + 1]));
        }
      }
      break;
  }
  if (!ok) *error = std::string("bad value for ") + field.name + ": '" + value + "'";
  return ok;
}

std::string block_as_text(const uint8_t* bytes) {
  std::string out;
  for (size_t i = 0; i < kBlockFieldCount; ++i) {
    out += std::string(kBlockFields[i].name) + ": " + field_value(bytes, kBlockFields[i], false) + "\n";
  }
  return out;
}

std::string block_as_json(const uint8_t* bytes) {
  std::string out = "{";
  for (size_t i = 0; i < kBlockFieldCount; ++i) {
    if (i) out += ", ";
    out += std::string("\"") + kBlockFields[i].name + "\": " + field_value(bytes, kBlockFields[i], true);
  }
  return out + "}";
}

}  // namespace vantelctl
