#include "gui/desktop_session.h"
#include "app/library_tidy.h"

#include <unistd.h>

#include <QCoreApplication>
#include <QEventLoop>

#include "pdf/localization.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace quorvane::gui {
namespace {

// The words of a start that can't be, in the interface language.
std::string startText(std::string_view key, std::initializer_list<std::string> arguments) {
  const Preferences preferences(preferencesFilePath(), realFileSystem(), nullLogger(),
                                systemClock(), Preferences::Access::read);
  return uiFormat(key, interfaceLanguage(preferences), arguments);
}

std::unique_ptr<LibraryLock> lockLibrary(const LockWait& wait) {
  const std::string directory = libraryDirectory();
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

// The window never waits for a command; its screenshot tour does, by
// running the event loop.
void runEventsUntil(const std::function<bool()>& finished) {
  while (!finished()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

}  // namespace

std::string libraryDirectory() { return applicationSupportDirectory() + "/Quorvane"; }

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
  assembly_ =
      std::make_unique<StoreAssembly>(storage_, StoreFace{.main = main_,
                                                          .preferences = *preferences_,
                                                          .logger = logger_,
                                                          .libraryDirectory = libraryDirectory(),
                                                          .languageOverride = std::nullopt,
                                                          .runUntil = runEventsUntil,
                                                          .drawsPagesAhead = true});
  AppStore& store = assembly_->store();
  if (!storage_.isFallback && !storage_.isWriteProtected) {
    store.tidyAfterInterruptedRuns({libraryDirectory(), preferencesDirectory()});
  }
  conditions_ = std::make_unique<SystemConditionsWatch>(store, main_);
  if (!store.start()) {
    throw DesktopStartError(
        store.state().lastErrorMessage.value_or("the library could not be opened"));
  }
  store.startImportFinalization();
  store.evaluateBackupReminder();
}

DesktopSession::~DesktopSession() {
  conditions_.reset();
  assembly_.reset();
}

}  // namespace quorvane::gui
