// Particle size spectra of a sample and the ODV export, on a project written by the test: a
// sample header and a particle archive whose objects were chosen so that every figure can be
// computed by hand.
#include "exports/ExportFixture.h"
#include "processing/OdvExport.h"
#include "processing/ParticleSpectrum.h"
#include "processing/SampleImageArchive.h"
#include "project/Project.h"
#include "support/TestSupport.h"

#include <QDir>

#include <gtest/gtest.h>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <cmath>
#include <numbers>

using kelvotest::read_file;
using kelvotest::write_file;

namespace {

// 100 pixels make an ESD of exactly 0.128 mm, a class edge: area = aa x pixels with exp 1.
const double kAa = std::numbers::pi * 0.064 * 0.064 / 100.0;

// Three classes: [0.128, 0.161), [0.161, 0.203), and the open one from 0.203 mm.
SpectrumSettings three_classes() {
    SpectrumSettings s;
    s.smallestEsdMm = 0.128;
    s.largestEsdMm = 0.2032;
    return s;
}

double sphere(double esd) {
    return std::numbers::pi / 6.0 * esd * esd * esd;
}

const QByteArray kCsv = "HW_CONF,x;\nACQ_CONF,y;\n"
                        "20240301-060000-000,1.0,20.5,1:100,2,0,0;400,1,0,0\n" // 0-5 m: 2 on the edge, 1 open
                        "20240301-060000-500,2.0,20.5,1:25,5,0,0\n"            // ESD 0.064: below the classes
                        "20240301-060001-000,3.0,20.5,0:100,9,0,0\n"           // BLACK: not counted
                        "20240301-060001-500,,20.5,1:100,9,0,0\n"              // no pressure: left out
                        "20240301-060002-000,12.0,20.5,1:200,1,0,0\n";         // 10-15 m; 5-10 m stays empty

// A project with one sample "cast é1" over those lines.
QString make_project(const QString& latitude) {
    const QString path =
        kelvotest::make_temp_dir(QStringLiteral("prj")) + QStringLiteral("/kelvo6_sn1_2024_cr");
    QDir().mkpath(path + QStringLiteral("/config"));
    write_file(path + QStringLiteral("/config/cruise_info.txt"), "[General]\nacron=cr\n");
    write_file(
        path + QStringLiteral("/meta/kelvo6_header_sn1_2024_cr.txt"),
        QStringLiteral("cruise;profileid;filename;latitude;longitude;bottomdepth;aa;exp;volimage;sampletype;"
                       "sampledatetime\n"
                       "Cruise\u00e91;cast \u00e91;S1;%1;-7.5;;%2;1;0.5;P;20240301-060000\n")
            .arg(latitude, QString::number(kAa, 'g', 17))
            .toUtf8());
    QDir().mkpath(path + QStringLiteral("/maridata/cast \u00e91"));
    QuaZip zip(path + QStringLiteral("/maridata/cast \u00e91/cast \u00e91_Particule.zip"));
    EXPECT_TRUE(zip.open(QuaZip::mdCreate));
    QuaZipFile entry(&zip);
    EXPECT_TRUE(entry.open(QIODevice::WriteOnly, QuaZipNewInfo(QStringLiteral("particules.csv"))));
    entry.write(kCsv);
    entry.close();
    zip.close();
    return path;
}

} // namespace

TEST(ParticleSpectrumTest, HandComputedBinsAndClasses) {
    SpectrumSample sample;
    sample.aa = kAa;
    sample.exp = 1;
    sample.volimageL = 0.5;
    ParticleSpectrum s;
    QString error;
    ASSERT_TRUE(ParticleSpectrum::compute(kCsv, sample, three_classes(), &s, &error)) << error.toStdString();
    ASSERT_EQ(s.classCount(), 3);
    ASSERT_EQ(s.bins.size(), 3u);
    const SpectrumBin& b0 = s.bins[0];
    EXPECT_DOUBLE_EQ(b0.depth, 2.5);
    EXPECT_EQ(b0.images, 2);
    EXPECT_DOUBLE_EQ(b0.volumeL, 1.0);
    EXPECT_EQ(b0.abundance, (std::vector<double>{2, 0, 1}));
    EXPECT_NEAR(b0.biovolumePpm, 2 * sphere(0.128) + sphere(0.256), 1e-12);
    // The empty bin between them: no volume, nothing divided by it.
    const SpectrumBin& b1 = s.bins[1];
    EXPECT_DOUBLE_EQ(b1.depth, 7.5);
    EXPECT_EQ(b1.images, 0);
    EXPECT_EQ(b1.abundance, (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(b1.biovolumePpm, 0);
    const SpectrumBin& b2 = s.bins[2];
    EXPECT_DOUBLE_EQ(b2.depth, 12.5);
    EXPECT_EQ(b2.abundance, (std::vector<double>{0, 2, 0}));
    EXPECT_NEAR(b2.biovolumePpm, sphere(0.128 * std::sqrt(2.0)) / 0.5, 1e-12);

    // A time sample: windows of two seconds from the first DATA image, at the constant depth.
    sample.timeSeries = true;
    sample.integrationSeconds = 2;
    sample.constantDepth = 12;
    ASSERT_TRUE(ParticleSpectrum::compute(kCsv, sample, three_classes(), &s, &error));
    ASSERT_EQ(s.bins.size(), 2u);
    EXPECT_EQ(s.bins[0].images, 3);
    EXPECT_EQ(s.bins[0].abundance, (std::vector<double>{11 / 1.5, 0, 1 / 1.5}));
    EXPECT_EQ(s.bins[1].start.toString(QStringLiteral("hh:mm:ss")), QStringLiteral("06:00:02"));
    EXPECT_DOUBLE_EQ(s.bins[1].depth, 12);

    sample.integrationSeconds = 0;
    EXPECT_FALSE(ParticleSpectrum::compute(kCsv, sample, three_classes(), &s, &error));
    EXPECT_EQ(error, QStringLiteral("A time sample needs an integration time above 0 s"));
    sample.timeSeries = false;
    EXPECT_FALSE(ParticleSpectrum::compute("20240301-060000,1,2,1:3", sample, three_classes(), &s, &error));
    EXPECT_EQ(error, QStringLiteral("particules.csv does not start with its HW_CONF and ACQ_CONF lines"));
}

TEST(OdvExportTest, FileReadBackColumnByColumnAndProjectSettings) {
    const QString path = make_project(QStringLiteral("43\u00b041 10"));
    write_file(path + QStringLiteral("/config/particle_spectrum.ini"),
               "[classes]\nsmallest_esd_mm=0.128\nlargest_esd_mm=0.2032\n");
    Project project;
    ASSERT_TRUE(project.Load(path, true));
    QStringList warnings;
    ASSERT_EQ(OdvExport::exportAll(project, &warnings), QString());
    EXPECT_TRUE(warnings.isEmpty()) << warnings.join(QLatin1Char('\n')).toStdString();
    const QByteArray file = read_file(path + QStringLiteral("/results/cast \u00e91_odv.txt"));
    EXPECT_EQ(read_file(path + QStringLiteral("/results/cr_odv.txt")).split('\n').mid(5),
              file.split('\n').mid(5));
    for (char c : file) {
        ASSERT_TRUE(static_cast<unsigned char>(c) < 0x80) << "not ASCII";
    }
    const QList<QByteArray> lines = file.split('\n');
    EXPECT_EQ(lines[2], "//<Version>ODV Spreadsheet V4.0</Version>");
    EXPECT_EQ(lines[3], "//<DataField>Ocean</DataField>");
    EXPECT_EQ(lines[4], "//<DataType>Profiles</DataType>");
    EXPECT_TRUE(file.contains("\n//Class edges [mm]: 0.128 0.16127 0.203187\n"));
    int labels = 0;
    while (lines[labels].startsWith("//")) {
        ++labels;
    }
    EXPECT_EQ(lines[labels], "Cruise\tStation\tType\tyyyy-mm-ddThh:mm:ss.sss\tLongitude [degrees_east]\t"
                             "Latitude [degrees_north]\tBot. Depth [m]\tDepth [m]\tSampled volume [L]\t"
                             "LPM (0.128-0.161 mm) [#/L]\tLPM (0.161-0.203 mm) [#/L]\tLPM (>0.203 mm) [#/L]\t"
                             "LPM biovolume [ppm]");
    const QList<QByteArray> first = lines[labels + 1].split('\t');
    ASSERT_EQ(first.size(), 13);
    EXPECT_EQ(first.mid(0, 9), (QList<QByteArray>{"Cruisee1", "cast e1", "C", "2024-03-01T06:00:00.000",
                                                  "-7.500000", "43.686111", "", "2.50", "1"}));
    EXPECT_EQ(first.mid(9, 3), (QList<QByteArray>{"2", "0", "1"}));
    EXPECT_NEAR(first[12].toDouble(), 2 * sphere(0.128) + sphere(0.256), 1e-5);
    // Later rows carry no metadata; the empty bin has no volume and no figures.
    EXPECT_EQ(lines[labels + 2], "\t\t\t\t\t\t\t7.50\t0\t\t\t\t");
    EXPECT_TRUE(lines[labels + 3].startsWith("\t\t\t\t\t\t\t12.50\t0.5\t0\t2\t0\t"));
    EXPECT_EQ(lines[labels + 4], "");

    // The plots of the same sample, drawn off screen by the command line.
    const kelvotest::ProgramRun run = kelvotest::run_program(kelvotest::bin_dir() + QStringLiteral("/kelvo"),
                                                             {"export", "plots", path, "--all"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    for (const char* suffix : {"_part_tot.png", "_part_red.png"}) {
        const QByteArray png =
            read_file(path + QStringLiteral("/results/cast \u00e91") + QLatin1String(suffix));
        ASSERT_GT(png.size(), 24) << suffix;
        EXPECT_EQ(png.left(8), QByteArray("\x89PNG\r\n\x1a\n", 8));
        EXPECT_EQ(png.mid(16, 8), QByteArray("\0\0\x03\x84\0\0\x03\xe8", 8)); // 900 x 1000
    }
}

TEST(OdvExportTest, RefusalsLeaveTheOlderExport) {
    const QString path = make_project(QStringLiteral("43,6"));
    Project project;
    ASSERT_TRUE(project.Load(path, true));
    // A position in neither form: the file is written with the field empty, and a warning says so.
    QStringList warnings;
    ASSERT_EQ(OdvExport::exportSample(project, QStringLiteral("cast \u00e91"), &warnings), QString());
    EXPECT_EQ(warnings, QStringList{QStringLiteral("latitude of cast \u00e91 \"43,6\" is in neither accepted "
                                                   "form; left empty")});
    const QString exported = path + QStringLiteral("/results/cast \u00e91_odv.txt");
    const QByteArray before = read_file(exported);
    EXPECT_TRUE(before.contains("\tC\t2024-03-01T06:00:00.000\t-7.500000\t\t\t2.50\t"));

    EXPECT_EQ(OdvExport::exportSample(project, QStringLiteral("nope"), nullptr),
              QStringLiteral("Sample nope not found"));
    // A damaged particle archive: refused, the older export stays.
    write_file(path + QStringLiteral("/maridata/cast \u00e91/cast \u00e91_Particule.zip"), "not a zip");
    EXPECT_FALSE(OdvExport::exportSample(project, QStringLiteral("cast \u00e91"), nullptr).isEmpty());
    EXPECT_EQ(read_file(exported), before);
    QFile::remove(path + QStringLiteral("/maridata/cast \u00e91/cast \u00e91_Particule.zip"));
    EXPECT_EQ(OdvExport::exportSample(project, QStringLiteral("cast \u00e91"), nullptr),
              QStringLiteral("Sample cast \u00e91 has no particle archive: process its data first"));

    // The command line: refusals exit 1, the spectrum is printed as a table.
    const kelvotest::ProgramRun run = kelvotest::run_program(kelvotest::bin_dir() + QStringLiteral("/kelvo"),
                                                             {"export", "odv", path, "cast \u00e91"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "Sample cast \xc3\xa9"
                       "1 has no particle archive: process its data first\n");
}

TEST(SampleImageArchiveTest, RangeVignettesAsPngAndTheirObjectTable) {
    const QString path = exporttest::vignette_project();
    Project project;
    ASSERT_TRUE(project.Load(path, true));
    QStringList warnings;
    ASSERT_EQ(SampleImageArchive::build(project, QStringLiteral("s1"), &warnings), QString());
    EXPECT_EQ(warnings, QStringList{QStringLiteral("img_0000/S1_000003_01.vig: not a vignette (100 bytes)")});

    QuaZip zip(path + QStringLiteral("/maridata/s1/s1_Images.zip"));
    ASSERT_TRUE(zip.open(QuaZip::mdUnzip));
    EXPECT_EQ(zip.getFileNameList(), (QStringList{"S1_000002_00.png", "objects_s1.tsv"}));
    zip.setCurrentFile(QStringLiteral("objects_s1.tsv"));
    QuaZipFile table(&zip);
    ASSERT_TRUE(table.open(QIODevice::ReadOnly));
    const QList<QByteArray> rows = table.readAll().split('\n');
    ASSERT_EQ(rows.size(), 4); // names, types, one vignette, and the final line end
    EXPECT_EQ(rows[0], SampleImageArchive::columns().join(QLatin1Char('\t')).toUtf8());
    EXPECT_TRUE(
        rows[0].startsWith("img_file_name\timg_rank\tobject_id\tobject_lat\tobject_lon\tobject_date\t"));
    EXPECT_EQ(rows[1].count("[t]") + rows[1].count("[f]"), rows[0].count('\t') + 1);
    const QList<QByteArray> f = rows[2].split('\t');
    ASSERT_EQ(f.size(), SampleImageArchive::columns().size());
    const auto at = [&](const char* column) {
        return f.value(static_cast<int>(SampleImageArchive::columns().indexOf(QLatin1String(column))));
    };
    EXPECT_EQ(at("img_file_name"), "S1_000002_00.png");
    EXPECT_EQ(at("object_lat"), "-10.5");
    EXPECT_EQ(at("object_lon"), "20.25");
    EXPECT_EQ(at("object_date"), "20240301");
    EXPECT_EQ(at("object_time"), "060002");
    EXPECT_EQ(at("object_depth_min"), "4");
    EXPECT_EQ(at("object_area"), "60"); // the rectangle; the background is at the threshold or below
    EXPECT_NEAR(at("object_esd").toDouble(), 2 * std::sqrt(0.6 / std::numbers::pi), 1e-5);
    EXPECT_EQ(at("object_mean"), "200");
    EXPECT_EQ(at("object_stddev"), "0");
    EXPECT_NEAR(at("object_major").toDouble(), std::sqrt(132.0), 1e-4);
    EXPECT_NEAR(at("object_minor").toDouble(), std::sqrt(8 * (35.0 / 12 + 99.0 / 12 - (99.0 - 35.0) / 12)),
                1e-4);
    EXPECT_EQ(at("object_perimeter"), "28");
    EXPECT_EQ(at("sample_id"), "s1");
    EXPECT_EQ(at("acq_id"), "S1");

    // A sequence without images.zip: refused, the archive already written stays.
    QFile::remove(path + QStringLiteral("/raw/S1/images.zip"));
    EXPECT_EQ(SampleImageArchive::build(project, QStringLiteral("s1"), nullptr),
              QStringLiteral("Sequence S1 has no images.zip: download it or build it first"));
    EXPECT_TRUE(QFileInfo::exists(path + QStringLiteral("/maridata/s1/s1_Images.zip")));
}
