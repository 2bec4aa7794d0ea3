#pragma once

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

#include <vector>

// How particle size spectra are made: the size classes, the depth bins and the grouped size
// ranges of the reduced plot. A project may change them in "config/particle_spectrum.ini"
// (keys below); every export writes them into its header so that a file says how it was made.
//
//   [classes]  smallest_esd_mm=0.0508  largest_esd_mm=26
//   [bins]     depth_m=5
//   [reduced]  ranges_mm="0.0508-0.128,0.128-0.512,0.512-2.05,2.05-26"
struct SpectrumSettings {
    double smallestEsdMm = 0.0508;
    double largestEsdMm = 26.0;
    double binMetres = 5.0;
    QVector<QPair<double, double>> reducedRanges{
        {0.0508, 0.128}, {0.128, 0.512}, {0.512, 2.05}, {2.05, 26.0}};

    static QString fileName() { return QStringLiteral("particle_spectrum.ini"); }
    // The project's settings, the defaults where it has none; false with the reason when a value
    // given there is not usable (the defaults then stand for it).
    static SpectrumSettings load(const QString& projectPath, QString* error = nullptr);

    // Class edges in millimetres: 2^(k/3) micrometres from the first at or above the smallest ESD
    // to the last at or below the largest. Classes lie between consecutive edges, and one more,
    // open, above the last edge.
    std::vector<double> classEdgesMm() const;
    // "0.0508-0.064" for a closed class, ">25.8" for the open one.
    static QString classLabel(const std::vector<double>& edges, int index);
    // The settings as comment lines for an export's header, without the comment marker.
    QStringList describe() const;
};
