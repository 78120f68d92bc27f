#include "platform/Clock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "platform/Text.h"

namespace platform {
namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
/// Some 30 million years on both sides of 1970: what the calendar arithmetic below is asked to handle.
constexpr double kFarthestSeconds = 1e15;
constexpr std::size_t kMaxYearDigits = 8;

struct CivilTime {
  std::int64_t year = 1970;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

const Clock& systemClock() {
  static const Clock instance;
  return instance;
}

std::atomic<const Clock*>& replacementClock() {
  static std::atomic<const Clock*> replacement{nullptr};
  return replacement;
}

/// Division that rounds down, also for times before 1970.
std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

/// Days from 1970-01-01 in the proleptic Gregorian calendar. Years are counted from March, so that the leap
/// day is a year's last.
std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
  const std::int64_t marchYear = month <= 2 ? year - 1 : year;
  const std::int64_t era = floorDivide(marchYear, 400);
  const std::int64_t yearOfEra = marchYear - era * 400;
  const std::int64_t dayOfYear = (153 * ((month + 9) % 12) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146'097 + dayOfEra - 719'468;
}

void setDate(std::int64_t daysSince1970, CivilTime& civil) {
  const std::int64_t days = daysSince1970 + 719'468;
  const std::int64_t era = floorDivide(days, 146'097);
  const std::int64_t dayOfEra = days - era * 146'097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t marchMonth = (5 * dayOfYear + 2) / 153;
  civil.day = static_cast<int>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
  civil.month = static_cast<int>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
  civil.year = yearOfEra + era * 400 + (civil.month <= 2 ? 1 : 0);
}

CivilTime civilTime(Date date) {
  const double exact = std::floor(date.time_since_epoch().count());
  const double bounded = std::isnan(exact) ? 0 : std::clamp(exact, -kFarthestSeconds, kFarthestSeconds);
  const auto seconds = static_cast<std::int64_t>(bounded);
  const std::int64_t days = floorDivide(seconds, kSecondsPerDay);
  const auto secondOfDay = static_cast<int>(seconds - days * kSecondsPerDay);

  CivilTime civil;
  setDate(days, civil);
  civil.hour = secondOfDay / 3'600;
  civil.minute = secondOfDay / 60 % 60;
  civil.second = secondOfDay % 60;
  return civil;
}

std::string format(Date date, char separator, const char* zone) {
  const CivilTime civil = civilTime(date);
  std::array<char, 64> text{};
  snprintf(text.data(), text.size(), "%s%04lld-%02d-%02d%c%02d:%02d:%02d%s", civil.year < 0 ? "-" : "",
           static_cast<long long>(std::abs(civil.year)), civil.month, civil.day, separator, civil.hour,
           civil.minute, civil.second, zone);
  return text.data();
}

int daysInMonth(std::int64_t year, int month) {
  constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays.at(static_cast<std::size_t>(month - 1));
}

bool isPossible(const CivilTime& civil) {
  return civil.month >= 1 && civil.month <= 12 && civil.day >= 1 &&
         civil.day <= daysInMonth(civil.year, civil.month) && civil.hour <= 23 && civil.minute <= 59 &&
         civil.second <= 59;
}

/// Takes the year off the front: an optional minus and at least four digits, more only where they are needed.
bool takeYear(std::string_view& text, std::int64_t& year) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  const auto digits =
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isDigit) - text.begin());
  if (digits < 4 || digits > kMaxYearDigits || (digits > 4 && text.front() == '0')) return false;
  std::from_chars(text.data(), text.data() + digits, year);
  text.remove_prefix(digits);
  if (negative && year == 0) return false;
  if (negative) year = -year;
  return true;
}

/// Takes `separator` and two digits off the front.
bool takeField(std::string_view& text, char separator, int& number) {
  if (text.size() < 3 || text[0] != separator || !isDigit(text[1]) || !isDigit(text[2])) return false;
  number = (text[1] - '0') * 10 + (text[2] - '0');
  text.remove_prefix(3);
  return true;
}

}  // namespace

Date Clock::now() const {
  return std::chrono::system_clock::now();
}

std::chrono::milliseconds Clock::monotonic() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

const Clock& clock() {
  const Clock* replacement = replacementClock().load(std::memory_order_acquire);
  return replacement != nullptr ? *replacement : systemClock();
}

void setClock(const Clock* replacement) {
  replacementClock().store(replacement, std::memory_order_release);
}

Date distantFuture() {
  return Date(Seconds(static_cast<double>(daysFromCivil(4001, 1, 1) * kSecondsPerDay)));
}

std::string describe(Date date) {
  return format(date, ' ', " +0000");
}

std::string formatIso8601(Date date) {
  return format(date, 'T', "Z");
}

bool parseIso8601(const std::string& text, Date& date) {
  std::string_view rest = text;
  CivilTime civil;
  if (!takeYear(rest, civil.year) || !takeField(rest, '-', civil.month) || !takeField(rest, '-', civil.day) ||
      !takeField(rest, 'T', civil.hour) || !takeField(rest, ':', civil.minute) ||
      !takeField(rest, ':', civil.second) || rest != "Z" || !isPossible(civil)) {
    return false;
  }
  const std::int64_t days = daysFromCivil(civil.year, civil.month, civil.day);
  const std::int64_t seconds = days * kSecondsPerDay + civil.hour * 3'600 + civil.minute * 60 + civil.second;
  date = Date(Seconds(static_cast<double>(seconds)));
  return true;
}

}  // namespace platform
