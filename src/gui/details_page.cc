#include "gui/details_page.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "cv/details_fields.h"
#include "gui/scrolling.h"
#include "gui/word_run_undo.h"
#include "gui/words.h"
#include "model/artist_name.h"

namespace quorvane::gui {

DetailsPage::DetailsPage(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      heading_(new QLabel(this)),
      printedName_(new QLabel(this)),
      nameDisplay_(new QComboBox(this)),
      leftBehind_(new QWidget(this)),
      leftBehindLine_(new QLabel(leftBehind_)),
      applyToOthers_(new QPushButton(leftBehind_)),
      subscription_(store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  setObjectName(QStringLiteral("detailsPage"));
  heading_->setObjectName(QStringLiteral("pageTitle"));
  printedName_->setObjectName(QStringLiteral("secondaryText"));
  printedName_->setWordWrap(true);
  nameDisplay_->setObjectName(QStringLiteral("nameDisplayMode"));

  auto* content = new QWidget;
  content->setMaximumWidth(640);
  auto* column = new QVBoxLayout(content);
  column->setContentsMargins(25, 20, 24, 28);
  column->setSpacing(8);
  column->addWidget(heading_);
  leftBehind_->setObjectName(QStringLiteral("detailsLeftBehind"));
  leftBehindLine_->setObjectName(QStringLiteral("secondaryText"));
  leftBehindLine_->setWordWrap(true);
  applyToOthers_->setObjectName(QStringLiteral("applyDetailsToOthers"));
  // A click leaves the focus in the field being edited: the button hides
  // once pressed, and focus passed on from it would select the first field's
  // text for the next keystroke to replace.
  applyToOthers_->setFocusPolicy(Qt::TabFocus);
  leftBehind_->setMaximumWidth(640);
  auto* leftBehindLayout = new QHBoxLayout(leftBehind_);
  leftBehindLayout->setContentsMargins(25, 10, 24, 12);
  leftBehindLayout->addWidget(leftBehindLine_, 1);
  leftBehindLayout->addWidget(applyToOthers_);
  connect(applyToOthers_, &QPushButton::clicked, this,
          [this] { store_.applyDetailsToOtherProjects(); });
  column->addSpacing(8);
  auto* form = new QFormLayout;
  form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  form->setVerticalSpacing(8);
  form->setHorizontalSpacing(16);
  for (const DetailsFieldConfig& config : detailsFieldConfigs()) {
    const std::string id(config.id);
    auto* label = new QLabel(content);
    labels_.emplace(id, label);
    if (id == "nameDisplayMode") {
      label->setBuddy(nameDisplay_);
      auto* choice = new QWidget(content);
      auto* choiceLayout = new QVBoxLayout(choice);
      choiceLayout->setContentsMargins(0, 0, 0, 0);
      choiceLayout->setSpacing(4);
      choiceLayout->addWidget(nameDisplay_);
      choiceLayout->addWidget(printedName_);
      form->addRow(label, choice);
      continue;
    }
    if (config.shape == TextShape::multiLine) {
      auto* block = new QPlainTextEdit(content);
      block->setObjectName(QStringLiteral("details.") + qstr(config.id));
      block->setFixedHeight(block->fontMetrics().lineSpacing() * 3 + 16);
      // One value over several lines (an address): Tab goes on to the next field.
      block->setTabChangesFocus(true);
      blocks_.emplace(id, block);
      label->setBuddy(block);
      form->addRow(label, block);
      undoByWordRuns(block);
      connect(block, &QPlainTextEdit::textChanged, this, &DetailsPage::edited);
    } else {
      auto* line = new QLineEdit(content);
      line->setObjectName(QStringLiteral("details.") + qstr(config.id));
      lines_.emplace(id, line);
      label->setBuddy(line);
      form->addRow(label, line);
      connect(line, &QLineEdit::textEdited, this, &DetailsPage::edited);
    }
  }
  column->addLayout(form);
  column->addStretch(1);

  fillWithScrolling(this, content);
  // Below the fields, outside their scrolling: it appears as the user types
  // without moving the field being typed in.
  layout()->addWidget(leftBehind_);

  connect(nameDisplay_, &QComboBox::activated, this, &DetailsPage::edited);
  retranslate();
}

QLineEdit* DetailsPage::field(std::string_view id) const {
  const auto found = lines_.find(id);
  return found == lines_.end() ? nullptr : found->second;
}

void DetailsPage::retranslate() {
  filling_ = true;
  const Words words(store_);
  heading_->setText(words("desktop.details.heading"));
  for (const DetailsFieldConfig& config : detailsFieldConfigs()) {
    const QString label = words(detailsFieldLabelKey(config.id));
    const QString placeholder = words(detailsFieldPlaceholderKey(config.id));
    labels_.at(std::string(config.id))->setText(label);
    if (QLineEdit* line = field(config.id)) {
      line->setAccessibleName(label);
      line->setPlaceholderText(placeholder);
    } else if (const auto block = blocks_.find(config.id); block != blocks_.end()) {
      block->second->setAccessibleName(label);
      block->second->setPlaceholderText(placeholder);
    } else {
      nameDisplay_->setAccessibleName(label);
    }
  }
  nameDisplay_->clear();
  nameDisplay_->addItem(words("desktop.details.name_display.legal"), QStringLiteral("legal"));
  nameDisplay_->addItem(words("desktop.details.name_display.artist"), QStringLiteral("artist"));
  filling_ = false;
  fill();
}

void DetailsPage::storeChanged(const StoreChanges& changes) {
  if (changes.has(StoreArea::details) || changes.has(StoreArea::project)) fill();
}

void DetailsPage::showLeftBehind() {
  const std::vector<ProjectRef>& others = store_.state().detailsLeftBehind;
  leftBehind_->setVisible(!others.empty());
  if (others.empty()) return;
  const Words words(store_);
  leftBehindLine_->setText(words.format("desktop.details.left_behind", {projectNames(others)}));
  applyToOthers_->setText(words("desktop.details.apply_to_others"));
  applyToOthers_->setAccessibleName(applyToOthers_->text());
}

void DetailsPage::fill() {
  filling_ = true;
  const ArtistDetails& details = store_.state().snapshot.details;
  for (const DetailsFieldConfig& config : detailsFieldConfigs()) {
    const QString value = qstr(details.*config.member);
    if (QLineEdit* line = field(config.id)) {
      if (!line->hasFocus() && line->text() != value) line->setText(value);
    } else if (const auto block = blocks_.find(config.id); block != blocks_.end()) {
      if (!block->second->hasFocus() && block->second->toPlainText() != value) {
        block->second->setPlainText(value);
      }
    }
  }
  nameDisplay_->setCurrentIndex(details.nameDisplayMode == "artist" ? 1 : 0);
  const std::string printed = printedArtistName(details);
  printedName_->setText(printed.empty()
                            ? Words(store_)("desktop.details.printed_none")
                            : Words(store_).format("desktop.details.printed", {printed}));
  showLeftBehind();
  filling_ = false;
}

void DetailsPage::edited() {
  if (filling_) return;
  ArtistDetails details = store_.state().snapshot.details;
  for (const DetailsFieldConfig& config : detailsFieldConfigs()) {
    if (const QLineEdit* line = field(config.id)) {
      details.*config.member = utf8(line->text());
    } else if (const auto block = blocks_.find(config.id); block != blocks_.end()) {
      details.*config.member = utf8(block->second->toPlainText());
    }
  }
  details.nameDisplayMode = utf8(nameDisplay_->currentData().toString());
  if (details == store_.state().snapshot.details) return;
  store_.setDetails(details);
  fill();
}

}  // namespace quorvane::gui
