#include "packages/package_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include <functional>

#include "model/amount.h"
#include "packages/memory_tree.h"
#include "support/fakes.h"

namespace quorvane {
namespace {

using Case = QuorvaneTransferCase;
using testing::MemoryTree;

// A valid package of version 4 with two artworks, the first with its
// original, a document linking both, and one label override.
MemoryTree validPackage() {
  MemoryTree tree;
  package::Manifest manifest;
  manifest.exportedAt = "2025-03-01T09:30:00Z";
  manifest.project = {"P1", "catalogue", "raisonne", "Tides\nand\tshores", "Tides",     "2026",
                      "fr", "in",        "EUR",      std::nullopt,         std::nullopt};
  manifest.counts = {2, 1, 7};
  tree.putJson("manifest.json", package::toJson(manifest));

  package::ProjectData data;
  data.biography = "Née à Lyon.";
  data.cvTitle = "   ";
  data.unit = "in";
  Document document;
  document.id = "D1";
  document.projectId = "P1";
  data.documents = {document};
  data.documentArtworkLinks = {{"L1", "D1", "A2", 0}, {"L2", "D1", "A1", 1}};
  data.biographyUpdatedAt = dateFromMilliseconds(1'700'000'000'000);
  tree.putJson("data/project.json", package::toJson(data));

  package::ArtworkEntry first;
  first.artwork.id = "A1";
  first.artwork.title = "First";
  first.artwork.sortIndex = 1;
  first.originalMediaFile = "media/original/A1.jpg";
  package::ArtworkEntry second;
  second.artwork.id = "A2";
  second.artwork.title = "Second";
  second.artwork.sortIndex = 0;
  tree.putJson("data/artworks.json",
               nlohmann::json::array({package::toJson(first), package::toJson(second)}));
  tree.putJson(
      "data/project_artworks.json",
      nlohmann::json::array({package::toJson(package::ProjectArtworkLink{"P1", "A1", 1}),
                             package::toJson(package::ProjectArtworkLink{"P1", "A2", 0})}));
  tree.putJson("data/label_overrides.json",
               nlohmann::json::array({package::toJson(
                   LabelOverrideEntry{"portfolio", "fr", "pdf.toc.artworks", "Œuvres"})}));
  tree.put("media/original/A1.jpg", "jpeg bytes");
  return tree;
}

nlohmann::json jsonOf(const MemoryTree& tree, const std::string& path) {
  const Bytes& bytes = tree.files.at(path);
  return nlohmann::json::parse(bytes.begin(), bytes.end());
}

void edit(MemoryTree& tree, const std::string& path,
          const std::function<void(nlohmann::json&)>& change) {
  nlohmann::json json = jsonOf(tree, path);
  change(json);
  tree.putJson(path, json);
}

std::optional<Case> caseOf(MemoryTree& tree, std::uint64_t size = 1000,
                           const TransferLimits& limits = {}) {
  try {
    const ImportedProjectPackage imported = readPackage(tree, size, limits);
    checkOriginals(tree, imported, limits);
    return std::nullopt;
  } catch (const QuorvaneTransferError& error) {
    return error.errorCase();
  }
}

TEST(PackageReaderTest, AValidPackageGivesTheProjectItsSnapshotOverridesAndOriginals) {
  MemoryTree tree = validPackage();
  testing::RecordingLogger logger;
  const ImportedProjectPackage imported = readPackage(tree, 4321, {}, logger);
  EXPECT_EQ(imported.project.id, "P1");
  EXPECT_EQ(imported.project.kind, ProjectKind::catalogue);
  EXPECT_EQ(imported.project.catalogueKind, CatalogueKind::raisonne);
  EXPECT_EQ(imported.project.unit, UnitSystem::in);
  EXPECT_EQ(imported.snapshot.cvTitle, "CV") << "a blank title takes its default";
  EXPECT_EQ(imported.snapshot.biography, "Née à Lyon.");
  EXPECT_EQ(imported.snapshot.biographyUpdatedAt, dateFromMilliseconds(1'700'000'000'000));
  ASSERT_EQ(imported.snapshot.artworks.images.size(), 2u);
  EXPECT_EQ(imported.snapshot.artworks.images[0].id, "A2") << "in sortIndex order";
  EXPECT_EQ(imported.mediaPathByArtworkId,
            (std::map<std::string, std::string>{{"A1", "media/original/A1.jpg"}}));
  EXPECT_EQ(imported.labelOverrides.size(), 1u);
  Bytes original;
  EXPECT_EQ(streamOriginal(tree, imported, "A1",
                           [&](std::span<const std::uint8_t> piece) {
                             original.insert(original.end(), piece.begin(), piece.end());
                           }),
            10u);
  EXPECT_EQ(std::string(original.begin(), original.end()), "jpeg bytes");
  EXPECT_EQ(logger.lines.back(), "import done artworks=2 restoredMedia=1 labelOverrides=1");
}

TEST(PackageReaderTest, AnEmptyPackageIsValid) {
  MemoryTree tree = validPackage();
  tree.files.erase("media/original/A1.jpg");
  edit(tree, "manifest.json", [](auto& j) {
    j["counts"] = {{"artworks", 0}, {"media", 0}, {"textBlocks", 7}};
  });
  edit(tree, "data/project.json", [](auto& j) {
    j["documents"] = nlohmann::json::array();
    j["documentArtworkLinks"] = nlohmann::json::array();
  });
  tree.putJson("data/artworks.json", nlohmann::json::array());
  tree.putJson("data/project_artworks.json", nlohmann::json::array());
  tree.files.erase("data/label_overrides.json");
  EXPECT_EQ(caseOf(tree), std::nullopt);
}

struct Fault {
  const char* story;
  std::function<void(MemoryTree&)> make;
  std::optional<Case> expected;
};

// Every check in its order, each with the case it gives; a package that
// breaks two rules gives the first.
TEST(PackageReaderTest, EachCheckGivesItsCase) {
  const auto artworks = [](const std::function<void(nlohmann::json&)>& change) {
    return [change](MemoryTree& t) { edit(t, "data/artworks.json", change); };
  };
  const auto manifest = [](const std::function<void(nlohmann::json&)>& change) {
    return [change](MemoryTree& t) { edit(t, "manifest.json", change); };
  };
  const auto project = [](const std::function<void(nlohmann::json&)>& change) {
    return [change](MemoryTree& t) { edit(t, "data/project.json", change); };
  };
  const auto labels = [](nlohmann::json entries) {
    return [entries](MemoryTree& t) { t.putJson("data/label_overrides.json", entries); };
  };
  const auto label = [](std::string scope, std::string locale, std::string key, std::string value) {
    return package::toJson(LabelOverrideEntry{scope, locale, key, value});
  };
  const std::vector<Fault> faults{
      {"no manifest", [](MemoryTree& t) { t.files.erase("manifest.json"); }, Case::missingManifest},
      {"an empty manifest", [](MemoryTree& t) { t.put("manifest.json", ""); },
       Case::missingManifest},
      {"a manifest that is a folder",
       [](MemoryTree& t) {
         t.files.erase("manifest.json");
         t.directories.insert("manifest.json");
       },
       Case::missingManifest},
      {"a manifest over 256 KiB",
       [](MemoryTree& t) { t.put("manifest.json", std::string(262145, ' ')); }, Case::dataTooLarge},
      {"format Quorvane", manifest([](auto& j) { j["format"] = "Quorvane"; }), Case::invalidFormat},
      {"version 2", manifest([](auto& j) { j["formatVersion"] = 2; }), Case::unsupportedVersion},
      {"version 5", manifest([](auto& j) { j["formatVersion"] = 5; }), Case::unsupportedVersion},
      {"negative counts", manifest([](auto& j) { j["counts"]["media"] = -1; }),
       Case::invalidManifestCounts},
      {"six text blocks", manifest([](auto& j) { j["counts"]["textBlocks"] = 6; }),
       Case::invalidManifestCounts},
      {"10001 artworks", manifest([](auto& j) { j["counts"]["artworks"] = 10001; }),
       Case::invalidManifestCounts},
      {"a project id with a slash", manifest([](auto& j) { j["project"]["id"] = "a/b"; }),
       Case::unsafeIdentifier},
      {"no data folder",
       [](MemoryTree& t) {
         std::erase_if(t.files, [](const auto& f) { return f.first.starts_with("data/"); });
       },
       Case::missingProjectData},
      {"no project data", [](MemoryTree& t) { t.files.erase("data/project.json"); },
       Case::missingProjectData},
      {"no artworks data", [](MemoryTree& t) { t.files.erase("data/artworks.json"); },
       Case::missingArtworksData},
      {"project data over 8 MiB",
       [](MemoryTree& t) { t.put("data/project.json", std::string(8388609, ' ')); },
       Case::dataTooLarge},
      {"one artwork more than counted", artworks([](auto& j) { j.push_back(j[0]); }),
       Case::invalidManifestCounts},
      {"an artwork id of 129 characters",
       artworks([](auto& j) { j[1]["id"] = std::string(129, 'a'); }), Case::unsafeIdentifier},
      {"an artwork id twice", artworks([](auto& j) { j[1]["id"] = "A1"; }),
       Case::duplicateIdentifier},
      {"an original named after another artwork",
       artworks([](auto& j) { j[0]["originalMediaFile"] = "media/original/A2.jpg"; }),
       Case::unsafeMediaPath},
      {"an original outside its folder",
       artworks([](auto& j) { j[0]["originalMediaFile"] = "media/original/../../A1.jpg"; }),
       Case::unsafeMediaPath},
      {"a negative sort index", artworks([](auto& j) { j[1]["sortIndex"] = -1; }),
       Case::invalidRelationships},
      {"more originals named than counted",
       artworks([](auto& j) { j[1]["originalMediaFile"] = "media/original/A2.jpg"; }),
       Case::invalidManifestCounts},
      {"version 4 without project artworks",
       [](MemoryTree& t) { t.files.erase("data/project_artworks.json"); },
       Case::invalidRelationships},
      {"a project artwork of another project",
       [](MemoryTree& t) {
         edit(t, "data/project_artworks.json", [](auto& j) { j[0]["projectId"] = "P2"; });
       },
       Case::invalidRelationships},
      {"an artwork no project artwork names",
       [](MemoryTree& t) { edit(t, "data/project_artworks.json", [](auto& j) { j.erase(1); }); },
       Case::invalidRelationships},
      {"label overrides that are no JSON",
       [](MemoryTree& t) { t.put("data/label_overrides.json", "[{"); },
       Case::invalidLabelOverrides},
      {"a label override without a key",
       labels({{{"scope", "cv"}, {"locale", "fr"}, {"value", "x"}}}), Case::invalidLabelOverrides},
      {"a blank scope", labels({label("  ", "fr", "pdf.a", "x")}), Case::invalidLabelOverrides},
      {"a locale of 33 characters", labels({label("cv", std::string(33, 'f'), "pdf.a", "x")}),
       Case::invalidLabelOverrides},
      {"a value of 20001 characters", labels({label("cv", "fr", "pdf.a", std::string(20001, 'x'))}),
       Case::invalidLabelOverrides},
      {"two keys that differ by spaces",
       labels({label("cv", "fr", "pdf.a", "x"), label("cv", "fr", " pdf.a\n", "y")}),
       Case::duplicateIdentifier},
      {"a document id with a space", project([](auto& j) { j["documents"][0]["id"] = "D 1"; }),
       Case::unsafeIdentifier},
      {"a document twice", project([](auto& j) { j["documents"].push_back(j["documents"][0]); }),
       Case::duplicateIdentifier},
      {"a link to an unknown document",
       project([](auto& j) { j["documentArtworkLinks"][0]["documentId"] = "D9"; }),
       Case::invalidRelationships},
      {"a link with a negative position",
       project([](auto& j) { j["documentArtworkLinks"][0]["position"] = -1; }),
       Case::invalidRelationships},
      {"an artwork twice in a document",
       project([](auto& j) { j["documentArtworkLinks"][1]["artworkId"] = "A2"; }),
       Case::duplicateIdentifier},
      {"a stray file among the originals",
       [](MemoryTree& t) { t.put("media/original/notes.txt", "x"); }, Case::unexpectedMedia},
      {"an original that is missing", [](MemoryTree& t) { t.files.erase("media/original/A1.jpg"); },
       Case::missingMedia},
      {"an empty original", [](MemoryTree& t) { t.put("media/original/A1.jpg", ""); },
       Case::invalidMedia},
      {"a file beside the tree, ignored", [](MemoryTree& t) { t.put("README.txt", "hello"); },
       std::nullopt},
      {"a folder inside the originals, ignored",
       [](MemoryTree& t) { t.put("media/original/sub/x.jpg", "x"); }, std::nullopt},
  };
  for (const Fault& fault : faults) {
    MemoryTree tree = validPackage();
    fault.make(tree);
    EXPECT_EQ(caseOf(tree), fault.expected) << fault.story;
  }
}

TEST(PackageReaderTest, VersionThreeNeedsNoProjectArtworksAndSizesAreCheckedAtTheirEdges) {
  MemoryTree three = validPackage();
  edit(three, "manifest.json", [](auto& j) { j["formatVersion"] = 3; });
  three.files.erase("data/project_artworks.json");
  EXPECT_EQ(caseOf(three), std::nullopt);

  MemoryTree tree = validPackage();
  // The whole file may hold what its parts may: 10,000 originals at their
  // limit, far past the 512 MiB a library's projects outgrow.
  const std::uint64_t largest = TransferLimits{}.maximumPackageBytes();
  EXPECT_GT(largest, 10000ull * 104857600);
  EXPECT_EQ(caseOf(tree, 576u << 20), std::nullopt) << "twelve 45.8 MB scans";
  EXPECT_EQ(caseOf(tree, largest), std::nullopt);
  EXPECT_EQ(caseOf(tree, largest + 1), Case::packageTooLarge);
  TransferLimits small;
  small.maximumMediaBytes = 10;  // "jpeg bytes" is exactly 10
  EXPECT_EQ(caseOf(tree, 1000, small), std::nullopt);
  small.maximumMediaBytes = 9;
  EXPECT_EQ(caseOf(tree, 1000, small), Case::invalidMedia);
  // Refused while the package is read: it is never said to be read whole.
  testing::RecordingLogger logger;
  EXPECT_THROW(readPackage(tree, 1000, small, logger), QuorvaneTransferError);
  for (const std::string& line : logger.lines) EXPECT_FALSE(line.starts_with("import done"));
}

TEST(PackageReaderTest, APriceNoOneCouldHaveWrittenIsLeftOutAndSaidSo) {
  for (const std::int64_t impossible :
       {std::int64_t{-150}, std::int64_t{-5}, std::numeric_limits<std::int64_t>::min(),
        kMaximumPriceCents + 1}) {
    MemoryTree tree = validPackage();
    edit(tree, "data/artworks.json", [&](auto& j) {
      j[0]["priceCents"] = impossible;
      j[1]["priceCents"] = kMaximumPriceCents;
    });
    testing::RecordingLogger logger;
    const ImportedProjectPackage imported = readPackage(tree, 1000, {}, logger);
    const auto& works = imported.snapshot.artworks.images;
    EXPECT_EQ(works[1].priceCents, std::nullopt) << impossible;
    EXPECT_EQ(works[0].priceCents, kMaximumPriceCents) << "the largest is a price";
    EXPECT_TRUE(
        std::count(logger.lines.begin(), logger.lines.end(),
                   "import price cleared artworkId=A1 priceCents=" + std::to_string(impossible)))
        << impossible;
  }
}

TEST(PackageReaderTest, JsonThatIsNotItsShapeIsADecodingErrorNotACase) {
  MemoryTree tree = validPackage();
  edit(tree, "data/project.json", [](auto& j) { j["biography"] = 7; });
  EXPECT_THROW(readPackage(tree, 1000), PackageDecodingError);
  MemoryTree broken = validPackage();
  broken.put("manifest.json", "{\"format\": \"quorvane\",");
  EXPECT_THROW(readPackage(broken, 1000), PackageDecodingError);
}

}  // namespace
}  // namespace quorvane
