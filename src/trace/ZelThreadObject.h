#pragma once

#include <QThread>

// A thread that owns itself: on construction the object moves its affinity into the thread it
// represents, so that its slots (queued from other threads) run on that thread. Subclasses
// call start() at the end of their own construction. Destruction, from any other thread, stops
// the event loop and waits for the thread to end.
class ZelThreadObject : public QThread {
    Q_OBJECT
public:
    explicit ZelThreadObject(QObject* parent = nullptr);
    ~ZelThreadObject() override;

    // Stops the thread's event loop and waits for it. Safe to call more than once.
    void stopThread();

protected:
    void run() override;
};
