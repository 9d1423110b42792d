// Image paths of artworks. An image whose bytes are in the database is
// addressed as "sqlite-media://" + media id, the media id being the artwork's
// own id; any other path names a file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvane {

// "sqlite-media://" + id.
std::string sqliteMediaPath(std::string_view mediaId);

// Whether `path` addresses bytes held in the database.
bool isSqliteMediaPath(std::string_view path);

}  // namespace quorvane
