#pragma once

#include <QString>
#include <QStringList>

// The application's persistent settings: keys, defaults and the few rules built on them. Every
// read opens a fresh QSettings (organisation and application "KelvoApp", native store), so a
// value written anywhere in the program is seen at once.
class AppSettings {
public:
    static constexpr const char* kSerialPort = "serialport";
    static constexpr const char* kSerialSpeed = "serialspeed";
    static constexpr const char* kSerialMonitor = "serialmonitor";
    static constexpr const char* kLocalIp = "localip";
    static constexpr const char* kUdpPort = "udpport";
    static constexpr const char* kUserName = "user_name";
    static constexpr const char* kUserEmail = "user_email";
    static constexpr const char* kHideLogin = "hidelogin";
    static constexpr const char* kRecentFiles = "recentFiles";
    static constexpr const char* kTerminalHistory = "terminalHistory";

    static constexpr int kDefaultSerialPort = -1;
    static constexpr int kDefaultSerialSpeed = 38400;
    static constexpr int kMaxSerialSpeed = 9999999;
    static constexpr int kDefaultUdpPort = 49152;
    static constexpr int kMaxTerminalHistory = 100;

    // The serial port as given to init_comm: a device path, or a number from older settings
    // ("-1" when absent, which never opens).
    static QString serialPort();
    static void setSerialPort(const QString& port);
    static int serialSpeed();
    static void setSerialSpeed(int baud);
    static bool serialMonitor();
    static void setSerialMonitor(bool shown);
    // Host address for the Ethernet link, or "auto".
    static QString localIp();
    static void setLocalIp(const QString& ip);
    // Host UDP port for the Ethernet link; not editable by the user.
    static int udpPort();
    // True for "auto" or a dotted IPv4 address, the only forms the Ethernet link understands.
    static bool isLocalIpText(const QString& text);

    // The host address and port of this run's Ethernet link: the run override when one is set
    // (the demo instrument's loopback address), the `localip` and `udpport` settings otherwise.
    // The override is never written to the settings; an empty address clears it.
    static void setRunEthernet(const QString& localIp, int port);
    static QString runLocalIp();
    static int runUdpPort();

    static QString userName();
    static QString userEmail();
    static void setUser(const QString& name, const QString& email);
    static QString hideLogin();
    // True when start-up may skip the login dialog: `hidelogin` is exactly "Y" and both the
    // name and the e-mail are set.
    static bool loginCanBeSkipped();
    // The menu bar's login entry: "             logged as : " and the name ("???" when the key
    // was never written).
    static QString loginActionText();

    static QStringList recentFiles();
    static void setRecentFiles(const QStringList& files);

    // Lines run in the VortOS terminal, newest first, without duplicates, at most
    // kMaxTerminalHistory; addTerminalHistory moves a known line to the front.
    static QStringList terminalHistory();
    static void addTerminalHistory(const QString& line);
};
