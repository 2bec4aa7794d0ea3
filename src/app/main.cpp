#include "KelvoVersion.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QMainWindow w;
    w.setWindowTitle(QString::fromLatin1(kelvo_version_string()));
    w.show();
    return app.exec();
}
