// quorvane projects · quorvane project new|open|show|set|duplicate|delete
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "app/text_stats.h"
#include "app/waiting_commands.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/record_output.h"
#include "cli/text_width.h"
#include "model/document_kind_words.h"
#include "model/text.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

struct ProjectOptions {
  std::optional<std::string> name, kind, catalogueKind, title, year, locale, currency, unit,
      orientation, layout;
};

std::vector<std::string> languages() {
  return {kInterfaceLanguages.begin(), kInterfaceLanguages.end()};
}

void addProjectOptions(CLI::App& command, ProjectOptions& options) {
  command.add_option("--kind", options.kind, "portfolio or catalogue")
      ->check(CLI::IsMember(rawValues<ProjectKind>()));
  command
      .add_option("--catalogue-kind", options.catalogueKind,
                  "price, exhibition or raisonne (makes the project a catalogue)")
      ->check(CLI::IsMember(rawValues<CatalogueKind>()));
  command.add_option("--title", options.title, "The title printed on the cover");
  command.add_option("--year", options.year, "The year printed with the title");
  command.add_option("--locale", options.locale, "Document language: en, fr, it, de or es")
      ->check(CLI::IsMember(languages()));
  command.add_option("--currency", options.currency,
                     "Currency of the prices, a three-letter code such as EUR or USD");
  command.add_option("--unit", options.unit, "Unit of the dimensions: cm or in")
      ->check(CLI::IsMember(rawValues<UnitSystem>()));
  command.add_option("--orientation", options.orientation, "portrait or landscape")
      ->check(CLI::IsMember(rawValues<DocumentOrientation>()));
}

ProjectChanges changesFrom(const ProjectOptions& options, CliContext& context) {
  ProjectChanges changes;
  changes.name = options.name;
  changes.kind = parsed<ProjectKind>(options.kind);
  changes.catalogueKind = parsed<CatalogueKind>(options.catalogueKind);
  changes.title = options.title;
  changes.year = options.year;
  changes.locale = options.locale;
  changes.currency = options.currency;
  changes.unit = parsed<UnitSystem>(options.unit);
  changes.orientation = parsed<DocumentOrientation>(options.orientation);
  changes.layout = parsed<ArtworkLayoutMode>(options.layout);
  if (changes.kind == ProjectKind::portfolio && changes.catalogueKind) {
    throw CliError(context.text("cli.project.portfolio_with_catalogue_kind"));
  }
  return changes;
}

std::string kindText(const Project& project, CliContext& context) {
  if (project.kind == ProjectKind::portfolio) return context.text("cli.project.kind.portfolio");
  return context.format(
      "cli.project.kind.catalogue",
      {std::string(rawValue(project.catalogueKind.value_or(CatalogueKind::price)))});
}

// The deleted projects, which `project restore` brings back.
void listDeletedProjects(CliContext& context) {
  const std::vector<ProjectSummary>& deleted = context.store().state().deletedProjects;
  if (context.json) {
    nlohmann::json projects = nlohmann::json::array();
    for (const ProjectSummary& summary : deleted) {
      nlohmann::json entry = toJson(summary);
      if (summary.deletedAt) entry["deletedAt"] = millisecondsSince1970(*summary.deletedAt);
      projects.push_back(entry);
    }
    context.out << jsonText(nlohmann::json{{"deletedProjects", projects}}) << '\n';
    return;
  }
  if (deleted.empty()) context.err << context.text("cli.projects.none_deleted") << '\n';
  for (const ProjectSummary& summary : deleted) {
    std::string line = "  " + summary.id + "  " + summary.projectName;
    if (summary.deletedAt) {
      line +=
          "  (" + context.format("cli.projects.deleted_on", {localDay(*summary.deletedAt)}) + ")";
    }
    context.out << line << '\n';
  }
}

void listProjects(CliContext& context) {
  AppStore& store = context.store();
  const AppState& state = store.state();
  if (context.json) {
    nlohmann::json projects = nlohmann::json::array();
    for (const ProjectSummary& summary : state.projects) projects.push_back(toJson(summary));
    context.out << jsonText(nlohmann::json{{"currentProjectId", state.project.id},
                                           {"projects", projects}})
                << '\n';
    return;
  }
  for (const ProjectSummary& summary : state.projects) {
    const bool open = summary.id == state.project.id;
    std::string line = std::string(open ? "* " : "  ") + summary.id + "  " + summary.projectName;
    if (summary.projectTitle != summary.projectName) line += " — " + summary.projectTitle;
    if (summary.updatedAt) {
      line += "  (" + context.format("cli.projects.changed", {localDay(*summary.updatedAt)}) + ")";
    }
    context.out << line << '\n';
  }
}

void printProjectId(CliContext& context, const std::string& id) {
  if (context.json) {
    context.out << jsonText(nlohmann::json{{"id", id}}) << '\n';
  } else {
    context.out << id << '\n';
  }
}

std::size_t cvEntryCount(const CVData& cv) {
  std::size_t count = 0;
  for (const CVDataSection& section : kCVDataSections) count += (cv.*section.entries).size();
  return count;
}

void showProject(CliContext& context) {
  const AppState& state = context.store().state();
  const Project& project = state.project;
  const StudioSnapshot& snapshot = state.snapshot;
  if (context.json) {
    context.out << jsonText(
                       nlohmann::json{{"project", toJson(project)}, {"snapshot", toJson(snapshot)}})
                << '\n';
    return;
  }
  const auto words = [&](const std::string& text) {
    const TextStats stats = textStats(text);
    return context.format("cli.project.text_stats",
                          {context.count("count.words", stats.words),
                           context.count("count.characters", stats.characters)});
  };
  std::string artist = snapshot.details.firstName;
  if (!snapshot.details.lastName.empty())
    artist += (artist.empty() ? "" : " ") + snapshot.details.lastName;
  printLines(
      {
          {context.text("cli.project.label.id"), project.id},
          {context.text("cli.project.label.name"), project.projectName},
          {context.text("cli.project.label.title"),
           project.projectTitle + (project.projectYear.empty() ? "" : ", " + project.projectYear)},
          {context.text("cli.project.label.kind"), kindText(project, context)},
          {context.text("cli.project.label.language"), project.locale},
          {context.text("cli.project.label.currency"), project.currency.value_or("—")},
          {context.text("cli.project.label.unit"), std::string(rawValue(project.unit))},
          {context.text("cli.project.label.orientation"),
           std::string(rawValue(project.orientation))},
          {context.text("cli.project.label.layout"),
           std::string(rawValue(snapshot.artworks.layoutMode))},
          {context.text("cli.project.label.artist"), artist.empty() ? "—" : artist},
          {context.text("cli.project.label.artworks"),
           std::to_string(snapshot.artworks.images.size())},
          {context.store().shownTextTitle(TextAssetType::bio), words(snapshot.biography)},
          {context.store().shownTextTitle(TextAssetType::statement), words(snapshot.statement)},
          {context.store().shownTextTitle(TextAssetType::projectStatement),
           words(snapshot.projectStatement)},
          {context.store().shownTextTitle(TextAssetType::cv),
           context.count("count.entries", cvEntryCount(snapshot.cv))},
      },
      context.out);
}

void installProjectSubcommands(CLI::App& command, CliContext& context) {
  auto created = std::make_shared<ProjectOptions>();
  auto name = std::make_shared<std::string>();
  CLI::App* make = command.add_subcommand("new", "Create a project and open it; prints its id");
  make->add_option("name", *name, "The project's name, as the project list shows it")->required();
  addProjectOptions(*make, *created);
  auto ownTexts = std::make_shared<bool>(false);
  make->add_flag("--own-texts", *ownTexts,
                 "Start with an empty biography, statement and CV, instead of sharing the "
                 "library's most recently edited ones");
  make->callback([&context, created, name, ownTexts] {
    ProjectOptions options = *created;
    if (isBlank(*name)) throw CliError(context.text("app.error.empty_name"));
    options.name = *name;
    AppStore& store = context.store();
    ProjectChanges changes = changesFrom(options, context);
    changes.shareLatestTexts = !*ownTexts;
    const auto id = store.createProject(changes);
    context.check(id.has_value());
    context.writeNow();
    context.err << context.format("cli.project.created", {store.state().project.projectName})
                << '\n';
    if (const std::string names = sharingProjectNames(store.state()); !names.empty()) {
      std::string kinds;
      for (const auto& [type, projects] : store.state().sharedTexts) {
        kinds += (kinds.empty() ? "" : ", ") + context.text(textKindKey(type));
      }
      context.err << context.format("cli.project.shares_texts", {names, kinds}) << '\n';
    }
    printProjectId(context, *id);
  });

  auto openId = std::make_shared<std::string>();
  CLI::App* open = command.add_subcommand("open", "Open another project (see 'quorvane projects')");
  open->add_option("id", *openId, "The project's id, or its first characters")->required();
  open->callback([&context, openId] {
    AppStore& store = context.store();
    std::vector<std::string> ids;
    for (const ProjectSummary& summary : store.state().projects) ids.push_back(summary.id);
    context.check(openProject(store, resolveId(context, *openId, ids)));
    context.err << context.format("cli.project.opened", {store.state().project.projectName})
                << '\n';
  });

  command.add_subcommand("show", "Show the open project: its settings and what it holds")
      ->callback([&context] {
        context.onlyReads();
        showProject(context);
      });

  auto changed = std::make_shared<ProjectOptions>();
  CLI::App* set = command.add_subcommand("set", "Change the open project's settings");
  set->add_option("--name", changed->name, "The project's name");
  addProjectOptions(*set, *changed);
  set->add_option("--layout", changed->layout,
                  "artwork (the image alone) or artwork_text (the image with its text)")
      ->check(CLI::IsMember(rawValues<ArtworkLayoutMode>()));
  set->callback([&context, changed] {
    const ProjectChanges changes = changesFrom(*changed, context);
    const ProjectOptions& o = *changed;
    if (!o.name && !o.kind && !o.catalogueKind && !o.title && !o.year && !o.locale && !o.currency &&
        !o.unit && !o.orientation && !o.layout) {
      throw CliError(context.text("cli.error.nothing_to_change"));
    }
    context.check(context.store().updateProject(changes));
  });

  command.add_subcommand("duplicate", "Copy the open project and open the copy; prints its id")
      ->callback([&context] {
        const auto id = context.store().duplicateProject();
        context.check(id.has_value());
        context.writeNow();
        printToast(context);
        printProjectId(context, *id);
      });

  command
      .add_subcommand("delete",
                      "Remove the open project from the list and open the most recent other one")
      ->callback([&context] {
        AppStore& store = context.store();
        const std::string name = store.state().project.projectName;
        context.check(store.deleteProject());
        context.err << context.format("cli.project.deleted", {name}) << '\n';
        context.err << context.format("cli.project.opened", {store.state().project.projectName})
                    << '\n';
        context.err << context.text("cli.project.restore_hint") << '\n';
      });

  auto* restore = command.add_subcommand(
      "restore",
      "Bring a deleted project back into the list, as it was (see 'quorvane projects --deleted')");
  auto restoredId = std::make_shared<std::string>();
  restore->add_option("id", *restoredId, "The deleted project's id, or its first characters")
      ->required();
  restore->callback([&context, restoredId] {
    AppStore& store = context.store();
    std::vector<std::string> ids;
    for (const ProjectSummary& summary : store.state().deletedProjects) ids.push_back(summary.id);
    context.check(store.restoreProject(resolveId(context, *restoredId, ids)));
    printToast(context);
  });
}

}  // namespace

void installProjectsCommand(CLI::App& command, CliContext& context) {
  command.footer(
      "\nThe open project is marked with *.\n\nExamples:\n  quorvane projects\n"
      "  quorvane --json projects\n  quorvane projects --deleted");
  auto deleted = std::make_shared<bool>(false);
  command.add_flag(
      "--deleted", *deleted,
      "List the deleted projects instead, which 'quorvane project restore ID' brings back");
  command.callback([&context, deleted] {
    context.onlyReads();
    if (*deleted) return listDeletedProjects(context);
    listProjects(context);
  });
}

void installProjectCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane project new \"Spring 2027\" --kind catalogue --catalogue-kind price "
      "--currency EUR\n"
      "  quorvane project set --title \"Works on paper\" --year 2027 --locale fr\n"
      "  quorvane --json project show\n"
      "  quorvane project open 3F2A…");
  installProjectSubcommands(command, context);
}

}  // namespace quorvane
