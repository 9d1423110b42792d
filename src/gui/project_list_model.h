// The projects of the library for the sidebar: newest first (by creation,
// so the list holds still while one is edited), each with its kind in
// words, the open one marked.
#pragma once

#include <QAbstractListModel>
#include <vector>

#include "app/app_store.h"
#include "gui/store_subscription.h"

namespace quorvane::gui {

// "Portfolio", "Price catalogue", …: the kind of a project in words.
QString projectKindText(const AppStore& store, ProjectKind kind,
                        std::optional<CatalogueKind> catalogueKind);

// Newest first; projects made at the same moment by name.
std::vector<ProjectSummary> sidebarOrder(std::vector<ProjectSummary> projects);

class ProjectListModel final : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role { ProjectIdRole = Qt::UserRole + 1, KindRole, IsOpenRole };

  explicit ProjectListModel(AppStore& store, QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  // The row of the open project, or -1.
  int openRow() const;
  const ProjectSummary& project(int row) const { return rows_.at(static_cast<std::size_t>(row)); }
  void refresh();

 private:
  // The name, and beside it when another project has the same name, when
  // this one was made.
  QString displayName(const ProjectSummary& project) const;
  AppStore& store_;
  std::vector<ProjectSummary> rows_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
