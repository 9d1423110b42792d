// Reading one project and its snapshot from the database. Internal to
// storage; `SQLiteSnapshotRepository::load` is the public way in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "storage/snapshot_repository.h"
#include "storage/sqlite_database.h"

namespace quorvane::storage_detail {

// Nothing when no project row has `projectId`. Without a live linked text
// asset of a type, the project is linked to its own asset of that type —
// created empty, or revived with its text when it exists — stamped `nowMs`.
std::optional<LoadedProject> loadProject(SQLiteDatabase& db, const std::string& projectId,
                                         std::int64_t nowMs);

}  // namespace quorvane::storage_detail
