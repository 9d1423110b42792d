// Reminders to export a backup. The library lives only on the artist's
// machine, so the program counts what changes and from time to time asks for
// a project package to be exported: a soft reminder when both the changes
// and the days since the last export pass the chosen frequency's minimums, a
// strong one past 49 changes or 30 days, and, when asked for, one before
// large edits (20 changes in a session). A reminder can be snoozed: 7 days,
// 14 after a strong one.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "model/backup_reminder_state.h"
#include "model/date.h"
#include "platform/clock.h"
#include "platform/logger.h"
#include "platform/preferences.h"

namespace quorvane {

// The state as kept in the preferences: its field names as keys, dates as
// whole milliseconds since 1970. Decoding anything else gives nothing.
nlohmann::json backupReminderStateToJson(const BackupReminderState& state);
std::optional<BackupReminderState> backupReminderStateFromJson(const nlohmann::json& json);

class BackupReminders {
 public:
  // Told when an export is recorded, with the localisation key to show.
  using SuccessToast = std::function<void(const std::string& key)>;

  // Reads the state from the preferences; none, or one that does not decode,
  // gives the defaults. Built once per launch: the session's changes start
  // at 0.
  BackupReminders(Preferences& preferences, Logger& logger = nullLogger(),
                  SuccessToast successToast = {});

  const BackupReminderState& state() const { return state_; }
  std::optional<BackupReminderLevel> activeLevel() const { return activeLevel_; }
  bool isSheetShown() const { return sheetShown_; }
  std::optional<Date> lastProjectDataExportAt() const { return lastExportAt_; }
  std::optional<Date> lastProjectDataImportAt() const { return lastImportAt_; }

  // Adds `count` (when at least 1) to the changes since the last export and
  // in this session; nothing is counted while counting is suspended.
  void recordSignificantChanges(std::int64_t count);
  void setCountingSuspended(bool suspended) { countingSuspended_ = suspended; }

  // Shows the reminder that is due at `now`, if any.
  void evaluate(Date now);
  // Closes the sheet; a snooze keeps reminders away for 7 days (14 after a
  // strong one).
  void dismiss(BackupReminderLevel level, bool snooze, Date now);

  void markProjectDataExported(Date at);
  void markProjectDataImported(Date at);

  // False when the preferences could not be written (the setting holds
  // for this run).
  bool setRemindersEnabled(bool enabled);
  bool setFrequency(BackupReminderFrequency frequency);
  bool setRemindBeforeLargeEdits(bool enabled);

 private:
  bool save();
  void show(BackupReminderLevel level, Date now);

  Preferences& preferences_;
  Logger& logger_;
  SuccessToast successToast_;
  BackupReminderState state_;
  std::optional<BackupReminderLevel> activeLevel_;
  bool sheetShown_ = false;
  bool countingSuspended_ = false;
  std::optional<Date> lastExportAt_;
  std::optional<Date> lastImportAt_;
};

// Whole calendar days from `from` to `to` in the local time zone.
std::int64_t calendarDaysBetween(Date from, Date to);
// `date` moved by `days` calendar days in the local time zone.
Date addingCalendarDays(Date date, int days);

}  // namespace quorvane
