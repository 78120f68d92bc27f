#pragma once

#include <cstdint>

#include "Code/Common/UpdateInfo.h"
#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/Clock.h"

/// When the next check is due, and whether updates are enabled at all. Every change is saved in the
/// preferences.
class UpdateSchedule {
 public:
  enum Mode : std::int32_t { eAfterCheck = 0, ePostpone = 1 };

  UpdateSchedule(AgentPreferences& preferences, const EngineSettings& settings)
      : _preferences(preferences),
        _alwaysCheck(settings.alwaysCheck),
        _nextUpdateCheck(settings.nextUpdateCheck),
        _rescheduledUpdateChecks(settings.rescheduledUpdateChecks) {}

  /// Whether this run performs a check. May postpone the check, once.
  [[nodiscard]] bool isTimeForUpdateCheck();
  /// Sets and saves the next check: one delay from now, or never when updates are disabled.
  void calculateNextUpdateCheck(std::int32_t mode);
  /// How many times the due check has been postponed. (The name keeps its spelling.)
  void setAndSaveResecheduledUpdates(std::int32_t count);
  /// Takes over whether updates are enabled, and the delays unless they are none.
  void adoptSettings(const UpdateSettings& settings);

  [[nodiscard]] bool isEnabled() const { return _isEnabled; }
  // What no run calls.

  [[nodiscard]] platform::Date nextUpdateCheck() const { return _nextUpdateCheck; }
  void setNextUpdateCheck(platform::Date date) { _nextUpdateCheck = date; }
  [[nodiscard]] std::int32_t rescheduledUpdateChecks() const { return _rescheduledUpdateChecks; }
  void setRescheduledUpdateChecks(std::int32_t count) { _rescheduledUpdateChecks = count; }

 private:
  [[nodiscard]] platform::Date dateAfterDelay(std::int32_t mode);

  AgentPreferences& _preferences;
  bool _isEnabled = true;
  bool _alwaysCheck;
  std::int32_t _minDaysBetweenChecks = 1;
  std::int32_t _maxDaysBetweenChecks = 2;
  std::int32_t _rescheduleMinHours = 0;
  std::int32_t _rescheduleMaxHours = 6;
  platform::Date _nextUpdateCheck;
  std::int32_t _rescheduledUpdateChecks;
};

/// Whether settings of an update info document can be adopted as delays: 0 <= minimum < maximum.
[[nodiscard]] bool hasUsableDelays(const UpdateSettings& settings);

/// Whether the date lies 90 days or more in the past.
[[nodiscard]] bool isOlderThan90Days(platform::Date date);
