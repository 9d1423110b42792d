#include "gui/sharing_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "gui/words.h"

namespace quorvane::gui {

SharingBar::SharingBar(AppStore& store, TextAssetType type, QWidget* parent)
    : QWidget(parent),
      store_(store),
      type_(type),
      line_(new QLabel(this)),
      copy_(new QPushButton(this)) {
  setObjectName(QStringLiteral("sharingBar"));
  line_->setObjectName(QStringLiteral("secondaryText"));
  line_->setWordWrap(true);
  copy_->setObjectName(QStringLiteral("copySharedText"));
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(line_, 1);
  layout->addWidget(copy_);
  connect(copy_, &QPushButton::clicked, this, [this] { store_.copyText(type_); });
  refresh();
}

void SharingBar::setType(TextAssetType type) {
  type_ = type;
  refresh();
}

void SharingBar::refresh() {
  const auto& shared = store_.state().sharedTexts;
  const auto found = shared.find(type_);
  setVisible(found != shared.end());
  if (found == shared.end()) return;
  // This project first, then the others, as the store names them.
  std::string names = store_.state().project.projectName;
  for (const ProjectRef& project : found->second) names += ", " + project.name;
  const Words words(store_);
  line_->setText(
      words.format("desktop.texts.shared", {std::to_string(found->second.size() + 1), names}));
  copy_->setText(words("desktop.texts.copy"));
  copy_->setAccessibleName(words("desktop.texts.copy"));
}

}  // namespace quorvane::gui
