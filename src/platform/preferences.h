// The user's small settings ("user defaults"): one JSON object in one file,
// pretty-printed with sorted keys, rewritten atomically on every change.
//
// Reading never fails the program: a missing file is empty preferences; a
// file that is not a JSON object (or larger than any of ours, or nested
// deeper) is renamed aside (kept for the curious, reported in a diagnostic)
// and the defaults apply. A value of another type than asked for reads as
// absent. A file that can be neither read nor set aside is left alone:
// nothing is written over it.
//
// Writing is for the one process that holds the library lock: each change
// reads the file again, changes only its own keys and writes it back, so
// that it never undoes what another run wrote since this one started. A
// write that fails returns false, keeps the value in memory for this run
// and is remembered (`lastWriteFailure`), so the caller can tell the user;
// it is written with the next change that can be. A change that changes
// nothing writes nothing. A file that can't be read just now (a disk
// error) is neither set aside nor written over in this run. Preferences
// opened for reading never write: changes live in memory.
#pragma once

#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/logger.h"

namespace quorvane {

// The keys Quorvane keeps.
namespace preference_key {
inline constexpr std::string_view kCurrentProjectId = "quorvane.currentProjectId";
inline constexpr std::string_view kUiLanguage = "quorvane.uiLanguage";
inline constexpr std::string_view kThemeMode = "quorvane.themeMode";
inline constexpr std::string_view kEditTitlesEnabled = "quorvane.editTitlesEnabled";
inline constexpr std::string_view kInitialUnit = "quorvane.initialUnit";
inline constexpr std::string_view kExportLocale = "quorvane.export.locale";
inline constexpr std::string_view kExportFormat = "quorvane.export.format";
inline constexpr std::string_view kExportIncludeCV = "quorvane.export.includeCV";
inline constexpr std::string_view kExportIncludeBiography = "quorvane.export.includeBiography";
inline constexpr std::string_view kExportIncludeStatement = "quorvane.export.includeStatement";
inline constexpr std::string_view kExportIncludeProjectStatement =
    "quorvane.export.includeProjectStatement";
inline constexpr std::string_view kExportIncludeTableOfContents =
    "quorvane.export.includeTableOfContents";
inline constexpr std::string_view kExportIncludeCoverImage = "quorvane.export.includeCoverImage";
inline constexpr std::string_view kExportShowBiographyTitle = "quorvane.export.showBiographyTitle";
inline constexpr std::string_view kExportShowStatementTitle = "quorvane.export.showStatementTitle";
inline constexpr std::string_view kExportShowProjectStatementTitle =
    "quorvane.export.showProjectStatementTitle";
// The image quality of exports ("web" or "print"), remembered like the
// other export options.
inline constexpr std::string_view kExportImageQuality = "quorvane.export.imageQuality";
inline constexpr std::string_view kCompletePortfolioExportCount =
    "quorvane.completePortfolioExportCount";
inline constexpr std::string_view kLastExportAt = "quorvane.projectData.lastExportAt";
inline constexpr std::string_view kLastImportAt = "quorvane.projectData.lastImportAt";
inline constexpr std::string_view kBackupReminderState = "quorvane.backupReminder.state.v1";
inline constexpr std::string_view kAutosaveBadgePrimedSections =
    "quorvane.autosaveBadgePrimedSections.v1";
inline constexpr std::string_view kPendingFinalizationArtworkIds =
    "quorvane.importFinalization.pendingArtworkIds";
inline constexpr std::string_view kWorksGuidelinesSeen = "quorvane.works.guidelinesSeen";
inline constexpr std::string_view kThumbnailsRegenImportMarker =
    "quorvane.works.thumbnailsRegenImportMarker";
}  // namespace preference_key

// The largest preferences file read; ours are a few kilobytes.
inline constexpr std::uint64_t kMaximumPreferencesBytes = 1 << 20;

class Preferences {
 public:
  enum class Access { write, read };

  // Several changes written as one.
  class Changes {
   public:
    Changes& set(std::string_view key, nlohmann::json value);
    Changes& remove(std::string_view key);

   private:
    friend class Preferences;
    std::vector<std::pair<std::string, std::optional<nlohmann::json>>> edits_;
  };

  explicit Preferences(std::string path, FileSystem& files = realFileSystem(),
                       Logger& logger = nullLogger(), const Clock& clock = systemClock(),
                       Access access = Access::write);

  const std::string& path() const { return path_; }

  std::optional<std::string> string(std::string_view key) const;
  std::optional<bool> boolean(std::string_view key) const;
  std::optional<std::int64_t> integer(std::string_view key) const;
  std::optional<std::vector<std::string>> strings(std::string_view key) const;
  // Dates are kept as whole milliseconds since 1970.
  std::optional<Date> date(std::string_view key) const;
  // Any JSON value, for structured state such as the backup reminder's.
  std::optional<nlohmann::json> json(std::string_view key) const;

  // Each returns false when the change could not be written (it still
  // holds in memory for this run).
  bool setString(std::string_view key, const std::string& value);
  bool setBoolean(std::string_view key, bool value);
  bool setInteger(std::string_view key, std::int64_t value);
  bool setStrings(std::string_view key, const std::vector<std::string>& value);
  bool setDate(std::string_view key, Date value);
  bool setJson(std::string_view key, const nlohmann::json& value);
  bool remove(std::string_view key);
  bool apply(const Changes& changes);

  Access access() const { return access_; }
  // Why the latest write failed, when one did.
  std::optional<std::string> lastWriteFailure() const;
  int writeFailureCount() const;

 private:
  void load();
  // The file's object, when it holds one; a file that holds none is set
  // aside (and the run writes nothing when it can't be). With mutex_ held.
  std::optional<nlohmann::json> readFile();
  bool save();  // with mutex_ held
  // Sets or removes one key of values_; true when that changed it.
  bool applyEdit(const std::string& key, const std::optional<nlohmann::json>& value);

  std::string path_;
  FileSystem& files_;
  Logger& logger_;
  const Clock& clock_;
  mutable std::mutex mutex_;
  const Access access_;
  nlohmann::json values_ = nlohmann::json::object();
  bool writable_ = true;
  std::optional<std::string> lastWriteFailure_;
  int writeFailures_ = 0;
  // Changes of this run that could not be written, kept over each re-read.
  std::vector<std::pair<std::string, std::optional<nlohmann::json>>> unwritten_;
};

}  // namespace quorvane
