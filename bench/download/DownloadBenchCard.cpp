#include "DownloadBenchCard.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace downloadbench {

void use_temporary_home() {
    static QTemporaryDir home(QDir::tempPath() + QStringLiteral("/kelvo-bench-home-XXXXXX"));
    const QByteArray h = home.path().toLocal8Bit();
    setenv("HOME", h.constData(), 1);
    setenv("XDG_CONFIG_HOME", (h + "/.config").constData(), 1);
    setenv("XDG_DATA_HOME", (h + "/.local/share").constData(), 1);
    setenv("XDG_CACHE_HOME", (h + "/.cache").constData(), 1);
}

namespace {

bool write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

// A vignette as the instrument saves one: a dark, slightly noisy background with a brighter
// object in the middle (16-bit width and height first).
QByteArray vignette(std::mt19937& rng, int bytes) {
    const int side = std::max(4, static_cast<int>(std::sqrt(static_cast<double>(bytes - 4))));
    QByteArray v(4 + side * side, '\0');
    v[0] = static_cast<char>(side & 0xFF);
    v[1] = static_cast<char>(side >> 8);
    v[2] = v[0];
    v[3] = v[1];
    std::uniform_int_distribution<int> noise(0, 6);
    const double c = side / 2.0;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const double d = std::hypot(x - c, y - c) / c;
            const int value = d < 0.6 ? 140 - static_cast<int>(d * 120) + noise(rng) * 4 : 18 + noise(rng);
            v[4 + y * side + x] = static_cast<char>(value);
        }
    }
    return v;
}

QByteArray frame(std::mt19937& rng) {
    QByteArray f(5126160, '\0');
    std::uniform_int_distribution<int> noise(0, 5);
    for (int i = 0; i < f.size(); ++i) {
        f[i] = static_cast<char>(20 + (i % 2480) / 40 + noise(rng));
    }
    return f;
}

} // namespace

QString write_realistic_sequence(const QString& card, std::int64_t* bytes) {
    const QString name = QStringLiteral("20250612-101500");
    const QString dir = QStringLiteral("acq/202506/") + name + QLatin1Char('/');
    QStringList tree;
    std::int64_t total = 0;
    std::mt19937 rng(7);
    const auto add = [&](const QString& rel, const QByteArray& content) {
        write(card + QLatin1Char('/') + dir + rel, content);
        tree << dir + rel;
        total += content.size();
    };
    QByteArray data;
    data.reserve(50000 * 80);
    for (int i = 0; i < 50000; ++i) {
        data += QStringLiteral("20250612-%1;%2;%3;1;%4;%5\n")
                    .arg(101500 + i % 60000, 6, 10, QLatin1Char('0'))
                    .arg(5.0 + i * 0.02, 0, 'f', 2)
                    .arg(12.5 - i * 0.0001, 0, 'f', 3)
                    .arg(i % 37)
                    .arg(i % 11)
                    .toLatin1();
    }
    add(name + QStringLiteral("_data.txt"), data);
    add(name + QStringLiteral("_synthetic.txt"), data.left(400000));
    std::uniform_int_distribution<int> size(1000, 60000);
    for (int i = 0; i < 2000; ++i) {
        add(QStringLiteral("img_%1/%2_%3.vig")
                .arg(i / 100, 4, 10, QLatin1Char('0'))
                .arg(name)
                .arg(i, 6, 10, QLatin1Char('0')),
            vignette(rng, size(rng)));
    }
    for (int i = 0; i < 20; ++i) {
        add(QStringLiteral("img_%1/%2_frame%3.raw")
                .arg(i, 4, 10, QLatin1Char('0'))
                .arg(name)
                .arg(i, 3, 10, QLatin1Char('0')),
            frame(rng));
    }
    write(card + QStringLiteral("/tree.txt"), tree.join(QLatin1Char('\n')).toUtf8() + '\n');
    if (bytes) {
        *bytes = total;
    }
    return name;
}

double peak_rss_mb() {
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f) {
        return -1;
    }
    char line[256];
    double kb = -1;
    while (std::fgets(line, sizeof line, f)) {
        if (std::sscanf(line, "VmHWM: %lf kB", &kb) == 1) {
            break;
        }
    }
    std::fclose(f);
    return kb / 1024.0;
}

void reset_peak_rss() {
    if (FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", f);
        std::fclose(f);
    }
}

} // namespace downloadbench
