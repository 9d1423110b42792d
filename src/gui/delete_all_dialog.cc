#include "gui/delete_all_dialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/words.h"

namespace quorvane::gui {

DeleteAllDialog::DeleteAllDialog(AppStore& store, QWidget* parent)
    : QDialog(parent),
      store_(store),
      text_(new QLabel(this)),
      prompt_(new QLabel(this)),
      word_(new QLineEdit(this)),
      backUpFirst_(new QPushButton(this)),
      cancel_(new QPushButton(this)),
      delete_(new QPushButton(this)) {
  const Words words(store);
  setObjectName(QStringLiteral("deleteAllDialog"));
  setWindowTitle(words("desktop.delete_all.title"));
  setModal(true);
  const auto projects = static_cast<std::int64_t>(store.state().projects.size() +
                                                  store.state().deletedProjects.size());
  const auto artworks = static_cast<std::int64_t>(store.libraryArtworkCount());
  text_->setText(words.format("desktop.delete_all.text",
                              {utf8(words.count("desktop.delete_all.projects", projects)),
                               utf8(words.count("desktop.delete_all.artworks", artworks))}));
  text_->setWordWrap(true);
  const QString word = words("desktop.delete_all.word");
  prompt_->setText(words.format("desktop.delete_all.prompt", {utf8(word)}));
  prompt_->setWordWrap(true);
  prompt_->setBuddy(word_);
  word_->setObjectName(QStringLiteral("deleteAllWord"));
  word_->setAccessibleName(prompt_->text());
  backUpFirst_->setText(words("desktop.delete_all.back_up_first"));
  cancel_->setText(words("desktop.common.cancel"));
  delete_->setText(words("desktop.delete_all.action"));
  delete_->setObjectName(QStringLiteral("deleteEverything"));
  delete_->setEnabled(false);
  // Enter answers Cancel, whatever has the focus: only a click (or Space
  // on the button itself) deletes.
  for (QPushButton* button : {backUpFirst_, delete_}) button->setAutoDefault(false);
  cancel_->setDefault(true);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(backUpFirst_);
  buttons->addStretch(1);
  buttons->addWidget(cancel_);
  buttons->addWidget(delete_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(24, 20, 24, 20);
  layout->setSpacing(12);
  layout->addWidget(text_);
  layout->addWidget(prompt_);
  layout->addWidget(word_);
  layout->addSpacing(6);
  layout->addLayout(buttons);
  setMinimumWidth(460);

  connect(word_, &QLineEdit::textChanged, this, [this, word](const QString& typed) {
    delete_->setEnabled(typed.trimmed().compare(word, Qt::CaseInsensitive) == 0);
  });
  // Enter in the field is Cancel's too: the field never deletes.
  connect(word_, &QLineEdit::returnPressed, this, &QDialog::reject);
  connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);
  connect(backUpFirst_, &QPushButton::clicked, this, [this] {
    reject();
    emit backUpFirstRequested();
  });
  connect(delete_, &QPushButton::clicked, this, &DeleteAllDialog::deleteEverything);
}

void DeleteAllDialog::deleteEverything() {
  if (!delete_->isEnabled()) return;
  if (!store_.deleteAllUserData()) return;  // the store said why; the dialog stays
  accept();
  emit deleted();
}

}  // namespace quorvane::gui
