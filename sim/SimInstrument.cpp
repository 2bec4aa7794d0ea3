#include "SimInstrument.h"
#include "SimHash.h"

#include "SimParamSchema.h"

#include <QDateTime>
#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kMaxLine = 1024;
constexpr qint64 kRealisticCommandMs = 30;
constexpr qint64 kRealisticPowerOffMs = 1000;
constexpr qint64 kRealisticAutocheckMs = 8000;
constexpr qint64 kRealisticMakefsMs = 3000;
constexpr qint64 kRealisticTreeupdateMs = 1500;
constexpr qint64 kRealisticRebootMs = 3000;

// Error code of a failed format when the card folder cannot be emptied (the system's EIO).
constexpr int kCardIoError = 5;
constexpr int kTerminalPacketSize = 1024;

const char kSyntaxError[] = "$error:SYNTAX;\n";
const char kUnknown[] = "$error:UNKNOWN;\n";

bool validName(const QString& name) {
    static const QRegularExpression re(QStringLiteral("^[A-Za-z][A-Za-z0-9_]{0,31}$"));
    return re.match(name).hasMatch();
}

// A slot number as the host typed it ("3", "03"): decimal digits only, 0 to 9.
int slotNumber(const QString& text) {
    static const QRegularExpression re(QStringLiteral("^[0-9]{1,3}$"));
    if (!re.match(text).hasMatch()) {
        return -1;
    }
    const int v = text.toInt();
    return v < Kelvo6Simulator::kSlotCount ? v : -1;
}

} // namespace

SimInstrument::SimInstrument(const SimOptions& options)
    : m_opt(options)
    , m_card(options.cardDir) {
    const bool hf = m_opt.variant == QLatin1String("HF");
    m_serial = m_opt.serial.isEmpty() ? (hf ? QStringLiteral("K6HF-0001") : QStringLiteral("K6LP-0001"))
                                      : m_opt.serial;
    m_firmware = m_opt.firmware.isEmpty() ? Kelvo6Simulator::defaultFirmware() : m_opt.firmware;
    m_puStartupMs = m_opt.puStartupMs >= 0 ? m_opt.puStartupMs : (m_opt.realistic ? 4000 : 0);
    m_sdFreeMb = m_opt.sdFreeMb;
    autocheck = m_opt.autocheck;

    // A fresh instrument carries its own serial numbers and a factory stamp.
    const auto& hw = SimParamSchema::hardware();
    hardware = SimParamSchema::defaults(hw);
    hardware[SimParamSchema::indexOf(hw, "Camera_ref")] = m_serial.left(15);
    hardware[SimParamSchema::indexOf(hw, "Light_ref")] = (QStringLiteral("LU-") + m_serial.right(4)).left(15);
    hardware[SimParamSchema::indexOf(hw, "Storage_capacity")] = QString::number(m_opt.sdTotalMb);
    hardware[SimParamSchema::indexOf(hw, "Last_parameters_modification")] = QStringLiteral("202106301200");
    acqSlots.assign(Kelvo6Simulator::kSlotCount, QStringList());
}

SimPuState SimInstrument::puState(qint64 nowMs) const {
    if (m_puPowered) {
        return (nowMs >= m_puSettledAt && !puStartFailure) ? SimPuState::Ready : SimPuState::Booting;
    }
    return nowMs >= m_puSettledAt ? SimPuState::Off : SimPuState::ShuttingDown;
}

qint64 SimInstrument::commandDelay() const {
    return m_opt.realistic ? kRealisticCommandMs : 0;
}

SimReply SimInstrument::answer(const QString& text, qint64 delayMs) const {
    SimReply r;
    r.text = text.toLatin1();
    r.delayMs = delayMs >= 0 ? delayMs : commandDelay();
    return r;
}

void SimInstrument::alterStored(const std::vector<SimField>& fields, QStringList* stored) const {
    if (storedValueField.isEmpty()) {
        return;
    }
    const int i = SimParamSchema::indexOf(fields, storedValueField.toLatin1().constData());
    if (i >= 0) {
        (*stored)[i] = storedValue;
    }
}

QString SimInstrument::clockText() const {
    const QDateTime t = QDateTime::currentDateTimeUtc().addMSecs(clockOffsetMs);
    return t.toString(QStringLiteral("yyyyMMdd,HHmmss"));
}

double SimInstrument::temperature(qint64 nowMs) const {
    // The housing warms up while the PU runs.
    return puState(nowMs) == SimPuState::Ready ? 24.35 : 18.40;
}

QString SimInstrument::powerText(qint64 nowMs) const {
    const bool hf = m_opt.variant == QLatin1String("HF");
    const double volts = m_opt.inputVoltage >= 0 ? m_opt.inputVoltage : (hf ? 24.05 : 12.10);
    const SimPuState pu = puState(nowMs);
    const double puAmps = pu == SimPuState::Ready ? 0.350 : (pu == SimPuState::Off ? 0.0 : 0.410);
    QString text;
    if (hf) {
        text += QString::asprintf("PBU input voltage: %.2f V\n", volts);
        text += QStringLiteral("PBU output voltage: 12.00 V\n");
    } else {
        text += QString::asprintf("B0 voltage: %.2f V\n", volts);
        text += QStringLiteral("B1 voltage: 0.00 V\n");
    }
    text += QStringLiteral("SU current: 0.042 A\n");
    text += QString::asprintf("PU current: %.3f A\n", puAmps);
    text += QStringLiteral("$POWERmonitor:OK;\n");
    return text;
}

QString SimInstrument::hwinfoText(qint64 nowMs) const {
    const bool hf = m_opt.variant == QLatin1String("HF");
    QStringList f;
    f << QStringLiteral("PU-") + m_serial << QStringLiteral("PU V2.1.7") << QStringLiteral("IMX304")
      << QStringLiteral("2464") << QStringLiteral("2056");
    if (hf) {
        f << QStringLiteral("HF-FLASH 2");
    }
    f << QString::number(m_sdFreeMb) << QString::number(m_opt.sdTotalMb)
      << QString::asprintf("%.1f", temperature(nowMs) + 6.0);
    return QStringLiteral("[PU]:$hwinfo:") + f.join(QLatin1Char(',')) + QStringLiteral(";\n");
}

SimReply SimInstrument::handle(const QByteArray& rawLine, qint64 nowMs) {
    QByteArray line = rawLine;
    while (line.endsWith('\r')) {
        line.chop(1);
    }
    if (line.size() > kMaxLine || line.size() < 2 || !line.startsWith('$') || !line.endsWith(';')) {
        m_datareqPos = -1;
        return answer(QLatin1String(kSyntaxError));
    }
    for (const char c : line) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u > 0x7e) {
            m_datareqPos = -1;
            return answer(QLatin1String(kSyntaxError));
        }
    }
    // "$stop;;" is the same command as "$stop;": extra closing semicolons are tolerated.
    QString body = QString::fromLatin1(line.mid(1));
    while (body.endsWith(QLatin1Char(';'))) {
        body.chop(1);
    }
    QString name;
    QString rest;
    bool hasArgs = false;
    if (body.startsWith(QLatin1String("PU:"))) {
        const int comma = body.indexOf(QLatin1Char(','));
        name = comma < 0 ? body : body.left(comma);
        hasArgs = comma >= 0;
        rest = hasArgs ? body.mid(comma + 1) : QString();
        if (!validName(name.mid(3))) {
            m_datareqPos = -1;
            return answer(QLatin1String(kSyntaxError));
        }
    } else {
        const int colon = body.indexOf(QLatin1Char(':'));
        name = colon < 0 ? body : body.left(colon);
        hasArgs = colon >= 0;
        rest = hasArgs ? body.mid(colon + 1) : QString();
        if (!validName(name)) {
            m_datareqPos = -1;
            return answer(QLatin1String(kSyntaxError));
        }
    }
    const QStringList args = hasArgs ? rest.split(QLatin1Char(',')) : QStringList();
    if (name != QLatin1String("PU:datareq")) {
        m_datareqPos = -1;
    }
    return dispatch(name, args, hasArgs, nowMs);
}

SimReply SimInstrument::dispatch(const QString& name, const QStringList& args, bool hasArgs, qint64 nowMs) {
    const bool su = mode == SimMode::Supervisor;
    const auto error = [&]() { return answer(QLatin1Char('$') + name + QStringLiteral(":ERROR;\n")); };
    const auto denied = [&]() { return answer(QLatin1Char('$') + name + QStringLiteral(":DENIED;\n")); };
    const auto ok = [&]() { return answer(QStringLiteral("$ok;\n")); };

    if (name.startsWith(QLatin1String("PU:"))) {
        return puCommand(name, args, nowMs);
    }
    if (name == QLatin1String("SU")) {
        if (hasArgs) {
            return error();
        }
        if (busy || !running.isEmpty()) {
            return answer(QStringLiteral("$SU:BUSY;\n"));
        }
        mode = SimMode::Supervisor;
        return answer(QStringLiteral("== Kelvo6-%1 == Entering Supervisor Mode ==\n").arg(m_opt.variant));
    }
    if (name == QLatin1String("USER")) {
        if (hasArgs) {
            return error();
        }
        if (!su) {
            return answer(QStringLiteral("$starterr:30;\n"));
        }
        mode = SimMode::User;
        return answer(QStringLiteral("== Leaving Supervisor Mode ==\n"));
    }
    if (name == QLatin1String("stop")) {
        stopAcquisition();
        return ok();
    }
    if (name == QLatin1String("VERSION")) {
        return hasArgs ? error() : answer(QStringLiteral("$VERSION:") + m_firmware + QStringLiteral(";\n"));
    }
    if (name == QLatin1String("POWERmonitor")) {
        return hasArgs ? error() : answer(powerText(nowMs));
    }
    if (name == QLatin1String("TSread")) {
        return hasArgs ? error() : answer(QString::asprintf("$TSread:%.2f;\n", temperature(nowMs)));
    }
    if (name == QLatin1String("RTCread")) {
        return hasArgs ? error() : answer(QStringLiteral("$RTCread:") + clockText() + QStringLiteral(";\n"));
    }
    if (name == QLatin1String("RTCset")) {
        if (!su) {
            return denied();
        }
        static const QRegularExpression dateRe(QStringLiteral("^[0-9]{8}$"));
        static const QRegularExpression timeRe(QStringLiteral("^[0-9]{6}$"));
        if (args.size() != 2 || !dateRe.match(args[0]).hasMatch() || !timeRe.match(args[1]).hasMatch()) {
            return error();
        }
        QDateTime t = QDateTime::fromString(args[0] + args[1], QStringLiteral("yyyyMMddHHmmss"));
        if (!t.isValid()) {
            return error();
        }
        t.setTimeSpec(Qt::UTC);
        clockOffsetMs = QDateTime::currentDateTimeUtc().msecsTo(t);
        dirty = true;
        return ok();
    }
    if (name == QLatin1String("HWCONFread")) {
        return hasArgs ? error()
                       : answer(QStringLiteral("$HWCONFread:") + hardware.join(QLatin1Char(',')) +
                                QStringLiteral(";\n"));
    }
    if (name == QLatin1String("HWCONFset")) {
        if (!su) {
            return denied();
        }
        const auto& fields = SimParamSchema::hardware();
        if (!SimParamSchema::applySet(fields, args, &hardware)) {
            return error();
        }
        alterStored(fields, &hardware);
        // The instrument keeps these two itself: the card size and the time of this change.
        hardware[SimParamSchema::indexOf(fields, "Storage_capacity")] = QString::number(m_opt.sdTotalMb);
        hardware[SimParamSchema::indexOf(fields, "Last_parameters_modification")] =
            QDateTime::currentDateTimeUtc().addMSecs(clockOffsetMs).toString(QStringLiteral("yyyyMMddHHmm"));
        dirty = true;
        return ok();
    }
    if (name == QLatin1String("ACQCONFread")) {
        const int slot = args.size() == 1 ? slotNumber(args[0]) : -1;
        if (slot < 0) {
            return error();
        }
        const QString head = QStringLiteral("$ACQCONFread:") + args[0] + QLatin1Char(',');
        if (acqSlots[slot].isEmpty()) {
            return answer(head + QStringLiteral("<invalid>;\n"));
        }
        return answer(head + acqSlots[slot].join(QLatin1Char(',')) + QStringLiteral(";\n"));
    }
    if (name == QLatin1String("ACQCONFset")) {
        if (!su) {
            return denied();
        }
        const int slot = !args.isEmpty() ? slotNumber(args[0]) : -1;
        if (slot < 0) {
            return error();
        }
        const auto& fields = SimParamSchema::acquisition();
        QStringList stored = acqSlots[slot].isEmpty() ? SimParamSchema::defaults(fields) : acqSlots[slot];
        if (!SimParamSchema::applySet(fields, args.mid(1), &stored)) {
            return error();
        }
        alterStored(fields, &stored);
        acqSlots[slot] = stored;
        dirty = true;
        return ok();
    }
    if (name == QLatin1String("ACQCONFerase")) {
        if (!su) {
            return denied();
        }
        const int slot = args.size() == 1 ? slotNumber(args[0]) : -1;
        if (slot < 0) {
            return error();
        }
        acqSlots[slot].clear();
        dirty = true;
        return ok();
    }
    if (name == QLatin1String("TIMEPROGread")) {
        static const QRegularExpression indexRe(QStringLiteral("^[0-9]{1,6}$"));
        if (args.size() != 1 || !indexRe.match(args[0]).hasMatch()) {
            return error();
        }
        const int i = args[0].toInt();
        const QString head = QStringLiteral("$TIMEPROGread:") + args[0] + QLatin1Char(',');
        if (i >= int(timetable.size())) {
            return answer(head + QStringLiteral("<invalid>;\n"));
        }
        return answer(head + timetable[size_t(i)].toWire() + QStringLiteral(";\n"));
    }
    if (name == QLatin1String("TIMEPROGinit")) {
        if (!su) {
            return denied();
        }
        if (hasArgs) {
            return error();
        }
        timetable.clear();
        dirty = true;
        return ok();
    }
    if (name == QLatin1String("TIMEPROGadd")) {
        if (!su) {
            return denied();
        }
        SimTimeProgram p;
        if (int(timetable.size()) >= Kelvo6Simulator::kMaxTimePrograms ||
            !SimTimeProgram::fromWireFields(args, &p)) {
            return error();
        }
        timetable.push_back(p);
        dirty = true;
        return ok();
    }
    if (name == QLatin1String("POWERPUset")) {
        if (!su) {
            return denied();
        }
        if (args.size() != 1 || (args[0] != QLatin1String("0") && args[0] != QLatin1String("1"))) {
            return error();
        }
        const bool on = args[0] == QLatin1String("1");
        if (on != m_puPowered) {
            m_puPowered = on;
            m_puSettledAt = nowMs + (on ? m_puStartupMs : (m_opt.realistic ? kRealisticPowerOffMs : 0));
        }
        return ok();
    }
    if (name == QLatin1String("PUready")) {
        if (hasArgs) {
            return error();
        }
        // Answered once the last power change has finished.
        const qint64 wait = std::max<qint64>(0, m_puSettledAt - nowMs);
        if (m_puPowered && puStartFailure) {
            return answer(QStringLiteral("$PUready:FAILED;\n"), std::max(wait, commandDelay()));
        }
        return answer(QStringLiteral("$PUready:OK;\n"), std::max(wait, commandDelay()));
    }
    if (name == QLatin1String("autocheck")) {
        if (hasArgs) {
            return error();
        }
        static const char* const texts[] = {"$autocheckpassed;\n", "$starterr:49;\n", "$starterr:59;\n",
                                            "$starterr:69;\n", "$starterr:79;\n"};
        return answer(QLatin1String(texts[int(autocheck)]), m_opt.realistic ? kRealisticAutocheckMs : 0);
    }
    if (name == QLatin1String("SUreboot")) {
        if (!su) {
            return denied();
        }
        stopAcquisition();
        mode = SimMode::User;
        m_puPowered = false;
        m_puSettledAt = nowMs;
        ethlink = SimEthlinkDestination();
        SimReply r;
        r.deafMs = m_opt.realistic ? kRealisticRebootMs : 0;
        return r;
    }
    if (name == QLatin1String("pt")) {
        // Pressure and time from a host or a CTD: never answered.
        bool okPressure = false;
        const double p = args.isEmpty() ? 0 : args[0].toDouble(&okPressure);
        if (okPressure && std::isfinite(p)) {
            m_pressure = p;
        }
        return SimReply();
    }
    if (name == QLatin1String("start")) {
        if (args.size() != 1 || !running.isEmpty()) {
            return error();
        }
        for (int i = 0; i < Kelvo6Simulator::kSlotCount; ++i) {
            if (!acqSlots[i].isEmpty() && acqSlots[i][0] == args[0]) {
                startAcquisition(i, nowMs);
                return ok();
            }
        }
        return error();
    }
    return answer(QLatin1String(kUnknown));
}

SimReply SimInstrument::puCommand(const QString& name, const QStringList& args, qint64 nowMs) {
    const SimPuState pu = puState(nowMs);
    if (pu == SimPuState::Off) {
        m_datareqPos = -1;
        return answer(QStringLiteral("$PU:OFF;\n"));
    }
    if (pu != SimPuState::Ready) {
        return SimReply(); // nobody on the other side yet
    }
    const QString cmd = name.mid(3);
    const auto puAnswer = [&](const QString& result, qint64 delay = -1) {
        return answer(QStringLiteral("[PU]:$") + cmd + QLatin1Char(':') + result + QStringLiteral(";\n"),
                      delay);
    };
    if (cmd == QLatin1String("alive")) {
        return answer(QStringLiteral("[PU]:$aliveack;\n"));
    }
    if (cmd == QLatin1String("hwinfo")) {
        return answer(hwinfoText(nowMs));
    }
    if (cmd == QLatin1String("ethlink")) {
        static const QRegularExpression modeRe(QStringLiteral("^[0-9]{1,3}$"));
        static const QRegularExpression hostRe(QStringLiteral("^[0-9]{1,3}(\\.[0-9]{1,3}){3}$"));
        static const QRegularExpression portRe(QStringLiteral("^[0-9]{1,5}$"));
        if ((args.size() != 1 && args.size() != 3 && args.size() != 4) || !modeRe.match(args[0]).hasMatch()) {
            return puAnswer(QStringLiteral("ERROR"));
        }
        SimEthlinkDestination dest;
        dest.mode = args[0].toInt();
        if (args.size() >= 3) {
            bool hostOk = hostRe.match(args[1]).hasMatch();
            for (const QString& part : args[1].split(QLatin1Char('.'))) {
                hostOk = hostOk && part.toInt() <= 255;
            }
            const int port = args[2].toInt();
            if (!hostOk || !portRe.match(args[2]).hasMatch() || port < 1 || port > 65535) {
                return puAnswer(QStringLiteral("ERROR"));
            }
            dest.host = args[1];
            dest.port = port;
            if (args.size() == 4) {
                dest.mac = args[3];
            }
        }
        ethlink = dest;
        return puAnswer(QStringLiteral("OK"));
    }
    if (cmd == QLatin1String("makefs")) {
        const qint64 delay = m_opt.realistic ? kRealisticMakefsMs : -1;
        if (makefsFailure != 0) {
            return puAnswer(QStringLiteral("FAILED,%1").arg(makefsFailure), delay);
        }
        QString why;
        if (m_card.isSet() && !m_card.format(&why)) {
            pendingLog << QStringLiteral("makefs: %1").arg(why);
            return puAnswer(QStringLiteral("FAILED,%1").arg(kCardIoError), delay);
        }
        // An empty exFAT card keeps a little room for its own tables.
        m_sdFreeMb = std::max(0, m_opt.sdTotalMb - 16);
        synthetic.clear();
        return puAnswer(QStringLiteral("OK,%1,%2,3,64").arg(m_opt.sdTotalMb).arg(m_sdFreeMb), delay);
    }
    if (cmd == QLatin1String("treeupdate")) {
        const qint64 delay = m_opt.realistic ? kRealisticTreeupdateMs : -1;
        QString why;
        if (m_card.isSet() && !m_card.updateTree(&why)) {
            pendingLog << QStringLiteral("treeupdate: %1").arg(why);
            return puAnswer(QStringLiteral("FAILED"), delay);
        }
        return puAnswer(QStringLiteral("OK"), delay);
    }
    if (cmd == QLatin1String("datareq")) {
        if (m_datareqPos < 0) {
            if (m_card.isSet()) {
                // The card is the truth: the last sequence's synthetic file, read afresh.
                QString source;
                synthetic = m_card.lastSyntheticLines(&source);
                pendingLog
                    << (synthetic.isEmpty()
                            ? QStringLiteral("datareq: the last sequence has no synthetic file")
                            : QStringLiteral("datareq: %1 (%2 lines)").arg(source).arg(synthetic.size()));
            }
            if (synthetic.isEmpty()) {
                return puAnswer(QStringLiteral("FAILED"));
            }
            m_datareqPos = 0;
            return puAnswer(QStringLiteral("OK"));
        }
        if (datareqErrorAfter >= 0 && m_datareqPos >= datareqErrorAfter) {
            m_datareqPos = -1;
            return puAnswer(QStringLiteral("ERROR"));
        }
        if (m_datareqPos < synthetic.size()) {
            return answer(QStringLiteral("[PU]:") + synthetic[m_datareqPos++] + QLatin1Char('\n'));
        }
        m_datareqPos = -1;
        return puAnswer(QStringLiteral("$eof"));
    }
    if (cmd == QLatin1String("framedump")) {
        return frameDump(args);
    }
    if (cmd == QLatin1String("filedump")) {
        return fileDump(args);
    }
    if (cmd == QLatin1String("imgparamset") || cmd == QLatin1String("transferfunc")) {
        return SimReply(); // applied silently
    }
    return answer(QLatin1String(kUnknown));
}

SimReply SimInstrument::fileDump(const QStringList& args) {
    SimReply r;
    SimUdpJob& job = r.udp;
    if (args.size() == 1) {
        // Device form: to the destination named by "$PU:ethlink,2,...".
        if (ethlink.mode != 2 || ethlink.host.isEmpty()) {
            pendingLog << QStringLiteral("filedump %1: no Ethernet destination named ($PU:ethlink,2,...); "
                                         "nothing sent")
                              .arg(args[0]);
            return r;
        }
        job.host = ethlink.host;
        job.port = ethlink.port;
        job.packetSize = m_opt.packetSize;
    } else if (args.size() == 4) {
        // Terminal form: the destination travels with the request; 1 KiB datagrams.
        static const QRegularExpression portRe(QStringLiteral("^[0-9]{1,5}$"));
        if (!portRe.match(args[2]).hasMatch()) {
            pendingLog << QStringLiteral("filedump %1: bad port \"%2\"; nothing sent").arg(args[0], args[2]);
            return answer(QStringLiteral("[PU]:$filedump:ERROR;\n"));
        }
        job.host = args[1];
        job.port = args[2].toInt();
        job.packetSize = kTerminalPacketSize;
    } else {
        pendingLog
            << QStringLiteral("filedump: %1 arguments (1 or 4 expected); nothing sent").arg(args.size());
        return answer(QStringLiteral("[PU]:$filedump:ERROR;\n"));
    }
    job.kind = SimUdpJob::File;
    job.cardPath = args[0];
    QString why;
    job.localPath = m_card.localPath(args[0], &why);
    if (job.localPath.isEmpty()) {
        pendingLog << QStringLiteral("filedump %1: %2; announced as nothing to send").arg(args[0], why);
    }
    return r;
}

SimReply SimInstrument::frameDump(const QStringList& args) {
    static const QRegularExpression flagRe(QStringLiteral("^[0-9]{1,3}$"));
    if (args.size() != 2 || !flagRe.match(args[0]).hasMatch() || !flagRe.match(args[1]).hasMatch()) {
        return answer(QStringLiteral("[PU]:$framedump:ERROR;\n"));
    }
    if (ethlink.mode != 2 || ethlink.host.isEmpty()) {
        pendingLog << QStringLiteral(
            "framedump: no Ethernet destination named ($PU:ethlink,2,...); nothing sent");
        return answer(QStringLiteral("[PU]:$framedump:ERROR;\n"));
    }
    SimReply r;
    r.udp.kind = SimUdpJob::Frame;
    r.udp.host = ethlink.host;
    r.udp.port = ethlink.port;
    r.udp.packetSize = m_opt.packetSize;
    r.udp.light = args[0].toInt() != 0;
    r.udp.lightCorrection = args[1].toInt() != 0;
    r.udp.answerAfter = "[PU]:$framedump:OK;\n";
    return r;
}

void SimInstrument::startAcquisition(int slot, qint64 nowMs) {
    const auto& fields = SimParamSchema::acquisition();
    const QStringList& conf = acqSlots[slot];
    running = conf[0];
    mode = SimMode::User;
    m_runSlot = slot;
    m_bloc = 0;
    m_runSends = conf[SimParamSchema::indexOf(fields, "Result_sending")] == QLatin1String("1");
    m_runSaves = conf[SimParamSchema::indexOf(fields, "Save_synthetic_data_for_delayed_request")] ==
                 QLatin1String("1");
    m_runSynthetic.clear();
    const double freq = conf[SimParamSchema::indexOf(fields, "Acquisition_frequency")].toDouble();
    const int frames = conf[SimParamSchema::indexOf(fields, "Frames_per_bloc")].toInt();
    qint64 period = qint64(std::llround(1000.0 * frames / std::max(freq, 0.001)));
    if (!m_opt.realistic) {
        period = std::clamp<qint64>(period / 10, 200, 2000); // fast: ten times faster, bounded
    }
    m_blocPeriodMs = std::max<qint64>(period, 1);
    m_nextBlocAt = nowMs + m_blocPeriodMs;
}

void SimInstrument::stopAcquisition() {
    if (running.isEmpty()) {
        return;
    }
    if (m_runSaves) {
        synthetic = m_runSynthetic;
    } else {
        synthetic.clear(); // the last acquisition left no synthetic file
    }
    running.clear();
    m_runSlot = -1;
    m_nextBlocAt = -1;
}

qint64 SimInstrument::nextEventMs() const {
    return (!running.isEmpty() && (m_runSends || m_runSaves)) ? m_nextBlocAt : -1;
}

QByteArray SimInstrument::takeUnsolicited(qint64 nowMs) {
    QByteArray out;
    while (!running.isEmpty() && m_nextBlocAt >= 0 && nowMs >= m_nextBlocAt) {
        ++m_bloc;
        m_nextBlocAt += m_blocPeriodMs;
        // Reproducible object counts for the synthetic results of a bloc.
        const quint32 h = sim_hash32(quint32(m_bloc) * 2654435761U + quint32(m_runSlot));
        // Objects thin out with depth, as in the open ocean.
        const int objects = int(40 + h % 60 + 400.0 / (1.0 + m_pressure / 50.0));
        const int small = objects * 6 / 10;
        const int medium = objects * 3 / 10;
        const int large = objects - small - medium;
        const QString result =
            QString::asprintf("%d,%.2f,%d,%d,%d,%d", m_bloc, m_pressure, objects, small, medium, large);
        if (m_runSaves) {
            m_runSynthetic << result;
        }
        if (m_runSends) {
            out += "$result:" + result.toLatin1() + ";\n";
        }
    }
    return out;
}

QJsonObject SimInstrument::toJson() const {
    QJsonObject o;
    o[QStringLiteral("hardware")] = QJsonArray::fromStringList(hardware);
    QJsonArray s;
    for (const QStringList& slot : acqSlots) {
        s.append(slot.isEmpty() ? QJsonValue() : QJsonValue(QJsonArray::fromStringList(slot)));
    }
    o[QStringLiteral("slots")] = s;
    QJsonArray t;
    for (const SimTimeProgram& p : timetable) {
        t.append(p.toWire());
    }
    o[QStringLiteral("timetable")] = t;
    o[QStringLiteral("clockOffset")] = double(clockOffsetMs) / 1000.0;
    return o;
}

namespace {

bool stringList(const QJsonValue& v, QStringList* out) {
    if (!v.isArray()) {
        return false;
    }
    QStringList list;
    for (const QJsonValue& e : v.toArray()) {
        if (!e.isString()) {
            return false;
        }
        list << e.toString();
    }
    *out = list;
    return true;
}

} // namespace

bool SimInstrument::fromJson(const QJsonObject& o, QString* error) {
    const auto fail = [&](const QString& what) {
        if (error) {
            *error = what;
        }
        return false;
    };
    QStringList hw;
    if (!stringList(o.value(QStringLiteral("hardware")), &hw) ||
        !SimParamSchema::validateStored(SimParamSchema::hardware(), hw)) {
        return fail(QStringLiteral("the hardware configuration is missing or invalid"));
    }
    const QJsonValue sv = o.value(QStringLiteral("slots"));
    if (!sv.isArray() || sv.toArray().size() != Kelvo6Simulator::kSlotCount) {
        return fail(QStringLiteral("the acquisition slots are missing (ten expected)"));
    }
    std::vector<QStringList> newSlots;
    for (const QJsonValue& e : sv.toArray()) {
        QStringList slot;
        if (!e.isNull() &&
            (!stringList(e, &slot) || !SimParamSchema::validateStored(SimParamSchema::acquisition(), slot))) {
            return fail(QStringLiteral("acquisition slot %1 is invalid").arg(newSlots.size()));
        }
        newSlots.push_back(slot);
    }
    QStringList programs;
    if (!stringList(o.value(QStringLiteral("timetable")), &programs) ||
        programs.size() > Kelvo6Simulator::kMaxTimePrograms) {
        return fail(QStringLiteral("the timetable is missing or too long"));
    }
    std::vector<SimTimeProgram> newTable;
    for (const QString& text : programs) {
        SimTimeProgram p;
        if (!SimTimeProgram::fromWireFields(text.split(QLatin1Char(',')), &p)) {
            return fail(QStringLiteral("invalid time program \"%1\"").arg(text));
        }
        newTable.push_back(p);
    }
    const QJsonValue off = o.value(QStringLiteral("clockOffset"));
    if (!off.isDouble() || std::abs(off.toDouble()) > 1e11) {
        return fail(QStringLiteral("the clock offset is missing or invalid"));
    }
    hardware = hw;
    acqSlots = newSlots;
    timetable = newTable;
    clockOffsetMs = qint64(off.toDouble() * 1000.0);
    return true;
}
