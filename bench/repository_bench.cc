// The library database at the size of a long career: 10,000 artworks in 20
// projects, one project holding 2,000 artworks whose images are 200 KB each
// (the other artworks carry 2 KB images). Figures: loading the large
// project, saving its biography, saving its artworks after one title edit,
// and saving it whole. Each is set against the least work any implementation
// must do for it; the artworks save is also set against the same save
// rewriting every image of the project, which is what a save that does not
// know which images changed has to do.
//
// Counters per iteration: "pages_read" (database pages fetched from the
// file) and "pages_written". One 200 KB image spans some 50 pages.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "model/image_path.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "storage/sqlite_snapshot_repository.h"

namespace quorvane {
namespace {

constexpr int kProjects = 20;
constexpr int kLargeProjectArtworks = 2000;
constexpr int kArtworksInAll = 10000;
constexpr std::size_t kLargeImageBytes = 200 * 1024;
constexpr std::size_t kSmallImageBytes = 2 * 1024;
const std::string kLargeProject = "project-00";

// Serves every image path as bytes of the size its name asks for.
class GeneratedImages final : public ForwardingFileSystem {
 public:
  GeneratedImages() : ForwardingFileSystem(realFileSystem()) {}
  Bytes readFile(const std::string& path) override {
    const std::size_t size = path.ends_with("-large") ? kLargeImageBytes : kSmallImageBytes;
    Bytes bytes(size);
    std::uint32_t state = static_cast<std::uint32_t>(std::hash<std::string>{}(path));
    for (std::uint8_t& byte : bytes) {
      state = state * 1664525u + 1013904223u;  // incompressible, like a JPEG
      byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
  }
};

Project projectNamed(const std::string& id) {
  Project project;
  project.id = id;
  project.projectName = "Series " + id;
  project.projectTitle = project.projectName;
  project.createdAt = systemClock().now();
  return project;
}

StudioSnapshot snapshotWithArtworks(const std::string& projectId, int first, int count,
                                    bool large) {
  StudioSnapshot snapshot;
  snapshot.biography = "A biography of a few sentences.";
  for (int i = first; i < first + count; ++i) {
    Artwork artwork;
    artwork.id = "artwork-" + std::to_string(i);
    artwork.title = "Untitled " + std::to_string(i);
    artwork.medium = "Oil on canvas";
    artwork.year = "2024";
    artwork.artworkWidth = "100";
    artwork.artworkHeight = "80";
    artwork.width = 1600;
    artwork.height = 1280;
    artwork.aspect = 1.25;
    artwork.imagePath = "/generated/" + artwork.id + (large ? "-large" : "-small");
    artwork.status = ArtworkStatus::available;
    artwork.priceCents = 250'000;
    artwork.priceCurrency = "EUR";
    snapshot.artworks.images.push_back(artwork);
  }
  snapshot.documents = {Document{"document-" + projectId,
                                 projectId,
                                 DocumentType::portfolio,
                                 "Portfolio",
                                 DocumentOrientation::portrait,
                                 {},
                                 {}}};
  for (int i = 0; i < std::min(count, 40); ++i) {
    snapshot.documentArtworkLinks.push_back(
        DocumentArtworkLink{"link-" + projectId + "-" + std::to_string(i), "document-" + projectId,
                            snapshot.artworks.images[static_cast<std::size_t>(i)].id, i});
  }
  return snapshot;
}

// The library, built once per run in a temporary directory and removed at
// exit.
class Library {
 public:
  static Library& instance() {
    static Library library;
    return library;
  }

  ~Library() {
    repository.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }

  SQLiteDatabase& db() {
    return repository->withDatabase([](SQLiteDatabase& db) -> SQLiteDatabase& { return db; });
  }

  std::filesystem::path directory;
  GeneratedImages images;
  std::unique_ptr<SQLiteSnapshotRepository> repository;
  Project largeProject;
  StudioSnapshot largeSnapshot;

 private:
  Library() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/quorvane-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    directory = pattern;
    repository = std::make_unique<SQLiteSnapshotRepository>(
        SQLiteDatabase((directory / "quorvane.sqlite").string()), systemClock(), images);

    const int perSmallProject = (kArtworksInAll - kLargeProjectArtworks) / (kProjects - 1);
    int next = 0;
    for (int p = 0; p < kProjects; ++p) {
      const std::string id = "project-" + std::string(p < 10 ? "0" : "") + std::to_string(p);
      const bool large = id == kLargeProject;
      const int count = large                ? kLargeProjectArtworks
                        : p == kProjects - 1 ? kArtworksInAll - next
                                             : perSmallProject;
      StudioSnapshot snapshot = snapshotWithArtworks(id, next, count, large);
      next += count;
      const SavedProject saved = repository->save(projectNamed(id), snapshot);
      adoptStoredImages(snapshot, saved.storedImages);
    }
    const std::optional<LoadedProject> loaded = repository->load(kLargeProject);
    largeProject = loaded->project;
    largeSnapshot = loaded->snapshot;
    std::fprintf(
        stderr, "library: %d artworks in %d projects, %.0f MB on disk\n", next, kProjects,
        static_cast<double>(std::filesystem::file_size(directory / "quorvane.sqlite")) / 1e6);
  }
};

// Runs `body` on the library's connection in one immediate transaction.
template <typename Body>
void inWriteTransaction(Library& library, Body&& body) {
  library.repository->withDatabase(
      [&](SQLiteDatabase& db) { withImmediateTransaction(db, [&] { body(db); }); });
}

// Pages fetched from and written to the file since the last call.
void reportPages(benchmark::State& state, SQLiteDatabase& db) {
  int current = 0;
  int highwater = 0;
  sqlite3_db_status(db.handle(), SQLITE_DBSTATUS_CACHE_MISS, &current, &highwater, 1);
  state.counters["pages_read"] += current;
  sqlite3_db_status(db.handle(), SQLITE_DBSTATUS_CACHE_WRITE, &current, &highwater, 1);
  state.counters["pages_written"] += current;
}

void finishCounters(benchmark::State& state, double targetMs = 0) {
  const double iterations = static_cast<double>(state.iterations());
  state.counters["pages_read"] = state.counters["pages_read"] / iterations;
  state.counters["pages_written"] = state.counters["pages_written"] / iterations;
  if (targetMs > 0) state.counters["target_ms"] = targetMs;
}

void startCounting(SQLiteDatabase& db) {
  int current = 0;
  int highwater = 0;
  sqlite3_db_status(db.handle(), SQLITE_DBSTATUS_CACHE_MISS, &current, &highwater, 1);
  sqlite3_db_status(db.handle(), SQLITE_DBSTATUS_CACHE_WRITE, &current, &highwater, 1);
}

// --- load -----------------------------------------------------------------------

void BM_Load_ours(benchmark::State& state) {
  Library& library = Library::instance();
  startCounting(library.db());
  for (auto _ : state) {
    benchmark::DoNotOptimize(library.repository->load(kLargeProject));
    reportPages(state, library.db());
  }
  finishCounters(state, 150);
}
BENCHMARK(BM_Load_ours)
    ->Name("repository/load_large_project/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Anchor: stepping through the project's artwork rows, every column, and
// nothing else.
void BM_Load_anchor(benchmark::State& state) {
  Library& library = Library::instance();
  for (auto _ : state) {
    library.repository->withDatabase([](SQLiteDatabase& db) {
      Statement select = db.prepare(
          "SELECT a.* FROM project_artworks pa INNER JOIN artworks a ON a.id = pa.artworkId "
          "WHERE pa.projectId = ? ORDER BY pa.sortIndex");
      select.bindText(1, kLargeProject);
      int columns = 0;
      while (select.nextRow()) {
        for (int i = 0; i < sqlite3_column_count(select.handle()); ++i) {
          columns += sqlite3_column_bytes(select.handle(), i) > 0;
        }
      }
      benchmark::DoNotOptimize(columns);
    });
  }
}
BENCHMARK(BM_Load_anchor)
    ->Name("repository/load_large_project/anchor")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// --- biography save ----------------------------------------------------------------

void BM_SaveBio_ours(benchmark::State& state) {
  Library& library = Library::instance();
  StudioSnapshot snapshot = library.largeSnapshot;
  int edit = 0;
  startCounting(library.db());
  for (auto _ : state) {
    snapshot.biography = "Biography, version " + std::to_string(++edit);
    library.repository->save(library.largeProject, snapshot, "bio");
    reportPages(state, library.db());
  }
  finishCounters(state, 5);
}
BENCHMARK(BM_SaveBio_ours)
    ->Name("repository/save_bio/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Anchor: one text row updated in its own immediate transaction.
void BM_SaveBio_anchor(benchmark::State& state) {
  Library& library = Library::instance();
  int edit = 0;
  for (auto _ : state) {
    inWriteTransaction(library, [&](SQLiteDatabase& db) {
      Statement update = db.prepare("UPDATE text_assets SET content = ? WHERE id = ?");
      update.bindText(1, "Biography, anchor " + std::to_string(++edit));
      update.bindText(2, "asset:bio:" + kLargeProject);
      update.stepStrict();
    });
  }
}
BENCHMARK(BM_SaveBio_anchor)
    ->Name("repository/save_bio/anchor")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// --- artworks save after one title edit -------------------------------------------

void BM_SaveArtworks_ours(benchmark::State& state) {
  Library& library = Library::instance();
  StudioSnapshot snapshot = library.largeSnapshot;
  int edit = 0;
  startCounting(library.db());
  for (auto _ : state) {
    snapshot.artworks.images[1000].title = "Retitled " + std::to_string(++edit);
    const SavedProject saved = library.repository->save(library.largeProject, snapshot, "artworks");
    if (!saved.storedImages.empty()) state.SkipWithError("an image was stored again");
    reportPages(state, library.db());
  }
  finishCounters(state, 150);
}
BENCHMARK(BM_SaveArtworks_ours)
    ->Name("repository/save_artworks_after_title_edit/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// What the same save costs when it reads every image of the project and
// writes each back: the artworks save of a store that can't tell which
// images changed.
void BM_SaveArtworks_rewritingImages(benchmark::State& state) {
  Library& library = Library::instance();
  StudioSnapshot snapshot = library.largeSnapshot;
  int edit = 0;
  startCounting(library.db());
  for (auto _ : state) {
    snapshot.artworks.images[1000].title = "Retitled " + std::to_string(++edit);
    library.repository->save(library.largeProject, snapshot, "artworks");
    inWriteTransaction(library, [&](SQLiteDatabase& db) {
      Statement select = db.prepare(
          "SELECT m.artworkId, m.blob FROM media m INNER JOIN project_artworks pa ON "
          "pa.artworkId = m.artworkId WHERE pa.projectId = ?");
      select.bindText(1, kLargeProject);
      Statement rewrite = db.prepare("UPDATE media SET blob = ?, createdAt = ? WHERE id = ?");
      while (select.nextRow()) {
        rewrite.bindBlob(1, select.blob(1));
        rewrite.bindInt64(2, std::int64_t{0});
        rewrite.bindText(3, select.textOrEmpty(0));
        rewrite.stepStrict();
        rewrite.reset();
      }
    });
    reportPages(state, library.db());
  }
  finishCounters(state);
}
BENCHMARK(BM_SaveArtworks_rewritingImages)
    ->Name("repository/save_artworks_after_title_edit/rewriting_every_image")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

// Anchor: the one edited artwork row updated in its own transaction.
void BM_SaveArtworks_anchor(benchmark::State& state) {
  Library& library = Library::instance();
  int edit = 0;
  for (auto _ : state) {
    inWriteTransaction(library, [&](SQLiteDatabase& db) {
      Statement update = db.prepare("UPDATE artworks SET title = ? WHERE id = ?");
      update.bindText(1, "Anchor " + std::to_string(++edit));
      update.bindText(2, "artwork-1000");
      update.stepStrict();
    });
  }
}
BENCHMARK(BM_SaveArtworks_anchor)
    ->Name("repository/save_artworks_after_title_edit/anchor")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// --- whole save ------------------------------------------------------------------

void BM_SaveFull_ours(benchmark::State& state) {
  Library& library = Library::instance();
  StudioSnapshot snapshot = library.largeSnapshot;
  int edit = 0;
  startCounting(library.db());
  for (auto _ : state) {
    snapshot.statement = "Statement, version " + std::to_string(++edit);
    library.repository->save(library.largeProject, snapshot);
    reportPages(state, library.db());
  }
  finishCounters(state);
}
BENCHMARK(BM_SaveFull_ours)
    ->Name("repository/save_whole_project/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Anchor: every artwork row of the project rewritten in one transaction, the
// core of any whole-project save.
void BM_SaveFull_anchor(benchmark::State& state) {
  Library& library = Library::instance();
  for (auto _ : state) {
    inWriteTransaction(library, [&](SQLiteDatabase& db) {
      Statement update = db.prepare("UPDATE artworks SET title = ?, medium = ? WHERE id = ?");
      for (const Artwork& artwork : library.largeSnapshot.artworks.images) {
        update.bindText(1, artwork.title);
        update.bindText(2, artwork.medium);
        update.bindText(3, artwork.id);
        update.stepStrict();
        update.reset();
      }
    });
  }
}
BENCHMARK(BM_SaveFull_anchor)
    ->Name("repository/save_whole_project/anchor")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace quorvane
