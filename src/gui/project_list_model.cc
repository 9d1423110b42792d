#include "gui/project_list_model.h"

#include <QDateTime>
#include <QLocale>
#include <algorithm>

#include <QFont>
#include <algorithm>

#include "gui/words.h"
#include "model/document_kind_words.h"

namespace quorvane::gui {

QString projectKindText(const AppStore& store, ProjectKind kind,
                        std::optional<CatalogueKind> catalogueKind) {
  return Words(store)(projectKindKey(kind, catalogueKind));
}

std::vector<ProjectSummary> sidebarOrder(std::vector<ProjectSummary> projects) {
  std::stable_sort(projects.begin(), projects.end(),
                   [](const ProjectSummary& a, const ProjectSummary& b) {
                     const auto aMs = a.createdAt ? millisecondsSince1970(*a.createdAt) : 0;
                     const auto bMs = b.createdAt ? millisecondsSince1970(*b.createdAt) : 0;
                     if (aMs != bMs) return aMs > bMs;
                     return a.projectName < b.projectName;
                   });
  return projects;
}

ProjectListModel::ProjectListModel(AppStore& store, QObject* parent)
    : QAbstractListModel(parent),
      store_(store),
      subscription_(store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::projects) || changes.has(StoreArea::project) ||
            changes.has(StoreArea::settings)) {
          refresh();
        }
      }) {
  refresh();
}

void ProjectListModel::refresh() {
  std::vector<ProjectSummary> rows = sidebarOrder(store_.state().projects);
  // The open project, even before its first save puts it in the list.
  const Project& open = store_.state().project;
  if (std::none_of(rows.begin(), rows.end(),
                   [&](const ProjectSummary& p) { return p.id == open.id; })) {
    rows.insert(rows.begin(), ProjectSummary::of(open));
  }
  if (rows.size() == rows_.size()) {
    rows_ = std::move(rows);
    if (!rows_.empty()) emit dataChanged(index(0), index(static_cast<int>(rows_.size()) - 1));
    return;
  }
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
}

int ProjectListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int ProjectListModel::openRow() const {
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].id == store_.state().project.id) return static_cast<int>(i);
  }
  return -1;
}

QString ProjectListModel::displayName(const ProjectSummary& project) const {
  const QLocale locale(qstr(store_.language()));
  const auto when = [&](const std::optional<Date>& date) {
    if (!date) return QString();
    return locale.toString(QDateTime::fromMSecsSinceEpoch(millisecondsSince1970(*date)),
                           QLocale::ShortFormat);
  };
  bool sameName = false;
  bool sameCreation = false;
  for (const ProjectSummary& row : rows_) {
    if (row.id == project.id || row.projectName != project.projectName) continue;
    sameName = true;
    sameCreation = sameCreation || when(row.createdAt) == when(project.createdAt);
  }
  if (!sameName) return qstr(project.projectName);
  // Two projects of one name (a backup imported as a copy): told apart by
  // when each was made — or, a copy keeping its original's creation date,
  // by when each last changed.
  const QString date = sameCreation ? when(project.updatedAt) : when(project.createdAt);
  return date.isEmpty() ? qstr(project.projectName)
                        : qstr(project.projectName) + QStringLiteral(" · ") + date;
}

QVariant ProjectListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= static_cast<int>(rows_.size())) return {};
  const ProjectSummary& project = rows_[static_cast<std::size_t>(index.row())];
  const bool isOpen = project.id == store_.state().project.id;
  switch (role) {
    case Qt::DisplayRole:
      return displayName(project);
    case Qt::ToolTipRole:
    case Qt::AccessibleTextRole:
      return qstr(project.projectName) + QStringLiteral(" — ") +
             projectKindText(store_, project.kind, project.catalogueKind);
    case KindRole:
      return projectKindText(store_, project.kind, project.catalogueKind);
    case ProjectIdRole:
      return qstr(project.id);
    case IsOpenRole:
      return isOpen;
    case Qt::FontRole: {
      QFont font;
      if (isOpen) font.setWeight(QFont::DemiBold);
      return font;
    }
    default:
      return {};
  }
}

}  // namespace quorvane::gui
