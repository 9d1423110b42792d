#include "gui/question.h"

#include <QIcon>
#include <QMessageBox>
#include <QPushButton>

namespace quorvane::gui {

QMessageBox* makeQuestion(QWidget* parent, const QString& message, const QString& action) {
  auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Quorvane"), message,
                              QMessageBox::Cancel, parent);
  box->setObjectName(QStringLiteral("question"));
  QPushButton* act = box->addButton(action, QMessageBox::DestructiveRole);
  act->setObjectName(QStringLiteral("questionAction"));
  act->setAutoDefault(false);
  // Words only: the style's red cross on Cancel reads as the dangerous one.
  box->button(QMessageBox::Cancel)->setIcon(QIcon());
  box->setDefaultButton(QMessageBox::Cancel);
  box->setEscapeButton(QMessageBox::Cancel);
  return box;
}

bool askBeforeActing(QWidget* parent, const QString& message, const QString& action) {
  QMessageBox* box = makeQuestion(parent, message, action);
  box->exec();
  const bool chosen = box->clickedButton() != nullptr &&
                      box->clickedButton()->objectName() == QStringLiteral("questionAction");
  box->deleteLater();
  return chosen;
}

Ask askOver(QWidget* parent) {
  return [parent](const QString& message, const QString& action) {
    return askBeforeActing(parent, message, action);
  };
}

}  // namespace quorvane::gui
