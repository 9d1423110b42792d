// The collaborators of the store, owned by whoever builds it (the command
// line, the window, a test).
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/file_system.h"

namespace quorvane {

class Clock;
class Executor;
class FilesMediaStore;
class ImageOptimizer;
class IncrementalSnapshotRepository;
class LabelOverrideRepository;
class Logger;
class PdfRenderService;
class Preferences;
class QuorvaneTransferService;
class SnapshotRepository;
class AtomicProjectImportRepository;
class WebCVRepository;

// The collaborators of the store, owned by whoever builds it.
struct AppStoreServices {
  SnapshotRepository& snapshots;
  IncrementalSnapshotRepository& sectionSaves;
  LabelOverrideRepository& labels;
  FilesMediaStore& media;
  const ImageOptimizer& images;
  Preferences& preferences;
  Executor& main;
  Executor& saveQueue;
  const Clock& clock;
  Logger& logger;
  std::function<std::string()> makeUuid;
  // The region of the user's locale ("US", "FR"), for the initial unit.
  std::function<std::optional<std::string>()> regionCode;
  // Returns once every write handed to `saveQueue` has run.
  std::function<void()> drainSaveQueue;
  // For a face that waits for a command (app/waiting_commands.h): runs its
  // executors until `finished` says so.
  std::function<void(const std::function<bool()>& finished)> runUntil;
  // Renders documents; previews and exports run on `pdfRenderQueue`
  // ("app.quorvane.pdf-render").
  PdfRenderService& renderer;
  Executor& pdfRenderQueue;
  // Project packages: the service, and the import save of the library.
  const QuorvaneTransferService& transfer;
  AtomicProjectImportRepository& imports;
  // Where images are read and derived ("app.quorvane.image-intake"): images
  // added, and the imported ones finished.
  Executor& imageQueue;
  // Where page thumbnails are drawn ("app.quorvane.pdf-thumbs"); without it
  // (the command line) none are drawn in the background.
  Executor* thumbnailQueue = nullptr;
  // Where a board's pictures are decoded ("app.quorvane.board-pictures"),
  // apart from the drawing of pages so that scrolling never waits behind
  // it; without it, the thumbnail queue.
  Executor* pictureQueue = nullptr;
  // The web CV import's reads and writes of the library.
  WebCVRepository& webCV;
  // Where the store reads and removes files of its own (a web CV export, a
  // round trip's package): the real file system unless a test fails it.
  FileSystem* files = &realFileSystem();
  // Overrides the interface language for this run (the command line's --lang).
  std::optional<std::string> languageOverride;
  // The folder of the library (its database, media and lock): no export is
  // ever written into it.
  std::optional<std::string> libraryDirectory;
};

}  // namespace quorvane
