#include "Project.h"

#include "SampleHeaderColumns.h"
#include "trace/ZelTraceMgr.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

namespace {

constexpr const char* kModule = "Project";

} // namespace

Project::Project(QObject* parent)
    : QObject(parent) {
    reset();
}

Project::~Project() = default;

void Project::reset() {
    m_path.clear();
    m_olderModel = false;
    m_header = RAMCsv(QStringLiteral(";"));
    m_header.SetNumericColumns(SampleHeaderColumns::Numeric());
}

void Project::fail(const QString& text) {
    m_lastError = text;
    GetTraceMgr()->logf(kModule, ZelLevelError, "{}", text);
}

QStringList Project::FolderParts(const QString& name) {
    static const QRegularExpression pattern(QStringLiteral("^(.+)_sn([^_]+)_([^_]+)_(.+)$"));
    const QRegularExpressionMatch m = pattern.match(name);
    if (!m.hasMatch()) {
        return {QString(), QString(), QString(), QString()};
    }
    return {m.captured(1), m.captured(2), m.captured(3), m.captured(4)};
}

QString Project::SampleHeaderFileName(const QString& folderName) {
    static const QRegularExpression pattern(QStringLiteral("(^[^_]+)(.+)"));
    QString name = folderName;
    return name.replace(pattern, QStringLiteral("\\1_header\\2.txt"));
}

bool Project::Load(const QString& path, bool force) {
    reset();
    m_lastError.clear();
    const QString cleaned = path.isEmpty() ? QString() : QDir::cleanPath(path);
    const QString name = QFileInfo(cleaned).fileName();

    bool ok = false;
    if (cleaned.isEmpty()) {
        // Nothing asked for: the project is simply closed.
    } else if (!force && !m_connectedSerial.isEmpty() &&
               m_connectedSerial.toLower() != FolderParts(name).at(1).toLower()) {
        fail(QStringLiteral("Project %1 can't be loaded because is not related to sensor %2")
                 .arg(name, m_connectedSerial));
    } else if (!QFileInfo(cleaned).isDir()) {
        fail(QStringLiteral("Project %1 : Directory not found").arg(name));
    } else if (!QFileInfo(cleaned + QStringLiteral("/config")).isDir()) {
        fail(QStringLiteral("Project %1 : Is not valid, Subdirectory 'config' not found").arg(name));
    } else {
        m_path = QFileInfo(cleaned).absoluteFilePath();
        m_olderModel = name.startsWith(QLatin1String("kelvo5"));
        // A missing or unreadable header, or one without column names, is the header of a
        // project without samples yet.
        if (!m_header.LoadFile(SampleHeaderPath()) || m_header.Columns().isEmpty()) {
            m_header = RAMCsv(QStringLiteral(";"));
            m_header.SetNumericColumns(SampleHeaderColumns::Numeric());
            m_header.SetColumns(SampleHeaderColumns::All());
        }
        QSet<QString> seen;
        for (const QString& column : m_header.Columns()) {
            if (seen.contains(column)) {
                GetTraceMgr()->logf(
                    kModule, ZelLevelWarning,
                    "Sample header {} : column '{}' appears more than once, the first one is used",
                    SampleHeaderPath(), column);
            }
            seen.insert(column);
        }
        for (const QString& column : SampleHeaderColumns::Later()) {
            m_header.AddColumn(column);
        }
        ok = true;
    }
    Q_EMIT ProjectLoaded();
    return ok;
}

void Project::Close() {
    reset();
    m_lastError.clear();
    Q_EMIT ProjectLoaded();
}

QString Project::FolderName() const {
    return m_path.isEmpty() ? QString() : QFileInfo(m_path).fileName();
}

QString Project::InstrumentSerial() const {
    return FolderParts(FolderName()).at(1);
}

bool Project::BelongsTo(const QString& cameraRef) const {
    return InstrumentSerial().compare(cameraRef, Qt::CaseInsensitive) == 0;
}

QString Project::SampleHeaderPath() const {
    if (m_path.isEmpty()) {
        return QString();
    }
    return m_path + QStringLiteral("/meta/") + SampleHeaderFileName(FolderName());
}

std::unique_ptr<QSettings> Project::CruiseInfo() const {
    return std::make_unique<QSettings>(m_path + QStringLiteral("/config/cruise_info.txt"),
                                       QSettings::IniFormat);
}

QString Project::Acronym() const {
    const QString acron = CruiseInfo()->value(QStringLiteral("acron")).toString();
    if (!acron.isEmpty()) {
        return acron;
    }
    return FolderParts(FolderName()).at(3);
}

QDir Project::ResultsDir() const {
    const QString path = m_path + QStringLiteral("/results");
    QDir().mkpath(path);
    return QDir(path);
}

QString Project::ParticleArchivePath(const QString& projectPath, const QString& sample) {
    return QStringLiteral("%1/maridata/%2/%2_Particule.zip").arg(projectPath, sample);
}

QString Project::ImageArchivePath(const QString& projectPath, const QString& sample) {
    return QStringLiteral("%1/maridata/%2/%2_Images.zip").arg(projectPath, sample);
}

bool Project::HasParticleArchive(const QString& sample) const {
    return IsOpen() && QFileInfo(ParticleArchivePath(sample)).isFile();
}

bool Project::HasImageArchive(const QString& sample) const {
    return IsOpen() && QFileInfo(ImageArchivePath(sample)).isFile();
}

bool Project::SaveSampleHeader() {
    if (!IsOpen()) {
        return false;
    }
    QDir().mkpath(m_path + QStringLiteral("/meta"));
    return m_header.SaveFile(SampleHeaderPath());
}

QString Project::BackupSampleHeader() const {
    const QString header = SampleHeaderPath();
    if (header.isEmpty() || !QFileInfo::exists(header)) {
        return QString();
    }
    const QString backup = header + QStringLiteral(".backup_") +
                           QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_hhmmss"));
    if (QFileInfo::exists(backup)) {
        // Two destructive changes in the same second: the first backup holds the older state.
        return backup;
    }
    if (!QFile::copy(header, backup)) {
        GetTraceMgr()->logf(kModule, ZelLevelError, "Sample header {} : backup copy {} failed", header,
                            backup);
        return QString();
    }
    return backup;
}
