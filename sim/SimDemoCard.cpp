#include "SimDemoCard.h"

#include "SimCard.h"
#include "SimFrame.h"
#include "SimInstrument.h"
#include "SimParamSchema.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

// Raw outputs of the Mersenne Twister are fixed by the language; the distributions are not,
// so the mapping to ranges is done here to keep cards identical everywhere.
struct Rng {
    std::mt19937 g;
    explicit Rng(quint32 seed)
        : g(seed) {}
    int range(int lo, int hi) { return lo + int(g() % std::uint32_t(hi - lo + 1)); }
    double uniform() { return g() / 4294967296.0; }
    double between(double lo, double hi) { return lo + (hi - lo) * uniform(); }
};

enum class Shape { Descent, Ascent, TimeSeries };

struct SeqPlan {
    Shape shape;
    QString configuration;
    int images;
    double top;    // dbar
    double bottom; // dbar (time series: the fixed depth)
    bool vignettes;
    int rawFrames;
    QDateTime start;
};

class Writer {
public:
    Writer(QString root, SimDemoCardReport* report)
        : m_root(std::move(root))
        , m_report(report) {}

    bool write(const QString& cardPath, const QByteArray& bytes) {
        const QString path = m_root + QLatin1Char('/') + cardPath;
        if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
            m_error = QStringLiteral("cannot create the folder of %1").arg(path);
            return false;
        }
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size()) {
            m_error = QStringLiteral("cannot write %1: %2").arg(path, f.errorString());
            return false;
        }
        ++m_report->files;
        m_report->bytes += bytes.size();
        return true;
    }
    const QString& error() const { return m_error; }

private:
    QString m_root;
    SimDemoCardReport* m_report;
    QString m_error;
};

QString acquisitionLine(const SeqPlan& plan) {
    const auto& fields = SimParamSchema::acquisition();
    QStringList v = SimParamSchema::defaults(fields);
    const auto set = [&](const char* name, const QString& value) {
        v[SimParamSchema::indexOf(fields, name)] = value;
    };
    set("Configuration_name", plan.configuration);
    set("PT_mode", plan.shape == Shape::TimeSeries ? QStringLiteral("0") : QStringLiteral("1"));
    set("Acquisition_frequency", QStringLiteral("2.000000"));
    set("Frames_per_bloc", QStringLiteral("10"));
    set("Save_synthetic_data_for_delayed_request", QStringLiteral("1"));
    set("Save_images", plan.vignettes ? QStringLiteral("2") : QStringLiteral("0"));
    set("Interval_for_measuring_background_noise", QStringLiteral("10"));
    set("Operator_email", QStringLiteral("operator@kelvo.test"));
    return QStringLiteral("ACQ_CONF,") + v.join(QLatin1Char(',')) + QLatin1Char(';');
}

// Particles per litre fall off with depth: rich surface waters, a poor deep ocean.
double abundance(double dbar) {
    return 40.0 + 600.0 / (1.0 + dbar / 25.0);
}

// Size classes of one image: "<size px>,<count>,<mean grey>,<grey deviation>" groups.
QString objectGroups(Rng& rng, int objects) {
    QStringList groups;
    int left = objects;
    for (int size = 1; size <= 64 && left > 0; size = size < 8 ? size + 1 : size * 2) {
        const int n = size == 64 ? left : std::min(left, std::max(1, int(left * rng.between(0.25, 0.5))));
        left -= n;
        groups
            << QStringLiteral("%1,%2,%3,%4").arg(size).arg(n).arg(rng.range(90, 200)).arg(rng.range(5, 40));
    }
    if (groups.isEmpty()) {
        groups << QStringLiteral("1,0,0,0");
    }
    return groups.join(QLatin1Char(';'));
}

QByteArray vignette(Rng& rng) {
    const int w = rng.range(24, 100);
    const int h = rng.range(24, 100);
    QByteArray v(4 + w * h, '\0');
    v[0] = char(w & 0xff);
    v[1] = char(w >> 8);
    v[2] = char(h & 0xff);
    v[3] = char(h >> 8);
    const double rx = w * rng.between(0.2, 0.45);
    const double ry = h * rng.between(0.2, 0.45);
    const int peak = rng.range(120, 250);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const double dx = (x - w / 2.0) / rx;
            const double dy = (y - h / 2.0) / ry;
            const double d = dx * dx + dy * dy;
            // The background stays at or below the instrument's default segmentation threshold
            // (3), as a dark water column does, so that the object alone is measured.
            const int grey = d < 1.0 ? int(peak * (1.0 - 0.5 * d)) : int(rng.g() & 3U);
            v[4 + y * w + x] = char(std::clamp(grey, 0, 255));
        }
    }
    return v;
}

QString subFolder(int image) {
    return QStringLiteral("img_%1").arg(image / 100 * 100, 4, 10, QLatin1Char('0'));
}

bool writeSequence(Writer& out, Rng& rng, const SeqPlan& plan, const QString& hwLine, quint32 seed,
                   SimDemoCardReport* report) {
    const QString seq = plan.start.toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString dir = QStringLiteral("acq/%1/%2/").arg(plan.start.toString(QStringLiteral("yyyyMM")), seq);
    QByteArray data;
    data += hwLine.toLatin1() + '\n';
    data += acquisitionLine(plan).toLatin1() + '\n';
    QByteArray synthetic;
    int blocObjects = 0;
    double blocPressure = 0;
    std::vector<int> rawAt;
    for (int k = 0; k < plan.rawFrames; ++k) {
        rawAt.push_back((k * 2 + 1) * plan.images / (plan.rawFrames * 2 + 1) | 1); // odd: a DATA image
    }
    for (int i = 0; i < plan.images; ++i) {
        const double f = plan.images > 1 ? double(i) / (plan.images - 1) : 0;
        double p = 0;
        switch (plan.shape) {
        case Shape::Descent:
            p = plan.top + (plan.bottom - plan.top) * f;
            break;
        case Shape::Ascent:
            p = plan.bottom + (plan.top - plan.bottom) * f;
            break;
        case Shape::TimeSeries:
            p = plan.bottom + 0.4 * std::sin(i * 0.05);
            break;
        }
        p = std::max(0.0, p + rng.between(-0.15, 0.15));
        const double temperature = 4.0 + 14.0 / (1.0 + p / 120.0) + rng.between(-0.02, 0.02);
        const bool black = i % 10 == 0; // Interval_for_measuring_background_noise
        // Without flash only daylight shows objects: many near the surface, almost none at depth.
        const int objects = black ? int(std::max(0.0, 300.0 * std::exp(-p / 12.0) + rng.between(0, 3)))
                                  : int(abundance(p) * rng.between(0.8, 1.2));
        const QString when =
            plan.start.addMSecs(qint64(i) * 500).toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
        data += QStringLiteral("%1,%2,%3,%4:%5\n")
                    .arg(when)
                    .arg(p, 0, 'f', 2)
                    .arg(temperature, 0, 'f', 3)
                    .arg(black ? QLatin1Char('0') : QLatin1Char('1'))
                    .arg(objectGroups(rng, objects))
                    .toLatin1();
        blocObjects += objects;
        blocPressure += p;
        if (i % 10 == 9 || i == plan.images - 1) {
            const int n = i % 10 + 1;
            const int small = blocObjects * 6 / 10;
            const int medium = blocObjects * 3 / 10;
            synthetic += QString::asprintf("%d,%.2f,%d,%d,%d,%d\n", i / 10 + 1, blocPressure / n, blocObjects,
                                           small, medium, blocObjects - small - medium)
                             .toLatin1();
            blocObjects = 0;
            blocPressure = 0;
        }
        const QString stem = QStringLiteral("%1_%2").arg(seq).arg(i, 6, 10, QLatin1Char('0'));
        if (plan.vignettes && !black && rng.range(0, 2) == 0) {
            // A few objects per image are big enough to be cut out.
            const int cut = rng.range(1, 2);
            for (int o = 0; o < cut; ++o) {
                if (!out.write(dir + subFolder(i) + QLatin1Char('/') +
                                   QStringLiteral("%1_%2.vig").arg(stem).arg(o, 2, 10, QLatin1Char('0')),
                               vignette(rng))) {
                    return false;
                }
            }
        }
        if (std::find(rawAt.begin(), rawAt.end(), i) != rawAt.end()) {
            if (!out.write(dir + subFolder(i) + QLatin1Char('/') + stem + QStringLiteral(".raw"),
                           SimFrame::raw(std::uint32_t(i), true, seed))) {
                return false;
            }
        }
    }
    if (!out.write(dir + seq + QStringLiteral("_data.txt"), data) ||
        !out.write(dir + seq + QStringLiteral("_synthetic.txt"), synthetic)) {
        return false;
    }
    ++report->sequences;
    return true;
}

bool writeAutocheck(Writer& out, Rng& rng, const QDateTime& when, const QString& hwLine, quint32 seed) {
    const QString stem = when.toString(QStringLiteral("yyyyMMdd-HHmmss")) + QStringLiteral("_autocheck");
    QByteArray data = hwLine.toLatin1() + '\n';
    // Three flashes, then a dark frame.
    for (int i = 0; i < 4; ++i) {
        const bool black = i == 3;
        data += QStringLiteral("%1,0.00,21.500,%2:%3\n")
                    .arg(when.addSecs(i).toString(QStringLiteral("yyyyMMdd-HHmmss-zzz")))
                    .arg(black ? QLatin1Char('0') : QLatin1Char('1'))
                    .arg(objectGroups(rng, black ? 2 : 25))
                    .toLatin1();
    }
    for (int i = 0; i < 3; ++i) {
        if (!out.write(QStringLiteral("AUTOCHECK/%1_%2.vig").arg(stem).arg(i, 3, 10, QLatin1Char('0')),
                       vignette(rng))) {
            return false;
        }
    }
    return out.write(QStringLiteral("AUTOCHECK/%1_000.raw").arg(stem), SimFrame::raw(0, true, seed ^ 0xac)) &&
           out.write(QStringLiteral("AUTOCHECK/%1_data.txt").arg(stem), data);
}

} // namespace

bool SimDemoCard::make(const QString& dir, quint32 seed, QString* error, SimDemoCardReport* report) {
    SimDemoCardReport localReport;
    SimDemoCardReport* rep = report ? report : &localReport;
    *rep = SimDemoCardReport();
    const auto fail = [&](const QString& why) {
        if (error) {
            *error = why;
        }
        return false;
    };
    if (dir.isEmpty()) {
        return fail(QStringLiteral("no folder given for the demo card"));
    }
    const QFileInfo fi(dir);
    if (fi.exists() && !fi.isDir()) {
        return fail(QStringLiteral("\"%1\" exists and is not a folder").arg(dir));
    }
    if (fi.exists() &&
        !QDir(dir).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        return fail(
            QStringLiteral("the folder \"%1\" is not empty; a demo card is written only into a new or empty "
                           "folder")
                .arg(dir));
    }
    if (!QDir().mkpath(dir)) {
        return fail(QStringLiteral("cannot create the folder \"%1\"").arg(dir));
    }

    Rng rng(seed);
    // The instrument's own configuration, as a fresh simulator holds it.
    SimInstrument instrument{SimOptions()};
    const QString hwLine =
        QStringLiteral("HW_CONF,") + instrument.hardware.join(QLatin1Char(',')) + QLatin1Char(';');

    QDateTime t(QDate(2024, 3, 1).addDays(rng.range(0, 120)), QTime(6, 0), Qt::UTC);
    t = t.addSecs(rng.range(0, 3600));
    std::vector<SeqPlan> plans;
    plans.push_back({Shape::Descent, QStringLiteral("DESCENT"), rng.range(600, 800), 1.0,
                     rng.between(300, 500), true, 2, t});
    t = t.addSecs(rng.range(3, 5) * 3600 + rng.range(0, 3599));
    plans.push_back({Shape::Ascent, QStringLiteral("ASCENT"), rng.range(400, 550), 0.8, rng.between(200, 350),
                     true, 1, t});
    t = t.addSecs(rng.range(20, 30) * 3600 + rng.range(0, 3599));
    plans.push_back({Shape::TimeSeries, QStringLiteral("MOORING"), rng.range(300, 400), 0,
                     rng.between(30, 60), true, 0, t});
    t = t.addSecs(rng.range(20, 30) * 3600 + rng.range(0, 3599));
    plans.push_back({Shape::Descent, QStringLiteral("NOIMAGES"), rng.range(100, 200), 1.0,
                     rng.between(80, 150), false, 0, t});

    Writer out(dir, rep);
    for (const SeqPlan& plan : plans) {
        if (!writeSequence(out, rng, plan, hwLine, seed, rep)) {
            return fail(out.error());
        }
    }
    if (!writeAutocheck(out, rng, plans.front().start.addSecs(-600), hwLine, seed)) {
        return fail(out.error());
    }
    QString why;
    if (!SimCard(dir).updateTree(&why)) {
        return fail(why);
    }
    ++rep->files;
    rep->bytes += QFileInfo(dir + QStringLiteral("/tree.txt")).size();
    return true;
}
