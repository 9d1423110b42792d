// Beside the board: the selected artwork's fields, edited in place through
// the store (the save pipeline debounces the writes; the header's
// indicator shows them), and a larger picture of its page, which the store
// draws before the others while the artwork is open here.
#pragma once

#include <QWidget>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QStackedWidget;

namespace quorvane::gui {

class Inspector final : public QWidget {
  Q_OBJECT

 public:
  explicit Inspector(AppStore& store, QWidget* parent = nullptr);

  // The artwork to show (nothing: the empty state). `selectedCount` says
  // how many are selected when it is not one.
  void showArtwork(const std::optional<std::string>& artworkId, int selectedCount = 0);
  const std::optional<std::string>& artworkId() const { return artworkId_; }
  void retranslate();

  QLineEdit* titleField() const { return title_; }
  QLineEdit* priceField() const { return price_; }
  QLineEdit* currencyField() const { return currency_; }
  QLineEdit* yearField() const { return year_; }
  QLineEdit* widthField() const { return width_; }
  // The words under the price field when what was typed can't be read.
  QLabel* priceHint() const { return priceHint_; }
  QLabel* previewLabel() const { return preview_; }
  // Saves the numbers typed (as leaving their field does): Ctrl+S counts.
  void commitNumbers();
  void commitCurrency();

 private:
  void storeChanged(const StoreChanges& changes);
  // Puts the artwork's values in the fields that differ (never touching
  // the one being typed in when it already says the same).
  void fill();
  // Title, medium, text, status and currency go to the store as they are
  // typed; numbers wait for the field to be left (commitNumbers), so a
  // half-typed "1.5" of "1.5.5" is never saved on the way.
  void edited();
  // Marks a number field as refused (its hint under it says the forms that
  // read) or clears the mark; fill() leaves a refused field's text alone so
  // it can be corrected.
  void markRefused(QLineEdit* field, QLabel* hint, bool refused, const char* key);
  void loadPreview();
  void updateKindRows();

  AppStore& store_;
  std::optional<std::string> artworkId_;
  std::int64_t previewVersion_ = -1;
  bool filling_ = false;
  QStackedWidget* stack_;
  QLabel* emptyLabel_;
  QLabel* preview_;
  QLabel* heading_;
  QFormLayout* form_;
  QLineEdit* title_;
  QLineEdit* year_;
  QLineEdit* medium_;
  QLineEdit* width_;
  QLineEdit* height_;
  QLineEdit* depth_;
  QLabel* unit_;
  QComboBox* status_;
  QLineEdit* price_;
  QLineEdit* currency_;
  QWidget* priceRow_;
  QLabel* raisonne_;
  QPlainTextEdit* text_;
  QLabel* yearHint_;
  QLabel* sizeHint_;
  QLabel* priceHint_;
  std::vector<std::pair<QLabel*, const char*>> labels_;  // form labels and their keys
  StoreSubscription subscription_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace quorvane::gui
