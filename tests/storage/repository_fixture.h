// A repository on a library file in a temporary directory, checked for
// soundness after every test, and builders of the records the tests save.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "storage/sql_helpers.h"
#include "storage/sqlite_snapshot_repository.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane::testing {

// A repository on a fresh library file; after each test the file must be
// sound, whatever the test did to it.
class RepositoryTest : public ::testing::Test {
 protected:
  RepositoryTest();
  void TearDown() override;

  // Runs SQL on the repository's own connection (between operations).
  void exec(const std::string& sql);
  std::string value(const std::string& sql);
  std::vector<std::string> column(const std::string& sql);
  std::string dump();

  // Saves a new project with the given artworks, returning what was saved.
  SavedProject saveProject(const std::string& id, std::vector<Artwork> artworks = {});

  TempDir dir;
  ManualClock clock;
  FakeFileSystem files;
  std::string databasePath;
  std::unique_ptr<SQLiteSnapshotRepository> repository;
};

Project makeProject(const std::string& id);
Artwork makeArtwork(const std::string& id, const std::string& title = "Untitled");

}  // namespace quorvane::testing
