#pragma once

#include <QString>
#include <QStringList>

// The application's working folder: log files, the terminal's "configurator/" and
// "filemanager/" folders. It is the folder given with `--workdir DIR`, else the per-user data
// folder (QStandardPaths::AppLocalDataLocation).
class WorkFolder {
public:
    // The working folder, created if missing. Absolute, without a trailing slash.
    static QString path();
    // Chooses the folder (an empty text returns to the per-user data folder).
    static void setPath(const QString& dir);
    // `name` inside the working folder.
    static QString filePath(const QString& name);
    // A sub-folder of the working folder ("configurator", "filemanager"), created if missing.
    static QString subFolder(const QString& name);

    // Reads "--workdir DIR" or "--workdir=DIR" from a command line. Returns false with `error`
    // set when the option has no folder; `dir` stays empty when the option is absent.
    static bool parseArguments(const QStringList& args, QString& dir, QString& error);
};
