// Compile-time checks for the fixed layouts of the command port: a field is
// an offset and a width, and a group of fields must lie inside its record
// and must not overlap. Pure constexpr; used only in static_asserts.
#pragma once

#include <cstddef>

namespace vantel {

struct WireField {
  size_t offset;
  size_t size;
  constexpr size_t end() const { return offset + size; }
};

template <size_t N>
constexpr bool fields_fit(const WireField (&fields)[N], size_t record_size) {
  for (size_t i = 0; i < N; ++i) {
    if (fields[i].size == 0 || fields[i].end() > record_size) return false;
  }
  return true;
}

template <size_t N>
constexpr bool fields_disjoint(const WireField (&fields)[N]) {
  for (size_t i = 0; i < N; ++i) {
    for (size_t j = i + 1; j < N; ++j) {
      if (fields[i].offset < fields[j].end() && fields[j].offset < fields[i].end()) return false;
    }
  }
  return true;
}

}  // namespace vantel
