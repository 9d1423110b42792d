// Where Quorvane keeps things on this machine, following the XDG base
// directories.
#pragma once

#include <string>

namespace quorvane {

// $XDG_DATA_HOME, else ~/.local/share: the place of application data.
std::string applicationSupportDirectory();

// $XDG_CONFIG_HOME, else ~/.config, with "Quorvane" inside.
std::string preferencesDirectory();

// $XDG_CACHE_HOME, else ~/.cache, with "Quorvane" inside: what can be made
// again, and may be lost.
std::string cacheDirectory();

// The preferences file inside `preferencesDirectory()`.
std::string preferencesFilePath();

// $TMPDIR, else /tmp.
std::string temporaryDirectory();
// $XDG_RUNTIME_DIR (the user's own folder for this login), or empty.
std::string runtimeDirectory();

// Whether `path` is `directory` or lies somewhere inside it, once symbolic
// links and "..", on the part of each that exists, are resolved.
bool isInsideDirectory(const std::string& path, const std::string& directory);

}  // namespace quorvane
