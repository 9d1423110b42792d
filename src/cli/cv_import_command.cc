// `quorvane cv import` (a web CV generator's export, planned, then the
// chosen groups written) and `quorvane cv guide` (the details and the CV
// entered one field at a time).
#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "app/app_store.h"
#include "app/waiting_commands.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/text_width.h"
#include "cv/cv_sections.h"
#include "cv/details_fields.h"
#include "model/control_characters.h"
#include "model/text.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

struct CVImportOptions {
  std::string file;
  std::optional<std::string> identity;
  std::optional<std::string> cv;
  bool dryRun = false;
};

// A value on one line of the terminal: its line breaks shown as "↵".
std::string shown(const CliContext& context, const std::string& value) {
  std::string text = webCVPreviewText(value, context.language());
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at)) {
    text.replace(at, 1, " ↵ ");
  }
  return escapedForTerminal(text);
}

nlohmann::json previewsJson(const std::vector<WebCVImportFieldPreview>& previews) {
  nlohmann::json list = nlohmann::json::array();
  for (const WebCVImportFieldPreview& preview : previews) {
    list.push_back({{"key", preview.key},
                    {"label", preview.label},
                    {"current", preview.current},
                    {"source", preview.source},
                    {"proposed", preview.proposed}});
  }
  return list;
}

nlohmann::json planJson(const CliContext& context, const WebCVImportPlan& plan) {
  nlohmann::json issues = nlohmann::json::array();
  for (const WebCVImportIssue& issue : plan.issues) {
    issues.push_back({{"code", rawValue(issue.code)},
                      {"severity", rawValue(issue.severity)},
                      {"group", issue.group ? nlohmann::json(rawValue(*issue.group)) : nullptr},
                      {"where", issue.where},
                      {"text", context.text(webCVIssueKey(issue.code))}});
  }
  return {{"identical", plan.isIdentical()},
          {"identity",
           {{"suggested", rawValue(plan.defaults.identity)},
            {"canReplace", plan.canReplace(WebCVImportGroup::identity)},
            {"changes", plan.identityChanges},
            {"fields", previewsJson(plan.identity)}}},
          {"cv",
           {{"suggested", rawValue(plan.defaults.cv)},
            {"canReplace", plan.canReplace(WebCVImportGroup::cv)},
            {"changes", plan.cvChanges},
            {"shared", plan.cvShared},
            {"entries", plan.entryCount},
            {"sections", plan.sectionCount},
            {"summary", webCVPlanSummary(plan, context.language())},
            {"fields", previewsJson(plan.cv)}}},
          {"issues", issues}};
}

void printGroupHeading(CliContext& context, std::string_view titleKey, WebCVImportChoice suggested,
                       bool changes) {
  context.out << context.text(titleKey) << " — "
              << (changes ? context.format("cli.cv.import.suggested",
                                           {context.text(suggested == WebCVImportChoice::replace
                                                             ? "cv.import.replace"
                                                             : "cv.import.keep")})
                          : context.text("cv.import.identical"))
              << '\n';
}

void printIdentity(CliContext& context, const WebCVImportPlan& plan) {
  printGroupHeading(context, "cv.import.identity", plan.defaults.identity, plan.identityChanges);
  std::vector<std::pair<std::string, std::string>> lines;
  for (const WebCVImportFieldPreview& field : plan.identity) {
    if (field.current.empty() && field.proposed.empty() && field.source.empty()) continue;
    std::string line =
        field.current == field.proposed
            ? shown(context, field.current) + "  (" + context.text("cli.cv.import.unchanged") + ")"
            : shown(context, field.current) + " → " + shown(context, field.proposed);
    if (!field.source.empty() && field.source != field.proposed) {
      line += "  [" + context.text("cv.import.source") + ": " + shown(context, field.source) + "]";
    }
    lines.emplace_back("  " + field.label, line);
  }
  printLines(lines, context.out);
}

void printCV(CliContext& context, const WebCVImportPlan& plan) {
  printGroupHeading(context, "cv.import.cv", plan.defaults.cv, plan.cvChanges);
  if (plan.cvChanges) {
    context.out << "  " << context.text("cv.import.replace.help") << '\n';
    if (plan.cvShared) context.out << "  " << context.text("cv.import.shared.help") << '\n';
  }
  for (const WebCVImportFieldPreview& row : plan.cv) {
    if (row.key.find('[') == std::string::npos) {
      context.out << "  "
                  << context.format("cli.cv.import.section",
                                    {row.label, context.format("cli.cv.import.counts",
                                                               {row.current, row.source})})
                  << '\n';
    } else {
      context.out << "    " << row.label << "  " << shown(context, row.proposed) << '\n';
    }
  }
  context.out << "  " << webCVPlanSummary(plan, context.language()) << '\n';
}

void printIssues(CliContext& context, const WebCVImportPlan& plan) {
  if (plan.issues.empty()) return;
  context.out << '\n' << context.text("cv.import.notes") << '\n';
  for (const WebCVImportIssue& issue : plan.issues) {
    const char* mark = issue.severity == WebCVIssueSeverity::info ? "·" : "!";
    context.out << "  " << mark << ' ' << context.text(webCVIssueKey(issue.code)) << "  ("
                << escapedForTerminal(issue.where) << ")\n";
  }
  for (const WebCVImportGroup group : {WebCVImportGroup::identity, WebCVImportGroup::cv}) {
    if (plan.canReplace(group)) continue;
    context.out << "  ! "
                << context.format(
                       "cv.import.blocked",
                       {context.text(group == WebCVImportGroup::identity ? "cv.import.identity"
                                                                         : "cv.import.cv")})
                << '\n';
  }
}

void printPlan(CliContext& context, const WebCVImportPlan& plan) {
  if (context.json) {
    context.out << jsonText(planJson(context, plan)) << '\n';
    return;
  }
  if (plan.isIdentical()) {
    context.out << context.text("cv.import.identical") << '\n';
    printIssues(context, plan);
    return;
  }
  printIdentity(context, plan);
  context.out << '\n';
  printCV(context, plan);
  printIssues(context, plan);
  context.err << '\n'
              << context.text("cv.import.preview.help") << ' '
              << context.text("cv.import.projectsPreserved") << '\n'
              << context.text("cli.cv.import.how_to_apply") << '\n';
}

void importCV(CliContext& context, const CVImportOptions& options) {
  // Before the library is opened (and locked): a FIFO or a device would be
  // waited on while every other command is kept out.
  std::error_code error;
  const std::filesystem::file_status found = std::filesystem::status(options.file, error);
  if (std::filesystem::exists(found) && !std::filesystem::is_regular_file(found)) {
    throw CliError(context.format("cli.error.cannot_read", {options.file}));
  }
  const bool applies = !options.dryRun && (options.identity || options.cv);
  if (!applies) context.onlyReads();
  AppStore& store = context.store();
  const std::optional<PreparedWebCVImport> prepared = prepareWebCVImport(store, options.file);
  context.check(prepared.has_value());
  if (!applies) {
    printPlan(context, prepared->plan);
    return;
  }
  WebCVImportSelection selection;
  selection.identity =
      parsed<WebCVImportChoice>(options.identity).value_or(WebCVImportChoice::keep);
  selection.cv = parsed<WebCVImportChoice>(options.cv).value_or(WebCVImportChoice::keep);
  context.check(applyWebCVImport(store, *prepared, selection));
  context.writeNow();
  // A group named but already as the file has it is left as it is.
  const bool identityReplaced =
      selection.identity == WebCVImportChoice::replace && prepared->plan.identityChanges;
  const bool cvReplaced = selection.cv == WebCVImportChoice::replace && prepared->plan.cvChanges;
  std::vector<std::string> replaced;
  if (identityReplaced) replaced.push_back(context.text("cv.import.identity"));
  if (cvReplaced) {
    replaced.push_back(context.text("cv.import.cv") + " (" +
                       webCVPlanSummary(prepared->plan, context.language()) + ")");
  }
  if (context.json) {
    context.out << jsonText({{"identityReplaced", identityReplaced},
                             {"cvReplaced", cvReplaced},
                             {"entries", cvReplaced ? prepared->plan.entryCount : 0}})
                << '\n';
  } else if (replaced.empty()) {
    context.out << context.text("cli.cv.import.kept") << '\n';
  } else {
    context.out << context.format("cli.cv.import.replaced", {joinedNonEmpty(replaced, ", ")})
                << '\n';
    if (cvReplaced && prepared->plan.cvShared) {
      context.out << context.text("cli.cv.import.copied") << '\n';
    }
  }
}

}  // namespace

void installCVImportCommand(CLI::App& cv, CliContext& context) {
  auto options = std::make_shared<CVImportOptions>();
  CLI::App* command = cv.add_subcommand(
      "import",
      "Bring in a CV made with the web CV generator: shows what would change, and replaces "
      "the groups you choose");
  command->add_option("file", options->file, "The generator's export (a .json file)")->required();
  const std::vector<std::string> choices = rawValues<WebCVImportChoice>();
  command
      ->add_option("--identity", options->identity,
                   "The artist's name, contacts and birth: keep them or replace them with "
                   "the file's")
      ->check(CLI::IsMember(choices));
  command
      ->add_option("--cv", options->cv,
                   "The CV's entries: keep them or replace them with the file's")
      ->check(CLI::IsMember(choices));
  command->add_flag("--dry-run", options->dryRun, "Only show what would change");
  command->footer(
      "\nWithout --identity or --cv (or with --dry-run) nothing changes: the plan is shown,\n"
      "each group beside what the project holds, with the things to check. A group not\n"
      "named is kept. Other projects never change; a CV shared with them is copied.\n\n"
      "Examples:\n"
      "  quorvane cv import cv-session.json\n"
      "  quorvane cv import cv-session.json --cv replace\n"
      "  quorvane cv import cv-session.json --identity replace --cv replace\n"
      "  quorvane --json cv import cv-session.json");
  command->callback([&context, options] { importCV(context, *options); });
}

}  // namespace quorvane
