#include "device/InterfaceCamera.h"

#include "app/AppSettings.h"
#include "link/CardPath.h"
#include "link/NetInterfaces.h"
#include "link/SerialLink.h"
#include "params/ParamSets.h"
#include "trace/ZelTraceMgr.h"

#include <QRegularExpression>

#include <fmt/format.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

constexpr const char* kModule = "InterfaceCamera";
const QString kCommNotInitialized = QStringLiteral("Comm not initialized");

ZelTraceMgr* trace() {
    return GetTraceMgr();
}

QString text_of(const std::string& s) {
    return QString::fromLatin1(s.data(), static_cast<int>(s.size()));
}

std::string trimmed(const std::string& s) {
    return text_of(s).trimmed().toStdString();
}

} // namespace

InterfaceCamera::InterfaceCamera(InstrumentProtocol::SleepFunction sleep)
    : m_protocol(std::move(sleep)) {
    build_hw_params(m_hw);
    for (ParamTable& t : m_acq) {
        build_acq_params(t);
    }
    // Another socket (the terminal's) taking the port over means the link must be set up again.
    m_eth.setOnReleased([this] { m_ethReady = false; });
}

InterfaceCamera::~InterfaceCamera() = default;

QString InterfaceCamera::variant() const {
    return instrument_variant();
}

void InterfaceCamera::resetIdentity() {
    m_cameraRef.clear();
    m_lightRef.clear();
    m_hwInfo.clear();
}

bool InterfaceCamera::connectAndIdentify() {
    resetIdentity();
    if (!is_comm_open()) {
        return false;
    }
    if (!m_protocol.stopSequence() || m_protocol.supervisorMode(true) == SupervisorFailed) {
        return false;
    }
    const ExchangeResult version = m_protocol.exchange(InstrumentCommand::Version);
    const std::string& v = version.answer;
    if (v.compare(0, 8, "$VERSION") != 0) {
        trace()->logf(
            kModule, ZelLevelError,
            "Invalid Version Answer {}, perhaps you are using a firmware older than 2021 and need KELVOAPP 1",
            v);
        return false;
    }
    const auto comma = v.find(',');
    if (comma == std::string::npos) {
        trace()->logf(kModule, ZelLevelError, "Invalid Version Answer, missing , {}", v);
        return false;
    }
    if (v.compare(comma + 1, 4, "2021") != 0 || v.size() < comma + 5) {
        trace()->logf(kModule, ZelLevelError, "Incompatible KELVOAPP version for firmware {}", v.substr(8));
        return false;
    }

    m_power = powerMonitor();
    readHardwareConfiguration();
    m_cameraRef = QString::fromStdString(GetParamAsText(m_hw, "Camera_ref"));
    m_lightRef = QString::fromStdString(GetParamAsText(m_hw, "Light_ref"));

    puSetup();

    const ExchangeResult hwinfo = m_protocol.exchange(InstrumentCommand::PuHwinfo);
    if (!hwinfo.answer.empty()) {
        std::string rest = hwinfo.answer.size() > 13 ? hwinfo.answer.substr(13) : std::string();
        rest = rest.substr(0, std::min<std::size_t>(rest.size(), 999));
        m_hwInfo = text_of(rest).split(QLatin1Char(','));
    }

    // The whole working set, so that its comparison with a project covers everything.
    readAcquisitionConfigurations();
    readTimetable();
    return true;
}

bool InterfaceCamera::puSetup() {
    m_protocol.supervisorMode(true);
    const bool ok = m_protocol.puPower(true) != SupervisorFailed && m_protocol.puEthlink(1);
    if (!ok) {
        trace()->post(kModule, ZelLevelError, "PU Setup failed ");
    }
    return ok;
}

QString InterfaceCamera::reboot() {
    if (!is_comm_open()) {
        return kCommNotInitialized;
    }
    purge_comm(false);
    if (m_protocol.supervisorMode(true) == SupervisorFailed) {
        return QStringLiteral("Error");
    }
    if (!m_protocol.exchange(InstrumentCommand::SuReboot).sent) {
        return QStringLiteral("Error");
    }
    trace()->post(kModule, ZelLevelInformation, "Reboot initiated");
    return QStringLiteral("OK");
}

QString InterfaceCamera::formatSdCard() {
    if (!is_comm_open()) {
        return kCommNotInitialized;
    }
    puSetup();
    purge_comm(false);
    const ExchangeResult r = m_protocol.exchange(InstrumentCommand::PuMakefs);
    if (r.ok) {
        return QStringLiteral("formatting Done");
    }
    return QStringLiteral("Error ") + text_of(r.answer);
}

QString InterfaceCamera::powerMonitor() {
    if (!is_comm_open()) {
        return QStringLiteral("?");
    }
    purge_comm(false);
    const ExchangeResult r = m_protocol.exchange(InstrumentCommand::PowerMonitor);
    const std::string label = variant() == QLatin1String("HF") ? "PBU input voltage:" : "B0 voltage:";
    const auto at = r.answer.find(label);
    if (at == std::string::npos) {
        return QStringLiteral("?");
    }
    const auto from = at + label.size();
    const auto end = r.answer.find('\n', from);
    const QString value =
        text_of(r.answer.substr(from, end == std::string::npos ? std::string::npos : end - from)).trimmed();
    return value.size() > 2 ? value : QStringLiteral("?");
}

QString InterfaceCamera::temperature() {
    if (!is_comm_open()) {
        return QStringLiteral("?");
    }
    purge_comm(false);
    const ExchangeResult r = m_protocol.exchange(InstrumentCommand::TemperatureRead);
    static const QRegularExpression re(QStringLiteral("TSread:(\\d*\\.\\d*);"));
    const QRegularExpressionMatch m = re.match(QString::fromStdString(trimmed(r.answer)));
    return m.hasMatch() ? m.captured(1) : QStringLiteral("?");
}

bool InterfaceCamera::setImageParameters(int first, int second, double third) {
    return m_protocol.exchange(InstrumentCommand::PuImageParams, first, second, third).sent;
}

QString InterfaceCamera::autocheckText(const std::string& answer) {
    static const std::pair<const char*, const char*> kResults[] = {
        {"$autocheckpassed;", "OK"},
        {"$starterr:49;", "Error 49 : Mezzanine board verification failed"},
        {"$starterr:59;", "Error 59 : Flash verification failed"},
        {"$starterr:69;", "Error 69 : Pressure sensor verification failed"},
        // The instrument's own table gives this sensor the number 69 too.
        {"$starterr:79;", "Error 69 : Temperature sensor verification failed"},
    };
    for (const auto& [code, text] : kResults) {
        if (answer == code) {
            return QString::fromLatin1(text);
        }
    }
    return QStringLiteral("Error : ") + text_of(answer);
}

QString InterfaceCamera::autocheck() {
    if (!is_comm_open()) {
        return kCommNotInitialized;
    }
    purge_comm(false);
    send_message("%s", command_info(InstrumentCommand::User).format);
    send_message("%s", command_info(InstrumentCommand::User).format);
    std::string answer;
    bool received = false;
    get_message(answer, received, 5);
    if (answer.empty()) {
        return QStringLiteral("Comm Error");
    }
    purge_comm(false);
    const std::string result = trimmed(m_protocol.exchange(InstrumentCommand::Autocheck).answer);
    trace()->logf(kModule, ZelLevelInformation, "AutoCheck result={}", result);
    m_protocol.supervisorMode(true);
    return autocheckText(result);
}

QString InterfaceCamera::readClock() {
    if (!is_comm_open()) {
        return kCommNotInitialized;
    }
    purge_comm(false);
    m_protocol.supervisorMode(true);
    const std::string result = trimmed(m_protocol.exchange(InstrumentCommand::ClockRead).answer);
    trace()->logf(kModule, ZelLevelInformation, "RTCRead result={}", result);
    return QString::fromStdString(result);
}

QString InterfaceCamera::setClock(const QDateTime& when) {
    if (!is_comm_open()) {
        return kCommNotInitialized;
    }
    purge_comm(false);
    m_protocol.supervisorMode(true);
    const QDateTime utc = (when.isValid() ? when : QDateTime::currentDateTimeUtc()).toUTC();
    const QDate d = utc.date();
    const QTime t = utc.time();
    const ExchangeResult r = m_protocol.exchange(InstrumentCommand::ClockSet, d.year(), d.month(), d.day(),
                                                 t.hour(), t.minute(), t.second());
    if (r.answer == InstrumentAnswer::kOk) {
        return QString::asprintf("OK%04d-%02d-%02d %02d:%02d:%02d", d.year(), d.month(), d.day(), t.hour(),
                                 t.minute(), t.second());
    }
    trace()->logf(kModule, ZelLevelInformation, "RTCset result={}", r.answer);
    return QStringLiteral("Error :") + text_of(r.answer);
}

bool InterfaceCamera::readHardwareConfiguration() {
    const ExchangeResult r = m_protocol.exchange(InstrumentCommand::HwConfRead);
    if (r.answer.empty() || r.answer[0] != '$') {
        return false;
    }
    return get_params_from_string(r.answer, "$HWCONFread:", m_hw) > 0;
}

int InterfaceCamera::readAcquisitionConfigurations() {
    int valid = 0;
    for (int slot = 0; slot < kAcqSlotCount; ++slot) {
        auto& ok = m_acqValid[static_cast<std::size_t>(slot)];
        ok = false;
        const ExchangeResult r = m_protocol.exchange(InstrumentCommand::AcqConfRead, slot);
        if (r.answer.empty() || r.answer.find("<invalid>") != std::string::npos) {
            continue; // an empty slot
        }
        ParamTable& table = m_acq[static_cast<std::size_t>(slot)];
        ok = get_params_from_string(r.answer, fmt::format("$ACQCONFread:{},", slot), table) > 0;
        valid += ok ? 1 : 0;
    }
    return valid;
}

int InterfaceCamera::readTimetable() {
    m_protocol.supervisorMode(true);
    const InstrumentExchange exchange = [this](const std::string& line) {
        return m_protocol.exchangeLine(InstrumentCommand::TimeProgRead, line).answer;
    };
    return read_timetable(m_timetable, exchange);
}

void InterfaceCamera::setEthernetOverride(const QString& localIp, int port) {
    m_overrideAddress = localIp;
    m_overridePort = port;
    m_ethReady = false;
}

int InterfaceCamera::prepareEthernet() {
    if (m_ethReady && m_eth.isOpen()) {
        return 0;
    }
    std::string address =
        (m_overrideAddress.isEmpty() ? AppSettings::runLocalIp() : m_overrideAddress).toStdString();
    const int port = m_overrideAddress.isEmpty() ? AppSettings::runUdpPort() : m_overridePort;
    std::string mac = kUnknownMacText;
    const int code =
        m_eth.init_eth_socket(address, port, mac, EthLink::kDefaultReceiveBuffer, m_ethTimeoutMs);
    if (code != 0) {
        trace()->logf(kModule, ZelLevelError, "Failed with error {} ", code);
        m_ethReady = false;
        return code;
    }
    m_ethAddress = QString::fromStdString(address);
    m_ethPort = port;
    m_ethMac = QString::fromStdString(mac);
    trace()->logf(kModule, ZelLevelInformation, "Done! IP = {}, Port = {:#04X}, MAC = {}", address, port,
                  mac);
    m_ethReady = true;
    return 0;
}

bool InterfaceCamera::setEthernetDestination() {
    const QString v = variant();
    const std::string address = m_ethAddress.toStdString();
    const std::string mac = m_ethMac.toStdString();
    ExchangeResult r;
    if (v == QLatin1String("LP")) {
        r = m_protocol.exchange(InstrumentCommand::PuEthlinkToMac, address, m_ethPort, mac);
    } else if (v == QLatin1String("HF")) {
        r = m_protocol.exchange(InstrumentCommand::PuEthlinkTo, address, m_ethPort);
    } else {
        trace()->logf(kModule, ZelLevelError, "Unable enable Ethernet Link, invalid device type  {} ", v);
        return false;
    }
    if (!r.ok) {
        trace()->logf(kModule, ZelLevelError,
                      "Unable to open an Ethernet connection on PU (unexpected response): {}", r.answer);
        return false;
    }
    return true;
}

QByteArray InterfaceCamera::downloadFile(const QString& cardPath) {
    const std::span<const char> bytes = dumpFile(cardPath);
    return m_lastTransferOk ? QByteArray(bytes.data(), static_cast<int>(bytes.size())) : QByteArray();
}

std::span<const char> InterfaceCamera::dumpFile(const QString& cardPath) {
    const std::span<const char> bytes = dump_file(m_eth, cardPath.toStdString(), &m_lastReport);
    m_lastTransferOk = m_lastReport.ok;
    return bytes;
}

bool InterfaceCamera::downloadFileTo(const QString& cardPath, const QString& folder, QString* error) {
    QString refusal;
    const std::optional<QString> target = card_path_in_folder(folder, cardPath.toStdString(), &refusal);
    if (!target) {
        trace()->post(kModule, ZelLevelError, refusal.toStdString());
        if (error) {
            *error = refusal;
        }
        m_lastTransferOk = false;
        return false;
    }
    const std::span<const char> bytes = dump_file(m_eth, cardPath.toStdString(), &m_lastReport);
    m_lastTransferOk = m_lastReport.ok;
    if (!m_lastTransferOk) {
        if (error) {
            *error = QStringLiteral("%1 transfer failed").arg(cardPath);
        }
        return false;
    }
    return write_file_atomically(*target, bytes.data(), bytes.size(), error);
}

QString InterfaceCamera::fileList(bool update, bool* ok) {
    if (ok) {
        *ok = false;
    }
    if (const int code = prepareEthernet(); code != 0) {
        return QStringLiteral("Ethernet link not available (error %1)").arg(code);
    }
    puSetup();
    setEthernetDestination();
    purge_comm(false);
    if (update) {
        trace()->post(kModule, ZelLevelDebug, "Starting treeupdate (can be long)");
        const ExchangeResult r = m_protocol.exchange(InstrumentCommand::PuTreeUpdate);
        if (!r.ok) {
            const std::string text =
                fmt::format("Failed to update the file list ($PU:treeupdate;) !, received {}", r.answer);
            trace()->post(kModule, ZelLevelError, text);
            return QString::fromStdString(text);
        }
    }
    setEthernetDestination();
    const QByteArray tree = downloadFile(QStringLiteral("tree.txt"));
    purge_comm(true);
    purge_comm(true);
    if (!m_lastTransferOk) {
        return QStringLiteral("tree.txt transfer failed");
    }
    if (ok) {
        *ok = true;
    }
    return QString::fromUtf8(tree);
}

QString InterfaceCamera::liveImage(int first, int second, std::int64_t budgetUs, bool setDestination,
                                   cv::Mat& image) {
    if (prepareEthernet() != 0) {
        return QStringLiteral("Erreur Ethernet");
    }
    if (setDestination) {
        setEthernetDestination();
    }
    cv::Mat frame(kLiveRows, kLiveColumns, CV_8UC1);
    m_eth.purge_socket();
    purge_comm(false);
    send_message("$PU:framedump,%d,%d;", first, second);

    char header[kDumpHeaderSize];
    int length = -1;
    const std::int64_t waits = std::max<std::int64_t>(budgetUs, 0) / 2000000 + 1;
    for (std::int64_t i = 0; i < waits; ++i) {
        length = m_eth.receive(header, sizeof header);
        if (length >= 0) {
            break;
        }
        m_eth.purge_socket();
    }

    auto readSerialAnswer = [] {
        // The frame's serial acknowledgement carries nothing the image needs; it is read after
        // the datagrams so that a 5 MB burst never waits in a kernel buffer behind a serial read.
        std::string answer;
        bool received = false;
        get_message(answer, received, command_info(InstrumentCommand::PuFrameDump).wait.count);
    };

    if (length != kDumpHeaderSize) {
        trace()->logf(kModule, ZelLevelDebug,
                      "InterfaceCamera::GetLiveImage Invalid header packet length {} instead {}", length,
                      kDumpHeaderSize);
        readSerialAnswer();
        for (int i = 0; i < 20; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (m_eth.purge_socket() == 0) {
                break;
            }
        }
        return QStringLiteral("KO1");
    }
    const DumpHeader h = parse_dump_header(header);
    std::int64_t remaining = kLiveFrameBytes;
    std::int64_t pos = 0;
    QString result = QStringLiteral("OK");
    if (h.fileSize != kLiveFrameBytes || h.packetCount < 0 || h.packetSize <= 0) {
        trace()->logf(kModule, ZelLevelDebug, "Bad Image {} {}/{}", h.fileSize, 0, h.packetCount);
        result = QStringLiteral("KO2");
    } else {
        for (int i = 0; i < h.packetCount; ++i) {
            const std::int64_t want = std::min<std::int64_t>(remaining, h.packetSize);
            const int n =
                m_eth.receive(reinterpret_cast<char*>(frame.data) + pos, static_cast<std::size_t>(want));
            if (n < 0 || n > want) {
                trace()->logf(kModule, ZelLevelDebug, "Bad Image {} {}/{}", n, i, h.packetCount);
                result = QStringLiteral("KO2");
                break;
            }
            pos += n;
            remaining -= n;
        }
        if (result == QLatin1String("OK") && remaining != 0) {
            trace()->logf(kModule, ZelLevelDebug, "Bad Image {} {}/{}", pos, h.packetCount, h.packetCount);
            result = QStringLiteral("KO2");
        }
    }
    readSerialAnswer();
    if (result == QLatin1String("OK")) {
        frame.copyTo(image);
    }
    return result;
}
