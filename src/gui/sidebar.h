// The window's left column: Home, the projects (newest first, the open one
// marked, its kind beneath), "New project", the Vault and Settings, and at
// its foot the backup state with the reminder when one is due.
#pragma once

#include <QWidget>

#include "gui/desktop_context.h"
#include "gui/store_subscription.h"

class QLabel;
class QListView;
class QPushButton;

namespace quorvane::gui {

class ProjectListModel;

enum class Screen { home, works, vault, settings, deleted };

class Sidebar final : public QWidget {
  Q_OBJECT

 public:
  explicit Sidebar(DesktopContext context, QWidget* parent = nullptr);

  ProjectListModel& projects() { return *projects_; }
  QListView& projectList() { return *list_; }
  void setScreen(Screen screen);
  void retranslate();
  // The reminder due, and why it is (hidden when none is).
  QLabel* reminderLine() const { return reminderText_; }

 signals:
  void screenChosen(Screen screen);
  void projectChosen(const std::string& projectId);
  void newProjectRequested();
  void exportBackupRequested();
  void projectMenuRequested(const std::string& projectId, const QPoint& globalPosition);

 protected:
  // Works dragged from the Vault over the open project's row bring up its
  // board, so they can be dropped in place there (a spring-loaded folder).
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void updateBackup();
  void updateDeleted();

  DesktopContext context_;
  Screen screen_ = Screen::home;
  ProjectListModel* projects_;
  QLabel* brand_;
  QPushButton* home_;
  QLabel* projectsHeading_;
  QListView* list_;
  QPushButton* newProject_;
  QPushButton* vault_;
  QPushButton* settings_;
  QPushButton* deleted_;  // shown while a deleted project can be restored
  QLabel* backupTitle_;
  QLabel* backupState_;
  QWidget* reminder_;
  QLabel* reminderText_;
  QPushButton* reminderExport_;
  QPushButton* reminderLater_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
