#include "app/MessageBoxPresenter.h"

#include <QMessageBox>
#include <QPushButton>

void MessageBoxPresenter::showAlert(const QString& message) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("QZ62A"), message, QMessageBox::Ok,
                    m_parent);
    box.setDefaultButton(QMessageBox::Ok);
    box.exec();
}

std::unique_ptr<QMessageBox> MessageBoxPresenter::questionBox(const QString& message,
                                                              QWidget* parent) {
    auto box = std::make_unique<QMessageBox>(QMessageBox::Question, QStringLiteral("QZ62A"),
                                             message, QMessageBox::NoButton, parent);
    box->addButton(QStringLiteral("OK"), QMessageBox::AcceptRole);
    QPushButton* cancel = box->addButton(QStringLiteral("cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    return box;
}

bool MessageBoxPresenter::askOkCancel(const QString& message) {
    const std::unique_ptr<QMessageBox> box = questionBox(message, m_parent);
    box->exec();
    QAbstractButton* clicked = box->clickedButton();
    return clicked && box->buttonRole(clicked) == QMessageBox::AcceptRole;
}
