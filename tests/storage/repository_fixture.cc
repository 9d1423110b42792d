#include "storage/repository_fixture.h"

namespace quorvane::testing {

RepositoryTest::RepositoryTest() : databasePath(dir.file("quorvane.sqlite")) {
  repository =
      std::make_unique<SQLiteSnapshotRepository>(SQLiteDatabase(databasePath), clock, files);
}

void RepositoryTest::TearDown() {
  repository.reset();
  SQLiteDatabase db(databasePath);
  expectSoundDatabase(db);
}

void RepositoryTest::exec(const std::string& sql) {
  repository->withDatabase([&](SQLiteDatabase& db) { db.exec(sql); });
}

std::string RepositoryTest::value(const std::string& sql) {
  return repository->withDatabase([&](SQLiteDatabase& db) { return queryValue(db, sql); });
}

std::vector<std::string> RepositoryTest::column(const std::string& sql) {
  return repository->withDatabase([&](SQLiteDatabase& db) { return queryColumn(db, sql); });
}

std::string RepositoryTest::dump() {
  return repository->withDatabase([](SQLiteDatabase& db) { return dumpDatabase(db); });
}

SavedProject RepositoryTest::saveProject(const std::string& id, std::vector<Artwork> artworks) {
  StudioSnapshot snapshot;
  snapshot.artworks.images = std::move(artworks);
  return repository->save(makeProject(id), snapshot);
}

Project makeProject(const std::string& id) {
  Project project;
  project.id = id;
  project.projectName = "Name of " + id;
  project.projectTitle = "Title of " + id;
  project.createdAt = dateFromMilliseconds(1'600'000'000'000);
  project.updatedAt = project.createdAt;
  return project;
}

Artwork makeArtwork(const std::string& id, const std::string& title) {
  Artwork artwork;
  artwork.id = id;
  artwork.title = title;
  return artwork;
}

}  // namespace quorvane::testing
