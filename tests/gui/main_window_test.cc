// The window's screens over the store: what a person types reaches the
// store at once and the library after the debounce; what the screens say
// is what the store and the library hold; a change of language is seen
// everywhere at once.
#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTest>
#include <QToolButton>

#include "app/save_pipeline.h"
#include "gui/dashboard.h"
#include "gui/delete_all_dialog.h"
#include "gui/deleted_projects_page.h"
#include "gui/desktop_fixture.h"
#include "gui/desktop_session.h"
#include "gui/export_sheet.h"
#include "gui/inspector.h"
#include "gui/project_header.h"
#include "gui/project_list_model.h"
#include "gui/question.h"
#include "gui/settings_page.h"
#include "gui/vault_view.h"
#include "gui/works_board_model.h"
#include "pdf/localization.h"
#include "platform/library_lock.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::DesktopTest;

TEST_F(DesktopTest, ATitleTypedInTheInspectorIsTheStoresAtOnceAndTheLibrarysAfterTheDebounce) {
  dropImages({writeImage("field.jpg", 400, 300)});
  settleAll();
  const std::string id = boardOrder().front();
  window->board().select({id});
  ASSERT_EQ(window->inspector().artworkId(), id);
  EXPECT_EQ(store->state().worksInspectorArtworkID, id);  // its page is drawn first

  QLineEdit* title = window->inspector().titleField();
  title->setFocus();
  QTest::keyClicks(title, "Salt Marsh");
  main.runUntilIdle();
  EXPECT_EQ(store->state().snapshot.artworks.images.front().title, "Salt Marsh");
  EXPECT_EQ(window->board().model().data(window->board().model().index(0), Qt::DisplayRole),
            QString("Salt Marsh"));
  EXPECT_EQ(window->header().saveIndicator()->text().toStdString(),
            uiText("desktop.save.saving", "en"));
  EXPECT_EQ(sql("SELECT title FROM artworks WHERE id = '" + id + "'"), "");

  settleAll();
  EXPECT_EQ(sql("SELECT title FROM artworks WHERE id = '" + id + "'"), "Salt Marsh");
  // "Saving…" stays long enough to be read, then "Saved", then nothing.
  main.advanceBy(SavePipeline::kMinimumSavingIndicator);
  pump();
  EXPECT_EQ(window->header().saveIndicator()->text().toStdString(),
            uiText("desktop.save.saved", "en"));
  main.advanceBy(SavePipeline::kSavedBadge);
  pump();
  EXPECT_TRUE(window->header().saveIndicator()->text().isEmpty());
}

TEST_F(DesktopTest, NumbersAreSavedWhenTheFieldIsLeftAndWhatDoesNotReadKeepsTheStoredValue) {
  store->setProjectKind(ProjectKind::catalogue, CatalogueKind::price);
  dropImages({writeImage("priced.jpg", 400, 300)});
  const std::string id = boardOrder().front();
  window->board().select({id});
  const auto stored = [&] { return store->state().snapshot.artworks.images.front(); };

  QLineEdit* price = window->inspector().priceField();
  ASSERT_TRUE(price->isVisibleTo(&window->inspector()));
  price->setFocus();
  QTest::keyClicks(price, "1 200,50");
  main.runUntilIdle();
  EXPECT_EQ(stored().priceCents, std::nullopt);  // nothing saved while typing
  QTest::keyClick(price, Qt::Key_Return);
  EXPECT_EQ(stored().priceCents, 120050);

  // "1.5" on the way to "1.5.5" reads, but only the finished text counts.
  price->clear();
  for (const char c : std::string("1.5.5")) {
    QTest::keyClick(price, c);
    main.runUntilIdle();
  }
  QTest::keyClick(price, Qt::Key_Return);
  EXPECT_EQ(stored().priceCents, 120050);
  EXPECT_TRUE(price->property("invalid").toBool());
  EXPECT_TRUE(window->inspector().priceHint()->isVisibleTo(&window->inspector()));
  EXPECT_EQ(window->inspector().priceHint()->text().toStdString(),
            uiText("desktop.inspector.price_invalid", "en"));
  EXPECT_EQ(price->text(), QString("1.5.5"));  // left to be corrected

  // A span of years reads; a slip in a size is refused the same way.
  QLineEdit* year = window->inspector().yearField();
  year->setFocus();
  year->insert(QString::fromUtf8("2019–2021"));
  QLineEdit* width = window->inspector().widthField();
  width->setFocus();  // leaving the year saves it
  EXPECT_EQ(stored().year, "2019–2021");
  QTest::keyClicks(width, "80.5.");
  year->setFocus();
  EXPECT_EQ(stored().artworkWidth, "");
  EXPECT_TRUE(width->property("invalid").toBool());

  // Another work and back: the refused text is gone, the stored values stay.
  dropImages({writeImage("other.jpg", 400, 300)});
  window->board().select({boardOrder().back()});
  window->board().select({id});
  EXPECT_EQ(price->text(), QString("1200.50"));
  EXPECT_FALSE(price->property("invalid").toBool());
  EXPECT_FALSE(window->inspector().priceHint()->isVisibleTo(&window->inspector()));

  // A currency is the store's to read: kept as a code when the field is
  // left, refused in words otherwise ("EU" on the way to "EUR" is no code).
  for (QLineEdit* currency :
       {window->inspector().currencyField(), window->header().currencyField()}) {
    currency->setFocus();
    currency->selectAll();
    QTest::keyClicks(currency, "chf");
    main.runUntilIdle();
    EXPECT_FALSE(store->state().errorToast) << "nothing said while typing";
    year->setFocus();
    currency->setFocus();
    currency->selectAll();
    QTest::keyClicks(currency, "eu");
    year->setFocus();
    EXPECT_EQ(store->state().lastErrorMessage,
              "\u201ceu\u201d is not a currency code: use three letters, such as EUR or USD.");
    store->dismissToast();
  }
  EXPECT_EQ(stored().priceCurrency, "CHF");
  EXPECT_EQ(store->state().project.currency, "CHF");
}

TEST_F(DesktopTest, AWorkRemovedFromTheProjectWaitsInTheVaultAndComesBack) {
  dropImages({writeImage("stay.jpg", 200, 200), writeImage("go.jpg", 200, 200)});
  const std::string leaving = boardOrder().back();
  window->board().select({leaving});
  // Asked first, saying where the work goes; Cancel keeps it on the board.
  confirmAnswer = false;
  window->board().removeSelected();
  pump();
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_TRUE(asked[0].contains(QStringLiteral("stays in the Vault"))) << asked[0].toStdString();
  EXPECT_EQ(window->board().model().rowCount(), 2);
  confirmAnswer = true;
  window->board().removeSelected();
  pump();
  EXPECT_EQ(window->board().model().rowCount(), 1);
  EXPECT_EQ(window->inspector().artworkId(), std::nullopt);

  window->showScreen(gui::Screen::vault);
  pump();
  gui::VaultView& vault = window->vault();
  ASSERT_EQ(vault.model().rowCount(), 1);
  EXPECT_EQ(vault.model()
                .data(vault.model().index(0), gui::VaultModel::ArtworkIdRole)
                .toString()
                .toStdString(),
            leaving);
  // The Vault names the project it adds to, and says when it has.
  store->renameProject("Tides");
  pump();
  vault.grid().selectionModel()->select(vault.model().index(0), QItemSelectionModel::Select);
  EXPECT_EQ(vault.addButton()->text(), QString("Add to “Tides”"));
  QTest::mouseClick(vault.addButton(), Qt::LeftButton);
  pump();
  ASSERT_TRUE(store->state().errorToast);
  EXPECT_EQ(store->state().errorToast->text, "1 work added to “Tides”");
  EXPECT_EQ(boardOrder().back(), leaving);
  EXPECT_EQ(window->board().model().rowCount(), 2);
  EXPECT_EQ(vault.model().rowCount(), 0);  // read again: nothing left to add
}

TEST_F(DesktopTest, TheWindowsKeysWorkWhileAFieldIsBeingTypedIn) {
  dropImages({writeImage("a.jpg", 200, 200)});
  window->board().select(boardOrder());
  QLineEdit* price = window->inspector().priceField();
  price->setFocus();
  QTest::keyClicks(price, "900");
  // Ctrl+S saves what is typed, the number too, and says so.
  QTest::keyClick(price, Qt::Key_S, Qt::ControlModifier);
  pump();
  EXPECT_FALSE(store->state().isSaveWaiting) << "not left to the debounce";
  main.advanceBy(std::chrono::seconds(1));  // "Saving…" is shown a moment at least
  pump();
  EXPECT_EQ(store->state().snapshot.artworks.images.front().priceCents, 90000);
  EXPECT_EQ(window->header().saveIndicator()->text(), QString("Saved"));
  // Ctrl+1…5 are the project's pages; Ctrl+E the export; Escape leaves it.
  QTest::keyClick(price, Qt::Key_3, Qt::ControlModifier);
  EXPECT_EQ(window->projectTab(), gui::ProjectTab::cv);
  window->header().nameField()->setFocus();
  QTest::keyClick(window->header().nameField(), Qt::Key_E, Qt::ControlModifier);
  EXPECT_EQ(window->projectTab(), gui::ProjectTab::exportSheet);
  window->exportSheet().documentChooser()->setFocus();
  QTest::keyClick(window->exportSheet().documentChooser(), Qt::Key_Escape);
  EXPECT_EQ(window->projectTab(), gui::ProjectTab::works);
}

TEST_F(DesktopTest, TabGoesThroughTheWorksPageInReadingOrder) {
  dropImages({writeImage("a.jpg", 200, 200)});
  window->board().select(boardOrder());
  window->header().nameField()->setFocus();
  std::vector<QWidget*> chain;
  for (int i = 0; i < 40; ++i) {
    chain.push_back(QApplication::focusWidget());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    if (QApplication::focusWidget() == window->header().nameField()) break;
  }
  // Header, tabs, the board's buttons as they stand, the board, the inspector.
  const auto at = [&](QWidget* widget) {
    return std::find(chain.begin(), chain.end(), widget) - chain.begin();
  };
  const auto& board = window->board();
  const std::vector<QWidget*> order = {window->header().nameField(),
                                       window->findChild<QWidget*>(QStringLiteral("projectTabs")),
                                       board.findChild<QWidget*>(QStringLiteral("replaceImage")),
                                       board.findChild<QWidget*>(QStringLiteral("removeArtworks")),
                                       board.findChild<QWidget*>(QStringLiteral("addImages")),
                                       &window->board().grid(),
                                       window->inspector().titleField(),
                                       window->inspector().widthField()};
  for (std::size_t i = 1; i < order.size(); ++i) {
    EXPECT_LT(at(order[i - 1]), at(order[i])) << "place " << i;
    EXPECT_LT(at(order[i]), static_cast<std::ptrdiff_t>(chain.size())) << "place " << i;
  }
  for (QWidget* widget : chain) EXPECT_EQ(qobject_cast<QScrollArea*>(widget), nullptr);
}

TEST_F(DesktopTest, TheDashboardShowsTheLibrarysOwnCounts) {
  dropImages({writeImage("a.jpg", 200, 200), writeImage("b.jpg", 200, 200)});
  store->setText(SaveSection::bio, "Born by the sea.");
  store->setText(SaveSection::statement, "I paint weather.");
  CVData cv = store->state().snapshot.cv;
  store->setCV(cv);
  window->newProject();
  pump();
  dropImages({writeImage("c.jpg", 200, 200)});
  settleAll();

  window->showScreen(gui::Screen::home);
  window->dashboard().refresh();
  pump();
  const gui::DashboardFigures& figures = window->dashboard().figures();
  EXPECT_EQ(figures.projects, 2);
  EXPECT_EQ(figures.artworks, 3);
  EXPECT_EQ(figures.texts, 2) << "the biography and the statement";
  EXPECT_EQ(window->dashboard().figureText(1), QString("3"));
}

TEST_F(DesktopTest, ChoosingAnotherLanguageChangesTheVisibleWordsAtOnce) {
  window->showScreen(gui::Screen::settings);
  QComboBox* language = window->settings().languageBox();
  const auto addButton = window->board().findChild<QPushButton*>("addImages");
  ASSERT_NE(addButton, nullptr);
  EXPECT_EQ(addButton->text().toStdString(), uiText("desktop.works.add_images", "en"));

  language->setCurrentIndex(language->findData("fr"));
  emit language->activated(language->currentIndex());
  pump();
  EXPECT_EQ(store->language(), "fr");
  EXPECT_EQ(addButton->text().toStdString(), uiText("desktop.works.add_images", "fr"));
  const auto home = window->sidebar().findChild<QPushButton*>("navHome");
  ASSERT_NE(home, nullptr);
  EXPECT_EQ(home->text().toStdString(), uiText("desktop.nav.home", "fr"));
  EXPECT_EQ(home->accessibleName().toStdString(), uiText("desktop.nav.home", "fr"));
  EXPECT_EQ(window->header().kindBox()->itemText(0).toStdString(),
            uiText("document.kind.portfolio", "fr"));
  EXPECT_NE(uiText("desktop.works.add_images", "fr"), uiText("desktop.works.add_images", "en"));

  language->setCurrentIndex(language->findData("de"));
  emit language->activated(language->currentIndex());
  pump();
  EXPECT_EQ(addButton->text().toStdString(), uiText("desktop.works.add_images", "de"));
}

TEST_F(DesktopTest, TheSidebarListsProjectsNewestFirstWithTheOpenOneMarked) {
  ProjectChanges first;
  first.name = "Littoral";
  store->updateProject(first);
  dropImages({writeImage("x.jpg", 200, 200)});
  settleAll();
  main.advanceBy(std::chrono::milliseconds(1000));
  window->newProject();
  pump();
  store->renameProject("Estuary");
  store->setProjectKind(ProjectKind::catalogue, CatalogueKind::raisonne);
  settleAll();

  gui::ProjectListModel& projects = window->sidebar().projects();
  ASSERT_EQ(projects.rowCount(), 2);
  EXPECT_EQ(projects.data(projects.index(0), Qt::DisplayRole), QString("Estuary"));
  EXPECT_EQ(projects.data(projects.index(1), Qt::DisplayRole), QString("Littoral"));
  EXPECT_EQ(projects.openRow(), 0);
  EXPECT_EQ(
      projects.data(projects.index(0), gui::ProjectListModel::KindRole).toString().toStdString(),
      uiText("document.kind.raisonne", "en"));

  // Editing the older project does not reorder the list under the pointer.
  window->openProject(projects.project(1).id);
  pump();
  store->renameProject("Littoral II");
  settleAll();
  EXPECT_EQ(projects.data(projects.index(1), Qt::DisplayRole), QString("Littoral II"));
  EXPECT_EQ(projects.openRow(), 1);
}

TEST_F(DesktopTest, ANewProjectsPrintedTitleFollowsItsNameUntilTheTitleIsWritten) {
  window->newProject();
  pump();
  QLineEdit* name = window->header().nameField();
  ASSERT_TRUE(name->hasFocus());  // selected, ready to be typed over
  QTest::keyClicks(name, "Tides");
  QTest::keyClick(name, Qt::Key_Return);
  pump();
  EXPECT_EQ(store->state().project.projectTitle, "Tides");
  EXPECT_EQ(window->header().titleField()->text(), QString("Tides"));

  QLineEdit* title = window->header().titleField();
  title->setFocus();
  title->selectAll();
  QTest::keyClicks(title, "Tides: Works on Paper");
  name->setFocus();
  name->selectAll();
  QTest::keyClicks(name, "Tides 2026");
  QTest::keyClick(name, Qt::Key_Return);
  pump();
  EXPECT_EQ(store->state().project.projectName, "Tides 2026");
  EXPECT_EQ(store->state().project.projectTitle, "Tides: Works on Paper");
}

// Deleting a project says what happens and is named for what it does; the
// project then waits under Recently deleted, from where it comes back with
// its CV.
TEST_F(DesktopTest, ADeletedProjectIsAskedForAndComesBackFromRecentlyDeletedWithItsCV) {
  dropImages({writeImage("x.jpg", 200, 200)});
  store->renameProject("Tides");
  CVData cv;
  cv.soloExhibitions.push_back({{"year", "2026"}, {"title", "Tides"}});
  store->setCV(cv);
  settleAll();
  const std::string id = store->state().project.id;
  QPushButton* navDeleted = window->sidebar().findChild<QPushButton*>("navDeleted");
  EXPECT_FALSE(navDeleted->isVisible()) << "nothing deleted yet";

  confirmAnswer = false;
  window->deleteProject();
  pump();
  EXPECT_EQ(store->state().project.id, id);
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_TRUE(asked[0].contains("Its works stay in the Vault")) << asked[0].toStdString();
  EXPECT_TRUE(asked[0].endsWith("| Delete project")) << asked[0].toStdString();

  confirmAnswer = true;
  window->deleteProject();
  pump();
  EXPECT_NE(store->state().project.id, id);
  EXPECT_EQ(window->screen(), gui::Screen::home);
  EXPECT_EQ(store->state().errorToast->text, uiText("inspector.project.delete.done", "en"));
  ASSERT_TRUE(navDeleted->isVisible());

  navDeleted->click();
  pump();
  EXPECT_EQ(window->screen(), gui::Screen::deleted);
  QPushButton* restore = window->deletedProjects().restoreButton(id);
  ASSERT_NE(restore, nullptr);
  restore->click();
  pump();
  EXPECT_EQ(window->deletedProjects().restoreButton(id), nullptr);
  ASSERT_FALSE(store->state().projects.empty());
  EXPECT_EQ(store->state().projects.front().id, id) << "back in the list";
  window->openProject(id);
  pump();
  settleAll();
  EXPECT_EQ(store->state().project.projectName, "Tides");
  EXPECT_EQ(store->state().snapshot.cv.soloExhibitions.size(), 1u) << "the CV came back with it";
}

// The window's every question before a loss: Enter answers Cancel, as
// Escape does; only the button named for the action takes it.
TEST_F(DesktopTest, EnterOnAQuestionBeforeALossCancels) {
  for (const int key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape}) {
    QMessageBox* question = gui::makeQuestion(window.get(), "Delete “Tides”?", "Delete project");
    question->open();
    pump();
    QTest::keyClick(question, static_cast<Qt::Key>(key));
    pump();
    EXPECT_FALSE(question->isVisible()) << key;
    ASSERT_NE(question->clickedButton(), nullptr) << key;
    EXPECT_EQ(question->standardButton(question->clickedButton()), QMessageBox::Cancel) << key;
    delete question;
  }
}

// In another language, Qt's own words follow (a question's Cancel), and the
// work details are as wide as that language's labels need.
TEST_F(DesktopTest, AnotherLanguageReachesQtsOwnWordsAndTheDetailsWidth) {
  store->setUiLanguage(std::string("fr"));
  pump();
  QMessageBox* question = gui::makeQuestion(window.get(), "Supprimer ?", "Supprimer");
  EXPECT_EQ(question->button(QMessageBox::Cancel)->text(), QStringLiteral("Annuler"));
  delete question;
  auto* details = window->findChild<gui::Inspector*>();
  ASSERT_NE(details, nullptr);
  auto* scroll = details->findChild<QScrollArea*>();
  ASSERT_NE(scroll, nullptr);
  EXPECT_GE(details->minimumWidth(), scroll->widget()->minimumSizeHint().width());
  store->setUiLanguage(std::string("en"));
  pump();
}

TEST_F(DesktopTest, EveryControlHasAnAccessibleName) {
  for (gui::Screen screen :
       {gui::Screen::home, gui::Screen::works, gui::Screen::vault, gui::Screen::settings}) {
    window->showScreen(screen);
    pump();
    for (QWidget* widget : window->findChildren<QWidget*>()) {
      const bool control = qobject_cast<QAbstractButton*>(widget) ||
                           qobject_cast<QLineEdit*>(widget) || qobject_cast<QComboBox*>(widget) ||
                           qobject_cast<QAbstractItemView*>(widget);
      if (!control || !widget->isVisibleTo(window.get())) continue;
      if (qobject_cast<QAbstractButton*>(widget) &&
          !qobject_cast<QAbstractButton*>(widget)->text().isEmpty()) {
        continue;  // a button's text is its name
      }
      if (widget->inherits("QScrollBar") || widget->parent()->inherits("QComboBox")) continue;
      EXPECT_FALSE(widget->accessibleName().isEmpty())
          << widget->metaObject()->className() << " " << widget->objectName().toStdString();
    }
  }
}

TEST_F(DesktopTest, TheSidebarsBackupStateFollowsEachSavedChange) {
  dropImages({writeImage("x.jpg", 200, 200)});
  settleAll();
  const auto backupText = [this] {
    return window->sidebar().findChild<QLabel*>("sidebarNote")->text().toStdString();
  };
  const std::int64_t before = store->state().backupReminderState.changesSinceLastExport;
  ASSERT_GT(before, 0);
  EXPECT_NE(backupText().find(std::to_string(before)), std::string::npos) << backupText();
  store->setText(SaveSection::bio, "A new line.");
  settleAll();
  const std::int64_t after = store->state().backupReminderState.changesSinceLastExport;
  EXPECT_GT(after, before);
  EXPECT_NE(backupText().find(std::to_string(after)), std::string::npos) << backupText();

  // Exported today, then 60 changes: the strong reminder says it is the
  // changes, not the days, beside "Last export: today".
  store->markProjectDataExported(main.now());
  for (int i = 0; i < 60; ++i) {
    store->setText(SaveSection::bio, "Draft " + std::to_string(i));
    settleAll();
  }
  store->evaluateBackupReminder();
  pump();
  ASSERT_EQ(store->state().activeBackupReminderLevel, BackupReminderLevel::strong);
  const std::string changes =
      std::to_string(store->state().backupReminderState.changesSinceLastExport);
  const std::string reminder = window->sidebar().reminderLine()->text().toStdString();
  EXPECT_NE(reminder.find(changes + " changes since the last export"), std::string::npos)
      << reminder;
}

TEST_F(DesktopTest, TheWindowRemembersItsSizeAndSplitters) {
  window->showScreen(gui::Screen::works);
  window->resize(1100, 700);
  pump();
  auto splitters = window->findChildren<QSplitter*>();
  ASSERT_EQ(splitters.size(), 2);
  for (QSplitter* splitter : splitters) {
    QList<int> sizes = splitter->sizes();
    ASSERT_GE(sizes.size(), 2);
    sizes[0] += 40;
    sizes[1] -= 40;
    splitter->setSizes(sizes);
  }
  std::vector<QList<int>> chosen;
  for (QSplitter* splitter : splitters) chosen.push_back(splitter->sizes());
  window->close();
  window.reset();

  window = std::make_unique<gui::MainWindow>(gui::DesktopContext{*store, preferences, main});
  window->show();
  window->showScreen(gui::Screen::works);
  pump();
  EXPECT_EQ(window->size(), QSize(1100, 700));
  splitters = window->findChildren<QSplitter*>();
  ASSERT_EQ(splitters.size(), 2);
  for (size_t i = 0; i < chosen.size(); ++i) EXPECT_EQ(splitters[i]->sizes(), chosen[i]) << i;
}

TEST_F(DesktopTest, SettingsChangeTheExportDefaultsTheRemindersAndDeleteOnlyWhenAsked) {
  window->showScreen(gui::Screen::settings);
  gui::SettingsPage& settings = window->settings();
  const auto choose = [](QComboBox* box, const QString& data) {
    const int index = box->findData(data);
    ASSERT_GE(index, 0);
    box->setCurrentIndex(index);
    emit box->activated(index);
  };
  choose(settings.exportLanguageBox(), QStringLiteral("de"));
  choose(settings.paperBox(), QStringLiteral("letter"));
  settings.contentsSwitch()->setChecked(false);
  EXPECT_EQ(store->state().exportOptions.exportLocale, "de");
  EXPECT_EQ(store->state().exportOptions.format, PdfFormat::letter);
  EXPECT_FALSE(store->state().exportOptions.includeTableOfContents);
  EXPECT_EQ(preferences.string(preference_key::kExportLocale), "de");
  settings.coverImageSwitch()->setChecked(false);
  EXPECT_EQ(preferences.boolean(preference_key::kExportIncludeCoverImage), false);
  EXPECT_FALSE(window->exportSheet().coverImageSwitch()->isChecked());
  // The export sheet starts from them.
  EXPECT_EQ(store->exportLanguage(), "de");

  choose(settings.frequencyBox(), QStringLiteral("frequent"));
  EXPECT_EQ(store->state().backupReminderState.frequency, BackupReminderFrequency::frequent);
  settings.remindersSwitch()->setChecked(false);
  EXPECT_FALSE(store->state().backupReminderState.remindersEnabled);
  EXPECT_FALSE(settings.frequencyBox()->isEnabled());

  dropImages({writeImage("keep.jpg", 200, 200)});
  settleAll();
  window->showScreen(gui::Screen::settings);
  settings.deleteAllData();
  QPointer<gui::DeleteAllDialog> dialog = window->findChild<gui::DeleteAllDialog*>();
  ASSERT_NE(dialog, nullptr);
  ASSERT_TRUE(dialog->isVisible());
  // Enter, wherever the focus is, and Escape keep everything.
  dialog->confirmationField()->setFocus();
  QTest::keyClick(dialog->confirmationField(), Qt::Key_Return);
  pump();
  EXPECT_TRUE(!dialog || !dialog->isVisible());
  EXPECT_EQ(store->state().snapshot.artworks.images.size(), 1u);
  settings.deleteAllData();
  dialog = window->findChildren<gui::DeleteAllDialog*>().back();
  QTest::keyClick(dialog, Qt::Key_Escape);
  pump();
  EXPECT_EQ(store->state().snapshot.artworks.images.size(), 1u);

  settings.deleteAllData();
  pump();
  dialog = window->findChildren<gui::DeleteAllDialog*>().back();
  ASSERT_TRUE(dialog->isVisible());
  EXPECT_FALSE(dialog->deleteButton()->isEnabled());
  QTest::keyClicks(dialog->confirmationField(), "delete it");
  EXPECT_FALSE(dialog->deleteButton()->isEnabled()) << "only the word itself";
  dialog->confirmationField()->clear();
  QTest::keyClicks(dialog->confirmationField(), " delete ");
  EXPECT_TRUE(dialog->deleteButton()->isEnabled());
  QTest::keyClick(dialog->confirmationField(), Qt::Key_Return);
  pump();
  EXPECT_EQ(store->state().snapshot.artworks.images.size(), 1u) << "Enter still cancels";

  settings.deleteAllData();
  pump();
  dialog = window->findChildren<gui::DeleteAllDialog*>().back();
  QTest::keyClicks(dialog->confirmationField(), "DELETE");
  dialog->deleteButton()->click();
  pump();
  EXPECT_TRUE(store->state().snapshot.artworks.images.empty());
  EXPECT_EQ(sql("SELECT COUNT(*) FROM artworks"), "0");
  EXPECT_EQ(window->screen(), gui::Screen::home);
}

// A second window while the first is open says so at once: the first keeps
// the library for hours, and waiting for it only keeps the user (and a
// SIGTERM) waiting.
TEST(DesktopSessionTest, ASecondWindowSaysTheLibraryIsOpenWithoutWaiting) {
  testing::TempDir dir;
  const testing::ScopedVariable data("XDG_DATA_HOME", dir.file("data").c_str());
  const testing::ScopedVariable config("XDG_CONFIG_HOME", dir.file("config").c_str());
  std::filesystem::create_directories(dir.file("data") + "/Quorvane");
  const auto first = LibraryLock::acquire(dir.file("data") + "/Quorvane/quorvane.lock",
                                          {::getpid(), std::string(kDesktopProgram), "window"});
  bool waited = false;
  LockWait wait;
  wait.onWait = [&](const LockHolder&) { waited = true; };
  wait.sleep = [](std::chrono::milliseconds) {};
  QObject context;
  try {
    gui::DesktopSession second(context, nullLogger(), wait);
    FAIL() << "a second window opened the library";
  } catch (const gui::DesktopStartError& error) {
    EXPECT_EQ(std::string(error.what()), "Quorvane is already open in another window (process " +
                                             std::to_string(::getpid()) + ").");
  }
  EXPECT_FALSE(waited);
}

}  // namespace
}  // namespace quorvane
