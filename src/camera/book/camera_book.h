// The camera book: what the daemon has learned about each camera it talks
// to (its clock, how it is reached, its certificate, its HTTP Digest
// challenge, whether its credentials are being held back), so that a
// recorder running for months pays for a camera's quirks once, not on every
// command. Bounded; the least recently used camera makes room. The lasting
// facts are kept in a state file across restarts. Owned by the command
// server; command server thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "camera/book/camera_entry.h"

namespace vantel {

// $VANTEL_STATE_DIR/vantel.cameras, by default beside the installed daemon.
std::string state_file_path();

class CameraBook {
 public:
  // The largest recorders have 256 channels.
  static constexpr size_t kCapacity = 256;

  // Reads the state file at `path`; a missing one starts an empty book, a
  // damaged one is ignored with one line. An empty path keeps the book in
  // memory only: no file is read or written (a one-off look at a camera).
  explicit CameraBook(std::string path);
  CameraBook(const CameraBook&) = delete;
  CameraBook& operator=(const CameraBook&) = delete;

  enum class Meeting { kAgain, kFirst };
  // The camera's entry, made if it has none. Another password than the one
  // the entry was learned with clears what depends on the credentials (the
  // Digest challenge, the guard, the certificate pin); a first meeting (the
  // recorder registering the camera) clears all but the camera's clock and
  // the guard.
  // The reference is valid until the next call.
  CameraEntry& entry(const CameraKey& key, const char* password, Meeting meeting = Meeting::kAgain);

  // Writes the state file whole (to a temporary file, then renamed over
  // it), after a lasting fact changed.
  void save();

  size_t size() const { return entries_.size(); }

 private:
  void load();

  std::string path_;
  std::vector<CameraEntry> entries_;
  uint64_t uses_ = 0;
  bool write_failed_ = false;  // said once, not on every command
};

}  // namespace vantel
