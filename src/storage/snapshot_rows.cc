#include "storage/snapshot_rows.h"

#include "model/image_path.h"
#include "model/raw_value.h"

namespace quorvane::storage_detail {

TextSlot textSlot(TextAssetType type) {
  switch (type) {
    case TextAssetType::bio:
      return {&StudioSnapshot::biography, &StudioSnapshot::biographyTitle};
    case TextAssetType::statement:
      return {&StudioSnapshot::statement, &StudioSnapshot::statementTitle};
    case TextAssetType::projectStatement:
      return {&StudioSnapshot::projectStatement, &StudioSnapshot::projectStatementTitle};
    case TextAssetType::cv:
      break;
  }
  return {nullptr, &StudioSnapshot::cvTitle};
}

const std::array<SectionTimesSlot, 6> kSectionTimesSlots{{
    {"details", &StudioSnapshot::detailsCreatedAt, &StudioSnapshot::detailsUpdatedAt},
    {"cv", &StudioSnapshot::cvCreatedAt, &StudioSnapshot::cvUpdatedAt},
    {"bio", &StudioSnapshot::biographyCreatedAt, &StudioSnapshot::biographyUpdatedAt},
    {"statement", &StudioSnapshot::statementCreatedAt, &StudioSnapshot::statementUpdatedAt},
    {"project_statement", &StudioSnapshot::projectStatementCreatedAt,
     &StudioSnapshot::projectStatementUpdatedAt},
    {"artworks", &StudioSnapshot::artworksCreatedAt, &StudioSnapshot::artworksUpdatedAt},
}};

void upsertTextAsset(SQLiteDatabase& db, const std::string& assetId, TextAssetType type,
                     const std::string& ownerProjectId, std::string_view title,
                     std::string_view content, const std::optional<std::string>& json,
                     std::int64_t nowMs) {
  Statement upsert = db.prepare(
      "INSERT INTO text_assets(id, type, ownerProjectId, title, content, json, createdAt, "
      "updatedAt, archivedAt) VALUES(?,?,?,?,?,?,?,?,NULL) ON CONFLICT(id) DO UPDATE SET "
      "type=excluded.type, ownerProjectId=excluded.ownerProjectId, title=excluded.title, "
      "content=excluded.content, json=excluded.json, updatedAt=excluded.updatedAt, "
      "archivedAt=NULL");
  upsert.bindText(1, assetId);
  upsert.bindText(2, rawValue(type));
  upsert.bindText(3, ownerProjectId);
  upsert.bindText(4, title);
  upsert.bindText(5, content);
  upsert.bindOptionalText(6, json);
  upsert.bindInt64(7, nowMs);
  upsert.bindInt64(8, nowMs);
  upsert.stepStrict();
}

void upsertTextLink(SQLiteDatabase& db, const std::string& projectId, TextAssetType type,
                    const std::string& assetId, std::int64_t nowMs) {
  Statement upsert = db.prepare(
      "INSERT INTO project_text_asset_links(projectId, type, assetId, updatedAt) "
      "VALUES(?,?,?,?) ON CONFLICT(projectId, type) DO UPDATE SET assetId=excluded.assetId, "
      "updatedAt=excluded.updatedAt");
  upsert.bindText(1, projectId);
  upsert.bindText(2, rawValue(type));
  upsert.bindText(3, assetId);
  upsert.bindInt64(4, nowMs);
  upsert.stepStrict();
}

Artwork artworkFromRow(const Statement& row) {
  Artwork artwork;
  artwork.id = row.textOrEmpty(0);
  artwork.title = row.textOrEmpty(1);
  artwork.medium = row.textOrEmpty(2);
  artwork.year = row.textOrEmpty(3);
  artwork.artworkWidth = row.textOrEmpty(4);
  artwork.artworkHeight = row.textOrEmpty(5);
  artwork.artworkDepth = row.textOrEmpty(6);
  artwork.artworkText = row.textOrEmpty(7);
  artwork.width = row.int64(8);
  artwork.height = row.int64(9);
  artwork.aspect = row.real(10);
  artwork.sortIndex = row.int64(11).value_or(0);
  artwork.status = decodeArtworkStatus(row.text(12));
  artwork.priceCents = row.int64(13);
  artwork.priceCurrency = row.text(14);
  artwork.sizeWarning = row.textOrEmpty(15);
  artwork.sizeWarningDismissed = row.int64(16).value_or(0) != 0;
  artwork.imageByteSize = row.int64(17);
  artwork.originalByteSize = row.int64(18);
  return artwork;
}

void MediaRefs::add(const std::string& artworkId, MediaRef ref) {
  auto [it, inserted] = byArtwork_.try_emplace(artworkId, ref);
  if (inserted || it->second.id == artworkId) return;
  if (ref.id == artworkId || ref.id < it->second.id) it->second = std::move(ref);
}

const MediaRef* MediaRefs::find(const std::string& artworkId) const {
  const auto it = byArtwork_.find(artworkId);
  return it == byArtwork_.end() ? nullptr : &it->second;
}

void applyMedia(Artwork& artwork, const MediaRef* media) {
  if (media == nullptr) {
    artwork.imagePath.reset();
    artwork.mimeType = std::string(kDefaultMimeType);
    return;
  }
  artwork.imagePath = sqliteMediaPath(media->id);
  artwork.mimeType = media->mimeType.value_or(std::string(kDefaultMimeType));
  artwork.imageByteSize = media->byteSize;
}

}  // namespace quorvane::storage_detail
