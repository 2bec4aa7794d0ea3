#pragma once

#include "ParticleSpectrum.h"

#include <QMap>
#include <QString>

class Project;

// A sample as the exports see it: its header row and the spectrum of its particle archive.
struct SampleSpectrumData {
    QString name;
    QMap<QString, QString> header; // column name -> cell of the sample's header row
    ParticleSpectrum spectrum;
};

namespace SampleSpectrumSource {

// Reads the sample `name` of the open `project` (header row, particle archive through
// SampleHandler) and computes its spectrum; false with the reason.
bool load(const Project& project, const QString& name, const SpectrumSettings& settings,
          SampleSpectrumData* out, QString* error);

// Every sample of the project's header, in header order.
QStringList sampleNames(const Project& project);

} // namespace SampleSpectrumSource
