// The background worker: order, the pending registry, failures and status texts. (Stopping at the
// end of the current task is checked through the main window's flows.)
#include "worker/CThWorker.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"
#include "worker/TaskStatusLine.h"

#include <gtest/gtest.h>

#include <QStringList>
#include <QThread>

#include <atomic>
#include <mutex>
#include <stdexcept>

using kelvotest::LogCapture;
using kelvotest::wait_until;

namespace {

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

TEST(CThWorker, RunsTasksInPostingOrderAndKeepsThemPendingUntilTheyStart) {
    CThWorker worker;
    StatusLog statuses(worker);
    QStringList ran; // written on the worker thread only, read once it is idle
    worker.setWork("Data", [&](KelvoTaskInfo& task) {
        ran << task.target + QLatin1Char(':') + task.args.value("n").toString();
        return QStringLiteral("Particules %1 done!!").arg(task.target);
    });
    std::atomic<bool> entered{false}, open{false}; // holds the first task on the worker thread
    worker.setWork("Images", [&](KelvoTaskInfo&) {
        entered = true;
        while (!open) {
            QThread::msleep(1);
        }
        return QStringLiteral("Images done!!");
    });
    auto first = worker.enqueue("Images", kOwner, "s0");
    ASSERT_TRUE(wait_until([&] { return entered.load(); }));
    worker.enqueue("Data", kOwner, "s1", {{"n", 1}});
    auto b = worker.enqueue("Data", kOwner, "s2", {{"n", 2}});
    // An announced task publishes its running status as it is posted.
    auto c = worker.enqueue("Data", kOwner, "s3", {{"n", 3}}, true);
    EXPECT_EQ(worker.pendingCount(), 4);
    // The running task is no longer pending; the kind is part of the key; targets match whole.
    const struct {
        QString owner;
        const char *target, *kind;
        bool pending;
    } cases[] = {
        {kOwner, "s0", "", false},       {kOwner, "s1", "", true}, {kOwner, "s1", "Data", true},
        {kOwner, "s1", "Images", false}, {kOwner, "s", "", false}, {kOwner + "x", "s1", "", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(worker.isPending(c.owner, c.target, c.kind), c.pending)
            << c.owner.toStdString() << " " << c.target << " " << c.kind;
    }
    open = true;
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0 && !c->outcome.isEmpty(); }));

    EXPECT_EQ(ran, (QStringList{"s1:1", "s2:2", "s3:3"}));
    EXPECT_EQ(first->outcome, "Images done!!");
    EXPECT_EQ(b->outcome, "Particules s2 done!!");
    const QStringList expected{
        "1|Images s0",
        "4|Particules s3",
        "3|Images done!!",
        "3|Particules s1",
        "2|Particules s1 done!!",
        "2|Particules s2",
        "1|Particules s2 done!!",
        "1|Particules s3",
        "0|Particules s3 done!!",
    };
    EXPECT_EQ(statuses.lines(), expected);
    EXPECT_EQ(worker.status(), "Particules s3 done!!");
    EXPECT_FALSE(worker.isPending(kOwner, "s3"));
}

// The log line of an escaped exception is SThread's, checked with its restart.
TEST(CThWorker, ThrowingTaskIsReportedInFrenchAndTheWorkerGoesOn) {
    CThWorker worker;
    worker.setWork("ExportODV", [](KelvoTaskInfo& task) -> QString {
        if (task.target == QLatin1String("bad")) {
            throw std::runtime_error("disk full");
        }
        if (task.target == QLatin1String("odd")) {
            throw 42;
        }
        return QStringLiteral("Export ODV %1 done!!").arg(task.target);
    });
    auto bad = worker.enqueue("ExportODV", kOwner, "bad");
    auto odd = worker.enqueue("ExportODV", kOwner, "odd");
    auto good = worker.enqueue("ExportODV", kOwner, "good");
    ASSERT_TRUE(wait_until([&] { return worker.pendingCount() == 0; }));
    EXPECT_EQ(bad->outcome, "Warn: Exception C++ Non Traité dans un SThread : disk full");
    EXPECT_EQ(odd->outcome, "Warn: Exception C++ Non Traité dans un SThread");
    EXPECT_EQ(good->outcome, "Export ODV good done!!");
    EXPECT_TRUE(worker.isRunning());
}

TEST(CThWorker, KindsWithoutWorkAreReportedNotRun) {
    LogCapture log;
    CThWorker worker; // no instrument: even the file list has no work
    // The running names of "Data", "Images" and "ExportODV" are checked with the status lines.
    const std::pair<const char*, const char*> cases[] = {
        {"ExportPlots", "Warn: Export Plots st01 : not available yet"},
        {"ZipVignettes", "Warn: Zip Vignettes st01 : not available yet"},
        {"treeupdatesdlist", "Warn: Retrieve file liste from sensor : not available yet"},
        {"retrievefromsensor", "Warn: Retrieve sequence st01 from sensor : not available yet"},
        {"data", "Warn: Undefined : data"},
    };
    for (const auto& [kind, outcome] : cases) {
        auto task = worker.enqueue(kind, kOwner, "st01");
        ASSERT_TRUE(wait_until([&] { return !task->outcome.isEmpty(); })) << kind;
        EXPECT_EQ(task->outcome, outcome) << kind;
    }
    EXPECT_TRUE(log.saw("CThWorker|1|Retrieve file liste from sensor : not available yet"));
    EXPECT_TRUE(log.saw("CThWorker|1|CThWorker::OnQueueTask data "));
}

TEST(TaskStatusLine, TextAndColours) {
    const char* green = "background-color:#1b5e20;color:#ffffff;";
    const char* blue = "background-color:#5d79b6;color:#ffffff;";
    const struct {
        int pending;
        const char* status;
        const char* text;
        const char* style;
    } cases[] = {
        // The plain done, warning and pending lines are checked on the main window's status line.
        {0, "warn: lower case", "warn: lower case", blue},
        {0, "done!! not at the end", "done!! not at the end", blue},
        {0, "Done!!", "Done!!", blue},
        {1, "Images s1 done!!", "Pending:1 / Images s1 done!!", green},
        {3, "Warn: x", "Pending:3 / Warn: x", blue},
    };
    for (const auto& c : cases) {
        const QString text = TaskStatusLine::text(c.pending, c.status);
        EXPECT_EQ(text, c.text) << c.status;
        EXPECT_EQ(TaskStatusLine::style(text), c.style) << c.status;
    }
}
