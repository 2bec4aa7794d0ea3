#include "link/InstrumentCommand.h"

#include <QRegularExpression>
#include <QString>

#include <array>
#include <cstring>

namespace {

using IC = InstrumentCommand;
using AC = AnswerCheck;
using WK = WaitKind;
namespace A = InstrumentAnswer;

constexpr CommandWait single(int tries) {
    return {WK::Single, tries, 0, 0, 0};
}
constexpr CommandWait polled(int reads, int sleepMs = 0) {
    return {WK::Polled, reads, sleepMs, 0, 0};
}
constexpr CommandWait untilAnswer() {
    return {WK::Polled, kUnboundedAnswerReads, 0, 0, 0};
}
constexpr CommandWait none() {
    return {};
}

const std::array<CommandInfo, 37> kTable{{
    {IC::Supervisor,
     "SU",
     "$SU;",
     AC::Exact,
     {A::kSupervisorLP, A::kSupervisorHF},
     {WK::ResendWhileSilent, 10}},
    {IC::User,
     "USER",
     "$USER;",
     AC::Exact,
     {A::kLeavingSupervisor, A::kAlreadyUser},
     {WK::ResendWhileSilent, 10}},
    {IC::PuPowerSet, "POWERPUset", "$POWERPUset:%d;", AC::Exact, {A::kOk}, polled(10)},
    // 20000 tries (about 33 minutes) is the HF processing unit's worst start; LP starts in 20 s.
    {IC::PuReady, "PUready", "$PUready;", AC::Exact, {A::kPuReady}, {WK::Single, 20000, 0, 0, 200}},
    {IC::PuAlive, "PU:alive", "$PU:alive;", AC::Exact, {A::kAliveAck}, polled(10, 200)},
    {IC::PuEthlink, "PU:ethlink", "$PU:ethlink,%d;", AC::Exact, {A::kEthlinkOk}, polled(50, 200)},
    {IC::PuEthlinkTo, "PU:ethlink", "$PU:ethlink,2,%s,%d;", AC::Contains, {"[PU]:$ethlink:"}, single(5000)},
    {IC::PuEthlinkToMac,
     "PU:ethlink",
     "$PU:ethlink,2,%s,%d,%s;",
     AC::Contains,
     {"[PU]:$ethlink:"},
     single(5000)},
    {IC::StopDouble, "stop;", "$stop;;", AC::None, {}, none()},
    {IC::Stop, "stop", "$stop;", AC::NonEmpty, {}, single(5)},
    {IC::Version, "VERSION", "$VERSION;", AC::Prefix, {"$VERSION"}, single(5)},
    {IC::PuHwinfo, "PU:hwinfo", "$PU:hwinfo;", AC::NonEmpty, {}, single(5)},
    {IC::SuReboot, "SUreboot", "$SUreboot;", AC::None, {}, none()},
    {IC::PuMakefs, "PU:makefs", "$PU:makefs;", AC::Contains, {"makefs:OK"}, single(500)},
    {IC::PowerMonitor,
     "POWERmonitor",
     "$POWERmonitor;",
     AC::VariantContains,
     {"PBU input voltage:", "B0 voltage:"},
     {WK::Single, 5, 0, 500, 0}},
    {IC::TemperatureRead, "TSread", "$TSread;", AC::Pattern, {"TSread:(\\d*\\.\\d*);"}, single(100)},
    {IC::ClockRead, "RTCread", "$RTCread;", AC::Pattern, {"^\\$RTCread:\\d{8},\\d{6}"}, single(100)},
    {IC::ClockSet, "RTCset", "$RTCset:%04d%02d%02d,%02d%02d%02d;", AC::Exact, {A::kOk}, single(100)},
    {IC::HwConfRead, "HWCONFread", "$HWCONFread;", AC::Prefix, {"$HWCONFread:"}, single(1)},
    {IC::AcqConfRead, "ACQCONFread", "$ACQCONFread:%d;", AC::NonEmpty, {}, single(1)},
    {IC::TimeProgRead, "TIMEPROGread", "$TIMEPROGread:%d;", AC::NonEmpty, {}, untilAnswer()},
    {IC::HwConfSet, "HWCONFset", "$HWCONFset:%s;", AC::Contains, {"$ok"}, single(10)},
    {IC::AcqConfSet, "ACQCONFset", "$ACQCONFset:%d,%s;", AC::Contains, {"$ok"}, single(10)},
    {IC::AcqConfErase, "ACQCONFerase", "$ACQCONFerase:%d;", AC::Contains, {"$ok"}, single(10)},
    {IC::TimeProgInit, "TIMEPROGinit", "$TIMEPROGinit;", AC::Exact, {A::kOk}, untilAnswer()},
    {IC::TimeProgAdd, "TIMEPROGadd", "$TIMEPROGadd:%s;", AC::Exact, {A::kOk}, untilAnswer()},
    {IC::Autocheck, "autocheck", "$autocheck;", AC::TrimmedExact, {"$autocheckpassed;"}, single(100000)},
    {IC::PuTreeUpdate, "PU:treeupdate", "$PU:treeupdate;", AC::Exact, {A::kTreeUpdateOk}, single(2000)},
    // File and frame data come back over UDP (Ethernet link); the serial line stays quiet.
    {IC::PuFileDump, "PU:filedump", "$PU:filedump,%s;", AC::None, {}, none()},
    {IC::PuFileDumpTo, "PU:filedump", "$PU:filedump,%s,%s,%d,%s;", AC::None, {}, none()},
    {IC::PuFrameDump, "PU:framedump", "$PU:framedump,%d,%d;", AC::Any, {}, single(200)},
    {IC::PuImageParams, "PU:imgparamset", "$PU:imgparamset,%d,%d,%.2f;", AC::None, {}, none()},
    {IC::PuDataRequest,
     "PU:datareq",
     "$PU:datareq;",
     AC::Contains,
     {A::kDataReqPrefix},
     {WK::PolledUntilMatch, 20, 0, 0, 0}},
    {IC::PuDataLine, "PU:datareq", "$PU:datareq;", AC::NonEmpty, {}, single(1)},
    {IC::PressureTime, "pt", "$pt:%.2f,%04d%02d%02d,%02d%02d%02d;", AC::None, {}, none()},
    {IC::Start, "start", "$start:%s;", AC::Any, {}, single(100)},
    {IC::Raw, "raw", "%s", AC::Any, {}, single(100)},
}};

std::string trimmed(const std::string& s) {
    const char* ws = " \t\r\n\v\f";
    const auto b = s.find_first_not_of(ws);
    if (b == std::string::npos) {
        return {};
    }
    const auto e = s.find_last_not_of(ws);
    return s.substr(b, e - b + 1);
}

} // namespace

const CommandInfo& command_info(InstrumentCommand command) {
    return kTable.at(static_cast<std::size_t>(command));
}

std::span<const CommandInfo> command_table() {
    return kTable;
}

bool answer_passes(const CommandInfo& info, const std::string& answer, const std::string& variant) {
    auto anyOf = [&](auto&& test) {
        for (const char* e : info.expected) {
            if (e && test(std::string_view(e))) {
                return true;
            }
        }
        return false;
    };
    switch (info.check) {
    case AnswerCheck::None:
    case AnswerCheck::Any:
        return true;
    case AnswerCheck::NonEmpty:
        return !answer.empty();
    case AnswerCheck::Exact:
        return anyOf([&](std::string_view e) { return answer == e; });
    case AnswerCheck::Contains:
        return anyOf([&](std::string_view e) { return answer.find(e) != std::string::npos; });
    case AnswerCheck::Prefix:
        return anyOf([&](std::string_view e) { return answer.starts_with(e); });
    case AnswerCheck::Pattern: {
        const QRegularExpression re(QString::fromLatin1(info.expected[0]));
        return re.match(QString::fromLatin1(answer.data(), static_cast<int>(answer.size()))).hasMatch();
    }
    case AnswerCheck::TrimmedExact: {
        const std::string t = trimmed(answer);
        return anyOf([&](std::string_view e) { return t == e; });
    }
    case AnswerCheck::VariantContains: {
        const char* e = variant == "HF" ? info.expected[0] : info.expected[1];
        return answer.find(e) != std::string::npos;
    }
    }
    return false;
}
