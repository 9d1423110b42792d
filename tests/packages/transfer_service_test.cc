#include "packages/transfer_service.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "packages/transfer_error.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// What is in the folder of the package, by name, besides the media folder.
std::set<std::string> filesBeside(const std::string& path) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(fs::path(path).parent_path())) {
    if (entry.path().filename() != "media") names.insert(entry.path().filename().string());
  }
  return names;
}

class TransferServiceTest : public ::testing::Test {
 protected:
  TransferServiceTest() {
    fs::create_directories(dir.file("media"));
    input.project.id = "P1";
    input.project.projectName = "Tides";
    input.project.projectTitle = "Tides and shores";
    input.project.kind = ProjectKind::catalogue;
    input.project.catalogueKind = CatalogueKind::price;
    input.project.currency = "EUR";
    input.project.createdAt = dateFromMilliseconds(1'700'000'000'000);
    input.project.updatedAt = dateFromMilliseconds(1'700'000'500'000);
    input.snapshot.biography = "Née à Lyon.";
    input.snapshot.biographyCreatedAt = dateFromMilliseconds(1'700'000'100'000);
    input.snapshot.cv.education = {{{"majorDegree", "MFA"}}};
    for (const char* id : {"A1", "A2", "A3"}) {
      Artwork artwork;
      artwork.id = id;
      artwork.title = std::string("Work ") + id;
      artwork.sortIndex = 10;  // what the library has; the package numbers them
      input.snapshot.artworks.images.push_back(artwork);
    }
    std::ofstream(dir.file("media/A1_orig.jpg"), std::ios::binary) << std::string(3000, 'J');
    std::ofstream(dir.file("media/A3_orig.png"), std::ios::binary) << std::string(2000, 'P');
    input.labelOverrides = {{"portfolio", "fr", "pdf.toc.artworks", "Œuvres"}};
    input.backupReminder = BackupReminderState{};
    input.originals = {{"A1", {dir.file("media/A1_orig.jpg"), 3000}},
                       {"A3", {dir.file("media/A3_orig.png"), 2000}}};
  }

  testing::TempDir dir;
  testing::RecordingLogger logger;
  QuorvaneTransferService service{{}, logger};
  PackageExport input;
  const Date now = dateFromSeconds(1'740'821'400);  // 2025-03-01T09:30:00Z
};

TEST_F(TransferServiceTest, APackageReadsBackAsTheProjectItWasMadeFrom) {
  const std::string path = dir.file("Tides.quorvane");
  const std::uint64_t bytes = service.exportPackage(input, path, now, false);
  EXPECT_EQ(bytes, fs::file_size(path));

  const OpenedPackage opened = service.openPackage(path);
  const ImportedProjectPackage& content = opened.content;
  EXPECT_EQ(content.manifest.exportedAt, "2025-03-01T09:30:00Z");
  EXPECT_EQ(content.manifest.app.platform, "linux");
  EXPECT_EQ(content.project.projectTitle, "Tides and shores");
  EXPECT_EQ(content.project.catalogueKind, CatalogueKind::price);
  EXPECT_EQ(content.project.createdAt, input.project.createdAt);
  EXPECT_EQ(content.snapshot.biography, "Née à Lyon.");
  EXPECT_EQ(content.snapshot.biographyCreatedAt, input.snapshot.biographyCreatedAt);
  EXPECT_EQ(content.snapshot.cv, input.snapshot.cv);
  ASSERT_EQ(content.snapshot.artworks.images.size(), 3u);
  EXPECT_EQ(content.snapshot.artworks.images[2].title, "Work A3");
  EXPECT_EQ(content.snapshot.artworks.images[2].sortIndex, 2);
  EXPECT_EQ(content.labelOverrides, input.labelOverrides);
  EXPECT_EQ(content.mediaPathByArtworkId.size(), 2u) << "A2 has no original";
  std::string original;
  streamOriginal(*opened.archive, content, "A3", [&](std::span<const std::uint8_t> piece) {
    original.append(piece.begin(), piece.end());
  });
  EXPECT_EQ(original, std::string(2000, 'P')) << "the bytes, whatever the name says";
}

TEST_F(TransferServiceTest, ExportingWhatWasReadWritesTheSameDataFiles) {
  const std::string first = dir.file("first.quorvane");
  service.exportPackage(input, first, now, false);
  const OpenedPackage opened = service.openPackage(first);
  PackageExport again = input;
  again.project = opened.content.project;
  again.snapshot = opened.content.snapshot;
  again.labelOverrides = opened.content.labelOverrides;
  again.backupReminder = opened.content.backupReminder;
  const std::string second = dir.file("second.quorvane");
  service.exportPackage(again, second, now, false);

  ASSERT_EQ(std::system(("cd " + dir.path().string() +
                         " && mkdir a b && cd a && unzip -q ../first.quorvane && cd ../b && unzip "
                         "-q ../second.quorvane")
                            .c_str()),
            0);
  for (const char* file :
       {"manifest.json", "data/project.json", "data/artworks.json", "data/project_artworks.json",
        "data/label_overrides.json", "media/original/A1.jpg", "media/original/A3.jpg"}) {
    EXPECT_EQ(contentOf(dir.file(std::string("a/") + file)),
              contentOf(dir.file(std::string("b/") + file)))
        << file;
  }
}

TEST_F(TransferServiceTest, APackageRezippedByHandStillOpens) {
  const std::string path = dir.file("Tides.quorvane");
  service.exportPackage(input, path, now, false);
  const std::string folder = dir.path().string();
  ASSERT_EQ(std::system(("cd " + folder +
                         " && mkdir x && cd x && unzip -q ../Tides.quorvane && zip -q -r "
                         "../byhand.quorvane manifest.json data media")
                            .c_str()),
            0);
  EXPECT_EQ(
      service.openPackage(dir.file("byhand.quorvane")).content.snapshot.artworks.images.size(), 3u);
  // zip -D leaves the folders without entries of their own.
  ASSERT_EQ(std::system(
                ("cd " + folder + "/x && zip -q -r -D ../nodirs.quorvane manifest.json data media")
                    .c_str()),
            0);
  EXPECT_EQ(service.openPackage(dir.file("nodirs.quorvane")).content.mediaPathByArtworkId.size(),
            2u);
}

TEST_F(TransferServiceTest, AnOriginalThatChangedSinceItWasLookedAtFailsTheExportWhole) {
  const std::string path = dir.file("Tides.quorvane");
  std::ofstream(dir.file("media/A3_orig.png"), std::ios::binary) << std::string(49, 'S');
  EXPECT_THROW(service.exportPackage(input, path, now, false), std::system_error) << "resized";
  fs::remove(dir.file("media/A3_orig.png"));
  fs::create_symlink(dir.file("media/A1_orig.jpg"), dir.file("media/A3_orig.png"));
  input.originals["A3"].bytes = 3000;
  EXPECT_THROW(service.exportPackage(input, path, now, false), std::system_error)
      << "a link in its place is never followed";
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(TransferServiceTest, NothingIsWrittenThatTheReaderWouldRefuse) {
  TransferLimits small;
  small.maximumMediaBytes = 2500;
  const QuorvaneTransferService strict(small, logger);
  const std::string path = dir.file("Tides.quorvane");
  try {
    strict.exportPackage(input, path, now, false);
    FAIL() << "A1's original is over the limit";
  } catch (const QuorvaneTransferError& error) {
    EXPECT_EQ(error.errorCase(), QuorvaneTransferCase::invalidMedia);
    EXPECT_EQ(error.artworkTitle(), "Work A1");
  }
  EXPECT_FALSE(fs::exists(path));
  input.originals.erase("A1");
  input.checkImage = [](std::span<const std::uint8_t> original) -> std::optional<std::string> {
    if (original.size() == 2000) return "cut short";
    return std::nullopt;
  };
  try {
    strict.exportPackage(input, path, now, false);
    FAIL() << "A3 fails the image check as it is read back";
  } catch (const QuorvaneTransferError& error) {
    EXPECT_EQ(error.errorCase(), QuorvaneTransferCase::invalidMedia);
    EXPECT_EQ(error.artworkTitle(), "Work A3");
  }
  EXPECT_EQ(filesBeside(path), std::set<std::string>{}) << "no package, no temporary file";
}

TEST_F(TransferServiceTest, AFileTooLargeIsRefusedBeforeItIsOpened) {
  const std::string path = dir.file("huge.quorvane");
  std::ofstream(path).put('x');
  fs::resize_file(path, service.limits().maximumPackageBytes() + 1);  // sparse: never read
  try {
    service.openPackage(path);
    FAIL();
  } catch (const QuorvaneTransferError& error) {
    EXPECT_EQ(error.errorCase(), QuorvaneTransferCase::packageTooLarge);
  }
}

TEST_F(TransferServiceTest, APackageCutAnywhereIsRefusedWithACaseAndNeverCrashes) {
  const std::string path = dir.file("Tides.quorvane");
  service.exportPackage(input, path, now, false);
  const std::string whole = contentOf(path);
  for (int i = 1; i <= 20; ++i) {
    const std::size_t length = whole.size() * static_cast<std::size_t>(i) / 21;
    const std::string cut = dir.file("cut.quorvane");
    std::ofstream(cut, std::ios::binary | std::ios::trunc)
        .write(whole.data(), static_cast<std::streamsize>(length));
    try {
      OpenedPackage opened = service.openPackage(cut);
      checkOriginals(*opened.archive, opened.content, service.limits());
      ADD_FAILURE() << "a package cut at " << length << " bytes was taken";
    } catch (const QuorvaneTransferError& error) {
      EXPECT_EQ(error.errorCase(), QuorvaneTransferCase::invalidPackage) << length;
    }
    // Even a file that is no ZIP at all had its reading begun.
    EXPECT_TRUE(std::count(logger.lines.begin(), logger.lines.end(),
                           "import begin packageBytes=" + std::to_string(length)))
        << length;
  }
}

TEST_F(TransferServiceTest, AnExportTellsItsProgressInBytesAndArtworks) {
  std::vector<TransferProgress> told;
  service.exportPackage(input, dir.file("Tides.quorvane"), now, false,
                        [&](const TransferProgress& progress) { told.push_back(progress); });
  using Phase = TransferProgress::Phase;
  const auto checking = std::find_if(told.begin(), told.end(), [](const TransferProgress& p) {
    return p.phase == Phase::checking;
  });
  ASSERT_NE(checking, told.begin());
  ASSERT_NE(checking, told.end()) << "the package is read back after it is written";
  for (std::size_t i = 1; i < told.size(); ++i) {
    if (told.begin() + static_cast<std::ptrdiff_t>(i) == checking) continue;
    EXPECT_GE(told[i].bytes, told[i - 1].bytes);
    EXPECT_GE(told[i].artworks, told[i - 1].artworks);
  }
  EXPECT_EQ(*(checking - 1), (TransferProgress{5000, 5000, 2, 2, Phase::copying}))
      << "two originals, 3000 + 2000";
  EXPECT_EQ(told.back(), (TransferProgress{5000, 5000, 2, 2, Phase::checking}));
}

TEST_F(TransferServiceTest, AnExportThatFailsAnywhereLeavesTheOlderPackageAsItWas) {
  const std::string path = dir.file("Tides.quorvane");
  service.exportPackage(input, path, now, false);
  const std::string older = contentOf(path);
  input.project.projectTitle = "Tides, revised";
  testing::FaultyFileSystem files;
  const QuorvaneTransferService faulty({}, logger, files);
  int faults = 0;
  for (const std::string operation : {"open", "readPiece", "create", "writePiece", "publish"}) {
    for (int n = 1;; ++n) {
      files.failAt(operation, n);
      try {
        faulty.exportPackage(input, path, now, true);
      } catch (const std::system_error&) {
        ++faults;
        EXPECT_TRUE(contentOf(path) == older) << operation << " #" << n;
        EXPECT_EQ(filesBeside(path), std::set<std::string>{"Tides.quorvane"})
            << "no temporary file left after " << operation << " #" << n;
        continue;
      }
      EXPECT_LT(files.calls(operation), n)
          << "a fault at " << operation << " #" << n << " was missed";
      EXPECT_TRUE(contentOf(path) != older) << "once nothing fails, the new package is in place";
      std::ofstream(path, std::ios::binary | std::ios::trunc) << older;  // for the next operation
      break;
    }
  }
  EXPECT_GE(faults, 2 + 2 + 1 + 5 + 1)
      << "each original's opening and reading, the file's making, its writes, its publishing";
}

TEST_F(TransferServiceTest, ADiskThatFillsUpAtAnyPointLeavesNoHalfPackage) {
  // Writes past the limit fail with EFBIG, as on a full disk, wherever
  // libzip is in its writing.
  const std::string path = dir.file("Tides.quorvane");
  service.exportPackage(input, path, now, false);
  const std::string older = contentOf(path);
  input.project.projectTitle = "Tides, revised";
  const auto oldHandler = ::signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  int failures = 0;
  for (rlim_t limit = 0; limit < older.size() + 1024; limit += 331) {
    rlimit small = saved;
    small.rlim_cur = limit;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    bool written = false;
    try {
      service.exportPackage(input, path, now, true);
      written = true;
    } catch (const std::system_error&) {
      ++failures;
    }
    ::setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_EQ(filesBeside(path), std::set<std::string>{"Tides.quorvane"}) << limit;
    if (written) break;
    EXPECT_TRUE(contentOf(path) == older) << "full at " << limit << " bytes";
  }
  ::signal(SIGXFSZ, oldHandler);
  EXPECT_GE(failures, 10);
  EXPECT_TRUE(contentOf(path) != older);
}

}  // namespace
}  // namespace quorvane
