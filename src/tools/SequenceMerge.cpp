#include "SequenceMerge.h"

#include "params/ParamSets.h"
#include "params/ParamTable.h"
#include "project/SequenceHandler.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipfileinfo.h>
#include <quazip/quazipnewinfo.h>

#include <climits>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

constexpr const char* kModule = "DlgMergeSequence";

struct CriterionDef {
    int flag;
    const char* label;
    const char* word;
    const char* param;
};

constexpr CriterionDef kCriteria[] = {
    {SequenceMerge::Lpm, "Lpm", "lpm", "Limit_lpm_detection_size"},
    {SequenceMerge::Vig, "Vig", "vig", "Vignetting_lower_limit_size"},
    {SequenceMerge::Save, "Save", "save", "Save_images"},
    {SequenceMerge::Ratio, "Ratio", "ratio", "Appendices_ratio"},
};

// The configuration lines sit at the head of a data file: past this many lines without one
// the file is taken as having none, so that a long file is not read for nothing.
constexpr int kHeaderLinesScanned = 200;
constexpr qint64 kCopyChunk = 1 << 20;

void log(quint32 level, const std::string& text) {
    GetTraceMgr()->post(kModule, level, text);
}

// An archive problem the merge goes past: logged, and told in the result.
void skip(SequenceMerge::Result& r, quint32 level, const QString& text) {
    log(level, text.toStdString());
    r.skipped << text;
}

QByteArray acq_conf_line(const QString& dataFile) {
    QFile file(dataFile);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    for (int i = 0; i < kHeaderLinesScanned && !file.atEnd(); ++i) {
        const QByteArray line = file.readLine().trimmed();
        if (line.startsWith("ACQ_CONF,")) {
            return line;
        }
    }
    return {};
}

// Every entry of `src` into `dst` as its compressed bytes: nothing is inflated or deflated
// again. Names already in `names` are skipped (a zip holding a name twice is ambiguous).
bool copy_entries(QuaZip& src, QuaZip& dst, QSet<QString>& names, const QString& srcPath,
                  SequenceMerge::Result& r) {
    std::vector<char> buffer(kCopyChunk); // one buffer for every entry: no allocation per entry
    for (bool more = src.goToFirstFile(); more; more = src.goToNextFile()) {
        QuaZipFileInfo64 info;
        if (!src.getCurrentFileInfo(&info)) {
            return false;
        }
        if (names.contains(info.name)) {
            skip(r, ZelLevelWarning,
                 QStringLiteral("MergeImages duplicate entry %1 of %2 skipped").arg(info.name, srcPath));
            continue;
        }
        QuaZipFile in(&src);
        int method = 0;
        int level = 0;
        if (!in.open(QIODevice::ReadOnly, &method, &level, true)) {
            return false;
        }
        QuaZipFile out(&dst);
        if (!out.open(QIODevice::WriteOnly, QuaZipNewInfo(info), nullptr, info.crc, method, level, true)) {
            return false;
        }
        for (;;) {
            const qint64 n = in.read(buffer.data(), static_cast<qint64>(buffer.size()));
            if (n < 0) {
                return false;
            }
            if (n == 0) {
                break;
            }
            if (out.write(buffer.data(), n) != n) {
                return false;
            }
        }
        in.close();
        out.close();
        if (in.getZipError() != UNZ_OK || out.getZipError() != ZIP_OK) {
            return false;
        }
        names.insert(info.name);
        ++r.entries;
    }
    return src.getZipError() == UNZ_OK;
}

// A whole file copied by the kernel where it can (as cp does), not through user space.
bool copy_whole_file(const QString& from, const QString& to) {
    std::error_code ec;
    return std::filesystem::copy_file(from.toStdString(), to.toStdString(), ec) && !ec;
}

QSet<QString> entry_names(QuaZip& zip) {
    const QStringList list = zip.getFileNameList();
    return QSet<QString>(list.begin(), list.end());
}

} // namespace

QStringList SequenceMerge::CriteriaLabels(int criteria) {
    QStringList labels;
    for (const CriterionDef& c : kCriteria) {
        if (criteria & c.flag) {
            labels << QLatin1String(c.label);
        }
    }
    return labels;
}

int SequenceMerge::ParseCriteria(const QString& text) {
    int criteria = 0;
    for (const QString& word : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        int flag = 0;
        for (const CriterionDef& c : kCriteria) {
            if (word.trimmed().compare(QLatin1String(c.word), Qt::CaseInsensitive) == 0) {
                flag = c.flag;
            }
        }
        if (flag == 0) {
            return -1;
        }
        criteria |= flag;
    }
    return criteria;
}

bool SequenceMerge::IsMergedName(const QString& name) {
    return name.indexOf(QLatin1String("Merged"), 1) >= 1;
}

bool SequenceMerge::IsUsedName(const QString& name) {
    return name.contains(QLatin1String("UsedForMerge"));
}

QString SequenceMerge::MergedName(const QString& first, int count) {
    return QStringLiteral("%1_Merged-%2").arg(first).arg(count, 3, 10, QLatin1Char('0'));
}

bool SequenceMerge::StartTime(const QString& name, qint64* seconds) {
    QDateTime t = QDateTime::fromString(name.left(15), QStringLiteral("yyyyMMdd-HHmmss"));
    if (!t.isValid()) {
        return false;
    }
    t.setTimeSpec(Qt::UTC); // the stamp is read as written: no daylight-saving jumps
    *seconds = t.toSecsSinceEpoch();
    return true;
}

QStringList SequenceMerge::CriteriaValues(const QString& projectPath, const QString& sequence, int criteria) {
    QByteArray line = acq_conf_line(SequenceHandler::DataFilePath(projectPath, sequence));
    ParamTable table;
    build_acq_params(table);
    bool read = false;
    if (!line.isEmpty()) {
        if (!line.endsWith(';')) {
            line += ';';
        }
        read = get_params_from_string(line.toStdString(), "ACQ_CONF,", table) >= 0;
    }
    QStringList values;
    for (const CriterionDef& c : kCriteria) {
        if (criteria & c.flag) {
            values << (read ? QString::fromStdString(GetParamAsText(table, c.param)) : QString());
        }
    }
    return values;
}

QStringList SequenceMerge::ProjectSequences(const QString& projectPath) {
    return QDir(projectPath + QStringLiteral("/raw"))
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

std::vector<MergeCandidate> SequenceMerge::Candidates(const QString& projectPath,
                                                      const QStringList& sequences,
                                                      const Grouping& grouping) {
    const qint32 maxCount = grouping.maxCount < 1 ? kNoCountLimit : grouping.maxCount;
    const bool useTime = grouping.maxGapSeconds > 0;
    std::vector<MergeCandidate> list;
    qint64 previousTime = 0;
    bool previousTimeValid = false;
    std::size_t groupStart = 0;
    for (const QString& name : sequences) {
        if (IsMergedName(name) || (grouping.hideUsed && IsUsedName(name))) {
            continue;
        }
        MergeCandidate c;
        c.name = name;
        c.values = CriteriaValues(projectPath, name, grouping.criteria);
        c.key = c.values.join(QLatin1Char(','));
        qint64 time = 0;
        const bool timeValid = StartTime(name, &time);
        bool close = !useTime;
        if (timeValid && previousTimeValid) {
            const qint64 gap = time - previousTime;
            c.gap = QString::number(gap);
            close = close || gap <= grouping.maxGapSeconds;
        } else if (useTime) {
            close = false; // without both stamps the gap counts as larger than any limit
        }
        if (!list.empty() && c.key == list.back().key && close && list[groupStart].count < maxCount) {
            c.base = list[groupStart].name;
            c.count = 0;
            ++list[groupStart].count;
        } else {
            groupStart = list.size();
            c.base = name;
            c.count = 1;
        }
        previousTime = time;
        previousTimeValid = timeValid;
        list.push_back(std::move(c));
    }
    // A group's size is known once its last member is in: its members are contiguous.
    QString proposal;
    for (MergeCandidate& c : list) {
        if (c.count > 0) {
            proposal = c.count >= 2 ? MergedName(c.name, c.count) : QString();
        }
        c.proposal = proposal;
    }
    return list;
}

QStringList SequenceMerge::GroupMembers(const std::vector<MergeCandidate>& candidates, const QString& base) {
    QStringList names;
    for (const MergeCandidate& c : candidates) {
        if (c.base == base) {
            names << c.name;
        }
    }
    return names;
}

QString SequenceMerge::StatusText(const QString& destination, const QStringList& sources) {
    return QStringLiteral("Merging ") + destination + QStringLiteral("\n\nPlease Wait\n\nInclude :") +
           sources.join(QStringLiteral(" , "));
}

SequenceMerge::Result SequenceMerge::Merge(const QString& projectPath, const QStringList& sources,
                                           const QString& destination, const Progress& progress) {
    Result r;
    const QString raw = projectPath + QStringLiteral("/raw");
    const QString finalDir = SequenceHandler::SequenceFolder(projectPath, destination);
    const QString staging = raw + QStringLiteral("/.") + destination + QStringLiteral(".partial");
    auto fail = [&](const QString& text) {
        log(ZelLevelError, text.toStdString());
        r.ok = false;
        r.error = text;
        return r;
    };
    if (sources.size() < 2) {
        return fail(QStringLiteral("You must select at least 2 sequences"));
    }
    if (!SequenceHandler::IsSafeName(destination) || destination.startsWith(QLatin1Char('.'))) {
        return fail(QStringLiteral("\"%1\" is not a valid sequence name").arg(destination));
    }
    QSet<QString> seen;
    for (const QString& s : sources) {
        if (!SequenceHandler::IsSafeName(s) ||
            !QFileInfo(SequenceHandler::SequenceFolder(projectPath, s)).isDir()) {
            return fail(QStringLiteral("Invalid sequence %1").arg(s));
        }
        if (seen.contains(s)) {
            return fail(QStringLiteral("Sequence %1 is listed twice").arg(s));
        }
        seen.insert(s);
        if (!QFileInfo(SequenceHandler::DataFilePath(projectPath, s)).isFile()) {
            return fail(QStringLiteral("Sequence %1 has no data file %2")
                            .arg(s, SequenceHandler::DataFilePath(projectPath, s)));
        }
    }
    if (QFileInfo::exists(finalDir)) {
        return fail(QStringLiteral("Sequence %1 already exists").arg(destination));
    }
    log(ZelLevelInformation, StatusText(destination, sources).toStdString());

    QDir(staging).removeRecursively(); // what a crashed merge left
    if (!QDir().mkpath(staging)) {
        return fail(QStringLiteral("Unable to create %1").arg(staging));
    }
    auto failClean = [&](const QString& text) {
        QDir(staging).removeRecursively();
        return fail(text);
    };
    QFile mergeLog(staging + QStringLiteral("/Merge.log"));
    if (!mergeLog.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return failClean(
            QStringLiteral("Unable to write %1: %2").arg(mergeLog.fileName(), mergeLog.errorString()));
    }
    const QString destData = staging + QLatin1Char('/') + destination + QStringLiteral("_data.txt");
    const QString destZip = staging + QStringLiteral("/images.zip");
    QSet<QString> names;

    for (int i = 0; i < sources.size(); ++i) {
        const QString& s = sources[i];
        const QString srcData = SequenceHandler::DataFilePath(projectPath, s);
        if (i == 0) {
            if (!copy_whole_file(srcData, destData)) {
                return failClean(QStringLiteral("Unable to copy %1 to %2").arg(srcData, destData));
            }
            mergeLog.write((srcData + QStringLiteral(" used as base file by copy\n")).toUtf8());
        } else {
            QFile in(srcData);
            QFile out(destData);
            if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly | QIODevice::Append)) {
                return failClean(QStringLiteral("Unable to append %1 to %2").arg(srcData, destData));
            }
            mergeLog.write((srcData + QStringLiteral(" appended\n")).toUtf8());
            while (!in.atEnd()) {
                const QByteArray line = in.readLine();
                if (line.startsWith("HW_CONF") || line.startsWith("ACQ_CONF")) {
                    continue;
                }
                if (out.write(line) != line.size()) {
                    return failClean(
                        QStringLiteral("Unable to write %1: %2").arg(destData, out.errorString()));
                }
            }
            if (!out.flush()) {
                return failClean(QStringLiteral("Unable to write %1: %2").arg(destData, out.errorString()));
            }
        }

        const QString srcZip =
            SequenceHandler::SequenceFolder(projectPath, s) + QStringLiteral("/images.zip");
        if (QFileInfo(srcZip).isFile()) {
            // The source is read through a mapping of its file: the entries' bytes are copied
            // from memory instead of in many small reads.
            QFile srcFile(srcZip);
            QByteArray mapped;
            QBuffer srcBuffer;
            std::unique_ptr<QuaZip> srcHolder;
            if (srcFile.open(QIODevice::ReadOnly) && srcFile.size() > 0) {
                if (uchar* p = srcFile.map(0, srcFile.size())) {
                    mapped =
                        QByteArray::fromRawData(reinterpret_cast<const char*>(p),
                                                static_cast<int>(std::min<qint64>(srcFile.size(), INT_MAX)));
                }
            }
            if (!mapped.isNull() && mapped.size() == srcFile.size()) {
                srcBuffer.setBuffer(&mapped);
                srcHolder = std::make_unique<QuaZip>(&srcBuffer);
            } else {
                srcHolder = std::make_unique<QuaZip>(srcZip);
            }
            QuaZip& src = *srcHolder;
            if (!src.open(QuaZip::mdUnzip)) {
                skip(r, ZelLevelError,
                     QStringLiteral("MergeImages Can't open source sequence images %1").arg(srcZip));
            } else if (!QFileInfo::exists(destZip)) {
                names = entry_names(src);
                r.entries = static_cast<int>(names.size());
                src.close();
                if (!copy_whole_file(srcZip, destZip)) {
                    return failClean(QStringLiteral("Unable to copy %1 to %2").arg(srcZip, destZip));
                }
            } else {
                QuaZip dst(destZip);
                if (!dst.open(QuaZip::mdAdd)) {
                    skip(
                        r, ZelLevelError,
                        QStringLiteral("MergeImages Can't open destination sequence images %1").arg(destZip));
                } else {
                    const bool copied = copy_entries(src, dst, names, srcZip, r);
                    dst.close();
                    if (dst.getZipError() != ZIP_OK) {
                        return failClean(QStringLiteral("Unable to write %1").arg(destZip));
                    }
                    if (!copied) {
                        // The entries copied before the damage stay: they are whole.
                        skip(r, ZelLevelError,
                             QStringLiteral("MergeImages Can't open source sequence images %1").arg(srcZip));
                    }
                }
            }
        }
        if (progress) {
            progress(i + 1, static_cast<int>(sources.size()));
        }
    }
    mergeLog.close();
    if (!QDir().rename(staging, finalDir)) {
        return failClean(QStringLiteral("Unable to rename %1 to %2").arg(staging, finalDir));
    }
    r.destination = finalDir;

    // The destination is whole: only now do the sources take their mark.
    QStringList renameErrors;
    for (const QString& s : sources) {
        if (s.indexOf(QLatin1String("UsedForMerge"), 1) >= 1) {
            continue;
        }
        const QString folder = SequenceHandler::SequenceFolder(projectPath, s);
        const QString used = s + QLatin1String(kUsedMark);
        const bool dataRenamed =
            QFile::rename(SequenceHandler::DataFilePath(projectPath, s),
                          folder + QLatin1Char('/') + used + QStringLiteral("_data.txt"));
        if (!dataRenamed || !QDir().rename(folder, SequenceHandler::SequenceFolder(projectPath, used))) {
            renameErrors << QStringLiteral("Unable to rename %1 to %2").arg(s, used);
        }
    }
    if (!renameErrors.isEmpty()) {
        return fail(renameErrors.join(QLatin1Char('\n')));
    }
    r.ok = true;
    log(ZelLevelInformation, fmt::format("Merged {} sequences into {}", sources.size(), destination));
    return r;
}

bool SequenceMerge::Restore(const QString& projectPath, const QString& name, QString* error) {
    auto fail = [&](const QString& text) {
        log(ZelLevelError, text.toStdString());
        if (error) {
            *error = text;
        }
        return false;
    };
    const int at = name.lastIndexOf(QLatin1String(kUsedMark));
    if (at < 0 || !SequenceHandler::IsSafeName(name)) {
        return fail(QStringLiteral("Sequence %1 is not marked %2").arg(name, QLatin1String(kUsedMark)));
    }
    const QString original = name.left(at) + name.mid(at + static_cast<int>(qstrlen(kUsedMark)));
    const QString folder = SequenceHandler::SequenceFolder(projectPath, name);
    const QString target = SequenceHandler::SequenceFolder(projectPath, original);
    if (!QFileInfo(folder).isDir()) {
        return fail(QStringLiteral("Sequence %1 not found").arg(name));
    }
    if (original.isEmpty() || QFileInfo::exists(target)) {
        return fail(QStringLiteral("Sequence %1 already exists").arg(original));
    }
    const QString data = SequenceHandler::DataFilePath(projectPath, name);
    if (QFileInfo::exists(data) &&
        !QFile::rename(data, folder + QLatin1Char('/') + original + QStringLiteral("_data.txt"))) {
        return fail(QStringLiteral("Unable to rename %1").arg(data));
    }
    if (!QDir().rename(folder, target)) {
        return fail(QStringLiteral("Unable to rename %1 to %2").arg(folder, target));
    }
    log(ZelLevelInformation, fmt::format("Sequence {} restored as {}", name, original));
    return true;
}
