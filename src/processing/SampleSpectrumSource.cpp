#include "SampleSpectrumSource.h"

#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/SampleHandler.h"

#include <QFileInfo>

#include <cmath>

namespace {

double number_or_nan(const QString& text) {
    bool ok = false;
    const double v = text.trimmed().toDouble(&ok);
    return ok ? v : NAN;
}

} // namespace

namespace SampleSpectrumSource {

QStringList sampleNames(const Project& project) {
    QStringList names;
    const RAMCsv& header = project.SampleHeader();
    for (int row = 0; row < header.RowCount(); ++row) {
        names << header.Get(row, QStringLiteral("profileid"));
    }
    return names;
}

bool load(const Project& project, const QString& name, const SpectrumSettings& settings,
          SampleSpectrumData* out, QString* error) {
    const auto fail = [&](const QString& why) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    };
    const RAMCsv& header = project.SampleHeader();
    const int row = SampleForm::FindRow(project, name);
    if (row < 0) {
        return fail(QStringLiteral("Sample %1 not found").arg(name));
    }
    SampleSpectrumData data;
    data.name = name;
    for (const QString& column : header.Columns()) {
        data.header.insert(column, header.Get(row, column));
    }
    SampleHandler handler(project.Path());
    if (!QFileInfo::exists(handler.ParticleArchivePath(name))) {
        return fail(QStringLiteral("Sample %1 has no particle archive: process its data first").arg(name));
    }
    const QByteArray csv = handler.getParticuleCSVContent(name);
    if (csv.isEmpty()) {
        return fail(handler.LastError().isEmpty()
                        ? QStringLiteral("The particle archive of %1 is empty").arg(name)
                        : handler.LastError());
    }
    SpectrumSample sample;
    sample.aa = number_or_nan(data.header.value(QStringLiteral("aa")));
    sample.exp = number_or_nan(data.header.value(QStringLiteral("exp")));
    sample.volimageL = number_or_nan(data.header.value(QStringLiteral("volimage")));
    if (!std::isfinite(sample.aa) || !std::isfinite(sample.exp) || !std::isfinite(sample.volimageL)) {
        return fail(
            QStringLiteral("Sample %1 lacks a calibration: aa, exp and volimage must be numbers").arg(name));
    }
    sample.timeSeries = data.header.value(QStringLiteral("sampletype")) == QLatin1String("T");
    sample.integrationSeconds = number_or_nan(data.header.value(QStringLiteral("integrationtime")));
    sample.constantDepth = number_or_nan(data.header.value(QStringLiteral("constantdepth")));
    QString why;
    if (!ParticleSpectrum::compute(csv, sample, settings, &data.spectrum, &why)) {
        return fail(QStringLiteral("Sample %1: %2").arg(name, why));
    }
    *out = std::move(data);
    return true;
}

} // namespace SampleSpectrumSource
