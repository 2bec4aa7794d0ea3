#include "SerialTraceWindow.h"

#include "ZelTraceMgr.h"
#include "ZelTraceMgrTreeView.h"

#include <QGuiApplication>
#include <QScreen>

namespace {
SerialTraceWindow* g_window = nullptr;
}

SerialTraceWindow::SerialTraceWindow()
    : QDialog(nullptr)
    , m_view(nullptr) {
    setObjectName(QStringLiteral("SerialTraceWindow"));
    setWindowTitle(QStringLiteral("Serial port Monitor"));
    setModal(false);
    setAttribute(Qt::WA_DeleteOnClose, false);
    resize(720, 420);
    m_view = new ZelTraceMgrTreeView(GetSerialTraceMgr()->GetDispatcher(), this);
}

SerialTraceWindow::~SerialTraceWindow() {
    if (g_window == this) {
        g_window = nullptr;
    }
}

SerialTraceWindow* SerialTraceWindow::instance() {
    return g_window;
}

SerialTraceWindow* SerialTraceWindow::showMonitor(QWidget* anchor) {
    const bool first = g_window == nullptr;
    if (first) {
        g_window = new SerialTraceWindow;
    }
    if (!g_window->isVisible()) {
        // Beside the main window's right edge when there is room, else over its top-left corner.
        QPoint pos(40, 40);
        if (anchor) {
            const QRect frame = anchor->frameGeometry();
            pos = frame.topLeft() + QPoint(40, 40);
            const QScreen* screen = anchor->screen();
            if (screen && frame.right() + g_window->width() < screen->availableGeometry().right()) {
                pos = QPoint(frame.right() + 8, frame.top());
            }
        }
        g_window->move(pos);
    }
    g_window->show();
    g_window->raise();
    g_window->activateWindow();
    return g_window;
}

void SerialTraceWindow::closeMonitor() {
    if (g_window) {
        g_window->hide();
    }
}
