#include "camera/auth/camera_clock.h"

#include <cstring>

namespace vantel {
namespace {

const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Reads exactly `digits` decimal digits (the first may be a blank when
// `padded`), so no field can overflow.
bool number(const char*& p, int digits, int& value, bool padded = false) {
  value = 0;
  for (int i = 0; i < digits; ++i, ++p) {
    if (padded && i == 0 && *p == ' ') continue;
    if (*p < '0' || *p > '9') return false;
    value = value * 10 + (*p - '0');
  }
  return true;
}

bool literal(const char*& p, const char* text) {
  const size_t length = std::strlen(text);
  if (std::strncmp(p, text, length) != 0) return false;
  p += length;
  return true;
}

bool month(const char*& p, int& value) {
  for (int i = 0; i < 12; ++i) {
    if (std::strncmp(p, kMonths[i], 3) == 0) {
      value = i + 1;
      p += 3;
      return true;
    }
  }
  return false;
}

bool clock_time(const char*& p, int& hour, int& minute, int& second) {
  return number(p, 2, hour) && literal(p, ":") && number(p, 2, minute) && literal(p, ":") && number(p, 2, second);
}

// Days from 1970-01-01 to the given civil date (Gregorian, any year).
int64_t days_from_civil(int64_t year, int month, int day) {
  year -= month <= 2;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t year_of_era = year - era * 400;
  const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

bool leap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

}  // namespace

bool utc_seconds(int year, int month, int day, int hour, int minute, int second, int64_t& seconds) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year < 1970 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
  if (day > kDays[month - 1] + (month == 2 && leap(year))) return false;
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60) return false;
  seconds = days_from_civil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
  return true;
}

bool parse_http_date(const char* text, int64_t& seconds) {
  int year = 0, mon = 0, day = 0, hour = 0, minute = 0, second = 0;
  const char* p = text;
  // The weekday is redundant: skipped, whatever its spelling.
  while (*p >= 'A' && *p <= 'z') ++p;
  if (*p == ',') {
    ++p;
    if (!literal(p, " ") || !number(p, 2, day)) return false;
    if (*p == ' ') {  // "06 Nov 1994 08:49:37 GMT"
      if (!literal(p, " ") || !month(p, mon) || !literal(p, " ") || !number(p, 4, year)) return false;
    } else {  // "06-Nov-94 08:49:37 GMT": two-digit years are 1970..2069
      if (!literal(p, "-") || !month(p, mon) || !literal(p, "-") || !number(p, 2, year)) return false;
      year += year < 70 ? 2000 : 1900;
    }
    if (!literal(p, " ") || !clock_time(p, hour, minute, second) || !literal(p, " GMT")) return false;
  } else {  // "Nov  6 08:49:37 1994"
    if (!literal(p, " ") || !month(p, mon) || !literal(p, " ") || !number(p, 2, day, true) ||
        !literal(p, " ") || !clock_time(p, hour, minute, second) || !literal(p, " ") || !number(p, 4, year)) {
      return false;
    }
  }
  while (*p == ' ' || *p == '\t') ++p;
  return *p == '\0' && utc_seconds(year, mon, day, hour, minute, second, seconds);
}

bool camera_time(const _tds__GetSystemDateAndTimeResponse& answer, int64_t& seconds) {
  const tt__SystemDateTime* system = answer.SystemDateAndTime;
  if (system == nullptr) return false;
  const tt__DateTime* time = system->UTCDateTime != nullptr ? system->UTCDateTime : system->LocalDateTime;
  if (time == nullptr || time->Date == nullptr || time->Time == nullptr) return false;
  return utc_seconds(time->Date->Year, time->Date->Month, time->Date->Day, time->Time->Hour, time->Time->Minute,
                     time->Time->Second, seconds);
}

}  // namespace vantel
