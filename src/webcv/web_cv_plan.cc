#include "webcv/web_cv_plan.h"

#include <algorithm>

#include "cv/cv_sections.h"
#include "cv/details_fields.h"
#include "model/text.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

using Group = WebCVImportGroup;

std::string entryLine(const CVSectionConfig& config, const CVEntry& entry) {
  std::vector<std::string> values;
  for (const CVFieldConfig& field : config.fields) {
    const auto value = entry.find(std::string(field.id));
    if (value != entry.end()) values.push_back(value->second);
  }
  return joinedNonEmpty(values, " · ");
}

std::string entriesText(std::size_t count, std::string_view language) {
  return uiCount("cv.import.entries", language, static_cast<std::int64_t>(count));
}

bool isEmpty(const ArtistDetails& details) {
  ArtistDetails blank;
  blank.nameDisplayMode = details.nameDisplayMode;
  return details == blank;
}

// A value as the table shows it: the name on documents by its words ("First
// and last name"), not the stored "legal"; any other as it is.
std::string shownValue(std::string_view field, const std::string& value,
                       std::string_view language) {
  if (field != "nameDisplayMode" || (value != "legal" && value != "artist")) return value;
  return uiText("desktop.details.name_display." + value, language);
}

void planIdentity(const WebCVSource& source, const ArtistDetails& details,
                  std::string_view language, WebCVImportPlan& plan) {
  plan.proposedDetails = details;
  for (const DetailsFieldConfig& field : detailsFieldConfigs()) {
    const auto value = std::find_if(source.details.begin(), source.details.end(),
                                    [&](const WebCVDetailsValue& v) { return v.key == field.id; });
    if (value != source.details.end() && value->value) {
      plan.proposedDetails.*field.member = *value->value;
    }
    const std::string inFile =
        value != source.details.end() ? value->source.value_or("") : std::string();
    plan.identity.push_back({Group::identity, std::string(field.id),
                             uiText(detailsFieldLabelKey(field.id), language),
                             shownValue(field.id, details.*field.member, language),
                             shownValue(field.id, inFile, language),
                             shownValue(field.id, plan.proposedDetails.*field.member, language)});
  }
  if (!source.hasZipcode && !details.zipcode.empty()) {
    plan.issues.push_back({WebCVImportIssueCode::existingZipcodePreserved,
                           severityOf(WebCVImportIssueCode::existingZipcodePreserved),
                           Group::identity, "details.zipcode"});
  }
  plan.identityChanges = plan.proposedDetails != details;
}

void planCV(const WebCVSource& source, const CVData& cv, std::string_view language,
            WebCVImportPlan& plan) {
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    const auto& entries = source.sections[static_cast<std::size_t>(config.id)];
    auto& proposed = cvEntries(plan.proposedCV, config.id);
    for (const WebCVSourceEntry& entry : entries) {
      if (entry.kept) proposed.push_back(entry.proposed);
    }
    const auto& current = cvEntries(cv, config.id);
    if (entries.empty() && current.empty()) continue;
    const std::string key(rawValue(config.id));
    plan.cv.push_back({Group::cv, key, uiText(cvSectionTitleKey(config.id), language),
                       entriesText(current.size(), language), entriesText(entries.size(), language),
                       entriesText(proposed.size(), language)});
    std::size_t number = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (!entries[i].kept) continue;
      ++number;
      plan.cv.push_back({Group::cv, key + "[" + std::to_string(i + 1) + "]",
                         uiFormat("cv.import.entry", language, {std::to_string(number)}), "",
                         entryLine(config, entries[i].source),
                         entryLine(config, entries[i].proposed)});
    }
    plan.entryCount += proposed.size();
    if (!proposed.empty()) ++plan.sectionCount;
  }
  plan.cvChanges = plan.proposedCV != cv;
}

bool blocks(const WebCVImportIssue& issue, Group group) {
  return issue.severity == WebCVIssueSeverity::blocking && issue.group == group;
}

}  // namespace

bool WebCVImportPlan::canReplace(WebCVImportGroup group) const {
  return group == Group::identity ? !identityBlocked : !cvBlocked;
}

WebCVImportPlan planWebCVImport(const WebCVSource& source, const ArtistDetails& details,
                                const CVData& cv, bool cvShared, std::string_view language) {
  WebCVImportPlan plan;
  plan.issues = source.issues;
  plan.cvShared = cvShared;
  planIdentity(source, details, language, plan);
  planCV(source, cv, language, plan);
  plan.identityBlocked = std::any_of(plan.issues.begin(), plan.issues.end(), [](const auto& issue) {
    return blocks(issue, Group::identity);
  });
  plan.cvBlocked = std::any_of(plan.issues.begin(), plan.issues.end(),
                               [](const auto& issue) { return blocks(issue, Group::cv); });
  const auto startsOn = [](bool projectIsEmpty, bool changes, bool blocked) {
    return projectIsEmpty && changes && !blocked ? WebCVImportChoice::replace
                                                 : WebCVImportChoice::keep;
  };
  plan.defaults.identity = startsOn(isEmpty(details), plan.identityChanges, plan.identityBlocked);
  plan.defaults.cv = startsOn(cv == CVData{}, plan.cvChanges, plan.cvBlocked);
  return plan;
}

std::string webCVPlanSummary(const WebCVImportPlan& plan, std::string_view language) {
  // Counts of two or more take the plural in every language we have; below
  // that each count takes its own form ("1 entry in 1 section").
  if (plan.entryCount >= 2 && plan.sectionCount >= 2) {
    return uiFormat("cv.import.summary", language,
                    {std::to_string(plan.entryCount), std::to_string(plan.sectionCount)});
  }
  return uiFormat(
      "cv.import.summary.counted", language,
      {entriesText(plan.entryCount, language),
       uiCount("cv.import.sections", language, static_cast<std::int64_t>(plan.sectionCount))});
}

std::string webCVPreviewText(const std::string& value, std::string_view language) {
  return value.empty() ? uiText("cv.import.empty", language) : value;
}

}  // namespace quorvane
