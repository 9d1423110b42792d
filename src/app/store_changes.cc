#include "app/store_changes.h"

#include <algorithm>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "model/record_json.h"

namespace quorvane {
namespace {

// Folds values into one hash (boost's combine).
class Hasher {
 public:
  Hasher& add(std::uint64_t value) {
    hash_ ^= value + 0x9e3779b97f4a7c15ull + (hash_ << 6) + (hash_ >> 2);
    return *this;
  }
  Hasher& add(std::string_view text) { return add(std::hash<std::string_view>{}(text)); }
  Hasher& add(const std::string& text) { return add(std::string_view(text)); }
  Hasher& add(const nlohmann::json& json) {
    return add(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  }
  template <typename T>
  Hasher& add(const std::optional<T>& value) {
    add(std::uint64_t{value.has_value()});
    if (value) add(*value);
    return *this;
  }
  Hasher& add(Date date) { return add(std::hash<double>{}(date.time_since_epoch().count())); }
  std::uint64_t value() const { return hash_; }

 private:
  std::uint64_t hash_ = 0;
};

template <typename Enum>
std::uint64_t raw(Enum value) {
  return static_cast<std::uint64_t>(value);
}

std::uint64_t projectHash(const Project& p) {
  Hasher h;
  h.add(p.id).add(raw(p.kind)).add(p.projectName).add(p.projectTitle).add(p.projectYear);
  h.add(p.locale).add(p.currency).add(raw(p.orientation)).add(p.createdAt).add(p.updatedAt);
  if (p.catalogueKind) h.add(raw(*p.catalogueKind));
  return h.value();
}

// One hash per area, in the order of the bits of StoreArea.
std::vector<std::uint64_t> areaHashes(const AppState& s, std::uint64_t previewRevision) {
  std::vector<std::uint64_t> areas(14, 0);
  areas[0] = projectHash(s.project);
  Hasher projects;
  for (const ProjectSummary& p : s.projects) {
    projects.add(p.id).add(p.projectName).add(p.projectTitle).add(p.updatedAt);
  }
  for (const ProjectSummary& p : s.deletedProjects) projects.add(p.id).add(p.deletedAt);
  areas[1] = projects.value();
  areas[2] = Hasher()
                 .add(raw(s.snapshot.artworks.unit))
                 .add(raw(s.snapshot.artworks.layoutMode))
                 .add(s.snapshot.artworksUpdatedAt)
                 .value();
  // Who else uses a text is shown where it is edited.
  Hasher sharing;
  for (const auto& [type, projects] : s.sharedTexts) {
    sharing.add(raw(type));
    for (const ProjectRef& project : projects) sharing.add(project.id).add(project.name);
  }
  areas[3] = Hasher()
                 .add(sharing.value())
                 .add(s.snapshot.biography)
                 .add(s.snapshot.biographyTitle)
                 .add(s.snapshot.statement)
                 .add(s.snapshot.statementTitle)
                 .add(s.snapshot.projectStatement)
                 .add(s.snapshot.projectStatementTitle)
                 .add(raw(s.activeStatementSection))
                 .value();
  areas[4] = Hasher()
                 .add(sharing.value())
                 .add(cvDataToJson(s.snapshot.cv))
                 .add(s.snapshot.cvTitle)
                 .value();
  Hasher details;
  details.add(artistDetailsToJson(s.snapshot.details));
  for (const ProjectRef& project : s.detailsLeftBehind) details.add(project.id).add(project.name);
  areas[5] = details.value();
  Hasher settings;
  settings.add(s.uiLanguage).add(raw(s.themeMode)).add(std::uint64_t{s.isEditTitlesEnabled});
  const ExportOptions& o = s.exportOptions;
  for (const bool flag :
       {o.includeCV, o.includeBiography, o.includeStatement, o.includeProjectStatement,
        o.includeTableOfContents, o.includeCoverImage}) {
    settings.add(std::uint64_t{flag});
  }
  for (const auto& title :
       {o.showBiographyTitle, o.showStatementTitle, o.showProjectStatementTitle}) {
    settings.add(static_cast<std::uint64_t>(title ? (*title ? 1 : 2) : 0));
  }
  settings.add(raw(o.format)).add(o.exportLocale).add(raw(o.imageQuality));
  areas[6] = settings.value();
  Hasher saving;
  saving.add(std::uint64_t{s.isSaving}).add(std::uint64_t{s.isSaveWaiting});
  for (const auto& [section, saved] : s.savedFlags)
    saving.add(raw(section)).add(std::uint64_t{saved});
  areas[7] = saving.value();
  Hasher toast;
  if (s.errorToast) toast.add(s.errorToast->id);
  toast.add(s.lastErrorMessage).add(s.inputNotice).add(s.imageSizeWarning);
  areas[8] = toast.value();
  Hasher preview;
  preview.add(previewRevision).add(std::uint64_t{s.isPdfRendering});
  for (const PdfWarning warning : s.pdfWarnings) preview.add(raw(warning));
  areas[9] = preview.value();
  const BackupReminderState& r = s.backupReminderState;
  Hasher reminders;
  reminders.add(r.lastExportAt).add(static_cast<std::uint64_t>(r.changesSinceLastExport));
  reminders.add(r.lastReminderAt).add(r.dismissedUntil).add(std::uint64_t{r.strongReminderShown});
  reminders.add(std::uint64_t{r.remindersEnabled}).add(raw(r.frequency));
  reminders.add(std::uint64_t{r.remindBeforeLargeEdits});
  reminders.add(static_cast<std::uint64_t>(r.sessionSignificantChanges));
  reminders.add(std::uint64_t{s.showBackupReminderSheet}).add(s.lastProjectDataExportAt);
  reminders.add(s.lastProjectDataImportAt);
  if (s.activeBackupReminderLevel) reminders.add(raw(*s.activeBackupReminderLevel));
  areas[10] = reminders.value();
  Hasher background;
  for (const OversizedImageNotice& notice : s.oversizedImageNotices) background.add(notice.id);
  background.add(std::uint64_t{s.showOversizedImagesHelper}).add(s.worksInspectorArtworkID);
  if (s.importFinalizationStatus) {
    background.add(static_cast<std::uint64_t>(s.importFinalizationStatus->total));
    background.add(static_cast<std::uint64_t>(s.importFinalizationStatus->done));
    background.add(std::uint64_t{s.importFinalizationStatus->isPaused});
    background.add(s.importFinalizationStatus->message);
  }
  areas[11] = background.value();
  Hasher thumbnails;
  for (const auto& [id, version] : s.artworkPdfThumbVersionByID) {
    thumbnails.add(id).add(static_cast<std::uint64_t>(version));
  }
  for (const auto& [section, version] : s.documentPdfThumbVersionBySection) {
    thumbnails.add(raw(section)).add(static_cast<std::uint64_t>(version));
  }
  areas[12] = thumbnails.value();
  Hasher history;
  history.add(s.undo.undoName).add(s.undo.redoName).add(s.undo.carriedOut);
  areas[13] = history.value();
  return areas;
}

}  // namespace

std::vector<ArtworkRowChange> artworkRowChanges(const std::vector<Artwork>& before,
                                                const std::vector<Artwork>& after) {
  using Kind = ArtworkRowChange::Kind;
  std::vector<ArtworkRowChange> steps;
  std::map<std::string, const Artwork*> wanted;
  for (const Artwork& artwork : after) wanted.emplace(artwork.id, &artwork);
  // Removals, from the last row up, so each row number holds as it is told.
  std::vector<std::string> rows;
  for (const Artwork& artwork : before) rows.push_back(artwork.id);
  for (std::size_t i = rows.size(); i-- > 0;) {
    if (wanted.contains(rows[i])) continue;
    steps.push_back({Kind::removed, rows[i], i, 0});
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(i));
  }
  // Then from the top: each row takes its place by a move or an insertion.
  for (std::size_t i = 0; i < after.size(); ++i) {
    if (i < rows.size() && rows[i] == after[i].id) continue;
    const auto found =
        std::find(rows.begin() + static_cast<std::ptrdiff_t>(i), rows.end(), after[i].id);
    if (found != rows.end()) {
      const auto from = static_cast<std::size_t>(found - rows.begin());
      steps.push_back({Kind::moved, after[i].id, from, i});
      rows.erase(found);
    } else {
      steps.push_back({Kind::inserted, after[i].id, 0, i});
    }
    rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(i), after[i].id);
  }
  std::map<std::string, const Artwork*> previous;
  for (const Artwork& artwork : before) previous.emplace(artwork.id, &artwork);
  for (std::size_t i = 0; i < after.size(); ++i) {
    const auto old = previous.find(after[i].id);
    if (old == previous.end()) continue;
    // Its place is told by the moves; a new sort index alone is no change.
    Artwork now = after[i];
    now.sortIndex = old->second->sortIndex;
    if (!(*old->second == now)) {
      steps.push_back({Kind::changed, after[i].id, 0, i});
    }
  }
  return steps;
}

StoreChanges PublishedDigest::update(const AppState& state, std::uint64_t previewRevision) {
  StoreChanges changes;
  std::vector<std::uint64_t> areas = areaHashes(state, previewRevision);
  for (std::size_t i = 0; i < areas.size(); ++i) {
    if (areas_.size() != areas.size() || areas_[i] != areas[i]) changes.mask |= 1u << i;
  }
  const std::vector<Artwork>& artworks = state.snapshot.artworks.images;
  changes.artworkRows = artworkRowChanges(artworks_.value_or(std::vector<Artwork>{}), artworks);
  if (!changes.artworkRows.empty()) changes.mask |= static_cast<std::uint32_t>(StoreArea::artworks);
  areas_ = std::move(areas);
  artworks_ = artworks;
  return changes;
}

}  // namespace quorvane
