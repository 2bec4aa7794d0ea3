#pragma once

#include <QDialog>

class ZelTraceMgrTreeView;

// "Serial port Monitor": the serial trace manager's records in a non-modal window. One
// instance, created on first use; opening it again only brings it back into view.
class SerialTraceWindow : public QDialog {
    Q_OBJECT
public:
    // Creates the window on first call, then shows, raises and positions it beside `anchor`.
    static SerialTraceWindow* showMonitor(QWidget* anchor = nullptr);
    // The window if it was ever opened, else nullptr.
    static SerialTraceWindow* instance();
    // Hides the window if it exists (the main window does this when it closes).
    static void closeMonitor();

    ZelTraceMgrTreeView* view() const { return m_view; }

private:
    SerialTraceWindow();
    ~SerialTraceWindow() override;

    ZelTraceMgrTreeView* m_view;
};
