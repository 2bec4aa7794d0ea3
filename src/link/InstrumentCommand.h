#pragma once

#include <span>
#include <string>

// Every command the application sends to the instrument, with the answer it expects and how
// long it waits for it. Callers name a command; the protocol layer (InstrumentProtocol) formats
// it, sends it, waits and judges the answer by this table.
enum class InstrumentCommand {
    Supervisor,      // "$SU;"
    User,            // "$USER;"
    PuPowerSet,      // "$POWERPUset:%d;"
    PuReady,         // "$PUready;"
    PuAlive,         // "$PU:alive;"
    PuEthlink,       // "$PU:ethlink,%d;"
    PuEthlinkTo,     // "$PU:ethlink,2,%s,%d;"
    PuEthlinkToMac,  // "$PU:ethlink,2,%s,%d,%s;"
    StopDouble,      // "$stop;;"
    Stop,            // "$stop;"
    Version,         // "$VERSION;"
    PuHwinfo,        // "$PU:hwinfo;"
    SuReboot,        // "$SUreboot;"
    PuMakefs,        // "$PU:makefs;"
    PowerMonitor,    // "$POWERmonitor;"
    TemperatureRead, // "$TSread;"
    ClockRead,       // "$RTCread;"
    ClockSet,        // "$RTCset:%04d%02d%02d,%02d%02d%02d;"
    HwConfRead,      // "$HWCONFread;"
    AcqConfRead,     // "$ACQCONFread:%d;"
    TimeProgRead,    // "$TIMEPROGread:%d;"
    HwConfSet,       // "$HWCONFset:%s;"
    AcqConfSet,      // "$ACQCONFset:%d,%s;"
    AcqConfErase,    // "$ACQCONFerase:%d;"
    TimeProgInit,    // "$TIMEPROGinit;"
    TimeProgAdd,     // "$TIMEPROGadd:%s;"
    Autocheck,       // "$autocheck;"
    PuTreeUpdate,    // "$PU:treeupdate;"
    PuFileDump,      // "$PU:filedump,%s;"
    PuFileDumpTo,    // "$PU:filedump,%s,%s,%d,%s;"
    PuFrameDump,     // "$PU:framedump,%d,%d;"
    PuImageParams,   // "$PU:imgparamset,%d,%d,%.2f;"
    PuDataRequest,   // "$PU:datareq;" (first request of a transfer)
    PuDataLine,      // "$PU:datareq;" (each following line)
    PressureTime,    // "$pt:%.2f,%04d%02d%02d,%02d%02d%02d;"
    Start,           // "$start:%s;"
    Raw,             // a line typed in the terminal, sent as it stands ("%s")
};

// How an answer is judged.
enum class AnswerCheck {
    None,           // nothing is awaited
    Any,            // whatever comes (or nothing) is accepted
    NonEmpty,       // something must come
    Exact,          // the whole answer equals one of `expected` (line feed included)
    Contains,       // one of `expected` occurs in the answer
    Prefix,         // the answer begins with one of `expected`
    Pattern,        // the regular expression `expected[0]` matches somewhere in the answer
    TrimmedExact,   // the answer without surrounding white space equals one of `expected`
    VariantContains // `expected[0]` on an HF instrument, `expected[1]` otherwise, occurs in it
};

// How long an answer is awaited.
enum class WaitKind {
    None,             // nothing is read
    Single,           // one get_message with `count` tries
    Polled,           // up to `count` one-try reads, stopping at the first that received something
    PolledUntilMatch, // up to `count` one-try reads, stopping at the first answer that passes
    ResendWhileSilent // up to `count` one-try reads, the command resent after each silent one
};

struct CommandWait {
    WaitKind kind = WaitKind::None;
    int count = 0; // tries (Single) or reads (the others)
    int sleepAfterEmptyMs = 0;
    int sleepBeforeMs = 0; // pause between sending and the first read
    int countOnLP = 0;     // when not 0, replaces `count` on an LP instrument
};

struct CommandInfo {
    InstrumentCommand id;
    const char* name;   // short name for logs
    const char* format; // printf format of the line, without the line feed
    AnswerCheck check;
    const char* expected[5];
    CommandWait wait;
};

// Supervisor-mode banners and the other answers the exchanges compare with.
namespace InstrumentAnswer {
inline constexpr const char* kSupervisorLP = "== Kelvo6-LP == Entering Supervisor Mode ==\n";
inline constexpr const char* kSupervisorHF = "== Kelvo6-HF == Entering Supervisor Mode ==\n";
inline constexpr const char* kLeavingSupervisor = "== Leaving Supervisor Mode ==\n";
inline constexpr const char* kAlreadyUser = "$starterr:30;\n";
inline constexpr const char* kOk = "$ok;\n";
inline constexpr const char* kPuReady = "$PUready:OK;\n";
inline constexpr const char* kAliveAck = "[PU]:$aliveack;\n";
inline constexpr const char* kEthlinkOk = "[PU]:$ethlink:OK;\n";
inline constexpr const char* kTreeUpdateOk = "[PU]:$treeupdate:OK;\n";
inline constexpr const char* kDataReqPrefix = "[PU]:$datareq:";
} // namespace InstrumentAnswer

// The longest wait given to an answer that the instrument's own rule awaits "until it comes":
// this many one-try reads (about 30 s of silence); silence then reads as an empty answer.
inline constexpr int kUnboundedAnswerReads = 300;

// The entry of one command.
const CommandInfo& command_info(InstrumentCommand command);

// The whole table, in the order of InstrumentCommand.
std::span<const CommandInfo> command_table();

// Judges an answer by the command's rule; `variant` is "LP" or "HF" (VariantContains only).
bool answer_passes(const CommandInfo& info, const std::string& answer, const std::string& variant);
