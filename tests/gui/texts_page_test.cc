// The texts page as an artist writes in it: what they type is the store's
// at once and the library's after the debounce, the counts follow, and a
// text of another project can be taken instead.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextCursor>

#include "gui/desktop_fixture.h"
#include "gui/sharing_bar.h"
#include "gui/texts_page.h"
#include "gui/toast_view.h"
#include "gui/words.h"

namespace quorvane {
namespace {

using testing::DesktopTest;

class TextsPageTest : public DesktopTest {
 protected:
  gui::TextsPage& page() { return window->texts(); }
  std::string storedText(const char* type) {
    return sql(
        "SELECT a.content FROM text_assets a JOIN project_text_asset_links l "
        "ON l.assetId = a.id WHERE l.projectId = '" +
        store->state().project.id + "' AND l.type = '" + type + "'");
  }
};

TEST_F(TextsPageTest, ATextTypedReachesTheLibraryAfterTheDebounceWithItsCounts) {
  window->showProjectTab(gui::ProjectTab::texts);
  page().showSection(SaveSection::statement);
  QPlainTextEdit* text = page().textField();
  text->setFocus();
  QTest::keyClicks(text, "I paint the sea, twice.");
  main.runUntilIdle();
  EXPECT_EQ(store->state().snapshot.statement, "I paint the sea, twice.");
  EXPECT_NE(storedText("statement"), "I paint the sea, twice.");  // not yet: the debounce runs
  EXPECT_NE(page().countsLabel()->text().indexOf(QStringLiteral("5 words")), -1)
      << page().countsLabel()->text().toStdString();
  EXPECT_NE(page().countsLabel()->text().indexOf(QStringLiteral("23 characters")), -1)
      << page().countsLabel()->text().toStdString();

  settleAll();
  EXPECT_EQ(storedText("statement"), "I paint the sea, twice.");
  // The biography is another text: its field is its own.
  page().showSection(SaveSection::bio);
  EXPECT_TRUE(page().textField()->toPlainText().isEmpty());
  page().showSection(SaveSection::statement);
  EXPECT_EQ(page().textField()->toPlainText(), QStringLiteral("I paint the sea, twice."));
}

TEST_F(TextsPageTest, ComingToTheTextsPutsTheCaretAtTheEndOfTheTextNotInItsTitle) {
  store->setText(SaveSection::bio, "Born by the sea.");
  main.runUntilIdle();
  window->show();
  QApplication::setActiveWindow(window.get());
  window->showProjectTab(gui::ProjectTab::details);
  window->showProjectTab(gui::ProjectTab::texts);
  page().showSection(SaveSection::bio);
  window->showProjectTab(gui::ProjectTab::works);
  window->showProjectTab(gui::ProjectTab::texts);
  ASSERT_EQ(QApplication::focusWidget(), page().textField());
  EXPECT_EQ(page().textField()->textCursor().position(), page().textField()->toPlainText().size());
}

TEST_F(TextsPageTest, TheFieldFollowsTheStoreButNeverUnderTheTypingCursor) {
  window->showProjectTab(gui::ProjectTab::texts);
  page().showSection(SaveSection::bio);
  store->setText(SaveSection::bio, "Written elsewhere.");
  pump();
  EXPECT_EQ(page().textField()->toPlainText(), QStringLiteral("Written elsewhere."));
  page().textField()->setFocus();
  page().textField()->moveCursor(QTextCursor::End);
  QTest::keyClicks(page().textField(), " More");
  store->setText(SaveSection::bio, "Changed meanwhile.");  // e.g. an import
  pump();
  EXPECT_EQ(page().textField()->toPlainText(), QStringLiteral("Written elsewhere. More"));
}

// Taken from another project, a text is shared: the page names the projects
// using it, the first edit says where it lands, and a copy of its own takes
// the project out.
TEST_F(TextsPageTest, AnotherProjectsTextCanBeTakenSharedAndThenMadeThisProjectsOwn) {
  store->setText(SaveSection::bio, "Born by the sea in 1980.");
  settleAll();
  const std::string first = store->state().project.id;
  ProjectChanges changes;
  changes.name = "Second";
  ASSERT_TRUE(store->createProject(changes));
  pump();
  window->showProjectTab(gui::ProjectTab::texts);
  page().showSection(SaveSection::bio);
  const auto texts = store->reusableTexts(TextAssetType::bio);
  ASSERT_EQ(texts.size(), 1u);
  page().reuseText(texts[0].id);
  pump();
  EXPECT_EQ(page().textField()->toPlainText(), QStringLiteral("Born by the sea in 1980."));
  EXPECT_EQ(store->state().snapshot.biography, "Born by the sea in 1980.");
  EXPECT_NE(store->state().project.id, first);

  // Shared, and said so where it is edited.
  gui::SharingBar* sharing = page().sharingBar();
  ASSERT_TRUE(sharing->isVisibleTo(window.get()));
  const std::string firstName = texts[0].sourceProjectName;
  EXPECT_EQ(sharing->line()->text(),
            gui::Words(*store).format("desktop.texts.shared", {"2", "Second, " + firstName}));
  page().showSection(SaveSection::statement);
  EXPECT_FALSE(sharing->isVisibleTo(window.get())) << "the statement is this project's own";
  page().showSection(SaveSection::bio);

  // Deleting the project would leave the shared text to the other one.
  QString asked;
  window->ask = [&](const QString& message, const QString&) {
    asked = message;
    return false;
  };
  window->deleteProject();
  EXPECT_NE(asked.indexOf(gui::qstr(firstName)), -1) << asked.toStdString();

  // The first edit says, once, that it reaches the other project.
  page().textField()->setFocus();
  page().textField()->moveCursor(QTextCursor::End);
  QTest::keyClicks(page().textField(), " Lives");
  ASSERT_TRUE(store->state().errorToast);
  EXPECT_NE(store->state().errorToast->text.find(firstName), std::string::npos);
  store->dismissToast();
  QTest::keyClicks(page().textField(), " inland.");
  EXPECT_FALSE(store->state().errorToast) << "said once";
  settleAll();

  // A copy of its own: the first project keeps the text as it was shared.
  QTest::mouseClick(sharing->copyButton(), Qt::LeftButton);
  pump();
  EXPECT_FALSE(sharing->isVisibleTo(window.get()));
  QTest::keyClicks(page().textField(), " Only here.");
  settleAll();
  EXPECT_EQ(storedText("bio"), "Born by the sea in 1980. Lives inland. Only here.");
  EXPECT_EQ(sql("SELECT a.content FROM text_assets a JOIN project_text_asset_links l ON "
                "l.assetId = a.id WHERE l.projectId = '" +
                first + "' AND l.type = 'bio'"),
            "Born by the sea in 1980. Lives inland.");
}

// A project made from the window is ready with the artist's texts, shared.
TEST_F(TextsPageTest, ANewProjectStartsWithTheArtistsLatestTextsShared) {
  store->setText(SaveSection::bio, "Born by the sea in 1980.");
  settleAll();
  const std::string first = store->state().project.projectName;
  window->newProject();
  pump();
  window->showProjectTab(gui::ProjectTab::texts);
  page().showSection(SaveSection::bio);
  EXPECT_EQ(page().textField()->toPlainText(), QStringLiteral("Born by the sea in 1980."));
  EXPECT_TRUE(page().sharingBar()->isVisibleTo(window.get()));
  EXPECT_NE(page().sharingBar()->line()->text().indexOf(gui::qstr(first)), -1);

  // Its notice offers copies of its own instead, in one click.
  QPushButton* copies = window->toastView().actionButton();
  ASSERT_TRUE(copies->isVisibleTo(window.get()));
  QTest::mouseClick(copies, Qt::LeftButton);
  pump();
  EXPECT_FALSE(page().sharingBar()->isVisibleTo(window.get()));
  EXPECT_EQ(page().textField()->toPlainText(), QStringLiteral("Born by the sea in 1980."));
}

TEST_F(TextsPageTest, TheRoomLeftOnThePageIsToldBeforeThePageCutsTheText) {
  window->showProjectTab(gui::ProjectTab::texts);
  page().showSection(SaveSection::bio);
  const gui::Words words(*store);
  EXPECT_EQ(page().roomLabel()->text(), words.format("desktop.texts.room", {"100"}));
  std::string text;
  for (int i = 0; i < 40; ++i) text += "A line of the biography.\n";
  store->setText(SaveSection::bio, text);
  pump();
  EXPECT_EQ(page().roomLabel()->property("level").toString(), QStringLiteral("near"));
  for (int i = 0; i < 10; ++i) text += "One more line.\n";
  store->setText(SaveSection::bio, text);
  pump();
  EXPECT_EQ(page().roomLabel()->text(), words("desktop.texts.overflow"));
  EXPECT_EQ(page().roomLabel()->property("level").toString(), QStringLiteral("over"));
}

}  // namespace
}  // namespace quorvane
