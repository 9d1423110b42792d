// quorvane cv-sections — the CV sections and the fields each entry offers.
#include <nlohmann/json.hpp>
#include <string>

#include "cli/command.h"
#include "cv/cv_sections.h"

namespace quorvane {
namespace {

nlohmann::json sectionJson(const CVSectionConfig& section) {
  nlohmann::json fields = nlohmann::json::array();
  for (const CVFieldConfig& field : section.fields) {
    fields.push_back({{"id", field.id},
                      {"label", field.label},
                      {"placeholder", field.placeholder},
                      {"labelKey", cvFieldLabelKey(field.id)},
                      {"placeholderKey", cvFieldPlaceholderKey(field.id)}});
  }
  return {{"key", rawValue(section.id)},
          {"title", section.title},
          {"emptyLabel", section.emptyLabel},
          {"titleKey", cvSectionTitleKey(section.id)},
          {"emptyLabelKey", cvSectionEmptyLabelKey(section.id)},
          {"fields", std::move(fields)}};
}

void printSectionText(const CVSectionConfig& section, std::ostream& out) {
  out << section.title << " (" << rawValue(section.id) << ")\n";
  for (const CVFieldConfig& field : section.fields) {
    out << "  " << field.id << ": " << field.label;
    if (!field.placeholder.empty()) out << "  e.g. " << field.placeholder;
    out << '\n';
  }
}

void printSections(CliContext& context) {
  if (context.json) {
    nlohmann::json sections = nlohmann::json::array();
    for (const auto& section : cvSectionConfigs()) sections.push_back(sectionJson(section));
    context.out << sections.dump(2) << '\n';
    return;
  }
  for (const auto& section : cvSectionConfigs()) printSectionText(section, context.out);
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
