#include "storage/schema.h"

#include <array>
#include <vector>

#include "platform/domain_error.h"

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

// Every table of the current shape with its columns, in creation order.
struct TableShape {
  std::string_view name;
  std::vector<std::string_view> columns;
};

const std::vector<TableShape>& currentShape() {
  static const std::vector<TableShape> shape{
      {"schema_version", {"version"}},
      {"projects",
       {"id", "kind", "catalogueKind", "projectName", "projectTitle", "projectYear", "locale",
        "currency", "unit", "orientation", "artworkLayoutMode", "archivedAt", "createdAt",
        "updatedAt"}},
      {"details", {"projectId", "json"}},
      {"artworks", {"id",          "projectId",
                    "title",       "medium",
                    "year",        "width",
                    "height",      "depth",
                    "artworkText", "imgWidth",
                    "imgHeight",   "aspect",
                    "sortIndex",   "status",
                    "priceCents",  "priceCurrency",
                    "sizeWarning", "sizeWarningDismissed",
                    "sizeBytes",   "originalSizeBytes"}},
      {"project_artworks", {"projectId", "artworkId", "sortIndex"}},
      {"media", {"id", "artworkId", "mimeType", "blob", "byteSize", "createdAt"}},
      {"documents", {"id", "projectId", "type", "title", "orientation", "createdAt", "updatedAt"}},
      {"document_artworks", {"id", "documentId", "artworkId", "position"}},
      {"label_overrides", {"id", "scope", "locale", "key", "value", "updatedAt"}},
      {"section_timestamps", {"projectId", "section", "createdAt", "updatedAt"}},
      {"text_assets",
       {"id", "type", "ownerProjectId", "title", "content", "json", "createdAt", "updatedAt",
        "archivedAt"}},
      {"project_text_asset_links", {"projectId", "type", "assetId", "updatedAt"}},
  };
  return shape;
}

// Whether `migrate` adds this column when a library lacks it.
bool isAddedByMigration(std::string_view table, std::string_view column) {
  for (const AddedColumn& added : kAddedProjectColumns) {
    if (added.table == table && added.column == column) return true;
  }
  return (table == kArtworkTextColumn.table && column == kArtworkTextColumn.column) ||
         (table == kDocumentOrientationColumn.table && column == kDocumentOrientationColumn.column);
}

std::vector<std::string> columnsOf(SQLiteDatabase& db, std::string_view table) {
  std::vector<std::string> columns;
  Statement info = db.prepare("PRAGMA table_info(" + std::string(table) + ")");
  while (info.nextRow()) columns.push_back(info.textOrEmpty(1));
  return columns;
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
  for (const std::string& candidate : names) {
    if (candidate == name) return true;
  }
  return false;
}

bool anyRow(SQLiteDatabase& db, const std::string& sql) {
  Statement probe = db.prepare(sql);
  return probe.nextRow();
}

std::int64_t applicationIdOf(SQLiteDatabase& db) {
  Statement select = db.prepare("PRAGMA application_id");
  return select.nextRow() ? select.int64(0).value_or(0) : 0;
}

// Rows that the normalisation of `migrate` would change, and projects
// without their own text assets or links.
bool rowsNeedMigration(SQLiteDatabase& db) {
  const std::string unnormalised =
      "SELECT 1 FROM projects WHERE projectName IS NULL OR projectName = '' OR projectTitle IS "
      "NULL OR projectTitle = '' OR projectYear IS NULL OR kind NOT IN ('portfolio', "
      "'catalogue') OR (kind = 'portfolio' AND catalogueKind IS NOT NULL) OR (kind = "
      "'catalogue' AND (catalogueKind IS NULL OR catalogueKind = '')) LIMIT 1";
  if (anyRow(db, unnormalised)) return true;
  for (const OwnTextAsset& asset : kOwnTextAssets) {
    const std::string type(asset.type);
    if (anyRow(db,
               "SELECT 1 FROM projects p WHERE NOT EXISTS (SELECT 1 FROM text_assets a "
               "WHERE a.id = 'asset:" +
                   type +
                   ":' || p.id) OR NOT EXISTS (SELECT 1 FROM "
                   "project_text_asset_links l WHERE l.projectId = p.id AND l.type = '" +
                   type + "') LIMIT 1")) {
      return true;
    }
  }
  return false;
}

bool tableExists(SQLiteDatabase& db, const char* probeSql) {
  Statement probe = db.prepare(probeSql);
  return probe.nextRow();
}

void addColumnIfMissing(SQLiteDatabase& db, const AddedColumn& added) {
  if (!hasColumn(db, added.table, added.column)) db.exec(added.sql);
}

}  // namespace

SchemaAssessment assessSchema(SQLiteDatabase& db) {
  SchemaAssessment result;
  std::vector<std::string> tables;
  {
    Statement select = db.prepare("SELECT name FROM sqlite_master WHERE type = 'table'");
    while (select.nextRow()) tables.push_back(select.textOrEmpty(0));
  }
  const std::int64_t applicationId = applicationIdOf(db);
  if (applicationId != 0 && applicationId != kQuorvaneApplicationId) {
    result.problem = "the database belongs to another program (application id " +
                     std::to_string(applicationId) + ")";
    return result;
  }
  if (applicationId == 0 && !tables.empty() && !contains(tables, "projects")) {
    result.problem = "the database holds no Quorvane library";
    return result;
  }
  result.isOurs = true;
  // A newer version may have changed any table: that is known first, and
  // such a library is never taken for a damaged one.
  if (contains(tables, "schema_version") && contains(columnsOf(db, "schema_version"), "version") &&
      anyRow(db, "SELECT 1 FROM schema_version WHERE version > 1 LIMIT 1")) {
    result.isNewer = true;
    result.problem = "a newer version of Quorvane made this library";
    return result;
  }
  result.needsMigration = applicationId != kQuorvaneApplicationId;
  for (const TableShape& table : currentShape()) {
    if (!contains(tables, table.name)) {
      result.needsSchemaChange = true;
      continue;
    }
    const std::vector<std::string> columns = columnsOf(db, table.name);
    for (const std::string_view column : table.columns) {
      if (contains(columns, column)) continue;
      if (!isAddedByMigration(table.name, column)) {
        result.problem = "the table " + std::string(table.name) + " has no column " +
                         std::string(column) + ", which this version can't add";
        return result;
      }
      result.needsSchemaChange = true;
    }
  }
  result.canMigrate = true;
  result.needsMigration = result.needsMigration || result.needsSchemaChange;
  // Rows can be looked at only once every table and column is there.
  if (!result.needsMigration) result.needsMigration = rowsNeedMigration(db);
  return result;
}

void verifyCurrentShape(SQLiteDatabase& db) {
  for (const TableShape& table : currentShape()) {
    const std::vector<std::string> columns = columnsOf(db, table.name);
    for (const std::string_view column : table.columns) {
      if (contains(columns, column)) continue;
      throw DomainError(std::string(kSQLiteDatabaseDomain), 2,
                        "the library's table " + std::string(table.name) + " has no column " +
                            std::string(column),
                        SQLITE_NOTADB);
    }
  }
}

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

  // A table of ours missing a column that no step adds was not made by any
  // version of Quorvane: nothing of the steps above may be kept.
  verifyCurrentShape(db);
  db.exec("PRAGMA application_id = " + std::to_string(kQuorvaneApplicationId) + ";");
}

}  // namespace quorvane
