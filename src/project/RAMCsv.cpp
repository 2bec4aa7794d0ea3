#include "RAMCsv.h"

#include "trace/ZelTraceMgr.h"

#include <QFile>
#include <QSaveFile>
#include <QTextCodec>

#include <algorithm>

namespace {

constexpr const char* kModule = "default";

void warn(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    GetTraceMgr()->post(kModule, ZelLevelWarning, std::string_view(utf8.constData(), utf8.size()));
}

// Header files written on other machines may be Latin-1 ("°" in positions); decoding them as
// UTF-8 would turn those bytes into replacement characters and the next save would destroy them.
QString decode(const QByteArray& bytes, bool* latin1) {
    static QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    QTextCodec::ConverterState state(QTextCodec::ConvertInvalidToNull);
    const QString text = utf8->toUnicode(bytes.constData(), bytes.size(), &state);
    if (state.invalidChars == 0 && state.remainingChars == 0) {
        *latin1 = false;
        return text;
    }
    *latin1 = true;
    return QString::fromLatin1(bytes.constData(), bytes.size());
}

} // namespace

RAMCsv::RAMCsv(const QString& separator)
    : m_separator(separator) {}

void RAMCsv::rebuildIndex() {
    m_index.clear();
    for (int i = 0; i < m_header.size(); ++i) {
        // With a duplicated name the first column keeps the name: the later one is still kept
        // and written back, it just cannot be addressed by name.
        if (!m_index.contains(m_header[i])) {
            m_index.insert(m_header[i], i);
        }
    }
}

void RAMCsv::SetColumns(const QStringList& names) {
    m_header.clear();
    for (const QString& n : names) {
        m_header.append(n.trimmed());
    }
    rebuildIndex();
}

void RAMCsv::AddColumn(const QString& name) {
    const QString n = name.trimmed();
    if (m_index.contains(n)) {
        return;
    }
    m_header.append(n);
    m_index.insert(n, m_header.size() - 1);
    for (QStringList& row : m_rows) {
        while (row.size() < m_header.size()) {
            row.append(QString());
        }
    }
}

int RAMCsv::Locate(const QString& name) const {
    const auto it = m_index.constFind(name);
    if (it == m_index.constEnd()) {
        warn(QStringLiteral("RAMCsv::Locate Invalid column name"));
        return -1;
    }
    return it.value();
}

QString RAMCsv::Get(int row, const QString& name) const {
    const auto it = m_index.constFind(name);
    if (it == m_index.constEnd()) {
        warn(QStringLiteral("Invalid column name"));
        return QString();
    }
    if (row < 0 || row >= m_rows.size()) {
        warn(QStringLiteral("Invalid row id %1>=%2").arg(row).arg(m_rows.size()));
        return QString();
    }
    const QStringList& cells = m_rows[row];
    if (it.value() >= cells.size()) {
        warn(QStringLiteral("Missing colmun id R%1C%2").arg(row).arg(it.value()));
        return QString();
    }
    return cells[it.value()];
}

void RAMCsv::Set(int row, const QString& name, const QString& value) {
    const auto it = m_index.constFind(name);
    if (it == m_index.constEnd()) {
        warn(QStringLiteral("Invalid column name"));
        return;
    }
    if (row < 0 || row >= m_rows.size()) {
        warn(QStringLiteral("Invalid row id %1>=%2").arg(row).arg(m_rows.size()));
        return;
    }
    QStringList& cells = m_rows[row];
    if (it.value() >= cells.size()) {
        warn(QStringLiteral("Missing colmun id R%1C%2").arg(row).arg(it.value()));
        return;
    }
    cells[it.value()] = value;
}

void RAMCsv::AddRow(const QStringList& cells) {
    QStringList row = cells;
    while (row.size() < m_header.size()) {
        row.append(QString());
    }
    m_rows.append(row);
}

void RAMCsv::PadRow(int row) {
    if (row < 0 || row >= m_rows.size()) {
        return;
    }
    while (m_rows[row].size() < m_header.size()) {
        m_rows[row].append(QString());
    }
}

void RAMCsv::RemoveRow(int row) {
    if (row < 0 || row >= m_rows.size()) {
        warn(QStringLiteral("Invalid row id %1>=%2").arg(row).arg(m_rows.size()));
        return;
    }
    m_rows.remove(row);
}

void RAMCsv::SetNumericColumns(const QStringList& names) {
    m_numeric = names;
}

void RAMCsv::applyNumericRule() {
    for (const QString& name : m_numeric) {
        const auto it = m_index.constFind(name);
        if (it == m_index.constEnd()) {
            continue;
        }
        const int col = it.value();
        for (QStringList& row : m_rows) {
            if (col < row.size() && row[col].trimmed().isEmpty()) {
                row[col] = QStringLiteral("nan");
            }
        }
    }
}

bool RAMCsv::LoadFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        warn(QStringLiteral("RAMCsv::LoadFile can't open file %1 %2").arg(path, file.errorString()));
        return false;
    }
    const QByteArray bytes = file.readAll();
    bool latin1 = false;
    const QString text = decode(bytes, &latin1);
    m_latin1 = latin1;

    m_header.clear();
    m_rows.clear();
    m_index.clear();
    // Text mode has already turned "\r\n" into "\n".
    const QVector<QStringRef> lines = text.splitRef(QLatin1Char('\n'));
    if (!lines.isEmpty() && !lines[0].isEmpty()) {
        for (const QStringRef& name : lines[0].split(m_separator, Qt::KeepEmptyParts, Qt::CaseSensitive)) {
            m_header.append(name.trimmed().toString());
        }
        rebuildIndex();
        for (int i = 1; i < lines.size(); ++i) {
            if (lines[i].isEmpty()) {
                break;
            }
            QStringList row;
            for (const QStringRef& cell :
                 lines[i].split(m_separator, Qt::KeepEmptyParts, Qt::CaseSensitive)) {
                row.append(cell.toString());
            }
            m_rows.append(row);
        }
    }
    applyNumericRule();
    return true;
}

QByteArray RAMCsv::ToBytes() {
    applyNumericRule();
    QString text = m_header.join(m_separator);
    text += QLatin1Char('\n');
    for (const QStringList& row : m_rows) {
        text += row.join(m_separator);
        text += QLatin1Char('\n');
    }
    // A Latin-1 file stays Latin-1 unless a cell now holds a character Latin-1 cannot carry; then
    // the whole file moves to UTF-8 rather than losing that character.
    if (m_latin1) {
        const bool fits =
            std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() <= 0xFF; });
        if (fits) {
            return text.toLatin1();
        }
    }
    return text.toUtf8();
}

bool RAMCsv::SaveFile(const QString& path) {
    const QByteArray bytes = ToBytes();
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        warn(QStringLiteral("RAMCsv::SaveFile can't open file %1 %2").arg(path, file.errorString()));
        return false;
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        warn(QStringLiteral("RAMCsv::SaveFile can't open file %1 %2").arg(path, file.errorString()));
        file.cancelWriting();
        return false;
    }
    return true;
}
