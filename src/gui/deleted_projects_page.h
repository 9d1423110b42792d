// Recently deleted: the projects the artist deleted, newest first, each
// with its kind, the day it was deleted and a Restore button that brings
// it back to the list as it was. A deleted project's works are still in
// the Vault meanwhile.
#pragma once

#include <QWidget>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace quorvane::gui {

class DeletedProjectsPage final : public QWidget {
  Q_OBJECT

 public:
  explicit DeletedProjectsPage(AppStore& store, QWidget* parent = nullptr);

  // The Restore button of the deleted project `projectId`, if listed.
  QPushButton* restoreButton(const std::string& projectId) const;
  void retranslate();

 private:
  void fill();

  AppStore& store_;
  QLabel* title_;
  QLabel* subtitle_;
  QLabel* empty_;
  QWidget* rows_;
  QVBoxLayout* rowsLayout_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
