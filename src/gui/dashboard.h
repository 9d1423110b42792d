// Home: the library's figures (projects, artworks, texts written, CVs), the
// recent projects with a cover each, the backup state with "Export backup",
// and the first steps while the library is empty.
#pragma once

#include <QWidget>
#include <map>

#include "gui/desktop_context.h"
#include "gui/store_subscription.h"

class QHBoxLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace quorvane::gui {

class BoardPictures;

// The four figures the dashboard shows, in order.
struct DashboardFigures {
  std::int64_t projects = 0;
  std::int64_t artworks = 0;
  std::int64_t texts = 0;  // biographies and statements written
  std::int64_t cvs = 0;
  bool operator==(const DashboardFigures&) const = default;
};
DashboardFigures dashboardFigures(std::size_t projectCount, const LibraryKPIOverview& counts);

class Dashboard final : public QWidget {
  Q_OBJECT

 public:
  explicit Dashboard(DesktopContext context, QWidget* parent = nullptr);
  // Reads the figures again (after the pending saves).
  void refresh();
  void retranslate();
  const DashboardFigures& figures() const { return figures_; }
  // The text a figure's card shows, for tests and accessibility.
  QString figureText(int index) const;

 signals:
  void projectChosen(const std::string& projectId);
  void exportBackupRequested();
  void backUpAllRequested();
  void importBackupRequested();
  void addImagesRequested();
  void newProjectRequested();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void showFigures();
  void showRecent();
  void showBackup();

  DesktopContext context_;
  DashboardFigures figures_;
  bool loaded_ = false;
  QLabel* heading_;
  QLabel* subheading_;
  std::vector<QLabel*> figureValues_;
  std::vector<QLabel*> figureLabels_;
  QLabel* recentHeading_;
  QHBoxLayout* recent_;  // the cards, then a stretch
  QWidget* firstSteps_;
  QLabel* firstStepsText_;
  QPushButton* firstAdd_;
  QLabel* backupHeading_;
  QLabel* backupState_;
  QPushButton* exportBackup_;
  QPushButton* backUpAll_;
  QPushButton* importBackup_;
  BoardPictures* covers_;
  StoreSubscription subscription_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace quorvane::gui
