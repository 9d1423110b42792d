#include "gui/work_strip.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

namespace quorvane::gui {

WorkStrip::WorkStrip(QWidget* parent)
    : QFrame(parent),
      text_(new QLabel(this)),
      bar_(new QProgressBar(this)),
      cancelButton_(new QPushButton(this)) {
  setObjectName(QStringLiteral("workStrip"));
  setAttribute(Qt::WA_StyledBackground);
  text_->setWordWrap(true);
  bar_->setTextVisible(false);
  bar_->setFixedHeight(6);
  bar_->setMinimumWidth(160);
  cancelButton_->setObjectName(QStringLiteral("workCancel"));
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(22, 10, 16, 10);
  layout->setSpacing(14);
  layout->addWidget(text_, 1);
  layout->addWidget(bar_, 1, Qt::AlignVCenter);
  layout->addWidget(cancelButton_);
  connect(cancelButton_, &QPushButton::clicked, this, [this] {
    cancelButton_->setEnabled(false);  // said once; the work stops at its next step
    if (cancel_) cancel_();
  });
  hide();
}

void WorkStrip::start(const QString& text, std::function<void()> cancel) {
  running_ = true;
  cancel_ = std::move(cancel);
  text_->setText(text);
  setAccessibleName(text);
  bar_->setRange(0, 0);
  cancelButton_->setVisible(static_cast<bool>(cancel_));
  cancelButton_->setEnabled(true);
  show();
}

void WorkStrip::setText(const QString& text) {
  text_->setText(text);
  setAccessibleName(text);
}

void WorkStrip::setProgress(int value, int maximum) {
  bar_->setRange(0, maximum);
  bar_->setValue(value);
}

void WorkStrip::finish() {
  running_ = false;
  cancel_ = nullptr;
  hide();
}

void WorkStrip::retranslate(const QString& cancelWord) { cancelButton_->setText(cancelWord); }

}  // namespace quorvane::gui
