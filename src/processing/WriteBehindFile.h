#pragma once

#include <QByteArray>
#include <QIODevice>

class QFile;

// A write-only device over an open file that holds the latest bytes written in memory and hands
// them to the file in large writes. A zip writer goes back to each entry's local header to fill
// in its sizes once the entry is written: over a plain file every such return costs a flush and
// two seeks, thousands of system calls for an archive of small vignettes; here it lands in memory.
//
// Writes anywhere in the file are correct: a write outside the bytes held first hands those to
// the file. Nothing reaches the file before flushToFile(), close() or the holding limit.
class WriteBehindFile : public QIODevice {
public:
    explicit WriteBehindFile(QFile* file, qint64 limit = 4 << 20);
    ~WriteBehindFile() override;

    bool open(OpenMode mode) override;
    void close() override;
    bool isSequential() const override { return false; }
    qint64 size() const override { return m_end; }
    // Hands the bytes held to the file; false (with errorString()) when the file refused them.
    bool flushToFile();

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    QFile* m_file;
    qint64 m_limit;
    qint64 m_start = 0; // file offset of the first byte held
    QByteArray m_held;
    qint64 m_end = 0; // size of the file once everything held is in it
};
