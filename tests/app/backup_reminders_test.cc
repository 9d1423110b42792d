#include "app/backup_reminders.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

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
  // Exporting answers it: the reminder goes at once.
  reminders.markProjectDataExported(dateFromSeconds(exportMoment + 7.2 * kDay));
  EXPECT_FALSE(reminders.isSheetShown());
  EXPECT_EQ(reminders.activeLevel(), std::nullopt);

  reminders.setRemindersEnabled(false);
  reminders.dismiss(BackupReminderLevel::strong, true, now);
  reminders.evaluate(dateFromSeconds(exportMoment + 30 * kDay));
  EXPECT_FALSE(reminders.isSheetShown());
}

TEST_F(BackupRemindersTest, TheStateSurvivesARestartAndBadStateGivesTheDefaults) {
  reminders.setFrequency(BackupReminderFrequency::frequent);
  exportThenChange(12);
  EXPECT_EQ(toasts, std::vector<std::string>{"backup.reminder.export_success"});

  const BackupReminders restarted(preferences);
  BackupReminderState expected = reminders.state();
  expected.sessionSignificantChanges = 0;  // a new launch, a new session
  EXPECT_EQ(restarted.state(), expected);
  EXPECT_EQ(restarted.lastProjectDataExportAt(), dateFromSeconds(exportMoment));

  preferences.setJson(preference_key::kBackupReminderState, {{"frequency", "weekly"}});
  const BackupReminders damaged(preferences);
  EXPECT_EQ(damaged.state(), BackupReminderState{});
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

TEST_F(BackupRemindersTest, ADateThatIsNoStorableNumberIsIgnored) {
  // Kept as seconds in a file anyone can edit: 1e300 would end the program
  // the first time the date is written as milliseconds.
  for (const double seconds : {1e300, -1e300, 5e15}) {
    preferences.setJson(preference_key::kLastExportAt, seconds);
    EXPECT_EQ(BackupReminders(preferences).lastProjectDataExportAt(), std::nullopt) << seconds;
  }
  preferences.setJson(preference_key::kLastExportAt, 1'760'000'000.5);
  EXPECT_EQ(BackupReminders(preferences).lastProjectDataExportAt(),
            dateFromSeconds(1'760'000'000.5));
}

// Each frequency's minimums, each at its edge: one change short, or a few
// hours short of the days, shows nothing.
TEST_F(BackupRemindersTest, EveryFrequencyHasItsOwnMinimumsMetExactlyAtTheirEdge) {
  struct Case {
    BackupReminderFrequency frequency;
    std::int64_t changes;
    double days;
  };
  for (const Case c : {Case{BackupReminderFrequency::minimal, 30, 14},
                       Case{BackupReminderFrequency::balanced, 15, 7},
                       Case{BackupReminderFrequency::frequent, 10, 5}}) {
    SCOPED_TRACE(std::string(rawValue(c.frequency)));
    reminders.setFrequency(c.frequency);
    exportThenChange(c.changes - 1);
    reminders.evaluate(daysAfterExport(c.days + 0.1));
    EXPECT_FALSE(reminders.isSheetShown()) << "one change short";
    reminders.recordSignificantChanges(1);
    reminders.evaluate(daysAfterExport(c.days - 0.1));
    EXPECT_FALSE(reminders.isSheetShown()) << "days are whole days, never rounded up";
    reminders.evaluate(daysAfterExport(c.days + 0.1));
    EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::soft);
    EXPECT_EQ(reminders.state().lastReminderAt, daysAfterExport(c.days + 0.1));
    reminders.dismiss(BackupReminderLevel::soft, false, daysAfterExport(c.days + 0.1));
  }
}

TEST_F(BackupRemindersTest, StrongStartsAtFiftyChangesOrAMonthAndLargeEditAtTwenty) {
  exportThenChange(49);
  reminders.evaluate(daysAfterExport(1));
  EXPECT_FALSE(reminders.isSheetShown()) << "49 changes the day after: not yet strong (nor soft)";
  reminders.recordSignificantChanges(1);
  reminders.evaluate(daysAfterExport(1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::strong);
  EXPECT_TRUE(reminders.state().strongReminderShown);
  reminders.dismiss(BackupReminderLevel::strong, false, daysAfterExport(1));

  // A month without a backup is strong too, however few the changes.
  exportThenChange(0);
  EXPECT_FALSE(reminders.state().strongReminderShown) << "an export starts afresh";
  reminders.evaluate(daysAfterExport(30.1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::strong);
  reminders.dismiss(BackupReminderLevel::strong, false, daysAfterExport(30.1));

  // Large edits alone, the export being yesterday: nothing else is due.
  reminders.setRemindBeforeLargeEdits(true);
  exportThenChange(19);
  reminders.evaluate(daysAfterExport(1));
  EXPECT_FALSE(reminders.isSheetShown()) << "19 changes in the session";
  reminders.recordSignificantChanges(1);
  reminders.evaluate(daysAfterExport(1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::largeEdit);
  EXPECT_FALSE(reminders.state().strongReminderShown);
}

TEST_F(BackupRemindersTest, AStrongSnoozeHoldsTwoWeeksUpToAndIncludingItsLastMoment) {
  exportThenChange(60);
  const Date shown = daysAfterExport(1);
  reminders.evaluate(shown);
  reminders.dismiss(BackupReminderLevel::strong, true, shown);
  const Date until = *reminders.state().dismissedUntil;
  EXPECT_EQ(until, daysAfterExport(15));
  reminders.evaluate(daysAfterExport(14.9));
  EXPECT_FALSE(reminders.isSheetShown());
  reminders.evaluate(until);
  EXPECT_FALSE(reminders.isSheetShown()) << "a snooze ending now is not over yet";
  reminders.evaluate(dateFromMilliseconds(millisecondsSince1970(until) + 1));
  EXPECT_EQ(reminders.activeLevel(), BackupReminderLevel::strong);
}

// Sets a time zone for one test: a rule, not a name, so that no time-zone
// data need be installed.
class LocalTimeZone {
 public:
  explicit LocalTimeZone(const char* rule) {
    if (const char* old = std::getenv("TZ")) previous_ = old;
    ::setenv("TZ", rule, 1);
    ::tzset();
  }
  ~LocalTimeZone() {
    if (previous_) {
      ::setenv("TZ", previous_->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }

 private:
  std::optional<std::string> previous_;
};

TEST(CalendarDaysTest, DaysAreCalendarDaysNotPeriodsOf24Hours) {
  const LocalTimeZone paris("CET-1CEST,M3.5.0,M10.5.0/3");
  // Noon on Saturday 29 March 2025 (UTC+1) to noon a week later (UTC+2):
  // seven days on the calendar, only 167 hours.
  const Date exported = dateFromSeconds(1'743'246'000);
  const Date weekLater = dateFromSeconds(1'743'246'000 + 7 * kDay - 3600);
  EXPECT_EQ(calendarDaysBetween(exported, weekLater), 7);
  EXPECT_EQ(addingCalendarDays(exported, 7), weekLater);
  // An hour across midnight is no whole day.
  EXPECT_EQ(calendarDaysBetween(dateFromSeconds(1'743'200'000), dateFromSeconds(1'743'203'600)), 0);
}

}  // namespace
}  // namespace quorvane
