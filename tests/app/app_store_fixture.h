// A store on a real library and media folder in a temporary home, in
// virtual time, with the fakes its tests share.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "app/app_store.h"
#include "images/test_images.h"
#include "storage/sql_helpers.h"
#include "storage/sqlite_snapshot_repository.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace testing {

using namespace std::chrono_literals;

inline ProjectChanges named(const std::string& name, std::optional<ProjectKind> kind = {}) {
  ProjectChanges changes;
  changes.name = name;
  changes.kind = kind;
  return changes;
}

inline bool logged(const testing::RecordingLogger& logger, const std::string& line) {
  return std::find(logger.lines.begin(), logger.lines.end(), line) != logger.lines.end();
}

// The real file system, with a hook told of each file read: the moment to
// act "while" something reads (a user cancelling an export half-way); and,
// when set, a disk with only `available` bytes free, or whose writes fail
// with `writeError` (ENOSPC: full).
class ReadHookedFileSystem final : public ForwardingFileSystem {
 public:
  ReadHookedFileSystem() : ForwardingFileSystem(realFileSystem()) {}
  std::uint64_t availableBytes(const std::string& path) override {
    return available ? *available : ForwardingFileSystem::availableBytes(path);
  }
  void writeFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override {
    if (writeError != 0) throw std::system_error(writeError, std::generic_category(), path);
    ForwardingFileSystem::writeFileAtomically(path, bytes);
  }
  std::optional<std::uint64_t> available;
  int writeError = 0;
  Bytes readFile(const std::string& path) override {
    if (onRead) onRead(path);
    return ForwardingFileSystem::readFile(path);
  }
  std::unique_ptr<FileReader> openRegularFile(const std::string& path) override {
    if (onRead) onRead(path);
    return ForwardingFileSystem::openRegularFile(path);
  }
  std::function<void(const std::string&)> onRead;
};

// The names in the media folder, sorted, without its thumbnail folder and
// what the run keeps for undoing.
inline std::vector<std::string> mediaNames(const FilesMediaStore& media) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(media.directory())) {
    const std::string name = entry.path().filename().string();
    if (name != "derived_web" && !name.starts_with(kUndoHoldingPrefix)) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The library's section saves, which fail while `failing` is set, as they do
// on a full disk.
class FailableSaves final : public IncrementalSnapshotRepository {
 public:
  explicit FailableSaves(IncrementalSnapshotRepository& target) : target_(target) {}
  SavedProject save(const Project& project, const StudioSnapshot& snapshot,
                    std::string_view section) override {
    if (failing) throw DomainError("SQLiteSnapshotRepository", 13, "disk full", SQLITE_FULL);
    return target_.save(project, snapshot, section);
  }
  SavedProject saveWhole(const Project& project, const StudioSnapshot& snapshot,
                         const std::vector<std::string>& forgotten) override {
    if (failing) throw DomainError("SQLiteSnapshotRepository", 13, "disk full", SQLITE_FULL);
    return target_.saveWhole(project, snapshot, forgotten);
  }
  bool saveFinishedImage(const Artwork& artwork, std::span<const std::uint8_t> webImage) override {
    if (failing) throw DomainError("SQLiteSnapshotRepository", 13, "disk full", SQLITE_FULL);
    return target_.saveFinishedImage(artwork, webImage);
  }
  bool failing = false;

 private:
  IncrementalSnapshotRepository& target_;
};

// Label overrides that can't be read, as from a library gone bad under a
// running program: every rendering that needs them fails.
class UnreadableLabels final : public LabelOverrideRepository {
 public:
  std::optional<std::string> labelOverride(const std::string&, const std::string&,
                                           const std::string&) override {
    fail();
  }
  std::map<std::string, std::string> labelOverrides(const std::string&,
                                                    const std::string&) override {
    fail();
  }
  std::vector<LabelOverrideEntry> allLabelOverrides() override { fail(); }
  void upsertLabelOverride(const LabelOverrideEntry&) override { fail(); }
  void replaceAllLabelOverrides(const std::vector<LabelOverrideEntry>&) override { fail(); }

 private:
  [[noreturn]] static void fail() {
    throw DomainError("SQLiteSnapshotRepository", 11, "database disk image is malformed",
                      SQLITE_CORRUPT);
  }
};

// A store on a real library file and media folder in a temporary home, run
// in virtual time: the save queue is run by hand, as its thread would.
class AppStoreTest : public ::testing::Test {
 protected:
  ~AppStoreTest() override {
    if (store) store->quit();
  }

  // Builds the store (and, the first time, the library) and starts it.
  AppStore& open(std::optional<std::string> projectId = {}) {
    if (store) store->quit();
    store.reset();
    if (!repository) {
      repository =
          std::make_unique<SQLiteSnapshotRepository>(SQLiteDatabase(dir.file("lib.sqlite")), main);
      renderer = std::make_unique<PdfRenderService>(
          rendererLabels ? *rendererLabels : static_cast<LabelOverrideRepository&>(*repository),
          *repository, media, optimizer, nullLogger(), preparedImages);
      saves = std::make_unique<FailableSaves>(*repository);
      webCV = std::make_unique<SQLiteWebCVRepository>(*repository);
    }
    store = std::make_unique<AppStore>(AppStoreServices{
        .snapshots = *repository,
        .sectionSaves = *saves,
        .labels = *repository,
        .media = media,
        .images = optimizer,
        .preferences = preferences,
        .main = main,
        .saveQueue = saveQueue,
        .clock = main,
        .logger = logger,
        .makeUuid = [this] { return "ID-" + std::to_string(++uuids); },
        .regionCode = [this] { return region; },
        .drainSaveQueue = [this] { saveQueue.runUntilIdle(); },
        .runUntil = [this](const std::function<bool()>& finished) { runUntil(finished); },
        .renderer = *renderer,
        .pdfRenderQueue = pdfQueue,
        .transfer = transfer,
        .imports = *repository,
        .imageQueue = imageQueue,
        .thumbnailQueue = useThumbnailQueue ? &thumbnailQueue : nullptr,
        .webCV = *webCV,
        .languageOverride = language,
        .libraryDirectory = dir.file("library"),
    });
    started = store->start(projectId);
    return *store;
  }
  // What a waiting face does: each queue's next task, as its thread would
  // run it, until `finished`; a test fails rather than wait for work that
  // never comes.
  void runUntil(const std::function<bool()>& finished) {
    while (!finished()) {
      if (saveQueue.runOne() || pdfQueue.runOne() || imageQueue.runOne() ||
          thumbnailQueue.runOne() || main.runOne()) {
        continue;
      }
      FAIL() << "the command was never done: nothing is left to run";
    }
  }
  // Lets the debounce pass and every write run.
  void settle() {
    main.advanceBy(1s);
    saveQueue.runUntilIdle();
    main.runUntilIdle();
  }
  std::string writeImage(const std::string& name, int width, int height, int orientation = 1) {
    const std::string suffix = name.substr(name.find_last_of('.'));
    const auto bytes = testing::encodedImage(suffix, width, height, orientation);
    std::ofstream(dir.file(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes->data()),
               static_cast<std::streamsize>(bytes->size()));
    return dir.file(name);
  }
  std::string sql(const std::string& query) {
    return repository->withDatabase(
        [&](SQLiteDatabase& db) { return testing::queryValue(db, query); });
  }

  testing::TempDir dir;
  ManualExecutor main;
  ManualExecutor saveQueue;
  ManualExecutor pdfQueue;
  testing::RecordingLogger logger;
  Preferences preferences{dir.file("prefs.json"), realFileSystem(), nullLogger(), main};
  ReadHookedFileSystem mediaFiles;
  FilesMediaStore media{dir.file("media"), mediaFiles};
  ManualExecutor imageQueue;
  ManualExecutor thumbnailQueue;
  bool useThumbnailQueue = false;
  ImageOptimizer optimizer;
  QuorvaneTransferService transfer{{}, nullLogger(), mediaFiles};
  std::optional<std::string> region = "FR";
  std::optional<std::string> language = "en";
  int uuids = 0;
  std::unique_ptr<SQLiteSnapshotRepository> repository;
  std::unique_ptr<PdfRenderService> renderer;
  LabelOverrideRepository* rendererLabels = nullptr;  // the library's own, unless set
  PreparedImageCache* preparedImages = nullptr;       // none kept, unless set
  std::unique_ptr<FailableSaves> saves;
  std::unique_ptr<SQLiteWebCVRepository> webCV;
  std::unique_ptr<AppStore> store;
  bool started = false;
};

}  // namespace testing
}  // namespace quorvane
