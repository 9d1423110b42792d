#include "gui/guided_entry.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "cv/cv_edits.h"
#include "gui/details_page.h"
#include "gui/words.h"

namespace quorvane::gui {
namespace {

// The sections most CVs have, offered ticked the first time.
bool isCommon(CVSectionKey section) {
  return section == CVSectionKey::soloExhibitions || section == CVSectionKey::groupExhibitions ||
         section == CVSectionKey::education;
}

}  // namespace

GuidedEntryDialog::GuidedEntryDialog(AppStore& store, QWidget* parent)
    : QDialog(parent),
      store_(store),
      pages_(new QStackedWidget(this)),
      details_(new DetailsPage(store, pages_)),
      stepLabel_(new QLabel(this)),
      sectionTitle_(new QLabel(this)),
      sectionSummary_(new QLabel(this)),
      entryForm_(new QWidget(this)),
      entryGrid_(new QGridLayout(entryForm_)),
      add_(new QPushButton(this)),
      back_(new QPushButton(this)),
      next_(new QPushButton(this)) {
  const Words words(store);
  setObjectName(QStringLiteral("guidedEntry"));
  setWindowTitle(words("desktop.guide.title"));
  resize(720, 700);  // the details step whole, without scrolling
  stepLabel_->setObjectName(QStringLiteral("secondaryText"));
  sectionTitle_->setObjectName(QStringLiteral("pageTitle"));
  sectionSummary_->setObjectName(QStringLiteral("secondaryText"));
  sectionSummary_->setWordWrap(true);
  next_->setObjectName(QStringLiteral("primary"));
  next_->setDefault(true);

  // The choice of sections.
  auto* choice = new QWidget(pages_);
  auto* choiceLayout = new QVBoxLayout(choice);
  choiceLayout->setContentsMargins(25, 20, 24, 20);
  auto* choiceTitle = new QLabel(words("desktop.guide.choose"), choice);
  choiceTitle->setObjectName(QStringLiteral("pageTitle"));
  auto* choiceHelp = new QLabel(words("desktop.guide.choose_help"), choice);
  choiceHelp->setObjectName(QStringLiteral("secondaryText"));
  choiceHelp->setWordWrap(true);
  choiceLayout->addWidget(choiceTitle);
  choiceLayout->addWidget(choiceHelp);
  choiceLayout->addSpacing(8);
  const CVData& cv = store.state().snapshot.cv;
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    const QString title = words(cvSectionTitleKey(config.id));
    auto* box = new QCheckBox(literalAmpersands(title), choice);
    box->setObjectName(QStringLiteral("guide.") + qstr(rawValue(config.id)));
    box->setAccessibleName(title);
    connect(box, &QCheckBox::toggled, this, [this] { showStep(); });
    box->setChecked(isCommon(config.id) || !cvEntries(cv, config.id).empty());
    switches_.emplace(config.id, box);
    choiceLayout->addWidget(box);
  }
  choiceLayout->addStretch(1);

  // One section.
  auto* sectionPage = new QWidget(pages_);
  auto* sectionLayout = new QVBoxLayout(sectionPage);
  sectionLayout->setContentsMargins(25, 20, 24, 20);
  sectionLayout->setSpacing(8);
  sectionLayout->addWidget(sectionTitle_);
  sectionLayout->addWidget(sectionSummary_);
  sectionLayout->addSpacing(8);
  entryGrid_->setContentsMargins(0, 0, 0, 0);
  entryGrid_->setHorizontalSpacing(10);
  entryGrid_->setVerticalSpacing(2);
  sectionLayout->addWidget(entryForm_);
  auto* addRow = new QHBoxLayout;
  addRow->addStretch(1);
  addRow->addWidget(add_);
  sectionLayout->addLayout(addRow);
  sectionLayout->addStretch(1);

  pages_->addWidget(details_);
  pages_->addWidget(choice);
  pages_->addWidget(sectionPage);

  auto* footer = new QHBoxLayout;
  footer->setContentsMargins(25, 8, 24, 16);
  footer->addWidget(stepLabel_);
  footer->addStretch(1);
  footer->addWidget(back_);
  footer->addWidget(next_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(pages_, 1);
  layout->addLayout(footer);

  add_->setText(words("desktop.guide.add"));
  add_->setAccessibleName(words("desktop.guide.add"));
  back_->setText(words("desktop.guide.back"));
  back_->setAccessibleName(words("desktop.guide.back"));
  connect(add_, &QPushButton::clicked, this, &GuidedEntryDialog::addEntry);
  connect(back_, &QPushButton::clicked, this, &GuidedEntryDialog::back);
  connect(next_, &QPushButton::clicked, this, &GuidedEntryDialog::next);
  ask = askOver(this);
  showStep();
}

bool GuidedEntryDialog::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    const bool isField = std::any_of(entryFields_.begin(), entryFields_.end(),
                                     [&](const auto& field) { return field.second == watched; });
    if (isField && (key == Qt::Key_Return || key == Qt::Key_Enter)) {
      addEntry();
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

bool GuidedEntryDialog::hasUnaddedEntry() const {
  if (!section()) return false;
  return std::any_of(entryFields_.begin(), entryFields_.end(),
                     [](const auto& field) { return !field.second->text().trimmed().isEmpty(); });
}

void GuidedEntryDialog::reject() {
  if (hasUnaddedEntry()) {
    const Words words(store_);
    if (!ask(words("desktop.guide.discard.question"), words("desktop.guide.discard.action"))) {
      return;
    }
  }
  QDialog::reject();
}

int GuidedEntryDialog::stepCount() const {
  if (step_ >= 2) return 2 + static_cast<int>(chosen_.size());
  // Until the choice is made, the sections ticked now.
  int ticked = 0;
  for (const auto& [section, box] : switches_) ticked += box->isChecked() ? 1 : 0;
  return 2 + ticked;
}

std::optional<CVSectionKey> GuidedEntryDialog::section() const {
  if (step_ < 2) return std::nullopt;
  return chosen_[static_cast<std::size_t>(step_ - 2)];
}

QLineEdit* GuidedEntryDialog::entryField(std::string_view fieldId) const {
  const auto found = entryFields_.find(fieldId);
  return found == entryFields_.end() ? nullptr : found->second;
}

void GuidedEntryDialog::next() {
  if (step_ == 1) {
    chosen_.clear();
    for (const CVSectionConfig& config : cvSectionConfigs()) {
      if (switches_.at(config.id)->isChecked()) chosen_.push_back(config.id);
    }
  }
  // What is typed in a section and not yet added is not lost by going on.
  if (section()) addEntry();
  if (step_ + 1 >= stepCount()) {
    accept();
    return;
  }
  ++step_;
  showStep();
}

void GuidedEntryDialog::back() {
  if (step_ == 0) return;
  if (section()) addEntry();
  --step_;
  showStep();
}

bool GuidedEntryDialog::addEntry() {
  const auto current = section();
  if (!current) return false;
  CVEntry entry;
  for (const auto& [id, field] : entryFields_) {
    const std::string value = utf8(field->text().trimmed());
    if (!value.empty()) entry[id] = value;
  }
  if (entry.empty()) return false;
  CVData cv = store_.state().snapshot.cv;
  const std::size_t index = addCVEntry(cv, *current);
  cvEntries(cv, *current)[index] = entry;
  store_.setCV(cv);
  for (const auto& [id, field] : entryFields_) field->clear();
  updateSectionSummary();
  const auto first = cvSectionConfig(*current).fields.front().id;
  if (QLineEdit* field = entryField(first)) field->setFocus();
  return true;
}

void GuidedEntryDialog::showStep() {
  const Words words(store_);
  stepLabel_->setText(
      words.format("desktop.guide.step", {std::to_string(step_ + 1), std::to_string(stepCount())}));
  back_->setEnabled(step_ > 0);
  const bool last = step_ + 1 >= stepCount() && step_ >= 1;
  next_->setText(words(last ? "desktop.guide.finish" : "desktop.guide.next"));
  next_->setAccessibleName(next_->text());
  if (step_ < 2) {
    pages_->setCurrentIndex(step_);
    return;
  }
  pages_->setCurrentIndex(2);
  buildEntryForm(*section());
}

void GuidedEntryDialog::buildEntryForm(CVSectionKey section) {
  const Words words(store_);
  sectionTitle_->setText(words(cvSectionTitleKey(section)));
  for (const auto& [id, field] : entryFields_) field->deleteLater();
  entryFields_.clear();
  while (QLayoutItem* item = entryGrid_->takeAt(0)) {
    if (QWidget* widget = item->widget()) widget->deleteLater();
    delete item;
  }
  int slot = 0;
  for (const CVFieldConfig& config : cvSectionConfig(section).fields) {
    auto* label = new QLabel(words(cvFieldLabelKey(config.id)), entryForm_);
    label->setObjectName(QStringLiteral("fieldLabel"));
    if (slot >= 2) label->setContentsMargins(0, 8, 0, 0);  // air between the pairs
    auto* edit = new QLineEdit(entryForm_);
    edit->setObjectName(QStringLiteral("guide.field.") + qstr(config.id));
    edit->setPlaceholderText(words(cvFieldPlaceholderKey(config.id)));
    edit->setAccessibleName(label->text());
    label->setBuddy(edit);
    entryGrid_->addWidget(label, (slot / 2) * 2, slot % 2);
    entryGrid_->addWidget(edit, (slot / 2) * 2 + 1, slot % 2);
    entryFields_.emplace(std::string(config.id), edit);
    // Shown now rather than when the layout next runs, so the first field
    // can take the keys at once.
    label->show();
    edit->show();
    // Enter in a field adds the entry and stays on the section, for the
    // next one; it is not also Next's.
    edit->installEventFilter(this);
    ++slot;
  }
  updateSectionSummary();
  if (QLineEdit* first = entryField(cvSectionConfig(section).fields.front().id)) first->setFocus();
}

// What the section already holds, so the artist sees it grow.
void GuidedEntryDialog::updateSectionSummary() {
  const auto current = section();
  if (!current) return;
  const Words words(store_);
  const auto& entries = cvEntries(store_.state().snapshot.cv, *current);
  QStringList lines;
  for (const CVEntry& entry : entries) {
    QStringList parts;
    for (const CVFieldConfig& config : cvSectionConfig(*current).fields) {
      const auto value = entry.find(std::string(config.id));
      if (value != entry.end() && !value->second.empty()) parts << qstr(value->second);
    }
    lines << QStringLiteral("•  ") + parts.join(QStringLiteral(", "));
  }
  sectionSummary_->setText(
      entries.empty() ? words("desktop.guide.section_empty")
                      : words.count("count.entries", static_cast<std::int64_t>(entries.size())) +
                            QStringLiteral("\n") + lines.join(QStringLiteral("\n")));
}

}  // namespace quorvane::gui
