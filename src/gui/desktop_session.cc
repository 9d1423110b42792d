#include "gui/desktop_session.h"

#include <unistd.h>

#include "pdf/localization.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace quorvane::gui {
namespace {

std::string dataDirectory() { return applicationSupportDirectory() + "/Quorvane"; }

// The words of a start that can't be, in the interface language.
std::string startText(std::string_view key, std::initializer_list<std::string> arguments) {
  const Preferences preferences(preferencesFilePath(), realFileSystem(), nullLogger(),
                                systemClock(), Preferences::Access::read);
  return uiFormat(key, interfaceLanguage(preferences), arguments);
}

std::unique_ptr<LibraryLock> lockLibrary(const LockWait& wait) {
  const std::string directory = dataDirectory();
  const std::string path = directory + "/quorvane.lock";
  realFileSystem().createDirectories(directory);
  try {
    // Another window keeps the library as long as it is open: no use
    // waiting for it (and the user waits for an answer).
    if (const std::optional<LockHolder> holder = LibraryLock::currentHolder(path);
        holder && holder->program == kDesktopProgram) {
      throw LibraryBusyError(*holder);
    }
    // A command of the command line keeps the lock for moments: wait for it.
    return LibraryLock::acquire(
        path, LockHolder{::getpid(), std::string(kDesktopProgram), "window"}, wait);
  } catch (const LibraryBusyError& error) {
    const std::string pid = std::to_string(error.holder().pid);
    throw DesktopStartError(error.holder().program == kDesktopProgram
                                ? startText("desktop.start.already_open", {pid})
                                : startText("desktop.start.busy", {pid, error.holder().command}));
  }
}

}  // namespace

DesktopSession::DesktopSession(QObject& mainContext, Logger& logger, const LockWait& wait)
    : logger_(logger), lock_(lockLibrary(wait)), main_(mainContext) {
  try {
    storage_ = AppContainer::bootStorage(BootEnvironment::standard(logger_, StorageAccess::write));
  } catch (const LibraryUnavailableError& error) {
    throw DesktopStartError(
        error.reason() == LibraryUnavailableError::Reason::newerVersion
            ? startText("cli.error.library_newer", {error.path()})
            : startText("cli.error.library_read_only_unusable", {error.path(), error.what()}));
  }
  preferences_ = std::make_unique<Preferences>(preferencesFilePath(), realFileSystem(), logger_,
                                               systemClock(), Preferences::Access::write);
  const std::string language = interfaceLanguage(*preferences_);
  for (const StorageNotice& notice : storage_.notices) {
    std::string text = fillPlaceholders(uiText(notice.key, language), notice.arguments);
    // The temporary library says why, so the user can put it right.
    if (notice.key == kFallbackTemporaryNotice && storage_.problem) {
      text += "\n\n" + fillPlaceholders(uiText(storage_.problem->key, language),
                                         storage_.problem->arguments);
    }
    notices_.push_back(std::move(text));
  }
  renderer_ = std::make_unique<PdfRenderService>(*storage_.repository, *storage_.repository,
                                                 *storage_.media, optimizer_, logger_);
  webCV_ = std::make_unique<SQLiteWebCVRepository>(*storage_.repository);
  store_ = std::make_unique<AppStore>(AppStoreServices{
      .snapshots = *storage_.repository,
      .sectionSaves = *storage_.repository,
      .labels = *storage_.repository,
      .media = *storage_.media,
      .images = optimizer_,
      .preferences = *preferences_,
      .main = main_,
      .saveQueue = saveQueue_,
      .clock = systemClock(),
      .logger = logger_,
      .makeUuid = makeUuid,
      .regionCode = systemRegionCode,
      .drainSaveQueue = [this] { saveQueue_.drain(); },
      .renderer = renderer_.get(),
      .pdfRenderQueue = &pdfQueue_,
      .transfer = &transfer_,
      .imports = storage_.repository.get(),
      .imageQueue = &imageQueue_,
      .thumbnailQueue = &thumbnailQueue_,
      .pictureQueue = &pictureQueue_,
      .webCV = webCV_.get(),
      .files = nullptr,
      .languageOverride = std::nullopt,
      .libraryDirectory = dataDirectory(),
  });
  if (!storage_.isFallback && !storage_.isWriteProtected) {
    store_->tidyAfterInterruptedRuns({dataDirectory(), preferencesDirectory()});
  }
  conditions_ = std::make_unique<SystemConditionsWatch>(*store_, main_);
  if (!store_->start()) {
    throw DesktopStartError(
        store_->state().lastErrorMessage.value_or("the library could not be opened"));
  }
  store_->startImportFinalization();
  store_->evaluateBackupReminder();
}

DesktopSession::~DesktopSession() {
  conditions_.reset();
  store_->quit();
  saveQueue_.drain();
  store_.reset();
}

}  // namespace quorvane::gui
