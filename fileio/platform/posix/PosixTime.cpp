#include <algorithm>
#include <ctime>

#include "Errors.h"
#include "FileTimes.h"
#include "LocalTime.h"
#include "WinApi.h"

namespace {

using kx_posix::kSecondsFrom1601To1970;
using kx_posix::kStepsPerSecond;

constexpr int64_t kStepsPerMillisecond = kStepsPerSecond / 1000;
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kDaysPerEra = 146097;         // 400 years
constexpr int64_t kDaysFromEraTo1601 = 584694;  // from 1 March 0000

/// A calendar date, months 1 to 12.
struct Date {
  int64_t year;
  int64_t month;
  int64_t day;
};

/// Counted in years that begin in March, so that the day of the leap comes last.
Date DateOfDay(int64_t daysSince1601) {
  const int64_t days = daysSince1601 + kDaysFromEraTo1601;
  const int64_t era = days / kDaysPerEra;
  const int64_t dayOfEra = days % kDaysPerEra;
  const int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t marchMonth = (5 * dayOfYear + 2) / 153;
  const int64_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
  const int64_t day = dayOfYear - (153 * marchMonth + 2) / 5 + 1;
  return {era * 400 + yearOfEra + (month <= 2 ? 1 : 0), month, day};
}

int64_t DayOfDate(const Date& date) {
  const int64_t year = date.month <= 2 ? date.year - 1 : date.year;
  const int64_t yearOfEra = year % 400;
  const int64_t marchMonth = (date.month + 9) % 12;
  const int64_t dayOfYear = (153 * marchMonth + 2) / 5 + date.day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return year / 400 * kDaysPerEra + dayOfEra - kDaysFromEraTo1601;
}

bool IsValid(const SYSTEMTIME& time) {
  if (time.wYear < 1601 || time.wYear > 30827 || time.wMonth < 1 || time.wMonth > 12) return false;
  if (time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999) {
    return false;
  }
  const Date date = {time.wYear, time.wMonth, time.wDay};
  return time.wDay >= 1 && DateOfDay(DayOfDate(date)).month == time.wMonth;
}

/// How far the local time was ahead at a moment. Zones are known for the time from 1970 on only;
/// before it, as in 1970.
int64_t ZoneOffset(int64_t secondsSince1970) {
  const int64_t moment = std::clamp<int64_t>(secondsSince1970, 0, 0x7FFFFFFF);
  std::tm local = {};
  return kx_LocalTime(static_cast<uint32_t>(moment), &local) ? local.tm_gmtoff : 0;
}

}  // namespace

void GetSystemTimeAsFileTime(FILETIME* time) {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  *time = kx_posix::ToFileTime(now.tv_sec, now.tv_nsec);
}

void GetSystemTime(SYSTEMTIME* time) {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  FileTimeToSystemTime(&now, time);
}

BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local) {
  const auto steps = static_cast<int64_t>(kx_posix::ToSteps(*utc));
  const int64_t offset = ZoneOffset(steps / kStepsPerSecond - kSecondsFrom1601To1970);
  const uint64_t shifted =
      kx_posix::ToSteps(*utc) + static_cast<uint64_t>(offset * kStepsPerSecond);
  *local = kx_posix::ToFileTime(shifted);
  return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
  const auto steps = static_cast<int64_t>(kx_posix::ToSteps(*fileTime));
  if (steps < 0) return kx_posix::Fail(ERROR_INVALID_PARAMETER);
  const int64_t seconds = steps / kStepsPerSecond;
  const int64_t days = seconds / kSecondsPerDay;
  const int64_t secondOfDay = seconds % kSecondsPerDay;
  const Date date = DateOfDay(days);
  systemTime->wYear = static_cast<WORD>(date.year);
  systemTime->wMonth = static_cast<WORD>(date.month);
  systemTime->wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1 January 1601 was a Monday
  systemTime->wDay = static_cast<WORD>(date.day);
  systemTime->wHour = static_cast<WORD>(secondOfDay / 3600);
  systemTime->wMinute = static_cast<WORD>(secondOfDay / 60 % 60);
  systemTime->wSecond = static_cast<WORD>(secondOfDay % 60);
  systemTime->wMilliseconds = static_cast<WORD>(steps % kStepsPerSecond / kStepsPerMillisecond);
  return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
  if (!IsValid(*systemTime)) return kx_posix::Fail(ERROR_INVALID_PARAMETER);
  const int64_t days = DayOfDate({systemTime->wYear, systemTime->wMonth, systemTime->wDay});
  const int64_t seconds = days * kSecondsPerDay + systemTime->wHour * 3600 +
                          systemTime->wMinute * 60 + systemTime->wSecond;
  const int64_t steps =
      seconds * kStepsPerSecond + systemTime->wMilliseconds * kStepsPerMillisecond;
  *fileTime = kx_posix::ToFileTime(static_cast<uint64_t>(steps));
  return TRUE;
}
