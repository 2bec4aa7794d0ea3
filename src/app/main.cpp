#include "AppStyleSheet.h"
#include "QTolvarApplication.h"
#include "WorkFolder.h"
#include "mainwindow/MainWindow.h"

#include <QDir>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

// "--screenshot FILE": grabs the main window to a PNG shortly after start-up, then quits (to look
// at the window on a machine without a screen).
QString screenshot_argument(const QStringList& args) {
    const int i = args.indexOf(QStringLiteral("--screenshot"));
    return i >= 0 && i + 1 < args.size() ? args[i + 1] : QString();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication::setAttribute(Qt::AA_DisableHighDpiScaling);
    auto app = std::make_unique<QTolvarApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvoApp"));

    const QStringList args = QCoreApplication::arguments();
    QString workdir, error;
    if (!WorkFolder::parseArguments(args, workdir, error)) {
        std::fprintf(stderr, "kelvoapp: %s\n", qPrintable(error));
        return 2;
    }
    if (!workdir.isEmpty()) {
        if (!QDir().mkpath(workdir)) {
            std::fprintf(stderr, "kelvoapp: cannot create the working folder %s\n", qPrintable(workdir));
            return 2;
        }
        WorkFolder::setPath(workdir);
    }
    app->setStyleSheet(kelvo_style_sheet());

    auto window = std::make_unique<MainWindow>();
    window->show();

    const QString shot = screenshot_argument(args);
    if (args.contains(QStringLiteral("--screenshot")) && shot.isEmpty()) {
        std::fprintf(stderr, "kelvoapp: --screenshot needs a file name\n");
        return 2;
    }
    if (!shot.isEmpty()) {
        QTimer::singleShot(1500, window.get(), [&window, shot] {
            const bool saved = window->grab().save(shot, "PNG");
            if (!saved) {
                std::fprintf(stderr, "kelvoapp: cannot write %s\n", qPrintable(shot));
            }
            QCoreApplication::exit(saved ? 0 : 1);
        });
    }
    const int code = app->exec();
    window.reset();
    app.reset();
    return code;
}
