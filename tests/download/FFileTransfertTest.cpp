// The download page on the simulator's demo card: listing, scheduling and downloading through
// the real worker, and the boxes the page shows.
#include "tools/FFileTransfert.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "project/DemoProject.h"
#include "project/Project.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "tools/DownloadTasks.h"
#include "tools/SdSequenceList.h"
#include "worker/CThWorker.h"
#include "worker/InstrumentLock.h"

#include <QCheckBox>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>

#include <gtest/gtest.h>

#include <memory>

namespace {

class FFileTransfertTest : public ::testing::Test {
protected:
    void SetUp() override {
        const QString card = kelvotest::make_temp_dir(QStringLiteral("card"));
        QDir(card).removeRecursively();
        ASSERT_TRUE(Kelvo6Simulator::makeDemoCard(card, 1));
        SimOptions options;
        options.cardDir = card;
        options.linkRateMbps = 0;
        sim = std::make_unique<Kelvo6Simulator>(options);
        ASSERT_TRUE(sim->start());
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        cam = std::make_unique<InterfaceCamera>();
        cam->setEthernetOverride(QStringLiteral("127.0.0.2"),
                                 DemoInstrument::freeUdpPort(QStringLiteral("127.0.0.2")));
        worker = std::make_unique<CThWorker>(cam.get(), &InstrumentLock::instance());
        DownloadTasks::install(*worker, *cam, &InstrumentLock::instance());
        page = std::make_unique<FFileTransfert>(&project, worker.get());
        SdSequenceList::instance().clear();
    }
    void TearDown() override {
        page.reset();
        worker.reset();
        close_comm();
        sim->stop();
        set_instrument_variant(QString());
    }
    void click(const char* name) { page->findChild<QPushButton*>(QLatin1String(name))->click(); }
    QString cell(int row, int column) { return page->grid()->item(row, column)->text(); }
    int rowOf(const QString& name) {
        for (int r = 0; r < page->grid()->rowCount(); ++r) {
            if (cell(r, 0) == name) {
                return r;
            }
        }
        return -1;
    }

    kelvotest::ScriptedDialogs dialogs;
    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<InterfaceCamera> cam;
    std::unique_ptr<CThWorker> worker;
    Project project;
    std::unique_ptr<FFileTransfert> page;
};

} // namespace

TEST_F(FFileTransfertTest, ListsTheCardThenDownloadsTheSelectedSequence) {
    EXPECT_EQ(page->findChild<QCheckBox*>(QStringLiteral("cbDoTreeUpdate"))->text(),
              QStringLiteral("Refresh Kelvo6 \ninternal file list"));
    EXPECT_EQ(page->findChild<QPushButton*>(QStringLiteral("btTrsf1Seq"))->text(),
              QStringLiteral("Download Selected   \nSequences"));

    // No project: the box, and nothing posted.
    dialogs.expect(QMessageBox::Ok);
    click("btGetFileList");
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("No project "));
    EXPECT_EQ(dialogs.seen[0].text, QStringLiteral("No project open"));
    EXPECT_EQ(worker->pendingCount(), 0);

    ASSERT_TRUE(project.Load(DemoProject::ensure(kelvotest::make_temp_dir(), QStringLiteral("K6LP-0001"))));
    click("btGetFileList");
    EXPECT_EQ(page->informationLabel()->text(), QStringLiteral("Retrieving File list\nPlease Wait"));
    ASSERT_TRUE(kelvotest::wait_until([&] { return page->grid()->rowCount() == 5; }, 20000));
    EXPECT_EQ(page->grid()->horizontalHeaderItem(0)->text(), QStringLiteral("Sequence (5)"));
    EXPECT_TRUE(page->informationLabel()->text().isEmpty());
    EXPECT_EQ(cell(rowOf(QStringLiteral("AUTOCHECK")), 3), QStringLiteral("N/A"));
    const int row = rowOf(QStringLiteral("20240301-062622"));
    ASSERT_GE(row, 0);
    EXPECT_EQ(cell(row, 3), QStringLiteral("Not in project"));
    // Rows are compact but hold their text.
    EXPECT_GE(page->grid()->rowHeight(row), page->grid()->fontMetrics().height());

    page->grid()->selectRow(row);
    click("btTrsf1Seq");
    const QString name = cell(row, 0);
    EXPECT_TRUE(cell(row, 3) == QLatin1String("transfer scheduled") ||
                cell(row, 3) == QLatin1String("transfer in progress"));
    ASSERT_TRUE(kelvotest::wait_until([&] { return cell(rowOf(name), 3) == QLatin1String("OK"); }, 60000));
    EXPECT_TRUE(kelvotest::wait_until(
        [&] { return page->progressBar()->value() == page->progressBar()->maximum(); }, 2000));
    EXPECT_TRUE(page->progressLabel()->text().contains(name));
    EXPECT_TRUE(dialogs.answers.empty());
}

TEST_F(FFileTransfertTest, AnUnreachableCardShowsTheNetworkErrorBox) {
    ASSERT_TRUE(project.Load(DemoProject::ensure(kelvotest::make_temp_dir(), QStringLiteral("K6LP-0001"))));
    cam->setEthernetOverride(QStringLiteral("127.0.0.1"), 40000); // refused as a host address
    dialogs.expect(QMessageBox::Ok);
    click("btGetFileList");
    ASSERT_TRUE(kelvotest::wait_until([&] { return !dialogs.seen.empty(); }, 20000));
    EXPECT_EQ(dialogs.seen[0].title, QStringLiteral("Network Error"));
    EXPECT_EQ(dialogs.seen[0].text,
              QStringLiteral("The application encountered a network issue during data retrieving.\n"
                             " - Check your Ethernet connection (cables)\n"
                             " - Check the firewall settings to provide permissions to Kelvoapp"));
    EXPECT_EQ(page->grid()->rowCount(), 0);
    EXPECT_EQ(page->grid()->horizontalHeaderItem(0)->text(), QStringLiteral("Sequence (0)"));
}
