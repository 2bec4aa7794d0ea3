#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QObject>
#include <QThread>

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
    EXPECT_LE(qAbs(c.got[0]->date.msecsTo(QDateTime::currentDateTime())), 5000);
    // Stamped in local time: the wall-clock text matches the local clock's, not UTC's.
    EXPECT_EQ(c.got[0]->date.offsetFromUtc(), QDateTime::currentDateTime().offsetFromUtc());
    EXPECT_EQ(c.got[0]->date.toString("dd/MM hh"), QDateTime::currentDateTime().toString("dd/MM hh"));
}

TEST(TraceMgrPosting, MessagesAreCutAt255Characters) {
    ZelTraceMgr mgr;
    Collector c(mgr);
    const std::string longText(300, 'x');
    mgr.log("M", ZelLevelError, "%s", longText.c_str());
    mgr.post("M", ZelLevelError, std::string(255, 'y') + "z");
    mgr.post("M", ZelLevelError, std::string(255, 'w'));
    ASSERT_TRUE(kelvotest::wait_until([&] { return c.got.size() == 3; }));
    EXPECT_EQ(c.got[0]->message, QString(255, 'x'));
    EXPECT_EQ(c.got[1]->message, QString(255, 'y'));
    EXPECT_EQ(c.got[2]->message, QString(255, 'w'));
}

TEST(TraceMgrPosting, Utf8TextIsKeptAndLatin1IsAccepted) {
    ZelTraceMgr mgr;
    Collector c(mgr);
    mgr.post("Params", ZelLevelInformation, "Pixel size in \xC2\xB5m");
    mgr.post("Params", ZelLevelInformation, "caf\xE9");
    ASSERT_TRUE(kelvotest::wait_until([&] { return c.got.size() == 2; }));
    EXPECT_EQ(c.got[0]->message, QString::fromUtf8("Pixel size in µm"));
    EXPECT_EQ(c.got[1]->message, QString::fromUtf8("café"));
}

TEST(TraceMgrPosting, LevelNamesAndIcons) {
    EXPECT_EQ(zel_level_name(0), "Error");
    EXPECT_EQ(zel_level_name(1), "Warning");
    EXPECT_EQ(zel_level_name(2), "Information");
    EXPECT_EQ(zel_level_name(3), "Debug");
    EXPECT_EQ(zel_level_name(7), "Unknow");
    EXPECT_EQ(zel_level_icon(0), ":ICON_ERROR");
    EXPECT_EQ(zel_level_icon(1), ":ICON_WARN");
    EXPECT_EQ(zel_level_icon(2), ":ICON_INFO");
    EXPECT_EQ(zel_level_icon(3), ":ICON_DEBUG");
    EXPECT_EQ(zel_level_icon(7), ":ICON_ERROR");
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
    QThread* a = QThread::create([&] { poster("A"); });
    QThread* b = QThread::create([&] { poster("B"); });
    a->start();
    b->start();
    a->wait();
    b->wait();
    delete a;
    delete b;
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
