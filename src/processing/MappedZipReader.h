#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstdint>
#include <span>
#include <vector>

// A zip archive read through a memory mapping of the whole file: the central directory is read
// once, and each entry's bytes are then reached directly in the mapping, from any thread, with no
// system call and no copy. Made for reading thousands of small vignettes out of a sequence's
// "images.zip"; zip64 archives (over 4 GiB, or over 65,535 entries) are read too.
//
// Everything read from the file is checked against its bounds: a damaged archive gives an error
// or an entry that does not read, never a read outside the mapping.
class MappedZipReader {
public:
    struct Entry {
        QString name;
        int method = 0; // 0 stored, 8 deflated; others are not read
        quint32 crc = 0;
        std::uint64_t compressedSize = 0;
        std::uint64_t size = 0;
        std::uint64_t localHeader = 0; // offset of the entry's local header
    };

    // Maps the file and reads its central directory. False with error() on failure.
    bool open(const QString& path);
    QString error() const { return m_error; }
    const std::vector<Entry>& entries() const { return m_entries; }

    // The entry's file, inflated and checked against its CRC-32; false when it does not read.
    // Safe to call from several threads at once.
    bool read(const Entry& entry, QByteArray& out) const;

private:
    std::span<const uchar> storedBytes(const Entry& entry) const;
    bool readDirectory();

    QFile m_file;
    const uchar* m_map = nullptr;
    std::uint64_t m_size = 0;
    std::vector<Entry> m_entries;
    QString m_error;
};
