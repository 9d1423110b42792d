#include "gui/cv_page.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "cv/cv_edits.h"
#include "gui/scrolling.h"
#include "gui/sharing_bar.h"
#include "gui/words.h"

namespace quorvane::gui {
namespace {

constexpr int kColumnWidth = 820;

QString fieldName(CVSectionKey section, std::size_t index, std::string_view fieldId) {
  return QStringLiteral("cv.%1.%2.%3").arg(qstr(rawValue(section))).arg(index).arg(qstr(fieldId));
}

QToolButton* entryButton(QWidget* parent, const QString& glyph, const QString& name) {
  auto* button = new QToolButton(parent);
  button->setText(glyph);
  button->setAccessibleName(name);
  button->setToolTip(name);
  button->setAutoRaise(true);
  button->setObjectName(QStringLiteral("entryButton"));
  return button;
}

}  // namespace

CvPage::CvPage(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      heading_(new QLabel(this)),
      guide_(new QPushButton(this)),
      webCv_(new QPushButton(this)),
      reuse_(new QPushButton(this)),
      sharing_(new SharingBar(store, TextAssetType::cv, this)),
      titleLabel_(new QLabel(this)),
      title_(new QLineEdit(this)),
      subscription_(store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  setObjectName(QStringLiteral("cvPage"));
  heading_->setObjectName(QStringLiteral("pageTitle"));
  titleLabel_->setObjectName(QStringLiteral("fieldLabel"));
  titleLabel_->setBuddy(title_);
  title_->setObjectName(QStringLiteral("cvTitle"));
  guide_->setObjectName(QStringLiteral("cvGuide"));

  auto* content = new QWidget;
  content->setMaximumWidth(kColumnWidth);
  auto* column = new QVBoxLayout(content);
  column->setContentsMargins(25, 20, 24, 28);
  column->setSpacing(8);
  auto* top = new QHBoxLayout;
  top->addWidget(heading_);
  top->addStretch(1);
  top->addWidget(reuse_);
  top->addWidget(webCv_);
  top->addWidget(guide_);
  column->addLayout(top);
  column->addSpacing(4);
  column->addWidget(sharing_);
  column->addSpacing(2);
  column->addWidget(titleLabel_);
  column->addWidget(title_);
  column->addSpacing(10);

  for (const CVSectionConfig& config : cvSectionConfigs()) {
    SectionView& view = sections_[config.id];
    auto* card = new QFrame(content);
    card->setObjectName(QStringLiteral("card"));
    auto* cardLayout = new QVBoxLayout(card);
    cardLayout->setContentsMargins(16, 12, 16, 12);
    cardLayout->setSpacing(8);
    auto* headingRow = new QHBoxLayout;
    view.heading = new QLabel(card);
    view.heading->setObjectName(QStringLiteral("cardTitle"));
    view.count = new QLabel(card);
    view.count->setObjectName(QStringLiteral("secondaryText"));
    headingRow->addWidget(view.heading);
    headingRow->addStretch(1);
    headingRow->addWidget(view.count);
    cardLayout->addLayout(headingRow);
    view.entries = new QVBoxLayout;
    view.entries->setSpacing(10);
    cardLayout->addLayout(view.entries);
    view.add = new QPushButton(card);
    view.add->setObjectName(QStringLiteral("cvAdd.") + qstr(rawValue(config.id)));
    view.add->setFlat(true);
    auto* addRow = new QHBoxLayout;
    addRow->addWidget(view.add);
    addRow->addStretch(1);
    cardLayout->addLayout(addRow);
    column->addWidget(card);
    connect(view.add, &QPushButton::clicked, this, [this, key = config.id] { addEntry(key); });
  }
  column->addStretch(1);

  fillWithScrolling(this, content);

  connect(title_, &QLineEdit::textEdited, this,
          [this](const QString& text) { store_.setCVTitle(utf8(text)); });
  connect(guide_, &QPushButton::clicked, this, &CvPage::guidedEntryRequested);
  connect(webCv_, &QPushButton::clicked, this, &CvPage::webCvImportRequested);
  reuse_->setObjectName(QStringLiteral("reuseCv"));
  connect(reuse_, &QPushButton::clicked, this, &CvPage::showReuseMenu);
  ask = askOver(this);
  for (const CVSectionConfig& config : cvSectionConfigs()) rebuildSection(config.id);
  retranslate();
}

bool CvPage::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    const QVariant section = watched->property("cvSection");
    if ((key == Qt::Key_Delete || key == Qt::Key_Backspace) && section.isValid()) {
      removeEntry(static_cast<CVSectionKey>(section.toInt()),
                  watched->property("cvIndex").toULongLong());
      return true;
    }
  }
  return QWidget::eventFilter(watched, event);
}

QPushButton* CvPage::addButton(CVSectionKey section) const { return sections_.at(section).add; }

QLineEdit* CvPage::field(CVSectionKey section, std::size_t index, std::string_view fieldId) const {
  const SectionView& view = sections_.at(section);
  if (index >= view.fields.size()) return nullptr;
  const auto found = view.fields[index].find(fieldId);
  return found == view.fields[index].end() ? nullptr : found->second;
}

void CvPage::retranslate() {
  const Words words(store_);
  heading_->setText(words("desktop.cv.heading"));
  guide_->setText(words("desktop.cv.guide"));
  guide_->setAccessibleName(words("desktop.cv.guide"));
  webCv_->setText(words("desktop.webcv.open"));
  webCv_->setAccessibleName(words("desktop.webcv.open"));
  reuse_->setText(words("desktop.cv.reuse"));
  reuse_->setAccessibleName(words("desktop.cv.reuse"));
  titleLabel_->setText(words("desktop.cv.title"));
  title_->setAccessibleName(words("desktop.cv.title"));
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    SectionView& view = sections_.at(config.id);
    view.heading->setText(words(cvSectionTitleKey(config.id)));
    view.add->setText(QStringLiteral("+  ") + words(cvSectionEmptyLabelKey(config.id)));
    view.add->setAccessibleName(words(cvSectionEmptyLabelKey(config.id)));
    // The rows carry labels and placeholders of their own.
    rebuildSection(config.id);
  }
  fill();
}

void CvPage::reuseCv(const std::string& assetId, bool copy) {
  title_->clearFocus();
  if (store_.reuseText(TextAssetType::cv, assetId) && copy) store_.copyText(TextAssetType::cv);
}

void CvPage::showReuseMenu() {
  const Words words(store_);
  QMenu menu(this);
  const std::vector<ReusableCVAsset> cvs = store_.reusableCVs();
  for (const ReusableCVAsset& asset : cvs) {
    std::size_t entries = 0;
    for (const CVDataSection& section : kCVDataSections)
      entries += (asset.cv.*section.entries).size();
    QMenu* choice = menu.addMenu(qstr(asset.sourceProjectName) + QStringLiteral(" — ") +
                                 words.count("count.entries", static_cast<std::int64_t>(entries)));
    choice->addAction(words("desktop.cv.reuse.linked"), this,
                      [this, id = asset.id] { reuseCv(id, false); });
    choice->addAction(words("desktop.cv.reuse.copy"), this,
                      [this, id = asset.id] { reuseCv(id, true); });
  }
  if (cvs.empty()) menu.addAction(words("desktop.cv.reuse.none"))->setEnabled(false);
  menu.exec(reuse_->mapToGlobal(QPoint(0, reuse_->height())));
}

void CvPage::storeChanged(const StoreChanges& changes) {
  sharing_->refresh();
  if (!changes.has(StoreArea::cv) && !changes.has(StoreArea::project)) return;
  const CVData& cv = store_.state().snapshot.cv;
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    if (cvEntries(cv, config.id).size() != sections_.at(config.id).rows.size()) {
      rebuildSection(config.id);
    }
  }
  fill();
}

// Every field takes the store's value, except one being typed in.
void CvPage::fill() {
  const StudioSnapshot& snapshot = store_.state().snapshot;
  const QString title = qstr(store_.shownTextTitle(TextAssetType::cv));
  if (!title_->hasFocus() && title_->text() != title) title_->setText(title);
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    const auto& entries = cvEntries(snapshot.cv, config.id);
    SectionView& view = sections_.at(config.id);
    for (std::size_t i = 0; i < entries.size() && i < view.fields.size(); ++i) {
      for (const auto& [id, edit] : view.fields[i]) {
        const auto value = entries[i].find(id);
        const QString text = value == entries[i].end() ? QString() : qstr(value->second);
        if (!edit->hasFocus() && edit->text() != text) edit->setText(text);
      }
    }
    updateCount(config.id);
  }
}

void CvPage::updateCount(CVSectionKey section) {
  const auto size = cvEntries(store_.state().snapshot.cv, section).size();
  sections_.at(section).count->setText(
      size == 0 ? QString()
                : Words(store_).count("count.entries", static_cast<std::int64_t>(size)));
}

void CvPage::rebuildSection(CVSectionKey section) {
  SectionView& view = sections_.at(section);
  for (QWidget* row : view.rows) row->deleteLater();
  for (QWidget* row : view.rows) row->hide();
  view.rows.clear();
  view.fields.clear();
  const std::size_t count = cvEntries(store_.state().snapshot.cv, section).size();
  for (std::size_t i = 0; i < count; ++i) {
    QWidget* row = entryRow(section, i, view);
    view.entries->addWidget(row);
    view.rows.push_back(row);
  }
  fill();
}

// An entry: its fields two by two, each labelled, and its buttons.
QWidget* CvPage::entryRow(CVSectionKey section, std::size_t index, SectionView& view) {
  const Words words(store_);
  auto* row = new QFrame;
  row->setObjectName(QStringLiteral("cvEntry"));
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 6, 0, 6);
  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(10);
  grid->setVerticalSpacing(2);
  auto& fields = view.fields.emplace_back();
  int slot = 0;
  for (const CVFieldConfig& config : cvSectionConfig(section).fields) {
    auto* label = new QLabel(words(cvFieldLabelKey(config.id)), row);
    label->setObjectName(QStringLiteral("fieldLabel"));
    if (slot >= 2) label->setContentsMargins(0, 8, 0, 0);  // air between the pairs
    auto* edit = new QLineEdit(row);
    edit->setObjectName(fieldName(section, index, config.id));
    edit->setPlaceholderText(words(cvFieldPlaceholderKey(config.id)));
    edit->setAccessibleName(words(cvFieldLabelKey(config.id)));
    label->setBuddy(edit);
    const int gridRow = (slot / 2) * 2;
    const int gridColumn = slot % 2;
    grid->addWidget(label, gridRow, gridColumn);
    grid->addWidget(edit, gridRow + 1, gridColumn);
    ++slot;
    fields.emplace(std::string(config.id), edit);
    connect(edit, &QLineEdit::textEdited, this,
            [this, section, index, id = std::string(config.id)](const QString& text) {
              fieldEdited(section, index, id, text);
            });
  }
  layout->addLayout(grid, 1);
  auto* buttons = new QVBoxLayout;
  buttons->setSpacing(0);
  auto* up = entryButton(row, QStringLiteral("↑"), words("desktop.cv.move_up"));
  auto* down = entryButton(row, QStringLiteral("↓"), words("desktop.cv.move_down"));
  auto* remove = entryButton(row, QStringLiteral("✕"), words("desktop.cv.remove"));
  const std::size_t count = cvEntries(store_.state().snapshot.cv, section).size();
  up->setEnabled(index > 0);
  down->setEnabled(index + 1 < count);
  for (QToolButton* button : {up, down, remove}) {
    button->setProperty("cvSection", static_cast<int>(section));
    button->setProperty("cvIndex", static_cast<qulonglong>(index));
    button->installEventFilter(this);
    buttons->addWidget(button);
  }
  buttons->addStretch(1);
  layout->addLayout(buttons);
  connect(up, &QToolButton::clicked, this,
          [this, section, index] { moveEntry(section, index, -1); });
  connect(down, &QToolButton::clicked, this,
          [this, section, index] { moveEntry(section, index, 1); });
  connect(remove, &QToolButton::clicked, this,
          [this, section, index] { removeEntry(section, index); });
  return row;
}

void CvPage::fieldEdited(CVSectionKey section, std::size_t index, std::string_view fieldId,
                         const QString& text) {
  CVData cv = store_.state().snapshot.cv;
  if (setCVField(cv, section, index, fieldId, utf8(text))) store_.setCV(cv);
}

void CvPage::addEntry(CVSectionKey section) {
  CVData cv = store_.state().snapshot.cv;
  const std::size_t index = addCVEntry(cv, section);
  store_.setCV(cv);
  rebuildSection(section);
  // The new entry is written at once: its first field takes the keys.
  const auto& first = cvSectionConfig(section).fields.front();
  if (QLineEdit* edit = field(section, index, first.id)) edit->setFocus();
}

void CvPage::moveEntry(CVSectionKey section, std::size_t index, int offset) {
  CVData cv = store_.state().snapshot.cv;
  if (!moveCVEntry(cv, section, index, offset)) return;
  store_.setCV(cv);
  rebuildSection(section);
}

void CvPage::removeEntry(CVSectionKey section, std::size_t index) {
  CVData cv = store_.state().snapshot.cv;
  const auto& entries = cvEntries(cv, section);
  if (index >= entries.size()) return;
  const bool holdsSomething = std::any_of(entries[index].begin(), entries[index].end(),
                                          [](const auto& field) { return !field.second.empty(); });
  if (holdsSomething) {
    const Words words(store_);
    const QString question =
        words.format("desktop.cv.remove.question", {utf8(words(cvSectionTitleKey(section)))});
    if (!ask(question, words("desktop.cv.remove.action"))) return;
  }
  if (!removeCVEntry(cv, section, index)) return;
  store_.setCV(cv);
  rebuildSection(section);
}

}  // namespace quorvane::gui
