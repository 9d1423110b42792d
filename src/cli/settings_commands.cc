// quorvane labels list|set|clear · quorvane settings show|set · quorvane reset
#include <memory>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/record_output.h"
#include "cli/store_session.h"
#include "cli/text_width.h"
#include "model/text.h"
#include "pdf/localization.h"
#include "pdf/pdf_labels.h"

namespace quorvane {
namespace {

std::vector<std::string> scopeNames() {
  std::vector<std::string> names;
  for (const LabelScope& scope : kLabelScopes) names.emplace_back(scope.scope);
  return names;
}

std::vector<std::string> languageNames() {
  return {kInterfaceLanguages.begin(), kInterfaceLanguages.end()};
}

struct LabelFilter {
  std::optional<std::string> scope;
  std::optional<std::string> locale;
};

void listLabels(CliContext& context, const LabelFilter& filter) {
  AppStore& store = context.store();
  const std::string locale = filter.locale.value_or(store.exportLanguage());
  const std::vector<LabelOverrideEntry> overrides = store.labelOverrides();
  nlohmann::json json = nlohmann::json::array();
  for (const LabelScope& scope : kLabelScopes) {
    if (filter.scope && *filter.scope != scope.scope) continue;
    std::map<std::string, std::string> own;
    for (const LabelOverrideEntry& entry : overrides) {
      if (entry.scope == scope.scope && entry.locale == locale) own[entry.key] = entry.value;
    }
    const PdfStrings strings(locale, std::string(scope.scope), own);
    std::vector<std::pair<std::string, std::string>> lines;
    for (const std::string_view key : pdfLabelKeys()) {
      const auto overridden = own.find(std::string(key));
      const bool isOverridden = overridden != own.end() && !overridden->second.empty();
      const std::string value = strings.label(key);
      json.push_back({{"scope", scope.scope},
                      {"locale", locale},
                      {"key", key},
                      {"value", value},
                      {"overridden", isOverridden}});
      lines.emplace_back(std::string(isOverridden ? "* " : "  ") + std::string(key), value);
    }
    if (context.json) continue;
    context.out << context.text(scope.nameKey) << "  (" << scope.scope << ", " << locale << ")\n";
    printLines(lines, context.out);
    context.out << '\n';
  }
  if (context.json) {
    context.out << jsonText(json) << '\n';
  } else {
    context.err << context.text("cli.labels.legend") << '\n';
  }
}

void requireLabelKey(CliContext& context, const std::string& key) {
  const auto keys = pdfLabelKeys();
  if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
    throw CliError(context.format("cli.labels.unknown_key", {key}));
  }
}

// One setting of `settings set`: its name, the values it takes, how it is
// shown and how it is changed.
struct Setting {
  const char* name;
  std::vector<std::string> values;
  std::function<std::string(AppStore&)> show;
  std::function<bool(AppStore&, const std::string&)> set;
};

std::string onOff(bool value) { return value ? "on" : "off"; }
std::string onOffAuto(const std::optional<bool>& value) { return value ? onOff(*value) : "auto"; }
std::optional<bool> parseOnOffAuto(const std::string& value) {
  if (value == "auto") return std::nullopt;
  return value == "on";
}

Setting exportSwitch(const char* name, bool ExportOptions::*field) {
  return {name,
          {"on", "off"},
          [field](AppStore& store) { return onOff(store.state().exportOptions.*field); },
          [field](AppStore& store, const std::string& value) {
            ExportOptions options = store.state().exportOptions;
            options.*field = value == "on";
            return store.setExportOptions(options);
          }};
}

Setting titleSwitch(const char* name, std::optional<bool> ExportOptions::*field) {
  return {name,
          {"on", "off", "auto"},
          [field](AppStore& store) { return onOffAuto(store.state().exportOptions.*field); },
          [field](AppStore& store, const std::string& value) {
            ExportOptions options = store.state().exportOptions;
            options.*field = parseOnOffAuto(value);
            return store.setExportOptions(options);
          }};
}

const std::vector<Setting>& settings() {
  static const std::vector<Setting> all = [] {
    std::vector<Setting> list;
    std::vector<std::string> languages = languageNames();
    languages.emplace_back("system");
    list.push_back({"language", languages,
                    [](AppStore& store) { return store.state().uiLanguage.value_or("system"); },
                    [](AppStore& store, const std::string& value) {
                      return store.setUiLanguage(
                          value == "system" ? std::nullopt : std::optional<std::string>(value));
                    }});
    list.push_back({"theme", rawValues<ThemeMode>(),
                    [](AppStore& store) { return std::string(rawValue(store.state().themeMode)); },
                    [](AppStore& store, const std::string& value) {
                      return store.setThemeMode(*fromRawValue<ThemeMode>(value));
                    }});
    list.push_back({"edit-titles",
                    {"on", "off"},
                    [](AppStore& store) { return onOff(store.state().isEditTitlesEnabled); },
                    [](AppStore& store, const std::string& value) {
                      return store.setEditTitlesEnabled(value == "on");
                    }});
    std::vector<std::string> exportLanguages = languageNames();
    exportLanguages.emplace_back("project");
    list.push_back({"export.locale", exportLanguages,
                    [](AppStore& store) {
                      const std::string& locale = store.state().exportOptions.exportLocale;
                      return locale.empty() ? std::string("project") : locale;
                    },
                    [](AppStore& store, const std::string& value) {
                      ExportOptions options = store.state().exportOptions;
                      options.exportLocale = value == "project" ? "" : value;
                      return store.setExportOptions(options);
                    }});
    list.push_back({"export.quality", rawValues<ExportImageQuality>(),
                    [](AppStore& store) {
                      return std::string(rawValue(store.state().exportOptions.imageQuality));
                    },
                    [](AppStore& store, const std::string& value) {
                      ExportOptions options = store.state().exportOptions;
                      options.imageQuality = *fromRawValue<ExportImageQuality>(value);
                      return store.setExportOptions(options);
                    }});
    list.push_back(
        {"export.format", rawValues<PdfFormat>(),
         [](AppStore& store) { return std::string(rawValue(store.state().exportOptions.format)); },
         [](AppStore& store, const std::string& value) {
           ExportOptions options = store.state().exportOptions;
           options.format = *fromRawValue<PdfFormat>(value);
           return store.setExportOptions(options);
         }});
    list.push_back(exportSwitch("export.include-cv", &ExportOptions::includeCV));
    list.push_back(exportSwitch("export.include-bio", &ExportOptions::includeBiography));
    list.push_back(exportSwitch("export.include-statement", &ExportOptions::includeStatement));
    list.push_back(
        exportSwitch("export.include-project-statement", &ExportOptions::includeProjectStatement));
    list.push_back(exportSwitch("export.include-toc", &ExportOptions::includeTableOfContents));
    list.push_back(exportSwitch("export.cover-image", &ExportOptions::includeCoverImage));
    list.push_back(titleSwitch("export.show-bio-title", &ExportOptions::showBiographyTitle));
    list.push_back(titleSwitch("export.show-statement-title", &ExportOptions::showStatementTitle));
    list.push_back(titleSwitch("export.show-project-statement-title",
                               &ExportOptions::showProjectStatementTitle));
    list.push_back(
        {"backup.reminders",
         {"on", "off"},
         [](AppStore& store) { return onOff(store.state().backupReminderState.remindersEnabled); },
         [](AppStore& store, const std::string& value) {
           return store.setBackupRemindersEnabled(value == "on");
         }});
    list.push_back({"backup.frequency", rawValues<BackupReminderFrequency>(),
                    [](AppStore& store) {
                      return std::string(rawValue(store.state().backupReminderState.frequency));
                    },
                    [](AppStore& store, const std::string& value) {
                      return store.setBackupReminderFrequency(
                          *fromRawValue<BackupReminderFrequency>(value));
                    }});
    list.push_back({"backup.large-edits",
                    {"on", "off"},
                    [](AppStore& store) {
                      return onOff(store.state().backupReminderState.remindBeforeLargeEdits);
                    },
                    [](AppStore& store, const std::string& value) {
                      return store.setRemindBeforeLargeEdits(value == "on");
                    }});
    return list;
  }();
  return all;
}

std::vector<std::string> settingNames() {
  std::vector<std::string> names;
  for (const Setting& setting : settings()) names.emplace_back(setting.name);
  return names;
}

void showSettings(CliContext& context) {
  AppStore& store = context.store();
  if (context.json) {
    nlohmann::json json = nlohmann::json::object();
    for (const Setting& setting : settings()) json[setting.name] = setting.show(store);
    context.out << jsonText(json) << '\n';
    return;
  }
  std::vector<std::pair<std::string, std::string>> lines;
  for (const Setting& setting : settings()) {
    std::string values;
    for (const std::string& value : setting.values) values += (values.empty() ? "" : "|") + value;
    lines.emplace_back(setting.name, setting.show(store) + "    (" + values + ")");
  }
  printLines(lines, context.out);
}

void setSetting(CliContext& context, const std::string& name, const std::string& value) {
  for (const Setting& setting : settings()) {
    if (name != setting.name) continue;
    if (std::find(setting.values.begin(), setting.values.end(), value) == setting.values.end()) {
      std::string values;
      for (const std::string& v : setting.values) values += (values.empty() ? "" : ", ") + v;
      throw CliError(context.format("cli.settings.bad_value", {value, name, values}));
    }
    AppStore& store = context.store();
    if (setting.set(store, value)) return;
    // The store tells why when it can; a failed write of the reminders'
    // state is told here.
    throw CliError(store.state().lastErrorMessage.value_or(context.format(
        "app.error.settings_not_saved", {store.preferencesWriteFailure().value_or("")})));
  }
}

}  // namespace

void installLabelsCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nScopes: portfolio, cv, bio, statement, project_statement. An override replaces one\n"
      "printed label in one scope and language.\n\nExamples:\n"
      "  quorvane labels list --scope cv --locale fr\n"
      "  quorvane labels set cv en pdf.cv.section.solo_exhibitions \"Solo shows\"\n"
      "  quorvane labels clear cv en pdf.cv.section.solo_exhibitions");
  auto filter = std::make_shared<LabelFilter>();
  CLI::App* list = command.add_subcommand(
      "list", "List the printed labels with their values; overrides are marked with *");
  list->add_option("--scope", filter->scope, "Only this scope")->check(CLI::IsMember(scopeNames()));
  list->add_option("--locale", filter->locale, "In this language (default: the export language)")
      ->check(CLI::IsMember(languageNames()));
  list->callback([&context, filter] {
    context.onlyReads();
    listLabels(context, *filter);
  });

  auto entry = std::make_shared<LabelOverrideEntry>();
  CLI::App* set = command.add_subcommand("set", "Replace a printed label");
  set->add_option("scope", entry->scope, "The scope")
      ->required()
      ->check(CLI::IsMember(scopeNames()));
  set->add_option("locale", entry->locale, "The language")
      ->required()
      ->check(CLI::IsMember(languageNames()));
  set->add_option("key", entry->key, "The label's key, as 'quorvane labels list' shows it")
      ->required();
  set->add_option("value", entry->value, "The text to print instead")->required();
  set->callback([&context, entry] {
    requireLabelKey(context, entry->key);
    if (isBlank(entry->value)) throw CliError(context.text("cli.labels.empty_value"));
    context.check(context.store().setLabelOverride(*entry));
  });

  auto cleared = std::make_shared<LabelOverrideEntry>();
  CLI::App* clear = command.add_subcommand("clear", "Print the built-in label again");
  clear->add_option("scope", cleared->scope, "The scope")
      ->required()
      ->check(CLI::IsMember(scopeNames()));
  clear->add_option("locale", cleared->locale, "The language")
      ->required()
      ->check(CLI::IsMember(languageNames()));
  clear->add_option("key", cleared->key, "The label's key")->required();
  clear->callback([&context, cleared] {
    requireLabelKey(context, cleared->key);
    context.check(
        context.store().clearLabelOverride(cleared->scope, cleared->locale, cleared->key));
  });
}

void installSettingsCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane settings show\n"
      "  quorvane settings set language fr\n"
      "  quorvane settings set export.format letter\n"
      "  quorvane settings set backup.frequency frequent");
  command.add_subcommand("show", "Show every setting, its value and the values it takes")
      ->callback([&context] {
        context.onlyReads();
        showSettings(context);
      });
  auto pair = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* set = command.add_subcommand("set", "Change a setting; it is remembered");
  set->add_option("key", pair->first, "The setting, as 'quorvane settings show' lists it")
      ->required()
      ->check(CLI::IsMember(settingNames()));
  set->add_option("value", pair->second, "Its new value")->required();
  set->callback([&context, pair] { setSetting(context, pair->first, pair->second); });
}

void installResetCommand(CLI::App& command, CliContext& context) {
  auto confirmed = std::make_shared<bool>(false);
  command.add_flag("--yes", *confirmed, "Confirm: delete every project, text, CV and image");
  command.footer(
      "\nDeletes the whole library and Quorvane's own files in the media folder (never\n"
      "anything else there, nor what a link in it leads to); settings and label overrides\n"
      "stay. This can't be undone: back up first (quorvane package export --all -o FOLDER).\n\n"
      "Example:\n  quorvane reset --yes");
  command.callback([&context, confirmed] {
    // A media folder that is a link leads to a folder the user may keep
    // other files in: said, and only Quorvane's own files there go.
    const std::optional<std::string> link =
        FilesMediaStore(libraryMediaDirectory(), realFileSystem(), nullLogger(), false)
            .linkTarget();
    const std::string linkWords =
        link ? "\n" + context.format("cli.reset.media_link", {libraryMediaDirectory(), *link})
             : std::string();
    if (!*confirmed) throw CliError(context.text("cli.reset.confirm") + linkWords);
    context.check(context.store().deleteAllUserData());
    printToast(context);
    if (link) context.err << linkWords.substr(1) << '\n';
  });
}

}  // namespace quorvane
