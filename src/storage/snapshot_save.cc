#include "storage/snapshot_save.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "model/image_path.h"
#include "model/raw_value.h"
#include "model/record_json.h"
#include "model/text_assets.h"
#include "platform/uuid.h"
#include "storage/snapshot_rows.h"

namespace quorvane::storage_detail {
namespace {

// Document positions are list indices, checked where they enter (a load
// renumbers what no list can hold); one beyond 32 bits here is refused, and
// the whole save with it, rather than written or ending the program: the
// library keeps its last good state and the user hears why.
std::int64_t requirePosition(std::int64_t position) {
  if (position < std::numeric_limits<std::int32_t>::min() ||
      position > std::numeric_limits<std::int32_t>::max()) {
    throw std::out_of_range("the document position " + std::to_string(position) +
                            " is beyond what a document can hold");
  }
  return position;
}

// A file's bytes when it is no larger than `largest`, its size checked
// before a byte is read (and again after: it may have grown); nothing when
// it can't be read or is too large.
std::optional<Bytes> readBounded(FileSystem& files, const std::string& path,
                                 std::uint64_t largest) {
  try {
    if (files.fileSize(path) > largest) return std::nullopt;
    Bytes bytes = files.readFile(path);
    if (bytes.size() > largest) return std::nullopt;
    return bytes;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// Steps a statement whose row may be refused as a duplicate: true when the
// row was written, false when a constraint refused it. Any other failure
// throws.
int extendedCodeOf(Statement& statement) {
  return sqlite3_extended_errcode(sqlite3_db_handle(statement.handle()));
}

bool stepUnlessConflicting(Statement& statement) {
  const int result = statement.step();
  const int extended = extendedCodeOf(statement);
  statement.reset();
  if (result == SQLITE_DONE) return true;
  if ((result & 0xFF) == SQLITE_CONSTRAINT) return false;  // also as an extended code
  throw statementFailure(result, extended);
}

void stepStrictAndReset(Statement& statement) {
  const int result = statement.step();
  const int extended = extendedCodeOf(statement);
  statement.reset();
  if (result != SQLITE_DONE) throw statementFailure(result, extended);
}

// The media rows of the library, by id and by artwork, read without their
// bytes. A save needs it only when it writes a media row: the rows the
// artwork had under other ids must then go.
class MediaIndex {
 public:
  explicit MediaIndex(SQLiteDatabase& db) {
    Statement select = db.prepare("SELECT id, artworkId FROM media");
    while (select.nextRow()) {
      const std::string id = select.textOrEmpty(0);
      const std::string artworkId = select.textOrEmpty(1);
      artworkOf_[id] = artworkId;
      idsByArtwork_[artworkId].push_back(id);
    }
  }

  const std::vector<std::string>& idsOf(const std::string& artworkId) const {
    static const std::vector<std::string> kNone;
    const auto it = idsByArtwork_.find(artworkId);
    return it == idsByArtwork_.end() ? kNone : it->second;
  }

  bool hasRowsBesidesOwn(const std::string& artworkId) const {
    const std::vector<std::string>& ids = idsOf(artworkId);
    return std::any_of(ids.begin(), ids.end(),
                       [&](const std::string& id) { return id != artworkId; });
  }

  // The artwork's one media row is now its own id; a row of that id that
  // belonged to another artwork has been taken over.
  void recordWritten(const std::string& artworkId) {
    for (const std::string& id : idsOf(artworkId)) artworkOf_.erase(id);
    if (const auto it = artworkOf_.find(artworkId); it != artworkOf_.end()) {
      std::erase(idsByArtwork_[it->second], artworkId);
    }
    artworkOf_[artworkId] = artworkId;
    idsByArtwork_[artworkId] = {artworkId};
  }

 private:
  std::unordered_map<std::string, std::string> artworkOf_;  // media id → artwork id
  std::unordered_map<std::string, std::vector<std::string>> idsByArtwork_;
};

std::unordered_set<std::string> currentMembers(SQLiteDatabase& db, const std::string& projectId) {
  Statement select = db.prepare("SELECT artworkId FROM project_artworks WHERE projectId = ?");
  select.bindText(1, projectId);
  std::unordered_set<std::string> members;
  while (select.nextRow()) members.insert(select.textOrEmpty(0));
  return members;
}

void bindArtworkRow(Statement& upsert, const Artwork& artwork, const std::string& projectId) {
  upsert.bindText(1, artwork.id);
  upsert.bindText(2, projectId);
  upsert.bindText(3, artwork.title);
  upsert.bindText(4, artwork.medium);
  upsert.bindText(5, artwork.year);
  upsert.bindText(6, artwork.artworkWidth);
  upsert.bindText(7, artwork.artworkHeight);
  upsert.bindText(8, artwork.artworkDepth);
  upsert.bindText(9, artwork.artworkText);
  // Pixel sizes are stored as the 64-bit integers they are: whatever a
  // package declared reads back exactly instead of being cut to 32 bits.
  upsert.bindInt64(10, artwork.width);
  upsert.bindInt64(11, artwork.height);
  upsert.bindDouble(12, artwork.aspect);
  upsert.bindInt64(13, std::max<std::int64_t>(artwork.sortIndex, 0));
  upsert.bindOptionalText(
      14, artwork.status ? std::optional<std::string>(rawValue(*artwork.status)) : std::nullopt);
  upsert.bindInt64(15, artwork.priceCents);
  upsert.bindOptionalText(16, artwork.priceCurrency);
  upsert.bindText(17, artwork.sizeWarning);
  upsert.bindInt64(18, std::int64_t{artwork.sizeWarningDismissed ? 1 : 0});
  upsert.bindInt64(19, artwork.imageByteSize);
  upsert.bindInt64(20, artwork.originalByteSize);
}

// Writes one artwork's image bytes into its media row. An artwork's bytes are
// written when they are new — its image path names a file — and otherwise
// left where they are: an artworks save after a title edit reads and writes
// no image at all. The end state is that of rewriting every image — one media
// row per artwork, keyed by the artwork's id, with its MIME type and size —
// except that an unchanged row keeps its `createdAt`, and a MIME type missing
// from a row of an older version stays missing (loads read it as JPEG).
class ImageWriter {
 public:
  ImageWriter(SQLiteDatabase& db, FileSystem& files, const std::string& projectId,
              std::int64_t nowMs, std::vector<StoredImageFile>& storedImages,
              const PrefetchedImages* prefetched)
      : db_(db),
        files_(files),
        prefetched_(prefetched),
        nowMs_(nowMs),
        members_(currentMembers(db, projectId)),
        storedImages_(storedImages) {}

  void write(const Artwork& artwork) {
    if (!artwork.imagePath) return;
    if (isSqliteMediaPath(*artwork.imagePath)) {
      keepInDatabase(artwork);
    } else {
      storeFile(artwork, *artwork.imagePath);
    }
  }

 private:
  // Bytes already in the database stay put. The path "sqlite-media://" + the
  // artwork's own id is what a load or an earlier save gave: its row is in
  // place, and the media table is not even looked at. A path naming another
  // media id shows a row left out of shape by older versions; that row is
  // rewritten from its own bytes under the artwork's id. An artwork that was
  // not yet in the project keeps its media rows exactly as they are.
  void keepInDatabase(const Artwork& artwork) {
    if (*artwork.imagePath == sqliteMediaPath(artwork.id)) return;
    if (!members_.contains(artwork.id)) return;
    const std::vector<std::string>& ids = media().idsOf(artwork.id);
    if (ids.empty()) return;
    const bool hasOwn = std::find(ids.begin(), ids.end(), artwork.id) != ids.end();
    const std::string source = hasOwn ? artwork.id : *std::min_element(ids.begin(), ids.end());
    Statement select = db_.prepare("SELECT blob FROM media WHERE id = ? LIMIT 1");
    select.bindText(1, source);
    if (!select.nextRow() || select.isNull(0)) return;
    const Bytes bytes = select.blob(0);
    select.reset();
    writeMediaRow(artwork, bytes);
  }

  // A file's bytes become the artwork's media row; a file that can't be read,
  // or is larger than the database takes in one value, leaves the artwork
  // without new media, and the save goes on.
  void storeFile(const Artwork& artwork, const std::string& path) {
    std::optional<Bytes> bytes;
    const auto found =
        prefetched_ != nullptr ? prefetched_->find(path) : PrefetchedImages::const_iterator{};
    if (prefetched_ != nullptr && found != prefetched_->end()) {
      bytes = found->second;
    } else {
      const int largest = sqlite3_limit(db_.handle(), SQLITE_LIMIT_LENGTH, -1);
      bytes = readBounded(files_, path, static_cast<std::uint64_t>(largest));
    }
    if (!bytes) return;
    writeMediaRow(artwork, *bytes);
    storedImages_.push_back(StoredImageFile{artwork.id, path});
  }

  void writeMediaRow(const Artwork& artwork, const Bytes& bytes) {
    if (media().hasRowsBesidesOwn(artwork.id)) {
      Statement remove = db_.prepare("DELETE FROM media WHERE artworkId = ? AND id <> ?");
      remove.bindText(1, artwork.id);
      remove.bindText(2, artwork.id);
      remove.stepStrict();
    }
    if (!upsertMedia_) {
      upsertMedia_ = db_.prepare(
          "INSERT INTO media(id, artworkId, mimeType, blob, byteSize, createdAt) "
          "VALUES(?,?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET artworkId=excluded.artworkId, "
          "mimeType=excluded.mimeType, blob=excluded.blob, byteSize=excluded.byteSize, "
          "createdAt=excluded.createdAt");
    }
    upsertMedia_->bindText(1, artwork.id);
    upsertMedia_->bindText(2, artwork.id);
    upsertMedia_->bindText(3, artwork.mimeType);
    upsertMedia_->bindBlob(4, bytes);
    upsertMedia_->bindInt64(5, static_cast<std::int64_t>(bytes.size()));
    upsertMedia_->bindInt64(6, nowMs_);
    stepStrictAndReset(*upsertMedia_);
    media().recordWritten(artwork.id);
  }

  // Read when the first media row is to be written: a save that writes none
  // never reads the media table.
  MediaIndex& media() {
    if (!media_) media_.emplace(db_);
    return *media_;
  }

  SQLiteDatabase& db_;
  FileSystem& files_;
  const PrefetchedImages* prefetched_;
  const std::int64_t nowMs_;
  const std::unordered_set<std::string> members_;
  std::optional<MediaIndex> media_;
  std::optional<Statement> upsertMedia_;
  std::vector<StoredImageFile>& storedImages_;
};

// Memberships of the project that the snapshot no longer lists. Artwork rows
// stay: they remain in the Vault.
void removeOtherMemberships(SQLiteDatabase& db, const std::string& projectId,
                            const std::vector<Artwork>& artworks) {
  if (artworks.empty()) {
    Statement remove = db.prepare("DELETE FROM project_artworks WHERE projectId = ?");
    remove.bindText(1, projectId);
    remove.stepStrict();
    return;
  }
  const int parameterLimit = sqlite3_limit(db.handle(), SQLITE_LIMIT_VARIABLE_NUMBER, -1);
  if (artworks.size() < static_cast<std::size_t>(parameterLimit)) {
    std::string sql = "DELETE FROM project_artworks WHERE projectId = ? AND artworkId NOT IN (";
    for (std::size_t i = 0; i < artworks.size(); ++i) sql += i == 0 ? "?" : ",?";
    sql += ")";
    Statement remove = db.prepare(sql);
    remove.bindText(1, projectId);
    for (std::size_t i = 0; i < artworks.size(); ++i) {
      remove.bindText(static_cast<int>(i + 2), artworks[i].id);
    }
    remove.stepStrict();
    return;
  }
  // More artworks than one statement can name: remove the others one by one.
  std::unordered_set<std::string> kept;
  for (const Artwork& artwork : artworks) kept.insert(artwork.id);
  Statement remove =
      db.prepare("DELETE FROM project_artworks WHERE projectId = ? AND artworkId = ?");
  for (const std::string& member : currentMembers(db, projectId)) {
    if (kept.contains(member)) continue;
    remove.bindText(1, projectId);
    remove.bindText(2, member);
    stepStrictAndReset(remove);
  }
}

}  // namespace

Project projectForWriting(const Project& project, const StudioSnapshot& snapshot, Date now) {
  Project written = project;
  if (written.kind != ProjectKind::catalogue) written.catalogueKind.reset();
  written.unit = snapshot.artworks.unit;
  written.updatedAt = now;
  return written;
}

PrefetchedImages readImageFiles(FileSystem& files, const StudioSnapshot& snapshot,
                                std::uint64_t largestValue) {
  PrefetchedImages images;
  for (const Artwork& artwork : snapshot.artworks.images) {
    if (!artwork.imagePath || isSqliteMediaPath(*artwork.imagePath)) continue;
    if (images.contains(*artwork.imagePath)) continue;
    images.emplace(*artwork.imagePath, readBounded(files, *artwork.imagePath, largestValue));
  }
  return images;
}

SnapshotWriter::SnapshotWriter(SQLiteDatabase& db, FileSystem& files, const Project& project,
                               const StudioSnapshot& snapshot, std::int64_t nowMs,
                               const PrefetchedImages* images)
    : db_(db),
      files_(files),
      project_(project),
      snapshot_(snapshot),
      nowMs_(nowMs),
      images_(images) {}

void SnapshotWriter::writeProjectRow() {
  Statement upsert = db_.prepare(
      "INSERT INTO projects(id, kind, catalogueKind, projectName, projectTitle, projectYear, "
      "locale, currency, unit, orientation, artworkLayoutMode, createdAt, updatedAt) "
      "VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET kind=excluded.kind, "
      "catalogueKind=excluded.catalogueKind, projectName=excluded.projectName, "
      "projectTitle=excluded.projectTitle, projectYear=excluded.projectYear, "
      "locale=excluded.locale, currency=excluded.currency, unit=excluded.unit, "
      "orientation=excluded.orientation, artworkLayoutMode=excluded.artworkLayoutMode, "
      "updatedAt=excluded.updatedAt");
  upsert.bindText(1, project_.id);
  upsert.bindText(2, rawValue(project_.kind));
  upsert.bindOptionalText(3, project_.catalogueKind
                                 ? std::optional<std::string>(rawValue(*project_.catalogueKind))
                                 : std::nullopt);
  upsert.bindText(4, project_.projectName);
  upsert.bindText(5, project_.projectTitle);
  upsert.bindText(6, project_.projectYear);
  upsert.bindText(7, project_.locale);
  upsert.bindOptionalText(8, project_.currency);
  upsert.bindText(9, rawValue(project_.unit));
  upsert.bindText(10, rawValue(project_.orientation));
  upsert.bindText(11, rawValue(snapshot_.artworks.layoutMode));
  upsert.bindInt64(12, millisecondsSince1970(project_.createdAt));
  upsert.bindInt64(13, nowMs_);
  upsert.stepStrict();
}

void SnapshotWriter::readTextLinks() {
  Statement owner = db_.prepare(
      "SELECT a.ownerProjectId FROM project_text_asset_links l INNER JOIN text_assets a ON "
      "a.id = l.assetId WHERE l.projectId = ? AND l.type = ? LIMIT 1");
  Statement linked = db_.prepare(
      "SELECT assetId FROM project_text_asset_links WHERE projectId = ? AND type = ? LIMIT 1");
  for (const TextAssetType type : kTextTypeOrder) {
    owner.bindText(1, project_.id);
    owner.bindText(2, rawValue(type));
    links_[static_cast<std::size_t>(type)].ownerProjectId =
        owner.nextRow() ? owner.textOrEmpty(0) : project_.id;
    owner.reset();
  }
  for (const TextAssetType type : kTextTypeOrder) {
    linked.bindText(1, project_.id);
    linked.bindText(2, rawValue(type));
    links_[static_cast<std::size_t>(type)].assetId =
        linked.nextRow() ? linked.textOrEmpty(0) : textAssetId(type, project_.id);
    linked.reset();
  }
}

const SnapshotWriter::TextLink& SnapshotWriter::link(TextAssetType type) const {
  return links_[static_cast<std::size_t>(type)];
}

void SnapshotWriter::writeDetails() {
  Statement upsert = db_.prepare(
      "INSERT INTO details(projectId, json) VALUES(?,?) ON CONFLICT(projectId) DO UPDATE SET "
      "json=excluded.json");
  upsert.bindText(1, project_.id);
  upsert.bindText(2, encodeArtistDetails(snapshot_.details));
  upsert.stepStrict();
}

void SnapshotWriter::writeText(TextAssetType type) {
  const TextSlot slot = textSlot(type);
  const bool isCV = type == TextAssetType::cv;
  const std::string content = isCV ? std::string() : snapshot_.*slot.text;
  const std::optional<std::string> json =
      isCV ? std::optional<std::string>(encodeCVData(snapshot_.cv)) : std::nullopt;
  const TextLink& target = link(type);
  upsertTextAsset(db_, target.assetId, type, target.ownerProjectId, snapshot_.*slot.title, content,
                  json, nowMs_);
  upsertTextLink(db_, project_.id, type, target.assetId, nowMs_);
}

void SnapshotWriter::touchTextOwner(TextAssetType type) {
  const TextLink& target = link(type);
  if (target.ownerProjectId == project_.id) return;
  Statement touch = db_.prepare("UPDATE projects SET updatedAt = ? WHERE id = ?");
  touch.bindInt64(1, nowMs_);
  touch.bindText(2, target.ownerProjectId);
  touch.stepStrict();
}

void SnapshotWriter::writeArtworks() {
  const std::vector<Artwork>& artworks = snapshot_.artworks.images;
  ImageWriter images(db_, files_, project_.id, nowMs_, storedImages_, images_);
  Statement upsertArtwork = db_.prepare(
      "INSERT INTO artworks(id, projectId, title, medium, year, width, height, depth, "
      "artworkText, imgWidth, imgHeight, aspect, sortIndex, status, priceCents, priceCurrency, "
      "sizeWarning, sizeWarningDismissed, sizeBytes, originalSizeBytes) "
      "VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET "
      "title=excluded.title, medium=excluded.medium, year=excluded.year, "
      "width=excluded.width, height=excluded.height, depth=excluded.depth, "
      "artworkText=excluded.artworkText, imgWidth=excluded.imgWidth, "
      "imgHeight=excluded.imgHeight, aspect=excluded.aspect, sortIndex=excluded.sortIndex, "
      "status=excluded.status, priceCents=excluded.priceCents, "
      "priceCurrency=excluded.priceCurrency, sizeWarning=excluded.sizeWarning, "
      "sizeWarningDismissed=excluded.sizeWarningDismissed, sizeBytes=excluded.sizeBytes, "
      "originalSizeBytes=excluded.originalSizeBytes");
  Statement upsertMembership = db_.prepare(
      "INSERT INTO project_artworks(projectId, artworkId, sortIndex) VALUES(?,?,?) "
      "ON CONFLICT(projectId, artworkId) DO UPDATE SET sortIndex=excluded.sortIndex");
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    const Artwork& artwork = artworks[i];
    bindArtworkRow(upsertArtwork, artwork, project_.id);
    stepStrictAndReset(upsertArtwork);
    upsertMembership.bindText(1, project_.id);
    upsertMembership.bindText(2, artwork.id);
    upsertMembership.bindInt64(3, static_cast<std::int64_t>(i));
    stepStrictAndReset(upsertMembership);
    images.write(artwork);
  }
  removeOtherMemberships(db_, project_.id, artworks);
}

void SnapshotWriter::writeDocuments() {
  std::unordered_set<std::string> artworkIds;
  for (const Artwork& artwork : snapshot_.artworks.images) artworkIds.insert(artwork.id);

  Statement removeAll = db_.prepare("DELETE FROM documents WHERE projectId = ?");
  removeAll.bindText(1, project_.id);
  removeAll.stepStrict();

  // The snapshot's documents are this project's, whatever project id a
  // record carries: stored under another id they would vanish from it.
  std::unordered_set<std::string> documentIds;
  Statement insertDocument = db_.prepare(
      "INSERT INTO documents(id, projectId, type, title, orientation, createdAt, updatedAt) "
      "VALUES(?,?,?,?,?,?,?)");
  for (const Document& document : snapshot_.documents) {
    insertDocument.bindText(1, document.id);
    insertDocument.bindText(2, project_.id);
    insertDocument.bindText(3, rawValue(document.type));
    insertDocument.bindText(4, document.title);
    insertDocument.bindText(5, rawValue(document.orientation));
    insertDocument.bindInt64(6, millisecondsSince1970(document.createdAt));
    insertDocument.bindInt64(7, millisecondsSince1970(document.updatedAt));
    if (stepUnlessConflicting(insertDocument)) documentIds.insert(document.id);
  }

  Statement insertLink = db_.prepare(
      "INSERT INTO document_artworks(id, documentId, artworkId, position) VALUES(?,?,?,?)");
  for (const DocumentArtworkLink& link : snapshot_.documentArtworkLinks) {
    if (!documentIds.contains(link.documentId) || !artworkIds.contains(link.artworkId)) continue;
    insertLink.bindText(1, link.id);
    insertLink.bindText(2, link.documentId);
    insertLink.bindText(3, link.artworkId);
    insertLink.bindInt64(4, requirePosition(link.position));
    stepUnlessConflicting(insertLink);
  }
}

void SnapshotWriter::writeSectionTimes(std::string_view section) {
  for (const SectionTimesSlot& slot : kSectionTimesSlots) {
    if (slot.name != section) continue;
    const std::optional<Date>& createdAt = snapshot_.*slot.createdAt;
    const std::optional<Date>& updatedAt = snapshot_.*slot.updatedAt;
    if (!createdAt && !updatedAt) {
      Statement remove =
          db_.prepare("DELETE FROM section_timestamps WHERE projectId = ? AND section = ?");
      remove.bindText(1, project_.id);
      remove.bindText(2, slot.name);
      remove.stepStrict();
      continue;
    }
    Statement upsert = db_.prepare(
        "INSERT INTO section_timestamps(projectId, section, createdAt, updatedAt) "
        "VALUES(?,?,?,?) ON CONFLICT(projectId, section) DO UPDATE SET "
        "createdAt = excluded.createdAt, updatedAt = excluded.updatedAt");
    upsert.bindText(1, project_.id);
    upsert.bindText(2, slot.name);
    upsert.bindInt64(3, millisecondsSince1970(createdAt));
    upsert.bindInt64(4, millisecondsSince1970(updatedAt));
    upsert.stepStrict();
  }
}

void SnapshotWriter::replaceLabelOverrides(const std::vector<LabelOverrideEntry>& entries) {
  replaceAllLabelOverrides(db_, entries, nowMs_);
}

void SnapshotWriter::writeEverything() {
  writeDetails();
  for (const TextAssetType type : kTextTypeOrder) writeText(type);
  for (const TextAssetType type : kTextTypeOrder) touchTextOwner(type);
  writeArtworks();
  writeDocuments();
  for (const SectionTimesSlot& slot : kSectionTimesSlots) writeSectionTimes(slot.name);
}

// --- label overrides ----------------------------------------------------------

void upsertLabelOverride(SQLiteDatabase& db, const LabelOverrideEntry& entry, std::int64_t nowMs) {
  Statement upsert = db.prepare(
      "INSERT INTO label_overrides(id, scope, locale, key, value, updatedAt) "
      "VALUES(?,?,?,?,?,?) ON CONFLICT(scope,locale,key) DO UPDATE SET value=excluded.value, "
      "updatedAt=excluded.updatedAt");
  upsert.bindText(1, makeUuid());
  upsert.bindText(2, entry.scope);
  upsert.bindText(3, entry.locale);
  upsert.bindText(4, entry.key);
  upsert.bindText(5, entry.value);
  upsert.bindInt64(6, nowMs);
  upsert.stepStrict();
}

void replaceAllLabelOverrides(SQLiteDatabase& db, const std::vector<LabelOverrideEntry>& entries,
                              std::int64_t nowMs) {
  db.prepare("DELETE FROM label_overrides").stepStrict();
  // Each entry through the upsert: should a list name one label twice, the
  // later value wins instead of the whole replacement failing.
  for (const LabelOverrideEntry& entry : entries) upsertLabelOverride(db, entry, nowMs);
}

}  // namespace quorvane::storage_detail
