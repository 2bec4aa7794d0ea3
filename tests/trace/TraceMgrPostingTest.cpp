#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QObject>

#include <string>
#include <thread>
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

TEST(TraceMgrPosting, OnePostersOrderIsKeptAcrossThreads) {
    ZelTraceMgr mgr;
    Collector c(mgr);
    constexpr int kPerThread = 2000;
    auto poster = [&](const char* module) {
        for (int i = 0; i < kPerThread; ++i) {
            mgr.log(module, ZelLevelDebug, "%d", i);
        }
    };
    std::thread a(poster, "A");
    std::thread b(poster, "B");
    a.join();
    b.join();
    ASSERT_TRUE(kelvotest::wait_until([&] { return c.got.size() == 2 * kPerThread; }, 20000));
    int nextA = 0, nextB = 0;
    for (const auto& m : c.got) {
        int& next = m->module == "A" ? nextA : nextB;
        ASSERT_EQ(m->message.toInt(), next) << m->module.toStdString();
        ++next;
    }
    EXPECT_EQ(nextA, kPerThread);
    EXPECT_EQ(nextB, kPerThread);
}
