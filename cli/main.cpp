// `kelvo`: KelvoApp on the command line, for scripts and for working without the window.
#include "CliCommand.h"
#include "KelvoVersion.h"

#include <QApplication>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::vector<CliCommand>& registry() {
    static std::vector<CliCommand> commands;
    return commands;
}

void print_help(FILE* out) {
    std::fprintf(out,
                 "Usage: kelvo [--help] [--version] <command> [arguments]\n"
                 "\n"
                 "KelvoApp on the command line: drive a Kelvo6 and work on its projects without the window.\n"
                 "\n"
                 "Options:\n"
                 "  -h, --help     show this help and exit\n"
                 "  -V, --version  show the version and exit\n");
    std::vector<CliCommand> commands = registry();
    std::sort(commands.begin(), commands.end(),
              [](const CliCommand& a, const CliCommand& b) { return std::strcmp(a.name, b.name) < 0; });
    if (!commands.empty()) {
        std::fprintf(out, "\nCommands:\n");
        for (const CliCommand& c : commands) {
            std::fprintf(out, "  %s\n      %s\n", c.usage, c.summary);
        }
        std::fprintf(out, "\nRun \"kelvo <command> --help\" for the options of a command.\n");
    }
}

} // namespace

const std::vector<CliCommand>& cli_commands() {
    return registry();
}

CliRegistrar::CliRegistrar(const CliCommand& command) {
    registry().push_back(command);
}

int main(int argc, char** argv) {
    // Plots are drawn by widgets, off screen: only that command needs the GUI application.
    const bool drawsPlots =
        argc > 2 && std::strcmp(argv[1], "export") == 0 && std::strcmp(argv[2], "plots") == 0;
    if (drawsPlots && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    if (drawsPlots && qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        // The folder the GUI library would fall back to, without its warning on standard error.
        const QByteArray runtime = "/tmp/runtime-" + QByteArray::number(static_cast<qulonglong>(::getuid()));
        ::mkdir(runtime.constData(), 0700);
        qputenv("XDG_RUNTIME_DIR", runtime);
    }
    std::unique_ptr<QCoreApplication> app = drawsPlots ? std::make_unique<QApplication>(argc, argv)
                                                       : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(kKelvoVersionNumber));

    QStringList args = QCoreApplication::arguments();
    args.removeFirst();
    if (args.isEmpty()) {
        print_help(stderr);
        return 2;
    }
    const QString first = args.takeFirst();
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help")) {
        print_help(stdout);
        return 0;
    }
    if (first == QLatin1String("--version") || first == QLatin1String("-V")) {
        std::printf("kelvo %s (%s)\n", kKelvoVersionNumber, kelvo_version_string());
        return 0;
    }
    for (const CliCommand& c : registry()) {
        if (first == QLatin1String(c.name)) {
            return c.run(args);
        }
    }
    std::fprintf(stderr, "kelvo: unknown command \"%s\"; \"kelvo --help\" lists the commands\n",
                 first.toLocal8Bit().constData());
    return 2;
}
