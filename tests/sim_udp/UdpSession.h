#pragma once

#include "../sim/SimFixture.h"
#include "UdpReceiver.h"

#include <QByteArray>
#include <QString>

#include <optional>

// A simulator with its PU powered and a UDP receiver on 127.0.0.2 ready to be named as the
// destination.
struct UdpSession {
    explicit UdpSession(SimOptions options = {})
        : s(std::move(options)) {
        EXPECT_TRUE(rx.bind("127.0.0.2"));
        EXPECT_EQ(s("$SU;"), QByteArray("== Kelvo6-LP == Entering Supervisor Mode ==\n"));
        EXPECT_EQ(s("$POWERPUset:1;"), QByteArray("$ok;\n"));
    }

    QByteArray port() const { return QByteArray::number(rx.port()); }

    // Names this receiver as the destination of device-form dumps (the LP form with a MAC).
    bool ethlink() {
        return s("$PU:ethlink,2,127.0.0.2," + port() + ",FF.FF.FF.FF.FF.FF;") == "[PU]:$ethlink:OK;\n";
    }

    // A request with no serial answer of its own.
    void send(const QByteArray& line) { ASSERT_TRUE(s.client.send(line + '\n')); }

    // Whether the simulator logged exactly this line.
    bool logged(const QString& line) const { return s.sim->logLines().contains(line); }

    QByteArray terminalDump(const QByteArray& path) {
        return "$PU:filedump," + path + ",127.0.0.2," + port() + ",FF.FF.FF.FF.FF.FF;";
    }

    SimSession s;
    UdpReceiver rx;
};

inline SimOptions cardOptions(const QString& card, double rateMbps = 0) {
    SimOptions o;
    o.cardDir = card;
    o.linkRateMbps = rateMbps;
    return o;
}

// A file whose bytes differ from their neighbours and from their offset's low byte.
inline QByteArray pattern(int size) {
    QByteArray b(size, '\0');
    for (int i = 0; i < size; ++i) {
        b[i] = char((i * 7 + i / 251) & 0xff);
    }
    return b;
}

// A new card folder holding `paths`, each file's content being `content` or else its own path.
inline QString cardWith(const QStringList& paths, const std::optional<QByteArray>& content = {}) {
    const QString card = kelvotest::make_temp_dir(QStringLiteral("card"));
    for (const QString& p : paths) {
        EXPECT_TRUE(kelvotest::write_file(card + QLatin1Char('/') + p, content.value_or(p.toUtf8())));
    }
    return card;
}
