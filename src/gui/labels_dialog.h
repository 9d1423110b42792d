// The printed labels of one kind of document in one language: each with
// its built-in text and the user's replacement, saved as it is left (an
// empty replacement prints the built-in text again). The document being
// previewed redraws as a label changes.
#pragma once

#include <QDialog>
#include <map>
#include <string>

#include "app/app_store.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QFormLayout;

namespace quorvane::gui {

class LabelsDialog final : public QDialog {
  Q_OBJECT

 public:
  LabelsDialog(AppStore& store, const std::string& scope, const std::string& locale,
               QWidget* parent = nullptr);

  QComboBox* scopeChooser() const { return scope_; }
  QComboBox* languageChooser() const { return language_; }
  // The replacement field of a label key, or nothing.
  QLineEdit* field(std::string_view key) const;
  // "Catalogues print the portfolio's labels", shown for a catalogue.
  QLabel* scopeNote() const { return scopeNote_; }
  // Saves what the field of `key` says (as leaving the field does).
  void commit(const std::string& key);

 signals:
  void labelsChanged(const QString& scope);

 private:
  void rebuild();
  std::string scope() const;
  std::string locale() const;

  AppStore& store_;
  QComboBox* scope_;
  QComboBox* language_;
  QWidget* rows_;
  QFormLayout* form_;
  QLabel* scopeNote_;
  std::map<std::string, QLineEdit*, std::less<>> fields_;
};

}  // namespace quorvane::gui
