#include "ZelTraceMgrDispatcher.h"

ZelTraceMgrDispatcher::ZelTraceMgrDispatcher() {
    zel_register_trace_types();
    setObjectName(QStringLiteral("ZelTraceMgrDispatcher"));
    // Connected before the thread starts (and queued) so that records posted before the event
    // loop runs wait in its queue instead of being lost.
    connect(this, &ZelTraceMgrDispatcher::EnQueueNewMessage, this, &ZelTraceMgrDispatcher::OnQueueNewMessage,
            Qt::QueuedConnection);
    start(QThread::InheritPriority);
}

void ZelTraceMgrDispatcher::OnQueueNewMessage(ZelTraceMgrMsgPtr msg) {
    Q_EMIT NewMessage(msg);
}
