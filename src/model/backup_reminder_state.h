// The state of the backup reminders: a record of the library's, kept in
// the preferences and carried in project packages.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "model/date.h"
#include "model/raw_value.h"

namespace quorvane {

enum class BackupReminderLevel { soft, strong, largeEdit };
enum class BackupReminderFrequency { minimal, balanced, frequent };

template <>
struct RawValueTable<BackupReminderLevel> {
  static constexpr std::array<RawCase<BackupReminderLevel>, 3> cases{{
      {BackupReminderLevel::soft, "soft"},
      {BackupReminderLevel::strong, "strong"},
      {BackupReminderLevel::largeEdit, "largeEdit"},
  }};
};

template <>
struct RawValueTable<BackupReminderFrequency> {
  static constexpr std::array<RawCase<BackupReminderFrequency>, 3> cases{{
      {BackupReminderFrequency::minimal, "minimal"},
      {BackupReminderFrequency::balanced, "balanced"},
      {BackupReminderFrequency::frequent, "frequent"},
  }};
};

struct BackupReminderState {
  std::optional<Date> lastExportAt;
  std::int64_t changesSinceLastExport = 0;
  std::optional<Date> lastReminderAt;
  std::optional<Date> dismissedUntil;
  bool strongReminderShown = false;
  bool remindersEnabled = true;
  BackupReminderFrequency frequency = BackupReminderFrequency::balanced;
  bool remindBeforeLargeEdits = false;
  std::int64_t sessionSignificantChanges = 0;

  bool operator==(const BackupReminderState&) const = default;
};

}  // namespace quorvane
