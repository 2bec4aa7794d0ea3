#pragma once

#include "ZelThreadObject.h"
#include "ZelTraceMgrMsg.h"

#include <QByteArray>
#include <QFile>
#include <QSet>
#include <QString>

#include <atomic>

class ZelTraceMgrDispatcher;

// A rotating log file subscribed to one trace manager. Lines are written and flushed one by one
// on the writer's own thread, so posters never wait on the disk. When the live file has grown
// beyond the size limit, the next line first shifts the numbered copies (name.1.log is the most
// recent, name.<N-1>.log the oldest) and then goes to a fresh, empty file.
class ZelTraceMgrFileMulti : public ZelThreadObject {
    Q_OBJECT
public:
    // `levels` empty keeps every record; otherwise only records whose level is in the set.
    // `nbFiles` is raised to 1 and `sizeKiB` to 2 when lower.
    ZelTraceMgrFileMulti(ZelTraceMgrDispatcher* dispatcher, const QString& fileName, int nbFiles, int sizeKiB,
                         const QSet<quint32>& levels = {});
    // Writes the remaining records and the "End of Log" line, then closes the file.
    ~ZelTraceMgrFileMulti() override;

    QString fileName() const { return m_fileName; }
    int fileCount() const { return m_nbFiles; }
    int sizeLimitKiB() const { return m_sizeKiB; }
    // False when the file could not be opened (its lines are then dropped, other logs go on).
    bool isOpen() const { return m_open.load(); }
    // Lines written so far (for monitoring and benchmarks).
    quint64 linesWritten() const { return m_lines.load(); }

    // One line of a log file, "dd/MM hh:mm:ss.zzz\t<level>\t<module padded to 10>\t<message>\r\n",
    // encoded as Latin-1.
    static QByteArray formatLine(const QDateTime& date, quint32 level, const QString& module,
                                 const QString& message);
    // The numbered copy `index` of `fileName` ("Kelvoapp.log", 2 -> "Kelvoapp.2.log"); copy 0
    // is the file itself.
    static QString numberedCopy(const QString& fileName, int index);

public Q_SLOTS:
    void OnNewMessage(ZelTraceMgrMsgPtr msg);

private:
    void openFile(QIODevice::OpenMode mode);
    void rotate();
    void writeLine(const QByteArray& line);
    void finish();

    QString m_fileName;
    int m_nbFiles;
    int m_sizeKiB;
    QSet<quint32> m_levels;
    ZelTraceMgrDispatcher* m_dispatcher;
    QMetaObject::Connection m_connection;
    QFile m_file;
    qint64 m_size = 0; // bytes in the live file, kept here to spare a stat per line
    std::atomic<bool> m_open{false};
    std::atomic<quint64> m_lines{0};
    bool m_finished = false;
};
