#include "camera/book/state_file.h"

#include <arpa/inet.h>
#include <zlib.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vantel {
namespace {

constexpr char kVersionLine[] = "vantel.cameras 1\n";
constexpr size_t kUserMax = 32;
constexpr size_t kPinDigits = 64;
constexpr size_t kFields = 9;

const char kHex[] = "0123456789abcdef";

std::string hex(const std::string& text) {
  if (text.empty()) return "-";
  std::string out;
  out.reserve(text.size() * 2);
  for (unsigned char c : text) {
    out += kHex[c >> 4];
    out += kHex[c & 15];
  }
  return out;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool unhex(const std::string& field, size_t max, std::string& text) {
  text.clear();
  if (field == "-") return true;
  if (field.empty() || field.size() % 2 != 0 || field.size() / 2 > max) return false;
  for (size_t i = 0; i < field.size(); i += 2) {
    const int high = hex_digit(field[i]), low = hex_digit(field[i + 1]);
    if (high < 0 || low < 0) return false;
    text += static_cast<char>(high << 4 | low);
  }
  return true;
}

bool is_pin(const std::string& field) {
  if (field.size() != kPinDigits) return false;
  for (char c : field) {
    if (hex_digit(c) < 0) return false;
  }
  return true;
}

bool to_int64(const std::string& field, int64_t min, int64_t max, int64_t& value) {
  if (field.empty() || field.size() > 20) return false;
  char* end = nullptr;
  errno = 0;
  const long long parsed = std::strtoll(field.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || parsed < min || parsed > max) return false;
  value = parsed;
  return true;
}

uint32_t crc_of(const char* data, size_t size) {
  return static_cast<uint32_t>(crc32(0L, reinterpret_cast<const Bytef*>(data), static_cast<uInt>(size)));
}

bool split(const std::string& line, std::vector<std::string>& fields) {
  fields.clear();
  size_t start = 0;
  for (;;) {
    const size_t space = line.find(' ', start);
    fields.push_back(line.substr(start, space - start));
    if (space == std::string::npos) break;
    start = space + 1;
  }
  return fields.size() == kFields;
}

bool read_camera(const std::string& line, RememberedCamera& camera) {
  std::vector<std::string> f;
  if (!split(line, f)) return false;
  in_addr address;
  int64_t port = 0, offset = 0;
  // A clock set anywhere between 1900 and 2300 is within these bounds.
  constexpr int64_t kOffsetMax = int64_t{1} << 40;
  if (inet_pton(AF_INET, f[0].c_str(), &address) != 1 || !to_int64(f[1], INT32_MIN, INT32_MAX, port) ||
      !unhex(f[2], kUserMax, camera.key.user) || !to_int64(f[3], -kOffsetMax, kOffsetMax, offset) ||
      (f[4] != "http" && f[4] != "tls") ||
      !unhex(f[5], kRememberedAddressMax, camera.lasting.device_address) ||
      !unhex(f[6], kRememberedAddressMax, camera.lasting.media_address) ||
      !unhex(f[7], kRememberedAddressMax, camera.lasting.ptz_address) || (f[8] != "-" && !is_pin(f[8]))) {
    return false;
  }
  camera.key.host = f[0];
  camera.key.port = static_cast<int32_t>(port);
  camera.lasting.clock_offset = offset;
  camera.lasting.tls = f[4] == "tls";
  camera.lasting.certificate_pin = f[8] == "-" ? "" : f[8];
  return true;
}

}  // namespace

std::string write_state(const std::vector<RememberedCamera>& cameras) {
  std::string out = kVersionLine;
  for (const RememberedCamera& c : cameras) {
    const LastingFacts& l = c.lasting;
    out += c.key.host + ' ' + std::to_string(c.key.port) + ' ' + hex(c.key.user) + ' ' +
           std::to_string(l.clock_offset) + ' ' + (l.tls ? "tls" : "http") + ' ' + hex(l.device_address) + ' ' +
           hex(l.media_address) + ' ' + hex(l.ptz_address) + ' ' +
           (l.certificate_pin.empty() ? "-" : l.certificate_pin) + '\n';
  }
  char end[48];
  std::snprintf(end, sizeof end, "end %zu %08" PRIx32 "\n", cameras.size(), crc_of(out.data(), out.size()));
  return out + end;
}

bool read_state(const char* data, size_t size, std::vector<RememberedCamera>& cameras, std::string& why) {
  cameras.clear();
  const size_t version_size = sizeof kVersionLine - 1;
  if (size > kStateFileMaxBytes) return why = "larger than 1 MB", false;
  if (size < version_size || std::memcmp(data, kVersionLine, version_size) != 0) {
    return why = "not a version 1 state file", false;
  }
  size_t at = version_size;
  for (;;) {
    const void* newline = std::memchr(data + at, '\n', size - at);
    if (newline == nullptr) return why = "truncated", cameras.clear(), false;
    const size_t line_end = static_cast<const char*>(newline) - data;
    const std::string line(data + at, line_end - at);
    if (line.compare(0, 4, "end ") == 0) {
      char expected[48];
      std::snprintf(expected, sizeof expected, "end %zu %08" PRIx32, cameras.size(), crc_of(data, at));
      if (line != expected || line_end + 1 != size) return why = "damaged (check failed)", cameras.clear(), false;
      return true;
    }
    RememberedCamera camera;
    if (!read_camera(line, camera)) return why = "damaged (bad camera line)", cameras.clear(), false;
    cameras.push_back(std::move(camera));
    at = line_end + 1;
  }
}

}  // namespace vantel
