// `kelvo export odv` and `kelvo sample spectrum`: the exports of samples without the window, over
// the same code as the worker's tasks.
#include "CliCommand.h"
#include "CliOutput.h"

#include "processing/ExportTasks.h"
#include "processing/OdvExport.h"
#include "processing/SamplePlots.h"
#include "processing/SampleSpectrumSource.h"
#include "project/Project.h"

#include <algorithm>
#include <cstdio>

namespace {

const char* const kExportUsage = "Usage: kelvo export odv|plots PROJECT (SAMPLE... | --all)\n";
const char* const kExportHelp =
    "Writes results/<sample>_odv.txt for each SAMPLE of PROJECT: its particle size spectra as an\n"
    "ODV spreadsheet. With --all, every sample's file and results/<acronym>_odv.txt holding them\n"
    "all. Size classes and depth bins come from config/particle_spectrum.ini when the project has\n"
    "one. One line per file written or refused; exit 1 if any was refused.\n"
    "plots writes results/<sample>_part_tot.png (total abundance and biovolume) and _part_red.png\n"
    "(grouped size ranges, log scale) for each SAMPLE, or every sample with --all.\n";
const char* const kSpectrumUsage = "Usage: kelvo sample spectrum PROJECT SAMPLE\n";

bool open_project(const QString& path, Project& project) {
    if (!project.Load(path, true)) {
        err(QStringLiteral("kelvo: %1\n").arg(project.LastError()));
        return false;
    }
    return true;
}

int export_command(const QStringList& args) {
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        out(QString::fromLatin1(kExportUsage) + QString::fromLatin1(kExportHelp));
        return 0;
    }
    QStringList positional;
    bool all = false;
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--all")) {
            all = true;
        } else if (args[i].startsWith(QLatin1String("--"))) {
            err(QStringLiteral("kelvo export: unknown option %1\n").arg(args[i]) +
                QString::fromLatin1(kExportUsage));
            return 2;
        } else {
            positional << args[i];
        }
    }
    const bool plots = args.value(0) == QLatin1String("plots");
    if ((args.value(0) != QLatin1String("odv") && !plots) || positional.isEmpty() ||
        (all == (positional.size() > 1))) {
        err(QString::fromLatin1(kExportUsage));
        return 2;
    }
    Project project;
    if (!open_project(positional[0], project)) {
        return 1;
    }
    int failed = 0;
    const auto report = [&](const QString& file, const QString& error, const QStringList& warnings) {
        for (const QString& w : warnings) {
            err(QStringLiteral("warning: %1\n").arg(w));
        }
        if (error.isEmpty()) {
            out(QStringLiteral("%1\n").arg(file));
        } else {
            ++failed;
            err(QStringLiteral("%1\n").arg(error));
        }
    };
    const QString results = project.Path() + QStringLiteral("/results/");
    if (plots) {
        ExportTasks::setPlotRenderer(&SamplePlots::exportPng);
        const QStringList names = all ? SampleSpectrumSource::sampleNames(project) : positional.mid(1);
        for (const QString& name : names) {
            const QString status = ExportTasks::exportPlots(project.Path(), name);
            if (status.startsWith(QLatin1String("Warn:"))) {
                ++failed;
                err(status + QLatin1Char('\n'));
            } else {
                out(results + name + QStringLiteral("_part_tot.png\n") + results + name +
                    QStringLiteral("_part_red.png\n"));
            }
        }
    } else if (all) {
        QStringList warnings;
        const QString error = OdvExport::exportAll(project, &warnings);
        for (const QString& name : SampleSpectrumSource::sampleNames(project)) {
            if (!error.contains(name)) {
                out(OdvExport::filePath(project, name) + QLatin1Char('\n'));
            }
        }
        report(OdvExport::filePath(project, project.Acronym()), error, warnings);
    } else {
        for (const QString& name : positional.mid(1)) {
            QStringList warnings;
            const QString error = OdvExport::exportSample(project, name, &warnings);
            report(OdvExport::filePath(project, name), error, warnings);
        }
    }
    return failed > 0 ? 1 : 0;
}

static CliRegistrar exportReg({"export", "export odv|plots PROJECT (SAMPLE... | --all)",
                               "write the particle size spectra of samples as ODV spreadsheets or plots",
                               &export_command});

} // namespace

// `kelvo sample images PROJECT (SAMPLE... | --all)`: the sample image archives.
int sample_images_command(const QStringList& args) {
    QStringList names = args.mid(1);
    const bool all = names.removeAll(QStringLiteral("--all")) > 0;
    if (names.isEmpty() || all == (names.size() > 1) ||
        std::any_of(names.begin(), names.end(),
                    [](const QString& n) { return n.startsWith(QLatin1String("--")); })) {
        err(QStringLiteral("Usage: kelvo sample images PROJECT (SAMPLE... | --all)\n"));
        return 2;
    }
    Project project;
    if (!open_project(names.takeFirst(), project)) {
        return 1;
    }
    if (all) {
        names = SampleSpectrumSource::sampleNames(project);
    }
    int failed = 0;
    for (const QString& name : names) {
        const QString status = ExportTasks::buildImages(project.Path(), name);
        failed += status.startsWith(QLatin1String("Warn:")) ? 1 : 0;
        out(QStringLiteral("%1: %2\n").arg(name, status));
    }
    return failed > 0 ? 1 : 0;
}

// `kelvo sample spectrum PROJECT SAMPLE`: the binned table as TSV on standard output.
int sample_spectrum_command(const QStringList& args) {
    if (args.size() != 3 || args[1].startsWith(QLatin1String("--"))) {
        err(QString::fromLatin1(kSpectrumUsage));
        return 2;
    }
    Project project;
    if (!open_project(args[1], project)) {
        return 1;
    }
    QString error;
    const SpectrumSettings settings = SpectrumSettings::load(project.Path(), &error);
    if (!error.isEmpty()) {
        err(QStringLiteral("warning: %1\n").arg(error));
    }
    SampleSpectrumData data;
    if (!SampleSpectrumSource::load(project, args[2], settings, &data, &error)) {
        err(error + QLatin1Char('\n'));
        return 1;
    }
    const ParticleSpectrum& s = data.spectrum;
    QStringList header{s.timeSeries ? QStringLiteral("start") : QStringLiteral("depth_m"),
                       QStringLiteral("images"), QStringLiteral("volume_l")};
    for (int c = 0; c < s.classCount(); ++c) {
        header << SpectrumSettings::classLabel(s.edges, c) + QStringLiteral(" mm [#/L]");
    }
    header << QStringLiteral("biovolume_ppm");
    out(header.join(QLatin1Char('\t')) + QLatin1Char('\n'));
    for (const SpectrumBin& bin : s.bins) {
        QStringList f{s.timeSeries ? bin.start.toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz"))
                                   : QString::number(bin.depth, 'f', 2),
                      QString::number(bin.images), QString::number(bin.volumeL, 'g', 6)};
        for (double a : bin.abundance) {
            f << QString::number(a, 'g', 6);
        }
        f << QString::number(bin.biovolumePpm, 'g', 6);
        out(f.join(QLatin1Char('\t')) + QLatin1Char('\n'));
    }
    return 0;
}
