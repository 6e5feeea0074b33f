// What the daemon remembers of its cameras: the state file that carries it
// across restarts, the bounded book, and the guard that keeps a wrong
// password from locking the recorder out.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "camera/auth/lockout_guard.h"
#include "camera/book/camera_book.h"
#include "camera/book/state_file.h"

namespace vantel {
namespace {

std::vector<RememberedCamera> two_cameras() {
  RememberedCamera skewed{{"10.0.0.7", 80, "admin"}, {}};
  skewed.lasting.clock_offset = -800000000;
  RememberedCamera tls{{"192.168.1.64", 443, "op er\n\xc3\xa9"}, {}};
  tls.lasting.tls = true;
  tls.lasting.device_address = "https://192.168.1.64:443/onvif/device_service";
  tls.lasting.media_address = "https://192.168.1.64:443/onvif/media";
  tls.lasting.certificate_pin = std::string(64, 'a');
  return {skewed, tls};
}

TEST(StateFile, ReadsBackWhatItWroteAndNothingOfADamagedFile) {
  const std::string text = write_state(two_cameras());
  std::vector<RememberedCamera> read;
  std::string why;
  ASSERT_TRUE(read_state(text.data(), text.size(), read, why)) << why;
  ASSERT_EQ(2u, read.size());
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE(read[i].key == two_cameras()[i].key);
    EXPECT_TRUE(read[i].lasting == two_cameras()[i].lasting);
  }
  // Cut anywhere, one byte changed anywhere: the whole file is refused.
  for (size_t cut = 0; cut < text.size(); ++cut) {
    EXPECT_FALSE(read_state(text.data(), cut, read, why)) << cut;
    EXPECT_TRUE(read.empty());
    std::string flipped = text;
    flipped[cut] ^= 0x20;
    EXPECT_FALSE(read_state(flipped.data(), flipped.size(), read, why)) << cut;
  }
  const std::string other_version = "vantel.cameras 2\nend 0 00000000\n";
  EXPECT_FALSE(read_state(other_version.data(), other_version.size(), read, why));
  const std::string oversized(kStateFileMaxBytes + 1, 'v');
  EXPECT_FALSE(read_state(oversized.data(), oversized.size(), read, why));
  EXPECT_EQ("larger than 1 MB", why);
  // A line that is well formed but out of range is no camera.
  for (const char* line : {"10.0.0.300 80 - 0 http - - - -", "10.0.0.7 80 - 0 ftp - - - -",
                           "10.0.0.7 99999999999 - 0 http - - - -", "10.0.0.7 80 - 0 http - - - abc",
                           "10.0.0.7 80 616 0 http - - - -", "10.0.0.7 80 - 0 http - - -"}) {
    std::string body = std::string("vantel.cameras 1\n") + line + "\n";
    const std::string whole = write_state({});
    std::vector<RememberedCamera> none;
    std::string framed = body + whole.substr(whole.find("end "));
    EXPECT_FALSE(read_state(framed.data(), framed.size(), read, why)) << line;
  }
}

std::string state_dir() {
  char pattern[] = "/tmp/vantel-book-XXXXXX";
  return mkdtemp(pattern);
}

TEST(CameraBook, KeepsTheRecentCamerasAndForgetsWhatNewCredentialsInvalidate) {
  const std::string dir = state_dir();
  const std::string path = dir + "/vantel.cameras";
  {
    CameraBook book(path);
    for (int i = 0; i < 300; ++i) {
      CameraEntry& entry = book.entry({"10.0.0.1", 8000 + i, "admin"}, "pw");
      entry.lasting.clock_offset = 3600 + i;
      // The first camera is used all along: never the least recent.
      book.entry({"10.0.0.1", 8000, "admin"}, "pw");
    }
    EXPECT_EQ(CameraBook::kCapacity, book.size());
    EXPECT_EQ(3600, book.entry({"10.0.0.1", 8000, "admin"}, "pw").lasting.clock_offset);
    EXPECT_EQ(0, book.entry({"10.0.0.1", 8001, "admin"}, "pw").lasting.clock_offset);  // evicted
    book.entry({"10.0.0.1", 8299, "admin"}, "pw").lasting.certificate_pin = std::string(64, 'b');
    book.save();
  }
  CameraBook book(path);  // as after a restart
  CameraEntry& entry = book.entry({"10.0.0.1", 8299, "admin"}, "pw");
  EXPECT_EQ(3600 + 299, entry.lasting.clock_offset);
  EXPECT_EQ(std::string(64, 'b'), entry.lasting.certificate_pin);
  entry.digest_challenge = "Digest realm=\"r\", nonce=\"n\"";
  entry.guard.refused(12, 0);
  entry.guard.refused(12, 0);
  // Another user is another entry; another password keeps the clock only.
  EXPECT_EQ(0, book.entry({"10.0.0.1", 8299, "viewer"}, "pw").lasting.clock_offset);
  CameraEntry& changed = book.entry({"10.0.0.1", 8299, "admin"}, "new");
  EXPECT_EQ(3600 + 299, changed.lasting.clock_offset);
  EXPECT_TRUE(changed.lasting.certificate_pin.empty());
  EXPECT_TRUE(changed.digest_challenge.empty());
  EXPECT_FALSE(changed.guard.holding(0));
  // Registering again: found out afresh, but the clock and the guard stay.
  changed.lasting.tls = true;
  changed.guard.refused(12, 0);
  changed.guard.refused(12, 0);
  CameraEntry& registered = book.entry({"10.0.0.1", 8299, "admin"}, "new", CameraBook::Meeting::kFirst);
  EXPECT_FALSE(registered.lasting.tls);
  EXPECT_EQ(3600 + 299, registered.lasting.clock_offset);
  EXPECT_TRUE(registered.guard.holding(0));

  // A damaged file starts an empty book rather than a wrong one.
  std::ofstream(path, std::ios::trunc) << "vantel.cameras 1\n10.0.0.1 8299 - 5 http";
  EXPECT_EQ(0u, CameraBook(path).size());
  unlink(path.c_str());
  rmdir(dir.c_str());
}

TEST(LockoutGuard, TwoRefusalsInARowHoldTheCredentialsTenMinutes) {
  LockoutGuard guard;
  guard.refused(12, 100);
  EXPECT_FALSE(guard.holding(100));
  guard.accepted();  // taken in between: the count starts again
  guard.refused(12, 100);
  EXPECT_FALSE(guard.holding(100));
  guard.refused(401, 101);
  EXPECT_TRUE(guard.holding(101));
  EXPECT_TRUE(guard.holding(700));
  EXPECT_EQ(401, guard.last_refusal());
  EXPECT_FALSE(guard.holding(701));
  // One try once the hold ran out; refused, it holds again at once.
  guard.refused(12, 701);
  EXPECT_TRUE(guard.holding(701));
}

}  // namespace
}  // namespace vantel
