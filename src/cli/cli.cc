#include "cli/cli.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <ostream>

#include "cli/command.h"
#include "cli/manual.h"
#include "cli/store_session.h"
#include "cli/terminal_stream.h"
#include "pdf/localization.h"
#include "platform/paths.h"
#include "platform/preferences.h"
#include "quorvane_version.h"

namespace quorvane {
namespace {

constexpr const char* kDescription =
    "Quorvane keeps a visual artist's library of artworks and texts and turns it into\n"
    "print-ready PDF documents: portfolios, catalogues, a CV, a biography and statements.";

constexpr const char* kFooter =
    "\nExamples, from a first project to its contents:\n"
    "  quorvane project new \"Spring 2027\" --kind catalogue --catalogue-kind price\n"
    "  quorvane artworks add ~/Pictures/works/*.jpg\n"
    "  quorvane artworks list\n"
    "  quorvane artwork set ID --title \"Tide\" --year 2026 --price 1200\n"
    "  quorvane details set --first-name Zoë --last-name Müller\n"
    "  quorvane text set bio biography.txt\n"
    "  quorvane cv add soloExhibitions year=2026 title=\"Tides\" venue=\"Galerie Nord\"\n"
    "  quorvane project show\n"
    "\nEverything is kept on this computer; 'quorvane info' tells where.\n"
    "\nRun 'quorvane COMMAND --help' for the options of one command.";

std::vector<const char*> argvFor(const std::vector<std::string>& args) {
  std::vector<const char*> argv{"quorvane"};
  for (const auto& arg : args) argv.push_back(arg.c_str());
  return argv;
}

}  // namespace

std::string CliContext::language() const {
  if (!languageOption.empty()) return languageOption;
  if (!resolvedLanguage) {
    resolvedLanguage =
        interfaceLanguage(Preferences(preferencesFilePath(), realFileSystem(), nullLogger(),
                                      systemClock(), Preferences::Access::read));
  }
  return *resolvedLanguage;
}

AppStore& CliContext::store() {
  if (!session) session = std::make_shared<StoreSession>(*this);
  return session->store();
}

void CliContext::writeNow() {
  if (session) session->writeNow();
}

void CliContext::check(bool ok) {
  if (ok) return;
  throw CliError(store().state().lastErrorMessage.value_or(text("cli.error.failed")));
}

std::string CliContext::text(std::string_view key) const { return uiText(key, language()); }

std::string CliContext::plural(std::string_view key, std::int64_t count,
                               std::initializer_list<std::string> arguments) const {
  return uiPlural(key, language(), count, arguments);
}

std::string CliContext::count(std::string_view key, std::int64_t count) const {
  return uiCount(key, language(), count);
}

std::string CliContext::format(std::string_view key,
                               std::initializer_list<std::string> arguments) const {
  return uiFormat(key, language(), arguments);
}

int runCli(const std::vector<std::string>& args, std::ostream& rawOut, std::ostream& rawErr,
           std::istream* in) {
  // Everything printed has its control characters escaped: the library's
  // texts and the user's file names reach the terminal as text only.
  EscapingStreamBuffer outBuffer(rawOut.rdbuf());
  EscapingStreamBuffer errBuffer(rawErr.rdbuf());
  std::ostream out(&outBuffer);
  std::ostream err(&errBuffer);
  CliContext context{
      .out = out,
      .err = err,
      .json = false,
      .verbose = false,
      .languageOption = {},
      .resolvedLanguage = {},
      .projectOption = {},
      .in = in != nullptr ? in : &std::cin,
      .session = {},
      .access = StorageAccess::write,
      .root = nullptr,
      .terminal = &rawErr == &std::cerr && ::isatty(STDERR_FILENO) == 1 ? &rawErr : nullptr};
  CLI::App app{kDescription, "quorvane"};
  context.root = &app;
  app.footer(kFooter);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.set_version_flag("--version", std::string("quorvane ") + kQuorvaneVersion);
  app.add_flag("--json", context.json, "Print machine-readable JSON instead of text");
  app.add_flag("-v,--verbose", context.verbose,
               "Print diagnostics (key=value lines) on standard error");
  app.add_option("--lang", context.languageOption,
                 "Print messages in this language for this run: en, fr, it, de or es")
      ->type_name("CODE")
      ->check(CLI::IsMember({"en", "fr", "it", "de", "es"}));
  app.add_option("--project", context.projectOption,
                 "Work on this project (its id, from 'quorvane projects') for this run only,\n"
                 "instead of the open one")
      ->type_name("ID");
  // What the build writes the manual page and the completion from: hidden,
  // as no user needs them.
  bool manual = false;
  std::string completion;
  app.add_flag("--manual", manual, "Print the manual page")->group("");
  app.add_option("--completion", completion, "Print the completion script of a shell")
      ->group("")
      ->check(CLI::IsMember({"bash"}));
  app.fallthrough();  // so global flags may follow the command too
  app.require_subcommand(0, 1);
  for (const CommandEntry& entry : cliCommands()) {
    CLI::App* command = app.add_subcommand(entry.name, entry.summary);
    command->group("Commands");
    entry.install(*command, context);
  }

  const auto argv = argvFor(args);
  try {
    app.parse(static_cast<int>(argv.size()), argv.data());
    if (manual) {
      out << manualPage(app, kQuorvaneVersion, kQuorvaneReleaseDate);
      return 0;
    }
    if (!completion.empty()) {
      out << bashCompletion(app);
      return 0;
    }
    if (context.session) context.session->finish();
  } catch (const CLI::ParseError& e) {
    return app.exit(e, out, err);
  } catch (const std::exception& e) {
    context.session.reset();  // what the command did change is still written
    err << "quorvane: " << e.what() << '\n';
    return 1;
  }
  if (app.get_subcommands().empty()) out << app.help();
  return 0;
}

}  // namespace quorvane
