// The values the store's commands take and give: what a user changes in a
// project or a work, what became of an image added, and the reports of a
// few commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "images/image_optimizer.h"
#include "model/records.h"
#include "packages/transfer_service.h"
#include "platform/cancellation.h"
#include "platform/executor.h"

namespace quorvane {

// The project fields a user sets; absent fields stay as they are (or take
// the defaults, for a new project).
struct ProjectChanges {
  std::optional<std::string> name;
  std::optional<ProjectKind> kind;
  std::optional<CatalogueKind> catalogueKind;
  std::optional<std::string> title;
  std::optional<std::string> year;
  std::optional<std::string> locale;
  std::optional<std::string> currency;  // empty removes it
  std::optional<UnitSystem> unit;
  std::optional<DocumentOrientation> orientation;
  std::optional<ArtworkLayoutMode> layout;
  // For a new project: start with the library's most recently edited
  // biography, artist statement and CV, shared with the projects that use
  // them (ignored when a project is changed).
  bool shareLatestTexts = false;
};

// What an artist writes about a work; the image fields are the store's.
struct ArtworkMetadata {
  std::string title;
  std::string medium;
  std::string year;
  std::string width;
  std::string height;
  std::string depth;
  std::string text;
  std::optional<ArtworkStatus> status;
  std::optional<std::int64_t> priceCents;
  std::optional<std::string> priceCurrency;

  static ArtworkMetadata of(const Artwork& artwork);
  bool operator==(const ArtworkMetadata&) const = default;
};

// The outcome of one file of `addImages`.
struct ImageAddResult {
  std::string path;
  std::optional<std::string> artworkId;  // absent when the file was not added
  std::string message;                   // why not, or the size warning

  bool operator==(const ImageAddResult&) const = default;
};

// A package written and read back: whether all came back, in words.
struct RoundTripReport {
  bool ok = false;
  std::string message;
};

// A work's picture for a board's cell.
struct BoardPicture {
  RgbPixels pixels;
  bool isPage = false;  // the page as printed, not the bare image
  bool operator==(const BoardPicture&) const = default;
};

// The page thumbnails drawn by `buildThumbnails`.
struct ThumbnailReport {
  std::size_t fresh = 0;
  std::size_t rebuilt = 0;
  std::size_t failed = 0;
  bool operator==(const ThumbnailReport&) const = default;
};

// A run finishing the images of imported packages.
struct FinalizationRequest {
  // The user waits for the images (the command line): nothing holds them
  // back, and `done` is told how many were finished.
  bool userWaits = false;
  // The run stops once this much time has passed; the rest wait for the
  // next run.
  std::optional<Milliseconds> budget = {};
  std::function<void(std::size_t done, std::size_t total)> progress = {};
  std::function<void(std::size_t finished)> done = {};
};

// A package to read into the library as a new project.
struct PackageImportRequest {
  using Step = std::function<void(const std::string& words)>;
  std::string path = {};
  bool open = true;  // the new project is opened
  // Told as the originals are copied out, on the main executor.
  std::function<void(const TransferProgress&)> progress = {};
  // Each step's words, as the toasts say them ("Reading package...").
  Step step = {};
  // The new project's id, or nothing (the failure shown).
  std::function<void(const std::optional<std::string>&)> done = {};
  // Stops it between two originals: nothing is added.
  Cancellation cancel = {};
  // The new project's images are finished in the background afterwards
  // (a window); a face that waits finishes them as it chooses.
  bool finishImagesAfter = true;
};

}  // namespace quorvane
