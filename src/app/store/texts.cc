// Texts, the CV and the artist's details of the open project, and the
// reuse of another project's.
#include "app/app_store.h"
#include "app/store/undo_room.h"

#include <algorithm>

#include "model/document_kind_words.h"
#include "model/text.h"
#include "model/text_assets.h"
#include "pdf/localization.h"
#include "pdf/statement_pdf_renderer.h"

namespace quorvane {

namespace {

// What an edit of the CV did, as the Edit menu names it; typing in one
// field of one entry is one step.
UndoStep cvStep(const CVData& was, const CVData& is) {
  std::size_t before = 0;
  std::size_t after = 0;
  for (const CVDataSection& section : kCVDataSections) {
    before += (was.*section.entries).size();
    after += (is.*section.entries).size();
  }
  if (after > before) return undoStep("undo.action.cv_add", {}, SaveSection::cv);
  if (after < before) return undoStep("undo.action.cv_remove", {}, SaveSection::cv);
  for (const CVDataSection& section : kCVDataSections) {
    const std::vector<CVEntry>& a = was.*section.entries;
    const std::vector<CVEntry>& b = is.*section.entries;
    if (a == b) continue;
    if (std::is_permutation(a.begin(), a.end(), b.begin(), b.end())) {
      return undoStep("undo.action.cv_move", {}, SaveSection::cv);
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (a[i] == b[i]) continue;
      std::string field;
      for (const auto& [key, value] : b[i]) {
        const auto old = a[i].find(key);
        if (old == a[i].end() || old->second != value) field = key;
      }
      return undoStep("undo.action.cv_edit", {}, SaveSection::cv, {},
                      "cv:" + std::string(section.name) + ":" + std::to_string(i) + ":" + field);
    }
  }
  return undoStep("undo.action.cv_edit", {}, SaveSection::cv);
}

}  // namespace

bool AppStore::setText(SaveSection section, const std::string& givenContent,
                       const std::optional<std::string>& givenTitle) {
  const std::string content = cleaned(givenContent, TextShape::multiLine);
  std::optional<std::string> title;
  if (givenTitle) title = cleaned(*givenTitle, TextShape::singleLine);
  StudioSnapshot& s = state_.snapshot;
  UndoRoom::Recording recording(
      *undo_, undoStep("undo.action.edit", text(textKindKey(textAssetType(section))), section, {},
                       "text:" + std::string(rawValue(section))));
  switch (section) {
    case SaveSection::bio:
      s.biography = content;
      if (title) s.biographyTitle = titleToStore(TextAssetType::bio, *title);
      break;
    case SaveSection::statement:
      s.statement = content;
      if (title) s.statementTitle = titleToStore(TextAssetType::statement, *title);
      break;
    case SaveSection::projectStatement:
      s.projectStatement = content;
      if (title) {
        s.projectStatementTitle = titleToStore(TextAssetType::projectStatement, *title);
      }
      break;
    default:
      return failWithKey("app.error.not_a_text", {std::string(rawValue(section))});
  }
  noticeSharedEdit(textAssetType(section));
  scheduleSave(section);
  return true;
}

void AppStore::setCV(const CVData& given) {
  CVData cv = given;
  for (const CVDataSection& section : kCVDataSections) {
    for (CVEntry& entry : cv.*section.entries) {
      for (auto& [field, value] : entry) value = cleaned(value, TextShape::multiLine);
    }
  }
  UndoRoom::Recording recording(*undo_, cvStep(state_.snapshot.cv, cv));
  if (cv != state_.snapshot.cv) noticeSharedEdit(TextAssetType::cv);
  state_.snapshot.cv = cv;
  scheduleSave(SaveSection::cv);
}

void AppStore::setCVTitle(const std::string& title) {
  UndoRoom::Recording recording(
      *undo_, undoStep("undo.action.edit", text(textKindKey(TextAssetType::cv)), SaveSection::cv,
                       {}, "cv:title"));
  state_.snapshot.cvTitle = titleToStore(TextAssetType::cv, cleaned(title, TextShape::singleLine));
  scheduleSave(SaveSection::cv);
}

namespace {

std::string defaultTitleKey(TextAssetType type) {
  return "text.default_title." + std::string(rawValue(type));
}

const std::string& storedTitle(const StudioSnapshot& s, TextAssetType type) {
  switch (type) {
    case TextAssetType::statement:
      return s.statementTitle;
    case TextAssetType::projectStatement:
      return s.projectStatementTitle;
    case TextAssetType::cv:
      return s.cvTitle;
    case TextAssetType::bio:
      break;
  }
  return s.biographyTitle;
}

}  // namespace

std::string AppStore::shownTextTitle(TextAssetType type) const {
  const std::string& stored = storedTitle(state_.snapshot, type);
  return stored == defaultTextTitle(type) ? text(defaultTitleKey(type)) : stored;
}

std::string AppStore::titleToStore(TextAssetType type, const std::string& title) const {
  // The default as the interface shows it stays the default: a French
  // window does not turn an English library's "Biography" into a title of
  // its own as the text is edited.
  if (title == text(defaultTitleKey(type))) return std::string(defaultTextTitle(type));
  return type == TextAssetType::cv ? title : normalizedTextTitle(title, type);
}

TextPageFill AppStore::textPageFill(SaveSection section) const {
  const StudioSnapshot& s = state_.snapshot;
  const std::string& text = section == SaveSection::statement          ? s.statement
                            : section == SaveSection::projectStatement ? s.projectStatement
                                                                       : s.biography;
  return measureTextPage(text, state_.exportOptions.format);
}

std::vector<ReusableTextAsset> AppStore::reusableTexts(TextAssetType type) {
  try {
    settleSaves();
    return services_.snapshots.reusableTexts(type, state_.project.id);
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

std::vector<ReusableCVAsset> AppStore::reusableCVs() {
  try {
    settleSaves();
    return services_.snapshots.reusableCVs(state_.project.id);
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

bool AppStore::reuseText(TextAssetType type, const std::string& assetId) {
  try {
    // A pending write of the text being replaced would land in the asset
    // the project is about to share.
    // Only an asset of the same kind from another project: a statement
    // linked as a biography would have one text edited as the other.
    bool offered = false;
    if (type == TextAssetType::cv) {
      for (const ReusableCVAsset& asset : reusableCVs()) offered |= asset.id == assetId;
    } else {
      for (const ReusableTextAsset& asset : reusableTexts(type)) offered |= asset.id == assetId;
    }
    if (!offered) return failWithKey("app.error.no_such_text", {assetId});
    ensurePersisted();
    settleSaves();
    UndoStep step = undoStep("undo.action.reuse_text", text(textKindKey(type)), sectionOf(type));
    step.kind = UndoKind::textReused;
    step.textType = type;
    step.assetBefore = services_.snapshots.linkedTextAsset(state_.project.id, type).value_or("");
    step.assetAfter = assetId;
    if (!services_.snapshots.attachTextAsset(state_.project.id, type, assetId)) {
      return failWithKey("app.error.no_such_text", {assetId});
    }
    if (!step.assetBefore.empty()) undo_->record(std::move(step));
    std::optional<LoadedProject> loaded = services_.snapshots.load(state_.project.id);
    if (!loaded) return failWithKey("app.error.no_such_project", {state_.project.id});
    adopt(std::move(*loaded));
    countChanges(1);
    publish();
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

// The first edit of a shared text in a run says where else it lands.
void AppStore::noticeSharedEdit(TextAssetType type) {
  const auto shared = state_.sharedTexts.find(type);
  if (shared == state_.sharedTexts.end() || !sharedEditsNoticed_.insert(type).second) return;
  showToast(ToastStyle::info,
            text("app.texts.shared_edit", {text(textKindKey(type)), projectNames(shared->second)}));
}

bool AppStore::copyText(TextAssetType type) {
  if (!state_.sharedTexts.contains(type)) return true;
  try {
    settleSaves();
    UndoStep step = undoStep("undo.action.copy_text", text(textKindKey(type)), sectionOf(type));
    step.kind = UndoKind::textReused;
    step.textType = type;
    step.assetBefore = services_.snapshots.linkedTextAsset(state_.project.id, type).value_or("");
    step.assetAfter = services_.snapshots.createTextAsset(state_.project.id, type);
    // The new asset is empty: the project's text, as it is, goes into it.
    services_.sectionSaves.save(state_.project, state_.snapshot, rawValue(type));
    undo_->record(std::move(step));
    std::optional<LoadedProject> loaded = services_.snapshots.load(state_.project.id);
    if (!loaded) return failWithKey("app.error.no_such_project", {state_.project.id});
    adopt(std::move(*loaded));
    services_.logger.log("app copy text type=" + std::string(rawValue(type)));
    countChanges(1);
    publish();
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

void AppStore::setDetails(const ArtistDetails& given) {
  ArtistDetails details = given;
  for (std::string* field :
       {&details.firstName, &details.lastName, &details.artistName, &details.nameDisplayMode,
        &details.zipcode, &details.currentCity, &details.country, &details.website, &details.email,
        &details.phone, &details.birthYear, &details.birthPlace, &details.birthCountry}) {
    *field = cleaned(*field, TextShape::singleLine);
  }
  details.address = cleaned(details.address, TextShape::multiLine);
  UndoRoom::Recording recording(
      *undo_, undoStep("undo.action.edit_details", {}, SaveSection::details, {}, "details"));
  state_.snapshot.details = details;
  scheduleSave(SaveSection::details);
}

bool AppStore::copySharedTexts() {
  std::vector<TextAssetType> types;
  for (const auto& [type, projects] : state_.sharedTexts) types.push_back(type);
  for (const TextAssetType type : types) {
    if (!copyText(type)) return false;
  }
  return true;
}

bool AppStore::applyDetailsToOtherProjects() {
  if (state_.detailsLeftBehind.empty()) return true;
  try {
    settleSaves();
    const std::string names = projectNames(state_.detailsLeftBehind);
    std::vector<std::string> ids;
    for (const ProjectRef& project : state_.detailsLeftBehind) ids.push_back(project.id);
    services_.snapshots.writeDetails(ids, state_.snapshot.details);
    services_.logger.log("app details applied projects=" + std::to_string(ids.size()));
    countChanges(1);  // one decision, however many projects it reaches
    // They are twins again, of the details as they now are.
    detailsAsOpened_ = state_.snapshot.details;
    showToast(ToastStyle::success, text("app.details.applied", {names}));
    publish();
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

}  // namespace quorvane
