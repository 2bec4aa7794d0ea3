// Posting a record; each poster's order, across threads and up to the log's closing, is checked
// through the log file.
#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QObject>

#include <string>
#include <vector>

namespace {

// Collects the records a dispatcher re-emits, on the test's (GUI) thread.
struct Collector {
    std::vector<ZelTraceMgrMsgPtr> got;
    QMetaObject::Connection connection;
    explicit Collector(ZelTraceMgr& mgr) {
        connection = QObject::connect(mgr.GetDispatcher(), &ZelTraceMgrDispatcher::NewMessage, qApp,
                                      [this](ZelTraceMgrMsgPtr m) { got.push_back(m); });
    }
    ~Collector() { QObject::disconnect(connection); }
};

} // namespace

TEST(TraceMgrPosting, TextIsCutAt255BytesAndDecoded) {
    const struct {
        const char* name;
        std::string text;
        QString message;
    } cases[] = {
        {"256 bytes", std::string(255, 'y') + "z", QString(255, 'y')},
        {"255 bytes", std::string(255, 'w'), QString(255, 'w')},
        // A cut that would split a character drops the whole character.
        {"split UTF-8", std::string(254, 'a') + "\xC2\xB5", QString(254, 'a')},
        {"UTF-8", "Pixel size in \xC2\xB5m", QString::fromUtf8("Pixel size in \xC2\xB5m")},
        {"Latin-1", "caf\xE9", QString::fromUtf8("caf\xC3\xA9")},
    };
    ZelTraceMgr mgr;
    Collector c(mgr);
    for (const auto& t : cases) {
        mgr.post("M", ZelLevelError, t.text);
    }
    mgr.log("M", ZelLevelError, "%s@%d", std::string(250, 'v').c_str(), 38400);
    ASSERT_TRUE(kelvotest::wait_until([&] { return c.got.size() == std::size(cases) + 1; }));
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(c.got[i]->message, cases[i].message) << cases[i].name;
    }
    EXPECT_EQ(c.got.back()->message, QString(250, 'v') + "@3840") << "printf-style";
    // Stamped in local time. (Module, level and formatting with fmt reach the window's log files.)
    EXPECT_LE(qAbs(c.got[0]->date.msecsTo(QDateTime::currentDateTime())), 5000);
    EXPECT_EQ(c.got[0]->date.offsetFromUtc(), QDateTime::currentDateTime().offsetFromUtc());
}
