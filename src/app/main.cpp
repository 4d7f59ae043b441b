#include "Version.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("qz62"));
    QApplication::setApplicationVersion(QString::fromLatin1(qz62::kAppVersion));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("QZ62A version %1").arg(QLatin1String(qz62::kAppVersion)));
    window.resize(1000, 700);
    window.show();
    return app.exec();
}
