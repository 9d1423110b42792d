#include "storage/sqlite_snapshot_repository.h"

#include <unordered_set>

#include "model/raw_value.h"
#include "model/record_json.h"
#include "model/text_assets.h"
#include "platform/uuid.h"
#include "storage/schema.h"
#include "storage/snapshot_load.h"
#include "storage/snapshot_rows.h"
#include "storage/snapshot_save.h"

namespace quorvane {

using storage_detail::SnapshotWriter;

namespace {

// Which pieces the save of one section writes besides the project row. The
// text sections also bring the owner of a shared text up to date.
void writeSection(SnapshotWriter& writer, std::string_view section) {
  if (section == section_name::kDetails) {
    writer.writeDetails();
  } else if (const auto type = fromRawValue<TextAssetType>(section)) {
    writer.writeText(*type);
    writer.touchTextOwner(*type);
  } else if (section == section_name::kArtworks) {
    writer.writeArtworks();
    writer.writeDocuments();
  } else {
    writer.writeEverything();
    return;
  }
  writer.writeSectionTimes(section);
}

// The live text assets other projects may reuse, newest first: asset id,
// project id, project name, title and `lastColumn`, for assets matching
// `filter`, optionally leaving out one project's own (bound as the last
// parameter).
std::string reusableAssetsSql(std::string_view lastColumn, std::string_view filter,
                              bool excludesProject) {
  std::string sql = "SELECT a.id, p.id, COALESCE(p.projectName, ''), a.title, " +
                    std::string(lastColumn) +
                    " FROM text_assets a INNER JOIN projects p ON p.id = a.ownerProjectId WHERE " +
                    std::string(filter) + " AND a.archivedAt IS NULL";
  if (excludesProject) sql += " AND p.id <> ?";
  return sql + " ORDER BY COALESCE(a.updatedAt, p.updatedAt, p.createdAt, 0) DESC";
}

std::int64_t countOf(SQLiteDatabase& db, const char* sql) {
  Statement count = db.prepare(sql);
  return count.nextRow() ? count.int64(0).value_or(0) : 0;
}

}  // namespace

SQLiteSnapshotRepository::SQLiteSnapshotRepository(SQLiteDatabase db, const Clock& clock,
                                                   FileSystem& files)
    : db_(std::move(db)),
      clock_(clock),
      files_(files),
      largestValue_(
          static_cast<std::uint64_t>(sqlite3_limit(db_.handle(), SQLITE_LIMIT_LENGTH, -1))) {
  // Looking first keeps a start from writing (and from waiting for another
  // process's write) when there is nothing to change; the look is repeated
  // inside the transaction, where no other process can change the answer.
  if (db_.isReadOnly()) {
    const SchemaAssessment assessment = assessSchema(db_);
    if (!assessment.isOurs || !assessment.canMigrate || assessment.needsSchemaChange) {
      throw DomainError(std::string(kSQLiteDatabaseDomain), 1,
                        assessment.problem.empty()
                            ? "the library needs updating and can't be written"
                            : assessment.problem,
                        SQLITE_READONLY);
    }
    return;
  }
  const auto assessedForWriting = [&] {
    const SchemaAssessment assessment = assessSchema(db_);
    if (!assessment.isOurs || !assessment.canMigrate) {
      throw DomainError(std::string(kSQLiteDatabaseDomain), 2, assessment.problem, SQLITE_NOTADB);
    }
    return assessment;
  };
  if (!assessedForWriting().needsMigration) return;
  withImmediateTransaction(db_, [&] {
    if (assessedForWriting().needsMigration) migrate(db_);
  });
}

std::int64_t SQLiteSnapshotRepository::nowMs() const { return millisecondsSince1970(clock_.now()); }

// --- projects and snapshots -----------------------------------------------------

std::optional<LoadedProject> SQLiteSnapshotRepository::load(const std::string& projectId) {
  const std::lock_guard lock(mutex_);
  return storage_detail::loadProject(db_, projectId, nowMs());
}

template <typename WriteBody>
SavedProject SQLiteSnapshotRepository::runSave(const Project& project,
                                               const StudioSnapshot& snapshot, bool writesArtworks,
                                               WriteBody&& writeBody) {
  // New image files are read first, outside the lock and the transaction:
  // a slow disk never holds the library for this process or another.
  std::optional<storage_detail::PrefetchedImages> images;
  if (writesArtworks) images = storage_detail::readImageFiles(files_, snapshot, largestValue_);
  const std::lock_guard lock(mutex_);
  // One "now" for every time the save writes; as a date it is exactly what
  // reading the stored milliseconds back gives.
  const std::int64_t now = nowMs();
  const Project written =
      storage_detail::projectForWriting(project, snapshot, dateFromMilliseconds(now));
  return withImmediateTransaction(db_, [&] {
    SnapshotWriter writer(db_, files_, written, snapshot, now, images ? &*images : nullptr);
    writer.writeProjectRow();
    writer.readTextLinks();
    writeBody(writer, now);
    return SavedProject{written, writer.storedImages()};
  });
}

SavedProject SQLiteSnapshotRepository::save(const Project& project,
                                            const StudioSnapshot& snapshot) {
  return runSave(project, snapshot, true,
                 [](SnapshotWriter& writer, std::int64_t) { writer.writeEverything(); });
}

SavedProject SQLiteSnapshotRepository::saveWhole(const Project& project,
                                                 const StudioSnapshot& snapshot,
                                                 const std::vector<std::string>& forgotten) {
  return runSave(project, snapshot, true, [&](SnapshotWriter& writer, std::int64_t) {
    writer.writeEverything();
    for (const std::string& artworkId : forgotten) {
      Statement shown = db_.prepare("SELECT 1 FROM project_artworks WHERE artworkId = ? LIMIT 1");
      shown.bindText(1, artworkId);
      if (shown.nextRow()) continue;
      shown.reset();
      // Children before the artwork, so that no foreign key is left dangling.
      for (const char* sql :
           {"DELETE FROM document_artworks WHERE artworkId = ?",
            "DELETE FROM media WHERE artworkId = ?", "DELETE FROM artworks WHERE id = ?"}) {
        Statement remove = db_.prepare(sql);
        remove.bindText(1, artworkId);
        remove.stepStrict();
      }
    }
  });
}

SavedProject SQLiteSnapshotRepository::save(const Project& project, const StudioSnapshot& snapshot,
                                            std::string_view section) {
  return runSave(
      project, snapshot, section == "artworks",
      [section](SnapshotWriter& writer, std::int64_t) { writeSection(writer, section); });
}

SavedProject SQLiteSnapshotRepository::saveImportedProject(
    const Project& project, const StudioSnapshot& snapshot,
    const std::vector<LabelOverrideEntry>& labelOverrides) {
  return runSave(project, snapshot, true, [&](SnapshotWriter& writer, std::int64_t now) {
    writer.writeEverything();
    storage_detail::replaceAllLabelOverrides(db_, labelOverrides, now);
  });
}

// --- lists and queries --------------------------------------------------------

namespace {

// Projects in the order given, live ones or deleted ones.
std::vector<ProjectSummary> summariesWhere(SQLiteDatabase& db, std::string_view filterAndOrder) {
  Statement select = db.prepare(
      "SELECT id, projectName, projectTitle, createdAt, updatedAt, kind, catalogueKind, "
      "(SELECT pa.artworkId FROM project_artworks pa WHERE pa.projectId = projects.id "
      "ORDER BY pa.sortIndex LIMIT 1), "
      "(SELECT COUNT(*) FROM project_artworks pa WHERE pa.projectId = projects.id), archivedAt "
      "FROM projects WHERE " +
      std::string(filterAndOrder));
  std::vector<ProjectSummary> summaries;
  while (select.nextRow()) {
    // The kinds read as the project's own are, leniently.
    const ProjectKind kind = decodeProjectKind(select.text(5));
    summaries.push_back(ProjectSummary{
        .id = select.text(0).value_or(std::string(kLegacySingleProjectId)),
        .projectName = select.textOrEmpty(1),
        .projectTitle = select.textOrEmpty(2),
        .createdAt = dateFromMilliseconds(select.int64(3)),
        .updatedAt = dateFromMilliseconds(select.int64(4)),
        .kind = kind,
        .catalogueKind = decodeCatalogueKind(kind, select.text(6)),
        .coverArtworkId = select.text(7),
        .artworkCount = select.int64(8).value_or(0),
        .deletedAt = dateFromMilliseconds(select.int64(9)),
    });
  }
  return summaries;
}

}  // namespace

std::vector<ProjectSummary> SQLiteSnapshotRepository::projectSummaries() {
  const std::lock_guard lock(mutex_);
  return summariesWhere(db_, "archivedAt IS NULL ORDER BY COALESCE(updatedAt, createdAt, 0) DESC");
}

std::vector<ProjectSummary> SQLiteSnapshotRepository::deletedProjectSummaries() {
  const std::lock_guard lock(mutex_);
  return summariesWhere(db_, "archivedAt IS NOT NULL ORDER BY archivedAt DESC");
}

bool SQLiteSnapshotRepository::restoreProject(const std::string& projectId) {
  const std::lock_guard lock(mutex_);
  Statement restore =
      db_.prepare("UPDATE projects SET archivedAt = NULL WHERE id = ? AND archivedAt IS NOT NULL");
  restore.bindText(1, projectId);
  restore.stepStrict();
  return db_.changes() > 0;
}

std::optional<ArtistDetails> SQLiteSnapshotRepository::latestDetails() {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare(
      "SELECT d.json FROM details d INNER JOIN projects p ON p.id = d.projectId WHERE "
      "p.archivedAt IS NULL ORDER BY COALESCE(p.updatedAt, p.createdAt, 0) DESC LIMIT 1");
  if (!select.nextRow()) return std::nullopt;
  return decodeArtistDetails(select.textOrEmpty(0));
}

std::vector<ProjectRef> SQLiteSnapshotRepository::projectsWithDetails(
    const std::string& excludingProjectId, const ArtistDetails& details) {
  const std::lock_guard lock(mutex_);
  // Compared as records, not as stored text: an older encoding of the same
  // details is the same details.
  Statement select = db_.prepare(
      "SELECT p.id, p.projectName, d.json FROM details d INNER JOIN projects p ON p.id = "
      "d.projectId WHERE p.archivedAt IS NULL AND p.id <> ? "
      "ORDER BY p.projectName COLLATE NOCASE, p.id");
  select.bindText(1, excludingProjectId);
  std::vector<ProjectRef> projects;
  while (select.nextRow()) {
    if (decodeArtistDetails(select.textOrEmpty(2)) != details) continue;
    projects.push_back({select.textOrEmpty(0), select.textOrEmpty(1)});
  }
  return projects;
}

void SQLiteSnapshotRepository::writeDetails(const std::vector<std::string>& projectIds,
                                            const ArtistDetails& details) {
  const std::lock_guard lock(mutex_);
  const std::int64_t now = nowMs();
  const std::string json = encodeArtistDetails(details);
  withImmediateTransaction(db_, [&] {
    Statement upsert = db_.prepare(
        "INSERT INTO details(projectId, json) VALUES(?,?) ON CONFLICT(projectId) DO UPDATE SET "
        "json=excluded.json");
    Statement stamp = db_.prepare(
        "INSERT INTO section_timestamps(projectId, section, createdAt, updatedAt) "
        "VALUES(?,?,?,?) ON CONFLICT(projectId, section) DO UPDATE SET "
        "updatedAt = excluded.updatedAt");
    for (const std::string& id : projectIds) {
      upsert.bindText(1, id);
      upsert.bindText(2, json);
      upsert.stepStrict();
      upsert.reset();
      stamp.bindText(1, id);
      stamp.bindText(2, section_name::kDetails);
      stamp.bindInt64(3, now);
      stamp.bindInt64(4, now);
      stamp.stepStrict();
      stamp.reset();
    }
  });
}

void SQLiteSnapshotRepository::archiveProject(const std::string& projectId) {
  const std::lock_guard lock(mutex_);
  Statement archive = db_.prepare("UPDATE projects SET archivedAt = ? WHERE id = ?");
  archive.bindInt64(1, nowMs());
  archive.bindText(2, projectId);
  archive.stepStrict();
}

std::vector<ReusableTextAsset> SQLiteSnapshotRepository::reusableTexts(
    TextAssetType type, const std::optional<std::string>& excludingProjectId) {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare(reusableAssetsSql(
      "a.content", "a.type = ? AND TRIM(a.content) <> ''", excludingProjectId.has_value()));
  select.bindText(1, rawValue(type));
  if (excludingProjectId) select.bindText(2, *excludingProjectId);
  std::vector<ReusableTextAsset> texts;
  while (select.nextRow()) {
    if (select.isNull(0) || select.isNull(1) || select.isNull(4)) continue;
    texts.push_back(ReusableTextAsset{
        .id = select.textOrEmpty(0),
        .sourceProjectId = select.textOrEmpty(1),
        .sourceProjectName = select.textOrEmpty(2),
        .title = select.textOrEmpty(3),
        .content = select.textOrEmpty(4),
    });
  }
  return texts;
}

std::vector<ReusableCVAsset> SQLiteSnapshotRepository::reusableCVs(
    const std::optional<std::string>& excludingProjectId) {
  const std::lock_guard lock(mutex_);
  Statement select =
      db_.prepare(reusableAssetsSql("a.json", "a.type = 'cv'", excludingProjectId.has_value()));
  if (excludingProjectId) select.bindText(1, *excludingProjectId);
  std::vector<ReusableCVAsset> cvs;
  while (select.nextRow()) {
    if (select.isNull(0) || select.isNull(1)) continue;
    cvs.push_back(ReusableCVAsset{
        .id = select.textOrEmpty(0),
        .sourceProjectId = select.textOrEmpty(1),
        .sourceProjectName = select.textOrEmpty(2),
        .title = select.textOrEmpty(3),
        .cv = decodeCVData(select.textOrEmpty(4)),
    });
  }
  return cvs;
}

std::vector<ReusableArtworkAsset> SQLiteSnapshotRepository::reusableArtworks(
    const std::optional<std::string>& currentProjectId) {
  const std::lock_guard lock(mutex_);
  std::string sql =
      "SELECT a.id, COALESCE(MIN(source.projectId), a.projectId, ''), "
      "COALESCE(MIN(p.projectName), '') FROM artworks a LEFT JOIN project_artworks source ON "
      "source.artworkId = a.id LEFT JOIN projects p ON p.id = source.projectId WHERE 1 = 1";
  if (currentProjectId) {
    sql +=
        " AND NOT EXISTS (SELECT 1 FROM project_artworks current WHERE current.projectId = ? "
        "AND current.artworkId = a.id)";
  }
  sql +=
      " GROUP BY a.id ORDER BY MAX(COALESCE(p.updatedAt, p.createdAt, 0)) DESC, "
      "a.sortIndex ASC, a.id ASC";
  Statement select = db_.prepare(sql);
  if (currentProjectId) select.bindText(1, *currentProjectId);
  std::vector<ReusableArtworkAsset> assets;
  while (select.nextRow()) {
    if (select.isNull(0)) continue;
    assets.push_back(ReusableArtworkAsset{
        .id = select.textOrEmpty(0),
        .sourceProjectId = select.textOrEmpty(1),
        .sourceProjectName = select.textOrEmpty(2),
        .artwork = {},
    });
  }
  if (assets.empty()) return assets;

  // The media rows without their bytes; the byte size, which is stored after
  // the image, only for the rows shown.
  storage_detail::MediaRefs media;
  Statement selectMedia = db_.prepare("SELECT artworkId, id, mimeType FROM media");
  while (selectMedia.nextRow()) {
    media.add(selectMedia.textOrEmpty(0),
              {selectMedia.textOrEmpty(1), selectMedia.text(2), std::nullopt});
  }
  Statement selectArtwork =
      db_.prepare("SELECT " + std::string(storage_detail::kArtworkColumnsBeforeSortIndex) +
                  ", a.sortIndex, " + std::string(storage_detail::kArtworkColumnsAfterSortIndex) +
                  " FROM artworks a WHERE a.id = ? LIMIT 1");
  Statement selectByteSize = db_.prepare("SELECT byteSize FROM media WHERE id = ? LIMIT 1");
  for (ReusableArtworkAsset& asset : assets) {
    selectArtwork.bindText(1, asset.id);
    if (selectArtwork.nextRow()) asset.artwork = storage_detail::artworkFromRow(selectArtwork);
    selectArtwork.reset();
    std::optional<storage_detail::MediaRef> ref;
    if (const storage_detail::MediaRef* found = media.find(asset.id)) {
      ref = *found;
      selectByteSize.bindText(1, ref->id);
      if (selectByteSize.nextRow()) ref->byteSize = selectByteSize.int64(0);
      selectByteSize.reset();
    }
    storage_detail::applyMedia(asset.artwork, ref ? &*ref : nullptr);
  }
  return assets;
}

LibraryKPIOverview SQLiteSnapshotRepository::libraryCounts() {
  const std::lock_guard lock(mutex_);
  // A section counts once it has been edited; archived projects don't count.
  return LibraryKPIOverview{
      .cvCount = countOf(db_,
                         "SELECT COUNT(*) FROM section_timestamps s INNER JOIN projects p ON "
                         "p.id = s.projectId WHERE p.archivedAt IS NULL AND s.section = 'cv' "
                         "AND COALESCE(s.updatedAt, s.createdAt, 0) > 0"),
      .bioCount = countOf(db_,
                          "SELECT COUNT(*) FROM section_timestamps s INNER JOIN projects p ON "
                          "p.id = s.projectId WHERE p.archivedAt IS NULL AND s.section = 'bio' "
                          "AND COALESCE(s.updatedAt, s.createdAt, 0) > 0"),
      .statementCount =
          countOf(db_,
                  "SELECT COUNT(*) FROM section_timestamps s INNER JOIN projects p ON p.id = "
                  "s.projectId WHERE p.archivedAt IS NULL AND s.section IN ('statement', "
                  "'project_statement') AND COALESCE(s.updatedAt, s.createdAt, 0) > 0"),
      .artworksCount = countOf(db_,
                               "SELECT COUNT(*) FROM artworks a INNER JOIN projects p ON p.id = "
                               "a.projectId WHERE p.archivedAt IS NULL"),
  };
}

std::set<std::string> SQLiteSnapshotRepository::artworkIds() {
  const std::lock_guard lock(mutex_);
  std::set<std::string> ids;
  Statement select = db_.prepare("SELECT id FROM artworks");
  while (select.nextRow()) ids.insert(select.textOrEmpty(0));
  return ids;
}

std::vector<std::string> SQLiteSnapshotRepository::artworksInNoProject() {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare(
      "SELECT a.id FROM artworks a WHERE NOT EXISTS (SELECT 1 FROM project_artworks pa JOIN "
      "projects p ON p.id = pa.projectId WHERE pa.artworkId = a.id AND p.archivedAt IS NULL) "
      "ORDER BY a.rowid");
  std::vector<std::string> ids;
  while (select.nextRow()) ids.push_back(select.textOrEmpty(0));
  return ids;
}

std::vector<std::string> SQLiteSnapshotRepository::artworksAwaitingImages(
    const std::vector<std::string>& artworkIds) {
  const std::lock_guard lock(mutex_);
  std::unordered_set<std::string> awaiting;
  Statement select = db_.prepare(
      "SELECT id FROM artworks WHERE NOT EXISTS (SELECT 1 FROM media WHERE media.artworkId = "
      "artworks.id)");
  while (select.nextRow()) awaiting.insert(select.textOrEmpty(0));
  std::vector<std::string> ids;
  for (const std::string& id : artworkIds) {
    if (awaiting.contains(id)) ids.push_back(id);
  }
  return ids;
}

bool SQLiteSnapshotRepository::saveFinishedImage(const Artwork& artwork,
                                                 std::span<const std::uint8_t> webImage) {
  const std::lock_guard lock(mutex_);
  const std::int64_t now = nowMs();
  return withImmediateTransaction(db_, [&] {
    Statement update = db_.prepare(
        "UPDATE artworks SET imgWidth = ?, imgHeight = ?, aspect = ?, sizeWarning = ?, "
        "sizeWarningDismissed = ?, sizeBytes = ?, originalSizeBytes = ? WHERE id = ?");
    update.bindInt64(1, artwork.width);
    update.bindInt64(2, artwork.height);
    update.bindDouble(3, artwork.aspect);
    update.bindText(4, artwork.sizeWarning);
    update.bindInt64(5, std::int64_t{artwork.sizeWarningDismissed ? 1 : 0});
    update.bindInt64(6, artwork.imageByteSize);
    update.bindInt64(7, artwork.originalByteSize);
    update.bindText(8, artwork.id);
    update.stepStrict();
    if (sqlite3_changes(db_.handle()) == 0) return false;
    Statement others = db_.prepare("DELETE FROM media WHERE artworkId = ? AND id <> ?");
    others.bindText(1, artwork.id);
    others.bindText(2, artwork.id);
    others.stepStrict();
    Statement media = db_.prepare(
        "INSERT INTO media(id, artworkId, mimeType, blob, byteSize, createdAt) VALUES(?,?,?,?,?,?) "
        "ON CONFLICT(id) DO UPDATE SET artworkId=excluded.artworkId, mimeType=excluded.mimeType, "
        "blob=excluded.blob, byteSize=excluded.byteSize, createdAt=excluded.createdAt");
    media.bindText(1, artwork.id);
    media.bindText(2, artwork.id);
    media.bindText(3, artwork.mimeType);
    media.bindBlob(4, webImage);
    media.bindInt64(5, static_cast<std::int64_t>(webImage.size()));
    media.bindInt64(6, now);
    media.stepStrict();
    return true;
  });
}

std::optional<std::vector<std::uint8_t>> SQLiteSnapshotRepository::imageBytes(
    const std::string& artworkId) {
  const std::lock_guard lock(mutex_);
  // Of several rows (left by older versions), the one a load shows: the
  // artwork's own id first, else the smallest id.
  Statement select = db_.prepare(
      "SELECT blob FROM media WHERE artworkId = ? ORDER BY id <> artworkId, id LIMIT 1");
  select.bindText(1, artworkId);
  if (!select.nextRow() || select.isNull(0)) return std::nullopt;
  return select.blob(0);
}

// --- text assets ------------------------------------------------------------------

bool SQLiteSnapshotRepository::attachTextAsset(const std::string& projectId, TextAssetType type,
                                               const std::string& assetId) {
  const std::lock_guard lock(mutex_);
  Statement owner = db_.prepare("SELECT ownerProjectId FROM text_assets WHERE id = ? LIMIT 1");
  owner.bindText(1, assetId);
  if (!owner.nextRow()) return false;
  owner.reset();
  storage_detail::upsertTextLink(db_, projectId, type, assetId, nowMs());
  return true;
}

std::optional<std::string> SQLiteSnapshotRepository::linkedTextAsset(const std::string& projectId,
                                                                     TextAssetType type) {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare(
      "SELECT assetId FROM project_text_asset_links WHERE projectId = ? AND type = ? LIMIT 1");
  select.bindText(1, projectId);
  select.bindText(2, rawValue(type));
  if (!select.nextRow()) return std::nullopt;
  return select.textOrEmpty(0);
}

std::vector<ProjectRef> SQLiteSnapshotRepository::projectsSharingText(const std::string& projectId,
                                                                      TextAssetType type) {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare(
      "SELECT p.id, p.projectName FROM project_text_asset_links mine "
      "JOIN project_text_asset_links other ON other.assetId = mine.assetId AND other.type = "
      "mine.type AND other.projectId <> mine.projectId "
      "JOIN projects p ON p.id = other.projectId AND p.archivedAt IS NULL "
      "WHERE mine.projectId = ? AND mine.type = ? ORDER BY p.projectName COLLATE NOCASE, p.id");
  select.bindText(1, projectId);
  select.bindText(2, rawValue(type));
  std::vector<ProjectRef> projects;
  while (select.nextRow()) projects.push_back({select.textOrEmpty(0), select.textOrEmpty(1)});
  return projects;
}

std::string SQLiteSnapshotRepository::createTextAsset(const std::string& projectId,
                                                      TextAssetType type) {
  const std::lock_guard lock(mutex_);
  const std::int64_t now = nowMs();
  return withImmediateTransaction(db_, [&] {
    // The project's own id for the type when it is free; otherwise (its
    // first asset still exists, perhaps reused elsewhere) a fresh one.
    std::string assetId = textAssetId(type, projectId);
    Statement taken = db_.prepare("SELECT id FROM text_assets WHERE id = ? LIMIT 1");
    taken.bindText(1, assetId);
    if (taken.nextRow()) assetId.append(":").append(makeUuid());
    taken.reset();

    Statement insert = db_.prepare(
        "INSERT INTO text_assets(id, type, ownerProjectId, title, content, json, createdAt, "
        "updatedAt, archivedAt) VALUES(?,?,?,?,?,?,?,?,NULL)");
    insert.bindText(1, assetId);
    insert.bindText(2, rawValue(type));
    insert.bindText(3, projectId);
    insert.bindText(4, defaultTextTitle(type));
    insert.bindText(5, std::string_view());
    insert.bindOptionalText(
        6, type == TextAssetType::cv ? std::optional(encodeCVData(CVData{})) : std::nullopt);
    insert.bindInt64(7, now);
    insert.bindInt64(8, now);
    insert.stepStrict();
    storage_detail::upsertTextLink(db_, projectId, type, assetId, now);
    return assetId;
  });
}

void SQLiteSnapshotRepository::deleteAllLibraryData() {
  const std::lock_guard lock(mutex_);
  // Children before parents, so that no foreign key is ever left dangling.
  withImmediateTransaction(db_, [&] {
    for (const char* sql :
         {"DELETE FROM document_artworks;", "DELETE FROM documents;",
          "DELETE FROM project_text_asset_links;", "DELETE FROM text_assets;",
          "DELETE FROM project_artworks;", "DELETE FROM media;", "DELETE FROM artworks;",
          "DELETE FROM details;", "DELETE FROM section_timestamps;", "DELETE FROM projects;"}) {
      db_.exec(sql);
    }
  });
}

// --- label overrides ----------------------------------------------------------------

std::optional<std::string> SQLiteSnapshotRepository::labelOverride(const std::string& scope,
                                                                   const std::string& locale,
                                                                   const std::string& key) {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare(
      "SELECT value FROM label_overrides WHERE scope = ? AND locale = ? AND key = ? LIMIT 1");
  select.bindText(1, scope);
  select.bindText(2, locale);
  select.bindText(3, key);
  if (!select.nextRow()) return std::nullopt;
  return select.text(0);
}

std::map<std::string, std::string> SQLiteSnapshotRepository::labelOverrides(
    const std::string& scope, const std::string& locale) {
  const std::lock_guard lock(mutex_);
  Statement select =
      db_.prepare("SELECT key, value FROM label_overrides WHERE scope = ? AND locale = ?");
  select.bindText(1, scope);
  select.bindText(2, locale);
  std::map<std::string, std::string> overrides;
  while (select.nextRow()) overrides[select.textOrEmpty(0)] = select.textOrEmpty(1);
  return overrides;
}

std::vector<LabelOverrideEntry> SQLiteSnapshotRepository::allLabelOverrides() {
  const std::lock_guard lock(mutex_);
  Statement select = db_.prepare("SELECT scope, locale, key, value FROM label_overrides");
  std::vector<LabelOverrideEntry> entries;
  while (select.nextRow()) {
    entries.push_back(LabelOverrideEntry{select.textOrEmpty(0), select.textOrEmpty(1),
                                         select.textOrEmpty(2), select.textOrEmpty(3)});
  }
  return entries;
}

void SQLiteSnapshotRepository::upsertLabelOverride(const LabelOverrideEntry& entry) {
  const std::lock_guard lock(mutex_);
  storage_detail::upsertLabelOverride(db_, entry, nowMs());
}

void SQLiteSnapshotRepository::replaceAllLabelOverrides(
    const std::vector<LabelOverrideEntry>& entries) {
  const std::lock_guard lock(mutex_);
  const std::int64_t now = nowMs();
  withImmediateTransaction(db_,
                           [&] { storage_detail::replaceAllLabelOverrides(db_, entries, now); });
}

}  // namespace quorvane
