// A run of the store as the window makes it, for the crash harness: one
// change, then its undo, then the redo and the undo again, all in one run
// (an undo history never outlives its run, so no command of the program
// can be killed half-way through one).
//
//   quorvane_undo_worker PROJECT replace ARTWORK IMAGE
//   quorvane_undo_worker PROJECT remove ARTWORK
//   quorvane_undo_worker PROJECT add IMAGE
//
// Each undo and redo is written before the next starts; the library ends
// as it began. Exits 1, saying why, when a step fails.
#include <iostream>
#include <string>

#include "app/app_store.h"
#include "app/waiting_commands.h"
#include "cli/command.h"

namespace {

using quorvane::AppStore;

bool change(AppStore& store, const std::string& what, char** argv) {
  if (what == "replace") return store.replaceImage(argv[3], argv[4]);
  if (what == "remove") return store.removeArtwork(argv[3]);
  if (what == "add") return quorvane::addImages(store, {argv[3]}).at(0).artworkId.has_value();
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::cerr << "usage: quorvane_undo_worker PROJECT replace|remove|add ARGUMENTS…\n";
    return 2;
  }
  quorvane::CliContext context{.out = std::cout,
                               .err = std::cerr,
                               .json = false,
                               .verbose = false,
                               .languageOption = {},
                               .resolvedLanguage = {},
                               .projectOption = argv[1],
                               .in = &std::cin,
                               .session = {},
                               .access = quorvane::StorageAccess::write,
                               .root = nullptr,
                               .terminal = nullptr};
  try {
    AppStore& store = context.store();
    const auto written = [&](bool ok) {
      context.check(ok);
      context.writeNow();
    };
    written(change(store, argv[2], argv));
    written(store.undo());
    written(store.redo());
    written(store.undo());
    std::cout << "undone\n";
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
