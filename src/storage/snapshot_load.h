// Reading one project and its snapshot from the database. Internal to
// storage; `SQLiteSnapshotRepository::load` is the public way in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "storage/snapshot_repository.h"
#include "storage/sqlite_database.h"

namespace quorvane::storage_detail {

// Nothing when no project row has `projectId`. A missing live text asset of
// a type is created empty and linked, stamped `nowMs`.
std::optional<LoadedProject> loadProject(SQLiteDatabase& db, const std::string& projectId,
                                         std::int64_t nowMs);

}  // namespace quorvane::storage_detail
