// Entry point of every test program. Before Qt starts, HOME and the XDG folders are pointed at
// a temporary folder so that no test ever reads or writes the user's real settings or data.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>

#ifdef KELVO_TEST_GUI
#include <QApplication>
#endif

#include <cstdlib>
#include <memory>

int main(int argc, char** argv) {
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/kelvo-test-home-XXXXXX"));
    if (!home.isValid()) {
        return 2;
    }
    const QByteArray h = home.path().toLocal8Bit();
    setenv("HOME", h.constData(), 1);
    setenv("XDG_CONFIG_HOME", (h + "/.config").constData(), 1);
    setenv("XDG_DATA_HOME", (h + "/.local/share").constData(), 1);
    setenv("XDG_CACHE_HOME", (h + "/.cache").constData(), 1);
    setenv("XDG_RUNTIME_DIR", (h + "/run").constData(), 1);
    QDir().mkpath(home.path() + QStringLiteral("/run"));
    QFile::setPermissions(home.path() + QStringLiteral("/run"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    QStandardPaths::setTestModeEnabled(true);

    ::testing::InitGoogleTest(&argc, argv);
#ifdef KELVO_TEST_GUI
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    QCoreApplication::setOrganizationName(QStringLiteral("KelvoApp"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvoApp"));
    return RUN_ALL_TESTS();
}
