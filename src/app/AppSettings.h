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

    static constexpr int kDefaultSerialPort = -1;
    static constexpr int kDefaultSerialSpeed = 38400;
    static constexpr int kMaxSerialSpeed = 9999999;
    static constexpr int kDefaultUdpPort = 49152;

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
};
