#pragma once

#include "SampleSpectrumSource.h"

#include <QString>
#include <QVector>

class QCustomPlot;

// The two plots of a sample's particle spectra, drawn with QCustomPlot: "_part_tot" (total
// abundance and total biovolume) and "_part_red" (abundance of the grouped size ranges, log
// scale), against depth increasing downward, or against time for a time sample. Widgets: only
// on the GUI thread.
namespace SamplePlots {

// Abundance per grouped size range of each bin: a class counts in the range that holds its
// lower edge.
QVector<QVector<double>> groupedAbundance(const ParticleSpectrum& spectrum, const SpectrumSettings& settings);

// Fills `plot` with the total plot, or the reduced one.
void drawTotal(QCustomPlot* plot, const SampleSpectrumData& sample);
void drawReduced(QCustomPlot* plot, const SampleSpectrumData& sample, const SpectrumSettings& settings);

// Writes "<folder>/<sample>_part_tot.png" and "<folder>/<sample>_part_red.png", each under a
// temporary name renamed when complete. Returns "" or the reason.
QString exportPng(const SampleSpectrumData& sample, const SpectrumSettings& settings, const QString& folder);

} // namespace SamplePlots
