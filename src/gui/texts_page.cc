#include "gui/texts_page.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <cmath>

#include "app/text_stats.h"
#include "gui/sharing_bar.h"
#include "gui/word_run_undo.h"
#include "gui/words.h"
#include "model/document_kind_words.h"
#include "pdf/statement_pdf_renderer.h"

namespace quorvane::gui {
namespace {

constexpr SaveSection kSections[] = {SaveSection::bio, SaveSection::statement,
                                     SaveSection::projectStatement};

// The section's text and title as the snapshot holds them.
std::pair<const std::string&, const std::string&> textOf(const StudioSnapshot& snapshot,
                                                         SaveSection section) {
  switch (section) {
    case SaveSection::statement:
      return {snapshot.statement, snapshot.statementTitle};
    case SaveSection::projectStatement:
      return {snapshot.projectStatement, snapshot.projectStatementTitle};
    default:
      return {snapshot.biography, snapshot.biographyTitle};
  }
}

}  // namespace

TextsPage::TextsPage(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      heading_(new QLabel(this)),
      choices_(new QButtonGroup(this)),
      titleLabel_(new QLabel(this)),
      title_(new QLineEdit(this)),
      textLabel_(new QLabel(this)),
      text_(new QPlainTextEdit(this)),
      counts_(new QLabel(this)),
      room_(new QLabel(this)),
      reuse_(new QPushButton(this)),
      sharing_(new SharingBar(store, TextAssetType::bio, this)),
      subscription_(store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  setObjectName(QStringLiteral("textsPage"));
  heading_->setObjectName(QStringLiteral("pageTitle"));
  titleLabel_->setObjectName(QStringLiteral("fieldLabel"));
  textLabel_->setObjectName(QStringLiteral("fieldLabel"));
  counts_->setObjectName(QStringLiteral("secondaryText"));
  room_->setObjectName(QStringLiteral("pageRoom"));
  title_->setObjectName(QStringLiteral("textTitle"));
  text_->setObjectName(QStringLiteral("textBody"));
  reuse_->setObjectName(QStringLiteral("reuseText"));
  titleLabel_->setBuddy(title_);
  textLabel_->setBuddy(text_);

  auto* choiceRow = new QHBoxLayout;
  choiceRow->setSpacing(4);
  for (const SaveSection section : kSections) {
    auto* button = new QPushButton(this);
    button->setCheckable(true);
    button->setProperty("segment", true);
    button->setObjectName(QString::fromLatin1(rawValue(section).data()));
    choices_->addButton(button, static_cast<int>(section));
    choiceRow->addWidget(button);
  }
  choiceRow->addStretch(1);
  choiceRow->addWidget(reuse_);

  // A column of reading width: a line of a statement as long as the eye
  // takes in, whatever the window's width.
  auto* column = new QVBoxLayout;
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(6);
  column->addWidget(heading_);
  column->addSpacing(8);
  column->addLayout(choiceRow);
  column->addSpacing(4);
  column->addWidget(sharing_);
  column->addSpacing(8);
  column->addWidget(titleLabel_);
  column->addWidget(title_);
  column->addSpacing(8);
  column->addWidget(textLabel_);
  column->addWidget(text_, 1);
  auto* footer = new QHBoxLayout;
  footer->addWidget(counts_);
  footer->addStretch(1);
  footer->addWidget(room_);
  column->addLayout(footer);
  auto* columnWidget = new QWidget(this);
  columnWidget->setLayout(column);
  columnWidget->setMaximumWidth(760);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(25, 20, 24, 20);
  layout->addWidget(columnWidget, 1);
  layout->addStretch(0);

  connect(choices_, &QButtonGroup::idClicked, this,
          [this](int id) { showSection(static_cast<SaveSection>(id)); });
  connect(title_, &QLineEdit::textEdited, this, &TextsPage::edited);
  undoByWordRuns(text_);
  connect(text_, &QPlainTextEdit::textChanged, this, &TextsPage::edited);
  connect(reuse_, &QPushButton::clicked, this, &TextsPage::showReuseMenu);
  retranslate();
}

void TextsPage::retranslate() {
  const Words words(store_);
  heading_->setText(words("desktop.texts.heading"));
  for (const SaveSection section : kSections) {
    QAbstractButton* button = choices_->button(static_cast<int>(section));
    button->setText(words(textKindKey(textAssetType(section))));
    button->setAccessibleName(words(textKindKey(textAssetType(section))));
  }
  titleLabel_->setText(words("desktop.texts.title"));
  title_->setAccessibleName(words("desktop.texts.title"));
  textLabel_->setText(words("desktop.texts.text"));
  text_->setAccessibleName(words("desktop.texts.text"));
  text_->setPlaceholderText(words("desktop.texts.placeholder"));
  reuse_->setText(words("desktop.texts.reuse"));
  reuse_->setAccessibleName(words("desktop.texts.reuse"));
  sharing_->refresh();
  fill();
}

void TextsPage::showSection(SaveSection section) {
  section_ = section;
  // The other text's words are not this one's: the fields are refilled.
  title_->clearFocus();
  text_->clearFocus();
  fill();
}

void TextsPage::storeChanged(const StoreChanges& changes) {
  if (changes.has(StoreArea::texts) || changes.has(StoreArea::project)) fill();
}

// The fields take the store's text, except one being typed in: what the
// store made of it (characters taken out) never moves the cursor.
void TextsPage::fill() {
  filling_ = true;
  choices_->button(static_cast<int>(section_))->setChecked(true);
  sharing_->setType(textAssetType(section_));
  const std::string& text = textOf(store_.state().snapshot, section_).first;
  const QString title = qstr(store_.shownTextTitle(textAssetType(section_)));
  if (!title_->hasFocus() && title_->text() != title) title_->setText(title);
  if (!text_->hasFocus() && text_->toPlainText() != qstr(text)) text_->setPlainText(qstr(text));
  filling_ = false;
  updateCounts();
}

void TextsPage::edited() {
  if (filling_) return;
  store_.setText(section_, utf8(text_->toPlainText()), utf8(title_->text()));
  updateCounts();
}

void TextsPage::updateCounts() {
  const Words words(store_);
  // The room left on the printed page, said before the page cuts the text.
  const TextPageFill fill = store_.textPageFill(section_);
  const int left = static_cast<int>(std::lround((1.0 - fill.fraction) * 100));
  room_->setText(!fill.fits ? words("desktop.texts.overflow")
                            : words.format("desktop.texts.room", {std::to_string(left)}));
  room_->setProperty("level", !fill.fits             ? QStringLiteral("over")
                              : fill.fraction >= 0.9 ? QStringLiteral("near")
                                                     : QString());
  room_->style()->unpolish(room_);
  room_->style()->polish(room_);
  const TextStats stats = textStats(textOf(store_.state().snapshot, section_).first);
  counts_->setText(words.count("count.words", static_cast<std::int64_t>(stats.words)) +
                   QStringLiteral("  ·  ") +
                   words.count("count.characters", static_cast<std::int64_t>(stats.characters)));
}

void TextsPage::reuseText(const std::string& assetId) {
  title_->clearFocus();
  text_->clearFocus();
  store_.reuseText(textAssetType(section_), assetId);
  fill();
}

void TextsPage::showReuseMenu() {
  const Words words(store_);
  QMenu menu(this);
  const auto texts = store_.reusableTexts(textAssetType(section_));
  for (const ReusableTextAsset& asset : texts) {
    QString preview = qstr(asset.content).simplified();
    if (preview.size() > 60) preview = preview.left(59) + QStringLiteral("…");
    menu.addAction(qstr(asset.sourceProjectName) + QStringLiteral(" — ") + preview, this,
                   [this, id = asset.id] { reuseText(id); });
  }
  if (texts.empty()) menu.addAction(words("desktop.texts.reuse.none"))->setEnabled(false);
  menu.exec(reuse_->mapToGlobal(QPoint(0, reuse_->height())));
}

}  // namespace quorvane::gui
