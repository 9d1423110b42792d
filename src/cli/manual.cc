#include "cli/manual.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <sstream>
#include <vector>

namespace quorvane {

namespace {

// The commands of `app`, as its help lists them (hidden ones left out).
std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
}

void walk(const CLI::App& app, const std::string& path,
          const std::function<void(const CLI::App&, const std::string&)>& visit) {
  for (const CLI::App* command : commandsOf(app)) {
    const std::string here = path.empty() ? command->get_name() : path + " " + command->get_name();
    visit(*command, here);
    walk(*command, here, visit);
  }
}

// Text as man(7) shows it verbatim: backslashes doubled, a line starting
// with a dot or a quote kept from being read as a request.
std::string roffVerbatim(const std::string& text) {
  std::string out;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && (line[0] == '.' || line[0] == '\'')) out += "\\&";
    for (const char c : line) {
      if (c == '\\') {
        out += "\\e";
      } else {
        out += c;
      }
    }
    out += '\n';
  }
  return out;
}

// The values an option takes when it takes one of a list: CLI11 writes
// them as "TEXT:{a,b,c}" in its type name.
std::vector<std::string> listedValues(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const auto open = type.find('{');
  const auto close = type.find('}', open);
  if (open == std::string::npos || close == std::string::npos) return {};
  std::vector<std::string> values;
  std::istringstream list(type.substr(open + 1, close - open - 1));
  for (std::string value; std::getline(list, value, ',');) {
    if (!value.empty()) values.push_back(value);
  }
  return values;
}

std::vector<const CLI::Option*> shownOptions(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) {
    return option->nonpositional() && !option->get_group().empty();
  });
}

std::string joined(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words) out += (out.empty() ? "" : " ") + word;
  return out;
}

}  // namespace

std::vector<std::string> commandPaths(const CLI::App& app) {
  std::vector<std::string> paths;
  walk(app, "", [&](const CLI::App&, const std::string& path) { paths.push_back(path); });
  return paths;
}

std::string manualPage(const CLI::App& app, std::string_view version, std::string_view date) {
  std::ostringstream page;
  page << ".TH QUORVANE 1 \"" << date << "\" \"quorvane " << version << "\" \"User Commands\"\n"
       << ".SH NAME\n"
       << "quorvane \\- keep an artist's library of works and texts, and print it as PDFs\n"
       << ".SH SYNOPSIS\n"
       << ".B quorvane\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n"
       << ".SH DESCRIPTION\n"
       << ".nf\n"
       << roffVerbatim(app.help()) << ".fi\n"
       << ".SH COMMANDS\n"
       << "Each command as \\fBquorvane \\fICOMMAND\\fB \\-\\-help\\fR prints it.\n";
  walk(app, "", [&](const CLI::App& command, const std::string& path) {
    // Its usage line names the commands above it, as `--help` does.
    const auto space = path.rfind(' ');
    const std::string above =
        space == std::string::npos ? "quorvane" : "quorvane " + path.substr(0, space);
    page << ".SS \"quorvane " << path << "\"\n.nf\n"
         << roffVerbatim(command.help(above)) << ".fi\n";
  });
  page << ".SH FILES\n"
       << "The library (its database and media folder) is in "
          "\\fI$XDG_DATA_HOME/Quorvane\\fR (\\fI~/.local/share/Quorvane\\fR),\n"
       << "the preferences in \\fI$XDG_CONFIG_HOME/Quorvane\\fR (\\fI~/.config/Quorvane\\fR);\n"
       << "\\fBquorvane info\\fR tells where they are on this computer.\n"
       << ".SH ENVIRONMENT\n"
       << ".TP\n.B QUORVANE_LOCK_WAIT_MS\n"
       << "How long a command that changes the library waits for another one (5000).\n"
       << ".TP\n.B LANGUAGE, LC_ALL, LC_MESSAGES, LANG\n"
       << "The language of the messages, unless one was chosen (\\fB\\-\\-lang\\fR, the "
          "settings).\n"
       << ".SH EXIT STATUS\n"
       << "0 when the command did what it says; 1, with a message on standard error, when it "
          "did not; 2 for a command line it could not read.\n"
       << ".SH SEE ALSO\n"
       << ".BR quorvane\\-desktop (1)\n";
  return page.str();
}

std::string bashCompletion(const CLI::App& app) {
  std::ostringstream commands;
  std::ostringstream options;
  std::ostringstream values;
  std::ostringstream ids;
  const auto describe = [&](const CLI::App& command, const std::string& path) {
    // An id is offered from the listing that shows it.
    const bool takesId =
        !command.get_options([](const CLI::Option* option) { return option->get_name() == "id"; })
             .empty();
    const std::string top = path.substr(0, path.find(' ', 9));
    const std::string listing = top == "quorvane artwork"            ? "artworks list"
                                : path == "quorvane project restore" ? "projects --deleted"
                                : top == "quorvane project"          ? "projects"
                                : top == "quorvane vault"            ? "vault"
                                                                     : "";
    if (takesId && !listing.empty()) ids << "  [\"" << path << "\"]=\"" << listing << "\"\n";
    std::vector<std::string> names;
    for (const CLI::App* sub : commandsOf(command)) names.push_back(sub->get_name());
    if (!names.empty()) commands << "  [\"" << path << "\"]=\"" << joined(names) << "\"\n";
    std::vector<std::string> flags;
    for (const CLI::Option* option : shownOptions(command)) {
      for (const std::string& name : option->get_lnames()) flags.push_back("--" + name);
      for (const std::string& name : option->get_snames()) flags.push_back("-" + name);
      const std::vector<std::string> listed = listedValues(*option);
      for (const std::string& name : option->get_lnames()) {
        if (!listed.empty()) {
          values << "  [\"" << path << "|--" << name << "\"]=\"" << joined(listed) << "\"\n";
        }
      }
    }
    options << "  [\"" << path << "\"]=\"" << joined(flags) << "\"\n";
  };
  // Keys are command paths from the program's name on ("quorvane project
  // new"): bash takes no empty key.
  describe(app, "quorvane");
  walk(app, "", [&](const CLI::App& command, const std::string& path) {
    describe(command, "quorvane " + path);
  });

  std::ostringstream script;
  script << "# bash completion for quorvane, written by 'quorvane --completion bash' from the\n"
            "# program's own commands and options.\n"
            "declare -gA _quorvane_commands=(\n"
         << commands.str() << ")\ndeclare -gA _quorvane_options=(\n"
         << options.str() << ")\ndeclare -gA _quorvane_values=(\n"
         << values.str() << ")\ndeclare -gA _quorvane_ids=(\n"
         << ids.str() << ")\n"
         << R"script(
_quorvane() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
  local path=quorvane word i
  # The command path so far: each word that names a command of the path.
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ " ${_quorvane_commands[$path]} " == *" $word "* ]]; then
      path="$path $word"
    fi
  done
  # The value of an option that takes one of a list; global options such as
  # --lang are the program's own.
  local listed=${_quorvane_values["$path|$prev"]:-${_quorvane_values["quorvane|$prev"]}}
  if [[ -n $listed ]]; then
    COMPREPLY=($(compgen -W "$listed" -- "$cur"))
    return
  fi
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "${_quorvane_options[$path]} ${_quorvane_options[quorvane]}" -- "$cur"))
    return
  fi
  # An artwork's or a project's id, read from the library (which reading
  # never locks), where the command takes one first.
  local listing=${_quorvane_ids[$path]}
  if [[ -n $listing && ${COMP_WORDS[COMP_CWORD-1]} == "${path##* }" ]]; then
    COMPREPLY=($(compgen -W "$(quorvane $listing 2>/dev/null |
      grep -oE '[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}')" -- "$cur"))
    return
  fi
  if [[ -n ${_quorvane_commands[$path]} ]]; then
    COMPREPLY=($(compgen -W "${_quorvane_commands[$path]}" -- "$cur"))
    return
  fi
  # Anything else is a file (images, texts, packages) or an id.
  COMPREPLY=($(compgen -f -- "$cur"))
}
complete -o filenames -o bashdefault -F _quorvane quorvane
)script";
  return script.str();
}

}  // namespace quorvane
