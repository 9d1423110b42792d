#include "gui/deleted_projects_page.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>
#include <memory>

#include "gui/project_list_model.h"
#include "gui/scrolling.h"
#include "gui/words.h"

namespace quorvane::gui {

DeletedProjectsPage::DeletedProjectsPage(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      title_(new QLabel(this)),
      subtitle_(new QLabel(this)),
      empty_(new QLabel(this)),
      rows_(new QWidget(this)),
      rowsLayout_(new QVBoxLayout(rows_)),
      subscription_(store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::projects)) fill();
      }) {
  setObjectName(QStringLiteral("deletedProjectsPage"));
  title_->setObjectName(QStringLiteral("pageTitle"));
  subtitle_->setObjectName(QStringLiteral("secondaryText"));
  subtitle_->setWordWrap(true);
  empty_->setObjectName(QStringLiteral("secondaryText"));
  rowsLayout_->setContentsMargins(0, 0, 0, 0);
  rowsLayout_->setSpacing(8);

  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  layout->setContentsMargins(32, 28, 32, 28);
  layout->setSpacing(10);
  layout->addWidget(title_);
  layout->addWidget(subtitle_);
  layout->addSpacing(12);
  layout->addWidget(empty_);
  layout->addWidget(rows_);
  layout->addStretch();
  page->setMaximumWidth(900);
  fillWithScrolling(this, page);
  retranslate();
}

void DeletedProjectsPage::retranslate() {
  const Words words(store_);
  title_->setText(words("desktop.nav.deleted"));
  subtitle_->setText(words("desktop.deleted.subtitle"));
  empty_->setText(words("desktop.deleted.empty"));
  fill();
}

QPushButton* DeletedProjectsPage::restoreButton(const std::string& projectId) const {
  for (QPushButton* button : rows_->findChildren<QPushButton*>()) {
    if (button->property("projectId").toString() == qstr(projectId)) return button;
  }
  return nullptr;
}

void DeletedProjectsPage::fill() {
  while (QLayoutItem* taken = rowsLayout_->takeAt(0)) {
    const std::unique_ptr<QLayoutItem> item(taken);
    if (QWidget* row = item->widget()) {
      row->setParent(nullptr);  // out of the page now, freed by the event loop
      row->deleteLater();
    }
  }
  const Words words(store_);
  const QLocale locale(qstr(words.language()));
  const std::vector<ProjectSummary>& deleted = store_.state().deletedProjects;
  empty_->setVisible(deleted.empty());
  for (const ProjectSummary& project : deleted) {
    auto* row = new QWidget(rows_);
    row->setObjectName(QStringLiteral("deletedProjectRow"));
    row->setAttribute(Qt::WA_StyledBackground);
    auto* name = new QLabel(qstr(project.projectName), row);
    name->setObjectName(QStringLiteral("cardTitle"));
    QString about = projectKindText(store_, project.kind, project.catalogueKind);
    if (project.deletedAt) {
      const QDateTime when =
          QDateTime::fromMSecsSinceEpoch(millisecondsSince1970(*project.deletedAt));
      about += QStringLiteral(" · ") +
               words.format("desktop.deleted.when",
                            {utf8(locale.toString(when.date(), QLocale::LongFormat))});
    }
    auto* details = new QLabel(about, row);
    details->setObjectName(QStringLiteral("secondaryText"));
    auto* restore = new QPushButton(words("desktop.deleted.restore"), row);
    restore->setProperty("projectId", qstr(project.id));
    restore->setAccessibleName(words("desktop.deleted.restore") + QStringLiteral(" ") +
                               qstr(project.projectName));
    const std::string id = project.id;
    connect(restore, &QPushButton::clicked, this, [this, id] { store_.restoreProject(id); });
    auto* text = new QVBoxLayout;
    text->setSpacing(2);
    text->addWidget(name);
    text->addWidget(details);
    auto* line = new QHBoxLayout(row);
    line->setContentsMargins(14, 10, 14, 10);
    line->addLayout(text, 1);
    line->addWidget(restore, 0, Qt::AlignVCenter);
    rowsLayout_->addWidget(row);
  }
}

}  // namespace quorvane::gui
