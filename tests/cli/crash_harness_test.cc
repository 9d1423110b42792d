// Kills, at random moments, the real program running a workload of a
// user's commands (adds, replaced images, titles, texts, CV entries,
// reorders, duplicated and deleted projects, removed artworks, exports,
// backups written and imported), and checks after each kill that nothing
// was lost:
//
// - the database passes SQLite's integrity and foreign-key checks;
// - every command that had ended well before the kill is in the library;
// - a change taken back and done again in one run (the store's undo, as the
//   window makes it: an image replaced, added, a work removed) leaves the
//   library before or after the change, never half-way;
// - the interrupted command is there wholly or not at all;
// - every artwork's files are its row's: the web derivative on disk is the
//   image the row holds, and one original of the row's size is beside it;
// - after the next run that writes, nothing of ours is left in temporary
//   files or staging areas, and an export is whole or as it was; so is a
//   backup, which reads back as a package; an image kept for the next
//   web-quality export is a whole JPEG.
//
// The seed is printed; QUORVANE_CRASH_SEED repeats a run and
// QUORVANE_CRASH_KILLS sets how many kills to make (30 by default; `make
// crash` makes 1,000).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <set>

#include "cli/process_support.h"
#include "images/test_images.h"
#include "storage/sqlite_database.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ProcessOptions;
using testing::ProcessRun;
using testing::runQuorvane;

std::uint64_t fromEnvironment(const char* name, std::uint64_t fallback) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return fallback;
  return std::stoull(value);
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// What the library holds of the harness's project, read straight from the
// database.
struct LibraryState {
  std::vector<std::string> order;                 // the project's artworks
  std::map<std::string, std::string> titles;      // artwork id → title
  std::map<std::string, std::int64_t> originals;  // artwork id → original's bytes
  std::string bio;
  std::int64_t cvEntries = 0;
  std::set<std::string> projects;

  bool operator==(const LibraryState&) const = default;
};

std::ostream& operator<<(std::ostream& out, const LibraryState& state) {
  out << "{order:";
  for (const std::string& id : state.order) out << ' ' << id.substr(0, 8);
  out << "; titles:";
  for (const auto& [id, title] : state.titles) out << ' ' << id.substr(0, 8) << '=' << title;
  out << "; originals:";
  for (const auto& [id, bytes] : state.originals) out << ' ' << id.substr(0, 8) << '=' << bytes;
  return out << "; bio " << state.bio.size() << " bytes; cv " << state.cvEntries << "; "
             << state.projects.size() << " projects}";
}

class CrashHarness : public ::testing::Test {
 protected:
  CrashHarness() {
    fs::create_directories(home.path() / "out");
    for (int i = 0; i < 4; ++i) {
      const std::string path = home.file("image-" + std::to_string(i) + ".jpg");
      const auto bytes = quorvane::testing::encodedImage(".jpg", 500 + 170 * i, 400 + 90 * i);
      std::ofstream(path, std::ios::binary)
          .write(reinterpret_cast<const char*>(bytes->data()),
                 static_cast<std::streamsize>(bytes->size()));
      images.push_back(path);
    }
  }

  ProcessRun quorvane(const std::vector<std::string>& arguments, const std::string& input = "",
                      std::optional<microseconds> killAfter = {}, bool undoWorker = false) {
    ProcessOptions options;
    if (undoWorker) options.program = QUORVANE_UNDO_WORKER;
    options.environment = testing::homeEnvironment(home.path().string());
    options.input = input;
    options.killAfter = killAfter;
    return runQuorvane(arguments, options);
  }
  std::string libraryDirectory() const { return home.file("data") + "/Quorvane"; }
  std::string mediaDirectory() const { return libraryDirectory() + "/media"; }

  LibraryState readLibrary() {
    SQLiteDatabase db(libraryDirectory() + "/quorvane.sqlite", SQLiteDatabase::Access::readOnly);
    LibraryState state;
    Statement order = db.prepare(
        "SELECT artworkId FROM project_artworks WHERE projectId = ? ORDER BY sortIndex, "
        "artworkId");
    order.bindText(1, project);
    while (order.nextRow()) state.order.push_back(order.textOrEmpty(0));
    Statement artworks =
        db.prepare("SELECT id, COALESCE(title, ''), originalSizeBytes FROM artworks");
    while (artworks.nextRow()) {
      state.titles[artworks.textOrEmpty(0)] = artworks.textOrEmpty(1);
      state.originals[artworks.textOrEmpty(0)] = artworks.int64(2).value_or(-1);
    }
    Statement text = db.prepare(
        "SELECT a.content, COALESCE(json_array_length(json_extract(c.json, "
        "'$.soloExhibitions')), 0) FROM project_text_asset_links l JOIN text_assets a ON a.id = "
        "l.assetId, project_text_asset_links lc JOIN text_assets c ON c.id = lc.assetId WHERE "
        "l.projectId = ?1 AND l.type = 'bio' AND lc.projectId = ?1 AND lc.type = 'cv'");
    text.bindText(1, project);
    if (text.nextRow()) {
      state.bio = text.textOrEmpty(0);
      state.cvEntries = text.int64(1).value_or(0);
    }
    Statement projects = db.prepare("SELECT id FROM projects WHERE archivedAt IS NULL");
    while (projects.nextRow()) state.projects.insert(projects.textOrEmpty(0));
    return state;
  }

  // The checks that hold after any kill, once a run that writes has started.
  void expectSoundLibrary() {
    SQLiteDatabase db(libraryDirectory() + "/quorvane.sqlite", SQLiteDatabase::Access::readOnly);
    Statement integrity = db.prepare("PRAGMA integrity_check");
    ASSERT_TRUE(integrity.nextRow());
    EXPECT_EQ(integrity.textOrEmpty(0), "ok");
    Statement foreignKeys = db.prepare("PRAGMA foreign_key_check");
    EXPECT_FALSE(foreignKeys.nextRow()) << "a row points at nothing";

    // Every artwork's files are its row's.
    Statement media = db.prepare(
        "SELECT a.id, a.originalSizeBytes, m.blob FROM artworks a JOIN media m ON m.artworkId = "
        "a.id");
    while (media.nextRow()) {
      const std::string id = media.textOrEmpty(0);
      const std::vector<std::uint8_t> stored = media.blob(2);
      std::ifstream web(mediaDirectory() + "/" + id + "_web_v1.jpg", std::ios::binary);
      const std::vector<std::uint8_t> onDisk{std::istreambuf_iterator<char>(web), {}};
      EXPECT_EQ(onDisk, stored) << "the web derivative of " << id << " is not its row's image";
      std::vector<std::uintmax_t> originals;
      for (const auto& entry : fs::directory_iterator(mediaDirectory())) {
        if (entry.path().filename().string().starts_with(id + "_orig.")) {
          originals.push_back(entry.file_size());
        }
      }
      EXPECT_EQ(
          originals,
          std::vector<std::uintmax_t>{static_cast<std::uintmax_t>(media.int64(1).value_or(-1))})
          << "the original of " << id << " is missing or not its row's";
    }
    // Nothing of ours half-written or half-done.
    for (const std::string& folder :
         {mediaDirectory(), libraryDirectory(), home.file("config"), home.file("out")}) {
      if (!fs::exists(folder)) continue;
      for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(name.find(".tmp-"), std::string::npos) << "left behind: " << entry.path();
        EXPECT_FALSE(name.starts_with(".import-staging-")) << "left behind: " << entry.path();
        EXPECT_FALSE(name.starts_with(".undo-")) << "kept past its run: " << entry.path();
      }
    }
    // The images kept for web-quality exports are whole JPEGs.
    const fs::path kept = home.path() / "cache" / "Quorvane" / "prepared-images";
    if (fs::exists(kept)) {
      for (const auto& entry : fs::recursive_directory_iterator(kept)) {
        const std::string name = entry.path().filename().string();
        if (!entry.is_regular_file() || name.starts_with(".")) continue;
        std::ifstream jpeg(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(jpeg), {}};
        EXPECT_TRUE(bytes.starts_with("\xFF\xD8\xFF") && bytes.ends_with("\xFF\xD9"))
            << "a prepared image half-written: " << entry.path();
      }
    }
    const fs::path exported = home.path() / "out" / "portfolio.pdf";
    if (fs::exists(exported)) {
      std::ifstream pdf(exported, std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(pdf), {}};
      EXPECT_TRUE(bytes.starts_with("%PDF-")) << "an export is whole or not there";
      EXPECT_NE(bytes.find("%%EOF", bytes.size() > 64 ? bytes.size() - 64 : 0), std::string::npos)
          << "an export is whole or not there";
    }
  }

  testing::TempDir home;
  std::vector<std::string> images;
  std::string project;
};

// One command of the workload: what it runs and what it changes.
struct Step {
  std::string kind;
  std::vector<std::string> arguments;
  std::string input;
  // The library as it must be when the command is done, from the state
  // before it and what it printed (the id of what it made).
  std::function<LibraryState(LibraryState, const std::string& printed)> effect;
  // For a command whose effect can't be told before it prints (an id):
  // whether `after` is the whole of it.
  std::function<bool(const LibraryState& before, const LibraryState& after)> isWhole;
  // The command brings what no one can foresee (an import's new ids): once
  // it is done, the library as read is what is expected.
  bool rereads = false;
  // Run by the undo worker (its arguments whole) rather than quorvane.
  bool undoes = false;
};

TEST_F(CrashHarness, NothingIsLostWhenTheProgramIsKilledAtAnyMoment) {
  const std::uint64_t seed = fromEnvironment(
      "QUORVANE_CRASH_SEED",
      static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
  const std::uint64_t kills = fromEnvironment("QUORVANE_CRASH_KILLS", 30);
  std::cout << "crash harness seed=" << seed << " kills=" << kills << std::endl;
  std::mt19937_64 random(seed);
  const auto chance = [&](double p) { return std::uniform_real_distribution<>(0, 1)(random) < p; };
  const auto pick = [&](std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
  };

  const ProcessRun created = quorvane({"project", "new", "Harness"});
  ASSERT_EQ(created.exitCode, 0) << created.err;
  project = firstLine(created.out);

  LibraryState expected = readLibrary();
  std::map<std::string, milliseconds> typical;  // how long each kind of command takes
  // Before it does anything of its own a process loads its libraries: the
  // kills go after that, where they can hurt.
  milliseconds startup{0};
  for (int i = 0; i < 3; ++i) startup += quorvane({"--version"}).took;
  startup = startup * 4 / 5 / 3;
  std::uint64_t killed = 0, completed = 0, interruptedFound = 0, journals = 0, stagings = 0,
                undoKills = 0;
  int counter = 0;

  while (killed < kills) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(counter));
    ++counter;
    // The next command, chosen among what makes sense now.
    Step step;
    std::string onProject = project;  // the project it works on
    // A dozen artworks at most: exports (which render every artwork) stay
    // as quick at the thousandth kill as at the first.
    std::size_t choice = expected.order.empty() ? 0 : pick(13);
    if (choice == 0 && expected.order.size() >= 12) choice = 2;
    const std::string text = "T" + std::to_string(counter);
    if (choice == 0) {
      const std::string image = images[pick(images.size())];
      const auto size = static_cast<std::int64_t>(fs::file_size(image));
      step = {"add",
              {"artworks", "add", image},
              "",
              [size](LibraryState s, const std::string& id) {
                s.order.push_back(id);
                s.titles[id] = "";
                s.originals[id] = size;
                return s;
              },
              [size](const LibraryState& before, const LibraryState& after) {
                if (after.order.size() != before.order.size() + 1) return false;
                const std::string& id = after.order.back();
                return std::equal(before.order.begin(), before.order.end(), after.order.begin()) &&
                       after.originals.at(id) == size;
              }};
    } else if (choice == 1) {
      const std::string id = expected.order[pick(expected.order.size())];
      const std::string image = images[pick(images.size())];
      const auto size = static_cast<std::int64_t>(fs::file_size(image));
      step = {"replace",
              {"artwork", "image", id, image},
              "",
              [id, size](LibraryState s, const std::string&) {
                s.originals[id] = size;
                return s;
              },
              {}};
    } else if (choice == 2) {
      const std::string id = expected.order[pick(expected.order.size())];
      step = {"title",
              {"artwork", "set", id, "--title", text},
              "",
              [id, text](LibraryState s, const std::string&) {
                s.titles[id] = text;
                return s;
              },
              {}};
    } else if (choice == 3) {
      std::string bio = text + ": ";
      while (bio.size() < 30'000) bio += "paints the sea, the tides, the light. ";
      bio.pop_back();  // a text is kept without white space at its ends
      step = {"bio",
              {"text", "set", "bio", "-"},
              bio,
              [bio](LibraryState s, const std::string&) {
                s.bio = bio;
                return s;
              },
              {}};
    } else if (choice == 4) {
      step = {"cv",
              {"cv", "add", "soloExhibitions", "title=" + text, "year=2026"},
              "",
              [](LibraryState s, const std::string&) {
                ++s.cvEntries;
                return s;
              },
              {}};
    } else if (choice == 5) {
      std::vector<std::string> reversed(expected.order.rbegin(), expected.order.rend());
      std::vector<std::string> arguments{"artworks", "order"};
      arguments.insert(arguments.end(), reversed.begin(), reversed.end());
      step = {"order",
              arguments,
              "",
              [reversed](LibraryState s, const std::string&) {
                s.order = reversed;
                return s;
              },
              {}};
    } else if (choice == 6 && expected.projects.size() < 6) {
      step = {"duplicate",
              {"project", "duplicate"},
              "",
              [](LibraryState s, const std::string& id) {
                s.projects.insert(id);
                return s;
              },
              [](const LibraryState& before, const LibraryState& after) {
                return after.projects.size() == before.projects.size() + 1;
              }};
    } else if (choice == 8 && expected.projects.size() > 1) {
      // A copy made earlier is deleted (archived) again.
      std::vector<std::string> copies;
      for (const std::string& id : expected.projects) {
        if (id != project) copies.push_back(id);
      }
      const std::string copy = copies[pick(copies.size())];
      step = {"delete",
              {"project", "delete"},
              "",
              [copy](LibraryState s, const std::string&) {
                s.projects.erase(copy);
                return s;
              },
              {}};
      onProject = copy;
    } else if (choice == 9 && chance(0.5)) {
      step = {"backup",
              {"package", "export", "-o", home.file("out/backup.quorvane"), "--force"},
              "",
              [](LibraryState s, const std::string&) { return s; },
              {}};
    } else if (choice == 9 && expected.projects.size() < 6 &&
               fs::exists(home.file("out/backup.quorvane"))) {
      step = {"import",
              {"package", "import", home.file("out/backup.quorvane")},
              "",
              [](LibraryState s, const std::string& id) {
                s.projects.insert(id);
                return s;
              },
              [](const LibraryState& before, const LibraryState& after) {
                return after.projects.size() == before.projects.size() + 1;
              },
              true};
    } else if (choice == 7 && expected.order.size() > 2) {
      const std::string id = expected.order[pick(expected.order.size())];
      step = {"remove",
              {"artwork", "remove", id},
              "",
              [id](LibraryState s, const std::string&) {
                std::erase(s.order, id);
                return s;
              },
              {}};
    } else if (choice >= 10) {
      // Done, undone, redone and undone again in one run: the library ends
      // as it began, and a kill leaves it before or after the change.
      const std::string id = expected.order[pick(expected.order.size())];
      const std::string image = images[pick(images.size())];
      const auto size = static_cast<std::int64_t>(fs::file_size(image));
      const auto unchanged = [](LibraryState s, const std::string&) { return s; };
      if (choice == 10) {
        step = {"undo-replace",
                {"replace", id, image},
                "",
                unchanged,
                [id, size](const LibraryState& before, const LibraryState& after) {
                  LibraryState replaced = before;
                  replaced.originals[id] = size;
                  return after == replaced;
                }};
      } else if (choice == 11) {
        step = {"undo-remove",
                {"remove", id},
                "",
                unchanged,
                [id](const LibraryState& before, const LibraryState& after) {
                  LibraryState removed = before;
                  std::erase(removed.order, id);
                  return after == removed;
                }};
      } else {
        step = {"undo-add",
                {"add", image},
                "",
                unchanged,
                [size](const LibraryState& before, const LibraryState& after) {
                  if (after.order.size() != before.order.size() + 1) return false;
                  LibraryState added = before;
                  const std::string& id = after.order.back();
                  added.order.push_back(id);
                  added.titles[id] = "";
                  added.originals[id] = size;
                  return after == added;
                }};
      }
      step.undoes = true;
    } else {
      // At web quality every other time: the images it prepares are kept.
      step = {"export",
              {"export", "portfolio", "-o", home.file("out/portfolio.pdf"), "--force", "--quality",
               chance(0.5) ? "web" : "print"},
              "",
              [](LibraryState s, const std::string&) { return s; },
              {}};
    }
    std::vector<std::string> arguments{"--project", onProject};
    if (step.undoes) arguments = {onProject};
    arguments.insert(arguments.end(), step.arguments.begin(), step.arguments.end());

    // Killed half of the time, at a moment within how long it usually takes.
    std::optional<microseconds> killAfter;
    if (chance(0.5)) {
      const milliseconds usual =
          typical.contains(step.kind) ? typical[step.kind] : milliseconds(100);
      const std::int64_t from = std::chrono::duration_cast<microseconds>(startup).count();
      const std::int64_t to = std::chrono::duration_cast<microseconds>(usual).count() * 6 / 5;
      // Leaning towards the end, where the writes are.
      const double late = std::max(std::uniform_real_distribution<>(0, 1)(random),
                                   std::uniform_real_distribution<>(0, 1)(random));
      const std::int64_t start = std::min(from, to);
      killAfter =
          microseconds(start + static_cast<std::int64_t>(late * static_cast<double>(to - start)));
    }
    const LibraryState before = expected;
    const ProcessRun run = quorvane(arguments, step.input, killAfter, step.undoes);
    if (!run.killed) {
      ASSERT_EQ(run.exitCode, 0) << step.kind << ": " << run.err;
      typical[step.kind] =
          typical.contains(step.kind) ? (typical[step.kind] * 3 + run.took) / 4 : run.took;
      expected = step.effect(expected, firstLine(run.out));
      if (step.rereads) {
        const LibraryState found = readLibrary();
        ASSERT_EQ(found.projects, expected.projects) << step.kind;
        expected = found;
      }
      ++completed;
      if (completed % 5 == 0) {
        ASSERT_EQ(readLibrary(), expected) << "after " << step.kind;
        expectSoundLibrary();
      }
      continue;
    }
    ++killed;
    undoKills += step.undoes;
    if (fs::exists(libraryDirectory() + "/quorvane.sqlite-journal")) ++journals;
    for (const auto& entry : fs::directory_iterator(mediaDirectory())) {
      if (entry.path().filename().string().starts_with(".import-staging-")) ++stagings;
    }
    // The next run that writes puts in order what the kill left.
    const ProcessRun next = quorvane({"settings", "set", "theme", "system"});
    ASSERT_EQ(next.exitCode, 0) << next.err;
    const LibraryState found = readLibrary();
    if (found == before) {
      // Not there at all.
    } else if (step.isWhole ? step.isWhole(before, found)
                            : found == step.effect(before, std::string())) {
      ++interruptedFound;
      expected = step.isWhole ? found : step.effect(before, std::string());
    } else {
      FAIL() << step.kind << " killed after " << killAfter->count()
             << " µs left the library neither before nor after it:\n  before " << before
             << "\n  found  " << found;
    }
    ASSERT_EQ(readLibrary(), expected);
    expectSoundLibrary();
    if (step.kind == "backup" && fs::exists(home.file("out/backup.quorvane"))) {
      const ProcessRun checked = quorvane({"package", "check", home.file("out/backup.quorvane")});
      EXPECT_EQ(checked.exitCode, 0) << "a backup is whole or as it was: " << checked.err;
    }
    if (HasFailure()) return;
  }
  std::cout << "crash harness: " << killed << " kills (" << interruptedFound << " found done; "
            << journals << " left a journal to roll back, " << stagings
            << " a media transaction to end; " << undoKills << " in a run of undos), " << completed
            << " commands completed" << std::endl;
}

}  // namespace
}  // namespace quorvane
