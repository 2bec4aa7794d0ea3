#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "trace/SerialTraceWindow.h"
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrTreeView.h"

#include <gtest/gtest.h>

#include <QIcon>
#include <QLayout>
#include <QRegularExpression>
#include <QStandardItemModel>
#include <QTest>

namespace {

QString cell(ZelTraceMgrTreeView& v, int row, int col) {
    return v.traceModel()->index(row, col).data().toString();
}

QImage icon_image(const QIcon& icon) {
    return icon.pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
}

} // namespace

TEST(TraceTreeView, NewestFirstWithTrimmedMessageAndLevelIconAndDetailsOnDoubleClick) {
    QWidget host;
    host.resize(600, 300);
    ZelTraceMgr mgr;
    ZelTraceMgrTreeView view(mgr.GetDispatcher(), &host);
    ASSERT_NE(host.layout(), nullptr);
    EXPECT_EQ(host.layout()->indexOf(&view), 0);
    QStringList headers;
    for (int c = 0; c < view.traceModel()->columnCount(); ++c) {
        headers << view.traceModel()->headerData(c, Qt::Horizontal).toString();
    }
    EXPECT_EQ(headers, QStringList({"", "Date", "Module", "Message"}));

    const struct {
        const char* module;
        quint32 level;
        const char* posted;
        const char* shown;
        const char* icon; // unknown levels show the error icon
    } records[] = {
        {"first", ZelLevelWarning, "$VERSION;\r\n", "$VERSION;", ":ICON_WARN"},
        {"ZelTraceMgrFileMulti", 7, "odd", "odd", ":ICON_ERROR"},
        {"third", ZelLevelDebug, "$VERSION;\n", "$VERSION;", ":ICON_DEBUG"},
        {"fourth", ZelLevelInformation, " init_comm:Error while opening /dev/ttyUSB-1 : No such file ",
         "init_comm:Error while opening /dev/ttyUSB-1 : No such file", ":ICON_INFO"},
    };
    for (const auto& r : records) {
        mgr.post(r.module, r.level, r.posted);
    }
    const int n = static_cast<int>(std::size(records));
    ASSERT_TRUE(kelvotest::wait_until([&] { return view.traceModel()->rowCount() == n; }));
    const QRegularExpression date("^\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d$");
    for (int i = 0; i < n; ++i) {
        const int row = n - 1 - i;
        EXPECT_EQ(cell(view, row, 0), "") << records[i].module;
        EXPECT_TRUE(date.match(cell(view, row, 1)).hasMatch()) << cell(view, row, 1).toStdString();
        EXPECT_EQ(cell(view, row, 2), records[i].module);
        EXPECT_EQ(cell(view, row, 3), records[i].shown) << records[i].module;
        const QIcon icon = qvariant_cast<QIcon>(view.traceModel()->index(row, 0).data(Qt::DecorationRole));
        EXPECT_EQ(icon_image(icon), icon_image(QIcon(records[i].icon))) << records[i].module;
    }
    EXPECT_NE(icon_image(QIcon(":ICON_ERROR")), icon_image(QIcon(":ICON_INFO")));

    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    // The whole date and the longest module name fit their columns.
    const QAbstractItemView& cells = view; // where the size hint is public
    EXPECT_LE(cells.sizeHintForColumn(1), view.columnWidth(1));
    EXPECT_LE(cells.sizeHintForColumn(2), view.columnWidth(2));

    // A double-click on the module cell of the top row shows that row's message.
    kelvotest::ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    const QRect r = view.visualRect(view.traceModel()->index(0, 2));
    ASSERT_FALSE(r.isEmpty());
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, r.center());
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, r.center());
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "ZelTraceMgr Details");
    EXPECT_EQ(dialogs.seen[0].text, "init_comm:Error while opening /dev/ttyUSB-1 : No such file");
    EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Information);
}

TEST(SerialMonitor, OneWindowOnTheSerialLogShownAgainOnReopen) {
    EXPECT_EQ(SerialTraceWindow::instance(), nullptr);
    SerialTraceWindow* w = SerialTraceWindow::showMonitor();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->windowTitle(), "Serial port Monitor");
    EXPECT_FALSE(w->isModal());
    EXPECT_TRUE(w->isVisible());
    SerialTraceWindow::closeMonitor();
    EXPECT_FALSE(w->isVisible());
    EXPECT_EQ(SerialTraceWindow::showMonitor(), w);
    EXPECT_TRUE(w->isVisible());

    // The serial log reaches it, the application log does not.
    GetTraceMgr()->log("MainWindow", ZelLevelInformation, "app only");
    GetSerialTraceMgr()->log("recv", ZelLevelDebug, "OK");
    QStandardItemModel* rows = w->view()->traceModel();
    ASSERT_TRUE(kelvotest::wait_until([&] { return rows->rowCount() >= 1; }));
    QTest::qWait(100);
    EXPECT_EQ(rows->rowCount(), 1);
    EXPECT_EQ(rows->index(0, 2).data().toString(), "recv");
}
