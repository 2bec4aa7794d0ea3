#include "OdvExport.h"

#include "KelvoVersion.h"
#include "project/Project.h"

#include <QDir>
#include <QRegularExpression>
#include <QSaveFile>

namespace {

QString num(double v, int digits = 6) {
    return std::isfinite(v) ? QString::number(v, 'g', digits) : QString();
}

QString iso_time(const QDateTime& t) {
    return t.isValid() ? t.toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz")) : QString();
}

// The sample's date-time: "sampledatetime" when it holds one, else its first image's.
QDateTime sample_time(const SampleSpectrumData& s) {
    const QString text = s.header.value(QStringLiteral("sampledatetime")).trimmed();
    const QDateTime t = ParticleSpectrum::parseImageTime(text.toLatin1());
    return t.isValid() ? t : s.spectrum.firstImage;
}

QString position(const SampleSpectrumData& s, const char* column, QStringList* warnings) {
    const QString text = s.header.value(QLatin1String(column)).trimmed();
    if (text.isEmpty() || text == QLatin1String("nan")) {
        return QString();
    }
    const double v = OdvExport::decimalDegrees(text);
    if (!std::isfinite(v)) {
        if (warnings != nullptr) {
            *warnings << QStringLiteral("%1 of %2 \"%3\" is in neither accepted form; left empty")
                             .arg(QLatin1String(column), s.name, text);
        }
        return QString();
    }
    return QString::number(v, 'f', 6);
}

// The settings of the project; a refused value is a warning, its default is used.
SpectrumSettings load_settings(const Project& project, QStringList* warnings) {
    QString error;
    const SpectrumSettings settings = SpectrumSettings::load(project.Path(), &error);
    if (!error.isEmpty() && warnings != nullptr) {
        *warnings << error;
    }
    return settings;
}

bool save(const QString& path, const QByteArray& bytes, QString* error) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = QStringLiteral("Unable to write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

} // namespace

namespace OdvExport {

double decimalDegrees(const QString& text) {
    static const QRegularExpression dms(QStringLiteral("^([+-]?)(\\d{1,3})\u00B0(\\d{1,2}) (\\d{1,2})$"));
    static const QRegularExpression decimal(QStringLiteral("^[+-]?\\d{1,3}\\.\\d+$"));
    const QString t = text.trimmed();
    if (const QRegularExpressionMatch m = dms.match(t); m.hasMatch()) {
        const double v =
            m.captured(2).toDouble() + m.captured(3).toDouble() / 60.0 + m.captured(4).toDouble() / 3600.0;
        return m.captured(1) == QLatin1String("-") ? -v : v;
    }
    if (decimal.match(t).hasMatch()) {
        return t.toDouble();
    }
    return NAN;
}

QString ascii(const QString& text) {
    QString out;
    for (const QChar c : text.normalized(QString::NormalizationForm_D)) {
        if (c.category() == QChar::Mark_NonSpacing) {
            continue;
        }
        if (c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r')) {
            out += QLatin1Char(' ');
        } else if (c.unicode() < 0x20 || c.unicode() > 0x7e) {
            out += QLatin1Char('?');
        } else {
            out += c;
        }
    }
    return out;
}

QByteArray text(const QVector<SampleSpectrumData>& samples, const SpectrumSettings& settings,
                QStringList* warnings) {
    const std::vector<double> edges = settings.classEdgesMm();
    const bool anyTime = std::any_of(samples.begin(), samples.end(),
                                     [](const SampleSpectrumData& s) { return s.spectrum.timeSeries; });
    const bool allTime =
        !samples.isEmpty() && std::all_of(samples.begin(), samples.end(),
                                          [](const SampleSpectrumData& s) { return s.spectrum.timeSeries; });
    QStringList lines;
    lines << QStringLiteral("//<Creator>KelvoApp %1</Creator>").arg(QString::fromLatin1(kKelvoVersionNumber))
          << QStringLiteral("//<CreateTime>%1</CreateTime>")
                 .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-ddThh:mm:ss")))
          << QStringLiteral("//<Version>ODV Spreadsheet V4.0</Version>")
          << QStringLiteral("//<DataField>Ocean</DataField>")
          << (allTime ? QStringLiteral("//<DataType>TimeSeries</DataType>")
                      : QStringLiteral("//<DataType>Profiles</DataType>"));
    for (const QString& line : settings.describe()) {
        lines << QStringLiteral("//") + line;
    }
    lines << QStringLiteral("//Abundance: objects per litre of imaged water; biovolume: spheres of the ESD, "
                            "mm^3 per litre (ppm)");
    for (const SampleSpectrumData& s : samples) {
        lines << QStringLiteral(
                     "//Calibration of %1: area [mm^2] = %2 x area [pixels]^%3; %4 L imaged per image")
                     .arg(ascii(s.name), s.header.value(QStringLiteral("aa")),
                          s.header.value(QStringLiteral("exp")), s.header.value(QStringLiteral("volimage")));
    }
    QStringList labels{QStringLiteral("Cruise"),
                       QStringLiteral("Station"),
                       QStringLiteral("Type"),
                       QStringLiteral("yyyy-mm-ddThh:mm:ss.sss"),
                       QStringLiteral("Longitude [degrees_east]"),
                       QStringLiteral("Latitude [degrees_north]"),
                       QStringLiteral("Bot. Depth [m]"),
                       QStringLiteral("Depth [m]")};
    if (anyTime) {
        labels << QStringLiteral("time_ISO8601"); // a time sample's windows
    }
    labels << QStringLiteral("Sampled volume [L]");
    for (int c = 0; c < static_cast<int>(edges.size()); ++c) {
        labels << QStringLiteral("LPM (%1 mm) [#/L]").arg(SpectrumSettings::classLabel(edges, c));
    }
    labels << QStringLiteral("LPM biovolume [ppm]");
    lines << labels.join(QLatin1Char('\t'));

    for (const SampleSpectrumData& s : samples) {
        bool first = true;
        for (const SpectrumBin& bin : s.spectrum.bins) {
            QStringList f;
            if (first) {
                const QString bottom = s.header.value(QStringLiteral("bottomdepth")).trimmed();
                const bool hasBottom = !bottom.isEmpty() && bottom != QLatin1String("nan");
                f << ascii(s.header.value(QStringLiteral("cruise"))) << ascii(s.name)
                  << (s.spectrum.timeSeries ? QStringLiteral("*") : QStringLiteral("C"))
                  << iso_time(sample_time(s)) << position(s, "longitude", warnings)
                  << position(s, "latitude", warnings) << (hasBottom ? num(bottom.toDouble()) : QString());
                first = false;
            } else {
                f << QString() << QString() << QString() << QString() << QString() << QString() << QString();
            }
            f << QString::number(bin.depth, 'f', 2);
            if (anyTime) {
                f << (s.spectrum.timeSeries ? iso_time(bin.start) : QString());
            }
            f << num(bin.volumeL);
            for (double a : bin.abundance) {
                f << (bin.volumeL > 0 ? num(a) : QString());
            }
            f << (bin.volumeL > 0 ? num(bin.biovolumePpm) : QString());
            lines << f.join(QLatin1Char('\t'));
        }
    }
    return lines.join(QLatin1Char('\n')).toLatin1() + '\n';
}

QString filePath(const Project& project, const QString& stem) {
    return project.Path() + QStringLiteral("/results/%1_odv.txt").arg(stem);
}

QString exportSample(const Project& project, const QString& sample, QStringList* warnings) {
    const SpectrumSettings settings = load_settings(project, warnings);
    QString error;
    SampleSpectrumData data;
    if (!SampleSpectrumSource::load(project, sample, settings, &data, &error)) {
        return error;
    }
    return save(filePath(project, sample), text({data}, settings, warnings), &error) ? QString() : error;
}

QString exportAll(const Project& project, QStringList* warnings) {
    const SpectrumSettings settings = load_settings(project, warnings);
    QString error;
    QStringList failures;
    QVector<SampleSpectrumData> all;
    for (const QString& name : SampleSpectrumSource::sampleNames(project)) {
        SampleSpectrumData data;
        if (!SampleSpectrumSource::load(project, name, settings, &data, &error)) {
            failures << error;
            continue;
        }
        if (!save(filePath(project, name), text({data}, settings, warnings), &error)) {
            failures << error;
        }
        all.append(std::move(data));
    }
    if (!all.isEmpty()) {
        if (!save(filePath(project, project.Acronym()), text(all, settings, nullptr), &error)) {
            failures << error;
        }
    }
    return failures.join(QStringLiteral("; "));
}

} // namespace OdvExport
