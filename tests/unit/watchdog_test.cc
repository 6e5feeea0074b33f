// The watchdog's count: cumulative over the process's life, busy polls only.
#include <gtest/gtest.h>

#include "supervision/watchdog.h"

namespace vantel {
namespace {

TEST(Watchdog, CountsOnlyBusyPollsAndNeverResets) {
  int32_t counter = 0;
  for (int i = 0; i < 1000; ++i) counter = watchdog_count(counter, -1);  // idle
  counter = watchdog_count(counter, 0);  // before the first command
  counter = watchdog_count(counter, static_cast<int32_t>(0x80000001u));  // negative when signed
  EXPECT_EQ(0, counter);

  // Sixty busy polls spread over many short commands, idle in between.
  for (int i = 0; i < 60; ++i) {
    counter = watchdog_count(counter, 0x0b060008);
    counter = watchdog_count(counter, -1);
  }
  EXPECT_EQ(60, counter);
  EXPECT_FALSE(watchdog_must_restart(counter));
  counter = watchdog_count(counter, 0x0b060001);
  EXPECT_TRUE(watchdog_must_restart(counter));  // the 61st busy poll
  counter = watchdog_count(counter, -1);
  EXPECT_TRUE(watchdog_must_restart(counter));  // and at every later poll
}

}  // namespace
}  // namespace vantel
