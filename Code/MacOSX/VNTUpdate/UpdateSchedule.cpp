#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"

#include "Code/Common/DelayArithmetic.h"
#include "platform/Random.h"
#include "runtime/Code/ZRLog.h"

namespace {

double secondsSince(platform::Date date) {
  return (platform::now() - date).count();
}

void logNextCheck(platform::Date date) {
  zrrt::log(ZRLogLevel::eDebug, "Next Update Check at %s", platform::describe(date).c_str());
}

}  // namespace

bool UpdateSchedule::isTimeForUpdateCheck() {
  const double elapsed = secondsSince(_nextUpdateCheck);
  if (_alwaysCheck) return true;
  if (elapsed < 0) {
    logNextCheck(_nextUpdateCheck);
    return false;
  }
  if (elapsed >= kOverdueSeconds && _rescheduledUpdateChecks <= 0) {
    calculateNextUpdateCheck(ePostpone);
    return false;
  }
  setAndSaveResecheduledUpdates(0);
  return true;
}

void UpdateSchedule::calculateNextUpdateCheck(std::int32_t mode) {
  _nextUpdateCheck = _isEnabled ? dateAfterDelay(mode) : platform::distantFuture();
  logNextCheck(_nextUpdateCheck);
  _preferences.setValue(preference::kNextUpdateCheck, _nextUpdateCheck);
  // A date that is not kept only means that the next run decides again.
  static_cast<void>(_preferences.save());
}

platform::Date UpdateSchedule::dateAfterDelay(std::int32_t mode) {
  const std::uint32_t random = platform::random32();
  const platform::Date now = platform::now();
  if (mode != ePostpone) {
    return now + platform::Seconds(
                     delaySeconds(_minDaysBetweenChecks, _maxDaysBetweenChecks, kSecondsPerDay, random));
  }
  ++_rescheduledUpdateChecks;
  _preferences.setValue(preference::kRescheduledUpdateChecks, _rescheduledUpdateChecks);
  return now +
         platform::Seconds(delaySeconds(_rescheduleMinHours, _rescheduleMaxHours, kSecondsPerHour, random));
}

void UpdateSchedule::setAndSaveResecheduledUpdates(std::int32_t count) {
  _rescheduledUpdateChecks = count;
  _preferences.setValue(preference::kRescheduledUpdateChecks, count);
  static_cast<void>(_preferences.save());
}

void UpdateSchedule::adoptSettings(const UpdateSettings& settings) {
  _isEnabled = settings.enabled;
  if (!hasUsableDelays(settings)) return;
  _minDaysBetweenChecks = settings.minDelayInDays;
  _maxDaysBetweenChecks = settings.maxDelayInDays;
}

bool hasUsableDelays(const UpdateSettings& settings) {
  return settings.maxDelayInDays > 0 && settings.minDelayInDays >= 0 &&
         settings.minDelayInDays < settings.maxDelayInDays;
}

bool isOlderThan90Days(platform::Date date) {
  const double elapsed = secondsSince(date);
  if (elapsed < kUnusedSeconds) return false;
  zrrt::log(ZRLogLevel::eDebug, "Date is %f days in the past!", elapsed / kSecondsPerDay);
  return true;
}
