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

TEST(TraceMgrPosting, RecordCarriesModuleLevelAndFormattedText) {
    ZelTraceMgr mgr;
    Collector c(mgr);
    mgr.log("MainWindow", ZelLevelInformation, "Open %s@%d %s", "/dev/ttyUSB0", 38400, "OK");
    mgr.logf("Open", ZelLevelDebug, "Open {}@{} {}", QStringLiteral("/dev/ttyS1"), 9600, "FAILED");
    ASSERT_TRUE(kelvotest::wait_until([&] { return c.got.size() == 2; }));
    EXPECT_EQ(c.got[0]->module, "MainWindow");
    EXPECT_EQ(c.got[0]->level, 2u);
    EXPECT_EQ(c.got[0]->message, "Open /dev/ttyUSB0@38400 OK");
    EXPECT_EQ(c.got[1]->message, "Open /dev/ttyS1@9600 FAILED");
    // Stamped in local time.
    EXPECT_LE(qAbs(c.got[0]->date.msecsTo(QDateTime::currentDateTime())), 5000);
    EXPECT_EQ(c.got[0]->date.offsetFromUtc(), QDateTime::currentDateTime().offsetFromUtc());
}

TEST(TraceMgrPosting, TextIsCutAt255BytesAndDecoded) {
    const struct {
        const char* name;
        std::string text;
        QString message;
    } cases[] = {
        {"300 bytes", std::string(300, 'x'), QString(255, 'x')},
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
    mgr.log("M", ZelLevelError, "%s", std::string(300, 'v').c_str());
    ASSERT_TRUE(kelvotest::wait_until([&] { return c.got.size() == std::size(cases) + 1; }));
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(c.got[i]->message, cases[i].message) << cases[i].name;
    }
    EXPECT_EQ(c.got.back()->message, QString(255, 'v')) << "printf-style";
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
