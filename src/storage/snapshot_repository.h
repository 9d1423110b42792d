// What the rest of the program may ask of the library's store of projects.
// `SQLiteSnapshotRepository` fulfils all of these; the app store and the
// importers hold it through the narrowest interface they need.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/records.h"

namespace quorvane {

struct LoadedProject {
  Project project;
  StudioSnapshot snapshot;

  bool operator==(const LoadedProject&) const = default;
};

// An artwork whose image bytes a save took from a file. From that save on
// the bytes are in the artwork's media row and its image path is
// "sqlite-media://" + `artworkId`; the caller puts that path into its own
// snapshot so that later saves leave the bytes where they are.
struct StoredImageFile {
  std::string artworkId;
  std::string filePath;

  bool operator==(const StoredImageFile&) const = default;
};

struct SavedProject {
  Project project;  // as written, `updatedAt` being the save's time
  std::vector<StoredImageFile> storedImages;

  bool operator==(const SavedProject&) const = default;
};

// Rewrites to "sqlite-media://" + id the image path of every artwork of
// `snapshot` that still names the file a save has stored. Artworks whose
// image changed again since then are left alone.
void adoptStoredImages(StudioSnapshot& snapshot, const std::vector<StoredImageFile>& stored);

// The section names of a project as the database keeps them; the limited
// save takes one of these.
namespace section_name {
inline constexpr std::string_view kDetails = "details";
inline constexpr std::string_view kCV = "cv";
inline constexpr std::string_view kBio = "bio";
inline constexpr std::string_view kStatement = "statement";
inline constexpr std::string_view kProjectStatement = "project_statement";
inline constexpr std::string_view kArtworks = "artworks";
}  // namespace section_name

class SnapshotRepository {
 public:
  virtual ~SnapshotRepository() = default;

  // The project and its content, or nothing when no project has that id.
  // Loading may write: a project lacking a live text asset of a type gets its
  // own empty one, linked.
  virtual std::optional<LoadedProject> load(const std::string& projectId) = 0;

  // Writes the whole snapshot of `project` in one transaction; on any error
  // nothing is written and the error is thrown.
  virtual SavedProject save(const Project& project, const StudioSnapshot& snapshot) = 0;

  // Live projects, most recently changed first.
  virtual std::vector<ProjectSummary> projectSummaries() = 0;
  // The details of the most recently changed live project, if any.
  virtual std::optional<ArtistDetails> latestDetails() = 0;
  // The other live projects whose details are exactly `details`, by name.
  virtual std::vector<ProjectRef> projectsWithDetails(const std::string& excludingProjectId,
                                                      const ArtistDetails& details) = 0;
  // Gives each of `projectIds` these details, in one transaction; the
  // details section's time is stamped, the projects' order is left alone.
  virtual void writeDetails(const std::vector<std::string>& projectIds,
                            const ArtistDetails& details) = 0;
  // Hides the project from lists and counts; its rows stay.
  virtual void archiveProject(const std::string& projectId) = 0;
  // The projects deleted (archived), most recently deleted first, each with
  // the moment it was deleted.
  virtual std::vector<ProjectSummary> deletedProjectSummaries() = 0;
  // Brings a deleted project back into lists and counts, as it was; false
  // when no deleted project has that id.
  virtual bool restoreProject(const std::string& projectId) = 0;

  // Non-empty live texts of `type` (bio, statement or project statement)
  // that other projects may reuse, newest first; `excludingProjectId` leaves
  // out the asking project's own.
  virtual std::vector<ReusableTextAsset> reusableTexts(
      TextAssetType type, const std::optional<std::string>& excludingProjectId) = 0;
  virtual std::vector<ReusableCVAsset> reusableCVs(
      const std::optional<std::string>& excludingProjectId) = 0;
  // The Vault: every artwork of the library that `currentProjectId` does not
  // hold yet, those of recently changed projects first.
  virtual std::vector<ReusableArtworkAsset> reusableArtworks(
      const std::optional<std::string>& currentProjectId) = 0;

  virtual LibraryKPIOverview libraryCounts() = 0;

  // The id of every artwork of the library, the Vault's and archived
  // projects' included.
  virtual std::set<std::string> artworkIds() = 0;

  // The ids of the artworks that no live project shows (kept in the Vault
  // only, or only by archived projects), oldest first.
  virtual std::vector<std::string> artworksInNoProject() = 0;

  // Those of `artworkIds`, in their order, that name an artwork of the
  // library without a media row yet (an imported image still to finish).
  virtual std::vector<std::string> artworksAwaitingImages(
      const std::vector<std::string>& artworkIds) = 0;

  // The bytes of the artwork's media row, or nothing without one.
  virtual std::optional<std::vector<std::uint8_t>> imageBytes(const std::string& artworkId) = 0;

  // Makes `projectId` use the text asset `assetId` for `type`. False, and
  // nothing written, when no such asset exists.
  virtual bool attachTextAsset(const std::string& projectId, TextAssetType type,
                               const std::string& assetId) = 0;
  // The text asset `projectId` uses for `type`, if it has one.
  virtual std::optional<std::string> linkedTextAsset(const std::string& projectId,
                                                     TextAssetType type) = 0;
  // The other live projects that use the same text asset as `projectId`
  // for `type`, by name.
  virtual std::vector<ProjectRef> projectsSharingText(const std::string& projectId,
                                                      TextAssetType type) = 0;
  // Gives `projectId` a new empty text asset of `type` of its own, linked in
  // place of the current one; returns its id.
  virtual std::string createTextAsset(const std::string& projectId, TextAssetType type) = 0;

  // Empties the library: every project and what belongs to it. The user's
  // label overrides are kept.
  virtual void deleteAllLibraryData() = 0;
};

class IncrementalSnapshotRepository {
 public:
  virtual ~IncrementalSnapshotRepository() = default;

  // Writes the project row and only what belongs to `section` (one of the
  // `section_name`s); any other name writes everything, as `save` does.
  virtual SavedProject save(const Project& project, const StudioSnapshot& snapshot,
                            std::string_view section) = 0;

  // Writes the whole snapshot, as one save of every section, and in the
  // same transaction takes the `forgotten` artworks out of the library
  // (their rows, media rows and links) when no project shows them any
  // more: an image added, then taken back.
  virtual SavedProject saveWhole(const Project& project, const StudioSnapshot& snapshot,
                                 const std::vector<std::string>& forgotten) = 0;

  // Writes the image fields of one artwork (sizes, aspect, size warning) and
  // `webImage` as its media row, in one transaction, touching nothing else
  // of it or of any project: the end of an imported image, whatever the
  // size of its project. False, with nothing written, when the library has
  // no such artwork (removed meanwhile).
  virtual bool saveFinishedImage(const Artwork& artwork,
                                 std::span<const std::uint8_t> webImage) = 0;
};

class AtomicProjectImportRepository {
 public:
  virtual ~AtomicProjectImportRepository() = default;

  // The whole save of an imported project; in the same transaction the label
  // overrides are replaced by `labelOverrides`.
  virtual SavedProject saveImportedProject(
      const Project& project, const StudioSnapshot& snapshot,
      const std::vector<LabelOverrideEntry>& labelOverrides) = 0;
};

class LabelOverrideRepository {
 public:
  virtual ~LabelOverrideRepository() = default;

  virtual std::optional<std::string> labelOverride(const std::string& scope,
                                                   const std::string& locale,
                                                   const std::string& key) = 0;
  virtual std::map<std::string, std::string> labelOverrides(const std::string& scope,
                                                            const std::string& locale) = 0;
  virtual std::vector<LabelOverrideEntry> allLabelOverrides() = 0;
  // Writes one entry, replacing the value of an existing (scope, locale, key).
  virtual void upsertLabelOverride(const LabelOverrideEntry& entry) = 0;
  virtual void replaceAllLabelOverrides(const std::vector<LabelOverrideEntry>& entries) = 0;
};

}  // namespace quorvane
