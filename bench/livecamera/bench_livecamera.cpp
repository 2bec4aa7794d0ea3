// Live frames from the simulator at 1 Gbit/s: bare live-image calls one after another, against
// the live loop on its own thread with a consumer on the main thread that takes each newest
// frame and turns its preview into an image as the window does. Frames per second of both and
// their ratio are printed (displayed frames of the loop / frames of the bare calls).
//
// Usage: bench_livecamera [FRAMES] [REPETITIONS]   (default 60 and 3)
#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "tools/LiveCameraLoop.h"
#include "worker/InstrumentLock.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QTemporaryDir>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/kelvo-bench-home-XXXXXX"));
    setenv("HOME", home.path().toLocal8Bit().constData(), 1);
    setenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/.config")).toLocal8Bit().constData(), 1);
    QCoreApplication app(argc, argv);
    const int frames = argc > 1 ? std::max(2, std::atoi(argv[1])) : 60;
    const int reps = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;

    SimOptions options;
    options.linkRateMbps = 1000;
    Kelvo6Simulator sim(options);
    if (!sim.start() || !init_comm(sim.devicePath(), 38400)) {
        std::fprintf(stderr, "simulator did not start\n");
        return 1;
    }
    InterfaceCamera cam([](std::chrono::milliseconds) {});
    cam.setEthernetOverride(QStringLiteral("127.0.0.2"),
                            DemoInstrument::freeUdpPort(QStringLiteral("127.0.0.2")));
    set_instrument_variant(QStringLiteral("LP"));
    cam.puSetup();
    cv::Mat image;
    cam.liveImage(0, 0, 1000, true, image); // the destination, once

    double bestBare = 0;
    double bestLoop = 0;
    int failures = 0;
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < frames; ++i) {
            failures += cam.liveImage(0, 0, 1000, false, image) == QLatin1String("OK") ? 0 : 1;
        }
        bestBare = std::max(bestBare, frames / (t.nsecsElapsed() / 1e9));

        InstrumentLock lock;
        LiveCameraLoop loop(cam, &lock);
        loop.setPreviewSize(1000, 830);
        int displayed = 0;
        int fetched = 0;
        QEventLoop wait;
        QObject::connect(&loop, &LiveCameraLoop::frameAvailable, [&] {
            if (auto f = loop.takeFrame()) {
                fetched = f->displayed;
                if (!f->preview.empty()) {
                    const QImage shown = QImage(f->preview.data, f->preview.cols, f->preview.rows,
                                                static_cast<int>(f->preview.step), QImage::Format_Grayscale8)
                                             .convertToFormat(QImage::Format_RGB32);
                    displayed += shown.isNull() ? 0 : 1;
                }
                if (fetched >= frames) {
                    loop.stop();
                }
            }
        });
        QObject::connect(&loop, &LiveCameraLoop::stopped, &wait, &QEventLoop::quit);
        t.restart();
        loop.start();
        wait.exec();
        // The first frame of a run sets the destination again: counted like the others.
        bestLoop = std::max(bestLoop, displayed / (t.nsecsElapsed() / 1e9));
    }
    std::printf("%d frames of 2464 x 2056 at 1 Gbit/s: bare live-image calls %.2f frames/s, live loop %.2f "
                "displayed frames/s%s\n",
                frames, bestBare, bestLoop, failures ? "  (SOME FRAMES FAILED)" : "");
    std::printf("ratio loop / bare = %.3f (target >= 0.9)\n", bestLoop / bestBare);
    close_comm();
    sim.stop();
    return 0;
}
