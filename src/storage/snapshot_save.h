// Writing a project's snapshot, piece by piece. Internal to storage: the
// repository runs these inside one immediate transaction, and which pieces it
// runs decides between the whole save and the save of one section.
//
// Every statement must succeed: a failure throws (and the caller rolls the
// whole save back), so a save is either complete or absent. Two kinds of rows
// are the exception: a document or document link that conflicts with one
// already stored (a duplicate id, an artwork twice in a document) is left
// out, as the document rules require, and the rest is saved.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/records.h"
#include "platform/file_system.h"
#include "storage/snapshot_repository.h"
#include "storage/sqlite_database.h"

namespace quorvane::storage_detail {

// The user's label overrides: one entry written (replacing the value of an
// existing scope, locale and key), or the whole table replaced.
void upsertLabelOverride(SQLiteDatabase& db, const LabelOverrideEntry& entry, std::int64_t nowMs);
void replaceAllLabelOverrides(SQLiteDatabase& db, const std::vector<LabelOverrideEntry>& entries,
                              std::int64_t nowMs);

// The bytes of the image files a save will store, read before its
// transaction (a read never holds the database), each checked for size
// before it is read. Absent for a file that can't be read or is larger than
// `largestValue` (the database's limit on one value): its artwork keeps
// no new image, and the save goes on.
using PrefetchedImages = std::map<std::string, std::optional<Bytes>>;
PrefetchedImages readImageFiles(FileSystem& files, const StudioSnapshot& snapshot,
                                std::uint64_t largestValue);

// The project as a save writes and returns it: no catalogue kind unless it is
// a catalogue, the unit of its artworks, `updatedAt` now.
Project projectForWriting(const Project& project, const StudioSnapshot& snapshot, Date now);

class SnapshotWriter {
 public:
  // `project` is as `projectForWriting` returns it.
  // `images` holds the image files read beforehand; a file not in it is
  // read (size first) when its artwork is written.
  SnapshotWriter(SQLiteDatabase& db, FileSystem& files, const Project& project,
                 const StudioSnapshot& snapshot, std::int64_t nowMs,
                 const PrefetchedImages* images = nullptr);

  // The project row; a conflict keeps its first `createdAt` and `archivedAt`.
  void writeProjectRow();
  // Which asset the project links for each text type, and who owns it.
  void readTextLinks();

  void writeDetails();
  // The text asset of `type` and the project's link to it.
  void writeText(TextAssetType type);
  // Editing a text owned by another project counts as a change of that one.
  void touchTextOwner(TextAssetType type);
  // Artwork rows, image bytes, memberships.
  void writeArtworks();
  void writeDocuments();
  void writeSectionTimes(std::string_view section);
  void replaceLabelOverrides(const std::vector<LabelOverrideEntry>& entries);

  // Steps 5 to 10 of a whole save: details, texts, owners, artworks,
  // documents and every section time.
  void writeEverything();

  const std::vector<StoredImageFile>& storedImages() const { return storedImages_; }

 private:
  struct TextLink {
    std::string assetId;
    std::string ownerProjectId;
  };
  const TextLink& link(TextAssetType type) const;

  SQLiteDatabase& db_;
  FileSystem& files_;
  const Project& project_;
  const StudioSnapshot& snapshot_;
  const std::int64_t nowMs_;
  const PrefetchedImages* images_;
  std::array<TextLink, 4> links_;
  std::vector<StoredImageFile> storedImages_;
};

}  // namespace quorvane::storage_detail
