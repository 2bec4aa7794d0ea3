#pragma once

#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"

#include <QObject>
#include <QUuid>

#include <ostream>
#include <string>
#include <vector>

// Readable failure output for Qt strings (and their lists).
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace kelvotest {

// Collects the records of the application trace manager on the test's thread while it lives.
// Records are handed over asynchronously: saw() waits for one, Sync() posts a marker and waits
// for it, and since records are delivered in posting order every record posted before it has
// then been seen.
class LogCapture {
public:
    LogCapture() {
        // The receiver is the connection's context: records still queued for it when the capture
        // ends are dropped with it instead of reaching a destroyed capture.
        QObject::connect(GetTraceMgr()->GetDispatcher(), &ZelTraceMgrDispatcher::NewMessage, &m_receiver,
                         [this](ZelTraceMgrMsgPtr m) { m_all.push_back(m); });
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Waits until a record "module|level|text" was posted `times` times.
    bool saw(const std::string& record, int times = 1, int timeoutMs = 3000) const {
        const QString wanted = QString::fromStdString(record);
        return wait_until(
            [&] {
                int n = 0;
                for (const ZelTraceMgrMsgPtr& m : m_all) {
                    n += text(m) == wanted ? 1 : 0;
                }
                return n >= times;
            },
            timeoutMs);
    }

    // Records posted so far, without the markers; they are then forgotten.
    std::vector<ZelTraceMgrMsgPtr> Sync() {
        const QString marker = QStringLiteral("marker ") + QUuid::createUuid().toString();
        GetTraceMgr()->logf("LogCapture", ZelLevelDebug, "{}", marker);
        wait_until([&] { return !m_all.empty() && m_all.back()->message == marker; }, 10000);
        std::vector<ZelTraceMgrMsgPtr> got;
        for (const ZelTraceMgrMsgPtr& m : m_all) {
            if (m->module != QLatin1String("LogCapture")) {
                got.push_back(m);
            }
        }
        m_all.clear();
        return got;
    }

    // The records posted so far as "<module>|<level>|<text>"; they are then forgotten.
    QStringList Texts() {
        QStringList texts;
        for (const ZelTraceMgrMsgPtr& m : Sync()) {
            texts << text(m);
        }
        return texts;
    }

private:
    static QString text(const ZelTraceMgrMsgPtr& m) {
        return QStringLiteral("%1|%2|%3").arg(m->module).arg(m->level).arg(m->message);
    }

    std::vector<ZelTraceMgrMsgPtr> m_all;
    QObject m_receiver; // declared last: destroyed first
};

} // namespace kelvotest
