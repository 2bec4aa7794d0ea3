#include "WriteBehindFile.h"

#include <QFile>

#include <algorithm>
#include <cstring>

WriteBehindFile::WriteBehindFile(QFile* file, qint64 limit)
    : m_file(file)
    , m_limit(limit) {}

WriteBehindFile::~WriteBehindFile() {
    if (isOpen()) {
        close();
    }
}

bool WriteBehindFile::open(OpenMode mode) {
    if (!m_file->isOpen() || (mode & ReadOnly) != 0) {
        return false;
    }
    m_start = 0;
    m_held.clear();
    m_end = m_file->size();
    return QIODevice::open(mode | Unbuffered);
}

void WriteBehindFile::close() {
    flushToFile();
    QIODevice::close();
}

bool WriteBehindFile::flushToFile() {
    if (m_held.isEmpty()) {
        return true;
    }
    if (!m_file->seek(m_start) || m_file->write(m_held) != m_held.size() || !m_file->flush()) {
        setErrorString(m_file->errorString());
        return false;
    }
    m_start += m_held.size();
    m_held.clear();
    return true;
}

qint64 WriteBehindFile::readData(char*, qint64) {
    return -1;
}

qint64 WriteBehindFile::writeData(const char* data, qint64 size) {
    const qint64 at = pos();
    if (!m_held.isEmpty() && (at < m_start || at > m_start + m_held.size())) {
        if (!flushToFile()) {
            return -1;
        }
    }
    if (m_held.isEmpty() && size >= m_limit) {
        // Too large to be worth holding: straight to the file.
        if (!m_file->seek(at) || m_file->write(data, size) != size) {
            setErrorString(m_file->errorString());
            return -1;
        }
        m_start = at + size;
        m_end = std::max(m_end, at + size);
        return size;
    }
    if (m_held.isEmpty()) {
        m_start = at;
    }
    const qint64 offset = at - m_start;
    if (offset + size > m_held.size()) {
        m_held.resize(static_cast<int>(offset + size));
    }
    std::memcpy(m_held.data() + offset, data, static_cast<std::size_t>(size));
    m_end = std::max(m_end, at + size);
    if (m_held.size() >= m_limit && offset + size == m_held.size() && !flushToFile()) {
        return -1;
    }
    return size;
}
