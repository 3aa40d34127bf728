// The time value of File.h.
#include <ctime>

#include "File.h"
#include "FileChecks.h"
#include "LocalTime.h"
#include "WinApi.h"
#include "kx_assert.h"

namespace kx_gen {
namespace {

constexpr int kFirstYear = 1900;
constexpr int64_t kNoTime = 0xFFFFFFFF;  // what a time that cannot be converted becomes

// Callers may pass anything; a difference of two such numbers wraps.
int wrappedDifference(int a, int b) {
  return static_cast<int>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b));
}

// Whether any month of the year has daylight saving time here.
bool yearHasDaylightSaving(int yearsSince1900) {
  for (int month = 0; month < 12; ++month) {
    std::tm middle = {};
    middle.tm_year = yearsSince1900;
    middle.tm_mon = month;
    middle.tm_mday = 15;
    middle.tm_isdst = -1;
    if (std::mktime(&middle) != -1 && middle.tm_isdst > 0) return true;
  }
  return false;
}

// C runtimes differ in times before 1970, and in daylight saving asked for where there is none:
// here the former are refused and the latter is standard time.
uint32_t localToSeconds(std::tm local) {
  if (local.tm_isdst > 0 && !yearHasDaylightSaving(local.tm_year)) local.tm_isdst = 0;
  const auto seconds = static_cast<int64_t>(std::mktime(&local));
  return static_cast<uint32_t>(seconds < 0 || seconds > kNoTime ? kNoTime : seconds);
}

// A field of the local time, or 0 where there is none.
int localField(const CTime& time, int std::tm::*field, int base) {
  std::tm local = {};
  return time.GetLocalTm(&local) != nullptr ? local.*field + base : 0;
}

}  // namespace

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int dst) {
  setBrokenDown(year, month, day, hour, minute, second, dst);
}

CTime::CTime(const SYSTEMTIME& local, int dst) {
  setBrokenDown(local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond,
                dst);
}

CTime::CTime(const FILETIME& utc, int dst) {
  FILETIME local = {};
  SYSTEMTIME system = {};
  if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &system)) return;
  *this = CTime(system, dst);
}

void CTime::setBrokenDown(int year, int month, int day, int hour, int minute, int second, int dst) {
  kx_Check(day >= 1 && day <= 31, kFileSource, kLineTimeDay);
  kx_Check(month >= 1 && month <= 12, kFileSource, kLineTimeMonth);
  kx_Check(year >= kFirstYear, kFileSource, kLineTimeYear);
  std::tm local = {};
  local.tm_year = wrappedDifference(year, kFirstYear);
  local.tm_mon = wrappedDifference(month, 1);
  local.tm_mday = day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = dst;
  seconds_ = localToSeconds(local);
  kx_Check(seconds_ != kNoTime, kFileSource, kLineTimeResult);
}

CTime CTime::GetCurrentTime() { return {static_cast<unsigned long>(std::time(nullptr))}; }

std::tm* CTime::GetGmtTm(std::tm* out) const {
  return out != nullptr && kx_GmtTime(seconds_, out) ? out : nullptr;
}

std::tm* CTime::GetLocalTm(std::tm* out) const {
  return out != nullptr && kx_LocalTime(seconds_, out) ? out : nullptr;
}

bool CTime::GetAsSystemTime(SYSTEMTIME& local) const {
  std::tm fields = {};
  if (GetLocalTm(&fields) == nullptr) return false;
  local.wYear = static_cast<WORD>(fields.tm_year + kFirstYear);
  local.wMonth = static_cast<WORD>(fields.tm_mon + 1);
  local.wDayOfWeek = static_cast<WORD>(fields.tm_wday);
  local.wDay = static_cast<WORD>(fields.tm_mday);
  local.wHour = static_cast<WORD>(fields.tm_hour);
  local.wMinute = static_cast<WORD>(fields.tm_min);
  local.wSecond = static_cast<WORD>(fields.tm_sec);
  local.wMilliseconds = 0;
  return true;
}

int CTime::GetYear() const { return localField(*this, &std::tm::tm_year, kFirstYear); }

int CTime::GetMonth() const { return localField(*this, &std::tm::tm_mon, 1); }

int CTime::GetDay() const { return localField(*this, &std::tm::tm_mday, 0); }

int CTime::GetHour() const { return localField(*this, &std::tm::tm_hour, 0); }

int CTime::GetMinute() const { return localField(*this, &std::tm::tm_min, 0); }

int CTime::GetSecond() const { return localField(*this, &std::tm::tm_sec, 0); }

}  // namespace kx_gen
