// The only code that reads and writes the library database.
//
// Creating the repository brings the database to the current shape (inside
// one immediate transaction; a failure throws and leaves it as it was). Every
// operation then runs whole under one lock, so statements of two operations
// never interleave and any thread may call; an operation must not be called
// from inside another. Saves and the other writes of more than one statement
// run in one immediate transaction: they happen completely or not at all, and
// a failure is thrown as a `DomainError` ("SQLiteDatabase" or
// "SQLiteSnapshotRepository" with SQLite's result code). The one exception is
// the load's creation of a missing text asset and its link, which is best
// effort: the next save writes both again.
//
// Image bytes: a save stores an artwork's bytes when its image path names a
// file, and reports it in `SavedProject::storedImages`; from then on the
// artwork's path is "sqlite-media://" + its id and later saves leave the
// media row as it is, reading no image bytes.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "storage/snapshot_repository.h"
#include "storage/sqlite_database.h"

namespace quorvane {

class SQLiteSnapshotRepository final : public SnapshotRepository,
                                       public IncrementalSnapshotRepository,
                                       public AtomicProjectImportRepository,
                                       public LabelOverrideRepository {
 public:
  // Takes the connection and, when the database is not in the current shape,
  // migrates it in one immediate transaction; throws when it can't (the
  // database is then left as it was). A library in current shape is not
  // written to at all, so a connection that only reads works on it (also
  // when only rows await normalising: loading applies the same defaults);
  // such a connection fails every write. `clock` gives every time a write stamps;
  // `files` reads the image files a save stores. Both must outlive the
  // repository.
  explicit SQLiteSnapshotRepository(SQLiteDatabase db, const Clock& clock = systemClock(),
                                    FileSystem& files = realFileSystem());

  // SnapshotRepository
  std::optional<LoadedProject> load(const std::string& projectId) override;
  SavedProject save(const Project& project, const StudioSnapshot& snapshot) override;
  std::vector<ProjectSummary> projectSummaries() override;
  std::optional<ArtistDetails> latestDetails() override;
  std::vector<ProjectRef> projectsWithDetails(const std::string& excludingProjectId,
                                              const ArtistDetails& details) override;
  void writeDetails(const std::vector<std::string>& projectIds,
                    const ArtistDetails& details) override;
  void archiveProject(const std::string& projectId) override;
  std::vector<ProjectSummary> deletedProjectSummaries() override;
  bool restoreProject(const std::string& projectId) override;
  std::vector<ReusableTextAsset> reusableTexts(
      TextAssetType type, const std::optional<std::string>& excludingProjectId) override;
  std::vector<ReusableCVAsset> reusableCVs(
      const std::optional<std::string>& excludingProjectId) override;
  std::vector<ReusableArtworkAsset> reusableArtworks(
      const std::optional<std::string>& currentProjectId) override;
  LibraryKPIOverview libraryCounts() override;
  std::set<std::string> artworkIds() override;
  std::vector<std::string> artworksInNoProject() override;
  std::vector<std::string> artworksAwaitingImages(
      const std::vector<std::string>& artworkIds) override;
  std::optional<std::vector<std::uint8_t>> imageBytes(const std::string& artworkId) override;
  bool attachTextAsset(const std::string& projectId, TextAssetType type,
                       const std::string& assetId) override;
  std::string createTextAsset(const std::string& projectId, TextAssetType type) override;
  std::vector<ProjectRef> projectsSharingText(const std::string& projectId,
                                              TextAssetType type) override;
  std::optional<std::string> linkedTextAsset(const std::string& projectId,
                                             TextAssetType type) override;
  void deleteAllLibraryData() override;

  // IncrementalSnapshotRepository
  SavedProject save(const Project& project, const StudioSnapshot& snapshot,
                    std::string_view section) override;
  SavedProject saveWhole(const Project& project, const StudioSnapshot& snapshot,
                         const std::vector<std::string>& forgotten) override;
  bool saveFinishedImage(const Artwork& artwork, std::span<const std::uint8_t> webImage) override;

  // AtomicProjectImportRepository
  SavedProject saveImportedProject(const Project& project, const StudioSnapshot& snapshot,
                                   const std::vector<LabelOverrideEntry>& labelOverrides) override;

  // LabelOverrideRepository
  std::optional<std::string> labelOverride(const std::string& scope, const std::string& locale,
                                           const std::string& key) override;
  std::map<std::string, std::string> labelOverrides(const std::string& scope,
                                                    const std::string& locale) override;
  std::vector<LabelOverrideEntry> allLabelOverrides() override;
  void upsertLabelOverride(const LabelOverrideEntry& entry) override;
  void replaceAllLabelOverrides(const std::vector<LabelOverrideEntry>& entries) override;

  // True when the connection can't write: every write then fails.
  bool isReadOnly() const { return db_.isReadOnly(); }

  // Runs `work` on the connection under the repository's lock, for
  // operations that belong to other subsystems (such as the web CV import).
  template <typename Work>
  decltype(auto) withDatabase(Work&& work) {
    const std::lock_guard lock(mutex_);
    return work(db_);
  }

 private:
  std::int64_t nowMs() const;
  // Locks, stamps one "now", writes the project row and reads its text links,
  // then runs `writeBody(writer, now)`, all in one immediate transaction.
  template <typename WriteBody>
  SavedProject runSave(const Project& project, const StudioSnapshot& snapshot, bool writesArtworks,
                       WriteBody&& writeBody);

  std::mutex mutex_;
  SQLiteDatabase db_;
  const Clock& clock_;
  FileSystem& files_;
  const std::uint64_t largestValue_;  // the most bytes one value may hold
};

}  // namespace quorvane
