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
// than "Name"). So English keeps the section's wording, and another
// language shows its catalogue as it is (even a word it shares with
// English), falling back to that wording only where the catalogue has no
// text.
std::string localized(const std::string& key, std::string_view sectionEnglish,
                      const CliContext& context) {
  const std::string language = context.language();
  if (language.starts_with("en")) return std::string(sectionEnglish);
  return uiTextIn(key, language).value_or(std::string(sectionEnglish));
}

// An example only where the section has one: the catalogue's example of a
// field ("Paris" for a place) belongs to the section that shows it.
std::string placeholder(const CVFieldConfig& field, const CliContext& context) {
  if (field.placeholder.empty()) return {};
  return localized(cvFieldPlaceholderKey(field.id), field.placeholder, context);
}

nlohmann::json sectionJson(const CVSectionConfig& section, const CliContext& context) {
  nlohmann::json fields = nlohmann::json::array();
  for (const CVFieldConfig& field : section.fields) {
    fields.push_back({{"id", field.id},
                      {"label", localized(cvFieldLabelKey(field.id), field.label, context)},
                      {"placeholder", placeholder(field, context)},
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
    const std::string example = placeholder(field, context);
    if (!example.empty()) out << "  — " << example;
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
