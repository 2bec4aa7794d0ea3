#include "programming/ProgramResult.h"

#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "programming/ParamMgt.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <stdexcept>

QString ProgramResult::errorBoxText() const {
    const QString tail = instrumentChanged ? QStringLiteral("device is in invalid state")
                                           : QStringLiteral("nothing was sent to the device");
    return QStringLiteral("Error during programmation : \n%1 \n \n").arg(error) + tail;
}

ProgramResult ProgramResult::attempt(const std::function<void(ProgramResult&)>& steps) {
    ProgramResult r;
    try {
        steps(r);
    } catch (const std::exception& e) {
        r.ok = false;
        r.error = QString::fromStdString(e.what());
    }
    if (!r.ok) {
        GetTraceMgr()->logf(ParamMgt::kModule, ZelLevelError, "Error during programmation : {}", r.error);
    }
    return r;
}

void ProgramResult::enterSupervisorMode() {
    InstrumentProtocol protocol;
    if (protocol.supervisorMode(true) == SupervisorFailed) {
        throw std::runtime_error("Unable to enter supervisor mode");
    }
}

void ProgramResult::send(const std::string& line, const char* expected) {
    instrumentChanged = true;
    if (!send_message("%s", line.c_str())) {
        throw std::runtime_error("Unable to send " + line);
    }
    expect_answer(expected, kAnswerTries);
}

void ProgramResult::judgeReadBack(const QString& differences) {
    readBackDifferences = differences;
    ok = differences.isEmpty();
    if (!ok) {
        error = QStringLiteral("The Kelvo6 does not hold what was programmed :\n") + differences;
    }
}
