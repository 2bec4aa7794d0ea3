// The background worker: order, the pending registry, cancellation, failures and status texts.
#include "worker/CThWorker.h"
#include "eth/LogCapture.h"
#include "support/TestSupport.h"
#include "worker/TaskStatusLine.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

using kelvotest::LogCapture;
using kelvotest::wait_until;

namespace {

// A door the test opens to let a blocked task finish.
class Gate {
public:
    void open() {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_open = true;
        m_cv.notify_all();
    }
    void pass() {
        std::unique_lock<std::mutex> hold(m_mutex);
        m_entered = true;
        m_cv.notify_all();
        m_cv.wait(hold, [this] { return m_open; });
    }
    bool entered() {
        std::lock_guard<std::mutex> hold(m_mutex);
        return m_entered;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_open = false;
    bool m_entered = false;
};

// Everything the worker publishes, in order, as "<pending>|<status>".
class StatusLog {
public:
    explicit StatusLog(CThWorker& worker) {
        QObject::connect(
            &worker, &CThWorker::StatusChanged, &worker,
            [this](const QString& status, int pending) {
                std::lock_guard<std::mutex> hold(m_mutex);
                m_lines << QStringLiteral("%1|%2").arg(pending).arg(status);
            },
            Qt::DirectConnection);
    }
    QStringList lines() {
        std::lock_guard<std::mutex> hold(m_mutex);
        return m_lines;
    }

private:
    std::mutex m_mutex;
    QStringList m_lines;
};

const QString kOwner = QStringLiteral("/data/kelvo6_sn000120lp_2020_test");

} // namespace

TEST(CThWorker, RunsTasksOneAfterAnotherInPostingOrder) {
    CThWorker worker;
    StatusLog statuses(worker);
    std::mutex mutex;
    QStringList ran;
    worker.setWork(QStringLiteral("Data"), [&](KelvoTaskInfo& task) {
        std::lock_guard<std::mutex> hold(mutex);
        ran << task.target + QLatin1Char(':') + task.args.value(QStringLiteral("n")).toString();
        return QStringLiteral("Particules %1 done!!").arg(task.target);
    });
    Gate gate;
    worker.setWork(QStringLiteral("Images"), [&](KelvoTaskInfo&) {
        gate.pass();
        return QStringLiteral("Images done!!");
    });
    auto first = worker.enqueue(QStringLiteral("Images"), kOwner, QStringLiteral("s0"));
    ASSERT_TRUE(wait_until([&] { return gate.entered(); }));
    auto a = worker.enqueue(QStringLiteral("Data"), kOwner, QStringLiteral("s1"), {{"n", 1}});
    auto b = worker.enqueue(QStringLiteral("Data"), kOwner, QStringLiteral("s2"), {{"n", 2}});
    auto c = worker.enqueue(QStringLiteral("Data"), kOwner, QStringLiteral("s3"), {{"n", 3}});
    EXPECT_EQ(worker.pendingCount(), 4);
    gate.open();
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0 && !c->outcome.isEmpty(); }));

    EXPECT_EQ(ran, (QStringList{"s1:1", "s2:2", "s3:3"}));
    EXPECT_EQ(first->outcome, QStringLiteral("Images done!!"));
    EXPECT_EQ(b->outcome, QStringLiteral("Particules s2 done!!"));
    const QStringList expected{
        "1|Images s0",     "3|Images done!!",        "3|Particules s1", "2|Particules s1 done!!",
        "2|Particules s2", "1|Particules s2 done!!", "1|Particules s3", "0|Particules s3 done!!",
    };
    // The first status is published before the other tasks were posted.
    EXPECT_EQ(statuses.lines(), expected);
    EXPECT_EQ(worker.status(), QStringLiteral("Particules s3 done!!"));
}

TEST(CThWorker, TargetIsPendingFromPostingUntilItsTaskStarts) {
    CThWorker worker;
    Gate gate;
    worker.setWork(QStringLiteral("ZipVignettes"), [&](KelvoTaskInfo&) {
        gate.pass();
        return QStringLiteral("zip done!!");
    });
    bool pendingWhileRunning = true;
    worker.setWork(QStringLiteral("retrievefromsensor"), [&](KelvoTaskInfo& task) {
        pendingWhileRunning = worker.isPending(task.owner, task.target);
        return QStringLiteral("download done!!");
    });
    worker.enqueue(QStringLiteral("ZipVignettes"), kOwner, QStringLiteral("20240101_1200"));
    ASSERT_TRUE(wait_until([&] { return gate.entered(); }));
    // Running: no longer pending.
    EXPECT_FALSE(worker.isPending(kOwner, QStringLiteral("20240101_1200")));
    worker.enqueue(QStringLiteral("retrievefromsensor"), kOwner, QStringLiteral("20240102_0800"));

    struct Case {
        QString owner, target, kind;
        bool pending;
    };
    const Case cases[] = {
        {kOwner, "20240102_0800", "", true},
        {kOwner, "20240102_0800", "retrievefromsensor", true},
        {kOwner, "20240102_0800", "ZipVignettes", false}, // the kind is part of the key
        {kOwner, "20240102_08", "", false},               // no prefix match on the target
        {kOwner + "x", "20240102_0800", "", false},
        {"", "20240102_0800", "", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(worker.isPending(c.owner, c.target, c.kind), c.pending)
            << c.owner.toStdString() << " " << c.target.toStdString() << " " << c.kind.toStdString();
    }
    EXPECT_EQ(worker.pendingCount(), 2);
    gate.open();
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0; }));
    EXPECT_FALSE(pendingWhileRunning);
    EXPECT_FALSE(worker.isPending(kOwner, QStringLiteral("20240102_0800")));
}

TEST(CThWorker, CancellationLetsTheRunningTaskFinishAndSkipsTheRest) {
    LogCapture log;
    CThWorker worker;
    StatusLog statuses(worker);
    Gate gate;
    int dataRuns = 0;
    worker.setWork(QStringLiteral("Images"), [&](KelvoTaskInfo&) {
        gate.pass();
        return QStringLiteral("Images s0 done!!");
    });
    worker.setWork(QStringLiteral("Data"), [&](KelvoTaskInfo& task) {
        ++dataRuns;
        return QStringLiteral("Particules %1 done!!").arg(task.target);
    });
    auto running = worker.enqueue(QStringLiteral("Images"), kOwner, QStringLiteral("s0"));
    ASSERT_TRUE(wait_until([&] { return gate.entered(); }));
    auto skipped1 = worker.enqueue(QStringLiteral("Data"), kOwner, QStringLiteral("s1"));
    auto skipped2 = worker.enqueue(QStringLiteral("Data"), kOwner, QStringLiteral("s2"));
    worker.requestCancellation();
    EXPECT_TRUE(log.saw("MainWindow|1|Cancellation at the end of the current job requested"));
    gate.open();
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0; }));
    EXPECT_EQ(running->outcome, QStringLiteral("Images s0 done!!"));
    EXPECT_EQ(skipped1->outcome, QStringLiteral("Cancellation done!!"));
    EXPECT_EQ(skipped2->outcome, QStringLiteral("Cancellation done!!"));
    EXPECT_EQ(dataRuns, 0);
    const QStringList tail = statuses.lines().mid(1);
    EXPECT_EQ(tail, (QStringList{"2|Images s0 done!!", "1|Cancellation done!!", "0|Cancellation done!!"}));

    // Once nothing is left the request is spent: a new task runs.
    EXPECT_FALSE(worker.cancellationRequested());
    auto later = worker.enqueue(QStringLiteral("Data"), kOwner, QStringLiteral("s3"));
    ASSERT_TRUE(wait_until([&] { return !later->outcome.isEmpty(); }));
    EXPECT_EQ(later->outcome, QStringLiteral("Particules s3 done!!"));
    EXPECT_EQ(dataRuns, 1);
}

TEST(CThWorker, ThrowingTaskIsReportedInFrenchAndTheWorkerGoesOn) {
    LogCapture log;
    CThWorker worker;
    worker.setWork(QStringLiteral("ExportODV"), [](KelvoTaskInfo& task) -> QString {
        if (task.target == QLatin1String("bad")) {
            throw std::runtime_error("disk full");
        }
        if (task.target == QLatin1String("odd")) {
            throw 42;
        }
        return QStringLiteral("Export ODV %1 done!!").arg(task.target);
    });
    auto bad = worker.enqueue(QStringLiteral("ExportODV"), kOwner, QStringLiteral("bad"));
    auto odd = worker.enqueue(QStringLiteral("ExportODV"), kOwner, QStringLiteral("odd"));
    auto good = worker.enqueue(QStringLiteral("ExportODV"), kOwner, QStringLiteral("good"));
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0; }));
    EXPECT_EQ(bad->outcome, QStringLiteral("Warn: Exception C++ Non Traité dans un SThread : disk full"));
    EXPECT_EQ(odd->outcome, QStringLiteral("Warn: Exception C++ Non Traité dans un SThread"));
    EXPECT_EQ(good->outcome, QStringLiteral("Export ODV good done!!"));
    EXPECT_TRUE(
        log.saw("SThread|0|SThread CThWorker : Exception C++ Non Traité dans un SThread : disk full"));
    EXPECT_TRUE(log.saw("SThread|0|SThread CThWorker : Exception C++ Non Traité dans un SThread"));
    EXPECT_TRUE(worker.isRunning());
}

TEST(CThWorker, KindsWithoutWorkAreReportedNotRun) {
    LogCapture log;
    CThWorker worker; // no instrument: even the file list has no work
    struct Case {
        const char* kind;
        const char* target;
        const char* outcome;
        const char* logged;
    };
    const Case cases[] = {
        {"Data", "s1", "Warn: Particules s1 : not available yet",
         "CThWorker|1|Particules s1 : not available yet"},
        {"sdlist", "", "Warn: Retrieve file liste from sensor : not available yet",
         "CThWorker|1|Retrieve file liste from sensor : not available yet"},
        {"Frobnicate", "s1", "Warn: Undefined : Frobnicate",
         "CThWorker|1|CThWorker::OnQueueTask Frobnicate "},
    };
    for (const Case& c : cases) {
        auto task = worker.enqueue(QString::fromLatin1(c.kind), kOwner, QString::fromLatin1(c.target));
        ASSERT_TRUE(wait_until([&] { return !task->outcome.isEmpty(); })) << c.kind;
        EXPECT_EQ(task->outcome, QString::fromUtf8(c.outcome)) << c.kind;
        EXPECT_TRUE(log.saw(c.logged)) << c.kind;
    }
}

TEST(CThWorker, RunningStatusOfEveryKind) {
    const std::pair<const char*, const char*> cases[] = {
        {"Data", "Particules st01"},
        {"ExportPlots", "Export Plots st01"},
        {"ExportODV", "Export ODV st01"},
        {"Images", "Images st01"},
        {"ZipVignettes", "Zip Vignettes st01"},
        {"sdlist", "Retrieve file liste from sensor"},
        {"treeupdatesdlist", "Retrieve file liste from sensor"},
        {"retrievefromsensor", "Retrieve sequence st01 from sensor"},
        {"data", "Undefined : data"},
        {"", "Undefined : "},
    };
    for (const auto& [kind, status] : cases) {
        EXPECT_EQ(CThWorker::runningStatus(QString::fromLatin1(kind), QStringLiteral("st01")),
                  QString::fromLatin1(status))
            << kind;
    }
}

TEST(CThWorker, AnnouncedTaskPublishesItsStatusAtOnce) {
    CThWorker worker;
    StatusLog statuses(worker);
    Gate gate;
    worker.setWork(QStringLiteral("Images"), [&](KelvoTaskInfo&) {
        gate.pass();
        return QStringLiteral("Images done!!");
    });
    worker.enqueue(QStringLiteral("Images"), kOwner, QStringLiteral("a"));
    ASSERT_TRUE(wait_until([&] { return gate.entered(); }));
    worker.enqueue(QStringLiteral("ZipVignettes"), kOwner, QStringLiteral("b"), {}, true);
    EXPECT_EQ(statuses.lines().value(1), QStringLiteral("2|Zip Vignettes b"));
    gate.open();
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0; }));
}

TEST(TaskStatusLine, TextAndColours) {
    struct Case {
        int pending;
        const char* status;
        const char* text;
        const char* style;
    };
    const char* yellow = "background-color:yellow;color:black;";
    const char* green = "background-color:#1b5e20;color:#ffffff;";
    const char* blue = "background-color:#5d79b6;color:#ffffff;";
    const Case cases[] = {
        {0, "Particules s1 done!!", "Particules s1 done!!", green},
        {0, "Cancellation done!!", "Cancellation done!!", green},
        {0, "Warn: no card", "Warn: no card", yellow},
        {0, "Warning", "Warning", yellow},
        {0, "warn: lower case", "warn: lower case", blue},
        {0, "done!! not at the end", "done!! not at the end", blue},
        {0, "Done!!", "Done!!", blue},
        {0, "", "", blue},
        {2, "Particules s1", "Pending:2 / Particules s1", blue},
        {1, "Images s1 done!!", "Pending:1 / Images s1 done!!", green},
        {3, "Warn: x", "Pending:3 / Warn: x", blue},
    };
    for (const Case& c : cases) {
        const QString text = TaskStatusLine::text(c.pending, QString::fromLatin1(c.status));
        EXPECT_EQ(text, QString::fromLatin1(c.text)) << c.status;
        EXPECT_EQ(TaskStatusLine::style(text), QString::fromLatin1(c.style)) << c.status;
    }
}
