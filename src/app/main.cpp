#include "AppStyleSheet.h"
#include "KelvoVersion.h"
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

void print_usage_to(FILE* out) {
    std::fputs("Usage: kelvoapp [--demo] [--workdir DIR] [--screenshot FILE] [--screenshots DIR]\n"
               "       kelvoapp --help | --version\n",
               out);
}

void print_usage() {
    print_usage_to(stdout);
    std::printf("\n"
                "  --demo             run on the built-in demo instrument (a simulated Kelvo6);\n"
                "                     the saved serial settings are left untouched\n"
                "  --workdir DIR      working folder for the log files, \"configurator/\" and\n"
                "                     \"filemanager/\" (default: the per-user data folder)\n"
                "  --screenshot FILE  save the main window as a PNG shortly after start-up, then quit\n"
                "  --screenshots DIR  walk through the main pages and key dialogs, saving each as a\n"
                "                     PNG into DIR, then quit\n"
                "  -h, --help         show this help and exit\n"
                "  -V, --version      show the version and exit\n");
}

enum class StartAction { Run, Help, Version, Refuse };

// Reads the command line before the application object exists, so that --help and --version
// need no display. The toolkit's own options ("-platform offscreen", "-style X"...) pass.
StartAction read_command_line(const QStringList& args, QString& error) {
    static const QStringList withValue = {QStringLiteral("--workdir"), QStringLiteral("--screenshot"),
                                          QStringLiteral("--screenshots")};
    static const QStringList toolkitWithValue = {
        QStringLiteral("-platform"),        QStringLiteral("-platformpluginpath"),
        QStringLiteral("-platformtheme"),   QStringLiteral("-plugin"),
        QStringLiteral("-style"),           QStringLiteral("-stylesheet"),
        QStringLiteral("-geometry"),        QStringLiteral("-display"),
        QStringLiteral("-qwindowgeometry"), QStringLiteral("-qwindowtitle"),
        QStringLiteral("-qwindowicon"),     QStringLiteral("-session")};
    static const QStringList toolkitAlone = {QStringLiteral("-reverse"), QStringLiteral("-widgetcount")};
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            return StartAction::Help;
        }
        if (a == QLatin1String("--version") || a == QLatin1String("-V")) {
            return StartAction::Version;
        }
        if (withValue.contains(a) || toolkitWithValue.contains(a)) {
            ++i; // a missing value is told by the option's own check
        } else if (a != QLatin1String("--demo") && !a.startsWith(QLatin1String("--workdir=")) &&
                   !toolkitAlone.contains(a)) {
            error = a.startsWith(QLatin1Char('-')) ? QStringLiteral("unknown option \"%1\"").arg(a)
                                                   : QStringLiteral("unexpected argument \"%1\"").arg(a);
            return StartAction::Refuse;
        }
    }
    return StartAction::Run;
}

} // namespace

int main(int argc, char** argv) {
    {
        QStringList raw;
        for (int i = 0; i < argc; ++i) {
            raw << QString::fromLocal8Bit(argv[i]);
        }
        QString refusal;
        switch (read_command_line(raw, refusal)) {
        case StartAction::Help:
            print_usage();
            return 0;
        case StartAction::Version:
            std::printf("kelvoapp %s (%s)\n", kKelvoVersionNumber, kelvo_version_string());
            return 0;
        case StartAction::Refuse:
            std::fprintf(stderr, "kelvoapp: %s\n", qPrintable(refusal));
            print_usage_to(stderr);
            return 2;
        case StartAction::Run:
            break;
        }
    }
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
