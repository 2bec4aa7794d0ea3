#pragma once

#include <QByteArray>
#include <QObject>

// Carries the terminal's output from whichever thread prints to the window's thread: its signals
// are emitted by the printing thread and delivered, queued and in order, to the view. Held by the
// print sink, so that a print in flight never reaches a destroyed window.
class TerminalOutputRelay : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    void print(const QByteArray& text) { emit printed(text); }
    void clear() { emit clearRequested(); }

signals:
    void printed(const QByteArray& text);
    void clearRequested();
};
