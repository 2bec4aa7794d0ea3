#pragma once

#include <QByteArray>
#include <QString>

class Project;

// Turns a sample of the open project (a range of images of one sequence) into its particle
// archive "maridata/<sample>/<sample>_Particule.zip": "particules.csv" (the configuration lines
// and the sample's data rows) and "metadata.ini" (the configuration and the sample's header
// fields). Logs under "SampleDataProcessor".
//
// The archive is written under a temporary name beside the old one and renamed over it once it
// is complete, so that a failure never leaves an incomplete archive where a complete one is
// expected (the old archive, if any, stays).
class SampleDataProcessor {
public:
    explicit SampleDataProcessor(const Project& project);

    bool ProcessData(const QString& sample);
    // Why the last ProcessData() failed.
    QString LastError() const { return m_lastError; }

    static QString temporaryArchiveName(const QString& sample) {
        return QStringLiteral(".%1_Particule.zip.partial").arg(sample);
    }

private:
    bool fail(const QString& text);

    const Project& m_project;
    QString m_lastError;
};
