// Big-endian encoding of the integers that cross the command port. Every
// multi-byte value on the wire (header, request fields, result block) goes
// through these helpers byte by byte, whatever the host's byte order.
// Pure functions: any layer, any thread, vantelctl included.
#pragma once

#include <cstdint>

namespace vantel {

inline void put_be16(uint8_t* dst, uint16_t value) {
  dst[0] = static_cast<uint8_t>(value >> 8);
  dst[1] = static_cast<uint8_t>(value);
}

inline void put_be32(uint8_t* dst, uint32_t value) {
  dst[0] = static_cast<uint8_t>(value >> 24);
  dst[1] = static_cast<uint8_t>(value >> 16);
  dst[2] = static_cast<uint8_t>(value >> 8);
  dst[3] = static_cast<uint8_t>(value);
}

inline uint16_t get_be16(const uint8_t* src) {
  return static_cast<uint16_t>((uint16_t{src[0]} << 8) | uint16_t{src[1]});
}

inline uint32_t get_be32(const uint8_t* src) {
  return (uint32_t{src[0]} << 24) | (uint32_t{src[1]} << 16) |
         (uint32_t{src[2]} << 8) | uint32_t{src[3]};
}

// Signed views: the wire carries two's complement, so the conversion is a
// plain reinterpretation of the unsigned value.
inline void put_be16s(uint8_t* dst, int16_t value) { put_be16(dst, static_cast<uint16_t>(value)); }
inline void put_be32s(uint8_t* dst, int32_t value) { put_be32(dst, static_cast<uint32_t>(value)); }
inline int16_t get_be16s(const uint8_t* src) { return static_cast<int16_t>(get_be16(src)); }
inline int32_t get_be32s(const uint8_t* src) { return static_cast<int32_t>(get_be32(src)); }

}  // namespace vantel
