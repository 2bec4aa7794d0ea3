#include "AppStyleSheet.h"
#include "QTolvarApplication.h"
#include "WorkFolder.h"
#include "mainwindow/MainHub.h"
#include "mainwindow/MainWindow.h"
#include "mainwindow/ScreenshotTour.h"

#include <QDir>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

// The value after `option` ("--screenshot FILE"), empty when absent or missing.
QString option_value(const QStringList& args, const QString& option) {
    const int i = args.indexOf(option);
    return i >= 0 && i + 1 < args.size() ? args[i + 1] : QString();
}

void print_usage() {
    std::printf("Usage: kelvoapp [--demo] [--workdir DIR] [--screenshot FILE] [--screenshots DIR]\n"
                "\n"
                "  --demo             run on the built-in demo instrument (a simulated Kelvo6);\n"
                "                     the saved serial settings are left untouched\n"
                "  --workdir DIR      working folder for the log files, \"configurator/\" and\n"
                "                     \"filemanager/\" (default: the per-user data folder)\n"
                "  --screenshot FILE  save the main window as a PNG shortly after start-up, then quit\n"
                "  --screenshots DIR  walk through the main pages and key dialogs, saving each as a\n"
                "                     PNG into DIR, then quit\n");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication::setAttribute(Qt::AA_DisableHighDpiScaling);
    auto app = std::make_unique<QTolvarApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvoApp"));

    const QStringList args = QCoreApplication::arguments();
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        print_usage();
        return 0;
    }
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

    const QString shot = option_value(args, QStringLiteral("--screenshot"));
    if (args.contains(QStringLiteral("--screenshot")) && shot.isEmpty()) {
        std::fprintf(stderr, "kelvoapp: --screenshot needs a file name\n");
        return 2;
    }
    const QString tourFolder = option_value(args, QStringLiteral("--screenshots"));
    if (args.contains(QStringLiteral("--screenshots")) && tourFolder.isEmpty()) {
        std::fprintf(stderr, "kelvoapp: --screenshots needs a folder\n");
        return 2;
    }

    auto window = std::make_unique<MainWindow>();
    // The hub belongs to the window (its QObject parent) and gives it its instrument side.
    auto* hub = new MainHub(window.get());
    if (args.contains(QStringLiteral("--demo"))) {
        QString demoError;
        if (!hub->startDemo(&demoError)) {
            std::fprintf(stderr, "kelvoapp: the demo instrument did not start: %s\n", qPrintable(demoError));
            return 1;
        }
    }
    window->show();
    if (!tourFolder.isEmpty()) {
        QDir().mkpath(tourFolder);
        hub->makeScreenshotTour(tourFolder)->start(3000);
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
