#include "MappedZipReader.h"

#include <libdeflate.h>

#include <algorithm>
#include <memory>

namespace {

constexpr quint32 kEndOfDirectory = 0x06054b50;
constexpr quint32 kZip64Locator = 0x07064b50;
constexpr quint32 kZip64End = 0x06064b50;
constexpr quint32 kDirectoryEntry = 0x02014b50;
constexpr quint32 kLocalHeader = 0x04034b50;
constexpr quint16 kZip64Extra = 0x0001;

std::uint64_t le(const uchar* p, int bytes) {
    std::uint64_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) {
        v = (v << 8) | p[i];
    }
    return v;
}

} // namespace

bool MappedZipReader::open(const QString& path) {
    m_entries.clear();
    m_error.clear();
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("Unable to open %1: %2").arg(path, m_file.errorString());
        return false;
    }
    m_size = static_cast<std::uint64_t>(m_file.size());
    m_map = m_size > 0 ? m_file.map(0, m_file.size()) : nullptr;
    if (m_map == nullptr) {
        m_error = QStringLiteral("Unable to read %1: not a zip archive").arg(path);
        return false;
    }
    if (!readDirectory()) {
        m_entries.clear();
        m_error = QStringLiteral("Unable to read %1: damaged zip archive").arg(path);
        return false;
    }
    return true;
}

bool MappedZipReader::readDirectory() {
    // The end record is the last 22 bytes, unless a comment of up to 65,535 bytes follows it.
    if (m_size < 22) {
        return false;
    }
    const std::uint64_t lowest = m_size > 22 + 65535 ? m_size - 22 - 65535 : 0;
    std::uint64_t end = m_size - 22;
    while (le(m_map + end, 4) != kEndOfDirectory) {
        if (end == lowest) {
            return false;
        }
        --end;
    }
    std::uint64_t count = le(m_map + end + 10, 2);
    std::uint64_t directorySize = le(m_map + end + 12, 4);
    std::uint64_t directory = le(m_map + end + 16, 4);
    if (end >= 20 && le(m_map + end - 20, 4) == kZip64Locator) {
        const std::uint64_t record = le(m_map + end - 20 + 8, 8);
        if (m_size < 56 || record > m_size - 56 || le(m_map + record, 4) != kZip64End) {
            return false;
        }
        count = le(m_map + record + 32, 8);
        directorySize = le(m_map + record + 40, 8);
        directory = le(m_map + record + 48, 8);
    }
    if (directory > m_size || directorySize > m_size - directory || count > directorySize / 46) {
        return false;
    }
    m_entries.reserve(count);
    std::uint64_t at = directory;
    const std::uint64_t stop = directory + directorySize;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (stop - at < 46 || le(m_map + at, 4) != kDirectoryEntry) {
            return false;
        }
        const uchar* e = m_map + at;
        const std::uint64_t nameLength = le(e + 28, 2);
        const std::uint64_t extraLength = le(e + 30, 2);
        const std::uint64_t commentLength = le(e + 32, 2);
        if (stop - at - 46 < nameLength + extraLength + commentLength) {
            return false;
        }
        Entry entry;
        entry.method = static_cast<int>(le(e + 10, 2));
        entry.crc = static_cast<quint32>(le(e + 16, 4));
        entry.compressedSize = le(e + 20, 4);
        entry.size = le(e + 24, 4);
        entry.localHeader = le(e + 42, 4);
        entry.name = QString::fromUtf8(reinterpret_cast<const char*>(e + 46), static_cast<int>(nameLength));
        // Values too large for their field are in the zip64 extra field, in this order.
        const uchar* extra = e + 46 + nameLength;
        for (std::uint64_t x = 0; x + 4 <= extraLength;) {
            const auto id = static_cast<quint16>(le(extra + x, 2));
            const std::uint64_t length = le(extra + x + 2, 2);
            if (x + 4 + length > extraLength) {
                return false;
            }
            if (id == kZip64Extra) {
                std::uint64_t field = x + 4;
                for (std::uint64_t* value : {&entry.size, &entry.compressedSize, &entry.localHeader}) {
                    if (*value == 0xFFFFFFFFu) {
                        if (field + 8 > x + 4 + length) {
                            return false;
                        }
                        *value = le(extra + field, 8);
                        field += 8;
                    }
                }
            }
            x += 4 + length;
        }
        m_entries.push_back(std::move(entry));
        at += 46 + nameLength + extraLength + commentLength;
    }
    return true;
}

std::span<const uchar> MappedZipReader::storedBytes(const Entry& entry) const {
    const std::uint64_t header = entry.localHeader;
    if (header > m_size || m_size - header < 30 || le(m_map + header, 4) != kLocalHeader) {
        return {};
    }
    const std::uint64_t data = header + 30 + le(m_map + header + 26, 2) + le(m_map + header + 28, 2);
    if (data > m_size || entry.compressedSize > m_size - data) {
        return {};
    }
    return {m_map + data, static_cast<std::size_t>(entry.compressedSize)};
}

bool MappedZipReader::read(const Entry& entry, QByteArray& out) const {
    out.clear();
    const std::span<const uchar> stored = storedBytes(entry);
    if (stored.data() == nullptr || entry.size > (1u << 30)) {
        return false;
    }
    if (entry.method == 0) {
        if (entry.compressedSize != entry.size) {
            return false;
        }
        out = QByteArray(reinterpret_cast<const char*>(stored.data()), static_cast<int>(stored.size()));
    } else if (entry.method == 8) {
        // One decompressor per thread: making one costs more than inflating a small vignette.
        thread_local const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
            inflater(libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
        out.resize(static_cast<int>(entry.size));
        std::size_t actual = 0;
        if (!inflater ||
            libdeflate_deflate_decompress(inflater.get(), stored.data(), stored.size(), out.data(),
                                          static_cast<std::size_t>(out.size()),
                                          &actual) != LIBDEFLATE_SUCCESS ||
            actual != entry.size) {
            out.clear();
            return false;
        }
    } else {
        return false;
    }
    if (libdeflate_crc32(0, out.constData(), static_cast<std::size_t>(out.size())) != entry.crc) {
        out.clear();
        return false;
    }
    return true;
}
