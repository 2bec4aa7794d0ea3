#include "QTolvarApplication.h"

#include "UiDialogs.h"
#include "trace/FmtQt.h"

#include <fmt/format.h>

QTolvarApplication::QTolvarApplication(int& argc, char** argv)
    : QApplication(argc, argv) {}

bool QTolvarApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        return reportEscapedException(receiver, std::current_exception());
    }
}

bool QTolvarApplication::reportEscapedException(QObject* receiver, std::exception_ptr error) {
    const QString name = receiver ? receiver->objectName() : QString();
    const QString caption = QString::fromStdString(fmt::format("{} - Unhandled Exception ", name));
    QString text = QStringLiteral("Unhandled C++ Exception");
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const std::exception& e) {
        text = QString::fromStdString(fmt::format("Unhandled C++ Exception : {}", e.what()));
    } catch (...) {
    }
    UiDialogs::critical(UiDialogs::mainWindow(), caption, text);
    return true;
}
