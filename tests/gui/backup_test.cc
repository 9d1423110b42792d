// Backups from the window: a package written with the window live, then
// dropped back on the window, comes in as a new project equal to the one
// it was made from; its images are finished behind it.
#include <gtest/gtest.h>

#include <QDropEvent>
#include <QLabel>
#include <QPushButton>
#include <filesystem>

#include "gui/backup_status.h"
#include "gui/desktop_fixture.h"
#include "gui/project_list_model.h"
#include "gui/words.h"
#include "gui/work_strip.h"
#include "gui/works_board_model.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

using testing::DesktopTest;

std::vector<std::string> titles(const StudioSnapshot& snapshot) {
  std::vector<std::string> out;
  for (const Artwork& artwork : snapshot.artworks.images) out.push_back(artwork.title);
  return out;
}

TEST_F(DesktopTest, ABackupExportedFromTheWindowImportsBackAsAnEqualNewProject) {
  dropImages({writeImage("dune.jpg", 500, 400), writeImage("tide.png", 300, 500)});
  ArtworkMetadata metadata = ArtworkMetadata::of(store->state().snapshot.artworks.images[0]);
  metadata.title = "Dune";
  store->updateArtwork(store->state().snapshot.artworks.images[0].id, metadata);
  store->setText(SaveSection::bio, "Born by the sea.");
  const StudioSnapshot before = store->state().snapshot;
  const std::string firstId = store->state().project.id;

  const std::string path = dir.file("backup.quorvane");
  window->chooseSavePath = [&](const QString& suggested) {
    EXPECT_TRUE(suggested.endsWith(QStringLiteral(".quorvane"))) << suggested.toStdString();
    return QString::fromStdString(path);
  };
  window->exportBackup();
  EXPECT_TRUE(window->isBackupRunning());
  pump();
  EXPECT_FALSE(window->isBackupRunning());
  ASSERT_TRUE(std::filesystem::exists(path));
  EXPECT_TRUE(store->state().lastProjectDataExportAt);
  EXPECT_EQ(store->state().backupReminderState.changesSinceLastExport, 0);

  // Dropped on the board, a backup is not an image: the board lets the
  // window take it.
  auto data = files({path});
  EXPECT_FALSE(window->board().model().canDropMimeData(data.get(), Qt::CopyAction, -1, -1, {}));
  QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window.get(), &enter);
  EXPECT_TRUE(enter.isAccepted());
  // The project is still here: the window asks before making a copy.
  confirmAnswer = false;
  QDropEvent declined(QPointF(20, 20), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window.get(), &declined);
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_TRUE(asked[0].endsWith(gui::Words(*store)("desktop.backup.import_copy")));
  EXPECT_FALSE(window->isBackupRunning());
  pump();
  EXPECT_EQ(store->state().projects.size(), 1u);

  confirmAnswer = true;
  main.advanceBy(std::chrono::minutes(3));  // a while later
  QDragEnterEvent again(QPoint(20, 20), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window.get(), &again);
  QDropEvent dropped(QPointF(20, 20), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(window.get(), &dropped);
  EXPECT_TRUE(window->isBackupRunning());
  EXPECT_TRUE(store->state().isImportingProjectPackage);
  pump();

  EXPECT_FALSE(window->isBackupRunning());
  EXPECT_NE(store->state().project.id, firstId);
  EXPECT_EQ(window->screen(), gui::Screen::works);
  EXPECT_EQ(titles(store->state().snapshot), titles(before));
  EXPECT_EQ(store->state().snapshot.biography, before.biography);
  EXPECT_EQ(window->board().model().rowCount(), 2);
  // The two of one name are told apart in the sidebar by when each was made.
  auto& projects = window->sidebar().projects();
  ASSERT_EQ(projects.rowCount(), 2);
  EXPECT_NE(projects.index(0).data().toString(), projects.index(1).data().toString());
  // Its images are finished in the background, the sidebar saying so.
  for (int round = 0; round < 10 && store->isImportFinalizationRunning(); ++round) pump();
  EXPECT_FALSE(store->isImportFinalizationRunning());
  for (const Artwork& artwork : store->state().snapshot.artworks.images) {
    EXPECT_TRUE(artwork.imagePath) << artwork.id;
  }
}

TEST_F(DesktopTest, AnImportCancelledFromTheWindowAddsNothing) {
  dropImages({writeImage("dune.jpg", 500, 400)});
  const std::string path = dir.file("backup.quorvane");
  window->chooseSavePath = [&](const QString&) { return QString::fromStdString(path); };
  window->exportBackup();
  pump();
  store->renameProject("Dunes");  // no longer the same project: nothing to ask
  settleAll();
  const auto before = store->state().projects.size();

  window->importBackup(QString::fromStdString(path));
  EXPECT_TRUE(asked.empty());
  gui::WorkStrip& strip = window->workStrip();
  ASSERT_TRUE(strip.isVisibleTo(window.get()));
  EXPECT_EQ(strip.textLabel()->text(), gui::Words(*store)("desktop.backup.importing"));
  strip.cancelButton()->click();
  pump();
  EXPECT_FALSE(window->isBackupRunning());
  EXPECT_FALSE(strip.isVisibleTo(window.get()));
  EXPECT_EQ(store->state().projects.size(), before);
  EXPECT_FALSE(store->state().isImportingProjectPackage);
  ASSERT_TRUE(store->state().errorToast);
  EXPECT_EQ(store->state().errorToast->text, uiText("app.import.cancelled", "en"));
}

// A work whose original is gone: the window says which, and writes the
// backup without its image only when the user says so (Cancel is the
// default).
TEST_F(DesktopTest, ABackupMissingAnOriginalIsWrittenWithoutItOnlyWhenTheUserSaysSo) {
  dropImages({writeImage("dune.jpg", 500, 400), writeImage("tide.png", 300, 500)});
  settleAll();
  const Artwork gone = store->state().snapshot.artworks.images[1];
  std::filesystem::remove(media.originalFiles(gone.id).front());
  const std::string path = dir.file("backup.quorvane");
  window->chooseSavePath = [&](const QString&) { return QString::fromStdString(path); };
  std::vector<QString> offered;
  bool take = false;
  window->ask = [&](const QString& message, const QString& action) {
    offered.push_back(message + " | " + action);
    return take;
  };
  window->exportBackup();
  pump();
  ASSERT_EQ(offered.size(), 1u);
  EXPECT_TRUE(offered[0].contains(QStringLiteral("the untitled work no. 2 (its file is missing)")))
      << offered[0].toStdString();
  EXPECT_TRUE(offered[0].endsWith(QStringLiteral("| Back up without these images")));
  EXPECT_FALSE(std::filesystem::exists(path)) << "refused: nothing written";

  take = true;
  window->exportBackup();
  pump();
  ASSERT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(transfer.openPackage(path).content.mediaPathByArtworkId.size(), 1u);
}

// Every project backed up into one folder; the works only the Vault holds
// gathered into a project of their own on the user's word, backed up too.
TEST_F(DesktopTest, AllProjectsAreBackedUpAndTheVaultsOwnWorksCanBeGathered) {
  dropImages({writeImage("dune.jpg", 500, 400), writeImage("tide.png", 300, 500)});
  settleAll();
  ASSERT_TRUE(store->removeArtwork(store->state().snapshot.artworks.images[1].id));
  store->createProject(testing::named("Second"));
  dropImages({writeImage("sea.jpg", 300, 200)});
  settleAll();
  const std::string folder = dir.file("backups");
  std::filesystem::create_directories(folder);
  window->chooseFolder = [&] { return QString::fromStdString(folder); };
  QString said;
  window->ask = [&](const QString& message, const QString&) {
    said = message;
    return true;
  };
  window->backUpAll();
  pump();
  EXPECT_TRUE(said.startsWith(QStringLiteral("Backed up 2 of 2 projects into ")))
      << said.toStdString();
  EXPECT_TRUE(said.contains(QStringLiteral("1 work is in no project (only in the Vault)")));
  pump();
  EXPECT_EQ(store->state().project.projectName, "From the Vault");
  EXPECT_EQ(store->state().snapshot.artworks.images.size(), 1u);
  int packages = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    EXPECT_NO_THROW(transfer.openPackage(entry.path())) << entry.path();
    ++packages;
  }
  EXPECT_EQ(packages, 3) << store->state().lastErrorMessage.value_or("");
}

TEST_F(DesktopTest, ImportedImagesBeingFinishedAreToldWithTheReasonWhenPaused) {
  AppState state;
  const gui::Words words(*store);
  EXPECT_TRUE(gui::finalizationText(words, state).isEmpty());
  state.importFinalizationStatus = ImportFinalizationStatus{3, 10, false, std::nullopt};
  EXPECT_EQ(gui::finalizationText(words, state).toStdString(),
            "Preparing imported images: 3 of 10");
  state.importFinalizationStatus =
      ImportFinalizationStatus{3, 10, true, "the app is in the background"};
  EXPECT_NE(
      gui::finalizationText(words, state).indexOf(QStringLiteral("the app is in the background")),
      -1);
  state.importFinalizationStatus = ImportFinalizationStatus{10, 10, false, std::nullopt};
  EXPECT_TRUE(gui::finalizationText(words, state).isEmpty());
}

}  // namespace
}  // namespace quorvane
