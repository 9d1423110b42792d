// The store's side of the backup reminders (app/backup_reminders.h): their
// settings, their showing, and the backups that answer them.
#include "app/app_store.h"

namespace quorvane {

void AppStore::publishBackupReminderState() {
  state_.backupReminderState = reminders_.state();
  state_.activeBackupReminderLevel = reminders_.activeLevel();
  state_.showBackupReminderSheet = reminders_.isSheetShown();
  state_.lastProjectDataExportAt = reminders_.lastProjectDataExportAt();
  state_.lastProjectDataImportAt = reminders_.lastProjectDataImportAt();
  publish();
}

void AppStore::evaluateBackupReminder() {
  reminders_.evaluate(services_.clock.now());
  publishBackupReminderState();
}

void AppStore::dismissBackupReminder(BackupReminderLevel level, bool snooze) {
  reminders_.dismiss(level, snooze, services_.clock.now());
  publishBackupReminderState();
}

bool AppStore::setBackupRemindersEnabled(bool enabled) {
  const bool written = reminders_.setRemindersEnabled(enabled);
  publishBackupReminderState();
  return written || failSettingsWrite();
}

bool AppStore::setBackupReminderFrequency(BackupReminderFrequency frequency) {
  const bool written = reminders_.setFrequency(frequency);
  publishBackupReminderState();
  return written || failSettingsWrite();
}

bool AppStore::setRemindBeforeLargeEdits(bool enabled) {
  const bool written = reminders_.setRemindBeforeLargeEdits(enabled);
  publishBackupReminderState();
  return written || failSettingsWrite();
}

void AppStore::markProjectDataExported(Date at) {
  reminders_.markProjectDataExported(at);
  publishBackupReminderState();
}

void AppStore::markProjectDataImported(Date at) {
  reminders_.markProjectDataImported(at);
  publishBackupReminderState();
}

}  // namespace quorvane
