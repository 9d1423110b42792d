#include "gui/project_header.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>
#include <QVBoxLayout>

#include "gui/flow_layout.h"
#include "gui/project_list_model.h"
#include "gui/words.h"
#include "model/amount.h"
#include "pdf/localization.h"

namespace quorvane::gui {
namespace {

// The kinds as the combo lists them: (kind, kind of catalogue).
const std::vector<std::pair<ProjectKind, std::optional<CatalogueKind>>> kKinds = {
    {ProjectKind::portfolio, std::nullopt},
    {ProjectKind::catalogue, CatalogueKind::price},
    {ProjectKind::catalogue, CatalogueKind::exhibition},
    {ProjectKind::catalogue, CatalogueKind::raisonne},
};

void selectData(QComboBox* box, const QVariant& data) {
  const int index = box->findData(data);
  if (index >= 0 && box->currentIndex() != index) box->setCurrentIndex(index);
}

// A field being typed in is the user's until they leave it.
void setIfDifferent(QLineEdit* field, const std::string& value) {
  if (field->hasFocus()) return;
  if (field->text() != qstr(value)) field->setText(qstr(value));
}

}  // namespace

QString saveIndicatorText(const Words& words, const AppState& state) {
  if (state.isSaving || state.isSaveWaiting) return words("desktop.save.saving");
  const bool anySaved = std::any_of(state.savedFlags.begin(), state.savedFlags.end(),
                                    [](const auto& flag) { return flag.second; });
  return anySaved ? words("desktop.save.saved") : QString();
}

ProjectHeader::ProjectHeader(DesktopContext context, QWidget* parent)
    : QWidget(parent),
      context_(context),
      name_(new QLineEdit(this)),
      menu_(new QToolButton(this)),
      saving_(new QLabel(this)),
      kind_(new QComboBox(this)),
      title_(new QLineEdit(this)),
      year_(new QLineEdit(this)),
      language_(new QComboBox(this)),
      currency_(new QLineEdit(this)),
      unit_(new QComboBox(this)),
      orientation_(new QComboBox(this)),
      layout_(new QComboBox(this)),
      subscription_(context.store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::project) || changes.has(StoreArea::artworks) ||
            changes.has(StoreArea::settings)) {
          fill();
        }
        if (changes.has(StoreArea::saving) || changes.has(StoreArea::settings)) updateSaving();
      }) {
  setObjectName(QStringLiteral("projectHeader"));
  setAttribute(Qt::WA_StyledBackground);
  name_->setObjectName(QStringLiteral("projectName"));
  name_->setFrame(false);
  menu_->setObjectName(QStringLiteral("projectMenu"));
  menu_->setText(QStringLiteral("…"));
  menu_->setAutoRaise(true);
  saving_->setObjectName(QStringLiteral("saveIndicator"));
  year_->setMaximumWidth(70);
  currency_->setMaximumWidth(60);
  currency_->setMaxLength(3);
  title_->setMinimumWidth(220);
  // Each as wide as its longest choice in the language in force, also after
  // the language changes ("Portrait" is "Hochformat" in German).
  for (QComboBox* choice : {kind_, language_, unit_, orientation_, layout_}) {
    choice->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  }

  auto* top = new QHBoxLayout;
  top->setSpacing(8);
  top->addWidget(name_, 1);
  top->addWidget(saving_);
  top->addWidget(menu_);

  // The settings wrap onto a second row on a small screen rather than cut
  // their words.
  auto* settingsRow = new QWidget(this);
  auto* settings = new FlowLayout(settingsRow, 6);
  const auto add = [&](QWidget* field) {
    auto* setting = new QWidget(settingsRow);
    auto* label = new QLabel(setting);
    label->setObjectName(QStringLiteral("fieldLabel"));
    label->setBuddy(field);
    labels_.push_back(label);
    auto* column = new QVBoxLayout(setting);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(label);
    field->setParent(setting);
    column->addWidget(field);
    settings->addWidget(setting);
  };
  add(kind_);
  add(title_);
  add(year_);
  add(language_);
  add(currency_);
  add(unit_);
  add(orientation_);
  add(layout_);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(20, 14, 16, 12);
  layout->setSpacing(10);
  layout->addLayout(top);
  layout->addWidget(settingsRow);

  for (const auto code : kInterfaceLanguages) language_->addItem(languageName(code), qstr(code));
  connect(name_, &QLineEdit::editingFinished, this, [this] {
    const std::string name = utf8(name_->text().trimmed());
    if (name.empty()) {
      name_->setText(qstr(context_.store.state().project.projectName));  // a name is needed
      return;
    }
    if (name != context_.store.state().project.projectName) context_.store.renameProject(name);
  });
  connect(menu_, &QToolButton::clicked, this,
          [this] { emit projectMenuRequested(menu_->mapToGlobal(QPoint(0, menu_->height()))); });
  connect(kind_, &QComboBox::activated, this, &ProjectHeader::kindChosen);
  // Each control sends its own field only: a title typed never resends a
  // language or a currency the user did not touch.
  connect(title_, &QLineEdit::textEdited, this, [this](const QString& text) {
    ProjectChanges changes;
    changes.title = utf8(text);
    send(changes);
  });
  connect(year_, &QLineEdit::textEdited, this, [this](const QString& text) {
    ProjectChanges changes;
    changes.year = utf8(text);
    send(changes);
  });
  // Sent once the field is left: "EU" on the way to "EUR" is no code yet.
  connect(currency_, &QLineEdit::editingFinished, this, [this] {
    const std::string currency = utf8(currency_->text());
    if (currency == context_.store.state().project.currency.value_or("")) return;
    ProjectChanges changes;
    changes.currency = currency;
    send(changes);
  });
  connect(language_, &QComboBox::activated, this, [this] {
    ProjectChanges changes;
    changes.locale = utf8(language_->currentData().toString());
    send(changes);
  });
  connect(unit_, &QComboBox::activated, this, [this] {
    ProjectChanges changes;
    changes.unit = fromRawValue<UnitSystem>(utf8(unit_->currentData().toString()));
    send(changes);
  });
  connect(orientation_, &QComboBox::activated, this, [this] {
    ProjectChanges changes;
    changes.orientation =
        fromRawValue<DocumentOrientation>(utf8(orientation_->currentData().toString()));
    send(changes);
  });
  connect(layout_, &QComboBox::activated, this, [this] {
    ProjectChanges changes;
    changes.layout = fromRawValue<ArtworkLayoutMode>(utf8(layout_->currentData().toString()));
    send(changes);
  });
  retranslate();
}

void ProjectHeader::retranslate() {
  const Words words(context_.store);
  filling_ = true;
  kind_->clear();
  for (const auto& [kind, catalogue] : kKinds) {
    kind_->addItem(projectKindText(context_.store, kind, catalogue));
  }
  unit_->clear();
  unit_->addItem(words("desktop.unit.cm"), QStringLiteral("cm"));
  unit_->addItem(words("desktop.unit.in"), QStringLiteral("in"));
  orientation_->clear();
  orientation_->addItem(words("desktop.project.portrait"), QStringLiteral("portrait"));
  orientation_->addItem(words("desktop.project.landscape"), QStringLiteral("landscape"));
  layout_->clear();
  layout_->addItem(words("desktop.project.layout.artwork"), QStringLiteral("artwork"));
  layout_->addItem(words("desktop.project.layout.artwork_text"), QStringLiteral("artwork_text"));
  filling_ = false;
  const char* keys[] = {"desktop.project.kind",        "desktop.project.title",
                        "desktop.project.year",        "desktop.project.language",
                        "desktop.project.currency",    "desktop.project.unit",
                        "desktop.project.orientation", "desktop.project.layout"};
  QWidget* fields[] = {kind_, title_, year_, language_, currency_, unit_, orientation_, layout_};
  for (std::size_t i = 0; i < labels_.size(); ++i) {
    labels_[i]->setText(words(keys[i]));
    fields[i]->setAccessibleName(words(keys[i]));
  }
  name_->setAccessibleName(words("desktop.project.name"));
  name_->setPlaceholderText(words("desktop.project.name"));
  menu_->setAccessibleName(words("desktop.project.actions"));
  menu_->setToolTip(words("desktop.project.actions"));
  saving_->setAccessibleName(words("desktop.save.indicator"));
  fill();
  updateSaving();
}

void ProjectHeader::fill() {
  filling_ = true;
  const Project& project = context_.store.state().project;
  setIfDifferent(name_, project.projectName);
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    const bool same = kKinds[i].first == project.kind &&
                      (project.kind == ProjectKind::portfolio ||
                       kKinds[i].second == project.catalogueKind.value_or(CatalogueKind::price));
    if (same) kind_->setCurrentIndex(static_cast<int>(i));
  }
  setIfDifferent(title_, project.projectTitle);
  setIfDifferent(year_, project.projectYear);
  const QString locale = qstr(project.locale);
  if (language_->findData(locale) < 0) language_->addItem(locale, locale);  // kept as it is
  selectData(language_, locale);
  setIfDifferent(currency_, project.currency.value_or(""));
  selectData(unit_, qstr(rawValue(context_.store.state().snapshot.artworks.unit)));
  selectData(orientation_, qstr(rawValue(project.orientation)));
  selectData(layout_, qstr(rawValue(context_.store.state().snapshot.artworks.layoutMode)));
  filling_ = false;
}

void ProjectHeader::updateSaving() {
  const Words words(context_.store);
  const AppState& state = context_.store.state();
  QString text = saveIndicatorText(words, state);
  if (text.isEmpty() && confirmed_) text = words("desktop.save.saved");
  saving_->setText(text);
  saving_->setProperty("saving", state.isSaving || state.isSaveWaiting);
  QStringList saved;
  for (const auto& [section, flag] : state.savedFlags) {
    if (flag) saved << words("desktop.section." + std::string(rawValue(section)));
  }
  saving_->setToolTip(saved.isEmpty() ? QString()
                                      : words("desktop.save.saved_sections") + QStringLiteral(" ") +
                                            saved.join(QStringLiteral(", ")));
  style()->unpolish(saving_);
  style()->polish(saving_);
}

void ProjectHeader::kindChosen() {
  if (filling_) return;
  const auto& [kind, catalogue] = kKinds.at(static_cast<std::size_t>(kind_->currentIndex()));
  context_.store.setProjectKind(kind, catalogue);
}

void ProjectHeader::confirmSaved() {
  confirmed_ = true;
  updateSaving();
}

void ProjectHeader::send(const ProjectChanges& changes) {
  if (!filling_) context_.store.updateProject(changes);
}

}  // namespace quorvane::gui
