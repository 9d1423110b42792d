#include "storage/snapshot_load.h"

#include <limits>

#include "model/project_row.h"
#include "model/raw_value.h"
#include "model/record_json.h"
#include "model/text_assets.h"
#include "storage/snapshot_rows.h"

namespace quorvane::storage_detail {
namespace {

std::optional<Project> readProjectRow(SQLiteDatabase& db, const std::string& projectId) {
  Statement select = db.prepare(
      "SELECT id, kind, catalogueKind, projectName, projectTitle, projectYear, locale, "
      "currency, unit, orientation, createdAt, updatedAt FROM projects WHERE id = ? LIMIT 1");
  select.bindText(1, projectId);
  if (!select.nextRow()) return std::nullopt;
  return decodeProjectRow(StoredProjectRow{
      .id = select.text(0),
      .kind = select.text(1),
      .catalogueKind = select.text(2),
      .projectName = select.text(3),
      .projectTitle = select.text(4),
      .projectYear = select.text(5),
      .locale = select.text(6),
      .currency = select.text(7),
      .unit = select.text(8),
      .orientation = select.text(9),
      .createdAtMs = select.int64(10),
      .updatedAtMs = select.int64(11),
  });
}

ArtworkLayoutMode readLayoutMode(SQLiteDatabase& db, const std::string& projectId) {
  Statement select = db.prepare("SELECT artworkLayoutMode FROM projects WHERE id = ? LIMIT 1");
  select.bindText(1, projectId);
  return decodeLayoutMode(select.nextRow() ? select.text(0) : std::nullopt);
}

ArtistDetails readDetails(SQLiteDatabase& db, const std::string& projectId) {
  Statement select = db.prepare("SELECT json FROM details WHERE projectId = ? LIMIT 1");
  select.bindText(1, projectId);
  if (!select.nextRow()) return ArtistDetails{};
  return decodeArtistDetails(select.textOrEmpty(0));
}

struct LinkedText {
  std::string title;
  std::string content;
  std::optional<std::string> json;
};

std::optional<LinkedText> readLinkedText(SQLiteDatabase& db, const std::string& projectId,
                                         TextAssetType type) {
  Statement select = db.prepare(
      "SELECT a.ownerProjectId, a.title, a.content, a.json FROM project_text_asset_links l "
      "INNER JOIN text_assets a ON a.id = l.assetId WHERE l.projectId = ? AND l.type = ? AND "
      "a.archivedAt IS NULL LIMIT 1");
  select.bindText(1, projectId);
  select.bindText(2, rawValue(type));
  if (!select.nextRow()) return std::nullopt;
  return LinkedText{select.textOrEmpty(1), select.textOrEmpty(2), select.text(3)};
}

// Links the project to its own text asset of `type`: a new empty one, or the
// asset of that id when it already exists (archived, or merely unlinked),
// revived with its text kept — a load must never empty a text the user wrote.
// The writes are best effort: should they fail, this load still shows the
// text and the next save writes the asset and its link.
LinkedText linkOwnText(SQLiteDatabase& db, const std::string& projectId, TextAssetType type,
                       std::int64_t nowMs) {
  const std::string assetId = textAssetId(type, projectId);
  Statement existing =
      db.prepare("SELECT title, content, json FROM text_assets WHERE id = ? LIMIT 1");
  existing.bindText(1, assetId);
  const bool exists = existing.nextRow();
  LinkedText text =
      exists ? LinkedText{existing.textOrEmpty(0), existing.textOrEmpty(1), existing.text(2)}
             : LinkedText{std::string(defaultTextTitle(type)), "", std::nullopt};
  existing.reset();
  if (!exists && type == TextAssetType::cv) text.json = encodeCVData(CVData{});
  try {
    upsertTextAsset(db, assetId, type, projectId, text.title, text.content, text.json, nowMs);
    upsertTextLink(db, projectId, type, assetId, nowMs);
  } catch (const DomainError&) {
  }
  return text;
}

void readTexts(SQLiteDatabase& db, const std::string& projectId, std::int64_t nowMs,
               StudioSnapshot& snapshot) {
  for (const TextAssetType type : kTextTypeOrder) {
    std::optional<LinkedText> text = readLinkedText(db, projectId, type);
    if (!text) text = linkOwnText(db, projectId, type, nowMs);
    const TextSlot slot = textSlot(type);
    snapshot.*slot.title = normalizedTextTitle(text->title, type);
    if (type == TextAssetType::cv) {
      snapshot.cv = decodeCVData(text->json.value_or(""));
    } else {
      snapshot.*slot.text = std::move(text->content);
    }
  }
}

// The project's artworks in its order, with their media rows. The media rows
// are read in a query of their own: `media` has no index on `artworkId`, so
// joining it for each artwork would scan the whole table once per artwork.
std::vector<Artwork> readArtworks(SQLiteDatabase& db, const std::string& projectId) {
  MediaRefs media;
  Statement selectMedia = db.prepare(
      "SELECT m.artworkId, m.id, m.mimeType, m.byteSize FROM media m INNER JOIN "
      "project_artworks pa ON pa.artworkId = m.artworkId WHERE pa.projectId = ?");
  selectMedia.bindText(1, projectId);
  while (selectMedia.nextRow()) {
    media.add(selectMedia.textOrEmpty(0),
              MediaRef{selectMedia.textOrEmpty(1), selectMedia.text(2), selectMedia.int64(3)});
  }

  Statement select =
      db.prepare("SELECT " + std::string(kArtworkColumnsBeforeSortIndex) + ", pa.sortIndex, " +
                 std::string(kArtworkColumnsAfterSortIndex) +
                 " FROM project_artworks pa INNER JOIN artworks a ON a.id = pa.artworkId WHERE "
                 "pa.projectId = ? ORDER BY pa.sortIndex ASC, pa.artworkId ASC");
  select.bindText(1, projectId);
  std::vector<Artwork> artworks;
  while (select.nextRow()) {
    Artwork artwork = artworkFromRow(select);
    applyMedia(artwork, media.find(artwork.id));
    artworks.push_back(std::move(artwork));
  }
  return artworks;
}

std::vector<Document> readDocuments(SQLiteDatabase& db, const std::string& projectId) {
  Statement select = db.prepare(
      "SELECT id, projectId, type, title, orientation, createdAt, updatedAt FROM documents "
      "WHERE projectId = ? ORDER BY createdAt ASC, id ASC");
  select.bindText(1, projectId);
  std::vector<Document> documents;
  while (select.nextRow()) {
    documents.push_back(Document{
        .id = select.textOrEmpty(0),
        .projectId = select.textOrEmpty(1),
        .type = fromRawValue<DocumentType>(select.textOrEmpty(2)).value_or(DocumentType::portfolio),
        .title = select.textOrEmpty(3),
        .orientation = decodeOrientation(select.text(4)),
        .createdAt = dateFromMilliseconds(select.int64(5).value_or(0)),
        .updatedAt = dateFromMilliseconds(select.int64(6).value_or(0)),
    });
  }
  return documents;
}

std::vector<DocumentArtworkLink> readDocumentLinks(SQLiteDatabase& db,
                                                   const std::string& projectId) {
  Statement select = db.prepare(
      "SELECT da.id, da.documentId, da.artworkId, da.position FROM document_artworks da "
      "INNER JOIN documents d ON d.id = da.documentId WHERE d.projectId = ? ORDER BY "
      "da.documentId ASC, da.position ASC, da.id ASC");
  select.bindText(1, projectId);
  std::vector<DocumentArtworkLink> links;
  while (select.nextRow()) {
    links.push_back(DocumentArtworkLink{
        .id = select.textOrEmpty(0),
        .documentId = select.textOrEmpty(1),
        .artworkId = select.textOrEmpty(2),
        .position = select.int64(3).value_or(0),
    });
  }
  // A position no list can have (written by another program, or damage)
  // would stop the next save: such a document is numbered afresh in the
  // order read, which is the order its positions gave.
  const auto storable = [](std::int64_t position) {
    return position >= 0 && position <= std::numeric_limits<std::int32_t>::max();
  };
  for (std::size_t begin = 0; begin < links.size();) {
    std::size_t end = begin;
    bool renumber = false;
    while (end < links.size() && links[end].documentId == links[begin].documentId) {
      renumber = renumber || !storable(links[end].position);
      ++end;
    }
    for (std::size_t i = begin; renumber && i < end; ++i) {
      links[i].position = static_cast<std::int64_t>(i - begin);
    }
    begin = end;
  }
  return links;
}

void readSectionTimes(SQLiteDatabase& db, const std::string& projectId, StudioSnapshot& snapshot) {
  Statement select = db.prepare(
      "SELECT section, createdAt, updatedAt FROM section_timestamps WHERE projectId = ?");
  select.bindText(1, projectId);
  while (select.nextRow()) {
    const std::string section = select.textOrEmpty(0);
    for (const SectionTimesSlot& slot : kSectionTimesSlots) {
      if (slot.name != section) continue;
      snapshot.*slot.createdAt = dateFromMilliseconds(select.int64(1));
      snapshot.*slot.updatedAt = dateFromMilliseconds(select.int64(2));
    }
  }
}

}  // namespace

std::optional<LoadedProject> loadProject(SQLiteDatabase& db, const std::string& projectId,
                                         std::int64_t nowMs) {
  std::optional<Project> project = readProjectRow(db, projectId);
  if (!project) return std::nullopt;

  StudioSnapshot snapshot;
  snapshot.artworks.unit = project->unit;
  snapshot.artworks.layoutMode = readLayoutMode(db, projectId);
  snapshot.details = readDetails(db, projectId);
  readTexts(db, projectId, nowMs, snapshot);
  snapshot.artworks.images = readArtworks(db, projectId);
  snapshot.documents = readDocuments(db, projectId);
  snapshot.documentArtworkLinks = readDocumentLinks(db, projectId);
  readSectionTimes(db, projectId, snapshot);
  return LoadedProject{std::move(*project), std::move(snapshot)};
}

}  // namespace quorvane::storage_detail
