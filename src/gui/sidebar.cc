#include "gui/sidebar.h"

#include <QApplication>
#include <QDragMoveEvent>
#include <QLabel>
#include <QListView>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>

#include "gui/backup_status.h"
#include "gui/project_list_model.h"
#include "gui/words.h"
#include "gui/works_board_model.h"

namespace quorvane::gui {
namespace {

// A project in two lines: its name, and its kind in a quieter colour; the
// open one on an accent background with a marker.
class ProjectDelegate final : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
    const QFontMetrics metrics(option.font);
    return {160, metrics.height() * 2 + 14};
  }

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QPalette& palette = option.palette;
    const QRect row = option.rect.adjusted(6, 1, -6, -1);
    const bool isOpen = index.data(ProjectListModel::IsOpenRole).toBool();
    // One row of the sidebar is lit at a time: the open project's only
    // while its pages are shown (elsewhere its bar still marks it).
    const bool isShown =
        isOpen && option.widget != nullptr && option.widget->property("projectShown").toBool();
    const bool hovered = option.state.testFlag(QStyle::State_MouseOver);
    if (isShown || hovered) {
      QColor fill = palette.color(QPalette::Highlight);
      fill.setAlpha(isShown ? 46 : 18);
      painter->setPen(Qt::NoPen);
      painter->setBrush(fill);
      painter->drawRoundedRect(row, 7, 7);
    }
    if (option.state.testFlag(QStyle::State_HasFocus)) {
      painter->setPen(QPen(palette.color(QPalette::Highlight), 1.5));
      painter->setBrush(Qt::NoBrush);
      painter->drawRoundedRect(QRectF(row).adjusted(0.75, 0.75, -0.75, -0.75), 7, 7);
    }
    if (isOpen) {
      painter->setBrush(palette.color(QPalette::Highlight));
      painter->drawRoundedRect(QRect(row.left() + 4, row.top() + 8, 3, row.height() - 16), 1.5,
                               1.5);
    }
    const QFontMetrics metrics(option.font);
    const QRect text = row.adjusted(14, 6, -8, -6);
    QFont nameFont = option.font;
    if (isShown) nameFont.setWeight(QFont::DemiBold);
    painter->setFont(nameFont);
    painter->setPen(palette.color(QPalette::WindowText));
    painter->drawText(
        QRect(text.left(), text.top(), text.width(), metrics.height()),
        Qt::AlignLeft | Qt::AlignVCenter,
        QFontMetrics(nameFont).elidedText(index.data().toString(), Qt::ElideRight, text.width()));
    QFont kindFont = option.font;
    kindFont.setPointSizeF(kindFont.pointSizeF() * 0.88);
    painter->setFont(kindFont);
    painter->setPen(palette.color(QPalette::PlaceholderText));
    painter->drawText(
        QRect(text.left(), text.top() + metrics.height() + 1, text.width(), metrics.height()),
        Qt::AlignLeft | Qt::AlignVCenter, index.data(ProjectListModel::KindRole).toString());
    painter->restore();
  }
};

QPushButton* navButton(QWidget* parent, const char* name) {
  auto* button = new QPushButton(parent);
  button->setObjectName(QString::fromLatin1(name));
  button->setProperty("nav", true);
  button->setCheckable(true);
  button->setFlat(true);
  button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  return button;
}

}  // namespace

Sidebar::Sidebar(DesktopContext context, QWidget* parent)
    : QWidget(parent),
      context_(context),
      projects_(new ProjectListModel(context.store, this)),
      brand_(new QLabel(QStringLiteral("Quorvane"), this)),
      home_(navButton(this, "navHome")),
      projectsHeading_(new QLabel(this)),
      list_(new QListView(this)),
      newProject_(navButton(this, "newProject")),
      vault_(navButton(this, "navVault")),
      settings_(navButton(this, "navSettings")),
      deleted_(navButton(this, "navDeleted")),
      backupTitle_(new QLabel(this)),
      backupState_(new QLabel(this)),
      reminder_(new QWidget(this)),
      reminderText_(new QLabel(reminder_)),
      reminderExport_(new QPushButton(reminder_)),
      reminderLater_(new QPushButton(reminder_)),
      subscription_(context.store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::reminders) || changes.has(StoreArea::settings) ||
            changes.has(StoreArea::background)) {
          updateBackup();
        }
        if (changes.has(StoreArea::projects)) updateDeleted();
      }) {
  setObjectName(QStringLiteral("sidebar"));
  setAttribute(Qt::WA_StyledBackground);
  setMinimumWidth(200);
  brand_->setObjectName(QStringLiteral("brand"));
  projectsHeading_->setObjectName(QStringLiteral("sidebarHeading"));
  newProject_->setCheckable(false);

  list_->setModel(projects_);
  list_->setItemDelegate(new ProjectDelegate(list_));
  list_->setFrameShape(QFrame::NoFrame);
  list_->setMouseTracking(true);
  list_->setContextMenuPolicy(Qt::CustomContextMenu);
  list_->setObjectName(QStringLiteral("projectList"));
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  list_->viewport()->setAcceptDrops(true);
  list_->viewport()->installEventFilter(this);

  backupTitle_->setObjectName(QStringLiteral("sidebarHeading"));
  backupState_->setObjectName(QStringLiteral("sidebarNote"));
  backupState_->setWordWrap(true);
  reminder_->setObjectName(QStringLiteral("reminder"));
  reminder_->setAttribute(Qt::WA_StyledBackground);
  reminderText_->setWordWrap(true);
  reminderExport_->setObjectName(QStringLiteral("primary"));
  // One above the other: side by side, the words of either button are cut
  // in a sidebar this narrow, in every language.
  auto* reminderButtons = new QVBoxLayout;
  reminderButtons->setSpacing(6);
  reminderButtons->addWidget(reminderExport_);
  reminderButtons->addWidget(reminderLater_);
  auto* reminderLayout = new QVBoxLayout(reminder_);
  reminderLayout->setContentsMargins(10, 10, 10, 10);
  reminderLayout->setSpacing(8);
  reminderLayout->addWidget(reminderText_);
  reminderLayout->addLayout(reminderButtons);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(10, 16, 10, 12);
  layout->setSpacing(2);
  layout->addWidget(brand_);
  layout->addSpacing(12);
  layout->addWidget(home_);
  layout->addSpacing(14);
  layout->addWidget(projectsHeading_);
  layout->addWidget(list_, 1);
  layout->addWidget(newProject_);
  layout->addSpacing(10);
  layout->addWidget(vault_);
  layout->addWidget(settings_);
  layout->addWidget(deleted_);
  layout->addSpacing(14);
  layout->addWidget(backupTitle_);
  layout->addWidget(backupState_);
  layout->addSpacing(6);
  layout->addWidget(reminder_);

  connect(home_, &QPushButton::clicked, this, [this] { emit screenChosen(Screen::home); });
  connect(vault_, &QPushButton::clicked, this, [this] { emit screenChosen(Screen::vault); });
  connect(settings_, &QPushButton::clicked, this, [this] { emit screenChosen(Screen::settings); });
  connect(deleted_, &QPushButton::clicked, this, [this] { emit screenChosen(Screen::deleted); });
  connect(newProject_, &QPushButton::clicked, this, &Sidebar::newProjectRequested);
  connect(list_, &QListView::clicked, this, [this](const QModelIndex& index) {
    emit projectChosen(utf8(index.data(ProjectListModel::ProjectIdRole).toString()));
  });
  connect(list_, &QListView::activated, this, [this](const QModelIndex& index) {
    emit projectChosen(utf8(index.data(ProjectListModel::ProjectIdRole).toString()));
  });
  connect(list_, &QListView::customContextMenuRequested, this, [this](const QPoint& point) {
    const QModelIndex index = list_->indexAt(point);
    if (!index.isValid()) return;
    emit projectMenuRequested(utf8(index.data(ProjectListModel::ProjectIdRole).toString()),
                              list_->viewport()->mapToGlobal(point));
  });
  connect(reminderExport_, &QPushButton::clicked, this, &Sidebar::exportBackupRequested);
  connect(reminderLater_, &QPushButton::clicked, this, [this] {
    const auto& level = context_.store.state().activeBackupReminderLevel;
    if (level) context_.store.dismissBackupReminder(*level, true);
  });

  retranslate();
}

bool Sidebar::eventFilter(QObject* watched, QEvent* event) {
  const bool dragging = event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove;
  if (watched != list_->viewport() || !dragging) return QWidget::eventFilter(watched, event);
  auto* drag = static_cast<QDragMoveEvent*>(event);
  if (!drag->mimeData()->hasFormat(kVaultArtworksMime)) {
    drag->ignore();
    return true;
  }
  // Entered is accepted so the moves keep coming; the list itself never
  // takes the drop, which belongs to the board.
  const QModelIndex index = list_->indexAt(drag->position().toPoint());
  const bool overOpenProject = index.isValid() && index.data(ProjectListModel::IsOpenRole).toBool();
  if (overOpenProject && screen_ != Screen::works) emit screenChosen(Screen::works);
  if (event->type() == QEvent::DragEnter) {
    drag->acceptProposedAction();
  } else {
    drag->ignore(list_->visualRect(index));
  }
  return true;
}

void Sidebar::setScreen(Screen screen) {
  screen_ = screen;
  home_->setChecked(screen == Screen::home);
  vault_->setChecked(screen == Screen::vault);
  settings_->setChecked(screen == Screen::settings);
  deleted_->setChecked(screen == Screen::deleted);
  list_->setProperty("projectShown", screen == Screen::works);
  list_->viewport()->update();
}

void Sidebar::retranslate() {
  const Words words(context_.store);
  home_->setText(words("desktop.nav.home"));
  home_->setAccessibleName(words("desktop.nav.home"));
  projectsHeading_->setText(words("desktop.nav.projects").toUpper());
  list_->setAccessibleName(words("desktop.nav.projects"));
  newProject_->setText(QStringLiteral("+  ") + words("desktop.project.new"));
  newProject_->setAccessibleName(words("desktop.project.new"));
  newProject_->setToolTip(words("desktop.project.new") + QStringLiteral("  (Ctrl+N)"));
  vault_->setText(words("desktop.nav.vault"));
  vault_->setAccessibleName(words("desktop.nav.vault"));
  settings_->setText(words("desktop.nav.settings"));
  settings_->setAccessibleName(words("desktop.nav.settings"));
  deleted_->setText(words("desktop.nav.deleted"));
  deleted_->setAccessibleName(words("desktop.nav.deleted"));
  updateDeleted();
  backupTitle_->setText(words("desktop.backup.heading").toUpper());
  reminderExport_->setText(words("backup.reminder.soft.cta_export"));
  reminderExport_->setAccessibleName(words("backup.reminder.soft.cta_export"));
  reminderLater_->setText(words("backup.reminder.soft.cta_later"));
  reminderLater_->setAccessibleName(words("backup.reminder.soft.cta_later"));
  projects_->refresh();
  updateBackup();
}

void Sidebar::updateDeleted() {
  deleted_->setVisible(!context_.store.state().deletedProjects.empty() ||
                       screen_ == Screen::deleted);
}

void Sidebar::updateBackup() {
  const Words words(context_.store);
  const AppState& state = context_.store.state();
  QString text = lastBackupText(words, state.backupReminderState, context_.clock.now());
  const QString changes = changesSinceBackupText(words, state.backupReminderState);
  if (!changes.isEmpty()) text += QStringLiteral("\n") + changes;
  if (const QString finishing = finalizationText(words, state); !finishing.isEmpty()) {
    text += QStringLiteral("\n") + finishing;
  }
  backupState_->setText(text);
  backupState_->setAccessibleName(text);
  const QString reminder = reminderText(words, state);
  const QString reason = reminderReasonText(words, state, context_.clock.now());
  reminderText_->setText(reason.isEmpty() ? reminder : reminder + QStringLiteral("\n") + reason);
  reminder_->setVisible(!reminder.isEmpty());
  // Each strength has its own words: a strong reminder is not put off
  // "later" but "not now".
  const auto level = state.activeBackupReminderLevel.value_or(BackupReminderLevel::soft);
  const char* exportKey = level == BackupReminderLevel::soft ? "backup.reminder.soft.cta_export"
                          : level == BackupReminderLevel::strong
                              ? "backup.reminder.strong.cta_export"
                              : "backup.reminder.large_edit.cta_export";
  const char* laterKey = level == BackupReminderLevel::soft ? "backup.reminder.soft.cta_later"
                                                            : "backup.reminder.strong.cta_not_now";
  reminderExport_->setText(words(exportKey));
  reminderExport_->setAccessibleName(words(exportKey));
  reminderLater_->setText(words(laterKey));
  reminderLater_->setAccessibleName(words(laterKey));
  reminder_->setProperty("level", state.activeBackupReminderLevel
                                      ? qstr(rawValue(*state.activeBackupReminderLevel))
                                      : QString());
}

}  // namespace quorvane::gui
