// Pieces shared by the repository's load, save and queries: how a snapshot's
// texts and section times map to rows, the text asset and link upserts, and
// how an artwork row and its media row become an `Artwork`. Internal to
// storage.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "model/records.h"
#include "storage/sqlite_database.h"

namespace quorvane::storage_detail {

// The text types in the order every load and save visits them.
inline constexpr std::array<TextAssetType, 4> kTextTypeOrder{TextAssetType::statement,
                                                             TextAssetType::projectStatement,
                                                             TextAssetType::bio, TextAssetType::cv};

// Where a text type's text and title live in a snapshot. The CV's content is
// its `CVData`, kept apart; its `text` member is null.
struct TextSlot {
  std::string StudioSnapshot::*text;
  std::string StudioSnapshot::*title;
};
TextSlot textSlot(TextAssetType type);

// One section of `section_timestamps` and the snapshot fields that hold it.
struct SectionTimesSlot {
  std::string_view name;
  std::optional<Date> StudioSnapshot::*createdAt;
  std::optional<Date> StudioSnapshot::*updatedAt;
};
// In the order a save writes them: details, cv, bio, statement,
// project_statement, artworks.
extern const std::array<SectionTimesSlot, 6> kSectionTimesSlots;

// The text asset upsert: a conflict keeps the first `createdAt` and revives an
// archived asset.
void upsertTextAsset(SQLiteDatabase& db, const std::string& assetId, TextAssetType type,
                     const std::string& ownerProjectId, std::string_view title,
                     std::string_view content, const std::optional<std::string>& json,
                     std::int64_t nowMs);

// Points the project's link of `type` at `assetId`.
void upsertTextLink(SQLiteDatabase& db, const std::string& projectId, TextAssetType type,
                    const std::string& assetId, std::int64_t nowMs);

// The artwork columns every artwork query selects first, in this order; the
// twelfth (index 11) is the position, taken from the membership in project
// queries and from the artwork row elsewhere.
inline constexpr std::string_view kArtworkColumnsBeforeSortIndex =
    "a.id, a.title, a.medium, a.year, a.width, a.height, a.depth, a.artworkText, "
    "a.imgWidth, a.imgHeight, a.aspect";
inline constexpr std::string_view kArtworkColumnsAfterSortIndex =
    "a.status, a.priceCents, a.priceCurrency, a.sizeWarning, a.sizeWarningDismissed, "
    "a.sizeBytes, a.originalSizeBytes";

// An artwork row read with the columns above; no image path yet.
Artwork artworkFromRow(const Statement& row);

// What an artwork shows of its media row.
struct MediaRef {
  std::string id;
  std::optional<std::string> mimeType;
  std::optional<std::int64_t> byteSize;
};

// Media rows by artwork id. Should an artwork have several (the save keeps
// one, but older libraries may hold more), the row whose id is the
// artwork's own wins, else the smallest id.
class MediaRefs {
 public:
  void add(const std::string& artworkId, MediaRef ref);
  const MediaRef* find(const std::string& artworkId) const;

 private:
  std::unordered_map<std::string, MediaRef> byArtwork_;
};

// Fills the image fields from the media row: the path "sqlite-media://" + its
// id, its MIME type (default "image/jpeg") and its byte size.
void applyMedia(Artwork& artwork, const MediaRef* media);

}  // namespace quorvane::storage_detail
