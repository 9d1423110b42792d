// Three users' worth of commands on one library at the same moment: every
// change that is reported done is in the library, every other command says
// that the library was kept by another, and reading goes on meanwhile.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

#include "cli/process_support.h"
#include "storage/sqlite_database.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::ProcessOptions;
using testing::ProcessRun;
using testing::runQuorvane;

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class ConcurrentCommandsTest : public ::testing::Test {
 protected:
  ProcessRun quorvane(const std::vector<std::string>& arguments, int patience) {
    ProcessOptions options;
    options.environment = testing::homeEnvironment(home.path().string(), patience);
    return runQuorvane(arguments, options);
  }
  // The titles of the CV's solo exhibitions, as the library holds them.
  std::multiset<std::string> exhibitions() {
    SQLiteDatabase db(home.file("data") + "/Quorvane/quorvane.sqlite",
                      SQLiteDatabase::Access::readOnly);
    Statement select = db.prepare(
        "SELECT json_extract(e.value, '$.title') FROM text_assets a, "
        "json_each(json_extract(a.json, '$.soloExhibitions')) e WHERE a.type = 'cv'");
    std::multiset<std::string> titles;
    while (select.nextRow()) titles.insert(select.textOrEmpty(0));
    return titles;
  }

  testing::TempDir home;
};

TEST_F(ConcurrentCommandsTest, EveryChangeReportedDoneIsKeptAndNoneIsLostSilently) {
  ASSERT_EQ(quorvane({"project", "new", "Shared"}, 5000).exitCode, 0);
  constexpr int kWriters = 3;
  constexpr int kCommandsEach = 50;
  std::mutex mutex;
  std::set<std::string> done, refused;
  std::vector<std::string> problems;
  std::atomic<bool> writing{true};
  std::atomic<int> reads{0};

  // A short patience, so that some commands do find the library taken for
  // longer than they wait, and must say so.
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&, w] {
      for (int i = 0; i < kCommandsEach; ++i) {
        const std::string title = "W" + std::to_string(w) + "-" + std::to_string(i);
        const ProcessRun run =
            quorvane({"cv", "add", "soloExhibitions", "title=" + title, "year=2026"}, 20);
        const std::lock_guard lock(mutex);
        if (run.exitCode == 0) {
          done.insert(title);
        } else {
          refused.insert(title);
          if (!contains(run.err, "is changing the library and was still at it after")) {
            problems.push_back(title + " failed without the lock message: " + run.err);
          }
        }
        for (const char* word : {"database is locked", "code 5", "SQLite"}) {
          if (contains(run.err, word)) problems.push_back(title + ": " + run.err);
        }
      }
    });
  }
  std::thread reader([&] {
    // A few reads while the writers write; more would only slow them.
    for (int i = 0; i < 15 && writing; ++i) {
      const ProcessRun run = quorvane({"--json", "cv", "show"}, 150);
      const std::lock_guard lock(mutex);
      if (run.exitCode != 0) problems.push_back("a read failed: " + run.err);
      ++reads;
    }
  });
  for (std::thread& writer : writers) writer.join();
  writing = false;
  reader.join();

  for (const std::string& problem : problems) ADD_FAILURE() << problem;
  const std::multiset<std::string> kept = exhibitions();
  EXPECT_EQ(kept, std::multiset<std::string>(done.begin(), done.end()))
      << done.size() << " reported done, " << refused.size() << " refused";
  EXPECT_EQ(done.size() + refused.size(), static_cast<std::size_t>(kWriters * kCommandsEach));
  EXPECT_GT(done.size(), 0u);
  EXPECT_GT(reads.load(), 0);
  std::cout << "concurrent commands: " << done.size() << " done, " << refused.size()
            << " refused with the lock message, " << reads.load() << " reads" << std::endl;
}

}  // namespace
}  // namespace quorvane
