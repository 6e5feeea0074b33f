// The state file's format: the lasting facts of every camera in the book,
// one line each, between a version line and a closing line that counts the
// cameras and checks every byte before it. Pure functions; any thread. The
// camera book reads the file at start-up and writes it whole when a fact
// changes.
//
//   vantel.cameras 1
//   <host> <port> <user> <clock offset> <http|tls> <device> <media> <ptz> <pin>
//   ...
//   end <cameras> <crc32 of every byte before this line, 8 hex digits>
//
// Texts are hex (so any byte a user name may hold stays one field), "-"
// when empty; the pin is 64 hex digits of a SHA-256 or "-".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "camera/book/camera_entry.h"

namespace vantel {

constexpr size_t kStateFileMaxBytes = 1 << 20;
// Longer addresses are not remembered: they are formed afresh.
constexpr size_t kRememberedAddressMax = 255;

struct RememberedCamera {
  CameraKey key;
  LastingFacts lasting;
};

std::string write_state(const std::vector<RememberedCamera>& cameras);

// False, with `why` set to one short phrase, for anything but a whole file
// of this version: nothing of a damaged file is taken.
bool read_state(const char* data, size_t size, std::vector<RememberedCamera>& cameras, std::string& why);

}  // namespace vantel
