#include "gui/toast_view.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

#include "gui/words.h"

namespace quorvane::gui {

namespace {

// The words of the toast's button; nothing for an action it offers none for.
std::optional<std::string_view> actionWords(ToastAction action) {
  switch (action) {
    case ToastAction::showOversizedImages:
      return "desktop.toast.review";
    case ToastAction::copySharedTexts:
      return "desktop.toast.copy_texts";
    case ToastAction::openExport:
      break;
  }
  return std::nullopt;
}

QString styleName(ToastStyle style) {
  switch (style) {
    case ToastStyle::error:
      return QStringLiteral("error");
    case ToastStyle::success:
      return QStringLiteral("success");
    case ToastStyle::info:
      return QStringLiteral("info");
  }
  return QStringLiteral("info");
}

}  // namespace

ToastView::ToastView(AppStore& store, QWidget* parent)
    : QFrame(parent),
      store_(store),
      title_(new QLabel(this)),
      text_(new QLabel(this)),
      action_(new QPushButton(this)),
      close_(new QToolButton(this)),
      subscription_(store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::toast)) present(store_.state().errorToast);
      }) {
  setObjectName(QStringLiteral("toast"));
  setAttribute(Qt::WA_StyledBackground);
  title_->setObjectName(QStringLiteral("toastTitle"));
  text_->setWordWrap(true);
  text_->setObjectName(QStringLiteral("toastText"));
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  close_->setText(QStringLiteral("✕"));
  close_->setAutoRaise(true);
  setMaximumWidth(640);

  auto* words = new QVBoxLayout;
  words->setSpacing(2);
  words->addWidget(title_);
  words->addWidget(text_);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(16, 12, 10, 12);
  layout->setSpacing(12);
  layout->addLayout(words, 1);
  layout->addWidget(action_, 0, Qt::AlignVCenter);
  layout->addWidget(close_, 0, Qt::AlignTop);

  timer_.setSingleShot(true);
  connect(&timer_, &QTimer::timeout, this, [this] { store_.dismissToast(); });
  connect(close_, &QToolButton::clicked, this, [this] { store_.dismissToast(); });
  connect(action_, &QPushButton::clicked, this, [this] {
    if (shown_ && shown_->action) emit actionTriggered(*shown_->action);
  });
  retranslate();
  present(store.state().errorToast);
}

void ToastView::retranslate() {
  const Words words(store_);
  close_->setAccessibleName(words("desktop.common.close"));
  if (shown_) present(shown_);
}

void ToastView::present(const std::optional<ToastMessage>& toast) {
  shown_ = toast;
  timer_.stop();
  if (!toast) {
    hide();
    return;
  }
  title_->setText(toast->title ? qstr(*toast->title) : QString());
  title_->setVisible(toast->title.has_value());
  text_->setText(qstr(toast->text));
  setAccessibleName(text_->text());
  const std::optional<std::string_view> action =
      toast->action ? actionWords(*toast->action) : std::nullopt;
  action_->setVisible(action.has_value());
  if (action) {
    action_->setText(Words(store_)(*action));
    action_->setAccessibleName(action_->text());
  }
  setProperty("toastStyle", styleName(toast->style));
  style()->unpolish(this);
  style()->polish(this);
  show();
  timer_.start(toast->style == ToastStyle::error ? kErrorMilliseconds : kInfoMilliseconds);
}

}  // namespace quorvane::gui
