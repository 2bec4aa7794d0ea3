// The instrument lock and the restart of a thread body.
#include "worker/InstrumentLock.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"
#include "worker/SThread.h"

#include <gtest/gtest.h>

#include <QThread>

#include <atomic>
#include <stdexcept>
#include <thread>

TEST(InstrumentLock, OneHolderAtATimeAndTheGuardFreesItFromAnotherThread) {
    InstrumentLock lock;
    InstrumentLockGuard first = lock.tryAcquire("Retrieve file liste from sensor");
    ASSERT_TRUE(first); // the refusal while held is checked through the main window's flows
    InstrumentLockGuard moved = std::move(first);
    EXPECT_FALSE(first);
    // The guard ends its life on the other thread, which frees the instrument.
    std::thread other([g = std::move(moved)] { EXPECT_TRUE(g); });
    other.join();
    EXPECT_FALSE(lock.isBusy());
    EXPECT_EQ(lock.holder(), QString());
    EXPECT_TRUE(lock.tryAcquire("Check Kelvo Time"));
}

TEST(InstrumentLock, WaitingAcquireGetsTheInstrumentWhenFreed) {
    InstrumentLock lock;
    InstrumentLockGuard held = lock.tryAcquire("Autocheck");
    std::atomic<bool> got{false};
    std::thread background([&] {
        InstrumentLockGuard mine = lock.acquire("Retrieve file liste from sensor");
        got = true;
    });
    QThread::msleep(50);
    EXPECT_FALSE(got.load());
    held.release();
    background.join();
    EXPECT_TRUE(got.load());
    EXPECT_FALSE(lock.isBusy());
}

namespace {

// A thread body that fails twice, once with a non-standard exception, before it ends normally.
class FlakyThread : public SThread {
public:
    std::atomic<int> runs{0};

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
};

} // namespace

TEST(SThread, BodyStartsAgainAfterAnException) {
    kelvotest::LogCapture log;
    FlakyThread thread;
    thread.setObjectName("Flaky");
    thread.start();
    ASSERT_TRUE(thread.wait(5000));
    EXPECT_EQ(thread.runs.load(), 3);
    EXPECT_TRUE(log.saw("SThread|0|SThread Flaky : Exception C++ Non Traité dans un SThread : first"));
    EXPECT_TRUE(log.saw("SThread|0|SThread Flaky : Exception C++ Non Traité dans un SThread"));
}
