// The window: the sidebar, and beside it Home, the works of the open
// project (header, board, inspector), the Vault or Settings; the toasts
// over it all. It shows the store's state and calls its commands; the
// rules are the store's.
#pragma once

#include <QMainWindow>
#include <functional>
#include <optional>
#include <string>

#include "gui/desktop_context.h"
#include "gui/sidebar.h"
#include "gui/store_subscription.h"
#include "platform/cancellation.h"

class QSplitter;
class QStackedWidget;
class QTabBar;

namespace quorvane::gui {

class CvPage;
class Dashboard;
class DeleteAllDialog;
class DeletedProjectsPage;
class DetailsPage;
class ExportSheet;
class GuidedEntryDialog;
class Inspector;
class ProjectHeader;
class SettingsPage;
class TextsPage;
class ToastView;
class VaultView;
class WebCvDialog;
class WorksBoard;
class WorkStrip;

// The open project's pages, under its header.
enum class ProjectTab { works, texts, cv, details, exportSheet };

class MainWindow final : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(DesktopContext context, QWidget* parent = nullptr);
  ~MainWindow() override;

  // Asking the user, replaced by tests: a path to save at, …
  std::function<QString(const QString& suggestedName)> chooseSavePath;
  std::function<QString()> chooseOpenPath;   // a backup to import
  std::function<QString()> chooseFolder;     // where to put every project's backup
  std::function<QString()> chooseWebCvPath;  // a web CV generator's export
  std::function<void(const QString& message)> tell;
  // Whether to take the action named `action` after `message` (which may
  // lose something); Cancel is the default and Escape's answer.
  std::function<bool(const QString& message, const QString& action)> ask;
  // What to do about work still running when the window is closed:
  // `message` says which work.
  enum class CloseAnswer { keepOpen, closeWhenDone, stopAndClose };
  std::function<CloseAnswer(const QString& message)> askOnClose;

  void showScreen(Screen screen);
  Screen screen() const { return screen_; }
  // Shows the project's page `tab` (and the project's screen).
  void showProjectTab(ProjectTab tab);
  ProjectTab projectTab() const;
  void openProject(const std::string& projectId);
  // Shows or folds the inspector beside the board.
  void showInspector(bool shown);
  bool isInspectorShown() const;
  void newProject();
  void duplicateProject();
  void deleteProject();
  // The dialog that deletes everything, open over the window.
  DeleteAllDialog* askToDeleteAll();
  void exportBackup();
  // Backs up every project into a folder (asked for), one package each;
  // says what was written, and offers to gather the works only the Vault
  // holds into a project of their own, backed up too.
  void backUpAll();
  // Imports the backup at `path` (asked for when empty) as a new project
  // and opens it; its images are finished in the background after.
  void importBackup(const QString& path = {});
  bool isBackupRunning() const;
  // Whether closing now would lose work under way (an export, a backup
  // written or read, images being added), and which, in words.
  std::optional<QString> workUnderWay() const;
  WorkStrip& workStrip() { return *workStrip_; }
  // Plans the web CV at `path` (asked for when empty) against the open
  // project: the dialog opens at once saying the file is read, then shows
  // the plan, or closes when the file can't be taken (the store says why).
  // Nothing while a field is being edited.
  WebCvDialog* importWebCv(const QString& path = {});
  // The CV's guided entry, over the window.
  GuidedEntryDialog* openGuidedEntry();

  const DesktopContext& context() const { return context_; }
  Sidebar& sidebar() { return *sidebar_; }
  Dashboard& dashboard() { return *dashboard_; }
  WorksBoard& board() { return *board_; }
  Inspector& inspector() { return *inspector_; }
  ProjectHeader& header() { return *header_; }
  VaultView& vault() { return *vault_; }
  SettingsPage& settings() { return *settings_; }
  DeletedProjectsPage& deletedProjects() { return *deleted_; }
  ExportSheet& exportSheet() { return *exportSheet_; }
  TextsPage& texts() { return *texts_; }
  CvPage& cv() { return *cv_; }
  DetailsPage& details() { return *details_; }
  ToastView& toastView() { return *toast_; }
  // Edit → Undo and Redo, named after the step they would take.
  QAction& undoAction() { return *undo_; }
  QAction& redoAction() { return *redo_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void storeChanged(const StoreChanges& changes);
  void retranslate();
  void applyAppearance();
  void createShortcuts();
  void createEditMenu();
  void updateEditMenu();
  // After an undo or redo: the page (and the work) it brought back.
  void showUndone();
  void showProjectMenu(const std::string& projectId, const QPoint& position);
  void showOversizedImages();
  // Writes the open project's backup at `path`; a refusal for works
  // without a usable original offers to write it without their images.
  void writeBackup(const QString& path, bool allowMissingOriginals);
  void reportAllBackups(const QString& folder, const AllBackups& report);
  // The work strip for a backup written or read; its Cancel sets `cancel`.
  void startBackupProgress(const char* titleKey, Cancellation cancel);
  void endBackupProgress();
  // Closes the window once nothing runs, when the user chose to wait.
  void closeIfWaiting();
  void stopWorkUnderWay();
  void restoreLayout();
  void rememberLayout();

  DesktopContext context_;
  Screen screen_ = Screen::home;
  QMenu* editMenu_ = nullptr;
  QAction* undo_ = nullptr;
  QAction* redo_ = nullptr;
  std::uint64_t undoneShown_ = 0;
  std::string opening_;  // the project being opened in the background
  std::string language_;
  ThemeMode theme_ = ThemeMode::system;
  Sidebar* sidebar_;
  QStackedWidget* pages_;
  Dashboard* dashboard_;
  QWidget* worksPage_;
  ProjectHeader* header_;
  QTabBar* projectTabs_;
  QStackedWidget* projectPages_;
  QSplitter* worksSplitter_;
  WorksBoard* board_;
  Inspector* inspector_;
  TextsPage* texts_;
  CvPage* cv_;
  DetailsPage* details_;
  ExportSheet* exportSheet_;
  VaultView* vault_;
  SettingsPage* settings_;
  DeletedProjectsPage* deleted_;
  QSplitter* mainSplitter_;
  ToastView* toast_;
  WorkStrip* workStrip_ = nullptr;
  std::optional<Cancellation> backupCancel_;  // while a backup is written or read
  const char* backupCloseKey_ = "";           // which, in the close question
  bool closeWhenDone_ = false;
  // Below this width the inspector starts folded.
  static constexpr int kNarrowWidth = 1000;
  bool narrow_ = false;
  QPalette systemPalette_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
