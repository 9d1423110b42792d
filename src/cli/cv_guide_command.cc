// `quorvane cv guide`: the artist's details, then each CV section, asked one
// field at a time. Standard input is read line by line, so the guide works
// the same typed at a terminal or fed from a file: an empty line skips a
// field, the end of input (Ctrl-D) stops, keeping what was entered.
#include <iostream>
#include <optional>
#include <string>

#include "app/app_store.h"
#include "cli/command.h"
#include "cv/cv_sections.h"
#include "cv/details_fields.h"
#include "model/control_characters.h"
#include "model/text.h"

namespace quorvane {
namespace {

// Stops the guide: the input has ended.
struct InputEnded {};

class Guide {
 public:
  explicit Guide(CliContext& context) : context_(context), store_(context.store()) {}

  void run() {
    context_.err << context_.text("cli.cv.guide.intro") << "\n\n";
    try {
      askDetails();
      const auto sections = cvSectionConfigs();
      for (std::size_t i = 0; i < sections.size(); ++i)
        askSection(sections[i], i + 1, sections.size());
    } catch (const InputEnded&) {
      context_.err << '\n' << context_.text("cli.cv.guide.stopped") << '\n';
      return;
    }
    const CVData& cv = store_.state().snapshot.cv;
    std::size_t entries = 0;
    std::size_t sections = 0;
    for (const CVSectionConfig& section : cvSectionConfigs()) {
      const std::size_t count = cvEntries(cv, section.id).size();
      entries += count;
      if (count > 0) ++sections;
    }
    context_.err << '\n'
                 << context_.format(
                        "cli.cv.guide.done",
                        {context_.count("cv.import.entries", static_cast<std::int64_t>(entries)),
                         context_.count("cv.import.sections", static_cast<std::int64_t>(sections))})
                 << '\n';
  }

 private:
  // One line of input without its line ending; throws at the end of input.
  std::string line() {
    std::string text;
    if (!std::getline(*context_.in, text)) throw InputEnded{};
    if (!text.empty() && text.back() == '\r') text.pop_back();
    return trimmedWhitespaceAndNewlines(text);
  }

  std::string ask(std::string_view label, std::string_view placeholder, const std::string& now) {
    context_.err << "  " << label;
    if (!now.empty()) context_.err << " [" << escapedForTerminal(now) << ']';
    if (!placeholder.empty()) {
      context_.err << " (" << context_.format("cli.cv.guide.example", {std::string(placeholder)})
                   << ')';
    }
    context_.err << ": " << std::flush;
    return line();
  }

  bool yes(const std::string& prompt) {
    context_.err << prompt << std::flush;
    const std::string answer = line();
    const std::string localYes = context_.text("cli.cv.guide.yes");
    return !answer.empty() &&
           (answer[0] == 'y' || answer[0] == 'Y' || answer.rfind(localYes, 0) == 0 ||
            std::tolower(static_cast<unsigned char>(answer[0])) ==
                std::tolower(static_cast<unsigned char>(localYes[0])));
  }

  std::string label(std::string_view key) const { return context_.text(key); }

  void askDetails() {
    context_.err << context_.text("cli.cv.guide.details") << '\n';
    for (const DetailsFieldConfig& field : detailsFieldConfigs()) {
      ArtistDetails details = store_.state().snapshot.details;
      std::string& value = details.*field.member;
      while (true) {
        std::string answer = ask(label(detailsFieldLabelKey(field.id)),
                                 label(detailsFieldPlaceholderKey(field.id)), value);
        if (field.id == "nameDisplayMode") {
          for (char& c : answer) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        if (answer.empty()) break;
        if (field.id == "nameDisplayMode" && answer != "legal" && answer != "artist") {
          context_.err << "  " << context_.text("cli.cv.guide.name_display_choices") << '\n';
          continue;
        }
        value = answer;
        store_.setDetails(details);  // kept at once: Ctrl-D later loses nothing
        break;
      }
    }
  }

  // The section's heading says how far along the guide is: twelve sections
  // are a long way with no sense of the end.
  void askSection(const CVSectionConfig& section, std::size_t number, std::size_t total) {
    const std::int64_t count =
        static_cast<std::int64_t>(cvEntries(store_.state().snapshot.cv, section.id).size());
    context_.err << '\n'
                 << context_.format(
                        "cli.cv.guide.section",
                        {label(cvSectionTitleKey(section.id)), std::to_string(number),
                         std::to_string(total), context_.count("cv.import.entries", count)})
                 << '\n';
    if (!yes(context_.format("cli.cv.guide.add_first",
                             {label(cvSectionEmptyLabelKey(section.id))}))) {
      return;
    }
    do {
      askEntry(section);
    } while (yes(context_.text("cli.cv.guide.add_another")));
  }

  void askEntry(const CVSectionConfig& section) {
    CVEntry entry;
    try {
      for (const CVFieldConfig& field : section.fields) {
        const std::string answer =
            ask(label(cvFieldLabelKey(field.id)), label(cvFieldPlaceholderKey(field.id)), {});
        if (!answer.empty()) entry[std::string(field.id)] = answer;
      }
    } catch (const InputEnded&) {
      add(section, entry);  // what was typed of the entry is kept
      throw;
    }
    if (!add(section, entry))
      context_.err << "  " << context_.text("cli.cv.guide.entry_empty") << '\n';
  }

  bool add(const CVSectionConfig& section, const CVEntry& entry) {
    if (entry.empty()) return false;
    CVData cv = store_.state().snapshot.cv;
    cvEntries(cv, section.id).push_back(entry);
    store_.setCV(cv);
    return true;
  }

  CliContext& context_;
  AppStore& store_;
};

}  // namespace

void installCVGuideCommand(CLI::App& cv, CliContext& context) {
  CLI::App* command = cv.add_subcommand(
      "guide", "Enter your details and your CV one field at a time, with examples");
  command->footer(
      "\nEach field shows its current value [in brackets] and an example. Press Enter to\n"
      "skip a field and keep its value; answer y to add an entry to a section, Enter to\n"
      "go on to the next. Ctrl-D stops at any point: what you entered is saved.\n"
      "Standard input is read line by line, so answers can also come from a file:\n"
      "  quorvane cv guide < answers.txt");
  command->callback([&context] { Guide(context).run(); });
}

}  // namespace quorvane
