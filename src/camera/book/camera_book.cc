#include "camera/book/camera_book.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "camera/book/state_file.h"
#include "log/log.h"

namespace vantel {
namespace {

constexpr char kDefaultStateDir[] = "/mnt/nvr";

// FNV-1a: tells one password from another without keeping it. Never 0,
// which marks an entry read from the state file, learned with a password
// not yet seen.
uint64_t password_mark(const char* password) {
  uint64_t hash = 14695981039346656037ULL;
  for (const char* p = password; *p != '\0'; ++p) hash = (hash ^ static_cast<unsigned char>(*p)) * 1099511628211ULL;
  return hash == 0 ? 1 : hash;
}

bool write_all(int fd, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string directory_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string state_file_path() {
  const char* dir = std::getenv("VANTEL_STATE_DIR");
  return std::string(dir != nullptr && *dir != '\0' ? dir : kDefaultStateDir) + "/vantel.cameras";
}

CameraBook::CameraBook(std::string path) : path_(std::move(path)) {
  entries_.reserve(kCapacity);
  load();
}

void CameraBook::load() {
  if (path_.empty()) return;
  const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno != ENOENT) log_printf("[camera book] %s ignored: %s \n", path_.c_str(), std::strerror(errno));
    return;
  }
  // One byte over the limit tells an oversized file from one at the limit.
  std::string data(kStateFileMaxBytes + 1, '\0');
  size_t size = 0;
  for (ssize_t n; size < data.size() && (n = read(fd, &data[size], data.size() - size)) != 0;) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    size += static_cast<size_t>(n);
  }
  close(fd);
  std::vector<RememberedCamera> cameras;
  std::string why;
  if (!read_state(data.data(), size, cameras, why)) {
    log_printf("[camera book] %s ignored: %s \n", path_.c_str(), why.c_str());
    return;
  }
  for (RememberedCamera& camera : cameras) {
    if (entries_.size() == kCapacity) break;
    CameraEntry entry;
    entry.key = std::move(camera.key);
    entry.lasting = std::move(camera.lasting);
    entries_.push_back(std::move(entry));
  }
}

CameraEntry& CameraBook::entry(const CameraKey& key, const char* password, Meeting meeting) {
  const uint64_t mark = password_mark(password);
  CameraEntry* found = nullptr;
  for (CameraEntry& e : entries_) {
    if (e.key == key) {
      found = &e;
      break;
    }
  }
  if (found == nullptr) {
    if (entries_.size() < kCapacity) {
      entries_.emplace_back();
      found = &entries_.back();
    } else {
      found = &entries_.front();
      for (CameraEntry& e : entries_) {
        if (e.last_use < found->last_use) found = &e;
      }
    }
    *found = CameraEntry{};
    found->key = key;
  } else if (meeting == Meeting::kFirst) {
    // The camera may be another one at the same address: how it is reached
    // and its certificate are found out again. Its clock and the guard are
    // kept: relearning the clock would cost a refused login (a refusal
    // relearns it anyway), and registering again must not buy a wrong
    // password more tries.
    const int64_t clock_offset = found->lasting.clock_offset;
    const LockoutGuard guard = found->guard;
    *found = CameraEntry{};
    found->key = key;
    found->lasting.clock_offset = clock_offset;
    found->guard = guard;
  } else if (found->password_mark != 0 && found->password_mark != mark) {
    found->digest_challenge.clear();
    found->digest_count = 1;
    found->guard = LockoutGuard{};
    found->lasting.certificate_pin.clear();
    found->tls_session.reset();
  }
  found->password_mark = mark;
  found->last_use = ++uses_;
  return *found;
}

void CameraBook::save() {
  if (path_.empty()) return;
  std::vector<RememberedCamera> cameras;
  const LastingFacts nothing;
  for (const CameraEntry& e : entries_) {
    if (e.lasting != nothing) cameras.push_back({e.key, e.lasting});
  }
  const std::string text = write_state(cameras);
  const std::string temporary = path_ + ".new";
  // Written whole beside the old file and renamed over it: a crash at any
  // moment leaves the old file or the new one.
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  bool done = fd >= 0 && write_all(fd, text) && fsync(fd) == 0;
  const int error = errno;
  if (fd >= 0) close(fd);
  done = done && rename(temporary.c_str(), path_.c_str()) == 0;
  if (!done) {
    if (!write_failed_) {
      log_printf("[camera book] cannot write %s: %s \n", path_.c_str(), std::strerror(fd < 0 ? error : errno));
    }
    write_failed_ = true;
    if (fd >= 0) unlink(temporary.c_str());
    return;
  }
  write_failed_ = false;
  // The rename itself lasts once the directory is on disk.
  const int dir = open(directory_of(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    fsync(dir);
    close(dir);
  }
}

}  // namespace vantel
