// Texts, the CV and the artist's details of the open project, and the
// reuse of another project's.
#include "app/app_store.h"

#include <algorithm>

#include "model/text.h"
#include "model/text_assets.h"
#include "pdf/localization.h"
#include "pdf/statement_pdf_renderer.h"

namespace quorvane {

bool AppStore::setText(SaveSection section, const std::string& givenContent,
                       const std::optional<std::string>& givenTitle) {
  const std::string content = cleaned(givenContent, TextShape::multiLine);
  std::optional<std::string> title;
  if (givenTitle) title = cleaned(*givenTitle, TextShape::singleLine);
  StudioSnapshot& s = state_.snapshot;
  switch (section) {
    case SaveSection::bio:
      s.biography = content;
      if (title) s.biographyTitle = normalizedTextTitle(*title, TextAssetType::bio);
      break;
    case SaveSection::statement:
      s.statement = content;
      if (title) s.statementTitle = normalizedTextTitle(*title, TextAssetType::statement);
      break;
    case SaveSection::projectStatement:
      s.projectStatement = content;
      if (title) {
        s.projectStatementTitle = normalizedTextTitle(*title, TextAssetType::projectStatement);
      }
      break;
    default:
      return failWithKey("app.error.not_a_text", {std::string(rawValue(section))});
  }
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
  state_.snapshot.cv = cv;
  scheduleSave(SaveSection::cv);
}

void AppStore::setCVTitle(const std::string& title) {
  state_.snapshot.cvTitle = cleaned(title, TextShape::singleLine);
  scheduleSave(SaveSection::cv);
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
    if (!services_.snapshots.attachTextAsset(state_.project.id, type, assetId)) {
      return failWithKey("app.error.no_such_text", {assetId});
    }
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

void AppStore::setDetails(const ArtistDetails& given) {
  ArtistDetails details = given;
  for (std::string* field :
       {&details.firstName, &details.lastName, &details.artistName, &details.nameDisplayMode,
        &details.zipcode, &details.currentCity, &details.country, &details.website, &details.email,
        &details.phone, &details.birthYear, &details.birthPlace, &details.birthCountry}) {
    *field = cleaned(*field, TextShape::singleLine);
  }
  details.address = cleaned(details.address, TextShape::multiLine);
  state_.snapshot.details = details;
  scheduleSave(SaveSection::details);
}

}  // namespace quorvane
