#pragma once

#include "link/EthLink.h"
#include "link/FileDump.h"
#include "link/InstrumentProtocol.h"
#include "params/ParamTable.h"
#include "params/Timetable.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <span>

namespace cv {
class Mat;
}

// The application's single entry to the instrument: every window asks it for an operation and
// gets a result text or data back. Each operation is a fixed sequence of serial exchanges and,
// for bulk data, a UDP transfer. Logs under "InterfaceCamera".
//
// Not reentrant: every operation uses the one serial link and this object's UDP socket, and
// runs to completion on the calling thread (long ones from background tasks).
class InterfaceCamera {
public:
    static constexpr int kLiveRows = 2056;
    static constexpr int kLiveColumns = 2464;
    static constexpr int kLiveFrameBytes = kLiveRows * kLiveColumns; // 5,065,984

    // `sleep` serves the protocol's pauses (empty: real sleeps).
    explicit InterfaceCamera(InstrumentProtocol::SleepFunction sleep = {});
    ~InterfaceCamera();
    InterfaceCamera(const InterfaceCamera&) = delete;
    InterfaceCamera& operator=(const InterfaceCamera&) = delete;

    // --- Identity of the connected instrument -----------------------------------------------
    QString cameraRef() const { return m_cameraRef; }
    QString lightRef() const { return m_lightRef; }
    QStringList hardwareInfo() const { return m_hwInfo; }
    QString powerReading() const { return m_power; }
    QString variant() const;

    // Stop sequence, supervisor mode, firmware check, power reading, hardware configuration,
    // PU setup, hardware information, then the ten acquisition slots and the timetable into the
    // working set. True when the identity was filled (the firmware was accepted).
    bool connectAndIdentify();
    void resetIdentity();

    // --- Operations ---------------------------------------------------------------------------
    bool puSetup();
    QString reboot();
    QString formatSdCard();
    QString powerMonitor();
    QString temperature();
    bool setImageParameters(int first, int second, double third);
    QString autocheck();
    QString readClock();
    // Sets the instrument's clock to `utc` (the current UTC time when invalid).
    QString setClock(const QDateTime& utc = QDateTime());

    bool readHardwareConfiguration();
    // Reads slots 0 to 9; returns the number of slots holding a configuration.
    int readAcquisitionConfigurations();
    // Returns the number of time programs read.
    int readTimetable();

    // Opens the UDP socket once per run (again after another socket took the port over).
    int prepareEthernet();
    // Tells the PU where to send (form chosen by the variant).
    bool setEthernetDestination();
    // The host address and port used instead of the `localip` and `udpport` settings (an empty
    // address returns to the settings).
    void setEthernetOverride(const QString& localIp, int port);
    // The UDP silence that ends a transfer attempt, for the sockets opened afterwards.
    void setEthernetTimeoutMs(int ms) { m_ethTimeoutMs = ms; }

    // The bytes of a card file (empty on failure; see lastTransferSucceeded()).
    QByteArray downloadFile(const QString& cardPath);
    // The same without a copy: a view of the receive buffer, valid until the next transfer.
    std::span<const char> dumpFile(const QString& cardPath);
    bool lastTransferSucceeded() const { return m_lastTransferOk; }
    const DumpReport& lastDumpReport() const { return m_lastReport; }

    // Downloads a card file into `folder`, keeping its card path below it. The card path is
    // checked first (no absolute path, no "..", nothing outside `folder`): a refused path sends
    // nothing and writes nothing. The file is written only once complete, atomically.
    bool downloadFileTo(const QString& cardPath, const QString& folder, QString* error = nullptr);

    // The contents of "tree.txt" (rebuilt first when `update`); on failure `ok` is false and
    // the result is a message.
    QString fileList(bool update, bool* ok = nullptr);

    // One live frame of kLiveRows x kLiveColumns bytes into `image`: "OK", "KO1" (no valid
    // header), "KO2" (a bad image) or "Erreur Ethernet". `budgetUs` bounds the header wait.
    QString liveImage(int first, int second, std::int64_t budgetUs, bool setDestination, cv::Mat& image);

    // --- Working set read from the instrument -------------------------------------------------
    const ParamTable& hardware() const { return m_hw; }
    const ParamTable& acquisition(int slot) const { return m_acq.at(static_cast<std::size_t>(slot)); }
    bool acquisitionSlotValid(int slot) const { return m_acqValid.at(static_cast<std::size_t>(slot)); }
    const Timetable& timetable() const { return m_timetable; }

    EthLink& ethLink() { return m_eth; }
    const QString& ethAddress() const { return m_ethAddress; }
    int ethPort() const { return m_ethPort; }
    const QString& ethMac() const { return m_ethMac; }
    bool ethernetReady() const { return m_ethReady; }

    static QString autocheckText(const std::string& trimmedAnswer);

private:
    InstrumentProtocol m_protocol;
    EthLink m_eth;
    bool m_ethReady = false;
    QString m_ethAddress;
    int m_ethPort = 0;
    QString m_ethMac;
    QString m_overrideAddress;
    int m_overridePort = 0;
    int m_ethTimeoutMs = EthLink::kDefaultTimeoutMs;
    bool m_lastTransferOk = false;
    DumpReport m_lastReport;

    QString m_cameraRef;
    QString m_lightRef;
    QStringList m_hwInfo;
    QString m_power;

    ParamTable m_hw;
    std::array<ParamTable, 10> m_acq;
    std::array<bool, 10> m_acqValid{};
    Timetable m_timetable;
};
