#pragma once

#include "ZelThreadObject.h"
#include "ZelTraceMgrMsg.h"

// Receives every record posted to one trace manager on its own thread and re-emits it, queued,
// to the subscribers (file writers on their threads, views on the GUI thread). Posting is
// therefore a queued hand-over that never waits on a subscriber.
class ZelTraceMgrDispatcher : public ZelThreadObject {
    Q_OBJECT
public:
    ZelTraceMgrDispatcher();

Q_SIGNALS:
    // Posting side: emitted by the poster's thread.
    void EnQueueNewMessage(ZelTraceMgrMsgPtr msg);
    // Subscriber side: emitted on the dispatcher's thread for every record.
    void NewMessage(ZelTraceMgrMsgPtr msg);

private Q_SLOTS:
    void OnQueueNewMessage(ZelTraceMgrMsgPtr msg);
};
