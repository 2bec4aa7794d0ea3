// Posting log records from two threads while a file writer runs on the same trace manager:
// how many records the posters hand over per second (they never wait on the disk), and how
// many lines per second the writer puts in the file.
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrFileMulti.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>

#include <memory>

namespace {

constexpr int kPostersPerRun = 2;

// Records posted per second by two threads together, with a writer subscribed.
void BM_PostFromTwoThreadsWithFileWriter(benchmark::State& state) {
    const int perThread = static_cast<int>(state.range(0));
    QTemporaryDir dir;
    ZelTraceMgr mgr;
    auto writer =
        std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), dir.path() + "/Kelvoapp.log", 10, 10000);
    qint64 posted = 0;
    double postSeconds = 0;
    for (auto _ : state) {
        QElapsedTimer t;
        t.start();
        QThread* threads[kPostersPerRun];
        for (int k = 0; k < kPostersPerRun; ++k) {
            threads[k] = QThread::create([&mgr, perThread, k] {
                for (int i = 0; i < perThread; ++i) {
                    mgr.log(k ? "send" : "recv", ZelLevelDebug, "$HWCONF:%d,%d,38400,1,0,0;", k, i);
                }
            });
            threads[k]->start();
        }
        for (QThread* th : threads) {
            th->wait();
            delete th;
        }
        postSeconds += t.nsecsElapsed() / 1e9;
        posted += qint64(perThread) * kPostersPerRun;
    }
    // Let the writer finish outside the timed part, and count what it wrote.
    const qint64 start = QDateTime::currentMSecsSinceEpoch();
    QElapsedTimer drain;
    drain.start();
    while (writer->linesWritten() < quint64(posted) && QDateTime::currentMSecsSinceEpoch() - start < 60000) {
        QThread::msleep(1);
    }
    state.counters["posted_per_s"] = benchmark::Counter(posted / postSeconds);
    state.counters["written_lines"] = benchmark::Counter(double(writer->linesWritten()));
    state.counters["drain_ms_after_posting"] = benchmark::Counter(drain.elapsed());
}
BENCHMARK(BM_PostFromTwoThreadsWithFileWriter)
    ->Arg(100000)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Lines per second from first post to last line on disk: the writer keeping up with two posters.
void BM_WriterThroughput(benchmark::State& state) {
    const int perThread = static_cast<int>(state.range(0));
    QTemporaryDir dir;
    ZelTraceMgr mgr;
    auto writer =
        std::make_unique<ZelTraceMgrFileMulti>(mgr.GetDispatcher(), dir.path() + "/Kelvoapp.log", 10, 10000);
    quint64 expected = 0;
    for (auto _ : state) {
        QElapsedTimer t;
        t.start();
        QThread* a = QThread::create([&] {
            for (int i = 0; i < perThread; ++i) {
                mgr.log("MainWindow", ZelLevelInformation, "record %d of the first poster", i);
            }
        });
        QThread* b = QThread::create([&] {
            for (int i = 0; i < perThread; ++i) {
                mgr.log("Worker", ZelLevelDebug, "record %d of the second poster", i);
            }
        });
        a->start();
        b->start();
        a->wait();
        b->wait();
        delete a;
        delete b;
        expected += quint64(perThread) * 2;
        while (writer->linesWritten() < expected) {
            QThread::usleep(200);
        }
        state.SetIterationTime(t.nsecsElapsed() / 1e9);
    }
    state.SetItemsProcessed(qint64(expected));
    state.counters["lines_per_s"] = benchmark::Counter(double(expected), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_WriterThroughput)->Arg(100000)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
