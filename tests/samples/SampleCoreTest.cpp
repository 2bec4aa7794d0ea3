// Samples without the window: the particle archive's exact bytes, its first/last rules and its
// failures, the readers of the archive, range detection, and the rules of the sample dialog.
#include "SampleFixture.h"
#include "processing/RangeDetector.h"
#include "processing/SampleDataProcessor.h"
#include "processing/SampleTasks.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/SampleHandler.h"
#include "support/LogCapture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

#include <limits>

using namespace kelvotest;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const QByteArray kHw = "HW_CONF,000120LP,1,CONF1;";
const QByteArray kAcq = "ACQ_CONF,CONF1,1,2.000000;";

// A header with one sample; `cells` overrides the defaults.
void add_sample(Project& p, const QMap<QString, QString>& cells) {
    QMap<QString, QString> v{
        {"cruise", "cast"},         {"ship", "Thalia"},     {"filename", "S1"},
        {"profileid", "cast_st01"}, {"bottomdepth", "300"}, {"latitude", "43.6861"},
        {"longitude", "7.3167"},    {"firstimage", "1"},    {"endimg", "3"},
        {"volimage", "0.65"},       {"aa", "0.0053801"},    {"exp", "1.000000"},
        {"sampletype", "P"},        {"pixelsize", "73"},    {"sampledatetime", "20240301-060001"},
        {"comment", "first cast"}};
    for (auto it = cells.begin(); it != cells.end(); ++it) {
        v.insert(it.key(), it.value());
    }
    RAMCsv& h = p.SampleHeader();
    h.AddRow({});
    for (const QString& c : SampleHeaderColumns::All()) {
        h.Set(h.RowCount() - 1, c, v.value(c));
    }
    ASSERT_TRUE(p.SaveSampleHeader());
}

QByteArray entry_of(const QString& zipPath, const QString& name, int* method = nullptr) {
    QuaZip zip(zipPath);
    if (!zip.open(QuaZip::mdUnzip) || !zip.setCurrentFile(name)) {
        return "<missing>";
    }
    QuaZipFile f(&zip);
    if (method) {
        QuaZipFileInfo64 info;
        zip.getCurrentFileInfo(&info);
        *method = info.method;
    }
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

void write_zip(const QString& path, const QString& entry, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QuaZip zip(path);
    ASSERT_TRUE(zip.open(QuaZip::mdCreate));
    QuaZipFile f(&zip);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly, QuaZipNewInfo(entry)));
    f.write(bytes);
    f.close();
    zip.close();
}

} // namespace

TEST(SampleDataProcessor, ArchiveEntriesAreExactAndReplacedWhole) {
    const QString path = make_sample_project();
    write_sequence(path, "S1",
                   {{0.5, '0', 40}, {12.5, '1', 3}, {kNaN, '1', 2}, {1234567.0, '0', 1}, {40.25, '1', 5}},
                   kHw, kAcq);
    Project p;
    ASSERT_TRUE(p.Load(path));
    add_sample(p, {});

    LogCapture log;
    SampleDataProcessor proc(p);
    ASSERT_TRUE(proc.ProcessData("cast_st01")) << proc.LastError().toStdString();
    const QString zip = p.ParticleArchivePath("cast_st01");
    int method = 0;
    EXPECT_EQ(entry_of(zip, "particules.csv", &method),
              QByteArray("HW_CONF,000120LP,1,CONF1;\n"
                         "ACQ_CONF,CONF1,1,2.000000;\n"
                         "20240301-060001,12.5,20.5,1:12,3,3,4;24,1,5,6;\n"
                         "20240301-060002,nan,20.5,1:12,2,3,4;24,1,5,6;\n"
                         "20240301-060003,1.23457e+06,20.5,0:12,1,3,4;24,0,5,6;\n"));
    EXPECT_EQ(method, 8);
    EXPECT_EQ(entry_of(zip, "metadata.ini", &method),
              QByteArray("[HW_CONF]\r\nAcquisition_mode=1\r\nCamera_ref=000120LP\r\n"
                         "Default_acquisition_configuration=CONF1\r\n\r\n[ACQ_CONF]\r\n"
                         "Acquisition_frequency=2.000000\r\nConfiguration_name=CONF1\r\nPT_mode=1\r\n\r\n"
                         "[sample_metadata]\r\n"
                         "cruise=cast\r\nship=Thalia\r\nfilename=S1\r\nprofileid=cast_st01\r\n"
                         "bottomdepth=300\r\nctdrosettefilename=\r\nlatitude=43.6861\r\nlongitude=7.3167\r\n"
                         "firstimage=1\r\ndn=\r\nwinddir=\r\nwindspeed=\r\nseastate=\r\nnebuloussness=\r\n"
                         "comment=first cast\r\nendimg=3\r\nyoyo=\r\nstationid=\r\nsampletype=P\r\n"
                         "integrationtime=nan\r\nargoid=\r\nsampledatetime=20240301-060001\r\n"
                         "constantdepth=nan\r\n"));
    EXPECT_EQ(method, 8);
    EXPECT_TRUE(log.saw("SampleDataProcessor|2|Start processing particules for sample cast_st01"));

    // The reader's flat map holds every key=value line.
    const QMap<QString, QString> ini = SampleHandler(path).getMetaDataIni("cast_st01");
    EXPECT_EQ(ini.value("Camera_ref"), "000120LP");
    EXPECT_EQ(ini.value("comment"), "first cast");
    EXPECT_FALSE(ini.contains("ctdrosettefilename")); // "key=" holds no value
    EXPECT_EQ(ini.size(), 6 + 14);

    // A second run with another range replaces the archive whole and leaves no temporary file.
    p.SampleHeader().Set(0, "endimg", "1");
    ASSERT_TRUE(proc.ProcessData("cast_st01"));
    EXPECT_EQ(entry_of(zip, "particules.csv"),
              QByteArray("HW_CONF,000120LP,1,CONF1;\nACQ_CONF,CONF1,1,2.000000;\n"
                         "20240301-060001,12.5,20.5,1:12,3,3,4;24,1,5,6;\n"));
    EXPECT_EQ(QDir(path + "/maridata/cast_st01").entryList(QDir::Files | QDir::Hidden),
              QStringList({"cast_st01_Particule.zip"}));
}

TEST(SampleDataProcessor, RangeRulesConstantDepthAndFailures) {
    const QString path = make_sample_project();
    write_sequence(path, "S1", {{kNaN, '1', 1}, {kNaN, '0', 2}, {3.0, '1', 3}, {kNaN, '1', 4}, {5.0, '1', 5}},
                   kHw, kAcq);
    Project p;
    ASSERT_TRUE(p.Load(path));
    struct Case {
        QMap<QString, QString> cells;
        bool ok;
        QByteArray rows; // the image lines of particules.csv, or the logged failure
    };
    const Case cases[] = {
        {{{"firstimage", "-5"}, {"endimg", "2"}},
         true,
         "20240301-060000,nan,20.5,1:12,1,3,4;24,0,5,6;\n20240301-060001,nan,20.5,0:12,2,3,4;24,1,5,6;\n"
         "20240301-060002,3,20.5,1:12,3,3,4;24,1,5,6;\n"},
        {{{"firstimage", "3"}, {"endimg", "4"}, {"sampletype", "T"}, {"constantdepth", "12"}},
         true,
         "20240301-060003,12,20.5,1:12,4,3,4;24,2,5,6;\n20240301-060004,5,20.5,1:12,5,3,4;24,2,5,6;\n"},
        {{{"firstimage", "3"}, {"endimg", "3"}, {"sampletype", "P"}, {"constantdepth", "12"}},
         true,
         "20240301-060003,nan,20.5,1:12,4,3,4;24,2,5,6;\n"},
        {{{"firstimage", "9"}, {"endimg", "5"}},
         false,
         "SampleDataProcessor::ProcessData Invalid first/last value 0->5:"},
        {{{"firstimage", "0"}, {"endimg", "0"}},
         false,
         "SampleDataProcessor::ProcessData Invalid first/last value 0->0:"},
        {{{"filename", "S9"}}, false, "SampleDataProcessor::ProcessData unable to load sequence file : S9"},
    };
    int n = 0;
    for (const Case& c : cases) {
        const QString name = QStringLiteral("cast_%1").arg(n++);
        QMap<QString, QString> cells = c.cells;
        cells.insert("profileid", name);
        add_sample(p, cells);
        LogCapture log;
        SampleDataProcessor proc(p);
        EXPECT_EQ(proc.ProcessData(name), c.ok) << name.toStdString();
        if (c.ok) {
            EXPECT_EQ(entry_of(p.ParticleArchivePath(name), "particules.csv"),
                      kHw + "\n" + kAcq + "\n" + c.rows)
                << name.toStdString();
        } else {
            EXPECT_TRUE(log.saw("SampleDataProcessor|0|" + c.rows.toStdString())) << name.toStdString();
            EXPECT_FALSE(QFileInfo::exists(p.ParticleArchivePath(name)));
        }
    }
}

TEST(SampleDataProcessor, AFailedWriteKeepsTheOldArchiveAndTheTaskSaysWhy) {
    const QString path = make_sample_project();
    write_sequence(path, "S1", profile(20, 100, 20), kHw, kAcq);
    Project p;
    ASSERT_TRUE(p.Load(path));
    add_sample(p, {{"firstimage", "0"}, {"endimg", "19"}});
    EXPECT_EQ(SampleTasks::processData(path, "cast_st01"), "Particules cast_st01 done!!");
    const QString zip = p.ParticleArchivePath("cast_st01");
    const QByteArray before = read_file(zip);
    ASSERT_FALSE(before.isEmpty());

    // The temporary archive cannot be created: a folder stands in its way.
    const QString blocker =
        path + "/maridata/cast_st01/" + SampleDataProcessor::temporaryArchiveName("cast_st01");
    ASSERT_TRUE(QDir().mkpath(blocker + "/x"));
    const QString status = SampleTasks::processData(path, "cast_st01");
    EXPECT_TRUE(status.startsWith("Warn: Particules cast_st01 : SampleDataProcessor::ProcessData "))
        << status.toStdString();
    EXPECT_EQ(read_file(zip), before);

    // A sample folder that is a file: refused, nothing written.
    write_file(path + "/maridata/cast_x", "a file");
    add_sample(p, {{"profileid", "cast_x"}, {"firstimage", "0"}, {"endimg", "19"}});
    EXPECT_TRUE(SampleTasks::processData(path, "cast_x").startsWith("Warn: Particules cast_x : "));
    EXPECT_EQ(read_file(path + "/maridata/cast_x"), QByteArray("a file"));
}

// A long sample is deflated in blocks on several threads: the entry must still read back as the
// exact text, every line in order, across the block boundaries.
TEST(SampleDataProcessor, LongSampleReadsBackWhole) {
    const QString path = make_sample_project();
    std::vector<SeqRow> rows;
    for (int i = 0; i < 30000; ++i) {
        rows.push_back({i % 97 == 0 ? kNaN : i * 0.01, i % 2 == 0 ? '0' : '1', i % 50});
    }
    write_sequence(path, "S1", rows, kHw, kAcq);
    Project p;
    ASSERT_TRUE(p.Load(path));
    add_sample(p, {{"firstimage", "3"}, {"endimg", "29998"}});
    ASSERT_TRUE(SampleDataProcessor(p).ProcessData("cast_st01"));
    QByteArray expected = kHw + "\n" + kAcq + "\n";
    for (int i = 3; i <= 29998; ++i) {
        QByteArray line = data_line(i, rows[static_cast<size_t>(i)]);
        const int comma = line.indexOf(',');
        const QByteArray p6 = std::isnan(rows[static_cast<size_t>(i)].pressure)
                                  ? QByteArray("nan")
                                  : QByteArray::fromStdString(fmt::format(
                                        "{:.6g}", static_cast<double>(static_cast<float>(i * 0.01))));
        line = line.left(comma + 1) + p6 + line.mid(line.indexOf(',', comma + 1));
        expected += line + "\n";
    }
    const QByteArray csv = SampleHandler(path).getParticuleCSVContent("cast_st01");
    ASSERT_GT(csv.size(), 2 * 512 * 1024);
    EXPECT_TRUE(csv == expected);
}

TEST(SampleHandler, ReadFailuresAreTold) {
    const QString path = make_sample_project();
    const SampleHandler files(path);
    EXPECT_EQ(files.ImageArchivePath("s"), path + "/maridata/s/s_Images.zip");
    write_file(files.ParticleArchivePath("garbage"), "not a zip");
    write_zip(files.ParticleArchivePath("other"), "readme.txt", "x");
    // Lines are read 255 bytes at a time: the rest of a longer line is a line of its own.
    write_zip(files.ParticleArchivePath("long"), "metadata.ini",
              "[sample_metadata]\r\nkey = " + QByteArray(300, 'v') + "\r\nb=2=3\r\n");
    const QString zip = "'" + path + "/maridata/%1/%1_Particule.zip'";
    struct Case {
        const char* sample;
        QString ini;
        QString csv;
    };
    const Case cases[] = {
        {"none", "SampleHandler::getMetaDataIni : file " + zip.arg("none") + " missing",
         "SampleHandler::getParticuleCSVContent : file " + zip.arg("none") + " missing"},
        {"garbage", "SampleHandler::getMetaDataIni : unable to open file " + zip.arg("garbage"),
         "SampleHandler::getParticuleCSVContent : unable to open file " + zip.arg("garbage")},
        {"other", "SampleHandler::getMetaDataIni : unable to find metadata.ini in file " + zip.arg("other"),
         "SampleHandler::getParticuleCSVContent : unable to find particules.csv in file " + zip.arg("other")},
    };
    for (const Case& c : cases) {
        LogCapture log;
        EXPECT_TRUE(files.getMetaDataIni(c.sample).isEmpty());
        EXPECT_TRUE(files.getParticuleCSVContent(c.sample).isEmpty());
        EXPECT_TRUE(log.saw(("SampleHandler|0|" + c.ini).toStdString())) << c.sample;
        EXPECT_TRUE(log.saw(("SampleHandler|0|" + c.csv).toStdString())) << c.sample;
    }
    const QMap<QString, QString> ini = files.getMetaDataIni("long");
    EXPECT_EQ(ini.value("key"), QString(255 - 6, 'v'));
    EXPECT_EQ(ini.value("b=2"), "3"); // the key takes all it can

    EXPECT_EQ(ini.size(), 2);
}

namespace {

std::vector<SequenceHandler::stDataRaw> rows_of(const std::vector<SeqRow>& rows) {
    std::vector<SequenceHandler::stDataRaw> out;
    for (const SeqRow& r : rows) {
        SequenceHandler::stDataRaw d;
        d.pressure = r.pressure;
        d.flag = r.flag;
        d.kind = r.kind;
        d.count1 = r.count1;
        out.push_back(d);
    }
    return out;
}

} // namespace

TEST(RangeDetector, ProposalsAndStops) {
    // 0 to 300 decibar over 301 images: BLACK images (even rows) count 50 above 20 decibar.
    const std::vector<SeqRow> down = profile(301, 300, 20);
    std::vector<SeqRow> up(down.rbegin(), down.rend());
    // Rows that take no part: flash images and other kinds, lit or not.
    std::vector<SeqRow> mixed = down;
    mixed[100] = {100, '0', 500, 'E'};
    mixed[102] = {102, '0', 500, 'Y'};
    mixed[104].flag = '5';
    mixed[104].count1 = 500;
    std::vector<SeqRow> deep = profile(50, 300, 20);
    for (SeqRow& r : deep) {
        r.pressure += 100;
    }
    std::vector<SeqRow> flat = profile(50, 300, -1);
    const std::vector<SeqRow> noDirection{{5, '0', 1}, {9, '0', 1}, {5, '1', 1}};
    std::vector<SeqRow> few{{0, '0', 90}, {10, '0', 1}, {90, '0', 1}, {100, '0', 2}, {110, '1', 0}};
    std::vector<SeqRow> nanEnds = down;
    nanEnds.front().pressure = kNaN;
    nanEnds.back().pressure = kNaN;
    const char* const limitText =
        "The range detection algorithms failed to compute first and last image.\nAll "
        "images are selected.\nPlease adjust manually the first and last images if "
        "necessary.";
    struct Case {
        const char* what;
        std::vector<SeqRow> rows;
        const char* type;
        bool ok;
        int first, last;
        const char* title;
        const char* text;
    };
    const Case cases[] = {
        // The last lit BLACK image is row 20 (20 decibar is not above it); smoothing over 10
        // values first crosses the threshold at row 26, so the limit is the BLACK row below it.
        {"descending", down, "P", true, 28, 300, "", ""},
        {"ascending", up, "P", true, 0, 272, "", ""},
        {"ignored rows", mixed, "P", true, 28, 300, "", ""},
        {"no type", down, "", false, 0, 0, "Sample Type Required",
         "Sample Type (Pressure / Time) is required in order to autodetect"},
        {"empty", {}, "P", false, 0, 0, "Empty sequence", "Empty sequence"},
        {"no direction", noDirection, "P", false, 0, 0, "No direction", "Unable de detect direction"},
        {"deep", deep, "P", false, 0, 0, "Only deep", "Only data deeper dans 80m"},
        {"never lit", flat, "P", true, 0, 49, "Limit not reached", limitText},
        // Fewer than 10 BLACK rows: no smoothing, the lit row itself is found at once.
        {"few rows", few, "P", true, 1, 4, "", ""},
        // A missing pressure at either end tells no direction: the scan starts at the first row.
        {"missing end pressures", nanEnds, "P", true, 0, 2, "", ""},
    };
    for (const Case& c : cases) {
        const RangeDetector::Result r = RangeDetector::Detect(rows_of(c.rows), c.type);
        EXPECT_EQ(r.ok, c.ok) << c.what;
        EXPECT_EQ(r.title, QString(c.title)) << c.what;
        EXPECT_EQ(r.text, QString(c.text)) << c.what;
        if (c.ok) {
            EXPECT_EQ(r.first, c.first) << c.what;
            EXPECT_EQ(r.last, c.last) << c.what;
        }
    }
    // The window: 5 values before, the value, 4 after; shortened at both ends.
    std::vector<double> v;
    for (int i = 0; i < 12; ++i) {
        v.push_back(i == 0 ? 100 : 0);
    }
    const std::vector<double> s = RangeDetector::Smooth(v);
    EXPECT_DOUBLE_EQ(s[0], 100.0 / 5);
    EXPECT_DOUBLE_EQ(s[5], 100.0 / 10);
    EXPECT_DOUBLE_EQ(s[6], 0.0);
    EXPECT_DOUBLE_EQ(s[11], 0.0);
    EXPECT_EQ(RangeDetector::Smooth({1, 2, 3}), std::vector<double>({1, 2, 3}));
}

namespace {

// A project whose sequence S1 is a 0-300 decibar descent of 301 images.
struct FormFixture {
    QString path = make_sample_project();
    Project project;
    FormFixture() {
        write_sequence(path, "S1", profile(301, 300, 20),
                       hw_line({{"Aa", "5380.100098"},
                                {"Exp", "1.200000"},
                                {"Pixel_Size", "73"},
                                {"Image_volume", "0.650000"}}));
        write_file(path + "/config/cruise_info.txt", "[General]\nacron=Cruise1\n");
        project.Load(path);
    }
    // A valid new sample of S1.
    SampleForm form() {
        SampleForm f;
        f.OpenSequence(path, "S1");
        f.Prefill(project);
        const QMap<QString, QString>& v = valid_sample_fields();
        for (auto it = v.begin(); it != v.end(); ++it) {
            f.Set(it.key(), it.value());
        }
        return f;
    }
};

} // namespace

TEST(SampleForm, PrefillFromTheConfigurationAndTheLastSample) {
    FormFixture fx;
    SampleForm f;
    ASSERT_TRUE(f.OpenSequence(fx.path, "S1"));
    EXPECT_FALSE(f.SequenceRefusal().isSet());
    f.Prefill(fx.project);
    EXPECT_EQ(f.Get("profileid"), "Cruise1_");
    EXPECT_EQ(f.Get("aa"), "0.0053801");
    EXPECT_EQ(f.Get("exp"), "1.200000");
    EXPECT_EQ(f.Get("volimage"), "0.650000");
    EXPECT_EQ(f.Get("pixelsize"), "73");
    EXPECT_EQ(f.Get("firstimage"), "0");
    EXPECT_EQ(f.Get("endimg"), "300");
    EXPECT_EQ(f.Get("sampledatetime"), "20240301-060000");

    // The next sample starts from the last one's cruise, ship, comment, station, float, type,
    // integration time and depth.
    SampleForm first = fx.form();
    first.Set("ship", "Thalia");
    first.Set("sampletype", "T");
    first.Set("integrationtime", "30");
    first.Set("constantdepth", "12");
    first.Set("bottomdepth", "999");
    ASSERT_TRUE(first.Validate(fx.project).ok())
        << first.Validate(fx.project).messages.join("\n").toStdString();
    ASSERT_TRUE(first.Store(fx.project));
    SampleForm next;
    next.OpenSequence(fx.path, "S1");
    next.Prefill(fx.project);
    for (const char* copied : {"cruise", "ship", "sampletype", "integrationtime", "constantdepth"}) {
        EXPECT_EQ(next.Get(copied), first.Get(copied)) << copied;
    }
    EXPECT_EQ(next.Get("bottomdepth"), "");
}

TEST(SampleForm, ValidationMessagesInTheirOrder) {
    FormFixture fx;
    const QString missing3 =
        "3 missing pressure data over the 11 images in the data file of the sequence.\n"
        "The sample cannot be created !!!\nCorrect the file before trying again to create a "
        "sample";
    const QString allMissing =
        "All pressure data are missing in the selected images of the sequence.\n If you want "
        "to create a sample, correct the file or select the TIME option and fill in the "
        "INTEGRATION TIME and the INSTRUMENT DEPTH fields first.";
    // S3: 11 images, only the first one a flash image, 3 pressures missing (two of them first).
    std::vector<SeqRow> s3;
    for (double p : {kNaN, kNaN, 2.0, 3.0, kNaN, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0}) {
        s3.push_back({p, s3.empty() ? '1' : '0', 1});
    }
    write_sequence(fx.path, "S3", s3);
    struct Case {
        QMap<QString, QString> set;
        QStringList messages;
    };
    const Case cases[] = {
        {{}, {}},
        {{{"profileid", "st 01;é"}},
         {"Field 'Sample Name' has an invalid format, allowed char are : Letter, figures, _"}},
        {{{"latitude", "43.6"}, {"longitude", "43,6"}}, {"Field 'Longitude' has an invalid format"}},
        {{{"comment", "a;b"}, {"ship", ""}, {"cruise", ""}},
         {"Field 'Comment' character ';' is forbiden", "Field 'Cruise' is required"}},
        {{{"sampletype", "T"}, {"integrationtime", "nan"}, {"constantdepth", "deep"}},
         {"Field 'Instrument depth' must be a valid number", "Field 'Integration time' is required"}},
        {{{"sampletype", ""}}, {"Field 'Sample type' is required"}},
        {{{"firstimage", "-1"}, {"endimg", "301"}},
         {"first image negative not allowed",
          "Last image after the last available image (must be &lt; 301)"}},
        {{{"firstimage", "x"}}, {"Field 'First image' must be a valid number"}},
        {{{"filename", "S3"}, {"firstimage", "0"}, {"endimg", "10"}}, {missing3}},
        {{{"filename", "S3"},
          {"firstimage", "0"},
          {"endimg", "10"},
          {"sampletype", "T"},
          {"integrationtime", "5"}},
         {}},
        {{{"filename", "S3"}, {"firstimage", "2"}, {"endimg", "3"}},
         {"No valid images in your selection, at leat one image ok with flash is required"}},
        {{{"filename", "S3"}, {"firstimage", "0"}, {"endimg", "1"}}, {allMissing}},
    };
    for (const Case& c : cases) {
        SampleForm f = fx.form();
        for (auto it = c.set.begin(); it != c.set.end(); ++it) {
            if (it.key() == "filename") {
                f.OpenSequence(fx.path, it.value());
            }
            f.Set(it.key(), it.value());
        }
        const SampleForm::Check check = f.Validate(fx.project);
        EXPECT_EQ(check.messages, c.messages) << c.set.values().join(",").toStdString();
        EXPECT_EQ(check.allPressureMissing, c.messages == QStringList{allMissing});
    }
}

TEST(SampleForm, StoreQuestionsAndDeleteWithBackups) {
    FormFixture fx;
    int updated = 0;
    QObject::connect(&fx.project, &Project::SamplesUpdated, [&updated] { ++updated; });
    SampleForm a = fx.form();
    a.SetRange(10, 100);
    ASSERT_TRUE(a.Store(fx.project));
    EXPECT_EQ(updated, 1);
    const QByteArray saved = read_file(fx.project.SampleHeaderPath());
    EXPECT_TRUE(saved.contains(
        "Cruise1;;S1;cruise1_st01;320;;43°41 10;-7.3167;10;0.650000;0.0053801;1.200000;;270;12;3;4;"
        ";100;;;P;nan;;73;20240301-060010;nan\n"))
        << saved.toStdString();

    // A second sample over images 50-60 shares images with the first (10-100): asked; 101-300 does not.
    SampleForm b = fx.form();
    b.Set("profileid", "cruise1_st02");
    b.SetRange(50, 60);
    EXPECT_TRUE(b.OverlapQuestion(fx.project).isSet());
    b.SetRange(101, 300);
    EXPECT_FALSE(b.OverlapQuestion(fx.project).isSet());
    // The same name again is refused.
    SampleForm dup = fx.form();
    dup.SetRange(200, 300);
    EXPECT_EQ(dup.Validate(fx.project).messages, QStringList{"This 'Sample Name' Already exists"});

    // Editing a processed sample: unchanged asks nothing; a change asks and removes the results.
    ASSERT_TRUE(SampleDataProcessor(fx.project).ProcessData("cruise1_st01"));
    SampleForm edit;
    ASSERT_FALSE(edit.Load(fx.project, "cruise1_st01").isSet());
    EXPECT_TRUE(edit.Validate(fx.project).ok());
    EXPECT_FALSE(edit.ResultDiscardQuestion(fx.project).isSet());
    edit.Set("comment", "changed");
    EXPECT_EQ(edit.ResultDiscardQuestion(fx.project).text,
              "As you have modified Metadata, result files will be erased.\nDo you want to continue ?");
    ASSERT_TRUE(edit.Store(fx.project));
    EXPECT_FALSE(fx.project.HasParticleArchive("cruise1_st01"));
    EXPECT_EQ(SampleForm::FindRow(fx.project, "cruise1_st01"), 0);
    EXPECT_EQ(edit.Load(fx.project, "gone").title, "Invalid sample");

    // A header that cannot be written: the file and the table stay as they were.
    const QByteArray header = read_file(fx.project.SampleHeaderPath());
    const QString tmp = fx.project.SampleHeaderPath();
    ASSERT_TRUE(QDir(fx.path).rename("meta", "meta.away"));
    write_file(fx.path + "/meta", "not a folder");
    ASSERT_TRUE(b.Validate(fx.project).ok());
    QString error;
    EXPECT_FALSE(b.Store(fx.project, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(fx.project.SampleHeader().RowCount(), 1);
    QFile::remove(fx.path + "/meta");
    ASSERT_TRUE(QDir(fx.path).rename("meta.away", "meta"));
    EXPECT_EQ(read_file(tmp), header);

    // Two deletes within the same second: the first backup keeps the older state.
    ASSERT_TRUE(b.Store(fx.project));
    ASSERT_TRUE(SampleDataProcessor(fx.project).ProcessData("cruise1_st02"));
    const QByteArray twoSamples = read_file(fx.project.SampleHeaderPath());
    ASSERT_TRUE(SampleForm::Delete(fx.project, "cruise1_st02"));
    ASSERT_TRUE(SampleForm::Delete(fx.project, "cruise1_st01"));
    EXPECT_FALSE(QFileInfo::exists(fx.path + "/maridata/cruise1_st02"));
    EXPECT_EQ(fx.project.SampleHeader().RowCount(), 0);
    const QStringList backups = QDir(fx.path + "/meta").entryList({"*.backup_*"}, QDir::Files, QDir::Name);
    ASSERT_GE(backups.size(), 1);
    EXPECT_EQ(read_file(fx.path + "/meta/" + backups.first()), twoSamples);
    EXPECT_EQ(SampleForm::DeleteQuestion().text,
              "You are erasing a sample, result files will be erased.\nDo you want to continue ?");
}

// A header row shorter than its columns: read as empty cells, and whole once stored again.
TEST(SampleForm, ShortHeaderRowIsEditedWhole) {
    FormFixture fx;
    write_file(fx.project.SampleHeaderPath(),
               SampleHeaderColumns::All().join(';').toUtf8() + "\nCruise1;;S1;cruise1_short\n");
    ASSERT_TRUE(fx.project.Load(fx.path));
    SampleForm f;
    ASSERT_FALSE(f.Load(fx.project, "cruise1_short").isSet());
    EXPECT_EQ(f.Get("latitude"), "");
    const SampleForm good = fx.form();
    for (const QString& field : SampleForm::Fields()) {
        if (field != "profileid") {
            f.Set(field, good.Get(field));
        }
    }
    f.Set("comment", "kept");
    ASSERT_TRUE(f.Validate(fx.project).ok()) << f.Validate(fx.project).messages.join('\n').toStdString();
    ASSERT_TRUE(f.Store(fx.project));
    ASSERT_TRUE(fx.project.Load(fx.path));
    EXPECT_EQ(fx.project.SampleHeader().Row(0).size(), 27);
    EXPECT_EQ(fx.project.SampleHeader().Get(0, "comment"), "kept");
    EXPECT_EQ(fx.project.SampleHeader().Get(0, "profileid"), "cruise1_short");
}
