#pragma once

#include "SampleSpectrumSource.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <cmath>

class Project;

// The ODV export: particle size spectra as an ODV generic spreadsheet (V4), one station per
// sample, TAB-separated and ASCII only. Written under a temporary name and renamed when complete,
// so that a failure leaves the older export.
namespace OdvExport {

// The whole file for `samples` (each its own station).
QByteArray text(const QVector<SampleSpectrumData>& samples, const SpectrumSettings& settings,
                QStringList* warnings = nullptr);

// "<project>/results/<stem>_odv.txt": a sample's file, or with the acronym the project's.
QString filePath(const Project& project, const QString& stem);

// "results/<sample>_odv.txt" of one sample. Returns "" when written, else the reason; `warnings`
// gets what was left empty (a position in neither accepted form).
QString exportSample(const Project& project, const QString& sample, QStringList* warnings = nullptr);
// Every sample's own file, then "results/<acronym>_odv.txt" with every sample that could be
// read. Returns "" when all went well, else the reasons joined.
QString exportAll(const Project& project, QStringList* warnings = nullptr);

// A position of the sample header, "+DDD°MM SS" or "+DDD.ddd", as signed decimal degrees; NaN
// when it is in neither form.
double decimalDegrees(const QString& text);
// `text` in ASCII: accents dropped ("é" gives "e"), other characters replaced by '?', TABs and line
// ends by spaces (they would break the table).
QString ascii(const QString& text);

} // namespace OdvExport
