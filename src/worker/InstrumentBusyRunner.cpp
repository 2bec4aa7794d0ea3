#include "InstrumentBusyRunner.h"

#include "app/UiDialogs.h"

#include <QEventLoop>
#include <QProgressDialog>

InstrumentBusyRunner::Result InstrumentBusyRunner::run(QWidget* parent, const QString& name,
                                                       const InstrumentOperation::Job& job,
                                                       InstrumentLock* lock) {
    Result result;
    InstrumentOperation operation(lock);
    QEventLoop loop;
    QObject::connect(&operation, &InstrumentOperation::finished, &loop,
                     [&](const QVariant& value, const QString& error) {
                         result.value = value;
                         result.error = error;
                         loop.quit();
                     });
    QString refusal;
    if (!operation.start(name, job, &refusal)) {
        UiDialogs::warning(parent != nullptr ? parent : UiDialogs::mainWindow(),
                           QString::fromLatin1(kBusyTitle), refusal);
        return result;
    }
    result.ran = true;

    QProgressDialog indicator(name, QString(), 0, 0, parent != nullptr ? parent : UiDialogs::mainWindow());
    indicator.setObjectName(QString::fromLatin1(kIndicatorName));
    indicator.setWindowTitle(name);
    indicator.setWindowModality(Qt::ApplicationModal);
    indicator.setMinimumDuration(0);
    indicator.setAutoClose(false);
    indicator.setAutoReset(false);
    indicator.show();
    // Until the queued result arrives, the window keeps handling paint, timers and log records;
    // the modal indicator keeps the user from starting anything else.
    loop.exec();
    indicator.close();
    return result;
}
