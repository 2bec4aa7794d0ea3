#pragma once

#include "RAMCsv.h"

#include <QDir>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>

#include <memory>

// The open project: one folder "kelvo6_sn<serial>_<year>_<acronym>" holding everything kept
// about one deployment of one instrument. There is one current project at a time; pages and
// processors ask it for paths and for the sample header table. Sequences and sample results
// are not cached here: they are read from disk when needed.
//
// The instrument link is not reached from here: whoever knows the connected instrument hands its
// `Camera_ref` in through SetConnectedSerial() (empty when none is connected).
class Project : public QObject {
    Q_OBJECT
public:
    explicit Project(QObject* parent = nullptr);
    ~Project() override;

    // The connected instrument's serial number (`Camera_ref`); empty when none is connected.
    void SetConnectedSerial(const QString& cameraRef) { m_connectedSerial = cameraRef; }
    QString ConnectedSerial() const { return m_connectedSerial; }

    // Opens `path` as the current project. With `force` false and an instrument connected, a
    // folder of another instrument is refused. Every refusal is logged (source "Project", error
    // level) and leaves no project open; LastError() keeps the logged text. Nothing is written.
    // Emits ProjectLoaded whether or not the load succeeded. An empty path just closes.
    bool Load(const QString& path, bool force = false);
    // No project open any more (an instrument of another project was connected, for one).
    void Close();

    bool IsOpen() const { return !m_path.isEmpty(); }
    QString LastError() const { return m_lastError; }

    // Absolute path of the project folder; empty while no project is open.
    QString Path() const { return m_path; }
    QString FolderName() const;
    // Capture 2 of the folder name: the serial number of the instrument the project belongs to.
    QString InstrumentSerial() const;
    // Whether the instrument `cameraRef` is this project's (case is ignored).
    bool BelongsTo(const QString& cameraRef) const;

    // "<project>/meta/<folder name with _header after its first part>.txt".
    QString SampleHeaderPath() const;
    static QString SampleHeaderFileName(const QString& folderName);

    // An INI settings object on "<project>/config/cruise_info.txt".
    std::unique_ptr<QSettings> CruiseInfo() const;
    // "acron" of the cruise information, else the acronym part of the folder name.
    QString Acronym() const;

    // The four parts of a folder name: prefix, serial number, year, acronym; four empty
    // strings when the name does not have that form.
    static QStringList FolderParts(const QString& name);

    // "<project>/results", created first when missing.
    QDir ResultsDir() const;
    // "<project>/maridata/<sample>/<sample>_Particule.zip" and "..._Images.zip".
    static QString ParticleArchivePath(const QString& projectPath, const QString& sample);
    static QString ImageArchivePath(const QString& projectPath, const QString& sample);
    QString ParticleArchivePath(const QString& sample) const { return ParticleArchivePath(m_path, sample); }
    QString ImageArchivePath(const QString& sample) const { return ImageArchivePath(m_path, sample); }
    bool HasParticleArchive(const QString& sample) const;
    bool HasImageArchive(const QString& sample) const;

    // Projects of the older instrument model ("kelvo5...") are treated differently by some
    // pages.
    bool IsOlderModel() const { return m_olderModel; }

    // The sample header table (separator ";", numeric columns "integrationtime" and
    // "constantdepth").
    RAMCsv& SampleHeader() { return m_header; }
    const RAMCsv& SampleHeader() const { return m_header; }
    // Writes the sample header table atomically (the previous file stays whole on failure).
    bool SaveSampleHeader();
    // Copies the header file to "<header>.backup_yyyyMMdd_hhmmss" before a destructive change;
    // an existing backup of that name is never overwritten. Returns the backup path, or an
    // empty string when there was nothing to copy or the copy failed.
    QString BackupSampleHeader() const;

Q_SIGNALS:
    void ProjectLoaded();
    void ProjectUpdated();
    void SamplesUpdated();
    void SensorUpdated();
    void SensorModeUpdated();

private:
    void reset();
    void fail(const QString& text);

    QString m_path;
    QString m_connectedSerial;
    QString m_lastError;
    RAMCsv m_header;
    bool m_olderModel = false;
};
