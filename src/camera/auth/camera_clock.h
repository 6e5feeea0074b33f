// The camera's clock as its answers tell it: the HTTP Date header of any
// answer, or the UTC time of GetSystemDateAndTime. Pure functions; any
// thread. The session uses them to date tokens for a camera whose clock is
// not the recorder's.
#pragma once

#include <cstdint>

#include "soapH.h"

namespace vantel {

// Seconds since 1970-01-01T00:00:00Z of a proleptic Gregorian UTC time, in
// 64 bits on every target; false when a field is out of its range (years
// 1970 to 9999, a leap second allowed).
bool utc_seconds(int year, int month, int day, int hour, int minute, int second, int64_t& seconds);

// An HTTP Date value: "Sun, 06 Nov 1994 08:49:37 GMT" (the only form
// servers may send today), or the older "Sunday, 06-Nov-94 08:49:37 GMT"
// and "Sun Nov  6 08:49:37 1994" that small embedded servers still use.
// False for anything else.
bool parse_http_date(const char* text, int64_t& seconds);

// The camera's UTC time from a GetSystemDateAndTime answer; a camera that
// gives only its local time is taken at its word, as it dates tokens by
// that clock too. False when the answer holds no usable time.
bool camera_time(const _tds__GetSystemDateAndTimeResponse& answer, int64_t& seconds);

}  // namespace vantel
