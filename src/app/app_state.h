// What the store publishes for the screens to show: the open project and
// everything around it, changed only on the main executor.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/save_section.h"
#include "model/backup_reminder_state.h"
#include "model/records.h"
#include "platform/file_system.h"

namespace quorvane {

enum class ThemeMode { system, light, dark };
template <>
struct RawValueTable<ThemeMode> {
  static constexpr std::array<RawCase<ThemeMode>, 3> cases{{
      {ThemeMode::system, "system"},
      {ThemeMode::light, "light"},
      {ThemeMode::dark, "dark"},
  }};
};

enum class ToastStyle { info, error, success };
enum class ToastAction { openExport, showOversizedImages, copySharedTexts };
enum class ToastPlacement { top, center };

struct ToastMessage {
  std::string id;
  std::optional<std::string> title;
  std::string text;
  ToastStyle style = ToastStyle::info;
  std::optional<ToastAction> action;
  ToastPlacement placement = ToastPlacement::top;

  bool operator==(const ToastMessage&) const = default;
};

struct OversizedImageNotice {
  std::string id;
  std::string displayName;
  std::int64_t byteSize = 0;
  std::optional<Bytes> previewData;

  bool operator==(const OversizedImageNotice&) const = default;
};

// Progress of the images of an imported package being finished in the
// background.
struct ImportFinalizationStatus {
  std::size_t done = 0;
  std::size_t total = 0;
  bool isPaused = false;
  std::optional<std::string> message;  // why it is paused, in words

  bool operator==(const ImportFinalizationStatus&) const = default;
};

// What the Edit menu offers, and what the last undo or redo brought back,
// for the window to show it.
struct UndoMenu {
  std::optional<std::string> undoName;  // "Remove ‘Tide I’"; absent: nothing to undo
  std::optional<std::string> redoName;
  std::uint64_t carriedOut = 0;  // undos and redos so far
  std::optional<SaveSection> shownSection;
  std::optional<std::string> shownArtworkId;

  bool operator==(const UndoMenu&) const = default;
};

// What the screens show; changed only on the main executor.
struct AppState {
  Project project;
  StudioSnapshot snapshot;
  std::vector<ProjectSummary> projects;  // live projects, most recently changed first
  // Deleted projects, most recently deleted first: their rows stay, so each
  // can be restored as it was.
  std::vector<ProjectSummary> deletedProjects;
  std::optional<std::string> uiLanguage;
  ThemeMode themeMode = ThemeMode::system;
  bool isEditTitlesEnabled = false;
  ExportOptions exportOptions;
  bool isSaving = false;
  bool isSaveWaiting = false;
  std::map<SaveSection, bool> savedFlags;
  std::string imageSizeWarning;
  std::optional<std::string> lastErrorMessage;
  std::optional<ToastMessage> errorToast;  // the toast on screen, whatever its style
  std::vector<OversizedImageNotice> oversizedImageNotices;
  bool showOversizedImagesHelper = false;
  std::optional<ImportFinalizationStatus> importFinalizationStatus;
  // Page thumbnails: bumped when a new one is ready (views reload it), and
  // the signature of the source each was drawn from.
  std::map<std::string, std::int64_t> artworkPdfThumbVersionByID;
  std::map<std::string, std::string> artworkPdfThumbGeneratedSignatureByID;
  std::map<SaveSection, std::int64_t> documentPdfThumbVersionBySection;
  std::map<SaveSection, std::string> documentPdfThumbGeneratedSignatureBySection;
  bool isImportingProjectPackage = false;
  std::int64_t completePortfolioExportCount = 0;
  std::optional<Date> lastProjectDataExportAt;
  std::optional<Date> lastProjectDataImportAt;
  BackupReminderState backupReminderState;
  std::optional<BackupReminderLevel> activeBackupReminderLevel;
  bool showBackupReminderSheet = false;
  std::optional<std::vector<std::uint8_t>> pdfPreviewData;
  std::vector<PdfWarning> pdfWarnings;
  bool isPdfRendering = false;
  std::optional<std::string> worksInspectorArtworkID;
  SaveSection activeStatementSection = SaveSection::statement;
  // The project a web CV import is writing into; its saves are held back.
  std::optional<std::string> webCVImportTargetID;
  // Said once something the user wrote held characters that are no text
  // (control characters), which were taken out.
  std::optional<std::string> inputNotice;
  UndoMenu undo;
  // The other projects that use the open project's biography, statement,
  // project statement and CV (an edit there reaches them too); a text
  // missing here is the project's own.
  std::map<TextAssetType, std::vector<ProjectRef>> sharedTexts;
  // The other projects that had the same artist's details as the open
  // project when it was opened, once its details differ from those: they
  // keep the earlier ones unless the user applies the edit to them too.
  std::vector<ProjectRef> detailsLeftBehind;
};

// The projects' names joined by ", ", as the messages list them.
inline std::string projectNames(const std::vector<ProjectRef>& projects) {
  std::string joined;
  for (const ProjectRef& project : projects) joined += (joined.empty() ? "" : ", ") + project.name;
  return joined;
}

// The names of the other projects sharing any of the open project's texts,
// each once, joined by ", "; empty when it shares none.
inline std::string sharingProjectNames(const AppState& state) {
  std::vector<ProjectRef> named;
  for (const auto& [type, projects] : state.sharedTexts) {
    for (const ProjectRef& project : projects) {
      const bool seen = std::any_of(named.begin(), named.end(),
                                    [&](const ProjectRef& p) { return p.name == project.name; });
      if (!seen) named.push_back(project);
    }
  }
  return projectNames(named);
}

}  // namespace quorvane
