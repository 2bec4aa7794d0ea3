#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

// Helpers shared by the test suites.
namespace kelvotest {

// The temporary folder that stands for the user's HOME during this test run (XDG folders live
// inside it). Removed when the test program ends.
QString home_dir();

// A fresh, empty folder inside the temporary HOME, unique per call.
QString make_temp_dir(const QString& hint = QStringLiteral("t"));

// Folder of the built executables (kelvoapp, kelvo, kelvo6-sim).
QString bin_dir();

// Root of the source tree (for shipped data such as resources/ and templates/).
QString source_dir();

// Reads a whole file as bytes ("" when missing).
QByteArray read_file(const QString& path);

// Writes bytes to a file, creating parent folders.
bool write_file(const QString& path, const QByteArray& bytes);

// Result of a program run by run_program: exit status (-1 when it crashed or did not finish)
// and both output streams.
struct ProgramRun {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

// Runs `program` with `args`, feeding `input` on standard input, and waits for it to end. A run
// that does not end in `timeoutMs` fails the test and is killed.
ProgramRun run_program(const QString& program, const QStringList& args,
                       const QByteArray& input = QByteArray(), const QString& workingDir = QString(),
                       int timeoutMs = 60000);

// Runs the Qt event loop until `done` returns true or the time runs out; returns done().
bool wait_until(const std::function<bool()>& done, int timeoutMs = 5000);

} // namespace kelvotest
