// Reading a web CV generator's export: the file's bytes, bounded, and the
// JSON they hold, refused whole when it is not one well-formed envelope.
//
// Everything here treats the file as hostile. The size is checked before a
// byte is read, and reading stops one byte past the limit whatever the size
// said (the file may grow meanwhile). Text that nests deeper than a CV ever
// does is refused in one linear pass before any value is built, so neither
// parsing nor destroying the value can recurse deeply. Invalid UTF-8, lone
// surrogates, duplicate keys (which would make one of two values vanish
// unseen) and any syntax error end in `invalid`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "platform/file_system.h"

namespace quorvane {

inline constexpr std::string_view kWebCVKind = "quorvane.cv-session";
inline constexpr std::int64_t kWebCVSchemaVersion = 1;
inline constexpr std::uint64_t kWebCVMaximumFileBytes = 10 * 1024 * 1024;
// envelope → cv → section → entry → value is four levels; a little room for
// what a later generator may nest inside its own export information.
inline constexpr std::size_t kWebCVMaximumDepth = 8;
// Entries a CV section of the file may hold. An artist's longest section
// runs to a few hundred; a file of millions of empty entries fits in 10 MiB.
inline constexpr std::size_t kWebCVMaximumEntriesPerSection = 5000;

// The bytes of the file at `path`. Throws `WebCVImportError` `size` for a
// file over 10 MiB (before reading), `readOrSave` when it can't be read or
// is no regular file (a FIFO is refused, never waited on).
std::string readWebCVFile(FileSystem& files, const std::string& path);

// The envelope `text` holds: an object whose `kind` is "quorvane.cv-session",
// whose `schemaVersion` is 1 and whose `details` and `cv` are objects.
// Throws `WebCVImportError` `size` past 10 MiB and `invalid` for anything
// else that is not such an envelope, a section of more than
// `kWebCVMaximumEntriesPerSection` entries included (saying which).
nlohmann::json parseWebCVEnvelope(std::string_view text);

}  // namespace quorvane
