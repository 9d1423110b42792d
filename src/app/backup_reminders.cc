#include "app/backup_reminders.h"

#include <cmath>
#include <ctime>
#include <limits>

namespace quorvane {
namespace {

struct Thresholds {
  std::int64_t changes;
  std::int64_t days;
};

Thresholds softThresholds(BackupReminderFrequency frequency) {
  switch (frequency) {
    case BackupReminderFrequency::minimal:
      return {30, 14};
    case BackupReminderFrequency::frequent:
      return {10, 5};
    case BackupReminderFrequency::balanced:
      break;
  }
  return {15, 7};
}

constexpr std::int64_t kStrongChanges = 49;  // more than this
constexpr std::int64_t kStrongDays = 30;
constexpr std::int64_t kLargeEditChanges = 20;

std::time_t secondsOf(Date date) {
  return static_cast<std::time_t>(std::floor(date.time_since_epoch().count()));
}

// Seconds east of UTC of the local time zone at that moment.
long utcOffset(Date date) {
  const std::time_t seconds = secondsOf(date);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  return local.tm_gmtoff;
}

nlohmann::json dateJson(const std::optional<Date>& date) {
  return date ? nlohmann::json(millisecondsSince1970(*date)) : nlohmann::json(nullptr);
}

std::optional<std::optional<Date>> dateFrom(const nlohmann::json& json, const char* key) {
  const auto it = json.find(key);
  if (it == json.end() || it->is_null()) return std::optional<Date>();
  if (!it->is_number_integer()) return std::nullopt;
  return std::optional<Date>(dateFromMilliseconds(it->get<std::int64_t>()));
}

std::int64_t saturatingAdd(std::int64_t a, std::int64_t b) {
  return a > std::numeric_limits<std::int64_t>::max() - b ? std::numeric_limits<std::int64_t>::max()
                                                          : a + b;
}

}  // namespace

std::int64_t calendarDaysBetween(Date from, Date to) {
  const double seconds = (to.time_since_epoch().count() + static_cast<double>(utcOffset(to))) -
                         (from.time_since_epoch().count() + static_cast<double>(utcOffset(from)));
  return static_cast<std::int64_t>(std::trunc(seconds / 86400.0));
}

Date addingCalendarDays(Date date, int days) {
  const std::time_t seconds = secondsOf(date);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  local.tm_mday += days;
  local.tm_isdst = -1;
  const std::time_t moved = std::mktime(&local);
  const double fraction = date.time_since_epoch().count() - static_cast<double>(seconds);
  return dateFromSeconds(static_cast<double>(moved) + fraction);
}

nlohmann::json backupReminderStateToJson(const BackupReminderState& state) {
  return {{"lastExportAt", dateJson(state.lastExportAt)},
          {"changesSinceLastExport", state.changesSinceLastExport},
          {"lastReminderAt", dateJson(state.lastReminderAt)},
          {"dismissedUntil", dateJson(state.dismissedUntil)},
          {"strongReminderShown", state.strongReminderShown},
          {"remindersEnabled", state.remindersEnabled},
          {"frequency", rawValue(state.frequency)},
          {"remindBeforeLargeEdits", state.remindBeforeLargeEdits},
          {"sessionSignificantChanges", state.sessionSignificantChanges}};
}

std::optional<BackupReminderState> backupReminderStateFromJson(const nlohmann::json& json) {
  if (!json.is_object()) return std::nullopt;
  BackupReminderState state;
  const auto lastExport = dateFrom(json, "lastExportAt");
  const auto lastReminder = dateFrom(json, "lastReminderAt");
  const auto dismissed = dateFrom(json, "dismissedUntil");
  if (!lastExport || !lastReminder || !dismissed) return std::nullopt;
  state.lastExportAt = *lastExport;
  state.lastReminderAt = *lastReminder;
  state.dismissedUntil = *dismissed;
  const auto integer = [&](const char* key, std::int64_t& into) {
    const auto it = json.find(key);
    if (it == json.end() || !it->is_number_integer()) return false;
    into = it->get<std::int64_t>();
    return true;
  };
  const auto boolean = [&](const char* key, bool& into) {
    const auto it = json.find(key);
    if (it == json.end() || !it->is_boolean()) return false;
    into = it->get<bool>();
    return true;
  };
  const auto frequency = json.find("frequency");
  if (frequency == json.end() || !frequency->is_string()) return std::nullopt;
  const auto decoded = fromRawValue<BackupReminderFrequency>(frequency->get<std::string>());
  if (!decoded) return std::nullopt;
  state.frequency = *decoded;
  if (!integer("changesSinceLastExport", state.changesSinceLastExport) ||
      !integer("sessionSignificantChanges", state.sessionSignificantChanges) ||
      !boolean("strongReminderShown", state.strongReminderShown) ||
      !boolean("remindersEnabled", state.remindersEnabled) ||
      !boolean("remindBeforeLargeEdits", state.remindBeforeLargeEdits)) {
    return std::nullopt;
  }
  return state;
}

BackupReminders::BackupReminders(Preferences& preferences, Logger& logger,
                                 SuccessToast successToast)
    : preferences_(preferences), logger_(logger), successToast_(std::move(successToast)) {
  if (const auto stored = preferences_.json(preference_key::kBackupReminderState)) {
    state_ = backupReminderStateFromJson(*stored).value_or(BackupReminderState{});
  }
  // A new launch: the changes of earlier sessions are no large edit of this
  // one (kept in the file only until the next save of the state).
  state_.sessionSignificantChanges = 0;
  const auto secondsAt = [&](std::string_view key) -> std::optional<Date> {
    const auto value = preferences_.json(key);
    if (!value || !value->is_number()) return std::nullopt;
    return storableDateFromSeconds(value->get<double>());
  };
  lastExportAt_ = secondsAt(preference_key::kLastExportAt);
  lastImportAt_ = secondsAt(preference_key::kLastImportAt);
}

bool BackupReminders::save() {
  return preferences_.setJson(preference_key::kBackupReminderState,
                              backupReminderStateToJson(state_));
}

void BackupReminders::recordSignificantChanges(std::int64_t count) {
  if (count < 1 || countingSuspended_) return;
  state_.changesSinceLastExport = saturatingAdd(state_.changesSinceLastExport, count);
  state_.sessionSignificantChanges = saturatingAdd(state_.sessionSignificantChanges, count);
  save();
}

void BackupReminders::evaluate(Date now) {
  if (!state_.remindersEnabled) return;
  if (state_.dismissedUntil && *state_.dismissedUntil >= now) return;
  const std::optional<Date> reference = state_.lastExportAt ? state_.lastExportAt : lastExportAt_;
  if (!reference) {
    show(BackupReminderLevel::soft, now);
    return;
  }
  const std::int64_t days = calendarDaysBetween(*reference, now);
  const std::int64_t changes = state_.changesSinceLastExport;
  if (state_.remindBeforeLargeEdits && state_.sessionSignificantChanges >= kLargeEditChanges) {
    show(BackupReminderLevel::largeEdit, now);
    return;
  }
  if (changes > kStrongChanges || days >= kStrongDays) {
    state_.strongReminderShown = true;
    show(BackupReminderLevel::strong, now);
    return;
  }
  const Thresholds minimums = softThresholds(state_.frequency);
  if (changes < minimums.changes || days < minimums.days) return;
  show(BackupReminderLevel::soft, now);
}

void BackupReminders::show(BackupReminderLevel level, Date now) {
  activeLevel_ = level;
  state_.lastReminderAt = now;
  sheetShown_ = true;
  save();
}

void BackupReminders::dismiss(BackupReminderLevel level, bool snooze, Date now) {
  state_.lastReminderAt = now;
  if (snooze) {
    state_.dismissedUntil = addingCalendarDays(now, level == BackupReminderLevel::strong ? 14 : 7);
  }
  activeLevel_.reset();
  sheetShown_ = false;
  save();
}

void BackupReminders::markProjectDataExported(Date at) {
  lastExportAt_ = at;
  preferences_.setJson(preference_key::kLastExportAt, at.time_since_epoch().count());
  state_.lastExportAt = at;
  state_.changesSinceLastExport = 0;
  state_.sessionSignificantChanges = 0;
  state_.strongReminderShown = false;
  state_.dismissedUntil.reset();
  // The export is what the reminder asked for: it goes.
  activeLevel_.reset();
  sheetShown_ = false;
  save();
  logger_.log("app markProjectDataExported atMs=" + std::to_string(millisecondsSince1970(at)));
  if (successToast_) successToast_("backup.reminder.export_success");
}

void BackupReminders::markProjectDataImported(Date at) {
  lastImportAt_ = at;
  preferences_.setJson(preference_key::kLastImportAt, at.time_since_epoch().count());
  logger_.log("app markProjectDataImported atMs=" + std::to_string(millisecondsSince1970(at)));
}

bool BackupReminders::setRemindersEnabled(bool enabled) {
  state_.remindersEnabled = enabled;
  return save();
}

bool BackupReminders::setFrequency(BackupReminderFrequency frequency) {
  state_.frequency = frequency;
  return save();
}

bool BackupReminders::setRemindBeforeLargeEdits(bool enabled) {
  state_.remindBeforeLargeEdits = enabled;
  return save();
}

}  // namespace quorvane
