#include "cli/store_session.h"

#include <ostream>

#include "cli/command.h"
#include "pdf/localization.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace quorvane {
namespace {

constexpr const char* kBackupCommand = "quorvane package export";

std::string_view reminderMessageKey(BackupReminderLevel level) {
  switch (level) {
    case BackupReminderLevel::soft:
      return "backup.reminder.soft.message";
    case BackupReminderLevel::strong:
      return "backup.reminder.strong.message";
    case BackupReminderLevel::largeEdit:
      return "backup.reminder.large_edit.message";
  }
  return "backup.reminder.soft.message";
}

}  // namespace

StoreSession::StoreSession(CliContext& context)
    : context_(context),
      diagnostics_(context.err),
      logger_(context.verbose ? static_cast<Logger&>(diagnostics_) : nullLogger()),
      storage_(AppContainer::bootStorage(BootEnvironment::standard(logger_))),
      preferences_(preferencesFilePath(), realFileSystem(), logger_) {
  for (const StorageNotice& notice : storage_.notices) {
    context.err << "quorvane: " << fillPlaceholders(context.text(notice.key), notice.arguments)
                << '\n';
  }
  renderer_ = std::make_unique<PdfRenderService>(*storage_.repository, *storage_.repository,
                                                 *storage_.media, optimizer_, logger_);
  std::optional<std::string> language;
  if (!context.languageOption.empty()) language = context.languageOption;
  store_ = std::make_unique<AppStore>(AppStoreServices{
      .snapshots = *storage_.repository,
      .sectionSaves = *storage_.repository,
      .labels = *storage_.repository,
      .media = *storage_.media,
      .images = optimizer_,
      .preferences = preferences_,
      .main = mainLoop_,
      .saveQueue = saveQueue_,
      .clock = systemClock(),
      .logger = logger_,
      .makeUuid = makeUuid,
      .regionCode = systemRegionCode,
      .drainSaveQueue = [this] { saveQueue_.drain(); },
      .renderer = renderer_.get(),
      .pdfRenderQueue = &pdfQueue_,
      .languageOverride = language,
  });
  const std::optional<std::string> project =
      context.projectOption.empty() ? std::nullopt : std::optional(context.projectOption);
  if (!store_->start(project)) {
    throw CliError(store_->state().lastErrorMessage.value_or("the library could not be opened"));
  }
}

StoreSession::~StoreSession() {
  store_->quit();
  saveQueue_.drain();
  mainLoop_.runUntilIdle();
  store_.reset();
}

void StoreSession::finish() {
  const std::optional<ToastMessage> before = store_->state().errorToast;
  store_->quit();
  mainLoop_.runUntilIdle();
  const std::optional<ToastMessage>& after = store_->state().errorToast;
  if (after && after != before && after->style == ToastStyle::error) {
    throw CliError(after->text);  // a write failed: the user must know
  }
  if (store_->changeCount() > 0) remindOfBackup();
}

void StoreSession::remindOfBackup() {
  BackupReminders& reminders = store_->backupReminders();
  const Date now = systemClock().now();
  reminders.evaluate(now);
  const std::optional<BackupReminderLevel> level = reminders.activeLevel();
  if (!level) return;
  context_.err << context_.format("cli.backup.reminder_line",
                                  {context_.text("backup.reminder.title"),
                                   context_.text(reminderMessageKey(*level))})
               << '\n'
               << "  " << context_.format("cli.backup.export_hint", {kBackupCommand}) << '\n';
  reminders.dismiss(*level, true, now);
}

}  // namespace quorvane
