// Resolution classes and option tables.
#include "commands/setup/resolution_table.h"

#include <algorithm>

#include "commands/common/encoder_config.h"

namespace vantel {

uint8_t resolution_class(int width, int height) {
  if (width == 1920 && height == 1080) return 5;
  if (width == 1280 && height == 720) return 4;
  if (width == 720 && (height == 480 || height == 576)) return 3;
  if (width == 640 && (height == 480 || height == 576)) return 2;
  return 0;
}

uint8_t resolution_class(const tt__VideoResolution* resolution) {
  return resolution ? resolution_class(resolution->Width, resolution->Height) : 0;
}

bool recordable_resolution(int width, int height) {
  struct Size {
    int width, height;
  };
  static constexpr Size kRecordable[] = {
      {1920, 1080}, {1280, 720}, {704, 480}, {704, 576}, {704, 240}, {704, 288}, {352, 240}, {352, 288},
  };
  return std::any_of(std::begin(kRecordable), std::end(kRecordable),
                     [&](const Size& s) { return s.width == width && s.height == height; });
}

size_t fill_first_options(ResultBlockView& block, const std::vector<tt__VideoResolution*>& list,
                          size_t count) {
  const size_t walked = std::min(count, list.size());
  size_t stored = 0;
  for (size_t i = 0; i < walked && stored < block::kOptionEntries; ++i) {
    const tt__VideoResolution* r = list[i];
    if (r == nullptr || !recordable_resolution(r->Width, r->Height)) continue;
    // Recordable sizes fit 16 bits; the conversion is the block's all the same.
    block.set_option(block::kFirstOptions, stored++, low16_field(r->Width), low16_field(r->Height));
  }
  return stored;
}

size_t fill_second_options(ResultBlockView& block, const std::vector<tt__VideoResolution*>& list) {
  const size_t walked = std::min(list.size(), block::kOptionEntries);
  for (size_t k = 0; k < walked; ++k) {
    const tt__VideoResolution* r = list[k];
    if (r != nullptr) {
      block.set_option(block::kSecondOptions, k, low16_field(r->Width), low16_field(r->Height));
    }
  }
  return walked;
}

}  // namespace vantel
