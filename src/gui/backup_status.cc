#include "gui/backup_status.h"

namespace quorvane::gui {
namespace {

std::int64_t daysSinceLastExport(const BackupReminderState& state, Date now) {
  constexpr std::int64_t kDayMs = 24LL * 60 * 60 * 1000;
  const std::int64_t elapsed =
      millisecondsSince1970(now) - millisecondsSince1970(state.lastExportAt.value_or(now));
  return std::max<std::int64_t>(0, elapsed / kDayMs);
}

}  // namespace

QString lastBackupText(const Words& words, const BackupReminderState& state, Date now) {
  if (!state.lastExportAt) return words("backup.settings.last_export_none");
  const std::int64_t days = daysSinceLastExport(state, now);
  if (days == 0) return words("desktop.backup.today");
  return words.count("backup.settings.last_export_days_ago", days);
}

QString changesSinceBackupText(const Words& words, const BackupReminderState& state) {
  if (state.changesSinceLastExport <= 0) return {};
  return words.count("backup.settings.unexported_changes", state.changesSinceLastExport);
}

QString finalizationText(const Words& words, const AppState& state) {
  const auto& status = state.importFinalizationStatus;
  if (!status || status->total == 0 || status->done >= status->total) return {};
  const QString progress = words.format(
      "desktop.import.finalizing", {std::to_string(status->done), std::to_string(status->total)});
  if (!status->isPaused) return progress;
  return progress + QStringLiteral("\n") +
         words.format("desktop.import.paused", {status->message.value_or("")});
}

QString reminderText(const Words& words, const AppState& state) {
  if (!state.showBackupReminderSheet || !state.activeBackupReminderLevel) return {};
  switch (*state.activeBackupReminderLevel) {
    case BackupReminderLevel::soft:
      return words("backup.reminder.soft.message");
    case BackupReminderLevel::strong:
      return words("backup.reminder.strong.message") + QStringLiteral("\n") +
             words("backup.reminder.strong.subtext");
    case BackupReminderLevel::largeEdit:
      return words("backup.reminder.large_edit.message");
  }
  return {};
}

QString reminderReasonText(const Words& words, const AppState& state, Date now) {
  if (!state.showBackupReminderSheet || !state.activeBackupReminderLevel) return {};
  const BackupReminderState& reminders = state.backupReminderState;
  const auto changes = [&] {
    return words.count("desktop.backup.reason.changes", reminders.changesSinceLastExport);
  };
  const auto days = [&] {
    return words.count("desktop.backup.reason.days", daysSinceLastExport(reminders, now));
  };
  if (*state.activeBackupReminderLevel == BackupReminderLevel::largeEdit) {
    return words.count("desktop.backup.reason.session", reminders.sessionSignificantChanges);
  }
  // Never exported: the line above the reminder says so already.
  if (!reminders.lastExportAt) return {};
  // A strong reminder needs either many changes or many days; a soft one
  // both of its thresholds.
  if (*state.activeBackupReminderLevel == BackupReminderLevel::strong) {
    return reminders.changesSinceLastExport > 49 ? changes() : days();
  }
  return changes() + QStringLiteral(" · ") + days();
}

}  // namespace quorvane::gui
