#include "SequenceHandler.h"

#include "params/ParamSets.h"
#include "params/ParamTable.h"
#include "trace/ZelTraceMgr.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr const char* kModule = "default";
// A damaged or foreign file can hold millions of bad lines: past this many, the skipped lines
// are only counted, so that the log is not flooded.
constexpr int kMaxLoggedSkips = 100;

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

void trim(const char*& begin, const char*& end) {
    while (begin < end && is_blank(*begin)) {
        ++begin;
    }
    while (end > begin && is_blank(end[-1])) {
        --end;
    }
}

// The instrument writes single-precision values; a field that is not entirely a number (or does
// not fit a float) is a missing value.
double parse_float(const char* begin, const char* end) {
    trim(begin, end);
    if (begin < end && *begin == '+') {
        ++begin;
    }
    float value = 0.0f;
    const auto [ptr, ec] = std::from_chars(begin, end, value);
    if (begin == end || ec != std::errc() || ptr != end) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return static_cast<double>(value);
}

bool parse_int(const char* begin, const char* end, qint32* out) {
    trim(begin, end);
    if (begin < end && *begin == '+') {
        ++begin;
    }
    const auto [ptr, ec] = std::from_chars(begin, end, *out);
    return begin != end && ec == std::errc() && ptr == end;
}

// One object group "size,count,v3,v4" of a payload: valid only with exactly four integers.
struct Group {
    bool valid = false;
    qint32 size = 0;
    qint32 count = 0;
};

Group parse_group(const char* begin, const char* end) {
    Group g;
    qint32 values[4] = {0, 0, 0, 0};
    int n = 0;
    const char* field = begin;
    for (const char* p = begin;; ++p) {
        if (p == end || *p == ',') {
            if (n == 4 || !parse_int(field, p, &values[n])) {
                return g;
            }
            ++n;
            if (p == end) {
                break;
            }
            field = p + 1;
        }
    }
    if (n != 4) {
        return g;
    }
    g.valid = true;
    g.size = values[0];
    g.count = values[1];
    return g;
}

} // namespace

SequenceHandler::SequenceHandler(const QString& projectPath, const QString& name)
    : m_projectPath(projectPath)
    , m_name(name) {
    m_rows.reserve(kReservedRows);
}

QString SequenceHandler::SequenceFolder(const QString& projectPath, const QString& seq) {
    return projectPath + QStringLiteral("/raw/") + seq;
}

QString SequenceHandler::DataFilePath(const QString& projectPath, const QString& seq) {
    return SequenceFolder(projectPath, seq) + QLatin1Char('/') + seq + QStringLiteral("_data.txt");
}

QString SequenceHandler::SyntheticFilePath() const {
    return SequenceFolder() + QLatin1Char('/') + m_name + QStringLiteral("_synthetic.txt");
}

QString SequenceHandler::ImageArchivePath() const {
    return SequenceFolder() + QStringLiteral("/images.zip");
}

bool SequenceHandler::IsSafeName(const QString& seq) {
    return !seq.isEmpty() && seq != QLatin1String(".") && seq != QLatin1String("..") &&
           !seq.contains(QLatin1Char('/')) && !seq.contains(QLatin1Char('\\')) && !seq.contains(QChar(0));
}

bool SequenceHandler::ReadDataFile() {
    return readFile(nullptr);
}

bool SequenceHandler::ReadDataFile(const std::vector<int>& onlyRows) {
    return readFile(&onlyRows);
}

bool SequenceHandler::readFile(const std::vector<int>* onlyRows) {
    const QString path = DataFilePath();
    QFile file(path);
    const bool isDir = QFileInfo(path).isDir();
    if (isDir || !file.open(QIODevice::ReadOnly)) {
        const QString why = isDir ? QStringLiteral("Is a directory") : file.errorString();
        m_lastError = QStringLiteral("SequenceHandler::ReadDataFile erreur open %1 %2").arg(path, why);
        GetTraceMgr()->logf(kModule, ZelLevelDebug, "{}", m_lastError);
        return false;
    }

    m_rows.clear();
    m_rows.reserve(onlyRows ? onlyRows->size() : static_cast<std::size_t>(kReservedRows));
    m_index.clear();
    m_hwConf.clear();
    m_acqConf.clear();
    m_nanCount = 0;
    m_trackedSize1 = kNoTrackedSize;
    m_trackedSize2 = kNoTrackedSize;
    m_tracked = false;
    m_skipped = 0;
    m_onlyRows = onlyRows;
    m_nextOnly = 0;
    m_dataLines = 0;
    m_lastError.clear();

    // The file is mapped rather than read: a data file of tens of thousands of lines is scanned
    // once without an intermediate copy.
    const qint64 size = file.size();
    QByteArray fallback;
    const char* data = nullptr;
    if (size > 0) {
        data = reinterpret_cast<const char*>(file.map(0, size));
        if (!data) {
            fallback = file.readAll();
            data = fallback.constData();
        }
    }
    const char* const fileEnd = data ? data + (fallback.isNull() ? size : fallback.size()) : nullptr;
    for (const char* line = data; line && line < fileEnd;) {
        const void* nl = std::memchr(line, '\n', static_cast<size_t>(fileEnd - line));
        const char* lineEnd = nl ? static_cast<const char*>(nl) : fileEnd;
        parseLine(line, lineEnd);
        line = lineEnd + 1;
    }
    if (m_skipped > kMaxLoggedSkips) {
        GetTraceMgr()->logf(kModule, ZelLevelDebug,
                            "SequenceHandler::ReadDataFile {} more invalid lines in {}",
                            m_skipped - kMaxLoggedSkips, path);
    }
    m_onlyRows = nullptr;
    return true;
}

void SequenceHandler::parseLine(const char* begin, const char* end) {
    trim(begin, end);
    if (begin == end) {
        return;
    }
    const qsizetype length = end - begin;
    auto comma = [&](qsizetype from) -> qsizetype {
        if (from < 0 || from >= length) {
            return -1;
        }
        const void* p = std::memchr(begin + from, ',', static_cast<size_t>(length - from));
        return p ? static_cast<const char*>(p) - begin : -1;
    };
    const qsizetype pos1 = comma(0);
    const qsizetype pos2 = pos1 < 0 ? -1 : comma(pos1 + 1);
    const qsizetype pos3 = pos2 < 0 ? -1 : comma(pos2 + 1);
    if (pos3 < 10) {
        if (++m_skipped <= kMaxLoggedSkips) {
            GetTraceMgr()->logf(kModule, ZelLevelDebug,
                                "SequenceHandler::stDataRaw::InitFromString invalid pos3={}", pos3);
        }
        return;
    }

    const std::string_view field1(begin, static_cast<size_t>(pos1));
    if (field1 == "HW_CONF") {
        m_hwConf = QByteArray(begin, static_cast<int>(length));
        return;
    }
    if (field1 == "ACQ_CONF") {
        m_acqConf = QByteArray(begin, static_cast<int>(length));
        return;
    }

    if (m_onlyRows) {
        // Only the wanted rows are built; the others are counted, so that the numbering is
        // that of the whole file.
        const int index = m_dataLines++;
        while (m_nextOnly < m_onlyRows->size() && (*m_onlyRows)[m_nextOnly] < index) {
            ++m_nextOnly;
        }
        if (m_nextOnly >= m_onlyRows->size() || (*m_onlyRows)[m_nextOnly] != index) {
            return;
        }
    }
    stDataRaw row;
    row.dateTime = QByteArray(begin, static_cast<int>(pos1));
    row.pressure = parse_float(begin + pos1 + 1, begin + pos2);
    row.value2 = parse_float(begin + pos2 + 1, begin + pos3);
    // A line cut right after its third comma still stands for one image: it is kept (without
    // flag and payload) so that the image numbering of the sequence does not shift.
    if (pos3 + 1 < length) {
        row.flag = begin[pos3 + 1];
    } else if (++m_skipped <= kMaxLoggedSkips) {
        GetTraceMgr()->logf(kModule, ZelLevelDebug,
                            "SequenceHandler::stDataRaw::InitFromString missing flag {}", row.dateTime);
    }
    if (pos3 + 3 < length) {
        const char first = begin[pos3 + 3];
        row.kind = first == 'O' ? 'E' : first == 'E' ? 'Y' : 'O';
        row.payload = QByteArray(begin + pos3 + 3, static_cast<int>(length - pos3 - 3));
    }
    if (std::isnan(row.pressure)) {
        ++m_nanCount;
    }

    if (row.kind == 'O' && !row.payload.isEmpty()) {
        const char* p = row.payload.constData();
        const qsizetype n = row.payload.size();
        const char* s1 = static_cast<const char*>(std::memchr(p, ';', static_cast<size_t>(n)));
        Group a;
        Group b;
        if (s1) {
            if (s1 > p) {
                a = parse_group(p, s1);
            }
            const char* s2 =
                static_cast<const char*>(std::memchr(s1 + 1, ';', static_cast<size_t>(p + n - s1 - 1)));
            if (s2 && s2 - p > 10) {
                b = parse_group(s1 + 1, s2);
            }
        }
        if (!m_tracked && a.valid && b.valid) {
            m_tracked = true;
            m_trackedSize1 = a.size;
            m_trackedSize2 = b.size;
        }
        if (a.valid && a.size == m_trackedSize1) {
            row.count1 = a.count;
        }
        if (b.valid && b.size == m_trackedSize2) {
            row.count2 = b.count;
        }
    }

    m_rows.push_back(std::move(row));
    if (!m_onlyRows) {
        m_index.insert(m_rows.back().dateTime, static_cast<int>(m_rows.size() - 1));
    }
}

namespace {

// The configuration line is the instrument's answer form without its final ";": the reader
// wants every field terminated.
int read_config_line(const QByteArray& line, const char* prefix, ParamTable& table) {
    if (line.isEmpty()) {
        return -1;
    }
    std::string text(line.constData(), static_cast<size_t>(line.size()));
    if (text.back() != ';') {
        text += ';';
    }
    return get_params_from_string(text, prefix, table);
}

} // namespace

namespace {

SequenceHandler::ConfigFields config_fields(const QByteArray& line, const QByteArray& prefix,
                                            void (*build)(ParamTable&)) {
    SequenceHandler::ConfigFields fields;
    const int at = line.indexOf(prefix);
    if (at < 0) {
        return fields;
    }
    ParamTable table;
    build(table);
    int end = line.indexOf(';', at);
    if (end < 0) {
        end = line.size();
    }
    const QList<QByteArray> texts = line.mid(at + prefix.size(), end - at - prefix.size()).split(',');
    int i = 0;
    for (const ParamDef& d : table) {
        if (d.type == ParamRoot) {
            continue;
        }
        if (i >= texts.size()) {
            break;
        }
        fields.append({QString::fromStdString(d.name), texts[i++]});
    }
    return fields;
}

} // namespace

SequenceHandler::ConfigFields SequenceHandler::HwConfFields() const {
    return config_fields(m_hwConf, QByteArrayLiteral("HW_CONF,"), &build_hw_params);
}

SequenceHandler::ConfigFields SequenceHandler::AcqConfFields() const {
    return config_fields(m_acqConf, QByteArrayLiteral("ACQ_CONF,"), &build_acq_params);
}

int SequenceHandler::ReadHwConf(ParamTable& table) const {
    build_hw_params(table);
    return read_config_line(m_hwConf, "HW_CONF,", table);
}

int SequenceHandler::ReadAcqConf(ParamTable& table) const {
    build_acq_params(table);
    return read_config_line(m_acqConf, "ACQ_CONF,", table);
}

bool SequenceHandler::RemoveFolder(QString* error) const {
    auto failWith = [&](const QString& text) {
        GetTraceMgr()->logf("SequenceHandler", ZelLevelError, "{}", text);
        if (error) {
            *error = text;
        }
        return false;
    };
    if (!IsSafeName(m_name)) {
        return failWith(QStringLiteral("Sequence name '%1' is not a plain folder name").arg(m_name));
    }
    const QString folder = SequenceFolder();
    const QFileInfo info(folder);
    // A link is removed as a link: what it points at is not the project's to delete.
    if (info.isSymLink()) {
        if (!QFile::remove(folder)) {
            return failWith(QStringLiteral("Sequence %1 : unable to remove %2").arg(m_name, folder));
        }
        return true;
    }
    if (!info.isDir()) {
        return failWith(QStringLiteral("Sequence %1 : folder %2 not found").arg(m_name, folder));
    }
    if (!QDir(folder).removeRecursively()) {
        return failWith(
            QStringLiteral("Sequence %1 : unable to remove every file of %2").arg(m_name, folder));
    }
    return true;
}
