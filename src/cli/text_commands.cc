// quorvane text set|show|reuse · quorvane details set|show · quorvane cv add|remove|show|title
#include <memory>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "app/text_stats.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/text_width.h"
#include "cv/cv_sections.h"
#include "model/document_kind_words.h"
#include "model/record_json.h"

namespace quorvane {
namespace {

// The three texts as the command line names them.
struct TextKind {
  const char* name;
  SaveSection section;
  TextAssetType asset;
  std::string StudioSnapshot::*content;
  std::string StudioSnapshot::*title;
};
constexpr TextKind kTextKinds[] = {
    {"bio", SaveSection::bio, TextAssetType::bio, &StudioSnapshot::biography,
     &StudioSnapshot::biographyTitle},
    {"statement", SaveSection::statement, TextAssetType::statement, &StudioSnapshot::statement,
     &StudioSnapshot::statementTitle},
    {"project-statement", SaveSection::projectStatement, TextAssetType::projectStatement,
     &StudioSnapshot::projectStatement, &StudioSnapshot::projectStatementTitle},
};

const TextKind& textKind(const std::string& name) {
  for (const TextKind& kind : kTextKinds) {
    if (name == kind.name) return kind;
  }
  return kTextKinds[0];  // unreachable: the option is checked against the names
}

std::vector<std::string> textKindNames(bool withCV) {
  std::vector<std::string> names;
  for (const TextKind& kind : kTextKinds) names.emplace_back(kind.name);
  if (withCV) names.emplace_back("cv");
  return names;
}

std::string withoutTrailingSpace(std::string text) {
  const auto end = text.find_last_not_of(" \t\r\n");
  text.erase(end == std::string::npos ? 0 : end + 1);
  return text;
}

struct TextSetOptions {
  std::string kind;
  std::optional<std::string> file;
  std::optional<std::string> title;
};

void setText(CliContext& context, const TextSetOptions& options) {
  if (!options.file && !options.title) throw CliError(context.text("cli.text.nothing_given"));
  const TextKind& kind = textKind(options.kind);
  AppStore& store = context.store();
  const std::string content = options.file
                                  ? withoutTrailingSpace(readTextInput(context, *options.file))
                                  : store.state().snapshot.*kind.content;
  context.check(store.setText(kind.section, content, options.title));
  const TextStats stats = textStats(content);
  context.err << context.format(
                     "cli.text.saved",
                     {store.state().snapshot.*kind.title, context.count("count.words", stats.words),
                      context.count("count.characters", stats.characters)})
              << '\n';
}

// The other projects using the open project's text of `type`: their names
// for people, their ids and names for --json.
std::vector<ProjectRef> sharedWith(CliContext& context, TextAssetType type) {
  const auto& shared = context.store().state().sharedTexts;
  const auto found = shared.find(type);
  return found == shared.end() ? std::vector<ProjectRef>{} : found->second;
}

nlohmann::json sharingJson(const std::vector<ProjectRef>& projects) {
  nlohmann::json list = nlohmann::json::array();
  for (const ProjectRef& project : projects) {
    list.push_back({{"id", project.id}, {"name", project.name}});
  }
  return list;
}

void tellSharing(CliContext& context, const std::vector<ProjectRef>& projects) {
  if (projects.empty()) return;
  context.err << context.format("cli.text.shared_with", {projectNames(projects)}) << '\n';
}

void showText(CliContext& context, const std::string& name) {
  const TextKind& kind = textKind(name);
  const StudioSnapshot& snapshot = context.store().state().snapshot;
  const std::string& content = snapshot.*kind.content;
  const TextStats stats = textStats(content);
  const std::vector<ProjectRef> shared = sharedWith(context, kind.asset);
  if (context.json) {
    context.out << jsonText(nlohmann::json{{"type", kind.name},
                                           {"title", snapshot.*kind.title},
                                           {"content", content},
                                           {"words", stats.words},
                                           {"characters", stats.characters},
                                           {"sharedWith", sharingJson(shared)}})
                << '\n';
    return;
  }
  context.out << snapshot.*kind.title << "\n\n" << content << '\n';
  context.err << context.format("cli.project.text_stats",
                                {context.count("count.words", stats.words),
                                 context.count("count.characters", stats.characters)})
              << '\n';
  tellSharing(context, shared);
}

void copyText(CliContext& context, const std::string& name) {
  AppStore& store = context.store();
  const TextAssetType type = name == "cv" ? TextAssetType::cv : textKind(name).asset;
  const std::string word = context.text(textKindKey(type));
  if (!store.state().sharedTexts.contains(type)) {
    context.err << context.format("cli.text.own", {word}) << '\n';
    return;
  }
  context.check(store.copyText(type));
  context.err << context.format("cli.text.copied", {word}) << '\n';
}

void reuseText(CliContext& context, const std::string& name, const std::optional<std::string>& id) {
  AppStore& store = context.store();
  const bool isCV = name == "cv";
  const TextAssetType type = isCV ? TextAssetType::cv : textKind(name).asset;
  if (id) {
    context.check(store.reuseText(type, *id));
    return;
  }
  // Without an id: what could be reused.
  nlohmann::json json = nlohmann::json::array();
  std::vector<std::pair<std::string, std::string>> lines;
  const auto offer = [&](const std::string& assetId, const std::string& title,
                         const std::string& project, const std::string& preview) {
    json.push_back({{"id", assetId}, {"title", title}, {"sourceProjectName", project}});
    lines.emplace_back(assetId, title + " (" + context.format("cli.vault.from", {project}) + ")" +
                                    (preview.empty() ? "" : ": " + preview));
  };
  if (isCV) {
    for (const ReusableCVAsset& asset : store.reusableCVs()) {
      offer(asset.id, asset.title, asset.sourceProjectName, "");
    }
  } else {
    for (const ReusableTextAsset& asset : store.reusableTexts(type)) {
      std::string preview = asset.content.substr(0, asset.content.find('\n'));
      if (displayWidth(preview) > 48) {
        std::size_t cut = 45;
        while (cut > 0 && (preview[cut] & 0xC0) == 0x80) --cut;
        preview = preview.substr(0, cut) + "…";
      }
      offer(asset.id, asset.title, asset.sourceProjectName, preview);
    }
  }
  if (context.json) {
    context.out << jsonText(json) << '\n';
  } else if (lines.empty()) {
    context.err << context.text("cli.text.nothing_to_reuse") << '\n';
  } else {
    printLines(lines, context.out);
  }
}

struct DetailOption {
  const char* flag;
  std::string ArtistDetails::*field;
  const char* help;
};
constexpr DetailOption kDetailOptions[] = {
    {"--first-name", &ArtistDetails::firstName, "First name"},
    {"--last-name", &ArtistDetails::lastName, "Last name"},
    {"--artist-name", &ArtistDetails::artistName, "The name the artist works under"},
    {"--name-display", &ArtistDetails::nameDisplayMode,
     "Which name documents print: legal (first and last name) or artist"},
    {"--address", &ArtistDetails::address, "Street address"},
    {"--zipcode", &ArtistDetails::zipcode, "Postal code"},
    {"--city", &ArtistDetails::currentCity, "City of residence"},
    {"--country", &ArtistDetails::country, "Country of residence"},
    {"--website", &ArtistDetails::website, "Website"},
    {"--email", &ArtistDetails::email, "E-mail address"},
    {"--phone", &ArtistDetails::phone, "Telephone number"},
    {"--birth-year", &ArtistDetails::birthYear, "Year of birth"},
    {"--birth-place", &ArtistDetails::birthPlace, "Place of birth"},
    {"--birth-country", &ArtistDetails::birthCountry, "Country of birth"},
};

void installDetailsSet(CLI::App& command, CliContext& context) {
  auto values =
      std::make_shared<std::vector<std::optional<std::string>>>(std::size(kDetailOptions));
  CLI::App* set = command.add_subcommand(
      "set", "Change the artist's details; an empty value (\"\") clears a field");
  for (std::size_t i = 0; i < std::size(kDetailOptions); ++i) {
    CLI::Option* option =
        set->add_option(kDetailOptions[i].flag, (*values)[i], kDetailOptions[i].help);
    if (kDetailOptions[i].field == &ArtistDetails::nameDisplayMode) {
      option->check(CLI::IsMember({"legal", "artist"}));
    }
  }
  auto everywhere = std::make_shared<bool>(false);
  set->add_flag("--everywhere", *everywhere,
                "Change them too in the other projects that had the same details");
  set->callback([&context, values, everywhere] {
    AppStore& store = context.store();
    ArtistDetails details = store.state().snapshot.details;
    bool changed = false;
    for (std::size_t i = 0; i < values->size(); ++i) {
      if (!(*values)[i]) continue;
      details.*kDetailOptions[i].field = *(*values)[i];
      changed = true;
    }
    if (!changed) throw CliError(context.text("cli.error.nothing_to_change"));
    store.setDetails(details);
    const std::vector<ProjectRef> others = store.state().detailsLeftBehind;
    if (others.empty()) return;
    const std::string names = projectNames(others);
    if (*everywhere) {
      context.check(store.applyDetailsToOtherProjects());
      context.err << context.format("cli.details.applied", {names}) << '\n';
    } else {
      context.err << context.format("cli.details.left_behind", {names}) << '\n';
    }
  });
}

void showDetails(CliContext& context) {
  const ArtistDetails& details = context.store().state().snapshot.details;
  if (context.json) {
    context.out << jsonText(artistDetailsToJson(details)) << '\n';
    return;
  }
  std::vector<std::pair<std::string, std::string>> lines;
  for (const DetailOption& option : kDetailOptions) {
    const std::string& value = details.*option.field;
    lines.emplace_back(std::string(option.flag + 2), value.empty() ? "—" : value);
  }
  printLines(lines, context.out);
}

std::optional<CVSectionKey> cvSection(const std::string& name) {
  return fromRawValue<CVSectionKey>(name);
}

void addCVEntry(CliContext& context, const std::string& sectionName,
                const std::vector<std::string>& assignments) {
  const CVSectionConfig& config = cvSectionConfig(*cvSection(sectionName));
  CVEntry entry;
  for (const std::string& assignment : assignments) {
    const auto equals = assignment.find('=');
    const std::string field = assignment.substr(0, equals);
    const bool known = std::any_of(config.fields.begin(), config.fields.end(),
                                   [&](const CVFieldConfig& f) { return f.id == field; });
    if (equals == std::string::npos || !known) {
      std::string fields;
      for (const CVFieldConfig& f : config.fields)
        fields += (fields.empty() ? "" : ", ") + std::string(f.id);
      throw CliError(context.format("cli.cv.bad_field", {assignment, sectionName, fields}));
    }
    entry[field] = assignment.substr(equals + 1);
  }
  AppStore& store = context.store();
  CVData cv = store.state().snapshot.cv;
  cvEntries(cv, config.id).push_back(entry);
  store.setCV(cv);
  context.out << cvEntries(cv, config.id).size() << '\n';
}

void removeCVEntry(CliContext& context, const std::string& sectionName, long long index) {
  AppStore& store = context.store();
  CVData cv = store.state().snapshot.cv;
  auto& entries = cvEntries(cv, *cvSection(sectionName));
  if (index < 1 || static_cast<std::size_t>(index) > entries.size()) {
    throw CliError(context.format(
        "cli.cv.no_such_entry",
        {std::to_string(index), sectionName,
         context.count("count.entries", static_cast<std::int64_t>(entries.size()))}));
  }
  entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index) - 1);
  store.setCV(cv);
}

void showCV(CliContext& context) {
  const StudioSnapshot& snapshot = context.store().state().snapshot;
  const std::vector<ProjectRef> shared = sharedWith(context, TextAssetType::cv);
  if (context.json) {
    context.out << jsonText(nlohmann::json{{"cvTitle", snapshot.cvTitle},
                                           {"cv", cvDataToJson(snapshot.cv)},
                                           {"sharedWith", sharingJson(shared)}})
                << '\n';
    return;
  }
  tellSharing(context, shared);
  context.out << snapshot.cvTitle << '\n';
  bool any = false;
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    const auto& entries = cvEntries(snapshot.cv, config.id);
    if (entries.empty()) continue;
    any = true;
    context.out << '\n'
                << context.text(cvSectionTitleKey(config.id)) << "  (" << rawValue(config.id)
                << ")\n";
    for (std::size_t i = 0; i < entries.size(); ++i) {
      std::string line;
      for (const CVFieldConfig& field : config.fields) {
        const auto value = entries[i].find(std::string(field.id));
        if (value == entries[i].end() || value->second.empty()) continue;
        line += (line.empty() ? "" : " · ") + value->second;
      }
      context.out << "  " << (i + 1) << ". " << line << '\n';
    }
  }
  if (!any) context.err << context.text("cli.cv.empty") << '\n';
}

std::vector<std::string> cvSectionNames() { return rawValues<CVSectionKey>(); }

}  // namespace

void installTextCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane text set bio biography.txt\n"
      "  pbpaste | quorvane text set statement - --title \"On tides\"\n"
      "  quorvane text show project-statement\n"
      "  quorvane text reuse bio            (lists the biographies of other projects)\n"
      "  quorvane text reuse bio ID\n"
      "  quorvane text copy bio             (this project's own copy of a shared text)\n\n"
      "A text reused from another project is shared: an edit in one project reaches the\n"
      "others ('text show' names them). 'text copy' gives the open project its own copy.");
  auto set = std::make_shared<TextSetOptions>();
  CLI::App* setCommand = command.add_subcommand(
      "set", "Write the biography, the artist statement or the project statement");
  setCommand->add_option("type", set->kind, "bio, statement or project-statement")
      ->required()
      ->check(CLI::IsMember(textKindNames(false)));
  setCommand->add_option("file", set->file, "A UTF-8 text file; - reads standard input");
  setCommand->add_option("--title", set->title,
                         "The text's name, listed when you reuse it in another project (the PDF "
                         "prints its own heading)");
  setCommand->callback([&context, set] { setText(context, *set); });

  auto shown = std::make_shared<std::string>();
  CLI::App* show = command.add_subcommand("show", "Print a text of the open project");
  show->add_option("type", *shown, "bio, statement or project-statement")
      ->required()
      ->check(CLI::IsMember(textKindNames(false)));
  show->callback([&context, shown] {
    context.onlyReads();
    showText(context, *shown);
  });

  auto reuse = std::make_shared<std::pair<std::string, std::optional<std::string>>>();
  CLI::App* reuseCommand = command.add_subcommand(
      "reuse", "Use another project's text (or CV) in the open project; without an id, list them");
  reuseCommand->add_option("type", reuse->first, "bio, statement, project-statement or cv")
      ->required()
      ->check(CLI::IsMember(textKindNames(true)));
  reuseCommand->add_option("id", reuse->second, "The text's id, as the list shows it");
  auto copied = std::make_shared<std::string>();
  CLI::App* copyCommand = command.add_subcommand(
      "copy", "Give the open project its own copy of a text (or the CV) it shares with others");
  copyCommand->add_option("type", *copied, "bio, statement, project-statement or cv")
      ->required()
      ->check(CLI::IsMember(textKindNames(true)));
  copyCommand->callback([&context, copied] { copyText(context, *copied); });

  reuseCommand->callback([&context, reuse] {
    if (!reuse->second) context.onlyReads();  // the list of texts to reuse
    reuseText(context, reuse->first, reuse->second);
  });
}

void installDetailsCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane details set --first-name Zoë --last-name Müller --city Berlin\n"
      "  quorvane details set --artist-name \"ZM\" --name-display artist\n"
      "  quorvane details set --email zm@example.org --everywhere   (in every project that "
      "had the same details)\n"
      "  quorvane details show");
  installDetailsSet(command, context);
  command.add_subcommand("show", "Show the artist's details")->callback([&context] {
    context.onlyReads();
    showDetails(context);
  });
}

void installCVImportCommand(CLI::App& cv, CliContext& context);
void installCVGuideCommand(CLI::App& cv, CliContext& context);

void installCVCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nSections and their fields: quorvane cv-sections\n\nExamples:\n"
      "  quorvane cv add soloExhibitions year=2026 title=\"Tides\" venue=\"Galerie Nord\" "
      "place=Berlin\n"
      "  quorvane cv remove soloExhibitions 1\n"
      "  quorvane cv show\n"
      "  quorvane cv guide                   (asks field by field)\n"
      "  quorvane cv import cv-session.json  (a CV from the web CV generator)");
  auto added = std::make_shared<std::pair<std::string, std::vector<std::string>>>();
  CLI::App* add = command.add_subcommand(
      "add", "Add an entry at the end of a CV section; prints its number in the section");
  add->add_option("section", added->first, "The section, such as soloExhibitions")
      ->required()
      ->check(CLI::IsMember(cvSectionNames()));
  add->add_option("fields", added->second, "FIELD=VALUE pairs, such as year=2026")->required();
  add->callback([&context, added] { addCVEntry(context, added->first, added->second); });

  auto removed = std::make_shared<std::pair<std::string, long long>>();
  CLI::App* remove = command.add_subcommand("remove", "Remove an entry of a CV section");
  remove->add_option("section", removed->first, "The section")
      ->required()
      ->check(CLI::IsMember(cvSectionNames()));
  remove->add_option("index", removed->second, "The entry's number, as 'quorvane cv show' lists it")
      ->required();
  remove->callback(
      [&context, removed] { removeCVEntry(context, removed->first, removed->second); });

  command.add_subcommand("show", "Show the CV of the open project")->callback([&context] {
    context.onlyReads();
    showCV(context);
  });

  auto title = std::make_shared<std::string>();
  CLI::App* titleCommand =
      command.add_subcommand("title",
                             "Change the CV's name, listed when you reuse it in another project "
                             "(the PDF prints its own heading)");
  titleCommand->add_option("title", *title, "The new title")->required();
  titleCommand->callback([&context, title] { context.store().setCVTitle(*title); });
  installCVImportCommand(command, context);
  installCVGuideCommand(command, context);
}

}  // namespace quorvane
