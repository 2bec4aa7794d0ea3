#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class QFile;
class QuaZip;
class WriteBehindFile;
struct QuaZipNewInfo;

// A zip archive whose entries are prepared on a small pool of threads (a raw frame turned into
// PNG, then every entry deflated) and written to the file in the order they were added, so that
// reading, converting and compressing overlap and the archive is the same whatever the timing.
//
// Memory stays bounded: add() waits while the entries added and not yet written hold more than
// the pending limit. Entries are deflated (method 8, default level 6) and the archive is in
// zip64 form, so that it may grow past 4 GiB.
//
// Not thread-safe itself: one thread adds, closes or abandons.
class ParallelZipWriter {
public:
    enum class Content {
        Bytes,      // the bytes as they are, deflated
        RawFrame,   // a full frame of either size, kept part encoded as PNG first, deflated
        Compressed, // bytes already compressed (a PNG image): stored without deflate (method 0)
    };
    // What was written for one entry, in the order of add().
    struct Written {
        QString name;
        std::int64_t sourceBytes = 0; // bytes given to add()
        std::int64_t entryBytes = 0;  // uncompressed bytes of the entry (the PNG for a frame)
        int tag = 0;
    };
    using WrittenCallback = std::function<void(const Written&)>;

    static constexpr std::int64_t kDefaultPendingBytes = 96LL * 1024 * 1024;
    // Entries that may wait per pool thread: enough that the small vignettes queued while the
    // receiver of a download has the processor never stall it (the pending limit still bounds
    // the memory they hold).
    static constexpr int kEntriesPerThread = 512;
    // How long an adding thread that does not prepare entries waits before it does anyway.
    static constexpr std::chrono::milliseconds kStarvedWait{50};

    // `threads` 0: one per processor.
    explicit ParallelZipWriter(int threads = 0, std::int64_t maxPendingBytes = kDefaultPendingBytes);
    ~ParallelZipWriter(); // abandons an archive still open
    ParallelZipWriter(const ParallelZipWriter&) = delete;
    ParallelZipWriter& operator=(const ParallelZipWriter&) = delete;

    // Creates (truncates) the archive file.
    bool open(const QString& path);
    // Queues one entry; may write earlier ones and wait for room. False once writing failed.
    bool add(const QString& name, QByteArray data, Content content = Content::Bytes, int tag = 0,
             const QDateTime& modified = QDateTime());
    // Queues an entry already prepared elsewhere, stored as it is (a PNG image) with its CRC-32.
    bool addStored(const QString& name, QByteArray bytes, quint32 crc);
    // Writes every queued entry and closes the archive; with `durable`, the file reaches the
    // disk (fsync) before this returns. False when anything failed (see error()).
    bool close(bool durable);
    // Writes what is already prepared in order, drops the rest and closes the archive, which
    // then holds a valid prefix of the entries.
    void abandon();

    // Whether the adding thread, when it has to wait for room, prepares waiting entries itself
    // (the default). A thread with work of its own, such as receiving the next file, had better
    // only wait: the pool then does all the preparing (unless it is kept off the processor, see
    // kStarvedWait). Set before open().
    void setAdderPrepares(bool prepares) { m_adderPrepares = prepares; }
    // Called on the adding thread for each entry once it is in the file.
    void setOnWritten(WrittenCallback callback) { m_onWritten = std::move(callback); }
    QString error() const { return m_error; }

    // Raw deflate of `input` at the default level (6), as the archive stores it; false on failure.
    static bool deflateRaw(const QByteArray& input, QByteArray& output);
    static quint32 crc32Of(const QByteArray& bytes);
    static constexpr int kDefaultLevel = 6;

private:
    struct Job;
    bool queue(const std::shared_ptr<Job>& job);
    void workerLoop();
    void prepare(Job& job);
    // Writes the finished jobs at the head of the order; with `wait`, waits for each in turn.
    void writeReady(bool wait);
    bool writeEntry(Job& job);
    // Starts the disk writing the archive's latest bytes, so that the final fsync has little left.
    void startWriteback();
    bool finish(bool durable);
    void stopWorkers();
    void fail(const QString& text);

    int m_threadCount;
    std::int64_t m_maxPending;
    std::vector<std::thread> m_threads;
    std::mutex m_mutex;
    std::condition_variable m_workReady;
    std::condition_variable m_jobDone;
    std::deque<std::shared_ptr<Job>> m_todo;  // not yet taken by a thread
    std::deque<std::shared_ptr<Job>> m_order; // added and not yet written, in order
    std::int64_t m_pendingBytes = 0;
    bool m_stopping = false;

    std::unique_ptr<QFile> m_file;
    std::unique_ptr<WriteBehindFile> m_device; // in front of m_file, see WriteBehindFile
    std::unique_ptr<QuaZip> m_zip;
    bool m_adderPrepares = true;
    bool m_helping = true;  // the adding thread prepares entries while it waits
    bool m_starved = false; // the pool was seen kept off the processor
    QDateTime m_openedAt;   // the entries' time unless add() is given one
    std::unique_ptr<QuaZipNewInfo> m_entryInfo;
    WrittenCallback m_onWritten;
    std::int64_t m_writebackFrom = 0; // start of the bytes not yet handed to the disk
    QString m_error;
};
