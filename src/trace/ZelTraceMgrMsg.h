#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QSharedPointer>
#include <QString>

// Levels of a log record. Any other value is "unknown" and is shown as an error.
enum ZelTraceLevel : quint32 {
    ZelLevelError = 0,
    ZelLevelWarning = 1,
    ZelLevelInformation = 2,
    ZelLevelDebug = 3,
};

// One log record. Immutable once posted: every subscriber receives the same shared record.
struct ZelTraceMgrMsg {
    QDateTime date; // local time at posting
    quint32 level = ZelLevelError;
    QString module;  // the poster's module name
    QString message; // at most 255 characters
};

using ZelTraceMgrMsgPtr = QSharedPointer<const ZelTraceMgrMsg>;

Q_DECLARE_METATYPE(ZelTraceMgrMsg)
Q_DECLARE_METATYPE(ZelTraceMgrMsgPtr)

// The level's name as written to log files: "Error", "Warning", "Information", "Debug", and
// "Unknow" (sic) for any other value.
QString zel_level_name(quint32 level);

// Resource name of the level's icon in the log views (":ICON_ERROR" for unknown levels).
QString zel_level_icon(quint32 level);

// Registers the record types so that they can cross threads through queued signals.
void zel_register_trace_types();
