// The web CV import's own reads and writes of the library database.
//
// Preparing reads the project's state as a `WebCVPersistenceContext` in one
// deferred transaction. Applying runs in one immediate transaction: it reads
// the context again and stops with `stale` when anything in it changed, then
// writes the replaced groups. A CV that other projects link, or that another
// project owns, is never written: this project gets a copy of its own
// ("asset:cv:…") and the others keep theirs. Any failure rolls everything
// back; the error is a `WebCVPersistenceError`.
//
// Both run on the connection given; the caller serialises its use (the
// snapshot repository's `withDatabase`).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/records.h"
#include "storage/sqlite_database.h"
#include "storage/sqlite_snapshot_repository.h"

namespace quorvane {

inline constexpr std::string_view kWebCVAssetPrefix = "asset:cv:";

struct WebCVPersistenceContext {
  std::string projectId;
  std::string detailsJson;
  std::string cvAssetId;
  std::string cvAssetOwnerProjectId;
  std::string cvAssetTitle;
  std::optional<std::string> cvAssetJson;
  std::vector<std::string> projectsLinkingCV;  // this one included, in id order

  // Replacing the CV must leave the asset to the others.
  bool isCVShared() const;
  bool operator==(const WebCVPersistenceContext&) const = default;
};

// The live project's state. Throws `context` when the project is gone,
// archived, or lacks its details or its CV; `readOrSave` when the database
// can't be read.
WebCVPersistenceContext readWebCVContext(SQLiteDatabase& db, const std::string& projectId);

struct WebCVWrite {
  std::optional<ArtistDetails> details;  // the identity, when replaced
  std::optional<CVData> cv;              // the CV, when replaced
  std::string newCVAssetId;              // the copy's id, used when the CV is shared
};

struct WebCVWritten {
  std::int64_t atMs = 0;                    // the stamp of every row written
  std::optional<std::string> newCVAssetId;  // when a copy was made

  bool operator==(const WebCVWritten&) const = default;
};

// Writes `write` into the project of `expected`, stamped `nowMs`. Throws
// `stale` when the project's state is no longer `expected`, `context` when
// it can no longer take the import, `readOrSave` when a statement fails.
WebCVWritten applyWebCVWrite(SQLiteDatabase& db, const WebCVPersistenceContext& expected,
                             const WebCVWrite& write, std::int64_t nowMs);

// The two operations for whoever holds the library: the store takes them
// through this interface, so tests can put a failing library in its place.
class WebCVRepository {
 public:
  virtual ~WebCVRepository() = default;
  virtual WebCVPersistenceContext readContext(const std::string& projectId) = 0;
  virtual WebCVWritten apply(const WebCVPersistenceContext& expected, const WebCVWrite& write,
                             std::int64_t nowMs) = 0;
};

// On the snapshot repository's connection, under its lock: no save of the
// store runs in between.
class SQLiteWebCVRepository final : public WebCVRepository {
 public:
  explicit SQLiteWebCVRepository(SQLiteSnapshotRepository& repository) : repository_(repository) {}
  WebCVPersistenceContext readContext(const std::string& projectId) override {
    return repository_.withDatabase(
        [&](SQLiteDatabase& db) { return readWebCVContext(db, projectId); });
  }
  WebCVWritten apply(const WebCVPersistenceContext& expected, const WebCVWrite& write,
                     std::int64_t nowMs) override {
    return repository_.withDatabase(
        [&](SQLiteDatabase& db) { return applyWebCVWrite(db, expected, write, nowMs); });
  }

 private:
  SQLiteSnapshotRepository& repository_;
};

}  // namespace quorvane
