#include "ZelTraceMgrMsg.h"

#include <QCoreApplication>

QString zel_level_name(quint32 level) {
    switch (level) {
    case ZelLevelError:
        return QCoreApplication::translate("ZelTraceMgr", "Error");
    case ZelLevelWarning:
        return QCoreApplication::translate("ZelTraceMgr", "Warning");
    case ZelLevelInformation:
        return QCoreApplication::translate("ZelTraceMgr", "Information");
    case ZelLevelDebug:
        return QCoreApplication::translate("ZelTraceMgr", "Debug");
    default:
        return QCoreApplication::translate("ZelTraceMgr", "Unknow");
    }
}

QString zel_level_icon(quint32 level) {
    switch (level) {
    case ZelLevelWarning:
        return QStringLiteral(":ICON_WARN");
    case ZelLevelInformation:
        return QStringLiteral(":ICON_INFO");
    case ZelLevelDebug:
        return QStringLiteral(":ICON_DEBUG");
    default:
        return QStringLiteral(":ICON_ERROR");
    }
}

void zel_register_trace_types() {
    qRegisterMetaType<ZelTraceMgrMsg>("ZelTraceMgrMsg");
    qRegisterMetaType<ZelTraceMgrMsgPtr>("ZelTraceMgrMsgPtr");
}
