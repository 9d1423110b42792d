#include "gui/web_cv_dialog.h"

#include <QButtonGroup>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "gui/words.h"
#include "webcv/web_cv_issues.h"

namespace quorvane::gui {

WebCvDialog::WebCvDialog(AppStore& store, QWidget* parent)
    : QDialog(parent),
      store_(store),
      layout_(new QVBoxLayout(this)),
      loading_(new QWidget(this)),
      status_(new QLabel(this)),
      import_(new QPushButton(this)),
      cancel_(new QPushButton(this)) {
  const Words words(store);
  setObjectName(QStringLiteral("webCvDialog"));
  setWindowTitle(words("desktop.webcv.title"));
  resize(1120, 660);

  auto* heading = new QLabel(words("desktop.webcv.title"), this);
  heading->setObjectName(QStringLiteral("pageTitle"));
  // While the file is read and planned (a large one takes a moment).
  auto* reading = new QLabel(words("cv.import.loading"), loading_);
  reading->setObjectName(QStringLiteral("secondaryText"));
  auto* busy = new QProgressBar(loading_);
  busy->setRange(0, 0);
  busy->setTextVisible(false);
  busy->setAccessibleName(reading->text());
  auto* loadingLayout = new QVBoxLayout(loading_);
  loadingLayout->setContentsMargins(0, 0, 0, 0);
  loadingLayout->addWidget(reading);
  loadingLayout->addWidget(busy);
  loadingLayout->addStretch(1);

  status_->setObjectName(QStringLiteral("secondaryText"));
  import_->setObjectName(QStringLiteral("primary"));
  import_->setText(words("desktop.webcv.import"));
  import_->setAccessibleName(import_->text());
  cancel_->setText(words("common.cancel"));
  cancel_->setAccessibleName(cancel_->text());

  layout_->setContentsMargins(25, 20, 24, 16);
  layout_->setSpacing(10);
  layout_->addWidget(heading);
  layout_->addWidget(loading_, 1);
  auto* footer = new QHBoxLayout;
  footer->addWidget(status_, 1);
  footer->addWidget(cancel_);
  footer->addWidget(import_);
  layout_->addLayout(footer);

  connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);
  connect(import_, &QPushButton::clicked, this, &WebCvDialog::confirm);
  updateButtons();
}

WebCvDialog::WebCvDialog(AppStore& store, PreparedWebCVImport prepared, QWidget* parent)
    : WebCvDialog(store, parent) {
  showPlan(std::move(prepared));
}

void WebCvDialog::showPlan(PreparedWebCVImport prepared) {
  if (prepared_) return;
  prepared_ = std::move(prepared);
  selection_ = prepared_->plan.defaults;
  const Words words(store_);
  const WebCVImportPlan& plan = prepared_->plan;
  loading_->hide();
  // Nothing changes before Import, and whatever is chosen, only this
  // project: the two promises the user needs before choosing.
  auto* help =
      new QLabel(plan.isIdentical() ? words("cv.import.identical")
                                    : words("cv.import.preview.help") + QStringLiteral(" ") +
                                          words("cv.import.projectsPreserved"),
                 this);
  help->setObjectName(plan.isIdentical() ? QStringLiteral("sectionHeading")
                                         : QStringLiteral("secondaryText"));
  help->setWordWrap(true);
  cancel_->setText(words(plan.isIdentical() ? "common.done" : "common.cancel"));
  cancel_->setAccessibleName(cancel_->text());

  auto* groups = new QHBoxLayout;
  groups->setSpacing(14);
  groups->addWidget(groupCard(WebCVImportGroup::identity), 4);  // four columns
  groups->addWidget(groupCard(WebCVImportGroup::cv), 3);

  int at = layout_->indexOf(loading_);
  layout_->insertWidget(++at, help);
  layout_->insertLayout(++at, groups, 1);
  if (!plan.issues.empty()) {
    auto* notes = new QLabel(words("cv.import.notes"), this);
    notes->setObjectName(QStringLiteral("sectionHeading"));
    QStringList lines;
    for (const WebCVImportIssue& issue : plan.issues) {
      const QString mark =
          issue.severity == WebCVIssueSeverity::info ? QStringLiteral("·") : QStringLiteral("!");
      lines << mark + QStringLiteral("  ") + words(webCVIssueKey(issue.code)) +
                   (issue.where.empty()
                        ? QString()
                        : QStringLiteral("  (") + qstr(issue.where) + QStringLiteral(")"));
    }
    auto* list = new QLabel(lines.join(QStringLiteral("\n")), this);
    list->setObjectName(QStringLiteral("webCvNotes"));
    list->setWordWrap(true);
    list->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout_->insertWidget(++at, notes);
    layout_->insertWidget(++at, list);
  }
  import_->setVisible(!plan.isIdentical());
  updateButtons();
}

// One group: keep or replace, and each field now and after the import.
QWidget* WebCvDialog::groupCard(WebCVImportGroup group) {
  const Words words(store_);
  const WebCVImportPlan& plan = prepared_->plan;
  const bool identity = group == WebCVImportGroup::identity;
  const bool changes = identity ? plan.identityChanges : plan.cvChanges;
  auto* card = new QFrame(this);
  card->setObjectName(QStringLiteral("card"));
  auto* layout = new QVBoxLayout(card);
  layout->setContentsMargins(16, 12, 16, 12);
  layout->setSpacing(6);
  auto* title = new QLabel(words(identity ? "cv.import.identity" : "cv.import.cv"), card);
  title->setObjectName(QStringLiteral("cardTitle"));
  layout->addWidget(title);
  if (!identity && plan.cvChanges) {
    auto* summary = new QLabel(
        words.format(
            "cv.import.summary.counted",
            {utf8(words.count("cv.import.entries", static_cast<std::int64_t>(plan.entryCount))),
             utf8(
                 words.count("cv.import.sections", static_cast<std::int64_t>(plan.sectionCount)))}),
        card);
    summary->setObjectName(QStringLiteral("secondaryText"));
    layout->addWidget(summary);
  }

  auto* keep = new QRadioButton(words("cv.import.keep"), card);
  auto* replace = new QRadioButton(words("cv.import.replace"), card);
  keep->setAccessibleName(title->text() + QStringLiteral(": ") + keep->text());
  replace->setAccessibleName(title->text() + QStringLiteral(": ") + replace->text());
  auto* buttons = new QButtonGroup(card);
  buttons->addButton(keep);
  buttons->addButton(replace);
  const WebCVImportChoice chosen = identity ? selection_.identity : selection_.cv;
  (chosen == WebCVImportChoice::replace ? replace : keep)->setChecked(true);
  replace->setEnabled(changes && plan.canReplace(group));
  keep->setEnabled(changes);
  auto* choiceRow = new QHBoxLayout;
  choiceRow->addWidget(keep);
  choiceRow->addWidget(replace);
  choiceRow->addStretch(1);
  layout->addLayout(choiceRow);
  choices_[group] = {keep, replace};
  connect(keep, &QRadioButton::toggled, this, [this, group](bool on) {
    if (on) choose(group, WebCVImportChoice::keep);
  });
  connect(replace, &QRadioButton::toggled, this, [this, group](bool on) {
    if (on) choose(group, WebCVImportChoice::replace);
  });
  if (changes && !plan.canReplace(group)) {
    auto* blocked = new QLabel(words.format("cv.import.blocked", {utf8(title->text())}), card);
    blocked->setWordWrap(true);
    layout->addWidget(blocked);
  } else if (!identity && changes) {
    auto* replaceHelp = new QLabel(words("cv.import.replace.help"), card);
    replaceHelp->setObjectName(QStringLiteral("secondaryText"));
    replaceHelp->setWordWrap(true);
    layout->addWidget(replaceHelp);
    if (plan.cvShared) {
      auto* shared = new QLabel(words("cv.import.shared.help"), card);
      shared->setObjectName(QStringLiteral("secondaryText"));
      shared->setWordWrap(true);
      layout->addWidget(shared);
    }
  }

  auto* fields = new QTreeWidget(card);
  fields->setObjectName(identity ? QStringLiteral("webCvIdentity") : QStringLiteral("webCvCV"));
  // What the file says beside what the import would keep: a value it
  // refuses (a birth year that is no year) is seen as the file has it.
  fields->setColumnCount(4);
  fields->setHeaderLabels({QString(), words("desktop.webcv.now"), words("cv.import.source"),
                           words("cv.import.proposed")});
  fields->setRootIsDecorated(!identity);
  fields->setAlternatingRowColors(true);
  fields->setWordWrap(true);
  // The columns that are short give their room to the values: the field
  // names of the identity; the entry numbers and counts of the CV (whose
  // section headings span the whole row).
  fields->header()->setSectionResizeMode(QHeaderView::Stretch);
  fields->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  if (!identity) fields->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  fields->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  fields->setAccessibleName(title->text());
  QTreeWidgetItem* section = nullptr;
  const auto empty = [&](const std::string& text) {
    return text.empty() ? words("cv.import.empty") : qstr(text);
  };
  for (const WebCVImportFieldPreview& field : identity ? plan.identity : plan.cv) {
    // A section's row holds its entries ("soloExhibitions[2]" under
    // "soloExhibitions").
    const bool isEntry = field.key.find('[') != std::string::npos;
    auto* item = new QTreeWidgetItem(QStringList{qstr(field.label), empty(field.current),
                                                 empty(field.source), empty(field.proposed)});
    item->setToolTip(1, qstr(field.current));
    item->setToolTip(2, qstr(field.source));
    item->setToolTip(3, qstr(field.proposed));
    if (field.current != field.proposed) {
      QFont bold = item->font(3);
      bold.setWeight(QFont::DemiBold);
      item->setFont(3, bold);
    }
    if (!identity && isEntry && section != nullptr) {
      section->addChild(item);
    } else {
      fields->addTopLevelItem(item);
      if (!identity) {
        // "Selected solo exhibitions   0 entries → 2 entries" across the row.
        QString heading = qstr(field.label) + QStringLiteral("   ") + qstr(field.current) +
                          QStringLiteral(" → ") + qstr(field.proposed);
        if (field.source != field.proposed) {
          heading += QStringLiteral("   (") + words("cv.import.source") + QStringLiteral(": ") +
                     qstr(field.source) + QStringLiteral(")");
        }
        item->setText(0, heading);
        QFont strong = item->font(0);
        strong.setWeight(QFont::DemiBold);
        item->setFont(0, strong);
        item->setFirstColumnSpanned(true);
        section = item;
      }
    }
  }
  fields->expandAll();
  // The CV comes whole or not at all: where every entry is kept as the
  // file has it, the file's column would only repeat the next one.
  const auto& rows = identity ? plan.identity : plan.cv;
  const bool fileDiffers = std::any_of(
      rows.begin(), rows.end(), [](const auto& field) { return field.source != field.proposed; });
  fields->setColumnHidden(2, !identity && !fileDiffers);
  layout->addWidget(fields, 1);
  return card;
}

void WebCvDialog::choose(WebCVImportGroup group, WebCVImportChoice choice) {
  (group == WebCVImportGroup::identity ? selection_.identity : selection_.cv) = choice;
  const auto& [keep, replace] = choices_.at(group);
  QRadioButton* button = choice == WebCVImportChoice::replace ? replace : keep;
  if (!button->isChecked()) button->setChecked(true);
  updateButtons();
}

void WebCvDialog::updateButtons() {
  const Words words(store_);
  const bool anything = selection_.identity == WebCVImportChoice::replace ||
                        selection_.cv == WebCVImportChoice::replace;
  import_->setEnabled(prepared_ && anything && !applying_);
  cancel_->setEnabled(!applying_);
  status_->setText(applying_ ? words("cv.import.saving") : QString());
}

void WebCvDialog::confirm() {
  if (applying_ || !prepared_) return;
  applying_ = true;
  updateButtons();
  QPointer<WebCvDialog> dialog(this);
  const bool started =
      store_.applyWebCVImportInBackground(*prepared_, selection_, [dialog](bool applied) {
        if (!dialog) return;
        dialog->applying_ = false;
        dialog->updateButtons();
        if (applied) dialog->accept();
      });
  if (!started) {
    applying_ = false;
    updateButtons();
  }
}

}  // namespace quorvane::gui
