// The resolution bookkeeping of camera registration: the size class the
// recorder files a stream under, which sizes the recording stream may use,
// and the 20-entry option tables of the result block filled from a camera's
// lists. Pure functions over a block view; command server thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "soapH.h"
#include "wire/result_block.h"

namespace vantel {

// 5 for 1920x1080, 4 for 1280x720, 3 for 720x480/576, 2 for 640x480/576,
// 0 for anything else.
uint8_t resolution_class(int width, int height);
// The same for a configuration's resolution; a missing one is class 0.
uint8_t resolution_class(const tt__VideoResolution* resolution);

// The eight sizes the recorder can record: 1920x1080, 1280x720 and the
// 704-wide and 352-wide D1/CIF sizes.
bool recordable_resolution(int width, int height);

// first_options: the recordable sizes among the first `count` entries of
// `list` (never more than the list holds), packed from entry 0. At most 20
// are kept; the rest of the camera's list is dropped. Returns the number
// stored. The table is expected to be cleared by the caller.
size_t fill_first_options(ResultBlockView& block, const std::vector<tt__VideoResolution*>& list,
                          size_t count);

// second_options: entry k of `list` to pair k, unfiltered, for the first 20
// entries. A missing entry leaves its pair as it is. Returns the number of
// entries considered.
size_t fill_second_options(ResultBlockView& block, const std::vector<tt__VideoResolution*>& list);

}  // namespace vantel
