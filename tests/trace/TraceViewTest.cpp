#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "trace/SerialTraceWindow.h"
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrTreeView.h"

#include <gtest/gtest.h>

#include <QHeaderView>
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

TEST(TraceTreeView, ColumnsLayoutAndObjectName) {
    QWidget host;
    ZelTraceMgr mgr;
    ZelTraceMgrTreeView view(mgr.GetDispatcher(), &host);
    EXPECT_EQ(view.objectName(), "ZelTraceMgrTreeView");
    EXPECT_FALSE(view.rootIsDecorated());
    EXPECT_TRUE(view.alternatingRowColors());
    ASSERT_EQ(view.traceModel()->columnCount(), 4);
    const QStringList headers = {"", "Date", "Module", "Message"};
    for (int c = 0; c < 4; ++c) {
        EXPECT_EQ(view.traceModel()->headerData(c, Qt::Horizontal).toString(), headers[c]);
    }
    EXPECT_EQ(view.columnWidth(0), 30);
    EXPECT_EQ(view.columnWidth(1), 110);
    EXPECT_EQ(view.columnWidth(2), 100);
    EXPECT_TRUE(view.header()->stretchLastSection());
    ASSERT_NE(host.layout(), nullptr);
    EXPECT_EQ(host.layout()->indexOf(&view), 0);
    EXPECT_EQ(host.layout()->spacing(), 0);
    EXPECT_EQ(host.layout()->contentsMargins(), QMargins(0, 0, 0, 0));
}

TEST(TraceTreeView, NewestFirstWithTrimmedMessageAndLevelIcon) {
    QWidget host;
    ZelTraceMgr mgr;
    ZelTraceMgrTreeView view(mgr.GetDispatcher(), &host);
    mgr.log("first", ZelLevelWarning, "  padded text \r\n");
    mgr.log("second", 7, "odd");
    mgr.log("third", ZelLevelDebug, "$VERSION;\n");
    ASSERT_TRUE(kelvotest::wait_until([&] { return view.traceModel()->rowCount() == 3; }));
    EXPECT_EQ(cell(view, 0, 2), "third");
    EXPECT_EQ(cell(view, 0, 3), "$VERSION;");
    EXPECT_EQ(cell(view, 1, 2), "second");
    EXPECT_EQ(cell(view, 2, 2), "first");
    EXPECT_EQ(cell(view, 2, 3), "padded text");
    EXPECT_EQ(cell(view, 0, 0), "");
    EXPECT_TRUE(QRegularExpression("^\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d$")
                    .match(cell(view, 0, 1))
                    .hasMatch());

    // Icons come from the resources under their level names; level 7 shows the error icon.
    const QIcon warn = qvariant_cast<QIcon>(view.traceModel()->index(2, 0).data(Qt::DecorationRole));
    const QIcon odd = qvariant_cast<QIcon>(view.traceModel()->index(1, 0).data(Qt::DecorationRole));
    const QIcon debug = qvariant_cast<QIcon>(view.traceModel()->index(0, 0).data(Qt::DecorationRole));
    for (const char* name : {":ICON_ERROR", ":ICON_WARN", ":ICON_INFO", ":ICON_DEBUG"}) {
        EXPECT_FALSE(QIcon(name).pixmap(16, 16).isNull()) << name;
    }
    EXPECT_EQ(icon_image(warn), icon_image(QIcon(":ICON_WARN")));
    EXPECT_EQ(icon_image(odd), icon_image(QIcon(":ICON_ERROR")));
    EXPECT_EQ(icon_image(debug), icon_image(QIcon(":ICON_DEBUG")));
    EXPECT_NE(icon_image(QIcon(":ICON_ERROR")), icon_image(QIcon(":ICON_INFO")));
}

TEST(TraceTreeView, DoubleClickShowsTheMessageInADetailsBox) {
    QWidget host;
    host.resize(600, 300);
    ZelTraceMgr mgr;
    ZelTraceMgrTreeView view(mgr.GetDispatcher(), &host);
    host.show();
    mgr.log("older", ZelLevelInformation, "not this one");
    mgr.log("newer", ZelLevelError, " init_comm:Error while opening /dev/ttyUSB-1 : No such file ");
    ASSERT_TRUE(kelvotest::wait_until([&] { return view.traceModel()->rowCount() == 2; }));

    kelvotest::ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    // A double-click on the module cell of the top row still shows that row's message.
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
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
    GetSerialTraceMgr()->log("recv", ZelLevelDebug, "OK");
    ASSERT_TRUE(kelvotest::wait_until([&] { return w->view()->traceModel()->rowCount() >= 1; }));
    EXPECT_EQ(w->view()->traceModel()->index(0, 2).data().toString(), "recv");
    const int rows = w->view()->traceModel()->rowCount();

    SerialTraceWindow::closeMonitor();
    EXPECT_FALSE(w->isVisible());
    EXPECT_EQ(SerialTraceWindow::showMonitor(), w);
    EXPECT_TRUE(w->isVisible());
    // The application log does not reach it.
    GetTraceMgr()->log("MainWindow", ZelLevelInformation, "app only");
    QTest::qWait(100);
    EXPECT_EQ(w->view()->traceModel()->rowCount(), rows);
}
