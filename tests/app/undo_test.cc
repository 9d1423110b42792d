// Undo and redo told as stories: each thing a person does is done, taken
// back to a library equal to before (its rows apart from modification
// times, and the media folder's files), and done again.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "app/app_store.h"
#include "app/app_store_fixture.h"
#include "app/library_tidy.h"
#include "app/undo_history.h"
#include "app/waiting_commands.h"
#include "storage/sqlite_database.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::AppStoreTest;
using testing::named;

class UndoTest : public AppStoreTest {
 protected:
  // Every row of the library, without the times that say when it changed.
  std::string dump() {
    return repository->withDatabase([](SQLiteDatabase& db) {
      std::string out;
      Statement tables = db.prepare(
          "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite_%' "
          "AND name <> 'section_timestamps' ORDER BY name");
      std::vector<std::string> names;
      while (tables.nextRow()) names.push_back(tables.textOrEmpty(0));
      for (const std::string& table : names) {
        Statement columns = db.prepare("PRAGMA table_info(" + table + ")");
        std::string row = "''";
        while (columns.nextRow()) {
          const std::string column = columns.textOrEmpty(1);
          // When a row was last written (an image's bytes, a deletion) is
          // a modification time, whether it is deleted is not; a label's
          // row id is no part of the label.
          const bool kept = column != "updatedAt" && column != "archivedAt" &&
                            !(table == "media" && column == "createdAt") &&
                            !(table == "label_overrides" && column == "id");
          if (kept) row += " || '|' || quote(" + column + ")";
          if (column == "archivedAt") row += " || '|' || (archivedAt IS NULL)";
        }
        Statement rows = db.prepare("SELECT " + row + " FROM " + table + " ORDER BY 1");
        out += table + ":\n";
        while (rows.nextRow()) out += "  " + rows.textOrEmpty(0) + "\n";
      }
      return out;
    });
  }
  // The media folder's files and their bytes.
  std::map<std::string, Bytes> mediaFiles() {
    std::map<std::string, Bytes> files;
    for (const std::string& name : testing::mediaNames(media)) {
      if (std::filesystem::is_regular_file(media.pathOf(name))) {
        files[name] = *media.readFile(media.pathOf(name));
      }
    }
    return files;
  }
  struct Library {
    std::string rows;
    std::map<std::string, Bytes> files;
    bool operator==(const Library&) const = default;
  };
  // What one library has that the other has not, line by line: empty when
  // they are the same.
  static std::string difference(const Library& is, const Library& was) {
    const auto lines = [](const Library& library) {
      std::multiset<std::string> lines;
      std::istringstream rows(library.rows);
      for (std::string line; std::getline(rows, line);) {
        lines.insert(line.size() <= 160 ? line
                                        : line.substr(0, 120) + "… #" +
                                              std::to_string(std::hash<std::string>{}(line)));
      }
      for (const auto& [name, bytes] : library.files) {
        lines.insert(
            "file " + name + " " +
            std::to_string(std::hash<std::string>{}(std::string(bytes.begin(), bytes.end()))));
      }
      return lines;
    };
    const std::multiset<std::string> a = lines(is);
    const std::multiset<std::string> b = lines(was);
    std::string out;
    for (const std::string& line : a) {
      if (!b.contains(line)) out += "+ " + line + "\n";
    }
    for (const std::string& line : b) {
      if (!a.contains(line)) out += "- " + line + "\n";
    }
    return out;
  }
  Library library() {
    settle();
    return {dump(), mediaFiles()};
  }
  std::vector<std::string> addWorks(AppStore& store, std::vector<std::string> titles) {
    std::vector<std::string> ids;
    for (const std::string& title : titles) {
      const auto added = addImages(store, {writeImage(title + ".png", 40, 30)});
      ids.push_back(*added.at(0).artworkId);
      ArtworkMetadata metadata;
      metadata.title = title;
      store.updateArtwork(ids.back(), metadata);
      main.advanceBy(2s);  // each its own step
    }
    settle();
    return ids;
  }
  // Does, undoes, redoes: the library is as before after the undo and as
  // after the change once it is done again.
  void roundTrip(AppStore& store, const std::string& what, const std::function<void()>& change) {
    SCOPED_TRACE(what);
    main.advanceBy(2s);
    const Library before = library();
    change();
    const Library after = library();
    ASSERT_NE(after, before) << "the change changed nothing";
    ASSERT_TRUE(store.undo()) << store.state().lastErrorMessage.value_or("");
    EXPECT_EQ(difference(library(), before), "");
    ASSERT_TRUE(store.redo()) << store.state().lastErrorMessage.value_or("");
    EXPECT_EQ(difference(library(), after), "");
  }
};

TEST_F(UndoTest, EveryEditOfAProjectComesBackAndGoesAgain) {
  AppStore& store = open();
  const auto ids = addWorks(store, {"Tide I", "Meadow", "Dune"});
  roundTrip(store, "metadata", [&] {
    ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[0]);
    metadata.medium = "Oil on linen";
    metadata.priceCents = 120000;
    store.updateArtwork(ids[0], metadata);
  });
  roundTrip(store, "reorder", [&] { store.reorderArtworks({ids[1], ids[0], ids[2]}); });
  roundTrip(store, "remove", [&] { store.removeArtwork(ids[1]); });
  store.removeArtwork(ids[2]);
  roundTrip(store, "vault", [&] { store.addFromVault(std::vector<std::string>{ids[2]}); });
  roundTrip(store, "remove several", [&] { store.removeArtworks({ids[0], ids[2]}); });
  EXPECT_EQ(store.state().undo.undoName, "Remove 2 works") << "one step for the selection";
  roundTrip(store, "texts", [&] { store.setText(SaveSection::bio, "Born by the sea.", "About"); });
  roundTrip(store, "CV entry", [&] {
    CVData cv = store.state().snapshot.cv;
    cv.education.push_back({{"year", "2012"}, {"institution", "ENSBA"}});
    store.setCV(cv);
  });
  roundTrip(store, "details", [&] {
    ArtistDetails details = store.state().snapshot.details;
    details.firstName = "Ana";
    details.website = "ana.example";
    store.setDetails(details);
  });
  roundTrip(store, "project fields", [&] {
    ProjectChanges changes;
    changes.name = "Tides";
    changes.title = "Tides, 2026";
    changes.kind = ProjectKind::catalogue;
    changes.currency = "EUR";
    changes.unit = UnitSystem::in;
    changes.orientation = DocumentOrientation::landscape;
    changes.layout = ArtworkLayoutMode::artworkText;
    store.updateProject(changes);
  });
  roundTrip(store, "label", [&] {
    store.setLabelOverride({"portfolio", "en", "label.medium", "Technique"});
  });
}

TEST_F(UndoTest, AWebCVImportAndATextOfAnotherProjectAreOneStepEach) {
  AppStore& store = open();
  store.setText(SaveSection::bio, "Born in Lyon.");
  const std::string first = store.state().project.id;
  store.createProject(named("Second"));
  store.setText(SaveSection::bio, "Second's own.");
  settle();
  const std::string shared =
      sql("SELECT assetId FROM project_text_asset_links WHERE type = 'bio' AND projectId = '" +
          first + "'");
  roundTrip(store, "reused", [&] { ASSERT_TRUE(store.reuseText(TextAssetType::bio, shared)); });
  EXPECT_EQ(store.state().snapshot.biography, "Born in Lyon.");
  EXPECT_EQ(store.state().undo.undoName, "Use another project’s “Biography”");

  std::ifstream in(QUORVANE_DOCS_DIR "/web-cv-example.json");
  const std::string path = dir.file("cv-session.json");
  std::ofstream(path) << in.rdbuf();
  roundTrip(store, "web CV", [&] {
    const auto prepared = prepareWebCVImport(store, path);
    ASSERT_TRUE(prepared);
    ASSERT_TRUE(applyWebCVImport(store, *prepared,
                                 {WebCVImportChoice::replace, WebCVImportChoice::replace}));
  });
  EXPECT_EQ(store.state().undo.undoName, "Import from the web CV");
}

TEST_F(UndoTest, ExportDefaultsComeBackAsTheyWereRemembered) {
  AppStore& store = open();
  const ExportOptions before = store.state().exportOptions;
  ExportOptions changed = before;
  changed.includeCV = false;
  changed.format = PdfFormat::letter;
  store.setExportOptions(changed);
  EXPECT_EQ(store.state().undo.undoName, "Change the export settings");
  ASSERT_TRUE(store.undo());
  EXPECT_EQ(store.state().exportOptions, before);
  ASSERT_TRUE(store.redo());
  EXPECT_EQ(open().state().exportOptions, changed) << "the preferences say so too";
  EXPECT_FALSE(this->store->state().undo.undoName) << "a history lasts one run";
}

TEST_F(UndoTest, ImagesAddedOrReplacedComeBackByteForByte) {
  AppStore& store = open();
  const auto ids = addWorks(store, {"Tide I"});
  roundTrip(store, "added", [&] { addImages(store, {writeImage("Meadow.jpg", 60, 40)}); });
  EXPECT_EQ(store.state().undo.undoName, "Add “Meadow.jpg”");
  roundTrip(store, "replaced", [&] {
    ASSERT_TRUE(store.replaceImage(ids[0], writeImage("Tide I, again.jpg", 80, 50)));
  });
  EXPECT_EQ(store.state().undo.undoName, "Replace the image of “Tide I”");

  // What was kept for the way back goes with the history.
  store.undo();
  const auto holding = [&] {
    int folders = 0;
    for (const auto& entry : std::filesystem::directory_iterator(media.directory())) {
      folders += entry.path().filename().string().starts_with(kUndoHoldingPrefix);
    }
    return folders;
  };
  EXPECT_EQ(holding(), 1);
  ASSERT_TRUE(store.deleteAllUserData());
  EXPECT_FALSE(store.state().undo.undoName);
  EXPECT_FALSE(store.state().undo.redoName);
  EXPECT_EQ(holding(), 0);
}

TEST_F(UndoTest, AProjectDeletedOrCopiedComesBackWithItsIdsWorksAndTexts) {
  AppStore& store = open();
  addWorks(store, {"Tide I", "Meadow"});
  store.setText(SaveSection::statement, "Water and time.");
  const std::string id = store.state().project.id;
  store.createProject(named("Spring fair"));
  settle();
  store.openProjectInBackground(id, {});
  runUntil([&] { return store.state().project.id == id; });

  roundTrip(store, "deleted", [&] { store.deleteProject(); });
  EXPECT_NE(store.state().project.id, id) << "the project deleted again is left";
  store.undo();
  EXPECT_EQ(store.state().project.id, id) << "the project that came back is open";
  EXPECT_EQ(store.state().snapshot.statement, "Water and time.");
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 2u);

  ASSERT_TRUE(store.duplicateProject());
  settle();
  ASSERT_TRUE(store.undo());
  EXPECT_EQ(store.state().project.id, id);
  EXPECT_EQ(store.state().projects.size(), 2u) << "the copy is out of the list";
  ASSERT_TRUE(store.redo());
  EXPECT_EQ(store.state().projects.size(), 3u);
  EXPECT_NE(store.state().project.id, id) << "the copy is open again";
}

TEST_F(UndoTest, TheMenuNamesTheStepAndTypingInOneFieldIsOneStep) {
  AppStore& store = open();
  const auto ids = addWorks(store, {"Tide I", "Meadow"});
  EXPECT_EQ(store.state().undo.undoName, "Edit “Meadow”") << "named after the work's title";
  EXPECT_FALSE(store.state().undo.redoName);

  ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[1]);
  main.advanceBy(2s);
  for (const char* typed : {"Meadow ", "Meadow I", "Meadow II"}) {
    metadata.title = typed;
    store.updateArtwork(ids[1], metadata);
    main.advanceBy(300ms);
  }
  metadata.year = "2026";  // another field: a step of its own
  store.updateArtwork(ids[1], metadata);
  ASSERT_TRUE(store.undo());
  EXPECT_EQ(store.state().snapshot.artworks.images[1].title, "Meadow II");
  ASSERT_TRUE(store.undo());
  EXPECT_EQ(store.state().snapshot.artworks.images[1].title, "Meadow") << "three keys, one step";
  EXPECT_EQ(store.state().undo.redoName, "Edit “Meadow”");

  // After a pause the typing goes on as a new step.
  store.redo();
  main.advanceBy(3s);
  metadata.title = "Meadow III";
  store.updateArtwork(ids[1], metadata);
  store.undo();
  EXPECT_EQ(store.state().snapshot.artworks.images[1].title, "Meadow II");

  store.removeArtwork(ids[0]);
  EXPECT_EQ(store.state().undo.undoName, "Remove “Tide I”");
  EXPECT_FALSE(store.state().undo.redoName) << "doing something new drops what could be redone";
  store.undo();
  EXPECT_EQ(store.state().undo.redoName, "Remove “Tide I”");
  EXPECT_EQ(store.state().undo.shownArtworkId, ids[0]) << "the window shows the work back";
  EXPECT_EQ(store.state().errorToast->text, "Undone: Remove “Tide I”");
  store.reorderArtworks({ids[1], ids[0]});
  EXPECT_EQ(store.state().undo.undoName, "Move “Meadow II”");
  EXPECT_FALSE(store.state().undo.redoName);
}

TEST_F(UndoTest, AStepWhoseTargetChangedSinceSaysSoAndDoesNothingElse) {
  AppStore& store = open();
  addWorks(store, {"Tide I"});
  store.createProject(named("Spring fair"));
  store.deleteProject();
  // Brought back from the list of deleted projects, not by an undo.
  ASSERT_TRUE(store.restoreProject(store.state().deletedProjects.at(0).id));
  const std::size_t projects = store.state().projects.size();
  EXPECT_FALSE(store.undo());
  EXPECT_EQ(store.state().lastErrorMessage,
            "This step can no longer be undone (Delete “Spring fair”): what it changed has changed "
            "since.");
  EXPECT_EQ(store.state().projects.size(), projects);

  store.setLabelOverride({"portfolio", "en", "label.medium", "Technique"});
  repository->upsertLabelOverride({"portfolio", "en", "label.medium", "Medium used"});
  EXPECT_FALSE(store.undo());
  EXPECT_EQ(repository->labelOverride("portfolio", "en", "label.medium"), "Medium used");
  EXPECT_FALSE(store.state().undo.undoName) << "what stood behind it went too";
}

TEST_F(UndoTest, AnUndoOpensTheProjectOfItsStepAndPutsTheWorkBackAtItsPlace) {
  AppStore& store = open();
  const auto ids = addWorks(store, {"Tide I", "Meadow"});
  const std::string project = store.state().project.id;
  main.advanceBy(2s);
  store.removeArtwork(ids[0]);
  store.createProject(named("Elsewhere"));
  settle();
  ASSERT_TRUE(store.undo());
  EXPECT_EQ(store.state().project.id, project);
  ASSERT_EQ(store.state().snapshot.artworks.images.size(), 2u);
  EXPECT_EQ(store.state().snapshot.artworks.images[0].id, ids[0]);
  EXPECT_EQ(store.state().undo.shownSection, SaveSection::artworks);
}

TEST_F(UndoTest, AnAddedImageAnotherProjectShowsKeepsItsFilesWhenTheAddIsUndone) {
  AppStore& store = open();
  const std::string id = *addImages(store, {writeImage("Tide.png", 40, 30)}).at(0).artworkId;
  main.advanceBy(2s);
  ASSERT_TRUE(store.duplicateProject());  // the copy shows the work too
  settle();
  ASSERT_TRUE(store.undo());  // the copy goes among the deleted projects
  ASSERT_TRUE(store.undo());  // the add, in the original
  settle();
  EXPECT_TRUE(store.state().snapshot.artworks.images.empty());
  EXPECT_TRUE(repository->artworkIds().contains(id)) << "the deleted copy still shows it";
  EXPECT_TRUE(std::filesystem::exists(media.pathOf(id + "_orig.png")));
  store.quit();  // what the history kept goes with it
  EXPECT_TRUE(std::filesystem::exists(media.pathOf(id + "_orig.png")));
  ASSERT_TRUE(store.redo());
  EXPECT_EQ(store.state().snapshot.artworks.images.at(0).id, id);
}

TEST_F(UndoTest, AnUndoTheLibraryCannotSaveKeepsTheEditsWaitingToBeWritten) {
  AppStore& store = open();
  const auto ids = addWorks(store, {"Tide I"});
  main.advanceBy(2s);
  store.removeArtwork(ids[0]);
  store.setText(SaveSection::bio, "Typed just now.");  // still in its debounce
  saves->failing = true;
  EXPECT_FALSE(store.undo());
  EXPECT_TRUE(store.state().snapshot.artworks.images.empty()) << "the project as it was";
  saves->failing = false;
  settle();
  EXPECT_EQ(sql("SELECT a.content FROM text_assets a JOIN project_text_asset_links l ON "
                "l.assetId = a.id WHERE l.type = 'bio'"),
            "Typed just now.");
  EXPECT_TRUE(store.undo()) << "and the step can be tried again";
}

TEST_F(UndoTest, AKilledRunsKeptImagesAreRemovedByTheNextStart) {
  const std::string left = dir.file("media") + "/" + std::string(kUndoHoldingPrefix) + "run";
  std::filesystem::create_directories(left + "/step");
  std::ofstream(left + "/step/a_orig.jpg") << "old";
  AppStore& store = open();
  EXPECT_EQ(store.tidyAfterInterruptedRuns({}).undoFolders, 1);
  EXPECT_FALSE(std::filesystem::exists(left));
}

TEST(UndoHistoryTest, KeepsAtMostAHundredStepsAndAGigabyteOfImagesOldestFirst) {
  testing::TempDir dir;
  UndoHistory history;
  const auto step = [&](int n, std::int64_t bytes = 0) {
    UndoStep s;
    s.actionKey = std::to_string(n);
    s.doneAt = Date(Seconds(n * 10));
    if (bytes > 0) {
      const std::string folder = dir.file(std::to_string(n));
      std::filesystem::create_directories(folder);
      s.keptBefore = std::make_shared<KeptFiles>(realFileSystem(), folder, bytes);
    }
    return s;
  };
  for (int n = 0; n < 105; ++n) history.record(step(n));
  EXPECT_EQ(history.size(), UndoHistory::kMaxSteps);
  EXPECT_EQ(history.nextUndo()->actionKey, "104");

  history.clear();
  history.record(step(1, 600'000'000));
  history.record(step(2, 600'000'000));
  EXPECT_EQ(history.size(), 1u) << "the older image's step goes";
  EXPECT_FALSE(std::filesystem::exists(dir.file("1"))) << "and its files with it";
  EXPECT_TRUE(std::filesystem::exists(dir.file("2")));
  history.record(step(3, 2'000'000'000));
  EXPECT_EQ(history.size(), 1u) << "the newest stays, whatever it keeps";
  EXPECT_EQ(history.nextUndo()->actionKey, "3");
}

}  // namespace
}  // namespace quorvane
