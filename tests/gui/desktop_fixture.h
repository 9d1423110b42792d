// The window on a store over a real library in a temporary home, in
// virtual time: the test runs the queues by hand, so a drop, an edit or a
// debounce is a story told step by step, without a wait.
#pragma once

#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QUrl>
#include <memory>

#include "app/app_store_fixture.h"
#include "gui/main_window.h"
#include "gui/works_board.h"

namespace quorvane::testing {

class DesktopTest : public AppStoreTest {
 protected:
  void SetUp() override {
    language.reset();  // the window's own choice, as a person makes it
    open();
    ASSERT_TRUE(started);
    window = std::make_unique<gui::MainWindow>(gui::DesktopContext{*store, preferences, main});
    window->ask = [this](const QString& message, const QString& action) {
      asked.push_back(message + QStringLiteral(" | ") + action);
      return confirmAnswer;
    };
    window->resize(1280, 820);
    window->show();
    pump();
  }
  void TearDown() override { window.reset(); }

  // The window again, over a store that draws page thumbnails on a queue
  // the test runs by hand.
  void reopenWithThumbnailQueue() {
    useThumbnailQueue = true;
    window.reset();
    open();
    window = std::make_unique<gui::MainWindow>(gui::DesktopContext{*store, preferences, main});
    window->resize(1000, 700);
    window->show();
  }

  // Runs every queue until nothing is left to do now (time stands still).
  void pump() {
    for (int round = 0; round < 100; ++round) {
      imageQueue.runUntilIdle();
      saveQueue.runUntilIdle();
      pdfQueue.runUntilIdle();
      main.runUntilIdle();
      QCoreApplication::processEvents();
      if (imageQueue.pendingCount() == 0 && saveQueue.pendingCount() == 0 &&
          pdfQueue.pendingCount() == 0 && main.pendingCount() == 0) {
        return;
      }
      if (main.pendingCount() > 0 && imageQueue.pendingCount() == 0 &&
          saveQueue.pendingCount() == 0 && pdfQueue.pendingCount() == 0) {
        return;  // only timers not due yet are left
      }
    }
  }
  // The debounce passes and every write runs.
  void settleAll() {
    pump();
    settle();
    pump();
  }

  // A drag from the file manager (or another view) let go at `point` of
  // `view`'s viewport, as Qt delivers it: enter, move, drop.
  static void drop(QAbstractItemView& view, const QMimeData& data, QPoint point,
                   Qt::DropAction action = Qt::CopyAction) {
    QWidget* viewport = view.viewport();
    QDragEnterEvent enter(point, action, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &enter);
    QDragMoveEvent move(point, action, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &move);
    QDropEvent dropped(QPointF(point), action, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &dropped);
  }
  static std::unique_ptr<QMimeData> files(const std::vector<std::string>& paths) {
    auto data = std::make_unique<QMimeData>();
    QList<QUrl> urls;
    for (const std::string& path : paths) urls << QUrl::fromLocalFile(QString::fromStdString(path));
    data->setUrls(urls);
    return data;
  }
  // Drops image files on the board and lets the intake run to its end.
  void dropImages(const std::vector<std::string>& paths) {
    window->showScreen(gui::Screen::works);
    auto data = files(paths);
    drop(window->board().grid(), *data, QPoint(40, 40));
    pump();
  }
  std::vector<std::string> boardOrder() const {
    std::vector<std::string> ids;
    for (const Artwork& artwork : store->state().snapshot.artworks.images)
      ids.push_back(artwork.id);
    return ids;
  }

  bool confirmAnswer = true;
  std::vector<QString> asked;  // each question the window asked, with its action
  std::unique_ptr<gui::MainWindow> window;
};

}  // namespace quorvane::testing
