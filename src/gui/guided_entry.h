// The guided entry of a CV: the artist's details first, then which of the
// twelve sections apply to them, then those sections one by one, each
// offering an empty entry to fill and add. Everything is the store's as
// soon as it is entered, so closing at any step loses nothing.
#pragma once

#include <QDialog>
#include <map>
#include <string>
#include <vector>

#include "app/app_store.h"
#include "cv/cv_sections.h"
#include "gui/question.h"

class QCheckBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;

namespace quorvane::gui {

class DetailsPage;

class GuidedEntryDialog final : public QDialog {
  Q_OBJECT

 public:
  explicit GuidedEntryDialog(AppStore& store, QWidget* parent = nullptr);

  // The steps: 0 the details, 1 the choice of sections, then one per
  // chosen section.
  int step() const { return step_; }
  int stepCount() const;
  // The section of the current step, when it is one.
  std::optional<CVSectionKey> section() const;
  void next();
  void back();

  DetailsPage& details() const { return *details_; }
  QCheckBox* sectionSwitch(CVSectionKey section) const { return switches_.at(section); }
  // The current section's field for a new entry, or nothing.
  QLineEdit* entryField(std::string_view fieldId) const;
  // Adds what the fields hold as an entry of the current section, and
  // empties them for the next; false when they are all empty.
  bool addEntry();
  // Whether the current section's fields hold an entry not added yet.
  bool hasUnaddedEntry() const;

  // Escape and the window's close button end the dialog; an entry typed
  // and not added is only dropped once the user agrees.
  void reject() override;

  Ask ask;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void showStep();
  void buildEntryForm(CVSectionKey section);
  void updateSectionSummary();

  AppStore& store_;
  int step_ = 0;
  std::vector<CVSectionKey> chosen_;
  QStackedWidget* pages_;
  DetailsPage* details_;
  std::map<CVSectionKey, QCheckBox*> switches_;
  QLabel* stepLabel_;
  QLabel* sectionTitle_;
  QLabel* sectionSummary_;
  QWidget* entryForm_;
  QGridLayout* entryGrid_;
  std::map<std::string, QLineEdit*, std::less<>> entryFields_;
  QPushButton* add_;
  QPushButton* back_;
  QPushButton* next_;
};

}  // namespace quorvane::gui
