#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

// The files that processing leaves for the samples of a project, under "<project>/maridata":
// one folder per sample holding its particle archive ("particules.csv" and "metadata.ini") and
// its image archive. Readers of the particle archive (exports, plots, the sample dialog) come
// through here; each failure is logged once (source "SampleHandler") and answered by an empty
// result.
class SampleHandler {
public:
    explicit SampleHandler(const QString& projectPath);

    QString MaridataDir() const;
    QString SampleDir(const QString& sample) const;
    QString ParticleArchivePath(const QString& sample) const;
    QString ImageArchivePath(const QString& sample) const;

    // "metadata.ini" of the sample's particle archive as one flat key-to-value map: every line
    // (read 255 bytes at most at a time) holding "key = value"; section lines are ignored.
    QMap<QString, QString> getMetaDataIni(const QString& sample) const;
    // The whole "particules.csv" of the sample's particle archive.
    QByteArray getParticuleCSVContent(const QString& sample) const;

    // The text logged by the last failed read.
    QString LastError() const { return m_lastError; }

private:
    // Reads one entry of the particle archive; `caller` names the operation in the messages.
    bool readEntry(const QString& sample, const QString& entry, const char* caller, QByteArray* bytes) const;

    QString m_projectPath;
    mutable QString m_lastError;
};
