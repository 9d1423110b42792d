#include "platform/paths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace quorvane {
namespace {

// A variable that holds an absolute path; XDG says to ignore empty and
// relative ones.
const char* variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : nullptr;
}

std::string homeDirectory() {
  if (const char* home = variable("HOME")) return home;
  if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr) {
    return entry->pw_dir;
  }
  return "/tmp";
}

}  // namespace

std::string applicationSupportDirectory() {
  if (const char* data = variable("XDG_DATA_HOME")) return data;
  return homeDirectory() + "/.local/share";
}

std::string preferencesDirectory() {
  const char* config = variable("XDG_CONFIG_HOME");
  return (config != nullptr ? std::string(config) : homeDirectory() + "/.config") + "/Quorvane";
}

std::string cacheDirectory() {
  const char* cache = variable("XDG_CACHE_HOME");
  return (cache != nullptr ? std::string(cache) : homeDirectory() + "/.cache") + "/Quorvane";
}

std::string preferencesFilePath() { return preferencesDirectory() + "/preferences.json"; }

bool isInsideDirectory(const std::string& path, const std::string& directory) {
  namespace fs = std::filesystem;
  // Resolved where possible; else as written, made absolute and normal.
  const auto resolved = [](const std::string& given) {
    std::error_code error;
    fs::path absolute = fs::absolute(given, error);
    if (error) absolute = fs::path(given);
    fs::path canonical = fs::weakly_canonical(absolute, error);
    return error ? absolute.lexically_normal() : canonical;
  };
  const fs::path resolvedPath = resolved(path);
  const fs::path resolvedDirectory = resolved(directory);
  auto file = resolvedPath.begin();
  for (auto part = resolvedDirectory.begin(); part != resolvedDirectory.end(); ++part, ++file) {
    if (part->empty()) continue;  // the trailing "/" of a directory
    if (file == resolvedPath.end() || *file != *part) return false;
  }
  return true;
}

std::string runtimeDirectory() {
  const char* runtime = variable("XDG_RUNTIME_DIR");
  return runtime != nullptr ? runtime : "";
}

std::string temporaryDirectory() {
  if (const char* temporary = variable("TMPDIR")) return temporary;
  return "/tmp";
}

}  // namespace quorvane
