// Entry point of the benchmarks: a Qt application object (queued signals, threads), a temporary
// HOME so that nothing touches the user's folders, then Google Benchmark.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <cstdlib>

int main(int argc, char** argv) {
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/kelvo-bench-home-XXXXXX"));
    const QByteArray h = home.path().toLocal8Bit();
    setenv("HOME", h.constData(), 1);
    setenv("XDG_CONFIG_HOME", (h + "/.config").constData(), 1);
    setenv("XDG_DATA_HOME", (h + "/.local/share").constData(), 1);
    setenv("XDG_CACHE_HOME", (h + "/.cache").constData(), 1);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvoApp"));
    ::benchmark::Initialize(&argc, argv);
    if (::benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    ::benchmark::RunSpecifiedBenchmarks();
    ::benchmark::Shutdown();
    return 0;
}
