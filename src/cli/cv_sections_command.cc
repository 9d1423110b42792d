// quorvane cv-sections — the CV sections and the fields each entry offers.
#include <nlohmann/json.hpp>
#include <string>

#include "cli/command.h"
#include "cv/cv_sections.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

// A field's catalogue text serves every section that has the field; the
// built-in English is the section's own wording ("Residency name" rather
// than "Name"). So English keeps the section's wording, and a translation
// is used where there is one.
std::string localized(const std::string& key, std::string_view sectionEnglish,
                      const CliContext& context) {
  const std::string text = context.text(key);
  return text == key || text == uiText(key, "en") ? std::string(sectionEnglish) : text;
}

nlohmann::json sectionJson(const CVSectionConfig& section, const CliContext& context) {
  nlohmann::json fields = nlohmann::json::array();
  for (const CVFieldConfig& field : section.fields) {
    fields.push_back(
        {{"id", field.id},
         {"label", localized(cvFieldLabelKey(field.id), field.label, context)},
         {"placeholder", localized(cvFieldPlaceholderKey(field.id), field.placeholder, context)},
         {"labelKey", cvFieldLabelKey(field.id)},
         {"placeholderKey", cvFieldPlaceholderKey(field.id)}});
  }
  return {
      {"key", rawValue(section.id)},
      {"title", localized(cvSectionTitleKey(section.id), section.title, context)},
      {"emptyLabel", localized(cvSectionEmptyLabelKey(section.id), section.emptyLabel, context)},
      {"titleKey", cvSectionTitleKey(section.id)},
      {"emptyLabelKey", cvSectionEmptyLabelKey(section.id)},
      {"fields", std::move(fields)}};
}

void printSectionText(const CVSectionConfig& section, const CliContext& context) {
  std::ostream& out = context.out;
  out << localized(cvSectionTitleKey(section.id), section.title, context) << " ("
      << rawValue(section.id) << ")\n";
  for (const CVFieldConfig& field : section.fields) {
    out << "  " << field.id << ": " << localized(cvFieldLabelKey(field.id), field.label, context);
    const std::string placeholder =
        localized(cvFieldPlaceholderKey(field.id), field.placeholder, context);
    if (!placeholder.empty()) out << "  — " << placeholder;
    out << '\n';
  }
}

void printSections(CliContext& context) {
  if (context.json) {
    nlohmann::json sections = nlohmann::json::array();
    for (const auto& section : cvSectionConfigs()) {
      sections.push_back(sectionJson(section, context));
    }
    context.out << sections.dump(2) << '\n';
    return;
  }
  for (const auto& section : cvSectionConfigs()) printSectionText(section, context);
}

}  // namespace

void installCVSectionsCommand(CLI::App& command, CliContext& context) {
  command.footer(
      "\nExamples:\n"
      "  quorvane cv-sections          headings, field ids, labels and placeholders\n"
      "  quorvane cv-sections --json   the same with the localisation keys");
  command.callback([&context] { printSections(context); });
}

}  // namespace quorvane
