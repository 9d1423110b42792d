// A CV exported by the web CV generator, brought into the open project:
// its two groups (the artist's identity, the CV) side by side, each field
// as it is now and as the import would leave it, what to check, and for
// each group keep or replace. Nothing changes until Import is pressed;
// then exactly the groups chosen are replaced.
#pragma once

#include <QDialog>
#include <map>
#include <optional>
#include <utility>

#include "app/app_store.h"
#include "app/web_cv_import.h"

class QLabel;
class QVBoxLayout;
class QPushButton;
class QRadioButton;

namespace quorvane::gui {

class WebCvDialog final : public QDialog {
  Q_OBJECT

 public:
  // Opens saying that the file is being read; `showPlan` then fills it in.
  explicit WebCvDialog(AppStore& store, QWidget* parent = nullptr);
  WebCvDialog(AppStore& store, PreparedWebCVImport prepared, QWidget* parent = nullptr);

  // The plan, once the file is read. Once only.
  void showPlan(PreparedWebCVImport prepared);
  bool isLoading() const { return !prepared_.has_value(); }

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
  std::optional<PreparedWebCVImport> prepared_;
  WebCVImportSelection selection_;
  QVBoxLayout* layout_;
  QWidget* loading_;
  bool applying_ = false;
  std::map<WebCVImportGroup, std::pair<QRadioButton*, QRadioButton*>> choices_;
  QLabel* status_;
  QPushButton* import_;
  QPushButton* cancel_;
};

}  // namespace quorvane::gui
