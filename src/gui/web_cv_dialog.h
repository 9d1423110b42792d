// A CV exported by the web CV generator, brought into the open project:
// its two groups (the artist's identity, the CV) side by side, each field
// as it is now and as the import would leave it, what to check, and for
// each group keep or replace. Nothing changes until Import is pressed;
// then exactly the groups chosen are replaced.
#pragma once

#include <QDialog>
#include <map>
#include <utility>

#include "app/app_store.h"
#include "app/web_cv_import.h"

class QLabel;
class QPushButton;
class QRadioButton;

namespace quorvane::gui {

class WebCvDialog final : public QDialog {
  Q_OBJECT

 public:
  WebCvDialog(AppStore& store, PreparedWebCVImport prepared, QWidget* parent = nullptr);

  const WebCVImportSelection& selection() const { return selection_; }
  void choose(WebCVImportGroup group, WebCVImportChoice choice);
  // Applies the choice; the dialog closes once the library has it.
  void confirm();
  QLabel* statusLabel() const { return status_; }
  QPushButton* importButton() const { return import_; }
  bool isApplying() const { return applying_; }

 private:
  QWidget* groupCard(WebCVImportGroup group);
  void updateButtons();

  AppStore& store_;
  PreparedWebCVImport prepared_;
  WebCVImportSelection selection_;
  bool applying_ = false;
  std::map<WebCVImportGroup, std::pair<QRadioButton*, QRadioButton*>> choices_;
  QLabel* status_;
  QPushButton* import_;
  QPushButton* cancel_;
};

}  // namespace quorvane::gui
