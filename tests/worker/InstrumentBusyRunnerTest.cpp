// An instrument operation behind the busy indicator: the job runs on its own thread holding the
// instrument while the window's event loop keeps running. (The refusal of a busy instrument is
// checked through the main window's flows.)
#include "worker/InstrumentBusyRunner.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <stdexcept>

TEST(InstrumentBusyRunner, IndicatorNamesTheOperationAndTheEventLoopKeepsRunning) {
    InstrumentLock lock;
    std::atomic<bool> release{false};
    int ticks = 0;
    QString indicatorText, holder;
    bool indicatorModal = false;
    QTimer timer;
    timer.setInterval(10);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        ++ticks;
        if (auto* dlg = qobject_cast<QProgressDialog*>(QApplication::activeModalWidget())) {
            indicatorText = dlg->labelText();
            indicatorModal = dlg->objectName() == QLatin1String("InstrumentBusyIndicator");
            holder = lock.holder();
        }
        if (ticks >= 5 && !indicatorText.isEmpty()) {
            release = true;
        }
    });
    timer.start();
    QThread* jobThread = nullptr;
    const auto result = InstrumentBusyRunner::run(
        nullptr, "Check Kelvo Time",
        [&] {
            jobThread = QThread::currentThread();
            while (!release.load()) {
                QThread::msleep(2);
            }
            return QVariant("$RTCread:20240102,030405;");
        },
        &lock);
    EXPECT_TRUE(result.ran);
    EXPECT_EQ(result.value.toString(), "$RTCread:20240102,030405;");
    EXPECT_EQ(result.error, QString());
    EXPECT_NE(jobThread, QThread::currentThread());
    EXPECT_EQ(indicatorText, "Check Kelvo Time");
    EXPECT_TRUE(indicatorModal);
    EXPECT_EQ(holder, "Check Kelvo Time");
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_FALSE(lock.isBusy());
}

TEST(InstrumentBusyRunner, EscapingExceptionBecomesTheErrorTextAndFreesTheInstrument) {
    InstrumentLock lock;
    const auto result = InstrumentBusyRunner::run(
        nullptr, "Autocheck",
        []() -> QVariant { throw std::runtime_error("Invalid answer : $ok; not found"); }, &lock);
    EXPECT_TRUE(result.ran);
    EXPECT_FALSE(result.value.isValid());
    EXPECT_EQ(result.error, "Exception C++ Non Traité dans un SThread : Invalid answer : $ok; not found");
    EXPECT_FALSE(lock.isBusy());
}
