// The project's CV: its title, then the twelve sections in order, each a
// list of entries with the fields, labels and placeholders of the CV
// catalogue; entries are added (the section's own "Add …" button), moved
// and removed here, every change going to the store as the user makes it.
#pragma once

#include <QWidget>
#include <map>
#include <string>
#include <vector>

#include "app/app_store.h"
#include "cv/cv_sections.h"
#include "gui/question.h"
#include "gui/store_subscription.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace quorvane::gui {

class SharingBar;

class CvPage final : public QWidget {
  Q_OBJECT

 public:
  explicit CvPage(AppStore& store, QWidget* parent = nullptr);

  void retranslate();
  // What the buttons of an entry do (public for tests and shortcuts).
  void addEntry(CVSectionKey section);
  void moveEntry(CVSectionKey section, std::size_t index, int offset);
  // Removes the entry; one that holds anything is removed only once the
  // user agrees, so a stray key on its ✕ loses nothing.
  void removeEntry(CVSectionKey section, std::size_t index);
  // Takes another project's CV: shared with it, or as a copy of its own.
  void reuseCv(const std::string& assetId, bool copy);

  Ask ask;

  QLineEdit* titleField() const { return title_; }
  SharingBar* sharingBar() const { return sharing_; }
  QPushButton* addButton(CVSectionKey section) const;
  // The field of an entry, or nothing.
  QLineEdit* field(CVSectionKey section, std::size_t index, std::string_view fieldId) const;

 signals:
  void guidedEntryRequested();
  void webCvImportRequested();

 protected:
  // Delete or Backspace on an entry's own buttons asks to remove it.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct SectionView {
    QLabel* heading = nullptr;
    QLabel* count = nullptr;
    QVBoxLayout* entries = nullptr;
    QPushButton* add = nullptr;
    // Per entry, its fields by id.
    std::vector<std::map<std::string, QLineEdit*, std::less<>>> fields;
    std::vector<QWidget*> rows;
  };

  void storeChanged(const StoreChanges& changes);
  void fill();
  void rebuildSection(CVSectionKey section);
  QWidget* entryRow(CVSectionKey section, std::size_t index, SectionView& view);
  void fieldEdited(CVSectionKey section, std::size_t index, std::string_view fieldId,
                   const QString& text);
  void updateCount(CVSectionKey section);
  void showReuseMenu();

  AppStore& store_;
  QLabel* heading_;
  QPushButton* guide_;
  QPushButton* webCv_;
  QPushButton* reuse_;
  SharingBar* sharing_;
  QLabel* titleLabel_;
  QLineEdit* title_;
  std::map<CVSectionKey, SectionView> sections_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
