// The backup state in words, as the sidebar's foot and the dashboard say
// it: when the last backup was made and how many changes it misses.
#pragma once

#include <QString>

#include "app/app_store.h"
#include "gui/words.h"

namespace quorvane::gui {

// "Last export: 3 days ago", or "No export yet".
QString lastBackupText(const Words& words, const BackupReminderState& state, Date now);
// "12 changes since last export"; empty when there are none.
QString changesSinceBackupText(const Words& words, const BackupReminderState& state);
// "Preparing imported images: 3 of 10", or why it is paused; empty when
// nothing is being finished.
QString finalizationText(const Words& words, const AppState& state);
// The message of the reminder due, or empty when none is.
QString reminderText(const Words& words, const AppState& state);
// Why the reminder due is shown, by the rule in force ("84 changes since
// the last export", "31 days since the last export", …), so that it never
// seems to contradict "Last export: today"; empty when none is due.
QString reminderReasonText(const Words& words, const AppState& state, Date now);

}  // namespace quorvane::gui
