// Page thumbnails in virtual time: debounce, replacement, the two permits,
// shared reads, stale pictures found and redrawn, failures that give their
// permit back.
#include "app/page_thumbnails.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <stdexcept>

#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;

bool saidSomething(const testing::RecordingLogger& logger, const std::string& words) {
  return std::any_of(logger.lines.begin(), logger.lines.end(), [&](const std::string& line) {
    return line.find(words) != std::string::npos;
  });
}

class PageThumbnailsTest : public ::testing::Test {
 protected:
  PageThumbnailsTest() { start(); }

  // A (new) service over the same cache, as after a restart.
  void start() {
    thumbnails.reset();
    thumbnails = std::make_unique<PageThumbnails>(
        media, main, worker, logger,
        [this](const std::string& key) -> std::optional<ThumbnailSource> {
          if (gone.contains(key)) return std::nullopt;
          const std::string signature = key + "@" + std::to_string(revision[key]);
          return ThumbnailSource{signature, [this, key, signature] {
                                   ++draws[key];
                                   if (failing) throw std::runtime_error("cairo ran out of memory");
                                   return Bytes(signature.begin(), signature.end());
                                 }};
        },
        [this](const std::string& key) { changed.push_back(key); });
  }
  // Runs what is due now on both sides until nothing is left.
  void drain() {
    while (main.pendingCount() > 0 || worker.pendingCount() > 0) {
      const bool ran = main.runOne() || worker.runOne();
      if (!ran) break;
    }
  }

  testing::TempDir dir;
  testing::RecordingLogger logger;
  FilesMediaStore media{dir.file("media")};
  ManualExecutor main;
  ManualExecutor worker;
  std::map<std::string, int> revision;
  std::map<std::string, int> draws;
  std::set<std::string> gone;
  std::vector<std::string> changed;
  bool failing = false;
  std::unique_ptr<PageThumbnails> thumbnails;
};

TEST_F(PageThumbnailsTest, TwoAreDrawnAtOnceAndTheThirdStartsWhenOneIsDone) {
  for (const char* key : {"A", "B", "C"}) thumbnails->enqueue(key, "image_changed");
  main.advanceBy(180ms);
  EXPECT_EQ(worker.pendingCount(), 2u) << "two permits, two drawings handed to the worker";
  EXPECT_EQ(thumbnails->limiter().waiting(), 1u);

  ASSERT_TRUE(worker.runOne());  // A is drawn
  EXPECT_EQ(worker.pendingCount(), 1u);
  main.runUntilIdle();  // A is recorded, its permit goes straight to C
  EXPECT_EQ(thumbnails->limiter().waiting(), 0u);
  EXPECT_EQ(thumbnails->limiter().availablePermits(), 0);
  EXPECT_EQ(worker.pendingCount(), 2u) << "C started the moment A let go";

  drain();
  EXPECT_EQ(thumbnails->limiter().availablePermits(), 2);
  EXPECT_EQ(thumbnails->versions(),
            (std::map<std::string, std::int64_t>{{"A", 1}, {"B", 1}, {"C", 1}}));
  EXPECT_EQ(thumbnails->generatedSignatures().at("C"), "C@0");
  EXPECT_EQ(changed.size(), 3u);
  EXPECT_EQ(thumbnails->scheduledCount(), 0u);
}

TEST_F(PageThumbnailsTest, AJobReplacedWithinItsDebounceNeverDraws) {
  thumbnails->enqueue("A", "image_changed");
  main.advanceBy(100ms);
  thumbnails->enqueue("A", "image_changed", true);
  main.advanceBy(180ms);
  drain();
  EXPECT_EQ(draws["A"], 1) << "the first job was called off before it drew";
  EXPECT_EQ(thumbnails->versions().at("A"), 1);
}

TEST_F(PageThumbnailsTest, AMetadataEditWaitsForTheBurstToEnd) {
  thumbnails->enqueue("A", "update_artwork_metadata");
  main.advanceBy(1499ms);
  drain();
  EXPECT_EQ(draws["A"], 0);
  main.advanceBy(1ms);
  drain();
  EXPECT_EQ(draws["A"], 1);
}

TEST_F(PageThumbnailsTest, PagesWaitWhileHeldAndGoWhenTheHoldEnds) {
  thumbnails->enqueue("A", "image_changed");
  main.advanceBy(180ms);  // A takes its permit before the hold
  thumbnails->holdNewDraws(true);
  for (const char* key : {"B", "C"}) thumbnails->enqueue(key, "image_changed");
  main.advanceBy(180ms);
  drain();
  EXPECT_EQ(draws["A"], 1) << "a page already on its way finishes";
  EXPECT_EQ(draws["B"] + draws["C"], 0);
  EXPECT_EQ(thumbnails->limiter().availablePermits(), 2) << "waiting pages hold no permit";

  revision["B"] = 1;
  thumbnails->enqueue("B", "image_changed");  // replaced while it waits
  main.advanceBy(180ms);
  thumbnails->holdNewDraws(false);
  drain();
  EXPECT_EQ(draws["B"], 1) << "only the newer job of B draws";
  EXPECT_EQ(draws["C"], 1);
  EXPECT_EQ(thumbnails->generatedSignatures().at("B"), "B@1");
  EXPECT_EQ(thumbnails->scheduledCount(), 0u);
}

TEST_F(PageThumbnailsTest, TwoReadersOfOneThumbnailShareOneRead) {
  thumbnails->enqueue("A", "image_changed");
  main.advanceBy(180ms);
  drain();
  start();  // a new run: nothing in memory
  std::vector<std::optional<Bytes>> got;
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { got.push_back(picture); });
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { got.push_back(picture); });
  EXPECT_EQ(worker.pendingCount(), 1u) << "one read of the disk for both";
  drain();
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], got[1]);
  EXPECT_EQ(got[0], Bytes({'A', '@', '0'}));
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { got.push_back(picture); });
  EXPECT_EQ(worker.pendingCount(), 0u) << "the third is served from memory";
  drain();
  EXPECT_EQ(got.back(), Bytes({'A', '@', '0'}));
  EXPECT_EQ(draws["A"], 1) << "a fresh thumbnail is not drawn again";
}

TEST_F(PageThumbnailsTest, AThumbnailDrawnFromAnotherSourceIsNotHandedOutButRedrawn) {
  thumbnails->enqueue("A", "image_changed");
  main.advanceBy(180ms);
  drain();
  start();
  revision["A"] = 1;  // edited while the program was closed
  std::optional<Bytes> shown;
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { shown = picture; });
  drain();
  // Another project's page of the same work is no page of this one's.
  EXPECT_EQ(shown, std::nullopt);
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { shown = picture; });
  drain();
  EXPECT_EQ(shown, std::nullopt) << "not from memory either";
  main.advanceBy(180ms);
  drain();
  EXPECT_EQ(draws["A"], 2);
  EXPECT_EQ(thumbnails->generatedSignatures().at("A"), "A@1");
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { shown = picture; });
  drain();
  EXPECT_EQ(shown, Bytes({'A', '@', '1'}));

  // A cache from before signatures were kept: shown (nothing says it is
  // stale), and redrawn.
  media.files().removeAll(media.pdfThumbDirectory() + "/A_pdfthumb_v1.sig");
  start();
  shown.reset();
  thumbnails->load("A", [&](const std::optional<Bytes>& picture) { shown = picture; });
  drain();
  EXPECT_EQ(shown, Bytes({'A', '@', '1'}));
  main.advanceBy(180ms);
  drain();
  EXPECT_EQ(draws["A"], 3);
}

TEST_F(PageThumbnailsTest, AFailedDrawingOrAPageGoneGivesItsPermitBack) {
  failing = true;
  thumbnails->enqueue("A", "image_changed");
  thumbnails->enqueue("B", "image_changed");
  gone.insert("C");
  thumbnails->enqueue("C", "image_changed");
  main.advanceBy(180ms);
  drain();
  EXPECT_EQ(thumbnails->limiter().availablePermits(), 2);
  EXPECT_TRUE(thumbnails->versions().empty());
  EXPECT_TRUE(saidSomething(logger, "render failed id=A error=cairo ran out of memory"));
  EXPECT_EQ(draws["C"], 0);
  EXPECT_EQ(thumbnails->scheduledCount(), 0u);

  failing = false;
  thumbnails->enqueue("A", "image_changed");
  main.advanceBy(180ms);
  drain();
  EXPECT_EQ(thumbnails->versions().at("A"), 1) << "the next job works";
}

TEST_F(PageThumbnailsTest, MemoryKeepsTheLast180) {
  for (int i = 0; i < 181; ++i) thumbnails->enqueue("K" + std::to_string(i), "image_changed");
  main.advanceBy(180ms);
  drain();
  thumbnails->load("K0", [](const std::optional<Bytes>&) {});
  EXPECT_EQ(worker.pendingCount(), 1u) << "the oldest went: read from the disk";
  thumbnails->load("K180", [](const std::optional<Bytes>&) {});
  EXPECT_EQ(worker.pendingCount(), 1u) << "the newest is in memory";
}

}  // namespace
}  // namespace quorvane
