// A package read into the library as a new project beside the others,
// never over one: fresh ids for the project and everything in it (all
// references rewritten), its name made one line of at most 80 characters,
// its originals put in the media folder and its project written in one
// transaction — so that a failure anywhere leaves the library and the media
// folder exactly as they were.
//
// Label overrides: the package's are added to the library's, except where
// the library already has a non-empty text of its own for the same scope,
// language and key: the user's current choice never vanishes silently.
//
// Every original passes the checks of an image added by hand
// (images/image_check.h) before anything is written, and the free space
// must hold what the originals unpack to: a package can't fill the disk,
// nor bring an image the library would refuse.
//
// The images' web derivatives are not made here (they take a while): the
// new artworks are handed back as pending, for the background to finish.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "images/image_optimizer.h"
#include "packages/transfer_service.h"
#include "storage/files_media_store.h"
#include "storage/snapshot_repository.h"

namespace quorvane {

struct PackageMergeServices {
  AtomicProjectImportRepository& imports;
  LabelOverrideRepository& labels;
  FilesMediaStore& media;
  const ImageOptimizer& images;
  Logger& logger;
  std::function<std::string()> makeUuid;
};

struct MergedPackage {
  Project project;
  StudioSnapshot snapshot;
  std::vector<std::string> pendingArtworkIds;  // originals without derivatives yet
};

// What an import writes besides the originals, per original (its web
// derivative in the media folder and in the library) and in all (the
// library's journal, the staging list), for the free-space check.
inline constexpr std::uint64_t kDerivativeAllowanceBytes = 1 << 20;
inline constexpr std::uint64_t kImportMarginBytes = 64 << 20;

// Throws InsufficientSpaceError unless the media folder's file system has
// room for `originalBytes` in `originals` originals and what comes with
// them, before anything is written.
void requireFreeSpace(FilesMediaStore& media, std::uint64_t originalBytes, std::size_t originals);

// The live project of `library` that the package's project already is —
// the same name and the same works (title, year, medium and size, in
// order) — if any: importing it again makes a second copy, which the user
// should choose knowingly.
std::optional<ProjectSummary> sameProjectInLibrary(const ImportedProjectPackage& content,
                                                   SnapshotRepository& library);

// One line, single spaces, trimmed, at most 80 characters; `whenEmpty`
// when nothing is left.
std::string normalizedImportedName(std::string_view name, const std::string& whenEmpty);

// The package's label overrides merged into `current` as said above.
std::vector<LabelOverrideEntry> mergedLabelOverrides(
    const std::vector<LabelOverrideEntry>& current, const std::vector<LabelOverrideEntry>& package);

// Throws what failed (QuorvaneTransferError naming the work for an
// original that is not what the package says or no image the library
// takes, InsufficientSpaceError, a storage error); nothing is changed then.
// `progress` is told after each original is copied out.
MergedPackage mergeIntoLibrary(OpenedPackage& opened, const PackageMergeServices& services,
                               const TransferLimits& limits, const std::string& emptyName,
                               const TransferProgressFn& progress = {});

}  // namespace quorvane
