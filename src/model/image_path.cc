#include "model/image_path.h"

#include "model/records.h"

namespace quorvane {

std::string sqliteMediaPath(std::string_view mediaId) {
  return std::string(kSqliteMediaScheme) + std::string(mediaId);
}

bool isSqliteMediaPath(std::string_view path) { return path.starts_with(kSqliteMediaScheme); }

}  // namespace quorvane
