#include "webcv/web_cv_persistence.h"

#include <algorithm>

#include "model/record_json.h"
#include "webcv/web_cv_errors.h"

namespace quorvane {
namespace {

using Code = WebCVImportErrorCode;

std::optional<std::string> singleText(SQLiteDatabase& db, const char* sql,
                                      const std::string& parameter) {
  Statement statement = db.prepare(sql);
  statement.bindText(1, parameter);
  if (!statement.nextRow()) return std::nullopt;
  return statement.textOrEmpty(0);
}

WebCVPersistenceContext readContextRows(SQLiteDatabase& db, const std::string& projectId) {
  WebCVPersistenceContext context;
  context.projectId = projectId;
  if (!singleText(db, "SELECT id FROM projects WHERE id = ? AND archivedAt IS NULL", projectId)) {
    throw WebCVPersistenceError(Code::context, "no live project " + projectId);
  }
  const auto details = singleText(db, "SELECT json FROM details WHERE projectId = ?", projectId);
  const auto assetId = singleText(
      db, "SELECT assetId FROM project_text_asset_links WHERE projectId = ? AND type = 'cv'",
      projectId);
  if (!details || !assetId) throw WebCVPersistenceError(Code::context, "no details or CV");
  context.detailsJson = *details;
  context.cvAssetId = *assetId;
  Statement asset = db.prepare(
      "SELECT ownerProjectId, title, json FROM text_assets WHERE id = ? AND type = 'cv'");
  asset.bindText(1, *assetId);
  if (!asset.nextRow()) throw WebCVPersistenceError(Code::context, "CV asset missing");
  context.cvAssetOwnerProjectId = asset.textOrEmpty(0);
  context.cvAssetTitle = asset.textOrEmpty(1);
  context.cvAssetJson = asset.text(2);
  Statement links = db.prepare(
      "SELECT projectId FROM project_text_asset_links WHERE assetId = ? AND type = 'cv' "
      "ORDER BY projectId");
  links.bindText(1, *assetId);
  while (links.nextRow()) context.projectsLinkingCV.push_back(links.textOrEmpty(0));
  return context;
}

// Database failures become `readOrSave`; the import's own errors pass.
template <typename Work>
auto translatingFailures(Work&& work) {
  try {
    return work();
  } catch (const WebCVImportError&) {
    throw;
  } catch (const std::exception& error) {
    throw WebCVPersistenceError(Code::readOrSave, error.what());
  }
}

void upsertSectionTime(SQLiteDatabase& db, const std::string& projectId, const char* section,
                       std::int64_t nowMs) {
  Statement statement = db.prepare(
      std::string("INSERT INTO section_timestamps(projectId, section, createdAt, updatedAt) "
                  "VALUES(?,'") +
      section +
      "',?,?) ON CONFLICT(projectId,section) DO UPDATE SET createdAt=excluded.createdAt, "
      "updatedAt=excluded.updatedAt");
  statement.bindText(1, projectId);
  statement.bindInt64(2, nowMs);
  statement.bindInt64(3, nowMs);
  statement.stepStrict();
}

void writeDetails(SQLiteDatabase& db, const std::string& projectId, const ArtistDetails& details,
                  std::int64_t nowMs) {
  Statement update = db.prepare("UPDATE details SET json = ? WHERE projectId = ?");
  update.bindText(1, encodeArtistDetails(details));
  update.bindText(2, projectId);
  update.stepStrict();
  upsertSectionTime(db, projectId, "details", nowMs);
}

// Returns the id of the copy, when one was made.
std::optional<std::string> writeCV(SQLiteDatabase& db, const WebCVPersistenceContext& context,
                                   const WebCVWrite& write, std::int64_t nowMs) {
  const std::string json = encodeCVData(*write.cv);
  std::optional<std::string> copy;
  if (!context.isCVShared()) {
    Statement update = db.prepare("UPDATE text_assets SET json = ?, updatedAt = ? WHERE id = ?");
    update.bindText(1, json);
    update.bindInt64(2, nowMs);
    update.bindText(3, context.cvAssetId);
    update.stepStrict();
  } else {
    copy = write.newCVAssetId;
    Statement insert = db.prepare(
        "INSERT INTO text_assets(id,type,ownerProjectId,title,content,json,createdAt,updatedAt,"
        "archivedAt) VALUES(?,'cv',?,?,'',?,?,?,NULL)");
    insert.bindText(1, *copy);
    insert.bindText(2, context.projectId);
    insert.bindText(3, context.cvAssetTitle);
    insert.bindText(4, json);
    insert.bindInt64(5, nowMs);
    insert.bindInt64(6, nowMs);
    insert.stepStrict();
    Statement link = db.prepare(
        "UPDATE project_text_asset_links SET assetId = ?, updatedAt = ? WHERE projectId = ? AND "
        "type = 'cv'");
    link.bindText(1, *copy);
    link.bindInt64(2, nowMs);
    link.bindText(3, context.projectId);
    link.stepStrict();
  }
  upsertSectionTime(db, context.projectId, "cv", nowMs);
  return copy;
}

}  // namespace

bool WebCVPersistenceContext::isCVShared() const {
  return cvAssetOwnerProjectId != projectId ||
         std::any_of(projectsLinkingCV.begin(), projectsLinkingCV.end(),
                     [this](const std::string& id) { return id != projectId; });
}

WebCVPersistenceContext readWebCVContext(SQLiteDatabase& db, const std::string& projectId) {
  return translatingFailures(
      [&] { return withDeferredTransaction(db, [&] { return readContextRows(db, projectId); }); });
}

WebCVWritten applyWebCVWrite(SQLiteDatabase& db, const WebCVPersistenceContext& expected,
                             const WebCVWrite& write, std::int64_t nowMs) {
  if (write.cv && !write.newCVAssetId.starts_with(kWebCVAssetPrefix)) {
    throw std::invalid_argument("a copied CV's id begins with " + std::string(kWebCVAssetPrefix));
  }
  return translatingFailures([&] {
    return withImmediateTransaction(db, [&] {
      if (readContextRows(db, expected.projectId) != expected) {
        throw WebCVPersistenceError(Code::stale);
      }
      WebCVWritten written{nowMs, std::nullopt};
      if (write.details) writeDetails(db, expected.projectId, *write.details, nowMs);
      if (write.cv) written.newCVAssetId = writeCV(db, expected, write, nowMs);
      Statement project = db.prepare("UPDATE projects SET updatedAt = ? WHERE id = ?");
      project.bindInt64(1, nowMs);
      project.bindText(2, expected.projectId);
      project.stepStrict();
      return written;
    });
  });
}

}  // namespace quorvane
