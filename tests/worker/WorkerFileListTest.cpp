// The file-list tasks run against the simulator over its pseudo-terminal and loopback UDP.
#include "device/InterfaceCamera.h"
#include "eth/UdpTestSender.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"
#include "worker/CThWorker.h"
#include "worker/InstrumentLock.h"

#include <gtest/gtest.h>

#include <atomic>

TEST(CThWorkerFileList, ListingTasksFetchTheCardTreeUnderTheInstrumentLock) {
    SimOptions options;
    options.cardDir = kelvotest::make_temp_dir("card");
    options.linkRateMbps = 0;
    ASSERT_TRUE(kelvotest::write_file(options.cardDir + "/2023/06/20230612-101500/x_data.txt", "d"));
    Kelvo6Simulator sim(options);
    QString error;
    ASSERT_TRUE(sim.start(&error)) << error.toStdString();
    ASSERT_TRUE(init_comm(sim.devicePath(), 38400));
    set_instrument_variant(QString());
    InterfaceCamera camera;
    camera.setEthernetOverride("127.0.0.2", kelvotest::free_udp_port());
    ASSERT_TRUE(camera.connectAndIdentify());

    InstrumentLock lock;
    CThWorker worker(&camera, &lock);
    std::atomic<bool> lockHeldDuringList{false};
    set_comm_send_hook([&](const std::string& line) {
        if (line.starts_with("$PU:filedump")) {
            lockHeldDuringList = lock.holder() == QLatin1String("Retrieve file liste from sensor");
        }
    });
    // The card has no "tree.txt" until the instrument rebuilds it.
    auto updated = worker.enqueue("treeupdatesdlist", QString(), "tree.txt");
    auto plain = worker.enqueue("sdlist", QString(), "tree.txt");
    ASSERT_TRUE(kelvotest::wait_until([&] { return worker.pendingCount() == 0; }, 20000));
    set_comm_send_hook({});

    EXPECT_EQ(plain->outcome, "Retrieve file liste from sensor done!!");
    EXPECT_EQ(updated->outcome, "Retrieve file liste from sensor done!!");
    EXPECT_TRUE(lockHeldDuringList.load());
    EXPECT_FALSE(lock.isBusy());
    EXPECT_EQ(sim.receivedLines().count("$PU:treeupdate;"), 1);
    const QByteArray tree = kelvotest::read_file(options.cardDir + "/tree.txt");
    EXPECT_TRUE(tree.contains("x_data.txt"));
    EXPECT_EQ(updated->result.toString().toUtf8(), tree);
    EXPECT_EQ(plain->result.toString().toUtf8(), tree);
    close_comm();
}

TEST(CThWorkerFileList, UnreachableInstrumentEndsWithAWarning) {
    InterfaceCamera camera;
    close_comm();
    camera.setEthernetOverride("127.0.0.2", kelvotest::free_udp_port());
    CThWorker worker(&camera, nullptr);
    auto task = worker.enqueue("sdlist", QString(), "tree.txt");
    ASSERT_TRUE(kelvotest::wait_until([&] { return worker.pendingCount() == 0; }, 30000));
    EXPECT_EQ(task->outcome, "Warn: Retrieve file liste from sensor failed : tree.txt transfer failed");
}
