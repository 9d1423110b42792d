// The works board as a person uses it: files dropped from the file manager,
// cells dragged to a new place, works brought back from the Vault — and
// the list model telling its view exactly what moved.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QSignalSpy>
#include <QTest>
#include <fstream>

#include "gui/board_pictures.h"
#include "gui/desktop_fixture.h"
#include "gui/image_intake_controller.h"
#include "gui/inspector.h"
#include "gui/project_list_model.h"
#include "gui/sidebar.h"
#include "gui/toast_view.h"
#include "gui/vault_view.h"
#include "gui/works_board_model.h"

namespace quorvane {
namespace {

using gui::orderAfterMove;
using testing::DesktopTest;
using Ids = std::vector<std::string>;

TEST(OrderAfterMoveTest, PutsTheMovedWorksBeforeTheDropRowKeepingTheirOrder) {
  const Ids order{"a", "b", "c", "d", "e"};
  // One work, down and up; a drop on its own place changes nothing.
  EXPECT_EQ(orderAfterMove(order, {"a"}, 3), (Ids{"b", "c", "a", "d", "e"}));
  EXPECT_EQ(orderAfterMove(order, {"d"}, 1), (Ids{"a", "d", "b", "c", "e"}));
  EXPECT_EQ(orderAfterMove(order, {"c"}, 2), order);
  EXPECT_EQ(orderAfterMove(order, {"c"}, 3), order);
  // Several, apart, dragged together: they arrive side by side, in board
  // order whatever order the selection was made in.
  EXPECT_EQ(orderAfterMove(order, {"e", "b"}, 0), (Ids{"b", "e", "a", "c", "d"}));
  EXPECT_EQ(orderAfterMove(order, {"a", "c"}, 5), (Ids{"b", "d", "e", "a", "c"}));
  EXPECT_EQ(orderAfterMove(order, {"b", "d"}, 3), (Ids{"a", "c", "b", "d", "e"}));
  // Rows past either end are the ends; ids not on the board are ignored.
  EXPECT_EQ(orderAfterMove(order, {"b"}, 99), (Ids{"a", "c", "d", "e", "b"}));
  EXPECT_EQ(orderAfterMove(order, {"d"}, -4), (Ids{"d", "a", "b", "c", "e"}));
  EXPECT_EQ(orderAfterMove(order, {"zz"}, 0), order);
  EXPECT_EQ(orderAfterMove({}, {"a"}, 0), Ids{});
}

TEST(DraggedIdsTest, SurviveTheirTripThroughMimeData) {
  const Ids ids{"ID-1", "7f3a:b.c", "x"};
  EXPECT_EQ(gui::decodeIds(gui::encodeIds(ids)), ids);
  EXPECT_TRUE(gui::decodeIds(QByteArray()).empty());
  QMimeData mixed;
  mixed.setUrls({QUrl::fromLocalFile("/tmp/a b.jpg"), QUrl("https://example.com/c.jpg")});
  EXPECT_EQ(gui::droppedFiles(mixed), Ids{"/tmp/a b.jpg"});  // only files on this machine
}

TEST_F(DesktopTest, ImageFilesDroppedOnTheBoardArriveOneByOneWithProgress) {
  const std::string first = writeImage("dune.jpg", 600, 400);
  const std::string second = writeImage("tide.png", 300, 500);
  auto& model = window->board().model();
  QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
  QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
  QSignalSpy progress(&window->board().intake(), &gui::ImageIntakeController::progressed);
  QSignalSpy finished(&window->board().intake(), &gui::ImageIntakeController::finished);

  dropImages({first, second});

  ASSERT_EQ(model.rowCount(), 2);
  EXPECT_EQ(store->state().snapshot.artworks.images.size(), 2u);
  EXPECT_EQ(inserted.count(), 2);  // a row each, as each image came
  EXPECT_EQ(reset.count(), 0);
  EXPECT_EQ(model.artworkId(0), store->state().snapshot.artworks.images[0].id);
  ASSERT_EQ(progress.count(), 2);
  EXPECT_EQ(progress.last().at(0).toInt(), 2);
  ASSERT_EQ(finished.count(), 1);
  EXPECT_EQ(finished.first().at(0).toInt(), 2);
  EXPECT_FALSE(window->board().intake().isRunning());
  // In the library, not only on screen.
  settleAll();
  EXPECT_EQ(sql("SELECT COUNT(*) FROM project_artworks WHERE projectId = '" +
                store->state().project.id + "'"),
            "2");
}

TEST_F(DesktopTest, TheBoardShowsItWillTakeFilesOnlyWhileTheyAreOverIt) {
  window->showScreen(gui::Screen::works);
  gui::BoardGrid& grid = window->board().grid();
  QWidget* viewport = grid.viewport();
  const auto enter = [&](const QMimeData& data) {
    QDragEnterEvent event(QPoint(40, 40), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &event);
    return event.isAccepted();
  };
  QDragLeaveEvent leave;

  QMimeData words;
  words.setText(QStringLiteral("just words"));
  EXPECT_FALSE(enter(words));
  EXPECT_FALSE(grid.isTakingDrop());

  const auto images = files({writeImage("dune.jpg", 60, 40)});
  EXPECT_TRUE(enter(*images));
  EXPECT_TRUE(grid.isTakingDrop());
  QCoreApplication::sendEvent(viewport, &leave);
  EXPECT_FALSE(grid.isTakingDrop()) << "dragged away again";

  drop(grid, *images, QPoint(40, 40));
  EXPECT_FALSE(grid.isTakingDrop()) << "let go";
  pump();
  auto& model = window->board().model();
  ASSERT_EQ(model.rowCount(), 1);

  // A cell dragged to another place is taken, but adds nothing: no frame.
  std::unique_ptr<QMimeData> cell(model.mimeData({model.index(0)}));
  EXPECT_TRUE(enter(*cell));
  EXPECT_FALSE(grid.isTakingDrop());
}

TEST_F(DesktopTest, ACancelledIntakeKeepsWhatArrivedAndNothingElse) {
  const Ids paths{writeImage("a.jpg", 200, 200), writeImage("b.jpg", 200, 200),
                  writeImage("c.jpg", 200, 200)};
  window->showScreen(gui::Screen::works);
  auto data = files(paths);
  drop(window->board().grid(), *data, QPoint(40, 40));
  // The first image is prepared and put in place; then the user cancels.
  imageQueue.runOne();
  main.runUntilIdle();
  ASSERT_EQ(window->board().model().rowCount(), 1);
  window->board().intake().cancel();
  pump();
  EXPECT_EQ(window->board().model().rowCount(), 1);
  EXPECT_EQ(store->state().snapshot.artworks.images.size(), 1u);
  EXPECT_FALSE(window->board().intake().isRunning());
}

TEST_F(DesktopTest, DraggingCellsToANewPlaceReordersTheProjectAndMovesTheRows) {
  dropImages({writeImage("1.jpg", 200, 200), writeImage("2.jpg", 200, 200),
              writeImage("3.jpg", 200, 200), writeImage("4.jpg", 200, 200)});
  const Ids before = boardOrder();
  ASSERT_EQ(before.size(), 4u);
  auto& model = window->board().model();
  auto& grid = window->board().grid();
  QSignalSpy moved(&model, &QAbstractItemModel::rowsMoved);
  QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

  // The last two, picked up together, let go on the left half of the first.
  std::unique_ptr<QMimeData> dragged(model.mimeData({model.index(3), model.index(2)}));
  const QRect firstCell = grid.visualRect(model.index(0));
  drop(grid, *dragged, firstCell.center() - QPoint(firstCell.width() / 4, 0), Qt::MoveAction);
  pump();

  const Ids expected{before[2], before[3], before[0], before[1]};
  EXPECT_EQ(boardOrder(), expected);
  for (int row = 0; row < 4; ++row) EXPECT_EQ(model.artworkId(row), expected[row]) << row;
  EXPECT_GT(moved.count(), 0);
  EXPECT_EQ(reset.count(), 0);     // selection and scroll position survive
  EXPECT_EQ(model.rowCount(), 4);  // nothing removed after the drop

  // The right half of the last cell is after it.
  std::unique_ptr<QMimeData> first(model.mimeData({model.index(0)}));
  const QRect lastCell = grid.visualRect(model.index(3));
  drop(grid, *first, lastCell.center() + QPoint(lastCell.width() / 4, 0), Qt::MoveAction);
  pump();
  EXPECT_EQ(boardOrder(), (Ids{before[3], before[0], before[1], before[2]}));
  settleAll();
  EXPECT_EQ(sql("SELECT group_concat(artworkId, ',') FROM (SELECT artworkId FROM project_artworks "
                "WHERE projectId = '" +
                store->state().project.id + "' ORDER BY sortIndex)"),
            before[3] + "," + before[0] + "," + before[1] + "," + before[2]);
}

TEST_F(DesktopTest, TheBoardIsWorkedFromTheKeyboard) {
  dropImages({writeImage("a.jpg", 200, 200), writeImage("b.jpg", 200, 200),
              writeImage("c.jpg", 200, 200)});
  const Ids before = boardOrder();
  gui::BoardGrid& grid = window->board().grid();
  window->board().select({before[0]});
  grid.setFocus();
  // Arrows move the selection, Ctrl or Alt with an arrow moves the work.
  QTest::keyClick(&grid, Qt::Key_Right);
  EXPECT_EQ(window->board().selectedIds(), (Ids{before[1]}));
  QTest::keyClick(&grid, Qt::Key_Right, Qt::ControlModifier);
  pump();
  EXPECT_EQ(boardOrder(), (Ids{before[0], before[2], before[1]}));
  EXPECT_EQ(window->board().selectedIds(), (Ids{before[1]}));
  QTest::keyClick(&grid, Qt::Key_Right, Qt::AltModifier);  // already last: stays
  QTest::keyClick(&grid, Qt::Key_Left, Qt::AltModifier);
  QTest::keyClick(&grid, Qt::Key_Left, Qt::AltModifier);
  pump();
  EXPECT_EQ(boardOrder(), (Ids{before[1], before[0], before[2]}));
  // Enter writes its details; Delete asks before taking it off the project.
  QTest::keyClick(&grid, Qt::Key_Return);
  EXPECT_TRUE(window->inspector().titleField()->hasFocus());
  grid.setFocus();
  confirmAnswer = false;
  QTest::keyClick(&grid, Qt::Key_Delete);
  EXPECT_EQ(asked.size(), 1u);
  EXPECT_EQ(boardOrder().size(), 3u);
}

TEST_F(DesktopTest, OnASmallScreenTheInspectorFoldsAndTheBoardKeepsColumns) {
  dropImages({writeImage("a.jpg", 200, 200), writeImage("b.jpg", 200, 200),
              writeImage("c.jpg", 200, 200), writeImage("d.jpg", 200, 200)});
  window->resize(800, 600);
  pump();
  EXPECT_FALSE(window->isInspectorShown());
  gui::BoardGrid& grid = window->board().grid();
  const auto top = [&](int row) { return grid.visualRect(grid.model()->index(row, 0)).top(); };
  EXPECT_EQ(top(1), top(0)) << "two works side by side at least";
  // Its words are whole: no button narrower than it asks to be.
  for (const QAbstractButton* button : window->board().findChildren<QAbstractButton*>()) {
    if (!button->isVisible()) continue;
    EXPECT_GE(button->width(), button->sizeHint().width()) << button->text().toStdString();
  }
  // Enter on a work brings the inspector back for it.
  window->board().select({boardOrder().front()});
  grid.setFocus();
  QTest::keyClick(&grid, Qt::Key_Return);
  pump();
  EXPECT_TRUE(window->isInspectorShown());
  EXPECT_TRUE(window->inspector().titleField()->hasFocus());
}

TEST_F(DesktopTest, WorksFromTheVaultDroppedOnTheBoardLandWhereTheyWereDropped) {
  dropImages({writeImage("keep-1.jpg", 200, 200), writeImage("keep-2.jpg", 200, 200),
              writeImage("elsewhere.jpg", 200, 200)});
  const Ids before = boardOrder();
  // Taken off the project: it stays in the Vault.
  window->board().select({before[2]});
  window->board().removeSelected();
  pump();
  ASSERT_EQ(boardOrder(), (Ids{before[0], before[1]}));
  window->showScreen(gui::Screen::vault);
  pump();
  auto& vault = window->vault().model();
  ASSERT_EQ(vault.rowCount(), 1);
  std::unique_ptr<QMimeData> dragged(vault.mimeData({vault.index(0)}));

  window->showScreen(gui::Screen::works);
  auto& grid = window->board().grid();
  const QRect first = grid.visualRect(window->board().model().index(0));
  drop(grid, *dragged, first.center() - QPoint(first.width() / 4, 0), Qt::CopyAction);
  pump();
  EXPECT_EQ(boardOrder(), (Ids{before[2], before[0], before[1]}));
}

TEST_F(DesktopTest, AFileThatIsNoImageIsRefusedWithAToastAndNoRow) {
  std::ofstream(dir.file("notes.txt")) << "not a picture";
  dropImages({dir.file("notes.txt")});
  EXPECT_EQ(window->board().model().rowCount(), 0);
  ASSERT_TRUE(window->toastView().toast().has_value());
  EXPECT_EQ(window->toastView().toast()->style, ToastStyle::error);
  EXPECT_TRUE(window->toastView().isVisible());
  EXPECT_EQ(window->toastView().textLabel()->text().toStdString(), store->state().errorToast->text);
  EXPECT_NE(store->state().errorToast->text.find("notes.txt"), std::string::npos);
}

TEST_F(DesktopTest, AnotherProjectOpenedGivesTheBoardItsRowsAfresh) {
  dropImages({writeImage("one.jpg", 200, 200)});
  settleAll();
  const std::string first = store->state().project.id;
  window->newProject();
  pump();
  EXPECT_EQ(window->board().model().rowCount(), 0);
  window->openProject(first);
  pump();
  EXPECT_EQ(store->state().project.id, first);
  EXPECT_EQ(window->board().model().rowCount(), 1);
  EXPECT_EQ(window->screen(), gui::Screen::works);
}

TEST_F(DesktopTest, PicturesLoadOnlyForCellsOnScreenAndNeverMoreThanAFewAtOnce) {
  reopenWithThumbnailQueue();
  Ids paths;
  for (int i = 0; i < 40; ++i)
    paths.push_back(writeImage("w" + std::to_string(i) + ".jpg", 120, 90));
  dropImages(paths);
  auto& pictures = window->board().pictures();
  auto& grid = window->board().grid();
  grid.viewport()->repaint();
  EXPECT_LE(pictures.loadsInFlight(), gui::BoardPictures::kMaximumInFlight);
  int visible = 0;
  for (int row = 0; row < 40; ++row) visible += grid.isRowVisible(row) ? 1 : 0;
  ASSERT_GT(visible, 0);
  ASSERT_LT(visible, 40);
  // Every load comes back (the page is not drawn yet: the web image stands in).
  for (int round = 0; round < 20 && pictures.loadsInFlight() > 0; ++round) {
    thumbnailQueue.runUntilIdle();
    main.runUntilIdle();
    grid.viewport()->repaint();
  }
  EXPECT_EQ(pictures.loadsInFlight(), 0u);
  EXPECT_FALSE(pictures.picture(window->board().model().artworkId(0)).isNull());
  // A cell far below was never asked for.
  EXPECT_TRUE(pictures.picture(window->board().model().artworkId(39)).isNull() ||
              grid.isRowVisible(39));
}

TEST_F(DesktopTest, AWorkInTwoProjectsShowsEachProjectItsOwnPage) {
  reopenWithThumbnailQueue();
  auto& pictures = window->board().pictures();
  const auto drawPages = [&] {
    for (int round = 0; round < 10; ++round) {
      main.advanceBy(std::chrono::seconds(2));
      thumbnailQueue.runUntilIdle();
      pump();
      window->board().grid().viewport()->repaint();
    }
  };
  dropImages({writeImage("tide.jpg", 300, 200)});
  const std::string work = boardOrder().front();
  const std::string portfolio = store->state().project.id;
  drawPages();
  ASSERT_TRUE(pictures.showsPage(work));

  // The same work in an Italian raisonné, priced: its page is drawn there.
  window->newProject();
  pump();
  ProjectChanges raisonne;
  raisonne.kind = ProjectKind::catalogue;
  raisonne.catalogueKind = CatalogueKind::raisonne;
  raisonne.locale = "it";
  store->updateProject(raisonne);
  ASSERT_TRUE(store->addFromVault(work));
  ArtworkMetadata priced = ArtworkMetadata::of(store->state().snapshot.artworks.images.front());
  priced.priceCents = 450000;
  store->updateArtwork(work, priced);
  window->showScreen(gui::Screen::works);
  drawPages();
  ASSERT_TRUE(pictures.showsPage(work));
  const std::string raisonneSignature =
      store->state().artworkPdfThumbGeneratedSignatureByID.at(work);

  // Back in the portfolio: the raisonné page is not what it prints. Until
  // its own page is drawn again, the bare image stands in.
  window->openProject(portfolio);
  pump();
  window->board().grid().viewport()->repaint();
  pump();
  EXPECT_FALSE(pictures.showsPage(work));
  drawPages();
  EXPECT_TRUE(pictures.showsPage(work));
  EXPECT_NE(store->state().artworkPdfThumbGeneratedSignatureByID.at(work), raisonneSignature);
}

TEST_F(DesktopTest, AWorkDraggedFromTheVaultOverTheOpenProjectBringsUpItsBoard) {
  dropImages({writeImage("stays.jpg", 200, 200), writeImage("away.jpg", 200, 200)});
  window->board().select({boardOrder()[1]});
  window->board().removeSelected();
  pump();
  window->showScreen(gui::Screen::vault);
  pump();
  auto& vault = window->vault().model();
  ASSERT_EQ(vault.rowCount(), 1);
  std::unique_ptr<QMimeData> dragged(vault.mimeData({vault.index(0)}));

  QListView& list = window->sidebar().projectList();
  auto& projects = window->sidebar().projects();
  QModelIndex open;
  for (int row = 0; row < projects.rowCount(); ++row) {
    if (projects.index(row).data(gui::ProjectListModel::IsOpenRole).toBool())
      open = projects.index(row);
  }
  ASSERT_TRUE(open.isValid());
  // Over empty space of the list nothing happens; over the open project the
  // board comes up, and the list never takes the drop itself.
  QWidget* viewport = list.viewport();
  const QPoint below(10, viewport->height() - 4);
  ASSERT_FALSE(list.indexAt(below).isValid());
  QDragEnterEvent enter(below, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(viewport, &enter);
  EXPECT_TRUE(enter.isAccepted());
  EXPECT_EQ(window->screen(), gui::Screen::vault);
  QDragMoveEvent over(list.visualRect(open).center(), Qt::CopyAction, dragged.get(), Qt::LeftButton,
                      Qt::NoModifier);
  QCoreApplication::sendEvent(viewport, &over);
  EXPECT_FALSE(over.isAccepted());
  EXPECT_EQ(window->screen(), gui::Screen::works);

  // Files from the file manager are not the sidebar's to take.
  auto images = files({writeImage("loose.jpg", 100, 100)});
  QDragEnterEvent filesEnter(below, Qt::CopyAction, images.get(), Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(viewport, &filesEnter);
  EXPECT_FALSE(filesEnter.isAccepted());
}

}  // namespace
}  // namespace quorvane
