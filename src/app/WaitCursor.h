#pragma once

#include <QApplication>

// The wait cursor for as long as the object lives: a flow or a dialog's work that keeps the
// user waiting on the window's thread.
class WaitCursor {
public:
    WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitCursor() { QApplication::restoreOverrideCursor(); }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};
