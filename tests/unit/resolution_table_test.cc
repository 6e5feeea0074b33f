// Resolution classes, the recordable sizes and the bounded option tables.
#include "commands/setup/resolution_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "wire/rifa.h"

namespace vantel {
namespace {

TEST(ResolutionTable, ClassesAndRecordableSizes) {
  EXPECT_EQ(5, resolution_class(1920, 1080));
  EXPECT_EQ(4, resolution_class(1280, 720));
  EXPECT_EQ(3, resolution_class(720, 480));
  EXPECT_EQ(3, resolution_class(720, 576));
  EXPECT_EQ(2, resolution_class(640, 480));
  EXPECT_EQ(2, resolution_class(640, 576));
  for (auto [w, h] : std::vector<std::pair<int, int>>{{1080, 1920}, {704, 576}, {640, 360}, {0, 0}, {720, 720}}) {
    EXPECT_EQ(0, resolution_class(w, h)) << w << "x" << h;
  }
  EXPECT_EQ(0, resolution_class(nullptr));

  int accepted = 0;
  for (int w : {352, 640, 704, 720, 1280, 1920}) {
    for (int h : {240, 288, 480, 576, 720, 1080}) accepted += recordable_resolution(w, h) ? 1 : 0;
  }
  EXPECT_EQ(8, accepted);
  for (auto [w, h] : std::vector<std::pair<int, int>>{{1920, 1080}, {1280, 720}, {704, 480}, {704, 576},
                                                      {704, 240}, {704, 288}, {352, 240}, {352, 288}}) {
    EXPECT_TRUE(recordable_resolution(w, h)) << w << "x" << h;
  }
}

struct Sizes {
  explicit Sizes(const std::vector<std::pair<int, int>>& pairs) {
    for (auto [w, h] : pairs) {
      storage.push_back(tt__VideoResolution());
      storage.back().Width = w;
      storage.back().Height = h;
    }
    for (tt__VideoResolution& r : storage) list.push_back(&r);
  }
  std::vector<tt__VideoResolution> storage;
  std::vector<tt__VideoResolution*> list;
};

TEST(ResolutionTable, TablesHoldTwentyEntriesAndNothingBeyond) {
  uint8_t bytes[kPayloadSize];
  std::memset(bytes, 0x77, sizeof bytes);
  ResultBlockView block(bytes);
  block.clear(block::kFirstOptions, 2 * block::kOptionTableSize);

  // 30 recordable sizes with a stranger and a missing entry among them.
  std::vector<std::pair<int, int>> pairs;
  for (int i = 0; i < 30; ++i) pairs.push_back(i % 2 ? std::make_pair(704, 576) : std::make_pair(352, 240));
  pairs.insert(pairs.begin() + 1, {800, 600});
  Sizes sizes(pairs);
  sizes.list.insert(sizes.list.begin(), nullptr);

  EXPECT_EQ(20u, fill_first_options(block, sizes.list, sizes.list.size()));
  EXPECT_EQ(352, block.option_width(block::kFirstOptions, 0));
  EXPECT_EQ(704, block.option_width(block::kFirstOptions, 1));
  EXPECT_EQ(576, block.option_height(block::kFirstOptions, 19));
  EXPECT_EQ(0, block.option_width(block::kSecondOptions, 0));

  // A count beyond the list stops at the list; a short count stops earlier.
  block.clear(block::kFirstOptions, block::kOptionTableSize);
  Sizes two({{1920, 1080}, {1280, 720}});
  EXPECT_EQ(2u, fill_first_options(block, two.list, 9));
  EXPECT_EQ(1u, fill_first_options(block, two.list, 1));

  // The unfiltered table: pair k from entry k, a missing entry leaves its pair.
  EXPECT_EQ(20u, fill_second_options(block, sizes.list));
  EXPECT_EQ(0, block.option_width(block::kSecondOptions, 0));
  EXPECT_EQ(352, block.option_width(block::kSecondOptions, 1));
  EXPECT_EQ(800, block.option_width(block::kSecondOptions, 2));
  EXPECT_EQ(0x77, bytes[block::kSecondOptions + block::kOptionTableSize]);
  EXPECT_EQ(0x77, bytes[block::kSecondOptions + block::kOptionTableSize + 1]);
}

}  // namespace
}  // namespace vantel
