#include "app/save_pipeline.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace quorvane {
namespace {

using namespace std::chrono_literals;

// Keeps what was written, at which virtual moment; can be made to fail.
class RecordingRepository final : public IncrementalSnapshotRepository {
 public:
  explicit RecordingRepository(const ManualExecutor& clock) : clock_(clock) {}
  struct Write {
    std::string section;
    std::string biography;
    std::int64_t atMs;
    std::string projectName;
  };
  SavedProject save(const Project& project, const StudioSnapshot& snapshot,
                    std::string_view section) override {
    if (failing) throw std::runtime_error("disk full");
    writes.push_back(
        {std::string(section), snapshot.biography, clock_.nowMs(), project.projectName});
    return SavedProject{project, {}};
  }
  SavedProject saveWhole(const Project& project, const StudioSnapshot& snapshot,
                         const std::vector<std::string>&) override {
    return save(project, snapshot, "all");
  }
  bool saveFinishedImage(const Artwork&, std::span<const std::uint8_t>) override { return false; }
  std::vector<Write> writes;
  bool failing = false;

 private:
  const ManualExecutor& clock_;
};

class SavePipelineTest : public ::testing::Test {
 protected:
  SavePipelineTest() { project.id = "p1"; }

  void editBio(const std::string& text) {
    snapshot.biography = text;
    pipeline.scheduleSave(SaveSection::bio, project, snapshot);
  }
  // Runs what the save queue holds, as its thread would.
  void runSaveQueue() {
    saveQueue.runUntilIdle();
    main.runUntilIdle();
  }

  ManualExecutor main;
  ManualExecutor saveQueue;  // run by hand: a write takes as long as the test says
  RecordingRepository repository{main};
  int stateChanges = 0;
  std::vector<SaveSection> failures;
  SavePipeline pipeline{main, main, saveQueue, repository,
                        SavePipeline::Listener{
                            .saved = {},
                            .failed = [this](SaveSection section,
                                             std::exception_ptr) { failures.push_back(section); },
                            .stateChanged = [this] { ++stateChanges; },
                        }};
  Project project;
  StudioSnapshot snapshot;
};

TEST_F(SavePipelineTest, ABurstOfEditsEndsInOneSaveOfTheLastStateAfterQuiet) {
  const std::int64_t start = main.nowMs();
  for (int i = 0; i < 10; ++i) {
    editBio("draft " + std::to_string(i));
    main.advanceBy(80ms);
  }
  EXPECT_TRUE(pipeline.isSaveWaiting());
  main.advanceBy(819ms);  // 899 ms after the last edit
  runSaveQueue();
  EXPECT_TRUE(repository.writes.empty());
  main.advanceBy(1ms);
  runSaveQueue();
  main.advanceBy(5s);
  runSaveQueue();
  ASSERT_EQ(repository.writes.size(), 1u);
  EXPECT_EQ(repository.writes[0].section, "bio");
  EXPECT_EQ(repository.writes[0].biography, "draft 9");
  EXPECT_EQ(repository.writes[0].atMs, start + 9 * 80 + 900) << "900 ms after the last edit";
  EXPECT_FALSE(pipeline.isSaveWaiting());
}

TEST_F(SavePipelineTest, ContentThatWasSavedLastIsNotWrittenAgain) {
  editBio("saved");
  main.advanceBy(900ms);
  runSaveQueue();
  main.advanceBy(5s);
  const int changesBefore = stateChanges;

  editBio("saved");
  main.advanceBy(2s);
  runSaveQueue();
  EXPECT_EQ(repository.writes.size(), 1u);
  EXPECT_EQ(stateChanges, changesBefore) << "no indicator either";

  // An edit and its undo within the quiet time: the draft is never written.
  editBio("typo");
  main.advanceBy(300ms);
  editBio("saved");
  main.advanceBy(2s);
  runSaveQueue();
  EXPECT_EQ(repository.writes.size(), 1u);
}

TEST_F(SavePipelineTest, TheSavingIndicatorStaysAtLeast650Milliseconds) {
  editBio("quick");
  main.advanceBy(900ms);  // the save begins
  EXPECT_TRUE(pipeline.isSaving());
  main.advanceBy(100ms);
  runSaveQueue();  // …and ends 100 ms later
  EXPECT_TRUE(pipeline.isSaving());
  main.advanceBy(549ms);
  EXPECT_TRUE(pipeline.isSaving());
  main.advanceBy(1ms);
  EXPECT_FALSE(pipeline.isSaving());

  editBio("slow");
  main.advanceBy(900ms);
  main.advanceBy(700ms);
  runSaveQueue();
  EXPECT_FALSE(pipeline.isSaving()) << "a save longer than 650 ms turns it off at once";
}

TEST_F(SavePipelineTest, OverlappingSavesKeepTheIndicatorUntilTheLastEnds) {
  editBio("bio");
  main.advanceBy(100ms);
  snapshot.statement = "statement";
  pipeline.scheduleSave(SaveSection::statement, project, snapshot);
  main.advanceBy(800ms);  // the bio save begins
  main.advanceBy(100ms);  // the statement save begins
  ASSERT_TRUE(saveQueue.runOne());
  main.runUntilIdle();  // the bio save ends, 100 ms after it began
  main.advanceBy(600ms);
  EXPECT_TRUE(pipeline.isSaving()) << "the statement is still being written";

  ASSERT_TRUE(saveQueue.runOne());
  main.runUntilIdle();  // the statement save ends, 700 ms after the first began
  EXPECT_FALSE(pipeline.isSaving()) << "650 ms count from the first begin, not the last";
  EXPECT_EQ(repository.writes.size(), 2u);
}

TEST_F(SavePipelineTest, TheMinimumCountsFromTheFirstBeginWhenTheLastEndsEarly) {
  editBio("bio");
  main.advanceBy(100ms);
  snapshot.statement = "statement";
  pipeline.scheduleSave(SaveSection::statement, project, snapshot);
  main.advanceBy(900ms);  // both begin, 100 ms apart
  saveQueue.runUntilIdle();
  main.runUntilIdle();  // both end 100 ms after the first began
  main.advanceBy(549ms);
  EXPECT_TRUE(pipeline.isSaving());
  main.advanceBy(1ms);
  EXPECT_FALSE(pipeline.isSaving());
}

TEST_F(SavePipelineTest, TheSavedBadgeShowsForTwoAndAHalfSeconds) {
  editBio("done");
  main.advanceBy(900ms);
  runSaveQueue();
  EXPECT_TRUE(pipeline.isSaved(SaveSection::bio));
  EXPECT_FALSE(pipeline.isSaved(SaveSection::cv));
  main.advanceBy(2399ms);
  EXPECT_TRUE(pipeline.isSaved(SaveSection::bio));
  main.advanceBy(1ms);
  EXPECT_FALSE(pipeline.isSaved(SaveSection::bio));
}

TEST_F(SavePipelineTest, AFailedWriteIsReportedAndTriedAgainWithTheNextEdit) {
  repository.failing = true;
  editBio("lost?");
  main.advanceBy(900ms);
  runSaveQueue();
  EXPECT_EQ(failures, std::vector<SaveSection>{SaveSection::bio});
  EXPECT_FALSE(pipeline.isSaved(SaveSection::bio));

  repository.failing = false;
  editBio("lost?");  // the same content: it was never saved, so it is written
  main.advanceBy(900ms);
  runSaveQueue();
  ASSERT_EQ(repository.writes.size(), 1u);
  EXPECT_EQ(repository.writes[0].biography, "lost?");
}

TEST_F(SavePipelineTest, AWebCVImportHoldsSavesBackAndDropsOnlyThoseItWouldOverwrite) {
  editBio("before the import");
  CVData old;
  old.grantsAwards = {{{"title", "old prize"}}};
  snapshot.cv = old;
  pipeline.scheduleSave(SaveSection::cv, project, snapshot);
  main.advanceBy(900ms);  // both fired: waiting on the save queue
  pipeline.beginWebCVImport("p1");
  editBio("during the import");
  main.advanceBy(2s);
  EXPECT_FALSE(pipeline.isSaveWaiting());

  StudioSnapshot imported = snapshot;
  imported.cv.education = {{{"majorDegree", "MFA"}}};
  imported.cv.grantsAwards.clear();
  pipeline.endWebCVImport("p1", {SaveSection::cv, SaveSection::details},
                          std::pair{project, imported});
  runSaveQueue();
  ASSERT_EQ(repository.writes.size(), 1u)
      << "the old CV must not overwrite the imported one; the bio has nothing to do with it";
  EXPECT_EQ(repository.writes[0].section, "bio");
  EXPECT_EQ(repository.writes[0].biography, "before the import");
  main.advanceBy(900ms);
  runSaveQueue();
  ASSERT_EQ(repository.writes.size(), 2u);
  EXPECT_EQ(repository.writes[1].biography, "during the import") << "held back, then written";

  // Back to the CV before the import: that is a change now.
  pipeline.scheduleSave(SaveSection::cv, project, snapshot);
  main.advanceBy(900ms);
  runSaveQueue();
  ASSERT_EQ(repository.writes.size(), 3u);
  EXPECT_EQ(repository.writes[2].section, "cv");
}

TEST_F(SavePipelineTest, FlushingWritesEverythingPendingAndNothingOlderAfterIt) {
  editBio("first");
  main.advanceBy(900ms);  // fired; its write waits on the save queue
  editBio("second");
  snapshot.details.firstName = "Ada";
  pipeline.scheduleSave(SaveSection::details, project, snapshot);

  pipeline.flushPendingSaves();  // quitting
  ASSERT_EQ(repository.writes.size(), 2u);
  EXPECT_EQ(repository.writes[0].biography, "second");
  EXPECT_FALSE(pipeline.isSaveWaiting());

  runSaveQueue();
  EXPECT_EQ(repository.writes.size(), 2u) << "the older bio never replaces the newer one";
}

TEST_F(SavePipelineTest, AFlushWritesInTheOrderOfTheEditsSoTheNewestProjectRowIsLast) {
  // Every write carries the project row; the details (edited first) must
  // not put back the name the artworks edit already changed.
  project.projectName = "Old name";
  snapshot.details.firstName = "Ada";
  pipeline.scheduleSave(SaveSection::details, project, snapshot);
  project.projectName = "New name";
  pipeline.scheduleSave(SaveSection::artworks, project, snapshot);

  pipeline.flushPendingSaves();
  ASSERT_EQ(repository.writes.size(), 2u);
  EXPECT_EQ(repository.writes[0].section, "details");
  EXPECT_EQ(repository.writes.back().projectName, "New name");
}

TEST_F(SavePipelineTest, AWriteReportingAfterAFlushDoesNotPassForTheLastSaved) {
  editBio("A");
  main.advanceBy(900ms);
  saveQueue.runUntilIdle();  // "A" is written; its report waits for the main loop
  editBio("AB");
  pipeline.flushPendingSaves();  // "AB" is written and is what is saved
  main.runUntilIdle();           // the report of "A" arrives late
  editBio("A");                  // differs from what is stored: must be written
  main.advanceBy(900ms);
  runSaveQueue();
  ASSERT_EQ(repository.writes.size(), 3u);
  EXPECT_EQ(repository.writes.back().biography, "A");
}

}  // namespace
}  // namespace quorvane
