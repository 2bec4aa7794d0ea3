// The busy indicator around an instrument operation: the window keeps running while the job
// runs, and a busy instrument is refused with a box.
#include "worker/InstrumentBusyRunner.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>

#include <atomic>

TEST(InstrumentBusyRunner, IndicatorNamesTheOperationAndTheEventLoopKeepsRunning) {
    InstrumentLock lock;
    std::atomic<bool> release{false};
    int ticks = 0;
    QString indicatorText;
    bool indicatorModal = false;
    QTimer timer;
    timer.setInterval(10);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        ++ticks;
        if (auto* dlg = qobject_cast<QProgressDialog*>(QApplication::activeModalWidget())) {
            indicatorText = dlg->labelText();
            indicatorModal = dlg->objectName() == QLatin1String("InstrumentBusyIndicator");
        }
        if (ticks >= 5 && !indicatorText.isEmpty()) {
            release = true;
        }
    });
    timer.start();
    const auto result = InstrumentBusyRunner::run(
        nullptr, QStringLiteral("Check Kelvo Time"),
        [&] {
            while (!release.load()) {
                QThread::msleep(2);
            }
            return QVariant(QStringLiteral("answer"));
        },
        &lock);
    EXPECT_TRUE(result.ran);
    EXPECT_EQ(result.value.toString(), QStringLiteral("answer"));
    EXPECT_EQ(result.error, QString());
    EXPECT_GE(ticks, 5);
    EXPECT_EQ(indicatorText, QStringLiteral("Check Kelvo Time"));
    EXPECT_TRUE(indicatorModal);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_FALSE(lock.isBusy());
}

TEST(InstrumentBusyRunner, BusyInstrumentIsRefusedWithABox) {
    InstrumentLock lock;
    InstrumentLockGuard held = lock.tryAcquire(QStringLiteral("Retrieve sequence 20240101-1200 from sensor"));
    kelvotest::ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    bool ran = false;
    const auto result = InstrumentBusyRunner::run(
        nullptr, QStringLiteral("Reboot"),
        [&] {
            ran = true;
            return QVariant();
        },
        &lock);
    EXPECT_FALSE(result.ran);
    EXPECT_FALSE(ran);
    ASSERT_EQ(dialogs.seen.size(), 1);
    EXPECT_EQ(dialogs.seen[0].text,
              QStringLiteral("the instrument is busy with Retrieve sequence 20240101-1200 from sensor"));
    EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("Instrument busy"));
    EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Warning);
}
