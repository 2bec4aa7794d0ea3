// The instrument lock, the off-thread operation runner and the restart of a thread body.
#include "worker/InstrumentLock.h"
#include "eth/LogCapture.h"
#include "support/TestSupport.h"
#include "worker/InstrumentOperation.h"
#include "worker/SThread.h"

#include <gtest/gtest.h>

#include <QThread>

#include <atomic>
#include <stdexcept>
#include <thread>

using kelvotest::LogCapture;
using kelvotest::wait_until;

TEST(InstrumentLock, SecondOperationIsRefusedWithTheHoldersName) {
    InstrumentLock lock;
    EXPECT_FALSE(lock.isBusy());
    EXPECT_EQ(lock.holder(), QString());
    {
        InstrumentLockGuard first = lock.tryAcquire(QStringLiteral("Retrieve file liste from sensor"));
        ASSERT_TRUE(first);
        InstrumentLockGuard second = lock.tryAcquire(QStringLiteral("Check Kelvo Time"));
        EXPECT_FALSE(second);
        EXPECT_EQ(InstrumentLock::busyText(lock.holder()),
                  QStringLiteral("the instrument is busy with Retrieve file liste from sensor"));
    }
    EXPECT_FALSE(lock.isBusy());
    EXPECT_TRUE(lock.tryAcquire(QStringLiteral("Check Kelvo Time")));
}

TEST(InstrumentLock, GuardMovesAndReleasesOnAnotherThread) {
    InstrumentLock lock;
    InstrumentLockGuard guard = lock.tryAcquire(QStringLiteral("Reboot"));
    ASSERT_TRUE(guard);
    InstrumentLockGuard moved = std::move(guard);
    EXPECT_FALSE(guard);
    EXPECT_TRUE(lock.isBusy());
    std::thread other([g = std::move(moved)]() mutable { g.release(); });
    other.join();
    EXPECT_FALSE(lock.isBusy());
}

TEST(InstrumentLock, WaitingAcquireGetsTheInstrumentWhenFreed) {
    InstrumentLock lock;
    InstrumentLockGuard held = lock.tryAcquire(QStringLiteral("Autocheck"));
    std::atomic<bool> got{false};
    std::thread background([&] {
        InstrumentLockGuard mine = lock.acquire(QStringLiteral("Retrieve file liste from sensor"));
        got = true;
    });
    QThread::msleep(50);
    EXPECT_FALSE(got.load());
    held.release();
    background.join();
    EXPECT_TRUE(got.load());
    EXPECT_FALSE(lock.isBusy());
}

TEST(InstrumentOperation, ResultComesBackQueuedOnTheCallersThread) {
    InstrumentLock lock;
    InstrumentOperation op(&lock);
    QThread* jobThread = nullptr;
    QThread* resultThread = nullptr;
    QVariant result;
    QString error = QStringLiteral("unset");
    QObject::connect(&op, &InstrumentOperation::finished, [&](const QVariant& r, const QString& e) {
        resultThread = QThread::currentThread();
        result = r;
        error = e;
    });
    std::atomic<bool> release{false};
    ASSERT_TRUE(op.start(QStringLiteral("Check Kelvo Time"), [&] {
        jobThread = QThread::currentThread();
        while (!release.load()) {
            QThread::msleep(2);
        }
        return QVariant(QStringLiteral("$RTCread:20240102,030405;"));
    }));
    EXPECT_TRUE(op.isRunning());
    EXPECT_EQ(lock.holder(), QStringLiteral("Check Kelvo Time"));
    QString refusal;
    InstrumentOperation other(&lock);
    EXPECT_FALSE(other.start(
        QStringLiteral("Reboot"), [] { return QVariant(); }, &refusal));
    EXPECT_EQ(refusal, QStringLiteral("the instrument is busy with Check Kelvo Time"));
    release = true;
    ASSERT_TRUE(wait_until([&] { return resultThread != nullptr; }));
    EXPECT_EQ(resultThread, QThread::currentThread());
    EXPECT_NE(jobThread, QThread::currentThread());
    EXPECT_EQ(result.toString(), QStringLiteral("$RTCread:20240102,030405;"));
    EXPECT_EQ(error, QString());
    EXPECT_FALSE(op.isRunning());
    EXPECT_FALSE(lock.isBusy());
}

TEST(InstrumentOperation, EscapingExceptionBecomesTheErrorTextAndFreesTheInstrument) {
    InstrumentLock lock;
    InstrumentOperation op(&lock);
    QString error;
    bool done = false;
    QObject::connect(&op, &InstrumentOperation::finished, [&](const QVariant& r, const QString& e) {
        EXPECT_FALSE(r.isValid());
        error = e;
        done = true;
    });
    ASSERT_TRUE(op.start(QStringLiteral("Autocheck"),
                         []() -> QVariant { throw std::runtime_error("Invalid answer : $ok; not found"); }));
    ASSERT_TRUE(wait_until([&] { return done; }));
    EXPECT_EQ(error,
              QStringLiteral("Exception C++ Non Traité dans un SThread : Invalid answer : $ok; not found"));
    EXPECT_FALSE(lock.isBusy());
}

namespace {

// A thread body that fails twice before it ends normally.
class FlakyThread : public SThread {
public:
    std::atomic<int> runs{0};
    QStringList errors;

protected:
    void work() override {
        const int n = ++runs;
        if (n == 1) {
            throw std::logic_error("first");
        }
        if (n == 2) {
            throw "not a standard exception";
        }
    }
    void error(const QString& text) override {
        errors << text;
        SThread::error(text);
    }
};

} // namespace

TEST(SThread, BodyStartsAgainAfterAnException) {
    LogCapture log;
    FlakyThread thread;
    thread.setObjectName(QStringLiteral("Flaky"));
    thread.start();
    ASSERT_TRUE(thread.wait(5000));
    EXPECT_EQ(thread.runs.load(), 3);
    EXPECT_EQ(thread.errors, (QStringList{"Exception C++ Non Traité dans un SThread : first",
                                          "Exception C++ Non Traité dans un SThread"}));
    EXPECT_TRUE(log.saw("SThread|0|SThread Flaky : Exception C++ Non Traité dans un SThread : first"));
}
