// quorvane cv-sections — the CV sections and the fields each entry offers.
#include <nlohmann/json.hpp>
#include <string>

#include "cli/command.h"
#include "cv/cv_sections.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

// One key serves every section that has the field ("Year" for all eight
// that have one), in every language: the words the editor and the guide
// show. The built-in table's text stands in only where a catalogue lacks it.
std::string localized(const std::string& key, std::string_view fallback,
                      const CliContext& context) {
  return uiTextIn(key, context.language()).value_or(std::string(fallback));
}

std::string placeholder(const CVFieldConfig& field, const CliContext& context) {
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
