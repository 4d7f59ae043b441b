#include "app/MessageBoxPresenter.h"

#include <QMessageBox>
#include <QPushButton>

void MessageBoxPresenter::showAlert(const QString& message) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("QZ62A"), message, QMessageBox::Ok,
                    m_parent);
    box.setDefaultButton(QMessageBox::Ok);
    box.exec();
}

bool MessageBoxPresenter::askOkCancel(const QString& message) {
    QMessageBox box(QMessageBox::Question, QStringLiteral("QZ62A"), message, QMessageBox::NoButton,
                    m_parent);
    QPushButton* ok = box.addButton(QStringLiteral("OK"), QMessageBox::AcceptRole);
    box.addButton(QStringLiteral("cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(ok);
    box.exec();
    return box.clickedButton() == ok;
}
