#include "ZelTraceMgrFileMulti.h"

#include "ZelTraceMgrDispatcher.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>

ZelTraceMgrFileMulti::ZelTraceMgrFileMulti(ZelTraceMgrDispatcher* dispatcher, const QString& fileName,
                                           int nbFiles, int sizeKiB, const QSet<quint32>& levels)
    : m_fileName(fileName)
    , m_nbFiles(qMax(1, nbFiles))
    , m_sizeKiB(qMax(2, sizeKiB))
    , m_levels(levels)
    , m_dispatcher(dispatcher) {
    setObjectName(QStringLiteral("ZelTraceMgrFileMulti"));
    zel_register_trace_types();
    openFile(QIODevice::ReadWrite | QIODevice::Append);
    // The receiver lives in this thread: records arrive queued and are written here.
    if (m_dispatcher) {
        m_connection = connect(m_dispatcher, &ZelTraceMgrDispatcher::NewMessage, this,
                               &ZelTraceMgrFileMulti::OnNewMessage, Qt::QueuedConnection);
    }
    start(QThread::InheritPriority);
}

ZelTraceMgrFileMulti::~ZelTraceMgrFileMulti() {
    // Let the dispatcher hand over what was posted before this point, then stop listening.
    if (m_dispatcher && m_dispatcher->isRunning() && QThread::currentThread() != m_dispatcher) {
        QMetaObject::invokeMethod(
            m_dispatcher, [] {}, Qt::BlockingQueuedConnection);
    }
    disconnect(m_connection);
    if (isRunning() && QThread::currentThread() != this) {
        // Queued behind every record already handed to this writer, so none of them is lost.
        QMetaObject::invokeMethod(
            this, [this] { finish(); }, Qt::BlockingQueuedConnection);
    } else {
        finish();
    }
    stopThread();
}

QByteArray ZelTraceMgrFileMulti::formatLine(const QDateTime& date, quint32 level, const QString& module,
                                            const QString& message) {
    return QStringLiteral("%1\t%2\t%3\t%4\r\n")
        .arg(date.toString(QStringLiteral("dd/MM hh:mm:ss.zzz")), zel_level_name(level),
             module.leftJustified(10, QLatin1Char(' '), false), message)
        .toLatin1();
}

QString ZelTraceMgrFileMulti::numberedCopy(const QString& fileName, int index) {
    if (index == 0) {
        return fileName;
    }
    const QFileInfo info(fileName);
    const QString suffix = info.suffix();
    const QString dir = info.path();
    const QString base = suffix.isEmpty() ? info.fileName() : info.completeBaseName();
    QString name = base + QLatin1Char('.') + QString::number(index);
    if (!suffix.isEmpty()) {
        name += QLatin1Char('.') + suffix;
    }
    if (dir == QLatin1String(".") && !fileName.startsWith(QLatin1String("./"))) {
        return name;
    }
    return dir + QLatin1Char('/') + name;
}

void ZelTraceMgrFileMulti::openFile(QIODevice::OpenMode mode) {
    m_file.setFileName(m_fileName);
    const bool ok = m_file.open(mode);
    m_open.store(ok);
    m_size = ok ? m_file.size() : 0;
    if (!ok) {
        // Only the debug output is left to tell: this log is the one that failed.
        qWarning().noquote() << "ZelTraceMgrFileMulti: cannot open" << m_fileName << ":"
                             << m_file.errorString();
    }
}

void ZelTraceMgrFileMulti::rotate() {
    for (int i = m_nbFiles - 1; i >= 1; --i) {
        const QString older = numberedCopy(m_fileName, i);
        const QString newer = numberedCopy(m_fileName, i - 1);
        QFile::remove(older);
        qDebug().noquote() << QStringLiteral("QFile(%1).copy(%2)").arg(newer, older);
        if (QFile::exists(newer) && !QFile::copy(newer, older)) {
            qDebug().noquote() << QStringLiteral("QFile(%1).copy(%2) failed").arg(newer, older);
        }
    }
}

void ZelTraceMgrFileMulti::writeLine(const QByteArray& line) {
    if (!m_file.isOpen()) {
        return;
    }
    const qint64 n = m_file.write(line);
    m_file.flush();
    if (n > 0) {
        m_size += n;
        m_lines.fetch_add(1, std::memory_order_relaxed);
    }
}

void ZelTraceMgrFileMulti::OnNewMessage(ZelTraceMgrMsgPtr msg) {
    if (!msg || m_finished) {
        return;
    }
    if (!m_levels.isEmpty() && !m_levels.contains(msg->level)) {
        return;
    }
    if (m_file.isOpen() && m_size > qint64(m_sizeKiB) * 1024) {
        m_file.close();
        rotate();
        openFile(QIODevice::ReadWrite | QIODevice::Truncate);
    }
    writeLine(formatLine(msg->date, msg->level, msg->module, msg->message));
}

void ZelTraceMgrFileMulti::finish() {
    if (m_finished) {
        return;
    }
    m_finished = true;
    writeLine(formatLine(QDateTime::currentDateTime(), ZelLevelInformation,
                         QStringLiteral("ZelTraceMgrFileMulti"), QStringLiteral("End of Log")));
    m_file.close();
    m_open.store(false);
}
