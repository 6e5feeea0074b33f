// The request payloads of the commands that carry no result block: the
// CameraRequest prefix every one of them starts with, then one group of
// offsets per request kind. Pure data, checked at compile time against the
// 1024-byte payload buffer; the daemon and vantelctl read and write them.
#pragma once

#include <cstddef>

#include "wire/layout.h"
#include "wire/rifa.h"

namespace vantel {
namespace req {

// CameraRequest: camera address (IPv4, network byte order), port (signed
// 32-bit) and the two NUL-padded 32-byte credentials.
constexpr size_t kCameraIp = 0;
constexpr size_t kCameraPort = 4;
constexpr size_t kUserName = 8;
constexpr size_t kPassword = 40;
constexpr size_t kCredentialSize = 32;
constexpr size_t kPrefixSize = 72;
constexpr WireField kPrefixFields[] = {
    {kCameraIp, 4}, {kCameraPort, 4}, {kUserName, kCredentialSize}, {kPassword, kCredentialSize}};
static_assert(fields_fit(kPrefixFields, kPrefixSize) && fields_disjoint(kPrefixFields),
              "the prefix is address, port and two credentials");

// The recorder sends these requests 84 bytes long.
constexpr size_t kRequestSize = 84;

// PTZ move: direction code and zoom code, signed 32-bit each.
namespace move {
constexpr size_t kDirection = 72;
constexpr size_t kZoom = 80;
constexpr WireField kFields[] = {{kDirection, 4}, {kZoom, 4}};
}  // namespace move

// Set, goto and remove preset: the preset number, signed 32-bit.
namespace preset {
constexpr size_t kNumber = 72;
constexpr WireField kFields[] = {{kNumber, 4}};
}  // namespace preset

// User mode: 1 for a single viewer, anything else for many; signed 32-bit.
namespace user_mode {
constexpr size_t kMode = 72;
constexpr WireField kFields[] = {{kMode, 4}};
}  // namespace user_mode

// Each kind's own fields follow the prefix and lie inside the request the
// recorder sends, which lies inside the payload buffer.
constexpr bool after_prefix(const WireField* fields, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (fields[i].offset < kPrefixSize) return false;
  }
  return true;
}
static_assert(kRequestSize <= kPayloadSize, "a request fits the payload buffer");
static_assert(fields_fit(move::kFields, kRequestSize) && fields_disjoint(move::kFields) &&
                  after_prefix(move::kFields, 2),
              "move request");
static_assert(fields_fit(preset::kFields, kRequestSize) && after_prefix(preset::kFields, 1),
              "preset request");
static_assert(fields_fit(user_mode::kFields, kRequestSize) && after_prefix(user_mode::kFields, 1),
              "user mode request");

}  // namespace req
}  // namespace vantel
