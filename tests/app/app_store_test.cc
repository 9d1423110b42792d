#include "app/app_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "app/app_store_fixture.h"
#include "app/image_intake.h"
#include "app/waiting_commands.h"
#include "model/export_file_names.h"
#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::AppStoreTest;
using testing::FailableSaves;
using testing::mediaNames;
using testing::named;
using testing::TempDir;
using testing::UnreadableLabels;

TEST_F(AppStoreTest, AFirstStartMakesAProjectThatTheNextStartOpensAgain) {
  AppStore& first = open();
  ASSERT_TRUE(started);
  const std::string id = first.state().project.id;
  EXPECT_EQ(preferences.string(preference_key::kCurrentProjectId), id);
  first.renameProject("Winter show");
  first.setText(SaveSection::bio, "Born in Lyon.");

  AppStore& second = open();  // quitting the first wrote everything
  EXPECT_EQ(second.state().project.id, id);
  EXPECT_EQ(second.state().project.projectName, "Winter show");
  EXPECT_EQ(second.state().snapshot.biography, "Born in Lyon.");
  ASSERT_EQ(second.state().projects.size(), 1u);
}

TEST_F(AppStoreTest, StartFallsBackToTheMostRecentProjectAndRefusesUnknownIds) {
  AppStore& store = open();
  const std::string first = store.state().project.id;
  store.renameProject("First");
  settle();
  main.advanceBy(1h);
  const std::string second = *store.createProject(named("Second"));
  settle();
  preferences.setString(preference_key::kCurrentProjectId, "gone");

  EXPECT_EQ(open().state().project.id, second);
  open(first);
  EXPECT_TRUE(started);
  EXPECT_EQ(this->store->state().project.id, first);
  // Opening for one run is not remembered.
  EXPECT_EQ(preferences.string(preference_key::kCurrentProjectId), second);

  // Deleting a project opened for one run leaves the remembered one open.
  ASSERT_TRUE(this->store->deleteProject());
  EXPECT_EQ(this->store->state().project.id, second);
  EXPECT_EQ(preferences.string(preference_key::kCurrentProjectId), second);

  open("no-such-project");
  EXPECT_FALSE(started);
  EXPECT_EQ(this->store->state().lastErrorMessage,
            "There is no project with the id no-such-project.");
}

TEST_F(AppStoreTest, TheProjectMadeAtAFirstStartIsWrittenOnlyOnceSomethingIsPutInIt) {
  const std::string made = open().state().project.id;
  settle();
  EXPECT_EQ(sql("SELECT count(*) FROM projects"), "0");
  AppStore& store = open();  // a run that only looks sees the same project
  EXPECT_EQ(store.state().project.id, made);
  const std::string chosen = *store.createProject(named("Atlas"));
  settle();
  ASSERT_EQ(store.state().projects.size(), 1u);
  EXPECT_EQ(store.state().projects[0].id, chosen);
  EXPECT_EQ(sql("SELECT group_concat(id) FROM projects"), chosen);

  // Deleting the last project leaves a new, unwritten one; reusing a text
  // in it writes it first, as the link needs the project.
  store.setText(SaveSection::bio, "Shared bio");
  ASSERT_TRUE(store.deleteProject());
  const std::string fresh = store.state().project.id;
  EXPECT_NE(fresh, made);
  settle();
  EXPECT_EQ(sql("SELECT count(*) FROM projects WHERE id = '" + fresh + "'"), "0");
  const auto texts = store.reusableTexts(TextAssetType::bio);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_TRUE(store.reuseText(TextAssetType::bio, texts[0].id));
  EXPECT_EQ(store.state().snapshot.biography, "Shared bio");
  EXPECT_EQ(sql("SELECT count(*) FROM projects WHERE id = '" + fresh + "'"), "1");
}

TEST_F(AppStoreTest, TheInitialUnitIsDecidedOnceFromTheRegion) {
  region = "us";
  AppStore& store = open();
  EXPECT_EQ(store.state().project.unit, UnitSystem::in);
  EXPECT_EQ(store.state().snapshot.artworks.unit, UnitSystem::in);
  EXPECT_EQ(preferences.string(preference_key::kInitialUnit), "in");

  region = "DE";  // the decision stays
  this->store->createProject({});
  EXPECT_EQ(this->store->state().project.unit, UnitSystem::in);

  preferences.remove(preference_key::kInitialUnit);
  this->store->createProject({});
  EXPECT_EQ(this->store->state().project.unit, UnitSystem::cm);
  EXPECT_EQ(preferences.string(preference_key::kInitialUnit), "cm");

  preferences.remove(preference_key::kInitialUnit);
  region.reset();
  this->store->createProject({});
  EXPECT_EQ(preferences.string(preference_key::kInitialUnit), "cm");
}

TEST_F(AppStoreTest, AddedImagesKeepTheOriginalOnDiskAndTheWebDerivativeInTheLibrary) {
  AppStore& store = open();
  const std::string wide = writeImage("wide.jpg", 3000, 2000);
  const std::string turned = writeImage("turned.jpg", 1200, 800, 6);  // seen upright: 800 × 1200
  const std::string flat = writeImage("flat.png", 500, 500);
  std::vector<std::size_t> progress;
  const auto results = addImages(store, {wide, turned, flat},
                                 [&](std::size_t done, std::size_t) { progress.push_back(done); });
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(progress, (std::vector<std::size_t>{1, 2, 3}));
  const auto& images = store.state().snapshot.artworks.images;
  ASSERT_EQ(images.size(), 3u);
  EXPECT_EQ(images[1].id, *results[1].artworkId);
  EXPECT_EQ(images[0].width, 3000);
  EXPECT_EQ(images[0].height, 2000);
  EXPECT_EQ(images[1].width, 800);
  EXPECT_EQ(images[1].height, 1200);
  EXPECT_NEAR(*images[1].aspect, 800.0 / 1200.0, 1e-9);
  EXPECT_EQ(images[2].sortIndex, 2);
  EXPECT_EQ(*images[0].originalByteSize,
            static_cast<std::int64_t>(std::filesystem::file_size(wide)));

  const std::string id = images[0].id;
  EXPECT_TRUE(std::filesystem::exists(media.pathOf(id + "_orig.jpg")));
  EXPECT_TRUE(std::filesystem::exists(media.pathOf(images[2].id + "_orig.png")));
  const std::string webPath = media.webDerivativePath(id);
  ASSERT_TRUE(std::filesystem::exists(webPath));
  EXPECT_EQ(*images[0].imageByteSize,
            static_cast<std::int64_t>(std::filesystem::file_size(webPath)));

  settle();
  EXPECT_EQ(store.state().snapshot.artworks.images[0].imagePath, "sqlite-media://" + id);
  EXPECT_EQ(repository->imageBytes(id), media.readFile(webPath));
}

TEST_F(AppStoreTest, ImagesThatCannotBeAddedAreReportedAndTheOthersStillAdded) {
  AppStore& store = open();
  const std::string good = writeImage("good.jpg", 300, 200);
  std::ofstream(dir.file("notes.txt")) << "not an image";
  const std::string huge = dir.file("huge.tif");
  std::ofstream(huge).put('x');
  std::filesystem::resize_file(huge, kMaximumOriginalBytes + 1);  // sparse: never read

  const auto results =
      addImages(store, {dir.file("missing.jpg"), dir.file("notes.txt"), good, huge});
  EXPECT_FALSE(results[0].artworkId);
  EXPECT_NE(results[0].message.find("missing.jpg"), std::string::npos);
  EXPECT_FALSE(results[1].artworkId);
  EXPECT_NE(results[1].message.find("is not an image"), std::string::npos);
  EXPECT_TRUE(results[2].artworkId);
  EXPECT_FALSE(results[3].artworkId);
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 1u);
  ASSERT_EQ(store.state().oversizedImageNotices.size(), 1u);
  EXPECT_EQ(store.state().oversizedImageNotices[0].displayName, "huge.tif");
  ASSERT_TRUE(store.state().errorToast);
  EXPECT_EQ(store.state().errorToast->action, ToastAction::showOversizedImages);
  EXPECT_EQ(store.state().errorToast->text,
            "Some images were skipped: they are larger than the 50.0 MB Quorvane takes for an "
            "original. Review them in the list of skipped images.");
  EXPECT_TRUE(store.state().showOversizedImagesHelper);

  // One image alone says why it was refused, with the limit that refused it
  // (not the 15 MB of the near-limit warning).
  EXPECT_FALSE(store.replaceImage(*results[2].artworkId, huge));
  EXPECT_EQ(store.state().lastErrorMessage->rfind("huge.tif was not added: it is 50.0 MB, and "
                                                  "Quorvane takes originals of up to 50.0 MB.",
                                                  0),
            0u);
  EXPECT_EQ(store.state().errorToast->title, "Error");
  EXPECT_EQ(store.state().errorToast->style, ToastStyle::error);
}

TEST_F(AppStoreTest, AReplacementTheLibraryCannotSaveLeavesTheOldImageAndItsRowAsTheyWere) {
  AppStore& store = open();
  const std::string id = *addImages(store, {writeImage("first.png", 400, 300)})[0].artworkId;
  settle();
  const std::string rowBefore =
      sql("SELECT originalSizeBytes || '|' || imgWidth || '|' || hex(m.blob) FROM artworks a "
          "JOIN media m ON m.artworkId = a.id WHERE a.id = '" +
          id + "'");
  const Bytes originalBefore = *media.readFile(media.pathOf(id + "_orig.png"));
  media.writePrintVariant(id, 1, Bytes{1, 2, 3});  // made from the old original

  saves->failing = true;
  EXPECT_FALSE(store.replaceImage(id, writeImage("second.jpg", 900, 600)));
  EXPECT_EQ(store.state().lastErrorMessage, "Your changes could not be saved: the disk is full");
  EXPECT_EQ(store.state().snapshot.artworks.images[0].width, 400) << "the project shows the old";
  EXPECT_EQ(mediaNames(media),
            (std::vector<std::string>{id + "_orig.png", id + "_print_v1.jpg", id + "_web_v1.jpg"}));
  EXPECT_EQ(*media.readFile(media.pathOf(id + "_orig.png")), originalBefore);

  saves->failing = false;
  settle();
  EXPECT_EQ(sql("SELECT originalSizeBytes || '|' || imgWidth || '|' || hex(m.blob) FROM artworks "
                "a JOIN media m ON m.artworkId = a.id WHERE a.id = '" +
                id + "'"),
            rowBefore);

  // Once it can be saved, the new image replaces the whole set.
  EXPECT_TRUE(store.replaceImage(id, writeImage("second.jpg", 900, 600)));
  EXPECT_EQ(mediaNames(media), (std::vector<std::string>{id + "_orig.jpg", id + "_web_v1.jpg"}));
  EXPECT_EQ(sql("SELECT imgWidth FROM artworks WHERE id = '" + id + "'"), "900");
  EXPECT_EQ(repository->imageBytes(id), media.readFile(media.webDerivativePath(id)))
      << "the library's row and the web derivative on disk are the same image";
}

TEST_F(AppStoreTest, ImagesTheLibraryCannotSaveAreNotAddedAndLeaveNoFiles) {
  AppStore& store = open();
  addImages(store, {writeImage("kept.jpg", 300, 200)});
  settle();
  const std::vector<std::string> filesBefore = mediaNames(media);

  saves->failing = true;
  const auto results =
      addImages(store, {writeImage("a.jpg", 300, 200), writeImage("b.png", 200, 300)});
  ASSERT_EQ(results.size(), 2u);
  for (const ImageAddResult& result : results) {
    EXPECT_FALSE(result.artworkId) << "an id is given only for an image in the library";
    EXPECT_EQ(result.message, "Your changes could not be saved: the disk is full");
  }
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 1u);
  EXPECT_EQ(mediaNames(media), filesBefore);
  saves->failing = false;
  settle();
  EXPECT_EQ(sql("SELECT COUNT(*) FROM artworks"), "1");
}

TEST_F(AppStoreTest, AnOriginalJustOver15MiBIsKeptWithAWarning) {
  AppStore& store = open();
  // A small JPEG padded past its end marker: the decoder stops at the marker.
  auto bytes = *testing::encodedImage(".jpg", 64, 64);
  for (const std::int64_t size : {std::int64_t{15'728'640}, std::int64_t{15'728'641}}) {
    bytes.resize(static_cast<std::size_t>(size), 0);
    const std::string path = dir.file("padded-" + std::to_string(size) + ".jpg");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(size));
    const auto result = addImages(store, {path});
    ASSERT_TRUE(result[0].artworkId) << result[0].message;
    const Artwork& added = store.state().snapshot.artworks.images.back();
    EXPECT_EQ(added.nearLimit, size > 15'728'640);
  }
  EXPECT_EQ(store.state().snapshot.artworks.images.back().sizeWarning, "warn.image_near_limit");
  EXPECT_EQ(store.state().imageSizeWarning,
            "This image is quite large (15.0 MB). Very big images can make PDF export slower.");
}

TEST_F(AppStoreTest, ArtworksAreEditedReorderedRemovedAndBroughtBackFromTheVault) {
  AppStore& store = open();
  const auto added = addImages(store, {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 40, 30),
                                       writeImage("c.jpg", 40, 30)});
  const std::string a = *added[0].artworkId, b = *added[1].artworkId, c = *added[2].artworkId;
  settle();
  ArtworkMetadata metadata;
  metadata.title = "Tide";
  metadata.priceCents = 120000;
  metadata.priceCurrency = "EUR";
  metadata.status = ArtworkStatus::sold;
  EXPECT_TRUE(store.updateArtwork(b, metadata));
  EXPECT_FALSE(store.updateArtwork("nope", metadata));

  EXPECT_FALSE(store.reorderArtworks({c, a}));  // one left out: nothing moves
  EXPECT_FALSE(store.reorderArtworks({c, a, a}));
  EXPECT_EQ(store.state().snapshot.artworks.images[0].id, a);
  EXPECT_TRUE(store.reorderArtworks({c, a, b}));
  EXPECT_TRUE(store.removeArtwork(a));
  settle();

  AppStore& again = open();
  const auto& images = again.state().snapshot.artworks.images;
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[0].id, c);
  EXPECT_EQ(images[1].title, "Tide");
  EXPECT_EQ(images[1].priceCents, 120000);
  EXPECT_EQ(images[1].status, ArtworkStatus::sold);

  const auto kept = vault(again);
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept[0].artwork.id, a);
  EXPECT_TRUE(again.addFromVault(a));
  EXPECT_FALSE(again.addFromVault(a));
  settle();
  EXPECT_EQ(open().state().snapshot.artworks.images.back().id, a);
  EXPECT_EQ(sql("SELECT count(*) FROM media"), "3");
}

TEST_F(AppStoreTest, AnEditIsWrittenBeforeTheStoreMovesToAnotherProject) {
  AppStore& store = open();
  const std::string first = store.state().project.id;
  settle();
  store.setText(SaveSection::bio, "First bio");
  const std::string second = *store.createProject(named("Second", ProjectKind::catalogue));
  EXPECT_EQ(store.state().project.catalogueKind, CatalogueKind::price);
  store.setText(SaveSection::bio, "Second bio");
  EXPECT_TRUE(openProject(store, first));
  EXPECT_EQ(store.state().snapshot.biography, "First bio");
  EXPECT_TRUE(openProject(store, second));
  EXPECT_EQ(store.state().snapshot.biography, "Second bio");
}

TEST_F(AppStoreTest, AProjectReusesAnotherProjectsText) {
  AppStore& store = open();
  store.setText(SaveSection::statement, "I paint the sea.", std::string("On the sea"));
  const std::string source = store.state().project.id;
  store.createProject(named("Other"));
  const auto texts = store.reusableTexts(TextAssetType::statement);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts[0].sourceProjectId, source);
  EXPECT_TRUE(store.reuseText(TextAssetType::statement, texts[0].id));
  EXPECT_EQ(store.state().snapshot.statement, "I paint the sea.");
  EXPECT_EQ(store.state().snapshot.statementTitle, "On the sea");
  EXPECT_FALSE(store.reuseText(TextAssetType::statement, "no-such-asset"));
  EXPECT_EQ(store.state().snapshot.statement, "I paint the sea.");
  // A statement is no biography: linking it as one would edit one as the other.
  EXPECT_FALSE(store.reuseText(TextAssetType::bio, texts[0].id));
  EXPECT_EQ(store.state().snapshot.biography, "");
}

TEST_F(AppStoreTest, DuplicatingCopiesTextsAndSharesArtworksDeletingOpensAnother) {
  AppStore& store = open();
  const std::string original = store.state().project.id;
  store.renameProject("Atlas");
  store.setText(SaveSection::bio, "Bio");
  addImages(store, {writeImage("a.jpg", 40, 30)});
  const std::string copy = *store.duplicateProject();
  EXPECT_EQ(store.state().project.projectName, "Atlas (copy)");
  EXPECT_EQ(store.state().errorToast->text, "Project duplicated.");
  store.setText(SaveSection::bio, "Changed in the copy");
  settle();
  EXPECT_TRUE(openProject(store, original));
  EXPECT_EQ(store.state().snapshot.biography, "Bio");
  EXPECT_EQ(sql("SELECT count(*) FROM project_artworks"), "2");
  EXPECT_EQ(sql("SELECT count(*) FROM artworks"), "1");

  EXPECT_TRUE(store.deleteProject());
  EXPECT_EQ(store.state().project.id, copy);
  EXPECT_EQ(store.state().errorToast->text, "Project deleted.");
  EXPECT_EQ(store.state().projects.size(), 1u);
}

// A deleted project is kept: listed as deleted, and restored as it was,
// texts and works included, without another project being opened.
TEST_F(AppStoreTest, ADeletedProjectIsListedAndComesBackAsItWas) {
  AppStore& store = open();
  store.renameProject("Tides");
  store.setText(SaveSection::bio, "Née à Lyon.");
  addImages(store, {writeImage("a.jpg", 40, 30)});
  settle();
  const std::string tides = store.state().project.id;
  EXPECT_TRUE(store.deleteProject());
  ASSERT_EQ(store.state().deletedProjects.size(), 1u);
  EXPECT_EQ(store.state().deletedProjects[0].projectName, "Tides");
  EXPECT_TRUE(store.state().deletedProjects[0].deletedAt);
  const std::string other = store.state().project.id;

  EXPECT_FALSE(store.restoreProject(other)) << "a live project is not deleted";
  EXPECT_EQ(store.state().lastErrorMessage, "This project is not among the deleted projects.");
  ASSERT_TRUE(store.restoreProject(tides));
  EXPECT_EQ(store.state().errorToast->text, "“Tides” is back in your projects.");
  EXPECT_TRUE(store.state().deletedProjects.empty());
  EXPECT_EQ(store.state().project.id, other) << "the open project stays open";
  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(store.state().snapshot.biography, "Née à Lyon.");
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 1u);
}

TEST_F(AppStoreTest, DeletingAllDataEmptiesLibraryAndMediaButKeepsSettings) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 40, 30)});
  store.setThemeMode(ThemeMode::dark);
  settle();
  EXPECT_TRUE(store.deleteAllUserData());
  EXPECT_EQ(store.state().errorToast->text, "All data has been deleted.");
  EXPECT_TRUE(store.state().snapshot.artworks.images.empty());
  EXPECT_EQ(sql("SELECT count(*) FROM artworks"), "0");
  EXPECT_EQ(sql("SELECT count(*) FROM media"), "0");
  for (const auto& entry : std::filesystem::directory_iterator(media.directory())) {
    EXPECT_TRUE(entry.is_directory()) << entry.path();  // only the thumbnail folder
  }
  EXPECT_EQ(open().state().themeMode, ThemeMode::dark);
}

TEST_F(AppStoreTest, SettingsAndExportOptionsAreRememberedAcrossARestart) {
  AppStore& store = open();
  ExportOptions options = store.state().exportOptions;
  options.includeCV = false;
  options.showBiographyTitle = false;
  options.format = PdfFormat::letter;
  options.exportLocale = "fr";
  options.imageQuality = ExportImageQuality::printQuality;
  store.setExportOptions(options);
  store.setEditTitlesEnabled(true);
  store.setUiLanguage("de");

  // Deciding one text's title leaves the others undecided.
  EXPECT_TRUE(store.setTitleShown(SaveSection::statement, true));
  EXPECT_FALSE(store.setTitleShown(SaveSection::cv, true));
  options.showStatementTitle = true;
  EXPECT_EQ(store.state().exportOptions.showProjectStatementTitle, std::nullopt);

  const AppState& state = open().state();
  EXPECT_EQ(state.exportOptions, options);
  EXPECT_TRUE(state.isEditTitlesEnabled);
  EXPECT_EQ(state.uiLanguage, "de");
}

TEST_F(AppStoreTest, CurrenciesAreKeptAsCodesWhateverFaceTypedThem) {
  AppStore& store = open();
  const std::string id = addImages(store, {writeImage("a.jpg", 40, 30)})[0].artworkId.value();
  ProjectChanges changes;
  changes.currency = " usd ";
  EXPECT_TRUE(store.updateProject(changes));
  EXPECT_EQ(store.state().project.currency, "USD");
  ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[0]);
  metadata.priceCurrency = "chf";
  EXPECT_TRUE(store.updateArtwork(id, metadata));
  EXPECT_EQ(store.state().snapshot.artworks.images[0].priceCurrency, "CHF");

  // Text that is no code changes nothing and says why.
  changes.currency = "EURO";
  EXPECT_FALSE(store.updateProject(changes));
  EXPECT_EQ(store.state().project.currency, "USD");
  EXPECT_EQ(store.state().errorToast->text,
            "\u201cEURO\u201d is not a currency code: use three letters, such as EUR or USD.");
  metadata.priceCurrency = "€";
  EXPECT_FALSE(store.updateArtwork(id, metadata));
  EXPECT_EQ(store.state().snapshot.artworks.images[0].priceCurrency, "CHF");

  // Empty is none.
  changes.currency = "";
  EXPECT_TRUE(store.updateProject(changes));
  EXPECT_EQ(store.state().project.currency, std::nullopt);
}

TEST_F(AppStoreTest, MessagesSpeakTheInterfaceLanguage) {
  language = "fr";
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 40, 30)});
  store.duplicateProject();
  EXPECT_EQ(store.state().errorToast->title, "Succès");
  EXPECT_EQ(store.state().errorToast->text, "Projet dupliqué.");

  // A default title is shown in French and stays the default as the text is
  // edited with it; a title of the user's own is theirs, in any language.
  EXPECT_EQ(store.shownTextTitle(TextAssetType::bio), "Biographie");
  store.setText(SaveSection::bio, "Née à Turku.", "Biographie");
  EXPECT_EQ(store.state().snapshot.biographyTitle, "Biography");
  store.setText(SaveSection::bio, "Née à Turku.", "Parcours");
  EXPECT_EQ(store.shownTextTitle(TextAssetType::bio), "Parcours");
}

TEST_F(AppStoreTest, EachWrittenSectionImageAndNewProjectIsOneSignificantChange) {
  AppStore& store = open();
  store.renameProject("Atlas");  // the project is written: six sections
  settle();
  const std::int64_t before = store.state().backupReminderState.changesSinceLastExport;
  for (int i = 0; i < 10; ++i) {
    store.setText(SaveSection::bio, "draft " + std::to_string(i));
    main.advanceBy(50ms);
  }
  settle();
  EXPECT_EQ(store.state().backupReminderState.changesSinceLastExport, before + 1);
  // Two images are two works to lose, however many writes they took.
  addImages(store, {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 40, 30)});
  settle();
  EXPECT_EQ(store.state().backupReminderState.changesSinceLastExport, before + 1 + 2);
  // A duplicated or a new project is one change each.
  store.duplicateProject();
  settle();
  EXPECT_EQ(store.state().backupReminderState.changesSinceLastExport, before + 1 + 2 + 1);
  store.createProject(named("Tides"));
  settle();
  EXPECT_EQ(store.state().backupReminderState.changesSinceLastExport, before + 1 + 2 + 2);
}

TEST_F(AppStoreTest, OfTwoPreviewsAskedInQuickSuccessionOnlyTheSecondIsPublished) {
  AppStore& store = open();
  store.setText(SaveSection::bio, "The first version.");
  store.requestPreview({RenderKind::bio, std::nullopt});
  store.setText(SaveSection::bio, "The second version.");
  store.requestPreview({RenderKind::bio, std::nullopt});
  EXPECT_TRUE(store.state().isPdfRendering);
  pdfQueue.runUntilIdle();  // the first, overtaken before it began, is not drawn
  main.runUntilIdle();
  EXPECT_FALSE(store.state().isPdfRendering);
  EXPECT_EQ(renderer->cacheMisses(), 1u);
  ASSERT_TRUE(store.state().pdfPreviewData);
  const auto pages = testing::readPdf(*store.state().pdfPreviewData);
  EXPECT_NE(pages[0].text.find("The second version."), std::string::npos) << pages[0].text;
}

TEST_F(AppStoreTest, APreviewShowsTheStoredWebPicturesAsTheyAreAndIsNeverTakenForAFile) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 900, 600)});
  settle();
  const std::string id = store.state().snapshot.artworks.images.at(0).id;
  const std::optional<Bytes> web = media.readFile(media.webDerivativePath(id));
  ASSERT_TRUE(web);
  const auto holds = [](const Bytes& document, const Bytes& part) {
    return std::search(document.begin(), document.end(), part.begin(), part.end()) !=
           document.end();
  };
  const auto preview = [&] {
    store.requestPreview({RenderKind::portfolio, std::nullopt});
    pdfQueue.runUntilIdle();
    main.runUntilIdle();
    return store.state().pdfPreviewData.value_or(Bytes{});
  };

  ExportOptions options = store.state().exportOptions;
  options.imageQuality = ExportImageQuality::printQuality;
  store.setExportOptions(options);
  const Bytes shown = preview();
  EXPECT_TRUE(holds(shown, *web)) << "the stored picture, byte for byte";
  options.imageQuality = ExportImageQuality::webOptimized;
  store.setExportOptions(options);
  EXPECT_EQ(preview(), shown);
  EXPECT_EQ(renderer->cacheHits(), 1u) << "the quality changes nothing on a screen";

  const auto file = store.renderPDF({RenderKind::portfolio, std::nullopt}, options);
  ASSERT_TRUE(file);
  EXPECT_EQ(renderer->cacheHits(), 1u) << "a file is drawn from the originals";
  EXPECT_FALSE(holds(file->data, *web));
}

TEST_F(AppStoreTest, AnExportOfUnchangedContentComesFromTheCacheAndAPortfolioIsCounted) {
  AppStore& store = open();
  store.setText(SaveSection::statement, "I paint the sea.");
  const ExportOptions options = store.state().exportOptions;
  const auto first = store.renderPDF({RenderKind::portfolio, std::nullopt}, options);
  ASSERT_TRUE(first) << store.state().lastErrorMessage.value_or("");
  EXPECT_EQ(store.renderPDF({RenderKind::portfolio, std::nullopt}, options), first);
  EXPECT_EQ(renderer->cacheHits(), 1u);
  store.setText(SaveSection::statement, "I paint the sky.");
  const auto changed = store.renderPDF({RenderKind::portfolio, std::nullopt}, options);
  EXPECT_NE(changed, first);
  EXPECT_EQ(renderer->cacheHits(), 1u);
  EXPECT_EQ(store.state().completePortfolioExportCount, 3);
  EXPECT_EQ(preferences.integer(preference_key::kCompletePortfolioExportCount), 3);
}

TEST_F(AppStoreTest, TheRenderCacheKeepsTheLastEightDocumentsOnly) {
  AppStore& store = open();
  const ExportOptions options = store.state().exportOptions;
  const auto renderBio = [&](int text) {
    store.setText(SaveSection::bio, "Version " + std::to_string(text));
    ASSERT_TRUE(store.renderPDF({RenderKind::bio, std::nullopt}, options));
  };
  for (int text = 1; text <= 9; ++text) renderBio(text);
  EXPECT_EQ(renderer->cacheHits(), 0u);
  renderBio(9);
  EXPECT_EQ(renderer->cacheHits(), 1u) << "the latest is kept";
  renderBio(1);
  EXPECT_EQ(renderer->cacheHits(), 1u) << "the ninth pushed the first out";
  renderBio(3);
  EXPECT_EQ(renderer->cacheHits(), 2u) << "eight are kept: 3 to 9";
}

// ---- Section times, counts, reminders, labels, previews --------------------

TEST_F(AppStoreTest, EachEditStampsItsSectionAndTheLibraryKeepsAndCountsTheTimes) {
  AppStore& store = open();
  store.renameProject("Atlas");
  settle();
  EXPECT_FALSE(store.state().snapshot.biographyCreatedAt) << "a section never edited has none";
  EXPECT_EQ(repository->libraryCounts(), (LibraryKPIOverview{0, 0, 0, 0}));

  const Date first = main.now();
  store.setText(SaveSection::bio, "Born in Lyon.");
  CVData cv;
  cv.education = {{{"majorDegree", "MFA"}}};
  store.setCV(cv);
  settle();
  EXPECT_EQ(store.state().snapshot.biographyCreatedAt, first);
  EXPECT_EQ(store.state().snapshot.biographyUpdatedAt, first);
  EXPECT_EQ(store.state().snapshot.cvCreatedAt, first);

  main.advanceBy(1h);
  const Date later = main.now();
  store.setText(SaveSection::bio, "Born in Lyon, lives in Turin.");
  store.setText(SaveSection::statement, "");  // the same as before: no edit
  addImages(store, {writeImage("a.jpg", 40, 30)});
  settle();
  EXPECT_EQ(store.state().snapshot.biographyCreatedAt, first) << "created at the first edit only";
  EXPECT_EQ(store.state().snapshot.biographyUpdatedAt, later);
  EXPECT_FALSE(store.state().snapshot.statementUpdatedAt);
  EXPECT_EQ(store.state().snapshot.artworksUpdatedAt, later);

  // What the next start reads is what the edits stamped.
  const StudioSnapshot reopened = open().state().snapshot;
  EXPECT_EQ(reopened.biographyCreatedAt, first);
  EXPECT_EQ(reopened.biographyUpdatedAt, later);
  EXPECT_EQ(reopened.cvCreatedAt, first);
  EXPECT_EQ(reopened.artworksCreatedAt, later);
  EXPECT_FALSE(reopened.detailsCreatedAt);
  EXPECT_EQ(repository->libraryCounts(), (LibraryKPIOverview{1, 1, 0, 1}));
}

TEST_F(AppStoreTest, AnEditUndoneBeforeItsSaveWritesNothingAndChangingTheUnitStampsTheArtworks) {
  AppStore& store = open();
  const std::int64_t saved = main.nowMs();
  store.setText(SaveSection::bio, "Saved.");
  settle();
  main.advanceBy(1h);
  store.setText(SaveSection::bio, "Typo");
  store.setText(SaveSection::bio, "Saved.");
  settle();
  EXPECT_EQ(sql("SELECT updatedAt FROM section_timestamps WHERE section = 'bio'"),
            std::to_string(saved))
      << "nothing written: the library keeps the time of the text it holds";

  const Date changed = main.now();
  store.setUnit(UnitSystem::in);
  settle();
  const StudioSnapshot reopened = open().state().snapshot;
  EXPECT_EQ(reopened.artworks.unit, UnitSystem::in);
  EXPECT_EQ(reopened.artworksUpdatedAt, changed);
}

TEST_F(AppStoreTest, ReminderCommandsPublishAndASessionCountsOnlyItsOwnChanges) {
  AppStore& store = open();
  EXPECT_TRUE(store.setRemindBeforeLargeEdits(true));
  store.markProjectDataExported(main.now());
  for (int i = 0; i < 20; ++i) {
    store.setText(SaveSection::bio, "draft " + std::to_string(i));
    settle();
  }
  int told = 0;
  store.observe([&] { ++told; });
  store.evaluateBackupReminder();
  EXPECT_GT(told, 0);
  EXPECT_EQ(store.state().activeBackupReminderLevel, BackupReminderLevel::largeEdit);
  EXPECT_TRUE(store.state().showBackupReminderSheet);
  store.dismissBackupReminder(BackupReminderLevel::largeEdit, false);
  EXPECT_FALSE(store.state().showBackupReminderSheet);
  EXPECT_FALSE(store.state().activeBackupReminderLevel);

  // A later launch: the 20 changes are still unexported, but no large edit
  // of this session.
  AppStore& later = open();
  EXPECT_EQ(later.state().backupReminderState.sessionSignificantChanges, 0);
  EXPECT_GE(later.state().backupReminderState.changesSinceLastExport, 20);
  later.evaluateBackupReminder();
  EXPECT_FALSE(later.state().activeBackupReminderLevel)
      << "20 changes pass the balanced minimum of 15, but the export was today";
  main.advanceBy(std::chrono::hours(24 * 7));
  later.evaluateBackupReminder();
  EXPECT_EQ(later.state().activeBackupReminderLevel, BackupReminderLevel::soft);
}

TEST_F(AppStoreTest, APortfolioPrintsItsCVWithItsOwnOverridesNotThoseOfTheCVDocument) {
  AppStore& store = open();
  CVData cv;
  cv.education = {{{"majorDegree", "MFA"}, {"institution", "Academy"}}};
  store.setCV(cv);
  EXPECT_TRUE(store.setLabelOverride({"cv", "en", "pdf.cv.section.education", "Studies"}));
  EXPECT_TRUE(store.setLabelOverride({"portfolio", "en", "pdf.cv.section.education", "Training"}));
  const auto text = [&](RenderKind kind) {
    std::string all;
    for (const auto& page : testing::readPdf(store.renderPDF({kind, {}}, {})->data)) {
      all += page.text;
    }
    return all;
  };
  const std::string portfolio = text(RenderKind::portfolio);
  EXPECT_NE(portfolio.find("Training"), std::string::npos);
  EXPECT_EQ(portfolio.find("Studies"), std::string::npos);
  const std::string document = text(RenderKind::cv);
  EXPECT_NE(document.find("Studies"), std::string::npos);
  EXPECT_EQ(document.find("Training"), std::string::npos);
}

TEST_F(AppStoreTest, AnExportIsNamedByTheRuleAndACataloguesPortfolioAsACatalogue) {
  AppStore& store = open();
  ArtistDetails details;
  details.firstName = "Zoé";
  details.lastName = "Müller";
  store.setDetails(details);
  const std::string today = exportDatePart(main.now());
  EXPECT_EQ(store.exportName(RenderKind::portfolio, "fr"),
            "zoe-muller-portfolio-" + today + ".pdf");
  EXPECT_EQ(store.exportName(RenderKind::cv, "de"), "zoe-muller-cv-" + today + ".pdf");
  ProjectChanges french;
  french.locale = "fr";
  ASSERT_TRUE(store.updateProject(french));
  EXPECT_EQ(store.exportName(RenderKind::bio), "zoe-muller-biographie-" + today + ".pdf")
      << "no language given: the project's";
  ProjectChanges changes;
  changes.kind = ProjectKind::catalogue;
  changes.catalogueKind = CatalogueKind::price;
  changes.title = "Winter prices";
  store.updateProject(changes);
  EXPECT_EQ(store.exportName(RenderKind::portfolio, "en"),
            "zoe-muller-catalogue-winter-prices-" + today + ".pdf");
}

TEST_F(AppStoreTest, APreviewThatFailsSaysSoAndTakesTheStalePreviewAway) {
  UnreadableLabels labels;
  rendererLabels = &labels;
  AppStore& store = open();
  store.requestPreview({RenderKind::bio, std::nullopt});
  pdfQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_FALSE(store.state().isPdfRendering);
  EXPECT_FALSE(store.state().pdfPreviewData);
  ASSERT_TRUE(store.state().errorToast);
  EXPECT_EQ(store.state().errorToast->style, ToastStyle::error);
  EXPECT_EQ(store.state().errorToast->text.rfind("The document could not be rendered: ", 0), 0u)
      << store.state().errorToast->text;
  EXPECT_EQ(store.state().errorToast->text.find("SQLITE"), std::string::npos);
}

}  // namespace
}  // namespace quorvane
