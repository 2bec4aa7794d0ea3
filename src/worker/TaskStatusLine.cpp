#include "TaskStatusLine.h"

namespace TaskStatusLine {

QString text(int pending, const QString& status) {
    if (pending > 0) {
        return QStringLiteral("Pending:%1 / %2").arg(pending).arg(status);
    }
    return status;
}

QString style(const QString& text) {
    if (text.left(4) == QLatin1String("Warn")) {
        return QString::fromLatin1(kWarnStyle);
    }
    if (text.right(6) == QLatin1String("done!!")) {
        return QString::fromLatin1(kDoneStyle);
    }
    return QString::fromLatin1(kBusyStyle);
}

} // namespace TaskStatusLine
