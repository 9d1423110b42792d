#include "storage/schema.h"

#include <array>

namespace quorvane {

const std::string_view kSchemaScript = R"sql(
CREATE TABLE IF NOT EXISTS schema_version (
  version INTEGER NOT NULL
);
INSERT INTO schema_version(version) SELECT 1 WHERE NOT EXISTS (SELECT 1 FROM schema_version);
CREATE TABLE IF NOT EXISTS projects (
  id TEXT PRIMARY KEY,
  kind TEXT NOT NULL,
  catalogueKind TEXT,
  projectName TEXT,
  projectTitle TEXT,
  projectYear TEXT,
  locale TEXT NOT NULL,
  currency TEXT,
  unit TEXT NOT NULL,
  orientation TEXT,
  artworkLayoutMode TEXT,
  archivedAt INTEGER,
  createdAt INTEGER,
  updatedAt INTEGER
);
CREATE TABLE IF NOT EXISTS details (
  projectId TEXT PRIMARY KEY,
  json TEXT NOT NULL,
  FOREIGN KEY(projectId) REFERENCES projects(id) ON DELETE CASCADE
);
CREATE TABLE IF NOT EXISTS artworks (
  id TEXT PRIMARY KEY,
  projectId TEXT,
  title TEXT,
  medium TEXT,
  year TEXT,
  width TEXT,
  height TEXT,
  depth TEXT,
  artworkText TEXT,
  imgWidth INTEGER,
  imgHeight INTEGER,
  aspect REAL,
  sortIndex INTEGER,
  status TEXT,
  priceCents INTEGER,
  priceCurrency TEXT,
  sizeWarning TEXT,
  sizeWarningDismissed INTEGER,
  sizeBytes INTEGER,
  originalSizeBytes INTEGER
);
CREATE TABLE IF NOT EXISTS project_artworks (
  projectId TEXT NOT NULL,
  artworkId TEXT NOT NULL,
  sortIndex INTEGER NOT NULL,
  PRIMARY KEY(projectId, artworkId),
  FOREIGN KEY(projectId) REFERENCES projects(id) ON DELETE CASCADE,
  FOREIGN KEY(artworkId) REFERENCES artworks(id) ON DELETE RESTRICT
);
CREATE TABLE IF NOT EXISTS media (
  id TEXT PRIMARY KEY,
  artworkId TEXT NOT NULL,
  mimeType TEXT,
  blob BLOB,
  byteSize INTEGER,
  createdAt INTEGER,
  FOREIGN KEY(artworkId) REFERENCES artworks(id) ON DELETE RESTRICT
);
CREATE TABLE IF NOT EXISTS documents (
  id TEXT PRIMARY KEY,
  projectId TEXT NOT NULL,
  type TEXT NOT NULL,
  title TEXT NOT NULL,
  orientation TEXT NOT NULL DEFAULT 'portrait',
  createdAt INTEGER NOT NULL,
  updatedAt INTEGER NOT NULL,
  FOREIGN KEY(projectId) REFERENCES projects(id) ON DELETE CASCADE
);
CREATE TABLE IF NOT EXISTS document_artworks (
  id TEXT PRIMARY KEY,
  documentId TEXT NOT NULL,
  artworkId TEXT NOT NULL,
  position INTEGER NOT NULL,
  FOREIGN KEY(documentId) REFERENCES documents(id) ON DELETE CASCADE,
  FOREIGN KEY(artworkId) REFERENCES artworks(id) ON DELETE RESTRICT,
  UNIQUE(documentId, artworkId)
);
CREATE TABLE IF NOT EXISTS label_overrides (
  id TEXT PRIMARY KEY,
  scope TEXT NOT NULL,
  locale TEXT NOT NULL,
  key TEXT NOT NULL,
  value TEXT NOT NULL,
  updatedAt INTEGER NOT NULL,
  UNIQUE(scope, locale, key)
);
CREATE TABLE IF NOT EXISTS section_timestamps (
  projectId TEXT NOT NULL,
  section TEXT NOT NULL,
  createdAt INTEGER,
  updatedAt INTEGER,
  PRIMARY KEY(projectId, section),
  FOREIGN KEY(projectId) REFERENCES projects(id) ON DELETE CASCADE
);
CREATE TABLE IF NOT EXISTS text_assets (
  id TEXT PRIMARY KEY,
  type TEXT NOT NULL,
  ownerProjectId TEXT NOT NULL,
  title TEXT NOT NULL,
  content TEXT NOT NULL,
  json TEXT,
  createdAt INTEGER,
  updatedAt INTEGER,
  archivedAt INTEGER,
  FOREIGN KEY(ownerProjectId) REFERENCES projects(id) ON DELETE CASCADE
);
CREATE TABLE IF NOT EXISTS project_text_asset_links (
  projectId TEXT NOT NULL,
  type TEXT NOT NULL,
  assetId TEXT NOT NULL,
  updatedAt INTEGER,
  PRIMARY KEY(projectId, type),
  FOREIGN KEY(projectId) REFERENCES projects(id) ON DELETE CASCADE,
  FOREIGN KEY(assetId) REFERENCES text_assets(id) ON DELETE CASCADE
);
)sql";

namespace {

struct AddedColumn {
  std::string_view table;
  std::string_view column;
  const char* sql;
};

// Columns that earlier libraries lack, in the order they are added.
constexpr std::array<AddedColumn, 7> kAddedProjectColumns{{
    {"projects", "artworkLayoutMode", "ALTER TABLE projects ADD COLUMN artworkLayoutMode TEXT;"},
    {"projects", "orientation", "ALTER TABLE projects ADD COLUMN orientation TEXT;"},
    {"projects", "catalogueKind", "ALTER TABLE projects ADD COLUMN catalogueKind TEXT;"},
    {"projects", "projectName", "ALTER TABLE projects ADD COLUMN projectName TEXT;"},
    {"projects", "projectTitle", "ALTER TABLE projects ADD COLUMN projectTitle TEXT;"},
    {"projects", "projectYear", "ALTER TABLE projects ADD COLUMN projectYear TEXT;"},
    {"projects", "archivedAt", "ALTER TABLE projects ADD COLUMN archivedAt INTEGER;"},
}};

constexpr AddedColumn kArtworkTextColumn{"artworks", "artworkText",
                                         "ALTER TABLE artworks ADD COLUMN artworkText TEXT;"};
constexpr AddedColumn kDocumentOrientationColumn{
    "documents", "orientation",
    "ALTER TABLE documents ADD COLUMN orientation TEXT NOT NULL DEFAULT 'portrait';"};

// A project name: the stored one unless empty, else (in libraries that kept
// the name in a column `title`) that title, else "Portfolio".
std::string nameRule(std::string_view column, bool hasLegacyTitle) {
  const std::string name(column);
  std::string rule = "CASE WHEN " + name + " IS NOT NULL AND " + name + " <> '' THEN " + name;
  if (hasLegacyTitle) rule += " WHEN title IS NOT NULL AND title <> '' THEN title";
  return rule + " ELSE 'Portfolio' END";
}

// Every assignment of one UPDATE reads the row's old values, so catalogueKind
// is decided from the kind as it was stored. A declared catalogue without a
// catalogue kind becomes a price list; an unknown kind (the oldest libraries
// stored "raisonne" there) becomes a catalogue raisonné.
std::string normaliseProjectsSql(bool hasLegacyTitle) {
  return "UPDATE projects SET projectName = " + nameRule("projectName", hasLegacyTitle) +
         ", projectTitle = " + nameRule("projectTitle", hasLegacyTitle) +
         ", projectYear = COALESCE(projectYear, ''), catalogueKind = CASE"
         " WHEN kind = 'portfolio' THEN NULL"
         " WHEN kind = 'catalogue' THEN CASE WHEN catalogueKind IS NULL OR catalogueKind = ''"
         " THEN 'price' ELSE catalogueKind END"
         " ELSE CASE WHEN catalogueKind IS NULL OR catalogueKind = '' THEN 'raisonne'"
         " ELSE catalogueKind END END,"
         " kind = CASE WHEN kind = 'portfolio' THEN 'portfolio' ELSE 'catalogue' END;";
}

// Before memberships existed an artwork belonged to the one project named in
// its row. An artwork whose project row is gone has no project to join: it
// stays in the library, and copying it would break the foreign key and with
// it the whole migration.
constexpr const char* kCopyLegacyMemberships = R"sql(
INSERT OR IGNORE INTO project_artworks(projectId, artworkId, sortIndex)
SELECT a.projectId, a.id, COALESCE(a.sortIndex, 0) FROM artworks a
WHERE a.projectId IS NOT NULL AND a.projectId IN (SELECT id FROM projects);
)sql";

// The text assets every project starts with, in the order they are made.
struct OwnTextAsset {
  std::string_view type;
  std::string_view title;
  std::string_view json;  // as SQL
};
constexpr std::array<OwnTextAsset, 4> kOwnTextAssets{{
    {"bio", "Biography", "NULL"},
    {"statement", "Artist statement", "NULL"},
    {"project_statement", "Project Statement", "NULL"},
    {"cv", "CV", "'{}'"},
}};

// Every project, archived ones too, gets its own asset of the type; an
// existing asset of that id is left as it is.
std::string createOwnTextAssetSql(const OwnTextAsset& asset) {
  const std::string type(asset.type);
  return "INSERT OR IGNORE INTO text_assets(id, type, ownerProjectId, title, content, json, "
         "createdAt, updatedAt, archivedAt) SELECT 'asset:" +
         type + ":' || p.id, '" + type + "', p.id, '" + std::string(asset.title) + "', '', " +
         std::string(asset.json) +
         ", COALESCE(p.createdAt, 0), COALESCE(p.updatedAt, p.createdAt, 0), NULL FROM projects p;";
}

// A project that already links another asset of the type keeps that link.
std::string linkOwnTextAssetSql(const OwnTextAsset& asset) {
  const std::string type(asset.type);
  return "INSERT OR IGNORE INTO project_text_asset_links(projectId, type, assetId, updatedAt) "
         "SELECT p.id, '" +
         type + "', 'asset:" + type +
         ":' || p.id, COALESCE(p.updatedAt, p.createdAt, 0) FROM projects p;";
}

bool tableExists(SQLiteDatabase& db, const char* probeSql) {
  Statement probe = db.prepare(probeSql);
  return probe.nextRow();
}

void addColumnIfMissing(SQLiteDatabase& db, const AddedColumn& added) {
  if (!hasColumn(db, added.table, added.column)) db.exec(added.sql);
}

}  // namespace

bool hasColumn(SQLiteDatabase& db, std::string_view table, std::string_view column) {
  Statement info = db.prepare("PRAGMA table_info(" + std::string(table) + ")");
  while (info.nextRow()) {
    if (info.text(1) == column) return true;
  }
  return false;
}

void migrate(SQLiteDatabase& db) {
  const bool hadProjectArtworks =
      tableExists(db, "SELECT 1 FROM sqlite_master WHERE type='table' AND name='project_artworks'");

  db.exec(std::string(kSchemaScript));

  for (const AddedColumn& added : kAddedProjectColumns) addColumnIfMissing(db, added);

  db.exec(normaliseProjectsSql(hasColumn(db, "projects", "title")));

  addColumnIfMissing(db, kArtworkTextColumn);
  addColumnIfMissing(db, kDocumentOrientationColumn);

  if (!hadProjectArtworks) db.exec(kCopyLegacyMemberships);

  for (const OwnTextAsset& asset : kOwnTextAssets) db.exec(createOwnTextAssetSql(asset));
  for (const OwnTextAsset& asset : kOwnTextAssets) db.exec(linkOwnTextAssetSql(asset));
}

}  // namespace quorvane
