#pragma once

// Collects the records posted to the application trace log while it lives.

#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"

#include <QObject>

#include <mutex>
#include <string>
#include <vector>

namespace kelvotest {

class LogCapture {
public:
    LogCapture() {
        m_connection = QObject::connect(
            GetTraceMgr()->GetDispatcher(), &ZelTraceMgrDispatcher::NewMessage,
            GetTraceMgr()->GetDispatcher(),
            [this](ZelTraceMgrMsgPtr m) {
                std::lock_guard lock(m_mutex);
                m_lines.push_back(m->module.toStdString() + "|" + std::to_string(m->level) + "|" +
                                  m->message.toStdString());
            },
            Qt::DirectConnection);
    }
    ~LogCapture() { QObject::disconnect(m_connection); }

    // Waits until a record "module|level|text" was posted `times` times (records are handed over
    // asynchronously).
    bool saw(const std::string& record, int times = 1, int timeoutMs = 3000) const {
        return wait_until([&] { return count(record) >= times; }, timeoutMs);
    }

    int count(const std::string& record) const {
        std::lock_guard lock(m_mutex);
        int n = 0;
        for (const auto& l : m_lines) {
            n += l == record ? 1 : 0;
        }
        return n;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    QMetaObject::Connection m_connection;
};

} // namespace kelvotest
