#include "gui/inspector.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "gui/scrolling.h"
#include "gui/word_run_undo.h"
#include "gui/words.h"
#include "model/amount.h"
#include "model/typed_fields.h"

namespace quorvane::gui {
namespace {

constexpr int kPreviewEdge = 300;

// A field being typed in is the user's until they leave it: what the store
// makes of it (a price that does not read yet, characters taken out) never
// moves the cursor under their fingers.
void setIfDifferent(QLineEdit* field, const std::string& value) {
  if (field->hasFocus() || field->property("invalid").toBool()) return;
  const QString text = qstr(value);
  if (field->text() != text) field->setText(text);
}

QLineEdit* lineEdit(QWidget* parent, const char* name) {
  auto* field = new QLineEdit(parent);
  field->setObjectName(QString::fromLatin1(name));
  return field;
}

QLabel* hintLabel(QWidget* parent) {
  auto* hint = new QLabel(parent);
  hint->setObjectName(QStringLiteral("fieldHint"));
  hint->setWordWrap(true);
  hint->hide();
  return hint;
}

// A form row's field with the words that explain a refusal beneath it.
QWidget* withHint(QWidget* parent, QWidget* field, QLayout* fieldLayout, QLabel* hint) {
  auto* row = new QWidget(parent);
  auto* layout = new QVBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(2);
  if (field != nullptr) layout->addWidget(field);
  if (fieldLayout != nullptr) layout->addLayout(fieldLayout);
  layout->addWidget(hint);
  return row;
}

const Artwork* findArtwork(const AppStore& store, const std::string& id) {
  const auto& images = store.state().snapshot.artworks.images;
  const auto found =
      std::find_if(images.begin(), images.end(), [&](const Artwork& a) { return a.id == id; });
  return found == images.end() ? nullptr : &*found;
}

}  // namespace

Inspector::Inspector(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      stack_(new QStackedWidget(this)),
      emptyLabel_(new QLabel(this)),
      preview_(new QLabel(this)),
      heading_(new QLabel(this)),
      form_(new QFormLayout),
      title_(lineEdit(this, "inspectorTitle")),
      year_(lineEdit(this, "inspectorYear")),
      medium_(lineEdit(this, "inspectorMedium")),
      width_(lineEdit(this, "inspectorWidth")),
      height_(lineEdit(this, "inspectorHeight")),
      depth_(lineEdit(this, "inspectorDepth")),
      unit_(new QLabel(this)),
      status_(new QComboBox(this)),
      price_(lineEdit(this, "inspectorPrice")),
      currency_(lineEdit(this, "inspectorCurrency")),
      priceRow_(new QWidget(this)),
      raisonne_(new QLabel(this)),
      text_(new QPlainTextEdit(this)),
      yearHint_(hintLabel(this)),
      sizeHint_(hintLabel(this)),
      priceHint_(hintLabel(this)),
      subscription_(store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  setMinimumWidth(300);
  emptyLabel_->setAlignment(Qt::AlignCenter);
  emptyLabel_->setWordWrap(true);
  emptyLabel_->setObjectName(QStringLiteral("secondaryText"));
  emptyLabel_->setMargin(24);

  preview_->setAlignment(Qt::AlignCenter);
  preview_->setMinimumHeight(kPreviewEdge);
  preview_->setObjectName(QStringLiteral("inspectorPreview"));
  heading_->setObjectName(QStringLiteral("sectionHeading"));

  for (QLineEdit* dimension : {width_, height_, depth_}) dimension->setMaximumWidth(64);
  auto* dimensionsLayout = new QHBoxLayout;
  dimensionsLayout->setSpacing(4);
  dimensionsLayout->addWidget(width_);
  dimensionsLayout->addWidget(new QLabel(QStringLiteral("×"), this));
  dimensionsLayout->addWidget(height_);
  dimensionsLayout->addWidget(new QLabel(QStringLiteral("×"), this));
  dimensionsLayout->addWidget(depth_);
  dimensionsLayout->addWidget(unit_);
  dimensionsLayout->addStretch();
  QWidget* dimensions = withHint(this, nullptr, dimensionsLayout, sizeHint_);
  QWidget* yearRow = withHint(this, year_, nullptr, yearHint_);

  currency_->setMaximumWidth(56);
  currency_->setMaxLength(3);
  auto* priceLayout = new QHBoxLayout;
  priceLayout->setSpacing(6);
  priceLayout->addWidget(price_, 1);
  priceLayout->addWidget(currency_);
  auto* priceColumn = new QVBoxLayout(priceRow_);
  priceColumn->setContentsMargins(0, 0, 0, 0);
  priceColumn->setSpacing(2);
  priceColumn->addLayout(priceLayout);
  priceColumn->addWidget(priceHint_);

  text_->setObjectName(QStringLiteral("inspectorText"));
  text_->setTabChangesFocus(true);
  text_->setMinimumHeight(120);

  form_->setLabelAlignment(Qt::AlignLeft);
  form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  form_->setRowWrapPolicy(QFormLayout::DontWrapRows);
  form_->setVerticalSpacing(8);
  const auto row = [&](QWidget* field, const char* key, QWidget* buddy = nullptr) {
    auto* label = new QLabel(this);
    label->setObjectName(QStringLiteral("fieldLabel"));
    label->setBuddy(buddy != nullptr ? buddy : field);
    labels_.emplace_back(label, key);
    form_->addRow(label, field);
  };
  row(title_, "desktop.inspector.title");
  row(yearRow, "desktop.inspector.year", year_);
  row(medium_, "desktop.inspector.medium");
  row(dimensions, "desktop.inspector.dimensions", width_);
  row(status_, "desktop.inspector.status");
  row(priceRow_, "desktop.inspector.price", price_);
  row(raisonne_, "desktop.inspector.raisonne");
  row(text_, "desktop.inspector.text");

  auto* details = new QWidget(this);
  auto* detailsLayout = new QVBoxLayout(details);
  detailsLayout->setContentsMargins(16, 12, 16, 16);
  detailsLayout->setSpacing(12);
  detailsLayout->addWidget(preview_);
  detailsLayout->addWidget(heading_);
  detailsLayout->addLayout(form_);
  detailsLayout->addStretch();
  QScrollArea* scroll = framelessScroll(details, this);
  // The details never scroll sideways: the inspector is as wide as they need
  // (see retranslate).
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

  stack_->addWidget(emptyLabel_);
  stack_->addWidget(scroll);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(stack_);

  for (QLineEdit* field : {title_, medium_}) {
    connect(field, &QLineEdit::textEdited, this, &Inspector::edited);
  }
  connect(currency_, &QLineEdit::editingFinished, this, &Inspector::commitCurrency);
  undoByWordRuns(text_);
  connect(text_, &QPlainTextEdit::textChanged, this, &Inspector::edited);
  for (QLineEdit* field : {year_, width_, height_, depth_, price_}) {
    connect(field, &QLineEdit::editingFinished, this, &Inspector::commitNumbers);
  }
  // Leaving a field shows what the store kept of it.
  for (QLineEdit* field : {title_, year_, medium_, width_, height_, depth_, price_, currency_}) {
    connect(field, &QLineEdit::editingFinished, this, [this] {
      filling_ = true;
      fill();
      filling_ = false;
    });
  }
  connect(status_, &QComboBox::activated, this, &Inspector::edited);

  retranslate();
  showArtwork(std::nullopt);
}

void Inspector::retranslate() {
  const Words words(store_);
  for (const auto& [label, key] : labels_) {
    label->setText(words(key));
    label->buddy()->setAccessibleName(words(key));
  }
  width_->setAccessibleName(words("desktop.inspector.width"));
  width_->setPlaceholderText(words("desktop.inspector.width_short"));
  height_->setAccessibleName(words("desktop.inspector.height"));
  height_->setPlaceholderText(words("desktop.inspector.height_short"));
  depth_->setAccessibleName(words("desktop.inspector.depth"));
  depth_->setPlaceholderText(words("desktop.inspector.depth_short"));
  price_->setAccessibleName(words("desktop.inspector.price"));
  currency_->setAccessibleName(words("desktop.inspector.currency"));
  currency_->setPlaceholderText(qstr(store_.state().project.currency.value_or("EUR")));
  title_->setPlaceholderText(words("desktop.works.untitled"));
  preview_->setAccessibleName(words("desktop.inspector.preview"));
  status_->clear();
  status_->addItem(words("desktop.status.none"), QString());
  for (const ArtworkStatus status :
       {ArtworkStatus::available, ArtworkStatus::sold, ArtworkStatus::inProgress}) {
    const std::string raw(rawValue(status));
    status_->addItem(words("desktop.status." + raw), qstr(raw));
  }
  heading_->setText(words("desktop.inspector.heading"));
  yearHint_->setText(words("desktop.inspector.year_invalid"));
  sizeHint_->setText(words("desktop.inspector.size_invalid"));
  priceHint_->setText(words("desktop.inspector.price_invalid"));
  filling_ = true;
  fill();
  filling_ = false;
  // As wide as the longest label of this language and the fields beside it.
  const auto* scroll = static_cast<QScrollArea*>(stack_->widget(1));
  setMinimumWidth(std::max(300, scroll->widget()->minimumSizeHint().width() +
                                    scroll->verticalScrollBar()->sizeHint().width()));
}

void Inspector::showArtwork(const std::optional<std::string>& artworkId, int selectedCount) {
  const bool changed = artworkId != artworkId_;
  artworkId_ = artworkId;
  const Words words(store_);
  if (!artworkId) {
    emptyLabel_->setText(selectedCount > 1 ? words.format("desktop.inspector.several",
                                                          {std::to_string(selectedCount)})
                                           : words("desktop.inspector.none"));
    stack_->setCurrentIndex(0);
  } else {
    stack_->setCurrentIndex(1);
  }
  if (changed) {
    // What could not be read belonged to the work left; its stored values stay.
    markRefused(year_, yearHint_, false, nullptr);
    for (QLineEdit* size : {width_, height_, depth_}) markRefused(size, sizeHint_, false, nullptr);
    markRefused(price_, priceHint_, false, nullptr);
    store_.setWorksInspectorArtwork(artworkId);
    previewVersion_ = -1;
    preview_->clear();
    filling_ = true;
    fill();
    filling_ = false;
    loadPreview();
  }
}

void Inspector::storeChanged(const StoreChanges& changes) {
  if (!artworkId_) return;
  const auto& images = store_.state().snapshot.artworks.images;
  const bool present = std::any_of(images.begin(), images.end(),
                                   [&](const Artwork& a) { return a.id == *artworkId_; });
  if (!present) return showArtwork(std::nullopt);
  if (changes.has(StoreArea::artworks) || changes.has(StoreArea::project)) {
    filling_ = true;
    fill();
    filling_ = false;
  }
  if (changes.has(StoreArea::thumbnails)) loadPreview();
}

void Inspector::updateKindRows() {
  const Project& project = store_.state().project;
  const bool catalogue = project.kind == ProjectKind::catalogue;
  const bool raisonne = catalogue && project.catalogueKind == CatalogueKind::raisonne;
  form_->setRowVisible(priceRow_, catalogue);
  form_->setRowVisible(status_, catalogue);
  form_->setRowVisible(raisonne_, raisonne);
}

void Inspector::fill() {
  updateKindRows();
  if (!artworkId_) return;
  const auto& images = store_.state().snapshot.artworks.images;
  const auto found = std::find_if(images.begin(), images.end(),
                                  [&](const Artwork& a) { return a.id == *artworkId_; });
  if (found == images.end()) return;
  const Artwork& artwork = *found;
  setIfDifferent(title_, artwork.title);
  setIfDifferent(year_, artwork.year);
  setIfDifferent(medium_, artwork.medium);
  setIfDifferent(width_, artwork.artworkWidth);
  setIfDifferent(height_, artwork.artworkHeight);
  setIfDifferent(depth_, artwork.artworkDepth);
  if (text_->toPlainText() != qstr(artwork.artworkText))
    text_->setPlainText(qstr(artwork.artworkText));
  setIfDifferent(price_, artwork.priceCents ? formatCents(*artwork.priceCents) : std::string());
  if (!currency_->hasFocus()) setIfDifferent(currency_, artwork.priceCurrency.value_or(""));
  const QString status = artwork.status ? qstr(rawValue(*artwork.status)) : QString();
  status_->setCurrentIndex(std::max(0, status_->findData(status)));
  const Words words(store_);
  unit_->setText(words(store_.state().snapshot.artworks.unit == UnitSystem::in
                           ? "desktop.unit.in"
                           : "desktop.unit.cm"));
  raisonne_->setText(words.format("desktop.inspector.raisonne_number",
                                  {std::to_string(found - images.begin() + 1)}));
}

void Inspector::edited() {
  if (filling_ || !artworkId_) return;
  const Artwork* artwork = findArtwork(store_, *artworkId_);
  if (artwork == nullptr) return;
  ArtworkMetadata metadata = ArtworkMetadata::of(*artwork);
  metadata.title = utf8(title_->text());
  metadata.medium = utf8(medium_->text());
  metadata.text = utf8(text_->toPlainText());
  const QString status = status_->currentData().toString();
  metadata.status = status.isEmpty() ? std::nullopt : fromRawValue<ArtworkStatus>(utf8(status));
  if (metadata != ArtworkMetadata::of(*artwork)) store_.updateArtwork(*artworkId_, metadata);
}

void Inspector::commitCurrency() {
  if (filling_ || !artworkId_) return;
  const Artwork* artwork = findArtwork(store_, *artworkId_);
  if (artwork == nullptr) return;
  // The store keeps a code upper-cased and says when the text is none.
  ArtworkMetadata metadata = ArtworkMetadata::of(*artwork);
  metadata.priceCurrency = utf8(currency_->text());
  if (metadata != ArtworkMetadata::of(*artwork)) store_.updateArtwork(*artworkId_, metadata);
}

void Inspector::commitNumbers() {
  if (filling_ || !artworkId_) return;
  const Artwork* artwork = findArtwork(store_, *artworkId_);
  if (artwork == nullptr) return;
  ArtworkMetadata metadata = ArtworkMetadata::of(*artwork);
  const std::string year = utf8(year_->text());
  const bool yearReads = isReadableYear(year);
  markRefused(year_, yearHint_, !yearReads, "desktop.inspector.year_invalid");
  if (yearReads) metadata.year = year;
  bool sizesRead = true;
  for (const auto& [field, value] :
       {std::pair{width_, &metadata.width}, std::pair{height_, &metadata.height},
        std::pair{depth_, &metadata.depth}}) {
    const std::string size = utf8(field->text());
    const bool reads = isReadableDimension(size);
    sizesRead = sizesRead && reads;
    field->setProperty("invalid", !reads);
    field->style()->unpolish(field);
    field->style()->polish(field);
    if (reads) *value = size;
  }
  sizeHint_->setVisible(!sizesRead);
  const std::string price = utf8(price_->text().trimmed());
  const std::optional<std::int64_t> cents = parseAmountToCents(price);
  const bool priceReads = price.empty() || cents.has_value();
  markRefused(price_, priceHint_, !priceReads, "desktop.inspector.price_invalid");
  if (priceReads) metadata.priceCents = price.empty() ? std::nullopt : cents;
  if (metadata != ArtworkMetadata::of(*artwork)) store_.updateArtwork(*artworkId_, metadata);
}

void Inspector::markRefused(QLineEdit* field, QLabel* hint, bool refused, const char* key) {
  field->setProperty("invalid", refused);
  field->setAccessibleDescription(refused && key != nullptr ? Words(store_)(key) : QString());
  field->style()->unpolish(field);
  field->style()->polish(field);
  hint->setVisible(refused);
}

void Inspector::loadPreview() {
  if (!artworkId_) return;
  const auto& versions = store_.state().artworkPdfThumbVersionByID;
  const auto found = versions.find(*artworkId_);
  const std::int64_t version = found == versions.end() ? 0 : found->second;
  if (version == previewVersion_) return;
  previewVersion_ = version;
  std::weak_ptr<bool> alive = alive_;
  const std::string id = *artworkId_;
  const int edge = static_cast<int>(kPreviewEdge * devicePixelRatioF());
  store_.loadBoardPicture(id, edge,
                          [this, alive, id](const std::optional<AppStore::BoardPicture>& picture) {
                            if (alive.expired() || artworkId_ != id || !picture) return;
                            const RgbPixels& pixels = picture->pixels;
                            QImage image(pixels.data.data(), pixels.width, pixels.height,
                                         pixels.width * 3, QImage::Format_RGB888);
                            QPixmap pixmap = QPixmap::fromImage(image.copy());
                            pixmap.setDevicePixelRatio(devicePixelRatioF());
                            preview_->setPixmap(pixmap);
                          });
}

}  // namespace quorvane::gui
