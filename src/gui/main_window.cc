#include "gui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabBar>
#include <QTextCursor>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/failure_text.h"
#include "app/image_intake.h"
#include "gui/cv_page.h"
#include "gui/dashboard.h"
#include "gui/delete_all_dialog.h"
#include "gui/deleted_projects_page.h"
#include "gui/details_page.h"
#include "gui/export_sheet.h"
#include "gui/guided_entry.h"
#include "gui/image_intake_controller.h"
#include "gui/inspector.h"
#include "gui/labels_dialog.h"
#include "gui/project_header.h"
#include "gui/qt_words.h"
#include "gui/question.h"
#include "gui/settings_page.h"
#include "gui/texts_page.h"
#include "gui/theme.h"
#include "gui/toast_view.h"
#include "gui/vault_view.h"
#include "gui/web_cv_dialog.h"
#include "gui/words.h"
#include "gui/work_strip.h"
#include "gui/works_board.h"
#include "gui/works_board_model.h"
#include "pdf/localization.h"

namespace quorvane::gui {
namespace {

constexpr std::string_view kGeometryKey = "quorvane.desktop.windowGeometry";
constexpr std::string_view kSplittersKey = "quorvane.desktop.splitters";

}  // namespace

MainWindow::MainWindow(DesktopContext context, QWidget* parent)
    : QMainWindow(parent),
      context_(context),
      language_(context.store.language()),
      theme_(context.store.state().themeMode),
      sidebar_(new Sidebar(context, this)),
      pages_(new QStackedWidget(this)),
      dashboard_(new Dashboard(context, pages_)),
      worksPage_(new QWidget(pages_)),
      header_(new ProjectHeader(context, worksPage_)),
      projectTabs_(new QTabBar(worksPage_)),
      projectPages_(new QStackedWidget(worksPage_)),
      worksSplitter_(new QSplitter(Qt::Horizontal, projectPages_)),
      board_(new WorksBoard(context.store, worksSplitter_)),
      inspector_(new Inspector(context.store, worksSplitter_)),
      texts_(new TextsPage(context.store, projectPages_)),
      cv_(new CvPage(context.store, projectPages_)),
      details_(new DetailsPage(context.store, projectPages_)),
      exportSheet_(new ExportSheet(context, projectPages_)),
      vault_(new VaultView(context.store, pages_)),
      settings_(new SettingsPage(context.store, pages_)),
      deleted_(new DeletedProjectsPage(context.store, pages_)),
      mainSplitter_(new QSplitter(Qt::Horizontal, this)),
      toast_(nullptr),
      systemPalette_(QGuiApplication::palette()),
      subscription_(context.store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  setObjectName(QStringLiteral("mainWindow"));
  worksSplitter_->addWidget(board_);
  worksSplitter_->addWidget(inspector_);
  worksSplitter_->setStretchFactor(0, 1);
  worksSplitter_->setStretchFactor(1, 0);
  worksSplitter_->setSizes({760, 320});
  // The inspector folds away (its Work details button, or dragged shut) to give
  // a small screen's width to the board; the board never does.
  worksSplitter_->setCollapsible(0, false);
  worksSplitter_->setCollapsible(1, true);
  auto* worksLayout = new QVBoxLayout(worksPage_);
  worksLayout->setContentsMargins(0, 0, 0, 0);
  worksLayout->setSpacing(0);
  worksLayout->addWidget(header_);
  auto* tabsRow = new QWidget(worksPage_);
  tabsRow->setObjectName(QStringLiteral("projectTabsRow"));
  tabsRow->setAttribute(Qt::WA_StyledBackground);
  auto* tabsLayout = new QHBoxLayout(tabsRow);
  tabsLayout->setContentsMargins(22, 0, 0, 0);
  tabsLayout->addWidget(projectTabs_);
  tabsLayout->addStretch(1);
  worksLayout->addWidget(tabsRow);
  worksLayout->addWidget(projectPages_, 1);
  projectPages_->addWidget(worksSplitter_);
  projectPages_->addWidget(texts_);
  projectPages_->addWidget(cv_);
  projectPages_->addWidget(details_);
  projectPages_->addWidget(exportSheet_);
  projectTabs_->setObjectName(QStringLiteral("projectTabs"));
  projectTabs_->setDrawBase(false);
  projectTabs_->setExpanding(false);
  projectTabs_->setUsesScrollButtons(false);
  for (int tab = 0; tab < projectPages_->count(); ++tab) projectTabs_->addTab(QString());
  connect(projectTabs_, &QTabBar::currentChanged, projectPages_, &QStackedWidget::setCurrentIndex);
  // Texts are for writing: coming to them puts the caret at the end of the
  // text, not in the title above it.
  connect(projectTabs_, &QTabBar::currentChanged, this, [this](int tab) {
    if (tab != static_cast<int>(ProjectTab::texts)) return;
    texts_->textField()->moveCursor(QTextCursor::End);
    texts_->textField()->setFocus();
  });

  pages_->addWidget(dashboard_);
  pages_->addWidget(worksPage_);
  pages_->addWidget(vault_);
  pages_->addWidget(settings_);
  pages_->addWidget(deleted_);
  // Beside the sidebar: the pages, and under them (never over them) the
  // work under way and the toast.
  auto* column = new QWidget(this);
  auto* columnLayout = new QVBoxLayout(column);
  columnLayout->setContentsMargins(0, 0, 0, 0);
  columnLayout->setSpacing(0);
  columnLayout->addWidget(pages_, 1);
  workStrip_ = new WorkStrip(column);
  columnLayout->addWidget(workStrip_);
  toast_ = new ToastView(context.store, column);
  auto* toastRow = new QHBoxLayout;
  toastRow->setContentsMargins(16, 8, 16, 12);
  toastRow->addWidget(toast_);
  columnLayout->addLayout(toastRow);
  mainSplitter_->addWidget(sidebar_);
  mainSplitter_->addWidget(column);
  mainSplitter_->setStretchFactor(1, 1);
  mainSplitter_->setSizes({230, 1050});
  mainSplitter_->setChildrenCollapsible(false);
  setCentralWidget(mainSplitter_);
  mainSplitter_->setHandleWidth(1);
  worksSplitter_->setHandleWidth(1);
  resize(1280, 820);
  setMinimumSize(800, 600);

  chooseOpenPath = [this] {
    return QFileDialog::getOpenFileName(this, Words(context_.store)("desktop.backup.import"),
                                        QDir::homePath(), QStringLiteral("Quorvane (*.quorvane)"));
  };
  chooseFolder = [this] {
    return QFileDialog::getExistingDirectory(this, Words(context_.store)("desktop.backup.all"),
                                             QDir::homePath());
  };
  chooseWebCvPath = [this] {
    return QFileDialog::getOpenFileName(this, Words(context_.store)("desktop.webcv.title"),
                                        QDir::homePath(), QStringLiteral("JSON (*.json)"));
  };
  tell = [this](const QString& message) {
    QMessageBox::information(this, QStringLiteral("Quorvane"), message);
  };
  ask = askOver(this);
  // The screens ask through the window, so that one answer serves them all.
  const Ask forward = [this](const QString& message, const QString& action) {
    return ask(message, action);
  };
  board_->ask = forward;
  cv_->ask = forward;
  askOnClose = [this](const QString& message) {
    const Words words(context_.store);
    QMessageBox* box = makeQuestion(this, message, words("desktop.close.stop"));
    box->button(QMessageBox::Cancel)->setText(words("desktop.close.keep_open"));
    QPushButton* wait = box->addButton(words("desktop.close.wait"), QMessageBox::AcceptRole);
    box->setDefaultButton(wait);
    box->exec();
    const QAbstractButton* chosen = box->clickedButton();
    const bool stop = chosen != nullptr && chosen->objectName() == QStringLiteral("questionAction");
    box->deleteLater();
    if (stop) return CloseAnswer::stopAndClose;
    return chosen == wait ? CloseAnswer::closeWhenDone : CloseAnswer::keepOpen;
  };
  setAcceptDrops(true);
  chooseSavePath = [this](const QString& suggested) {
    return QFileDialog::getSaveFileName(this, Words(context_.store)("desktop.backup.export"),
                                        QDir::home().filePath(suggested),
                                        QStringLiteral("Quorvane (*.quorvane)"));
  };

  connect(sidebar_, &Sidebar::screenChosen, this, [this](Screen screen) {
    // The sidebar asks for the project's screen only to take a drop: its board.
    if (screen == Screen::works) return showProjectTab(ProjectTab::works);
    showScreen(screen);
  });
  connect(sidebar_, &Sidebar::projectChosen, this, &MainWindow::openProject);
  connect(sidebar_, &Sidebar::newProjectRequested, this, &MainWindow::newProject);
  connect(sidebar_, &Sidebar::exportBackupRequested, this, &MainWindow::exportBackup);
  connect(sidebar_, &Sidebar::projectMenuRequested, this, &MainWindow::showProjectMenu);
  connect(header_, &ProjectHeader::projectMenuRequested, this, [this](const QPoint& position) {
    showProjectMenu(context_.store.state().project.id, position);
  });
  connect(settings_, &SettingsPage::deleteAllRequested, this, &MainWindow::askToDeleteAll);
  connect(settings_, &SettingsPage::labelsRequested, this, [this] {
    auto* labels =
        new LabelsDialog(context_.store, "portfolio", context_.store.exportLanguage(), this);
    labels->setAttribute(Qt::WA_DeleteOnClose);
    labels->open();
  });
  connect(exportSheet_, &ExportSheet::exportEnded, this, &MainWindow::closeIfWaiting);
  connect(&board_->intake(), &ImageIntakeController::finished, this, &MainWindow::closeIfWaiting);
  connect(cv_, &CvPage::guidedEntryRequested, this, &MainWindow::openGuidedEntry);
  connect(cv_, &CvPage::webCvImportRequested, this, [this] { importWebCv(); });
  connect(dashboard_, &Dashboard::projectChosen, this, &MainWindow::openProject);
  connect(dashboard_, &Dashboard::exportBackupRequested, this, &MainWindow::exportBackup);
  connect(dashboard_, &Dashboard::backUpAllRequested, this, &MainWindow::backUpAll);
  connect(dashboard_, &Dashboard::importBackupRequested, this, [this] { importBackup(); });
  connect(dashboard_, &Dashboard::addImagesRequested, this, [this] {
    showProjectTab(ProjectTab::works);
    board_->addImages();
  });
  connect(board_->detailsButton(), &QToolButton::clicked, this,
          [this](bool shown) { showInspector(shown); });
  connect(worksSplitter_, &QSplitter::splitterMoved, this,
          [this] { board_->detailsButton()->setChecked(isInspectorShown()); });
  connect(&board_->grid(), &BoardGrid::editRequested, this, [this] {
    if (board_->selectedIds().size() != 1) return;
    showInspector(true);
    inspector_->titleField()->setFocus(Qt::TabFocusReason);
    inspector_->titleField()->selectAll();
  });
  connect(board_, &WorksBoard::currentArtworkChanged, this,
          [this](const std::optional<std::string>& id) {
            inspector_->showArtwork(id, static_cast<int>(board_->selectedIds().size()));
          });
  connect(toast_, &ToastView::actionTriggered, this, [this](ToastAction action) {
    if (action == ToastAction::showOversizedImages) showOversizedImages();
    if (action == ToastAction::copySharedTexts) context_.store.copySharedTexts();
  });
  connect(qApp, &QGuiApplication::applicationStateChanged, this,
          [this](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive) {
              context_.store.applicationBecameActive();
            } else if (state == Qt::ApplicationInactive || state == Qt::ApplicationSuspended) {
              context_.store.applicationBecameInactive();
            }
          });

  createShortcuts();
  createEditMenu();
  retranslate();
  restoreLayout();
  showScreen(context.store.state().snapshot.artworks.images.empty() ? Screen::home : Screen::works);
}

MainWindow::~MainWindow() {
  // The screens go one by one after this. A selection emptied as the board
  // goes must not reach an inspector already gone, nor make the store tell
  // screens that are half destroyed: no signal is sent from here on.
  for (QObject* child : findChildren<QObject*>()) child->blockSignals(true);
}

void MainWindow::storeChanged(const StoreChanges& changes) {
  if (changes.has(StoreArea::history)) {
    updateEditMenu();
    if (context_.store.state().undo.carriedOut != undoneShown_) showUndone();
  }
  if (!changes.has(StoreArea::settings)) return;
  if (context_.store.language() != language_) {
    language_ = context_.store.language();
    retranslate();
  }
  if (context_.store.state().themeMode != theme_) {
    theme_ = context_.store.state().themeMode;
    applyAppearance();
  }
}

void MainWindow::applyAppearance() {
  if (auto* application = qobject_cast<QApplication*>(QCoreApplication::instance())) {
    applyTheme(*application, theme_, systemPalette_);
  }
  exportSheet_->paintPreviewBackground();
}

void MainWindow::retranslate() {
  const Words words(context_.store);
  speakQtIn(context_.store.language());
  setWindowTitle(QStringLiteral("Quorvane"));
  sidebar_->retranslate();
  dashboard_->retranslate();
  header_->retranslate();
  board_->retranslate();
  inspector_->retranslate();
  vault_->retranslate();
  settings_->retranslate();
  deleted_->retranslate();
  exportSheet_->retranslate();
  texts_->retranslate();
  cv_->retranslate();
  details_->retranslate();
  projectTabs_->setTabText(static_cast<int>(ProjectTab::cv), words("desktop.tab.cv"));
  projectTabs_->setTabText(static_cast<int>(ProjectTab::details), words("desktop.tab.details"));
  projectTabs_->setTabText(static_cast<int>(ProjectTab::texts), words("desktop.tab.texts"));
  projectTabs_->setTabText(static_cast<int>(ProjectTab::works), words("desktop.tab.works"));
  projectTabs_->setTabText(static_cast<int>(ProjectTab::exportSheet), words("desktop.tab.export"));
  projectTabs_->setAccessibleName(words("desktop.tab.name"));
  for (int tab = 0; tab < projectTabs_->count(); ++tab) {
    projectTabs_->setTabToolTip(tab, QStringLiteral("Ctrl+%1").arg(tab + 1));
  }
  toast_->retranslate();
  updateEditMenu();
  workStrip_->retranslate(words("desktop.common.cancel"));
  for (QAction* action : actions()) {
    const QVariant key = action->property("wordsKey");
    if (key.isValid()) action->setText(words(utf8(key.toString())));
  }
}

void MainWindow::createEditMenu() {
  editMenu_ = menuBar()->addMenu(QString());
  undo_ = editMenu_->addAction(QString(), this, [this] { context_.store.undo(); });
  undo_->setShortcut(QKeySequence::Undo);
  redo_ = editMenu_->addAction(QString(), this, [this] { context_.store.redo(); });
  redo_->setShortcuts(
      {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), QKeySequence(Qt::CTRL | Qt::Key_Y)});
  // A text field takes Ctrl+Z for its own typing (word by word); once it
  // is left, the next edit starts a step of the project's history.
  connect(qApp, &QApplication::focusChanged, this, [this] { context_.store.fieldLeft(); });
  updateEditMenu();
}

void MainWindow::updateEditMenu() {
  const Words words(context_.store);
  const UndoMenu& menu = context_.store.state().undo;
  editMenu_->setTitle(words("desktop.edit.menu"));
  undo_->setText(menu.undoName ? words.format("desktop.edit.undo", {*menu.undoName})
                               : words("desktop.edit.undo_nothing"));
  undo_->setEnabled(menu.undoName.has_value());
  redo_->setText(menu.redoName ? words.format("desktop.edit.redo", {*menu.redoName})
                               : words("desktop.edit.redo_nothing"));
  redo_->setEnabled(menu.redoName.has_value());
}

void MainWindow::showUndone() {
  const UndoMenu& menu = context_.store.state().undo;
  undoneShown_ = menu.carriedOut;
  if (!menu.shownSection) return showScreen(Screen::works);
  switch (*menu.shownSection) {
    case SaveSection::artworks:
      showProjectTab(ProjectTab::works);
      if (menu.shownArtworkId) board_->reveal(*menu.shownArtworkId);
      break;
    case SaveSection::bio:
    case SaveSection::statement:
    case SaveSection::projectStatement:
      showProjectTab(ProjectTab::texts);
      texts_->showSection(*menu.shownSection);
      break;
    case SaveSection::cv:
      showProjectTab(ProjectTab::cv);
      break;
    case SaveSection::details:
      showProjectTab(ProjectTab::details);
      break;
  }
}

void MainWindow::createShortcuts() {
  const auto shortcut = [this](const char* key, const QKeySequence& sequence, auto slot) {
    auto* action = new QAction(this);
    action->setProperty("wordsKey", QString::fromLatin1(key));
    action->setShortcut(sequence);
    action->setShortcutContext(Qt::WindowShortcut);
    connect(action, &QAction::triggered, this, slot);
    addAction(action);
  };
  shortcut("desktop.project.new", QKeySequence::New, [this] { newProject(); });
  shortcut("desktop.works.add_images", QKeySequence(Qt::CTRL | Qt::Key_I), [this] {
    showProjectTab(ProjectTab::works);
    board_->addImages();
  });
  // Ctrl+1…5: the open project's pages, in the order of their tabs.
  const std::pair<const char*, ProjectTab> tabs[] = {
      {"desktop.tab.works", ProjectTab::works},
      {"desktop.tab.texts", ProjectTab::texts},
      {"desktop.tab.cv", ProjectTab::cv},
      {"desktop.tab.details", ProjectTab::details},
      {"desktop.tab.export", ProjectTab::exportSheet}};
  for (std::size_t i = 0; i < std::size(tabs); ++i) {
    const ProjectTab tab = tabs[i].second;
    shortcut(tabs[i].first, QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + i)),
             [this, tab] { showProjectTab(tab); });
  }
  shortcut("desktop.nav.home", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_H),
           [this] { showScreen(Screen::home); });
  shortcut("desktop.nav.vault", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V),
           [this] { showScreen(Screen::vault); });
  shortcut("desktop.save.saved", QKeySequence::Save, [this] {
    // A number being typed counts as written once the user saves.
    inspector_->commitNumbers();
    context_.store.saveNow();
    header_->confirmSaved();
  });
  shortcut("desktop.nav.settings", QKeySequence::Preferences,
           [this] { showScreen(Screen::settings); });
  shortcut("desktop.nav.settings", QKeySequence(Qt::CTRL | Qt::Key_Comma),
           [this] { showScreen(Screen::settings); });
  shortcut("desktop.tab.export", QKeySequence(Qt::CTRL | Qt::Key_E),
           [this] { showProjectTab(ProjectTab::exportSheet); });
  // Escape leaves the export page for the works, as closing a sheet would.
  auto* leaveExport = new QAction(exportSheet_);
  leaveExport->setShortcut(QKeySequence(Qt::Key_Escape));
  leaveExport->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  connect(leaveExport, &QAction::triggered, this, [this] {
    if (!exportSheet_->isExporting()) showProjectTab(ProjectTab::works);
  });
  exportSheet_->addAction(leaveExport);
  shortcut("desktop.project.duplicate", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_D),
           [this] { duplicateProject(); });
  shortcut("desktop.backup.export", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E),
           [this] { exportBackup(); });
  shortcut("desktop.backup.import", QKeySequence::Open, [this] { importBackup(); });
  // Delete acts on the board only: in a text field it deletes text.
  auto* remove = new QAction(board_->grid().viewport());
  remove->setShortcuts({QKeySequence::Delete, QKeySequence(Qt::Key_Backspace)});
  remove->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  connect(remove, &QAction::triggered, board_, &WorksBoard::removeSelected);
  board_->grid().addAction(remove);
}

void MainWindow::showScreen(Screen screen) {
  screen_ = screen;
  switch (screen) {
    case Screen::home:
      pages_->setCurrentWidget(dashboard_);
      break;
    case Screen::works:
      pages_->setCurrentWidget(worksPage_);
      break;
    case Screen::vault:
      pages_->setCurrentWidget(vault_);
      break;
    case Screen::settings:
      pages_->setCurrentWidget(settings_);
      break;
    case Screen::deleted:
      pages_->setCurrentWidget(deleted_);
      break;
  }
  sidebar_->setScreen(screen);
}

GuidedEntryDialog* MainWindow::openGuidedEntry() {
  auto* guide = new GuidedEntryDialog(context_.store, this);
  guide->setAttribute(Qt::WA_DeleteOnClose);
  guide->ask = [this](const QString& message, const QString& action) {
    return ask(message, action);
  };
  guide->open();
  return guide;
}

void MainWindow::showProjectTab(ProjectTab tab) {
  projectTabs_->setCurrentIndex(static_cast<int>(tab));
  showScreen(Screen::works);
}

ProjectTab MainWindow::projectTab() const {
  return static_cast<ProjectTab>(projectTabs_->currentIndex());
}

void MainWindow::openProject(const std::string& projectId) {
  if (projectId == context_.store.state().project.id) return showScreen(Screen::works);
  // A click and an activation of the same row (single-click desktops send
  // both) open it once.
  if (projectId == opening_) return;
  opening_ = projectId;
  QPointer<MainWindow> window(this);
  context_.store.openProjectInBackground(projectId, [window](bool opened) {
    if (!window) return;
    window->opening_.clear();
    if (opened) window->showScreen(Screen::works);
  });
}

void MainWindow::newProject() {
  ProjectChanges changes;
  changes.name = utf8(Words(context_.store)("desktop.project.new_name"));
  // Ready to export at once with the artist's texts; the Texts and CV tabs
  // say they are shared and make copies.
  changes.shareLatestTexts = true;
  if (!context_.store.createProject(changes)) return;
  showScreen(Screen::works);
  // The user names it now: the name is selected, ready to be typed over.
  header_->nameField()->setFocus();
  header_->nameField()->selectAll();
}

void MainWindow::duplicateProject() {
  if (context_.store.duplicateProject()) showScreen(Screen::works);
}

void MainWindow::deleteProject() {
  const Words words(context_.store);
  const std::string name = context_.store.state().project.projectName;
  QString question = words.format("desktop.project.delete.confirm", {name});
  // The texts it shares are the other projects' too: they stay as they are.
  if (const std::string names = sharingProjectNames(context_.store.state()); !names.empty()) {
    question += QStringLiteral(" ") + words.format("desktop.project.delete.shared", {names});
  }
  if (!ask(question, words("desktop.project.delete.action"))) {
    return;
  }
  if (context_.store.deleteProject()) showScreen(Screen::home);
}

DeleteAllDialog* MainWindow::askToDeleteAll() {
  auto* dialog = new DeleteAllDialog(context_.store, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &DeleteAllDialog::backUpFirstRequested, this, &MainWindow::backUpAll,
          Qt::QueuedConnection);
  connect(dialog, &DeleteAllDialog::deleted, this, [this] { showScreen(Screen::home); });
  dialog->open();
  return dialog;
}

void MainWindow::exportBackup() {
  if (isBackupRunning()) return;
  const QString path = chooseSavePath(qstr(context_.store.projectPackageFileName()));
  if (path.isEmpty()) return;
  writeBackup(path, false);
}

void MainWindow::writeBackup(const QString& path, bool allowMissingOriginals) {
  PackageExportOptions options;
  options.replaceExisting = true;  // the dialog asked before replacing a file
  options.allowMissingOriginals = allowMissingOriginals;
  startBackupProgress("desktop.backup.exporting", options.cancel);
  QPointer<MainWindow> window(this);
  context_.store.exportProjectPackageInBackground(
      utf8(path), options,
      [window](const TransferProgress& at) {
        if (!window || !window->isBackupRunning()) return;
        const bool checking = at.phase == TransferProgress::Phase::checking;
        window->workStrip_->setText(Words(window->context_.store)(
            checking ? "desktop.backup.checking" : "desktop.backup.exporting"));
        window->workStrip_->setProgress(static_cast<int>(at.artworks),
                                        static_cast<int>(at.totalArtworks));
      },
      [window, path, allowMissingOriginals](const std::optional<WrittenPackage>& written) {
        if (!window) return;
        window->endBackupProgress();
        AppStore& store = window->context_.store;
        if (written || allowMissingOriginals || store.lastBackupMissingOriginals().empty() ||
            window->closeWhenDone_) {
          return;
        }
        // Works without a usable original: the user decides whether a
        // backup without their images is better than none.
        const Words words(store);
        const QString message = qstr(store.state().lastErrorMessage.value_or(""));
        if (window->ask(message, words("desktop.backup.without_missing"))) {
          window->writeBackup(path, true);
        }
      });
}

void MainWindow::backUpAll() {
  if (isBackupRunning()) return;
  const QString folder = chooseFolder();
  if (folder.isEmpty()) return;
  PackageExportOptions options;
  startBackupProgress("desktop.backup.exporting", options.cancel);
  QPointer<MainWindow> window(this);
  context_.store.exportAllProjectPackagesInBackground(
      utf8(folder), options,
      [window](std::size_t project, std::size_t projects, const TransferProgress& at) {
        if (!window || !window->isBackupRunning()) return;
        window->workStrip_->setText(
            Words(window->context_.store)
                .format("desktop.backup.all_progress",
                        {std::to_string(project + 1), std::to_string(projects)}));
        window->workStrip_->setProgress(static_cast<int>(at.artworks),
                                        static_cast<int>(at.totalArtworks));
      },
      [window, folder](const std::optional<AllBackups>& report) {
        if (!window) return;
        window->endBackupProgress();
        if (report && !window->closeWhenDone_) window->reportAllBackups(folder, *report);
      });
}

void MainWindow::reportAllBackups(const QString& folder, const AllBackups& report) {
  AppStore& store = context_.store;
  const Words words(store);
  const std::string language = store.language();
  std::size_t written = 0;
  QStringList lines;
  for (const ProjectBackup& backup : report.projects) {
    if (backup.written) {
      ++written;
      continue;
    }
    lines << words.format(
        "cli.package.all.project_failed",
        {utf8(words.format("package.quoted_title", {backup.projectName})), backup.failure});
  }
  lines.prepend(words.format(
      "desktop.backup.all_done",
      {std::to_string(written), std::to_string(report.projects.size()), utf8(folder)}));
  if (report.vaultOnly.empty()) return tell(lines.join(QStringLiteral("\n\n")));
  std::string titles;
  for (std::size_t i = 0; i < report.vaultOnly.size(); ++i) {
    titles += (titles.empty() ? "" : ", ") + workName(report.vaultOnly[i].title, i + 1, language);
  }
  const auto loose = static_cast<std::int64_t>(report.vaultOnly.size());
  lines << qstr(
      uiPlural("desktop.backup.vault_only", language, loose, {std::to_string(loose), titles}));
  if (!ask(lines.join(QStringLiteral("\n\n")), words("desktop.backup.gather_vault"))) return;
  // Gathered into a project of their own (opened), and that one backed up
  // beside the others.
  if (!store.gatherVaultOnlyArtworks()) return;
  // Under a name no backup in the folder has (the others' names are the
  // same but for their project's title).
  const QString name = qstr(store.projectPackageFileName());
  QString path = QDir(folder).filePath(name);
  for (int n = 2; QFileInfo::exists(path); ++n) {
    path = QDir(folder).filePath(name.chopped(9) + QStringLiteral("-%1.quorvane").arg(n));
  }
  writeBackup(path, false);
}

WebCvDialog* MainWindow::importWebCv(const QString& given) {
  // A field still being typed in is an edit the plan would not see.
  QWidget* focus = QApplication::focusWidget();
  const bool editing = focus != nullptr && isAncestorOf(focus) &&
                       (qobject_cast<QLineEdit*>(focus) != nullptr ||
                        qobject_cast<QPlainTextEdit*>(focus) != nullptr);
  if (editing) {
    tell(Words(context_.store)("cv.import.finishEditing"));
    return nullptr;
  }
  const QString path = given.isEmpty() ? chooseWebCvPath() : given;
  if (path.isEmpty()) return nullptr;
  auto* dialog = new WebCvDialog(context_.store, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->open();
  QPointer<WebCvDialog> shown(dialog);
  const bool started = context_.store.prepareWebCVImportInBackground(
      utf8(path), [shown](std::optional<PreparedWebCVImport> prepared) {
        if (!shown) return;
        if (!prepared) {
          shown->reject();  // the store said why
          return;
        }
        shown->showPlan(std::move(*prepared));
      });
  if (!started) {
    dialog->reject();
    return nullptr;
  }
  return dialog;
}

void MainWindow::importBackup(const QString& given) {
  if (isBackupRunning()) return;
  const QString path = given.isEmpty() ? chooseOpenPath() : given;
  if (path.isEmpty()) return;
  if (const auto present = context_.store.projectAlreadyInLibrary(utf8(path))) {
    const Words words(context_.store);
    if (!ask(words.format("desktop.backup.already_present", {*present}),
             words("desktop.backup.import_copy"))) {
      return;
    }
  }
  Cancellation cancel;
  startBackupProgress("desktop.backup.importing", cancel);
  QPointer<MainWindow> window(this);
  const bool started = context_.store.importProjectPackageInBackground({
      .path = utf8(path),
      .open = true,
      .progress =
          [window](const TransferProgress& at) {
            if (!window || !window->isBackupRunning()) return;
            window->workStrip_->setProgress(static_cast<int>(at.artworks),
                                            static_cast<int>(at.totalArtworks));
          },
      .step = {},
      .done =
          [window](const std::optional<std::string>& projectId) {
            if (!window) return;
            window->endBackupProgress();
            if (!projectId) return;  // the store said why
            window->showProjectTab(ProjectTab::works);
          },
      .cancel = cancel,
      .finishImagesAfter = true,
  });
  if (!started) endBackupProgress();
}

// The work strip under the pages while a backup is written or read; the
// window stays live above it (it is the store that runs the work, off the
// main thread).
void MainWindow::startBackupProgress(const char* titleKey, Cancellation cancel) {
  backupCancel_ = cancel;
  backupCloseKey_ = std::string_view(titleKey) == "desktop.backup.importing"
                        ? "desktop.close.importing"
                        : "desktop.close.backing_up";
  workStrip_->start(Words(context_.store)(titleKey), [cancel]() mutable { cancel.cancel(); });
}

void MainWindow::endBackupProgress() {
  if (!backupCancel_) return;
  backupCancel_.reset();
  workStrip_->finish();
  closeIfWaiting();
}

bool MainWindow::isBackupRunning() const { return backupCancel_.has_value(); }

std::optional<QString> MainWindow::workUnderWay() const {
  const Words words(context_.store);
  if (exportSheet_->isExporting()) return words("desktop.close.exporting");
  if (isBackupRunning()) return words(backupCloseKey_);
  if (board_->intake().isRunning()) return words("desktop.close.adding_images");
  return std::nullopt;
}

void MainWindow::stopWorkUnderWay() {
  exportSheet_->cancelExport();
  if (backupCancel_) backupCancel_->cancel();
  board_->intake().cancel();
}

void MainWindow::closeIfWaiting() {
  if (!closeWhenDone_ || workUnderWay()) return;
  // After the work's own end is told (its toast, its file).
  QTimer::singleShot(0, this, [this] { close(); });
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (!droppedPackages(*event->mimeData()).empty()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  const auto packages = droppedPackages(*event->mimeData());
  if (packages.empty()) return;
  event->acceptProposedAction();
  importBackup(qstr(packages.front()));
}

void MainWindow::showProjectMenu(const std::string& projectId, const QPoint& position) {
  const Words words(context_.store);
  QMenu menu(this);
  const bool isOpen = projectId == context_.store.state().project.id;
  if (!isOpen) {
    menu.addAction(words("desktop.project.open"), this,
                   [this, projectId] { openProject(projectId); });
    menu.exec(position);
    return;
  }
  menu.addAction(words("desktop.project.rename"), this, [this] {
    showScreen(Screen::works);
    header_->nameField()->setFocus();
    header_->nameField()->selectAll();
  });
  menu.addAction(words("desktop.project.duplicate"), this, &MainWindow::duplicateProject);
  menu.addSeparator();
  menu.addAction(words("desktop.backup.export"), this, &MainWindow::exportBackup);
  menu.addAction(words("desktop.backup.all"), this, &MainWindow::backUpAll);
  menu.addAction(words("desktop.backup.import"), this, [this] { importBackup(); });
  menu.addAction(words("desktop.webcv.open"), this, [this] { importWebCv(); });
  menu.addSeparator();
  menu.addAction(words("desktop.project.delete"), this, &MainWindow::deleteProject);
  menu.exec(position);
}

void MainWindow::showOversizedImages() {
  const Words words(context_.store);
  QMessageBox box(this);
  box.setWindowTitle(words("desktop.oversized.title"));
  QString list;
  for (const OversizedImageNotice& notice : context_.store.state().oversizedImageNotices) {
    list += QStringLiteral("• ") + qstr(notice.displayName) + QStringLiteral(" (") +
            QLocale(qstr(words.language()))
                .toString(static_cast<double>(notice.byteSize) / 1048576.0, 'f', 1) +
            QStringLiteral(" MB)\n");
  }
  box.setText(words.format("desktop.oversized.text",
                           {std::to_string(kMaximumOriginalBytes / (1024 * 1024))}));
  box.setDetailedText(list);
  box.exec();
}

bool MainWindow::isInspectorShown() const { return worksSplitter_->sizes().value(1) > 0; }

void MainWindow::showInspector(bool shown) {
  if (shown != isInspectorShown()) {
    const int total = worksSplitter_->width();
    const int inspector = std::max(inspector_->minimumWidth(), 320);
    worksSplitter_->setSizes({shown ? total - inspector : total, shown ? inspector : 0});
  }
  board_->detailsButton()->setChecked(shown);
}

void MainWindow::restoreLayout() {
  if (const auto geometry = context_.preferences.string(kGeometryKey)) {
    restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(*geometry)));
  }
  if (const auto splitters = context_.preferences.strings(kSplittersKey);
      splitters && splitters->size() == 2) {
    mainSplitter_->restoreState(QByteArray::fromBase64(QByteArray::fromStdString((*splitters)[0])));
    worksSplitter_->restoreState(
        QByteArray::fromBase64(QByteArray::fromStdString((*splitters)[1])));
  }
  board_->detailsButton()->setChecked(isInspectorShown());
}

void MainWindow::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  // Crossing into a small screen folds the inspector, so the board keeps
  // columns of works; crossing back brings it again. In between, the
  // user's own choice stands.
  const bool narrow = width() < kNarrowWidth;
  if (narrow == narrow_) return;
  narrow_ = narrow;
  showInspector(!narrow);
}

void MainWindow::rememberLayout() {
  context_.preferences.setString(kGeometryKey, saveGeometry().toBase64().toStdString());
  context_.preferences.setStrings(kSplittersKey,
                                  {mainSplitter_->saveState().toBase64().toStdString(),
                                   worksSplitter_->saveState().toBase64().toStdString()});
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (const std::optional<QString> work = workUnderWay()) {
    const Words words(context_.store);
    const QString message = words.format("desktop.close.question", {utf8(*work)});
    switch (closeWhenDone_ ? CloseAnswer::closeWhenDone : askOnClose(message)) {
      case CloseAnswer::keepOpen:
        closeWhenDone_ = false;
        return event->ignore();
      case CloseAnswer::closeWhenDone:
        closeWhenDone_ = true;
        return event->ignore();
      case CloseAnswer::stopAndClose:
        stopWorkUnderWay();
        break;
    }
  }
  rememberLayout();
  QMainWindow::closeEvent(event);
}

}  // namespace quorvane::gui
