#include "app/backup_reminders.h"

#include <gtest/gtest.h>

#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

constexpr double kDay = 86400;

class BackupRemindersTest : public ::testing::Test {
 protected:
  Date daysAfterExport(double days) const { return dateFromSeconds(exportMoment + days * kDay); }

  // Exports at the reference moment, then counts `changes`.
  void exportThenChange(std::int64_t changes) {
    reminders.markProjectDataExported(dateFromSeconds(exportMoment));
    reminders.recordSignificantChanges(changes);
  }

  testing::TempDir dir;
  testing::RecordingLogger logger;
  Preferences preferences{dir.file("preferences.json")};
  std::vector<std::string> toasts;
  BackupReminders reminders{preferences, logger,
                            [this](const std::string& key) { toasts.push_back(key); }};
  const double exportMoment = 1'760'000'000;  // noon-ish, far from any DST change
};

TEST_F(BackupRemindersTest, ASoftReminderNeedsBothTheChangesAndTheDays) {
  exportThenChange(14);
  reminders.evaluate(daysAfterExport(7.1));
  EXPECT_FALSE(reminders.isSheetShown());
  reminders.recordSignificantChanges(1);
  reminders.evaluate(daysAfterExport(6.9));
  EXPECT_FALSE(reminders.isSheetShown()) << "15 changes, but only 6 days";
  reminders.evaluate(daysAfterExport(7.1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::soft);
  EXPECT_EQ(reminders.state().lastReminderAt, daysAfterExport(7.1));
}

TEST_F(BackupRemindersTest, AStrongReminderNeedsEitherManyChangesOrAMonth) {
  exportThenChange(50);
  reminders.evaluate(daysAfterExport(1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::strong);
  EXPECT_TRUE(reminders.state().strongReminderShown);

  exportThenChange(0);
  EXPECT_FALSE(reminders.state().strongReminderShown) << "an export starts afresh";
  reminders.evaluate(daysAfterExport(30.1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::strong);
}

TEST_F(BackupRemindersTest, ALargeEditSessionWinsWhenAsked) {
  reminders.setRemindBeforeLargeEdits(true);
  exportThenChange(60);  // a strong reminder would be due as well
  reminders.evaluate(daysAfterExport(1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::largeEdit);
}

TEST_F(BackupRemindersTest, NeverExportedRemindsAtOnceAndASnoozeHoldsAWeek) {
  const Date now = dateFromSeconds(exportMoment);
  reminders.evaluate(now);
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::soft);
  reminders.dismiss(BackupReminderLevel::soft, true, now);
  EXPECT_FALSE(reminders.isSheetShown());
  reminders.evaluate(dateFromSeconds(exportMoment + 6.9 * kDay));
  EXPECT_FALSE(reminders.isSheetShown());
  reminders.evaluate(dateFromSeconds(exportMoment + 7.1 * kDay));
  EXPECT_TRUE(reminders.isSheetShown());

  reminders.setRemindersEnabled(false);
  reminders.dismiss(BackupReminderLevel::strong, true, now);
  reminders.evaluate(dateFromSeconds(exportMoment + 30 * kDay));
  EXPECT_FALSE(reminders.isSheetShown());
}

TEST_F(BackupRemindersTest, TheStateSurvivesARestartAndBadStateGivesTheDefaults) {
  reminders.setFrequency(BackupReminderFrequency::frequent);
  exportThenChange(12);
  EXPECT_EQ(toasts, std::vector<std::string>{"backup.reminder.export_success"});
  EXPECT_EQ(logger.lines.front(),
            "app markProjectDataExported atMs=" +
                std::to_string(millisecondsSince1970(dateFromSeconds(exportMoment))));

  const BackupReminders restarted(preferences);
  EXPECT_EQ(restarted.state(), reminders.state());
  EXPECT_EQ(restarted.lastProjectDataExportAt(), dateFromSeconds(exportMoment));

  preferences.setJson(preference_key::kBackupReminderState, {{"frequency", "weekly"}});
  const BackupReminders damaged(preferences);
  EXPECT_EQ(damaged.state(), BackupReminderState{});
  EXPECT_TRUE(damaged.state().remindersEnabled);
  EXPECT_EQ(damaged.state().frequency, BackupReminderFrequency::balanced);
}

TEST_F(BackupRemindersTest, NothingIsCountedWhileCountingIsSuspendedOrBelowOne) {
  reminders.recordSignificantChanges(0);
  reminders.recordSignificantChanges(-3);
  reminders.setCountingSuspended(true);
  reminders.recordSignificantChanges(5);
  reminders.setCountingSuspended(false);
  reminders.recordSignificantChanges(std::numeric_limits<std::int64_t>::max());
  reminders.recordSignificantChanges(2);
  EXPECT_EQ(reminders.state().changesSinceLastExport, std::numeric_limits<std::int64_t>::max());
}

}  // namespace
}  // namespace quorvane
