#pragma once

#include "InstrumentOperation.h"

#include <QString>
#include <QVariant>

class QWidget;

// Runs an instrument operation from a window without freezing it: the job runs on its own
// thread behind the instrument lock while a modal busy indicator names the operation; the
// window keeps repainting and the log panel stays live; the result comes back through a queued
// signal. When the instrument is busy the user is told so and nothing runs.
class InstrumentBusyRunner {
public:
    struct Result {
        bool ran = false; // false: the instrument was busy (already told to the user)
        QVariant value;   // what the job returned
        QString error;    // text of an exception that escaped the job, empty otherwise
    };

    static constexpr const char* kBusyTitle = "Instrument busy";
    static constexpr const char* kIndicatorName = "InstrumentBusyIndicator";

    static Result run(QWidget* parent, const QString& name, const InstrumentOperation::Job& job,
                      InstrumentLock* lock = nullptr);
};
