#include "gui/labels_dialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "gui/scrolling.h"
#include "gui/words.h"
#include "pdf/localization.h"
#include "pdf/pdf_labels.h"

namespace quorvane::gui {
namespace {

// The labels a document of `scope` prints: a portfolio may print every one
// (its CV and texts are inside it); the others only their own.
bool printsLabel(std::string_view scope, std::string_view key) {
  const auto startsWith = [&](std::string_view prefix) { return key.rfind(prefix, 0) == 0; };
  if (scope == "cv") {
    return startsWith("pdf.cv.") || startsWith("pdf.press.") ||
           key == "pdf.cover.artist_name_fallback";
  }
  if (scope == "bio") return startsWith("pdf.biography.");
  if (scope == "statement") return startsWith("pdf.statement.");
  if (scope == "project_statement") return startsWith("pdf.project_statement.");
  return true;
}

// Where in a document a label prints, as the dialog says under it.
const char* placeKey(std::string_view key) {
  const auto startsWith = [&](std::string_view prefix) { return key.rfind(prefix, 0) == 0; };
  if (startsWith("pdf.cover.")) return "desktop.labels.place.cover";
  if (startsWith("pdf.toc.")) return "desktop.labels.place.contents";
  if (startsWith("pdf.cv.section.")) return "desktop.labels.place.cv_section";
  if (startsWith("pdf.cv.intro.")) return "desktop.labels.place.cv_intro";
  if (startsWith("pdf.press.")) return "desktop.labels.place.press";
  if (startsWith("pdf.artwork.")) return "desktop.labels.place.caption";
  if (startsWith("pdf.raisonne.")) return "desktop.labels.place.raisonne";
  if (startsWith("pdf.list.")) return "desktop.labels.place.work_list";
  return "desktop.labels.place.section";
}

}  // namespace

LabelsDialog::LabelsDialog(AppStore& store, const std::string& scope, const std::string& locale,
                           QWidget* parent)
    : QDialog(parent),
      store_(store),
      scope_(new QComboBox(this)),
      language_(new QComboBox(this)),
      rows_(new QWidget),
      form_(new QFormLayout(rows_)),
      scopeNote_(new QLabel(this)) {
  const Words words(store);
  setObjectName(QStringLiteral("labelsDialog"));
  setWindowTitle(words("desktop.labels.title"));
  resize(720, 640);
  for (const LabelScope& each : kLabelScopes)
    scope_->addItem(words(each.nameKey), qstr(each.scope));
  for (const auto code : kInterfaceLanguages) language_->addItem(languageName(code), qstr(code));
  scope_->setCurrentIndex(std::max(0, scope_->findData(qstr(scope))));
  language_->setCurrentIndex(std::max(0, language_->findData(qstr(locale))));
  scope_->setAccessibleName(words("desktop.labels.document"));
  language_->setAccessibleName(words("desktop.export.language"));

  auto* heading = new QLabel(words("desktop.labels.title"), this);
  heading->setObjectName(QStringLiteral("pageTitle"));
  auto* help = new QLabel(words("desktop.labels.help"), this);
  help->setObjectName(QStringLiteral("secondaryText"));
  help->setWordWrap(true);
  auto* choosers = new QHBoxLayout;
  choosers->addWidget(scope_);
  choosers->addWidget(language_);
  choosers->addStretch(1);
  // A catalogue prints the portfolio's labels: said where "Portfolio" is
  // chosen for one, so the choice does not look like a mistake.
  scopeNote_->setObjectName(QStringLiteral("secondaryText"));
  scopeNote_->setWordWrap(true);
  scopeNote_->setText(words("desktop.labels.catalogue_scope"));
  form_->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  form_->setHorizontalSpacing(16);
  form_->setVerticalSpacing(6);
  QScrollArea* scroll = framelessScroll(rows_, this);
  auto* done = new QPushButton(words("common.done"), this);
  done->setObjectName(QStringLiteral("primary"));
  done->setAccessibleName(done->text());
  auto* footer = new QHBoxLayout;
  footer->addStretch(1);
  footer->addWidget(done);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(25, 20, 24, 16);
  layout->setSpacing(8);
  layout->addWidget(heading);
  layout->addWidget(help);
  layout->addLayout(choosers);
  layout->addWidget(scopeNote_);
  layout->addWidget(scroll, 1);
  layout->addLayout(footer);

  connect(scope_, &QComboBox::activated, this, &LabelsDialog::rebuild);
  connect(language_, &QComboBox::activated, this, &LabelsDialog::rebuild);
  connect(done, &QPushButton::clicked, this, &QDialog::accept);
  rebuild();
}

std::string LabelsDialog::scope() const { return utf8(scope_->currentData().toString()); }
std::string LabelsDialog::locale() const { return utf8(language_->currentData().toString()); }

QLineEdit* LabelsDialog::field(std::string_view key) const {
  const auto found = fields_.find(key);
  return found == fields_.end() ? nullptr : found->second;
}

// A row per label: its built-in text in the chosen language beside the
// user's own, which starts as what is saved.
void LabelsDialog::rebuild() {
  const Words words(store_);
  scopeNote_->setVisible(scope() == "portfolio" &&
                         store_.state().project.kind == ProjectKind::catalogue);
  while (form_->rowCount() > 0) form_->removeRow(0);
  fields_.clear();
  std::map<std::string, std::string> own;
  for (const LabelOverrideEntry& entry : store_.labelOverrides()) {
    if (entry.scope == scope() && entry.locale == locale()) own[entry.key] = entry.value;
  }
  const PdfStrings builtIn(locale(), scope(), {});
  for (const std::string_view key : pdfLabelKeys()) {
    if (!printsLabel(scope(), key)) continue;
    // The built-in text, and under it where it prints.
    auto* name = new QWidget(rows_);
    auto* nameLayout = new QVBoxLayout(name);
    nameLayout->setContentsMargins(0, 0, 0, 0);
    nameLayout->setSpacing(0);
    auto* label = new QLabel(literalAmpersands(qstr(builtIn.label(key))), name);
    label->setToolTip(qstr(key));
    label->setWordWrap(true);
    label->setMinimumWidth(220);
    auto* place = new QLabel(words(placeKey(key)), name);
    place->setObjectName(QStringLiteral("labelPlace"));
    nameLayout->addWidget(label);
    nameLayout->addWidget(place);
    auto* edit = new QLineEdit(rows_);
    edit->setObjectName(qstr(key));
    edit->setPlaceholderText(words("desktop.labels.placeholder"));
    edit->setAccessibleName(label->text());
    edit->setAccessibleDescription(place->text());
    edit->setClearButtonEnabled(true);
    if (const auto value = own.find(std::string(key)); value != own.end()) {
      edit->setText(qstr(value->second));
    }
    label->setBuddy(edit);
    form_->addRow(name, edit);
    fields_.emplace(std::string(key), edit);
    connect(edit, &QLineEdit::editingFinished, this,
            [this, key = std::string(key)] { commit(key); });
  }
}

void LabelsDialog::commit(const std::string& key) {
  QLineEdit* edit = field(key);
  if (edit == nullptr) return;
  const std::string value = utf8(edit->text().trimmed());
  std::string saved;
  for (const LabelOverrideEntry& entry : store_.labelOverrides()) {
    if (entry.scope == scope() && entry.locale == locale() && entry.key == key) saved = entry.value;
  }
  if (value == saved) return;
  const bool written = value.empty() ? store_.clearLabelOverride(scope(), locale(), key)
                                     : store_.setLabelOverride({scope(), locale(), key, value});
  if (written) emit labelsChanged(qstr(scope()));
}

}  // namespace quorvane::gui
