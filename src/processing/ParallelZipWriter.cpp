#include "ParallelZipWriter.h"

#include "RawFrame.h"
#include "WriteBehindFile.h"

#include <QFile>
#include <QThread>

#include <libdeflate.h>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>
#include <zlib.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

struct ParallelZipWriter::Job {
    QString name;
    QByteArray input;
    Content content = Content::Bytes;
    int tag = 0;
    QDateTime modified;
    std::int64_t sourceBytes = 0;
    // Filled by a pool thread.
    QByteArray deflated;
    quint32 crc = 0;
    std::int64_t entryBytes = 0;
    bool ok = false;
    bool done = false;
};

ParallelZipWriter::ParallelZipWriter(int threads, std::int64_t maxPendingBytes)
    : m_threadCount(threads > 0 ? threads : std::max(1, QThread::idealThreadCount()))
    , m_maxPending(std::max<std::int64_t>(maxPendingBytes, 1)) {}

ParallelZipWriter::~ParallelZipWriter() {
    abandon();
}

bool ParallelZipWriter::deflateRaw(const QByteArray& input, QByteArray& output) {
    // One compressor per thread: allocating one costs more than deflating a small vignette.
    thread_local const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)>
        compressor(libdeflate_alloc_compressor(kDefaultLevel), &libdeflate_free_compressor);
    if (!compressor) {
        return false;
    }
    const auto size = static_cast<std::size_t>(input.size());
    output.resize(static_cast<int>(libdeflate_deflate_compress_bound(compressor.get(), size)));
    const std::size_t n =
        libdeflate_deflate_compress(compressor.get(), input.constData(), size, output.data(), output.size());
    output.resize(static_cast<int>(n));
    return n > 0 || size == 0;
}

quint32 ParallelZipWriter::crc32Of(const QByteArray& bytes) {
    return libdeflate_crc32(0, bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

bool ParallelZipWriter::open(const QString& path) {
    abandon();
    m_error.clear();
    m_file = std::make_unique<QFile>(path);
    if (!m_file->open(QIODevice::ReadWrite | QIODevice::Truncate)) {
        m_error = QStringLiteral("Unable to create %1: %2").arg(path, m_file->errorString());
        m_file.reset();
        return false;
    }
    m_device = std::make_unique<WriteBehindFile>(m_file.get());
    m_device->open(QIODevice::WriteOnly);
    m_zip = std::make_unique<QuaZip>(m_device.get());
    m_zip->setZip64Enabled(true);
    m_zip->setUtf8Enabled(true);
    m_zip->setAutoClose(false);
    if (!m_zip->open(QuaZip::mdCreate)) {
        m_error =
            QStringLiteral("Unable to create the archive %1 (error %2)").arg(path).arg(m_zip->getZipError());
        m_zip.reset();
        m_device.reset();
        m_file.reset();
        return false;
    }
    m_stopping = false;
    m_helping = m_adderPrepares;
    m_starved = false;
    m_writebackFrom = 0;
    m_openedAt = QDateTime::currentDateTime();
    m_entryInfo = std::make_unique<QuaZipNewInfo>(QString());
    for (int i = 0; i < m_threadCount; ++i) {
        m_threads.emplace_back([this] { workerLoop(); });
    }
    return true;
}

void ParallelZipWriter::workerLoop() {
#ifdef __linux__
    // Compression yields to the thread that receives the instrument's datagrams: a receiver kept
    // off the processor loses them, and every loss costs a file's retransmission. Each file is a
    // request and an answer, so any wake-up that waits for a core slows the whole download: an
    // idle-class thread gives the core up the moment another thread wakes (a low nice value
    // only shortens its turn).
    sched_param idle{};
    if (::sched_setscheduler(0, SCHED_IDLE, &idle) != 0) {
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 19);
    }
#endif
    for (;;) {
        std::shared_ptr<Job> job;
        {
            std::unique_lock<std::mutex> hold(m_mutex);
            m_workReady.wait(hold, [this] { return m_stopping || !m_todo.empty(); });
            if (m_todo.empty()) {
                return;
            }
            job = m_todo.front();
            m_todo.pop_front();
        }
        prepare(*job);
    }
}

void ParallelZipWriter::prepare(Job& job) {
    // A job may be prepared by two threads at once (see writeReady): each works on its own
    // share of the input, and the first to finish publishes its result.
    QByteArray input;
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        if (job.done) {
            return;
        }
        input = job.input;
    }
    QByteArray entry;
    if (job.content == Content::RawFrame) {
        entry = RawFrame::toPng(input.constData(), static_cast<std::size_t>(input.size()));
        input = QByteArray(); // this share of the frame is no longer needed: free it before deflating
    } else {
        entry = std::move(input);
    }
    const std::int64_t entryBytes = entry.size();
    bool ok = job.content != Content::RawFrame || !entry.isEmpty();
    const quint32 crc = ok ? crc32Of(entry) : 0;
    QByteArray deflated;
    if (ok && job.content == Content::Compressed) {
        deflated = std::move(entry); // deflate would only spend time on it
    } else if (ok) {
        ok = deflateRaw(entry, deflated);
    }
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        if (job.done) {
            return;
        }
        job.input = QByteArray();
        job.entryBytes = ok ? entryBytes : 0;
        job.crc = crc;
        job.deflated = std::move(deflated);
        job.ok = ok;
        job.done = true;
    }
    m_jobDone.notify_all();
}

bool ParallelZipWriter::add(const QString& name, QByteArray data, Content content, int tag,
                            const QDateTime& modified) {
    auto job = std::make_shared<Job>();
    job->name = name;
    job->sourceBytes = data.size();
    job->input = std::move(data);
    job->content = content;
    job->tag = tag;
    job->modified = modified.isValid() ? modified : m_openedAt;
    return queue(job);
}

bool ParallelZipWriter::addStored(const QString& name, QByteArray bytes, quint32 crc) {
    auto job = std::make_shared<Job>();
    job->name = name;
    job->sourceBytes = bytes.size();
    job->entryBytes = bytes.size();
    job->deflated = std::move(bytes);
    job->crc = crc;
    job->content = Content::Compressed;
    job->modified = m_openedAt;
    job->ok = true;
    job->done = true;
    return queue(job);
}

bool ParallelZipWriter::queue(const std::shared_ptr<Job>& job) {
    if (!m_zip || !m_error.isEmpty()) {
        return false;
    }
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_pendingBytes += job->sourceBytes;
        m_order.push_back(job);
        if (!job->done) {
            m_todo.push_back(job);
        }
    }
    m_workReady.notify_one();
    if (m_starved) {
        // The pool has been kept off the processor: one entry prepared here for each one added
        // keeps the backlog from growing.
        std::shared_ptr<Job> waiting;
        {
            std::lock_guard<std::mutex> hold(m_mutex);
            if (!m_todo.empty()) {
                waiting = m_todo.front();
                m_todo.pop_front();
            }
        }
        if (waiting) {
            prepare(*waiting);
        }
    }
    writeReady(false);
    // Room for the next entry: the oldest ones are waited for while too much is held.
    while (m_error.isEmpty()) {
        {
            std::lock_guard<std::mutex> hold(m_mutex);
            const bool tooMuch = m_pendingBytes > m_maxPending ||
                                 m_order.size() > static_cast<std::size_t>(kEntriesPerThread * m_threadCount);
            if (!tooMuch || m_order.empty()) {
                break;
            }
        }
        writeReady(true);
    }
    return m_error.isEmpty();
}

void ParallelZipWriter::writeReady(bool wait) {
    for (;;) {
        std::shared_ptr<Job> head;
        {
            std::unique_lock<std::mutex> hold(m_mutex);
            if (m_order.empty()) {
                return;
            }
            // Rather than sleep until a pool thread gets round to the head of the order, the
            // adding thread prepares waiting entries itself: on a loaded machine each hand-off
            // to a sleeping thread costs a scheduler time slice. One that must not (see
            // setAdderPrepares) still does once it has waited a while, and then prepares the
            // head itself even if a pool thread has it: the pool runs at the lowest priority, so
            // another program keeping every core busy would otherwise stop the archive, and the
            // download with it.
            while (wait && !m_order.front()->done) {
                std::shared_ptr<Job> job;
                if (m_helping && !m_todo.empty()) {
                    job = m_todo.front();
                    m_todo.pop_front();
                } else if (!m_jobDone.wait_for(hold, kStarvedWait,
                                               [this] { return m_order.front()->done; })) {
                    m_helping = true;
                    m_starved = true;
                    job = m_order.front();
                }
                if (job) {
                    hold.unlock();
                    prepare(*job);
                    hold.lock();
                }
            }
            if (!wait && !m_order.front()->done) {
                return;
            }
            head = m_order.front();
            m_order.pop_front();
            m_pendingBytes -= head->sourceBytes;
        }
        if (m_error.isEmpty() && !writeEntry(*head)) {
            return;
        }
        if (wait) {
            return; // one entry written: the caller checks again whether there is room
        }
    }
}

bool ParallelZipWriter::writeEntry(Job& job) {
    if (!job.ok) {
        fail(QStringLiteral("Unable to prepare the entry %1").arg(job.name));
        return false;
    }
    // A copy of a prepared one: building an entry's information afresh reads the clock and the
    // time zone each time, which costs as much as writing a small vignette.
    QuaZipNewInfo info = *m_entryInfo;
    info.name = job.name;
    info.dateTime = job.modified;
    info.uncompressedSize = static_cast<ulong>(job.entryBytes);
    info.externalAttr = 0644u << 16;
    QuaZipFile entry(m_zip.get());
    const bool stored = job.content == Content::Compressed;
    if (!entry.open(QIODevice::WriteOnly, info, nullptr, job.crc, stored ? 0 : Z_DEFLATED,
                    stored ? 0 : Z_DEFAULT_COMPRESSION, true)) {
        fail(QStringLiteral("Unable to add %1 to the archive (error %2)")
                 .arg(job.name)
                 .arg(entry.getZipError()));
        return false;
    }
    const qint64 n = entry.write(job.deflated);
    entry.close();
    if (n != job.deflated.size() || entry.getZipError() != ZIP_OK) {
        fail(QStringLiteral("Unable to write %1 into the archive: %2")
                 .arg(job.name, m_file->error() != QFileDevice::NoError
                                    ? m_file->errorString()
                                    : QStringLiteral("zip error %1").arg(entry.getZipError())));
        return false;
    }
    job.deflated = QByteArray();
    startWriteback();
    if (m_onWritten) {
        m_onWritten(Written{job.name, job.sourceBytes, job.entryBytes, job.tag});
    }
    return true;
}

void ParallelZipWriter::startWriteback() {
#ifdef __linux__
    constexpr std::int64_t kChunk = 16LL * 1024 * 1024;
    const std::int64_t end = m_device->size();
    if (end - m_writebackFrom < kChunk) {
        return;
    }
    if (m_device->flushToFile()) {
        ::sync_file_range(m_file->handle(), m_writebackFrom, end - m_writebackFrom, SYNC_FILE_RANGE_WRITE);
        m_writebackFrom = end;
    }
#endif
}

void ParallelZipWriter::fail(const QString& text) {
    if (m_error.isEmpty()) {
        m_error = text;
    }
}

void ParallelZipWriter::stopWorkers() {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_stopping = true;
    }
    m_workReady.notify_all();
    for (std::thread& t : m_threads) {
        t.join();
    }
    m_threads.clear();
}

bool ParallelZipWriter::finish(bool durable) {
    stopWorkers();
    m_zip->close();
    if (m_zip->getZipError() != ZIP_OK) {
        fail(QStringLiteral("Unable to close the archive %1 (error %2)")
                 .arg(m_file->fileName())
                 .arg(m_zip->getZipError()));
    }
    m_zip.reset();
    const bool flushed = m_device->flushToFile();
    m_device.reset();
    if (!flushed || !m_file->flush()) {
        fail(QStringLiteral("Unable to write %1: %2").arg(m_file->fileName(), m_file->errorString()));
    } else if (durable && ::fsync(m_file->handle()) != 0) {
        fail(QStringLiteral("Unable to make %1 durable").arg(m_file->fileName()));
    }
    m_file->close();
    m_file.reset();
    std::lock_guard<std::mutex> hold(m_mutex);
    m_order.clear();
    m_todo.clear();
    m_pendingBytes = 0;
    return m_error.isEmpty();
}

bool ParallelZipWriter::close(bool durable) {
    if (!m_zip) {
        return false;
    }
    m_helping = true; // nothing else to do now
    while (m_error.isEmpty()) {
        {
            std::lock_guard<std::mutex> hold(m_mutex);
            if (m_order.empty()) {
                break;
            }
        }
        writeReady(true);
    }
    return finish(durable);
}

void ParallelZipWriter::abandon() {
    if (!m_zip) {
        return;
    }
    std::deque<std::shared_ptr<Job>> prepared;
    {
        std::unique_lock<std::mutex> hold(m_mutex);
        // What no thread has taken is dropped; what is being prepared is waited for.
        for (const auto& job : m_todo) {
            job->done = true;
            job->ok = false;
        }
        m_todo.clear();
        m_jobDone.wait(hold, [this] {
            return std::all_of(m_order.begin(), m_order.end(), [](const auto& j) { return j->done; });
        });
        prepared.swap(m_order);
        m_pendingBytes = 0;
    }
    // The archive keeps the prepared prefix, in order.
    for (const auto& job : prepared) {
        if (!job->ok || !m_error.isEmpty() || !writeEntry(*job)) {
            break;
        }
    }
    finish(false);
}
