#include "gui/screenshot_tour.h"
#include "app/waiting_commands.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPixmap>
#include <QPointer>

#include "gui/board_pictures.h"
#include "gui/delete_all_dialog.h"
#include "gui/guided_entry.h"
#include "gui/image_intake_controller.h"
#include "gui/labels_dialog.h"
#include "gui/main_window.h"
#include "gui/question.h"
#include "gui/web_cv_dialog.h"
#include "gui/words.h"
#include "gui/works_board.h"
#include "gui/works_board_model.h"

namespace quorvane::gui {
namespace {

// Lets the window work (pictures decoded, pages drawn) for at least
// `minimum` ms, and until nothing is loading, or `maximum` ms have passed.
void letItSettle(MainWindow& window, int minimum, int maximum = 8000) {
  QElapsedTimer clock;
  clock.start();
  while (clock.elapsed() < maximum) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 30);
    if (clock.elapsed() >= minimum && window.board().pictures().loadsInFlight() == 0) break;
  }
}

const char* screenName(Screen screen) {
  switch (screen) {
    case Screen::home:
      return "home";
    case Screen::works:
      return "works";
    case Screen::vault:
      return "vault";
    case Screen::settings:
      return "settings";
    case Screen::deleted:
      return "deleted";
  }
  return "screen";
}

}  // namespace

int takeScreenshots(MainWindow& window, const QString& folder) {
  AppStore& store = window.context().store;
  QDir().mkpath(folder);
  window.resize(1280, 820);
  int written = 0;
  // The window, or a dialog over it, once it has settled.
  const auto shootDialog = [&](QWidget& shown, const QString& name, int settleMs = 300) {
    letItSettle(window, settleMs);
    if (shown.grab().save(QDir(folder).filePath(name + QStringLiteral(".png")))) ++written;
  };
  const auto shoot = [&](const QString& name, int settleMs = 600) {
    shootDialog(window, name, settleMs);
  };

  // A few works go to the Vault, so that it shows something; one is open
  // in the inspector.
  const auto images = store.state().snapshot.artworks.images;
  for (std::size_t i = 0; images.size() > 6 && i < 3; ++i) {
    store.removeArtwork(images[images.size() - 1 - i].id);
  }
  if (images.size() > 1) window.board().select({images[1].id});

  const std::pair<ThemeMode, const char*> themes[] = {{ThemeMode::light, "light"},
                                                      {ThemeMode::dark, "dark"}};
  // English and French, or the languages QUORVANE_SCREENSHOT_LANGUAGES
  // lists ("de,it,es"), to look at the longest words of each.
  std::vector<std::string> languages{"en", "fr"};
  if (const QString listed = qEnvironmentVariable("QUORVANE_SCREENSHOT_LANGUAGES");
      !listed.isEmpty()) {
    languages.clear();
    for (const QString& language : listed.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
      languages.push_back(language.trimmed().toStdString());
    }
  }
  for (const auto& [theme, themeName] : themes) {
    store.setThemeMode(theme);
    for (const std::string& language : languages) {
      store.setUiLanguage(language);
      for (Screen screen : {Screen::home, Screen::works, Screen::vault, Screen::settings}) {
        window.showScreen(screen);
        shoot(QStringLiteral("%1-%2-%3")
                  .arg(screenName(screen), themeName, QString::fromStdString(language)));
      }
      {
        // The Edit menu, naming the last work taken off the board.
        window.showScreen(Screen::works);
        QMenu* edit = window.menuBar()->actions().at(0)->menu();
        edit->popup(window.mapToGlobal(QPoint(0, window.menuBar()->height())));
        shootDialog(
            *edit,
            QStringLiteral("edit-menu-%1-%2").arg(themeName, QString::fromStdString(language)));
        edit->hide();
      }
      window.showProjectTab(ProjectTab::texts);
      shoot(QStringLiteral("texts-%1-%2").arg(themeName, QString::fromStdString(language)));
      window.showProjectTab(ProjectTab::cv);
      shoot(QStringLiteral("cv-%1-%2").arg(themeName, QString::fromStdString(language)));
      window.showProjectTab(ProjectTab::details);
      shoot(QStringLiteral("details-%1-%2").arg(themeName, QString::fromStdString(language)));
      // A web CV's plan, when the tour is given one.
      if (const QString webCv = qEnvironmentVariable("QUORVANE_SCREENSHOT_WEBCV");
          !webCv.isEmpty()) {
        // As from its button: no field is being typed in.
        if (QWidget* focused = QApplication::focusWidget()) focused->clearFocus();
        QPointer<WebCvDialog> dialog = window.importWebCv(webCv);
        // The file is read off the main thread: the plan, once it is there.
        QElapsedTimer reading;
        reading.start();
        while (dialog && dialog->isLoading() && reading.elapsed() < 5000) {
          QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        if (dialog && !dialog->isLoading()) {
          shootDialog(
              *dialog,
              QStringLiteral("webcv-%1-%2").arg(themeName, QString::fromStdString(language)));
        }
        if (dialog) dialog->reject();
      }
      {
        // The printed labels of the CV, over the window.
        LabelsDialog labels(store, "cv", language, &window);
        labels.show();
        shootDialog(
            labels,
            QStringLiteral("labels-%1-%2").arg(themeName, QString::fromStdString(language)));
        labels.reject();
      }
      {
        // The two questions that could lose the most: deleting everything,
        // and a project.
        DeleteAllDialog* everything = window.askToDeleteAll();
        shootDialog(
            *everything,
            QStringLiteral("delete-all-%1-%2").arg(themeName, QString::fromStdString(language)));
        everything->reject();
        const Words words(store);
        QMessageBox* question = makeQuestion(
            &window,
            words.format("desktop.project.delete.confirm", {store.state().project.projectName}),
            words("desktop.project.delete.action"));
        question->show();
        shootDialog(*question, QStringLiteral("delete-project-%1-%2")
                                   .arg(themeName, QString::fromStdString(language)));
        question->deleteLater();
        // Works taken off the project: where they go is said.
        QMessageBox* removal =
            makeQuestion(&window, words.format("desktop.works.remove.confirm_many", {"3"}),
                         words("desktop.works.remove.action"));
        removal->show();
        shootDialog(
            *removal,
            QStringLiteral("remove-works-%1-%2").arg(themeName, QString::fromStdString(language)));
        removal->deleteLater();
      }
      {
        // The guided entry at its choice of sections and at a section.
        GuidedEntryDialog guide(store, &window);
        guide.show();
        guide.next();
        const auto shootGuide = [&](const char* step) {
          shootDialog(guide,
                      QStringLiteral("guide-%1-%2-%3")
                          .arg(step, themeName, QString::fromStdString(language)),
                      400);
        };
        shootGuide("sections");
        guide.next();
        shootGuide("entry");
        guide.reject();
      }
      // The export sheet, its preview drawn.
      window.showProjectTab(ProjectTab::exportSheet);
      shoot(QStringLiteral("export-%1-%2").arg(themeName, QString::fromStdString(language)), 4000);
      window.showProjectTab(ProjectTab::works);
      // A refused file: the error toast over the board.
      window.showScreen(Screen::works);
      window.board().intake().add(
          {QDir(folder).filePath(QStringLiteral("not-an-image.jpg")).toStdString()});
      shoot(QStringLiteral("works-toast-%1-%2").arg(themeName, QString::fromStdString(language)));
      store.dismissToast();
    }
  }
  // German, the longest words, on the smallest window the program takes.
  store.setThemeMode(ThemeMode::light);
  store.setUiLanguage("de");
  window.resize(800, 600);
  window.showProjectTab(ProjectTab::works);
  shoot(QStringLiteral("works-small-light-de"));
  window.showInspector(true);
  shoot(QStringLiteral("works-small-inspector-light-de"));
  window.showProjectTab(ProjectTab::exportSheet);
  shoot(QStringLiteral("export-small-light-de"), 4000);
  window.showScreen(Screen::settings);
  shoot(QStringLiteral("settings-small-light-de"));
  window.resize(1280, 820);
  // A new project: the empty board and the first steps of Home.
  window.newProject();
  for (const auto& [theme, themeName] : themes) {
    store.setThemeMode(theme);
    for (const std::string& language : languages) {
      store.setUiLanguage(language);
      window.showScreen(Screen::works);
      shoot(QStringLiteral("works-empty-%1-%2").arg(themeName, QString::fromStdString(language)));
    }
  }
  // A project deleted, and where it can be restored from.
  if (!store.state().projects.empty()) {
    openProject(store, store.state().projects.back().id);
    store.deleteProject();
    store.dismissToast();  // the page itself is the subject
  }
  for (const auto& [theme, themeName] : themes) {
    store.setThemeMode(theme);
    for (const std::string& language : languages) {
      store.setUiLanguage(language);
      window.showScreen(Screen::deleted);
      shoot(QStringLiteral("deleted-%1-%2").arg(themeName, QString::fromStdString(language)));
    }
  }
  return written;
}

}  // namespace quorvane::gui
