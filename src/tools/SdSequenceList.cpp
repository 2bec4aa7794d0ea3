#include "SdSequenceList.h"

#include "link/CardPath.h"
#include "project/SequenceHandler.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <quazip/quazip.h>

namespace {

constexpr const char* kModule = "ffiletransfert";

bool ends_with(const QByteArray& name, const char* ending) {
    return name.endsWith(QByteArray(ending));
}

} // namespace

SdSequenceList& SdSequenceList::instance() {
    static SdSequenceList list;
    return list;
}

void SdSequenceList::clear() {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_entries.clear();
}

void SdSequenceList::parseListingInto(const QByteArray& listing, Entries& entries) {
    static const QRegularExpression sequenceLine(
        QStringLiteral("^([^\\/]+)\\/([^\\/]+)\\/([^\\/]+)\\/(.+)$"));
    static const QRegularExpression selfCheckLine(QStringLiteral("^AUTOCHECK\\/(.+)$"));
    entries.clear();
    QSet<QByteArray> seen;
    for (QByteArray line : listing.split('\n')) {
        if (line.endsWith('\r')) {
            line.chop(1);
        }
        if (line.isEmpty() || seen.contains(line)) {
            continue;
        }
        seen.insert(line);
        const QString text = QString::fromUtf8(line);
        QString key;
        QString dir;
        QString file;
        if (const QRegularExpressionMatch m = sequenceLine.match(text); m.hasMatch()) {
            key = m.captured(3);
            dir = m.captured(1) + QLatin1Char('/') + m.captured(2) + QLatin1Char('/') + m.captured(3) +
                  QLatin1Char('/');
            file = m.captured(4);
        } else if (const QRegularExpressionMatch a = selfCheckLine.match(text); a.hasMatch()) {
            key = QString::fromLatin1(kSelfCheckKey);
            dir = QStringLiteral("AUTOCHECK/");
            file = a.captured(1);
        } else {
            continue;
        }
        const QByteArray name = file.toUtf8();
        const bool data = ends_with(name, "_data.txt");
        const bool vig = !data && ends_with(name, ".vig");
        const bool raw = !data && !vig && ends_with(name, ".raw");
        const bool synthetic = !data && !vig && !raw && ends_with(name, "_synthetic.txt");
        if (!data && !vig && !raw && !synthetic) {
            continue;
        }
        // Names from the card become folder and entry names: nothing may leave the project.
        const QString why = SequenceHandler::IsSafeName(key)
                                ? card_path_refusal(name.toStdString())
                                : QStringLiteral("Sequence name refused: \"%1\"").arg(key);
        if (!why.isEmpty()) {
            GetTraceMgr()->logf(kModule, ZelLevelWarning, "Listing line refused: {} {}", text, why);
            continue;
        }
        SdSequenceEntry& entry = entries[key.toUtf8()];
        if (data) {
            entry.dataFile = file;
            entry.dir = dir;
        } else if (vig) {
            ++entry.vigCount;
            entry.images << file;
        } else if (raw) {
            ++entry.rawCount;
            entry.images << file;
        } else {
            entry.syntheticFile = file;
        }
    }
}

void SdSequenceList::parseListing(const QByteArray& listing) {
    Entries parsed;
    parseListingInto(listing, parsed);
    std::lock_guard<std::mutex> hold(m_mutex);
    m_entries = std::move(parsed);
}

SdSequenceList::Entries SdSequenceList::entries() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_entries;
}

std::optional<SdSequenceEntry> SdSequenceList::find(const QString& name) const {
    std::lock_guard<std::mutex> hold(m_mutex);
    const auto it = m_entries.find(name.toUtf8());
    if (it == m_entries.end()) {
        return std::nullopt;
    }
    return it->second;
}

int SdSequenceList::count() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return static_cast<int>(m_entries.size());
}

void SdSequenceList::setStatus(const QString& name, const QString& status) {
    std::lock_guard<std::mutex> hold(m_mutex);
    const auto it = m_entries.find(name.toUtf8());
    if (it != m_entries.end()) {
        it->second.status = status;
    }
}

QString SdSequenceList::currentTransfer() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_currentTransfer;
}

void SdSequenceList::setCurrentTransfer(const QString& name) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_currentTransfer = name;
}

bool SdSequenceList::networkError() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_networkError;
}

void SdSequenceList::setNetworkError(bool error) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_networkError = error;
}

DownloadProgress SdSequenceList::progress() const {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_progress;
}

void SdSequenceList::setProgress(const DownloadProgress& progress) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_progress = progress;
}

QString sd_sequence_status(const QString& name, const SdSequenceEntry& entry, const QString& projectPath,
                           const QString& currentTransfer,
                           const std::function<bool(const QString&)>& isScheduled) {
    if (name == QLatin1String(SdSequenceList::kSelfCheckKey)) {
        return QStringLiteral("N/A");
    }
    if (name == currentTransfer) {
        return QStringLiteral("transfer in progress");
    }
    if (isScheduled && isScheduled(name)) {
        return QStringLiteral("transfer scheduled");
    }
    const QString folder = projectPath + QStringLiteral("/raw/") + name;
    if (entry.dataFile.isEmpty() || !QFileInfo(folder + QLatin1Char('/') + entry.dataFile).isFile()) {
        return QStringLiteral("Not in project");
    }
    if (entry.images.isEmpty()) {
        return QStringLiteral("OK");
    }
    const QString archive = folder + QStringLiteral("/images.zip");
    if (!QFileInfo::exists(archive)) {
        return QStringLiteral("Vignettes missing");
    }
    QuaZip zip(archive);
    if (!zip.open(QuaZip::mdUnzip)) {
        return QStringLiteral("Vignettes corrupted");
    }
    const int entries = zip.getEntriesCount();
    zip.close();
    if (entries != entry.images.size()) {
        return QStringLiteral("Some Vignettes missing");
    }
    return QStringLiteral("OK");
}
