#include "gui/dashboard.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/backup_status.h"
#include "gui/board_pictures.h"
#include "gui/project_list_model.h"
#include "gui/scrolling.h"
#include "gui/words.h"

namespace quorvane::gui {
namespace {

constexpr int kCoverEdge = 150;
constexpr int kRecentShown = 4;  // one row beside the widest sidebar
constexpr const char* kFigureKeys[] = {"desktop.home.figure.projects",
                                       "desktop.home.figure.artworks", "desktop.home.figure.texts",
                                       "desktop.home.figure.cvs"};

QFrame* card(QWidget* parent) {
  auto* frame = new QFrame(parent);
  frame->setObjectName(QStringLiteral("card"));
  return frame;
}

// A recent project: its cover, name and kind; a click opens it.
class ProjectCard final : public QFrame {
 public:
  ProjectCard(const std::string& projectId, std::function<void(const std::string&)> open,
              QWidget* parent)
      : QFrame(parent), projectId_(projectId), open_(std::move(open)) {
    setObjectName(QStringLiteral("projectCard"));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
  }

 protected:
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() == Qt::LeftButton) open_(projectId_);
  }
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Space) return open_(projectId_);
    QFrame::keyPressEvent(event);
  }

 private:
  std::string projectId_;
  std::function<void(const std::string&)> open_;
};

}  // namespace

DashboardFigures dashboardFigures(std::size_t projectCount, const LibraryKPIOverview& counts) {
  return DashboardFigures{static_cast<std::int64_t>(projectCount), counts.artworksCount,
                          counts.bioCount + counts.statementCount, counts.cvCount};
}

Dashboard::Dashboard(DesktopContext context, QWidget* parent)
    : QWidget(parent),
      context_(context),
      heading_(new QLabel(this)),
      subheading_(new QLabel(this)),
      recentHeading_(new QLabel(this)),
      recent_(new QHBoxLayout),
      firstSteps_(card(this)),
      firstStepsText_(new QLabel(firstSteps_)),
      firstAdd_(new QPushButton(firstSteps_)),
      backupHeading_(new QLabel(this)),
      backupState_(new QLabel(this)),
      exportBackup_(new QPushButton(this)),
      backUpAll_(new QPushButton(this)),
      importBackup_(new QPushButton(this)),
      covers_(new BoardPictures(context.store, kCoverEdge, this)),
      subscription_(context.store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::reminders)) showBackup();
        if (changes.has(StoreArea::projects) || changes.has(StoreArea::project)) showRecent();
        if (changes.has(StoreArea::settings)) retranslate();
      }) {
  heading_->setObjectName(QStringLiteral("pageTitle"));
  subheading_->setObjectName(QStringLiteral("secondaryText"));
  recentHeading_->setObjectName(QStringLiteral("sectionHeading"));
  backupHeading_->setObjectName(QStringLiteral("sectionHeading"));
  backupState_->setObjectName(QStringLiteral("secondaryText"));
  exportBackup_->setObjectName(QStringLiteral("exportBackup"));
  backUpAll_->setObjectName(QStringLiteral("backUpAll"));
  importBackup_->setObjectName(QStringLiteral("importBackup"));
  firstAdd_->setObjectName(QStringLiteral("primary"));
  firstStepsText_->setWordWrap(true);
  firstStepsText_->setTextFormat(Qt::RichText);

  auto* figures = new QHBoxLayout;
  figures->setSpacing(12);
  for (int i = 0; i < 4; ++i) {
    QFrame* figure = card(this);
    auto* value = new QLabel(QStringLiteral("–"), figure);
    value->setObjectName(QStringLiteral("figureValue"));
    auto* label = new QLabel(figure);
    label->setObjectName(QStringLiteral("secondaryText"));
    auto* layout = new QVBoxLayout(figure);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->addWidget(value);
    layout->addWidget(label);
    figures->addWidget(figure, 1);
    figureValues_.push_back(value);
    figureLabels_.push_back(label);
  }

  auto* firstLayout = new QVBoxLayout(firstSteps_);
  firstLayout->setContentsMargins(20, 18, 20, 18);
  firstLayout->setSpacing(12);
  firstLayout->addWidget(firstStepsText_);
  firstLayout->addWidget(firstAdd_, 0, Qt::AlignLeft);

  recent_->setSpacing(14);

  // The state on a line of its own, the actions beneath: a long state (or
  // long words in another language) never pushes a button off the page.
  backupState_->setWordWrap(true);
  auto* backupRow = new QHBoxLayout;
  backupRow->addWidget(exportBackup_);
  backupRow->addWidget(backUpAll_);
  backupRow->addWidget(importBackup_);
  backupRow->addStretch(1);

  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  layout->setContentsMargins(32, 28, 32, 28);
  layout->setSpacing(10);
  layout->addWidget(heading_);
  layout->addWidget(subheading_);
  layout->addSpacing(12);
  layout->addLayout(figures);
  layout->addSpacing(18);
  layout->addWidget(firstSteps_);
  layout->addWidget(recentHeading_);
  layout->addLayout(recent_);
  layout->addSpacing(18);
  layout->addWidget(backupHeading_);
  layout->addWidget(backupState_);
  layout->addLayout(backupRow);
  layout->addStretch();
  page->setMaximumWidth(1100);

  fillWithScrolling(this, page);

  connect(exportBackup_, &QPushButton::clicked, this, &Dashboard::exportBackupRequested);
  connect(backUpAll_, &QPushButton::clicked, this, &Dashboard::backUpAllRequested);
  connect(importBackup_, &QPushButton::clicked, this, &Dashboard::importBackupRequested);
  connect(firstAdd_, &QPushButton::clicked, this, &Dashboard::addImagesRequested);
  connect(covers_, &BoardPictures::pictureReady, this, [this] { showRecent(); });
  retranslate();
}

void Dashboard::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  refresh();
}

void Dashboard::refresh() {
  std::weak_ptr<bool> alive = alive_;
  context_.store.libraryCountsInBackground([this, alive](const LibraryKPIOverview& counts) {
    if (alive.expired()) return;
    figures_ = dashboardFigures(context_.store.state().projects.size(), counts);
    loaded_ = true;
    showFigures();
  });
}

QString Dashboard::figureText(int index) const {
  return figureValues_.at(static_cast<std::size_t>(index))->text();
}

void Dashboard::retranslate() {
  const Words words(context_.store);
  for (std::size_t i = 0; i < figureLabels_.size(); ++i)
    figureLabels_[i]->setText(words(kFigureKeys[i]));
  recentHeading_->setText(words("desktop.home.recent"));
  backupHeading_->setText(words("desktop.backup.heading"));
  exportBackup_->setText(words("desktop.backup.export"));
  exportBackup_->setAccessibleName(words("desktop.backup.export"));
  backUpAll_->setText(words("desktop.backup.all"));
  backUpAll_->setAccessibleName(words("desktop.backup.all"));
  importBackup_->setText(words("desktop.backup.import"));
  importBackup_->setAccessibleName(words("desktop.backup.import"));
  firstAdd_->setText(words("desktop.works.add_images"));
  firstAdd_->setAccessibleName(words("desktop.works.add_images"));
  firstStepsText_->setText(
      QStringLiteral("<b>") + words("desktop.home.first.title").toHtmlEscaped() +
      QStringLiteral("</b><ol style='margin-left:-20px'><li>") +
      words("desktop.home.first.step1").toHtmlEscaped() + QStringLiteral("</li><li>") +
      words("desktop.home.first.step2").toHtmlEscaped() + QStringLiteral("</li><li>") +
      words("desktop.home.first.step3").toHtmlEscaped() + QStringLiteral("</li></ol>"));
  showFigures();
  showRecent();
  showBackup();
}

void Dashboard::showFigures() {
  const Words words(context_.store);
  const std::int64_t values[] = {figures_.projects, figures_.artworks, figures_.texts,
                                 figures_.cvs};
  for (std::size_t i = 0; i < figureValues_.size(); ++i) {
    figureValues_[i]->setText(loaded_ ? QLocale(qstr(words.language())).toString(values[i])
                                      : QStringLiteral("–"));
    figureValues_[i]->parentWidget()->setAccessibleName(
        figureLabels_[i]->text() + QStringLiteral(": ") + figureValues_[i]->text());
  }
  const bool empty = loaded_ && figures_.artworks == 0;
  heading_->setText(words(empty ? "desktop.home.welcome_new" : "desktop.home.welcome"));
  subheading_->setText(words(empty ? "desktop.home.subtitle_new" : "desktop.home.subtitle"));
  firstSteps_->setVisible(empty);
}

void Dashboard::showRecent() {
  while (QLayoutItem* item = recent_->takeAt(0)) {
    // The cards are rebuilt; an old one may be the very card whose click
    // opened a project, still in its event handler: it goes once that ends.
    if (QWidget* old = item->widget()) {
      old->hide();
      old->deleteLater();
    }
    delete item;  // a layout item owns nothing
  }
  const Words words(context_.store);
  const AppState& state = context_.store.state();
  int shown = 0;
  for (const ProjectSummary& summary : state.projects) {
    if (shown == kRecentShown) break;
    const bool isOpen = summary.id == state.project.id;
    const std::optional<std::string> cover =
        isOpen ? (state.snapshot.artworks.images.empty()
                      ? std::nullopt
                      : std::optional<std::string>(state.snapshot.artworks.images.front().id))
               : summary.coverArtworkId;
    const std::int64_t artworks =
        isOpen ? static_cast<std::int64_t>(state.snapshot.artworks.images.size())
               : summary.artworkCount;
    auto* projectCard = new ProjectCard(
        summary.id, [this](const std::string& id) { emit projectChosen(id); }, this);
    auto* picture = new QLabel(projectCard);
    picture->setObjectName(QStringLiteral("cover"));
    picture->setFixedSize(kCoverEdge + 20, kCoverEdge);
    picture->setAlignment(Qt::AlignCenter);
    if (cover) {
      const QPixmap pixmap = covers_->picture(*cover);
      if (!pixmap.isNull())
        picture->setPixmap(
            pixmap.scaled(picture->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    }
    auto* name = new QLabel(projectCard);
    name->setObjectName(QStringLiteral("cardTitle"));
    name->setText(QFontMetrics(name->font())
                      .elidedText(qstr(summary.projectName), Qt::ElideRight, kCoverEdge + 10));
    name->setToolTip(qstr(summary.projectName));
    auto* kind =
        new QLabel(projectKindText(context_.store, summary.kind, summary.catalogueKind) +
                       QStringLiteral(" · ") + words.count("desktop.count.artworks", artworks),
                   projectCard);
    kind->setObjectName(QStringLiteral("secondaryText"));
    auto* layout = new QVBoxLayout(projectCard);
    layout->setContentsMargins(10, 10, 10, 12);
    layout->setSpacing(4);
    layout->addWidget(picture);
    layout->addWidget(name);
    layout->addWidget(kind);
    projectCard->setAccessibleName(qstr(summary.projectName));
    recent_->addWidget(projectCard, 0, Qt::AlignTop);
    ++shown;
  }
  recent_->addStretch(1);
  recentHeading_->setVisible(shown > 0);
}

void Dashboard::showBackup() {
  const Words words(context_.store);
  const BackupReminderState& state = context_.store.state().backupReminderState;
  QString text = lastBackupText(words, state, context_.clock.now());
  const QString changes = changesSinceBackupText(words, state);
  if (!changes.isEmpty()) text += QStringLiteral(" · ") + changes;
  backupState_->setText(text);
}

}  // namespace quorvane::gui
