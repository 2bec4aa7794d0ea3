#pragma once

#include <QString>

#include <functional>
#include <string>

// Outcome of programming the instrument, and the steps every programming run shares: the
// switch to supervisor mode, a set command with its answer, the judgement of the read-back.
struct ProgramResult {
    static constexpr int kAnswerTries = 10;

    bool ok = false;
    // True once a set command went out: from then on the instrument may hold a partial
    // configuration, and only then does the error text say so.
    bool instrumentChanged = false;
    QString error;               // the failure, empty on success
    QString readBackDifferences; // what the instrument holds differently from what was sent

    // The text of the "Programmation error" box.
    QString errorBoxText() const;

    // Runs `steps`; a step that throws becomes the result's error. A failed run is logged as
    // "Error during programmation : <error>" under "ParamMgt".
    static ProgramResult attempt(const std::function<void(ProgramResult&)>& steps);

    // Throws "Unable to enter supervisor mode": set commands are refused outside it (the switch
    // answers at once when the instrument is already there).
    static void enterSupervisorMode();

    // Sends `line` and waits for an answer holding `expected`; throws on anything else. The
    // instrument counts as changed from here on.
    void send(const std::string& line, const char* expected);

    // Ends the run on what the read-back found: success when `differences` is empty.
    void judgeReadBack(const QString& differences);
};
