#pragma once

#include <QMetaType>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>

// One named job for the background worker. `kind` picks the work, `target` names what it works
// on (a sample, a sequence, a file), `owner` is the project folder it belongs to; `args` carries
// whatever else the work needs. The work leaves its data in `result` and its last status text
// in `outcome` (ending "done!!", or starting "Warn:", or "Cancellation done!!" when skipped).
struct KelvoTaskInfo {
    QString kind;
    QString owner;
    QString target;
    QVariantMap args;
    QVariant result;
    QString outcome;
};

using KelvoTaskInfoPtr = std::shared_ptr<KelvoTaskInfo>;
Q_DECLARE_METATYPE(KelvoTaskInfoPtr)
