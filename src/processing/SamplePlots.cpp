#include "SamplePlots.h"

#include <QDir>
#include <QSaveFile>

#include <qcustomplot.h>

#include <cmath>

namespace {

const QColor kColours[] = {QColor(31, 119, 180),  QColor(214, 39, 40),  QColor(44, 160, 44),
                           QColor(148, 103, 189), QColor(255, 127, 14), QColor(140, 86, 75)};

QString title(const SampleSpectrumData& s, const QString& what) {
    const QDateTime t = s.spectrum.firstImage;
    return QStringLiteral("%1 - %2%3")
        .arg(s.name, what,
             t.isValid() ? QStringLiteral(" - ") + t.toString(QStringLiteral("yyyy-MM-dd hh:mm"))
                         : QString());
}

void prepare(QCustomPlot* plot, const SampleSpectrumData& s, const QString& what) {
    plot->clearGraphs();
    plot->clearPlottables();
    plot->plotLayout()->clear();
    auto* rect = new QCPAxisRect(plot);
    plot->plotLayout()->addElement(
        0, 0, new QCPTextElement(plot, title(s, what), QFont(QString(), 11, QFont::Bold)));
    plot->plotLayout()->addElement(1, 0, rect);
    plot->legend = new QCPLegend;
    rect->insetLayout()->addElement(plot->legend, Qt::AlignBottom | Qt::AlignRight);
    plot->legend->setVisible(true);
    plot->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
}

// The bins' position: depth (metres, downward) or time (seconds since the epoch).
QVector<double> positions(const ParticleSpectrum& s) {
    QVector<double> y;
    for (const SpectrumBin& b : s.bins) {
        y << (s.timeSeries ? static_cast<double>(b.start.toMSecsSinceEpoch()) / 1000.0 : b.depth);
    }
    return y;
}

// A curve of `values` against the bins: x = value, y = depth; or x = time, y = value.
QCPCurve* curve(QCPAxis* valueAxis, QCPAxis* placeAxis, const ParticleSpectrum& s,
                const QVector<double>& values, const QString& name, const QColor& colour) {
    auto* c = s.timeSeries ? new QCPCurve(placeAxis, valueAxis) : new QCPCurve(valueAxis, placeAxis);
    const QVector<double> place = positions(s);
    QVector<double> x;
    QVector<double> y;
    for (int i = 0; i < values.size(); ++i) {
        if (!s.bins[static_cast<std::size_t>(i)].volumeL) {
            continue; // an empty bin has no figure, and must not read as zero
        }
        x << (s.timeSeries ? place[i] : values[i]);
        y << (s.timeSeries ? values[i] : place[i]);
    }
    c->setData(x, y);
    c->setName(name);
    c->setPen(QPen(colour, 2));
    c->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssCircle, 5));
    return c;
}

void set_place_axis(QCPAxis* axis, const ParticleSpectrum& s) {
    if (s.timeSeries) {
        QSharedPointer<QCPAxisTickerDateTime> ticker(new QCPAxisTickerDateTime);
        ticker->setDateTimeFormat(QStringLiteral("hh:mm:ss\ndd/MM"));
        axis->setTicker(ticker);
        axis->setLabel(QStringLiteral("Time"));
    } else {
        axis->setLabel(QStringLiteral("Depth [m]"));
        axis->setRangeReversed(true); // depth increases downward
    }
}

bool save(QCustomPlot* plot, const QString& path, QString* error) {
    QSaveFile file(path);
    const QPixmap pixmap = plot->toPixmap(900, 1000);
    if (!file.open(QIODevice::WriteOnly) || !pixmap.save(&file, "PNG") || !file.commit()) {
        *error = QStringLiteral("Unable to write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

} // namespace

namespace SamplePlots {

QVector<QVector<double>> groupedAbundance(const ParticleSpectrum& spectrum,
                                          const SpectrumSettings& settings) {
    QVector<QVector<double>> grouped(settings.reducedRanges.size());
    for (const SpectrumBin& bin : spectrum.bins) {
        for (int r = 0; r < settings.reducedRanges.size(); ++r) {
            const auto [low, high] = settings.reducedRanges[r];
            double sum = 0;
            for (int c = 0; c < spectrum.classCount(); ++c) {
                const double lower = spectrum.edges[static_cast<std::size_t>(c)];
                if (lower >= low * (1 - 1e-3) && lower < high * (1 - 1e-3)) {
                    sum += bin.abundance[static_cast<std::size_t>(c)];
                }
            }
            grouped[r] << sum;
        }
    }
    return grouped;
}

void drawTotal(QCustomPlot* plot, const SampleSpectrumData& sample) {
    prepare(plot, sample, QStringLiteral("total particles"));
    const ParticleSpectrum& s = sample.spectrum;
    auto* rect = plot->axisRect();
    QVector<double> abundance;
    QVector<double> biovolume;
    for (const SpectrumBin& b : s.bins) {
        double sum = 0;
        for (double a : b.abundance) {
            sum += a;
        }
        abundance << sum;
        biovolume << b.biovolumePpm;
    }
    // Abundance on one value axis, biovolume on the opposite one.
    QCPAxis* place = s.timeSeries ? rect->axis(QCPAxis::atBottom) : rect->axis(QCPAxis::atLeft);
    QCPAxis* first = s.timeSeries ? rect->axis(QCPAxis::atLeft) : rect->axis(QCPAxis::atBottom);
    QCPAxis* second = s.timeSeries ? rect->axis(QCPAxis::atRight) : rect->axis(QCPAxis::atTop);
    second->setVisible(true);
    set_place_axis(place, s);
    first->setLabel(QStringLiteral("Total abundance [#/L]"));
    second->setLabel(QStringLiteral("Total biovolume [mm\u00b3/L = ppm]"));
    first->setLabelColor(kColours[0]);
    second->setLabelColor(kColours[1]);
    curve(first, place, s, abundance, QStringLiteral("Abundance"), kColours[0])->rescaleAxes();
    curve(second, place, s, biovolume, QStringLiteral("Biovolume"), kColours[1])->rescaleAxes();
    place->scaleRange(1.05);
    first->setRangeLower(0);
    second->setRangeLower(0);
    plot->replot();
}

void drawReduced(QCustomPlot* plot, const SampleSpectrumData& sample, const SpectrumSettings& settings) {
    prepare(plot, sample, QStringLiteral("grouped sizes"));
    const ParticleSpectrum& s = sample.spectrum;
    auto* rect = plot->axisRect();
    QCPAxis* place = s.timeSeries ? rect->axis(QCPAxis::atBottom) : rect->axis(QCPAxis::atLeft);
    QCPAxis* value = s.timeSeries ? rect->axis(QCPAxis::atLeft) : rect->axis(QCPAxis::atBottom);
    set_place_axis(place, s);
    value->setLabel(QStringLiteral("Abundance [#/L], log scale"));
    value->setScaleType(QCPAxis::stLogarithmic);
    value->setTicker(QSharedPointer<QCPAxisTickerLog>(new QCPAxisTickerLog));
    const QVector<QVector<double>> grouped = groupedAbundance(s, settings);
    double lowest = 1e300;
    double highest = 0;
    for (int r = 0; r < grouped.size(); ++r) {
        QVector<double> values = grouped[r];
        for (double& v : values) {
            if (v > 0) {
                lowest = std::min(lowest, v);
                highest = std::max(highest, v);
            } else {
                v = std::nan(""); // zero has no place on a log scale
            }
        }
        const auto [low, high] = settings.reducedRanges[r];
        curve(value, place, s, values,
              QStringLiteral("%1-%2 mm").arg(QString::number(low, 'g', 3), QString::number(high, 'g', 3)),
              kColours[r % 6]);
    }
    plot->rescaleAxes();
    place->scaleRange(1.05);
    if (highest > 0) {
        value->setRange(lowest / 2, highest * 2);
    }
    plot->replot();
}

QString exportPng(const SampleSpectrumData& sample, const SpectrumSettings& settings, const QString& folder) {
    QDir().mkpath(folder);
    QCustomPlot plot;
    plot.resize(900, 1000);
    QString error;
    drawTotal(&plot, sample);
    if (!save(&plot, QStringLiteral("%1/%2_part_tot.png").arg(folder, sample.name), &error)) {
        return error;
    }
    drawReduced(&plot, sample, settings);
    if (!save(&plot, QStringLiteral("%1/%2_part_red.png").arg(folder, sample.name), &error)) {
        return error;
    }
    return QString();
}

} // namespace SamplePlots
