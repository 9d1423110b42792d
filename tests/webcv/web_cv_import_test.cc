// A web CV import through the store, checked in the library database: the
// four ways of choosing, a shared CV, a project changed meanwhile, a failure
// in each statement, and the saves held back while the import runs.
#include <gtest/gtest.h>

#include <fstream>

#include "app/app_store_fixture.h"
#include "app/waiting_commands.h"
#include "model/record_json.h"
#include "storage/sql_helpers.h"
#include "webcv/web_cv_file.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::AppStoreTest;
using testing::named;

class WebCVImportTest : public AppStoreTest {
 protected:
  // A project in the library with details and a CV of its own.
  AppStore& projectWithContent() {
    AppStore& store = open();
    ArtistDetails details;
    details.firstName = "Old";
    details.lastName = "Name";
    details.zipcode = "10115";
    store.setDetails(details);
    CVData cv;
    cv.press = {{{"title", "An old review"}}};
    store.setCV(cv);
    settle();
    return store;
  }
  void freshLibrary() {
    if (store) store->quit();
    store.reset();
    webCV.reset();
    saves.reset();
    renderer.reset();
    repository.reset();
    std::filesystem::remove(dir.file("lib.sqlite"));
  }
  std::string example() {
    std::ifstream in(QUORVANE_DOCS_DIR "/web-cv-example.json");
    const std::string path = dir.file("cv-session.json");
    std::ofstream(path) << in.rdbuf();
    return path;
  }
  std::string dump() {
    return repository->withDatabase([](SQLiteDatabase& db) { return testing::dumpDatabase(db); });
  }
  std::string detailsJson(const std::string& projectId) {
    return sql("SELECT json FROM details WHERE projectId = '" + projectId + "'");
  }
  std::string cvAssetOf(const std::string& projectId) {
    return sql("SELECT assetId FROM project_text_asset_links WHERE type = 'cv' AND projectId = '" +
               projectId + "'");
  }
  std::string cvJson(const std::string& projectId) {
    return sql("SELECT json FROM text_assets WHERE id = '" + cvAssetOf(projectId) + "'");
  }
  void failStatementsWhere(const std::string& trigger) {
    repository->withDatabase([&](SQLiteDatabase& db) {
      db.exec("CREATE TEMP TRIGGER injected " + trigger +
              " BEGIN SELECT RAISE(ABORT, 'injected failure'); END;");
    });
  }
  void stopFailing() {
    repository->withDatabase([](SQLiteDatabase& db) { db.exec("DROP TRIGGER temp.injected;"); });
  }
};

TEST_F(WebCVImportTest, EachChoiceOfTheTwoGroupsWritesExactlyThoseGroups) {
  for (const auto identity : {WebCVImportChoice::keep, WebCVImportChoice::replace}) {
    for (const auto cv : {WebCVImportChoice::keep, WebCVImportChoice::replace}) {
      const std::string label = std::string(rawValue(identity)) + "/" + std::string(rawValue(cv));
      freshLibrary();
      AppStore& current = projectWithContent();
      const ArtistDetails details = current.state().snapshot.details;
      const CVData oldCV = current.state().snapshot.cv;
      const std::string id = current.state().project.id;
      const std::string detailsBefore = detailsJson(id);
      const std::string cvBefore = cvJson(id);

      const auto prepared = prepareWebCVImport(current, example());
      ASSERT_TRUE(prepared) << label;
      main.advanceBy(1h);
      ASSERT_TRUE(applyWebCVImport(current, *prepared, {identity, cv})) << label;

      ArtistDetails expectedDetails = details;
      if (identity == WebCVImportChoice::replace) {
        expectedDetails = prepared->plan.proposedDetails;
        EXPECT_EQ(expectedDetails.firstName, "Zoë");
        EXPECT_EQ(detailsJson(id), encodeArtistDetails(expectedDetails)) << label;
      } else {
        EXPECT_EQ(detailsJson(id), detailsBefore) << label;
      }
      const CVData expectedCV =
          cv == WebCVImportChoice::replace ? prepared->plan.proposedCV : oldCV;
      if (cv == WebCVImportChoice::replace) {
        EXPECT_EQ(cvJson(id), encodeCVData(expectedCV)) << label;
        EXPECT_EQ(sql("SELECT updatedAt FROM section_timestamps WHERE section = 'cv' AND "
                      "projectId = '" +
                      id + "'"),
                  std::to_string(millisecondsSince1970(main.now())));
      } else {
        EXPECT_EQ(cvJson(id), cvBefore) << label;
      }
      EXPECT_EQ(current.state().snapshot.details, expectedDetails) << label;
      EXPECT_EQ(current.state().snapshot.cv, expectedCV) << label;
      settle();
      AppStore& reopened = open(id);  // what the library holds, read again
      EXPECT_EQ(reopened.state().snapshot.details, expectedDetails) << label;
      EXPECT_EQ(reopened.state().snapshot.cv, expectedCV) << label;
    }
  }
}

TEST_F(WebCVImportTest, ReplacingASharedCVGivesThisProjectItsOwnAndLeavesTheOtherAlone) {
  AppStore& store = projectWithContent();
  const std::string owner = store.state().project.id;
  const std::string sharedAsset = cvAssetOf(owner);
  const std::string ownerCV = cvJson(owner);
  const std::string borrower = *store.createProject(named("Borrower"));
  ASSERT_TRUE(store.reuseText(TextAssetType::cv, sharedAsset));
  settle();
  ASSERT_EQ(cvAssetOf(borrower), sharedAsset);

  const auto prepared = prepareWebCVImport(store, example());
  ASSERT_TRUE(prepared);
  EXPECT_TRUE(prepared->plan.cvShared);
  ASSERT_TRUE(
      applyWebCVImport(store, *prepared, {WebCVImportChoice::keep, WebCVImportChoice::replace}));

  EXPECT_TRUE(cvAssetOf(borrower).starts_with("asset:cv:"));
  EXPECT_EQ(cvJson(borrower), encodeCVData(prepared->plan.proposedCV));
  EXPECT_EQ(sql("SELECT ownerProjectId FROM text_assets WHERE id = '" + cvAssetOf(borrower) + "'"),
            borrower);
  EXPECT_EQ(cvAssetOf(owner), sharedAsset);
  EXPECT_EQ(cvJson(owner), ownerCV) << "the other project keeps its CV";

  // The borrower's next CV edit goes to its own copy.
  CVData edited = store.state().snapshot.cv;
  edited.press.push_back({{"title", "Later"}});
  store.setCV(edited);
  settle();
  EXPECT_EQ(cvJson(owner), ownerCV);
  EXPECT_EQ(cvJson(borrower), encodeCVData(edited));
}

TEST_F(WebCVImportTest, AChangeBetweenPreparingAndApplyingStopsItAsStale) {
  AppStore& store = projectWithContent();
  const std::string id = store.state().project.id;
  auto prepared = prepareWebCVImport(store, example());
  ASSERT_TRUE(prepared);

  // Another writer changed the library (the details row), not the screen.
  repository->withDatabase([&](SQLiteDatabase& db) {
    db.exec("UPDATE details SET json = replace(json, 'Old', 'Elsewhere') WHERE projectId = '" + id +
            "'");
  });
  const std::string before = dump();
  const StudioSnapshot shown = store.state().snapshot;
  EXPECT_FALSE(
      applyWebCVImport(store, *prepared, {WebCVImportChoice::replace, WebCVImportChoice::replace}));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::stale);
  EXPECT_EQ(dump(), before);
  EXPECT_EQ(store.state().snapshot, shown);

  // An edit on the screen after preparing is stale too (it would be lost).
  prepared = prepareWebCVImport(store, example());
  ASSERT_TRUE(prepared);
  CVData cv = store.state().snapshot.cv;
  cv.press.push_back({{"title", "Typed meanwhile"}});
  store.setCV(cv);
  EXPECT_FALSE(
      applyWebCVImport(store, *prepared, {WebCVImportChoice::keep, WebCVImportChoice::replace}));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::stale);
  settle();
  EXPECT_EQ(cvJson(id), encodeCVData(cv)) << "the edit is written, not replaced";
}

TEST_F(WebCVImportTest, AFailureInAnyStatementLeavesTheLibraryAsItWas) {
  const std::vector<std::pair<std::string, bool>> statements = {
      {"BEFORE UPDATE ON details", false},
      {"BEFORE INSERT ON section_timestamps WHEN NEW.section = 'details'", false},
      {"BEFORE UPDATE ON text_assets", false},
      {"BEFORE INSERT ON text_assets", true},
      {"BEFORE UPDATE ON project_text_asset_links", true},
      {"BEFORE INSERT ON section_timestamps WHEN NEW.section = 'cv'", false},
      {"BEFORE UPDATE ON projects", false},
  };
  for (const auto& [trigger, shared] : statements) {
    AppStore& store = projectWithContent();
    if (shared) {
      const std::string asset = cvAssetOf(store.state().project.id);
      ASSERT_TRUE(store.createProject(named("Borrower")));
      ASSERT_TRUE(store.reuseText(TextAssetType::cv, asset));
      settle();
    }
    const auto prepared = prepareWebCVImport(store, example());
    ASSERT_TRUE(prepared);
    const std::string before = dump();
    const StudioSnapshot shown = store.state().snapshot;
    failStatementsWhere(trigger);
    EXPECT_FALSE(applyWebCVImport(store, *prepared,
                                  {WebCVImportChoice::replace, WebCVImportChoice::replace}))
        << trigger;
    EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::readOrSave) << trigger;
    EXPECT_EQ(dump(), before) << trigger;
    EXPECT_EQ(store.state().snapshot, shown) << trigger;
    EXPECT_FALSE(store.state().webCVImportTargetID);
    stopFailing();
    // Nothing changed, so the same plan still applies.
    EXPECT_TRUE(applyWebCVImport(store, *prepared,
                                 {WebCVImportChoice::replace, WebCVImportChoice::replace}))
        << trigger;
    EXPECT_NE(dump(), before);
    freshLibrary();
  }
}

TEST_F(WebCVImportTest, WhileAnImportRunsASecondIsBusyAndTheProjectsSavesWait) {
  AppStore& store = projectWithContent();
  const std::string id = store.state().project.id;
  const auto prepared = prepareWebCVImport(store, example());
  ASSERT_TRUE(prepared);
  std::optional<bool> done;
  ASSERT_TRUE(store.applyWebCVImportInBackground(
      *prepared, {WebCVImportChoice::replace, WebCVImportChoice::replace},
      [&](bool ok) { done = ok; }));
  EXPECT_EQ(store.state().webCVImportTargetID, id);

  EXPECT_FALSE(
      applyWebCVImport(store, *prepared, {WebCVImportChoice::replace, WebCVImportChoice::keep}));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::busy);

  store.setText(SaveSection::bio, "Written after the import");
  main.advanceBy(1s);        // the bio's save is held back, not handed to the queue
  saveQueue.runUntilIdle();  // the import
  EXPECT_NE(
      sql("SELECT content FROM text_assets WHERE type = 'bio' AND ownerProjectId = '" + id + "'"),
      "Written after the import");
  main.runUntilIdle();
  ASSERT_EQ(done, true);
  EXPECT_FALSE(store.state().webCVImportTargetID);
  EXPECT_EQ(store.state().snapshot.details.firstName, "Zoë");
  settle();
  EXPECT_EQ(
      sql("SELECT content FROM text_assets WHERE type = 'bio' AND ownerProjectId = '" + id + "'"),
      "Written after the import");
  EXPECT_EQ(cvJson(id), encodeCVData(prepared->plan.proposedCV))
      << "the held saves kept the import";
}

TEST_F(WebCVImportTest, AnEditOfAGroupDuringTheImportIsNewerAndIsWrittenAfterIt) {
  AppStore& store = projectWithContent();
  const std::string id = store.state().project.id;
  const auto prepared = prepareWebCVImport(store, example());
  ASSERT_TRUE(prepared);
  ASSERT_TRUE(store.applyWebCVImportInBackground(
      *prepared, {WebCVImportChoice::replace, WebCVImportChoice::replace}, {}));
  CVData typed = store.state().snapshot.cv;
  typed.press.push_back({{"title", "Typed during the import"}});
  store.setCV(typed);
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(cvJson(id), encodeCVData(prepared->plan.proposedCV)) << "the import is written";
  EXPECT_EQ(store.state().snapshot.cv, typed) << "the screen keeps the newer edit";
  EXPECT_EQ(store.state().snapshot.details, prepared->plan.proposedDetails);
  settle();
  EXPECT_EQ(cvJson(id), encodeCVData(typed)) << "and writes it once the import is done";
}

TEST_F(WebCVImportTest, ReplacingWhatIsAlreadyThereWritesNothing) {
  AppStore& store = projectWithContent();
  const std::string owner = store.state().project.id;
  const std::string asset = cvAssetOf(owner);
  ASSERT_TRUE(store.createProject(named("Borrower")));
  ASSERT_TRUE(store.reuseText(TextAssetType::cv, asset));
  const auto first = prepareWebCVImport(store, example());
  ASSERT_TRUE(first);
  ASSERT_TRUE(
      applyWebCVImport(store, *first, {WebCVImportChoice::replace, WebCVImportChoice::keep}));
  settle();
  const std::string before = dump();
  const Project project = store.state().project;

  const auto again = prepareWebCVImport(store, example());
  ASSERT_TRUE(again);
  EXPECT_TRUE(again->plan.cvShared);
  EXPECT_FALSE(again->plan.identityChanges);
  // The identity is as the file has it already; the CV, kept, stays shared.
  ASSERT_TRUE(
      applyWebCVImport(store, *again, {WebCVImportChoice::replace, WebCVImportChoice::keep}));
  ASSERT_TRUE(applyWebCVImport(store, *again, {WebCVImportChoice::keep, WebCVImportChoice::keep}));
  settle();
  EXPECT_EQ(dump(), before);
  EXPECT_EQ(store.state().project, project) << "its times are untouched";
}

TEST_F(WebCVImportTest, OnAFirstStartLookingWritesNothingAndApplyingKeepsTheProject) {
  AppStore& store = open();
  const std::string id = store.state().project.id;
  const auto prepared = prepareWebCVImport(store, example());
  ASSERT_TRUE(prepared);
  EXPECT_EQ(prepared->plan.defaults,
            (WebCVImportSelection{WebCVImportChoice::replace, WebCVImportChoice::replace}));
  EXPECT_EQ(sql("SELECT count(*) FROM projects"), "0");
  ASSERT_TRUE(applyWebCVImport(store, *prepared, prepared->plan.defaults));
  EXPECT_EQ(sql("SELECT count(*) FROM projects"), "1");
  EXPECT_EQ(detailsJson(id), encodeArtistDetails(prepared->plan.proposedDetails));
  EXPECT_EQ(cvJson(id), encodeCVData(prepared->plan.proposedCV));
}

TEST_F(WebCVImportTest, FilesThatCantBeImportedSayWhyAndChangeNothing) {
  AppStore& store = projectWithContent();
  const std::string before = dump();
  std::ofstream(dir.file("wrong.json")) << R"({"kind":"other","schemaVersion":1})";
  EXPECT_FALSE(prepareWebCVImport(store, dir.file("wrong.json")));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::invalid);
  EXPECT_FALSE(prepareWebCVImport(store, dir.file("missing.json")));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::readOrSave);
  std::filesystem::resize_file(example(), kWebCVMaximumFileBytes + 1);
  EXPECT_FALSE(prepareWebCVImport(store, dir.file("cv-session.json")));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::size);

  // A group with a blocking issue can only be kept.
  std::ofstream(dir.file("long.json"))
      << R"({"kind":"quorvane.cv-session","schemaVersion":1,"details":{"firstName":")"
      << std::string(2000, 'a') << R"("},"cv":{}})";
  const auto prepared = prepareWebCVImport(store, dir.file("long.json"));
  ASSERT_TRUE(prepared);
  EXPECT_FALSE(prepared->plan.canReplace(WebCVImportGroup::identity));
  EXPECT_FALSE(
      applyWebCVImport(store, *prepared, {WebCVImportChoice::replace, WebCVImportChoice::keep}));
  EXPECT_EQ(store.lastWebCVImportError(), WebCVImportErrorCode::invalid);
  EXPECT_EQ(dump(), before);
  EXPECT_TRUE(
      applyWebCVImport(store, *prepared, {WebCVImportChoice::keep, WebCVImportChoice::replace}))
      << "the other group can still be replaced";
}

}  // namespace
}  // namespace quorvane
