// The Edit menu as an artist meets it: it names the step it would take
// back, in the interface language, is enabled only when there is one, and
// shows what came back; in a text field Ctrl+Z takes back the last word.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QTest>

#include "gui/desktop_fixture.h"
#include "gui/texts_page.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::DesktopTest;

class UndoMenuTest : public DesktopTest {};

TEST_F(UndoMenuTest, TheMenuNamesTheStepAndBringsBackTheWorkOnTheBoard) {
  QAction& undo = window->undoAction();
  QAction& redo = window->redoAction();
  EXPECT_FALSE(undo.isEnabled()) << "nothing done yet";
  EXPECT_EQ(undo.text(), QStringLiteral("Undo"));
  EXPECT_FALSE(redo.isEnabled());

  dropImages({writeImage("tide.png", 40, 30), writeImage("meadow.png", 40, 30)});
  const std::vector<std::string> ids = boardOrder();
  ASSERT_EQ(ids.size(), 2u);
  main.advanceBy(2s);
  store->removeArtwork(ids[0]);
  pump();
  EXPECT_TRUE(undo.isEnabled());
  EXPECT_EQ(undo.text(), QStringLiteral("Undo Remove “Untitled”"));

  window->showScreen(gui::Screen::settings);
  QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
  pump();
  EXPECT_EQ(boardOrder(), ids) << "back at its place";
  EXPECT_EQ(window->screen(), gui::Screen::works) << "the board shows what came back";
  EXPECT_EQ(window->board().selectedIds(), std::vector<std::string>{ids[0]});
  EXPECT_EQ(redo.text(), QStringLiteral("Redo Remove “Untitled”"));
  EXPECT_TRUE(redo.isEnabled());

  QTest::keyClick(window.get(), Qt::Key_Y, Qt::ControlModifier);
  pump();
  EXPECT_EQ(boardOrder(), std::vector<std::string>{ids[1]});

  // The menu speaks the language chosen.
  store->setUiLanguage("fr");
  pump();
  EXPECT_EQ(undo.text(), QString::fromUtf8("Annuler Retirer «\u00a0Sans titre\u00a0»"));
  EXPECT_EQ(window->menuBar()->actions().at(0)->text(), QStringLiteral("&Édition"));
}

TEST_F(UndoMenuTest, CtrlZInATextTakesBackTheLastWordNotTheParagraph) {
  window->showProjectTab(gui::ProjectTab::texts);
  window->texts().showSection(SaveSection::statement);
  QPlainTextEdit* text = window->texts().textField();
  text->setFocus();
  QTest::keyClicks(text, "Salt and light");
  main.runUntilIdle();
  QTest::keyClick(text, Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(text->toPlainText(), QStringLiteral("Salt and "));
  QTest::keyClick(text, Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(text->toPlainText(), QStringLiteral("Salt "));
  main.runUntilIdle();
  EXPECT_EQ(store->state().snapshot.statement, "Salt ") << "the store follows the field";
}

}  // namespace
}  // namespace quorvane
