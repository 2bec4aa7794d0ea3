#include "ShellFixture.h"

#include "terminal/TerminalWorker.h"
#include "worker/InstrumentLock.h"

// The terminal's lines run as instrument operations: refused, with nothing sent, while another
// operation holds the instrument; run normally once it is free again.
TEST_F(ShellFixture, TerminalLineIsRefusedWhileAnotherOperationHoldsTheInstrument) {
    acceptSupervisor();
    TerminalWorker worker(*shell);
    std::vector<bool> finished;
    QObject::connect(&worker, &TerminalWorker::lineFinished, [&](bool ok) { finished.push_back(ok); });

    {
        InstrumentLockGuard busy =
            InstrumentLock::instance().tryAcquire(QStringLiteral("Retrieve file liste from sensor"));
        ASSERT_TRUE(busy);
        worker.runLine("su", false);
        ASSERT_EQ(finished.size(), 1u);
        EXPECT_FALSE(finished[0]);
        EXPECT_TRUE(script->lines.empty());
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out.back(),
                  "\n[VortOS]: the instrument is busy with Retrieve file liste from sensor, try again "
                  "when it is done !");
    }

    worker.runLine("su", false);
    ASSERT_EQ(finished.size(), 2u);
    EXPECT_TRUE(finished[1]);
    ASSERT_FALSE(script->lines.empty());
    EXPECT_EQ(script->lines.front(), "$SU;");
    // The terminal let go of the instrument after its line.
    EXPECT_FALSE(InstrumentLock::instance().isBusy());
}
