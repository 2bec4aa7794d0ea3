#include "project/Project.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

using kelvotest::LogCapture;
using kelvotest::read_file;
using kelvotest::write_file;

namespace {

// A project folder as project creation lays it out: config/, meta/ and raw/.
QString make_project(const QString& name, bool withConfig = true) {
    const QString root = kelvotest::make_temp_dir(QStringLiteral("prj"));
    const QString path = root + QLatin1Char('/') + name;
    QDir().mkpath(path + "/meta");
    QDir().mkpath(path + "/raw");
    if (withConfig) {
        QDir().mkpath(path + "/config");
    }
    return path;
}

// The 27 columns of a current sample header file.
const QByteArray k27Line = "cruise;ship;filename;profileid;bottomdepth;ctdrosettefilename;latitude;longitude;"
                           "firstimage;volimage;aa;exp;dn;winddir;windspeed;seastate;nebuloussness;comment;"
                           "endimg;yoyo;stationid;sampletype;integrationtime;argoid;pixelsize;"
                           "sampledatetime;constantdepth";
const QStringList k27 = QString(k27Line).split(';');

struct LoadCounter {
    int count = 0;
    explicit LoadCounter(Project& p) {
        QObject::connect(&p, &Project::ProjectLoaded, [this] { ++count; });
    }
};

} // namespace

// A well-formed name's parts and header file are shown by `kelvo project show` (cli_project).
TEST(Project, FolderNamePartsAndHeaderFileName) {
    struct Case {
        const char* name;
        QStringList parts;
        const char* header;
    };
    const Case cases[] = {
        {"kelvo6_test", {"", "", "", ""}, "kelvo6_header_test.txt"},
        {"kelvo6_sn000120lp_2020", {"", "", "", ""}, "kelvo6_header_sn000120lp_2020.txt"},
        {"", {"", "", "", ""}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Project::FolderParts(c.name), c.parts) << c.name;
        EXPECT_EQ(Project::SampleHeaderFileName(c.name), c.header) << c.name;
    }
}

TEST(Project, LoadChecksTheConnectedInstrumentsSerialNumber) {
    struct Case {
        const char* folder;
        const char* connected;
        bool force;
        bool loads;
        const char* log; // empty when nothing is logged at error level
    };
    const Case cases[] = {
        {"kelvo6_sn000120lp_2020_x", "000120LP", false, true, ""},
        {"kelvo6_sn000121lp_2020_x", "000120LP", false, false,
         "Project kelvo6_sn000121lp_2020_x can't be loaded because is not related to sensor 000120LP"},
        {"kelvo6_sn000121lp_2020_x", "000120LP", true, true, ""},
        {"kelvo6_sn000121lp_2020_x", "", false, true, ""},
        {"kelvo6_test", "000120LP", false, false,
         "Project kelvo6_test can't be loaded because is not related to sensor 000120LP"},
    };
    LogCapture log;
    for (const Case& c : cases) {
        const QString path = make_project(c.folder);
        Project p;
        LoadCounter loaded(p);
        p.SetConnectedSerial(c.connected);
        log.Sync();
        EXPECT_EQ(p.Load(path, c.force), c.loads) << c.folder << " " << c.connected;
        EXPECT_EQ(p.IsOpen(), c.loads);
        EXPECT_EQ(p.Path(), c.loads ? path : QString());
        EXPECT_EQ(loaded.count, 1);
        QStringList errors;
        for (const auto& m : log.Sync()) {
            if (m->level == ZelLevelError) {
                errors << m->module + "|" + m->message;
            }
        }
        EXPECT_EQ(errors, *c.log ? QStringList({QString("Project|") + c.log}) : QStringList()) << c.folder;
        EXPECT_EQ(p.LastError(), QString(c.log));
    }
}

// The refusal texts themselves are checked through `kelvo project show` (cli_project).
TEST(Project, FoldersThatAreNotProjectsAreRefused) {
    LogCapture log;
    const QString configIsFile = make_project("kelvo6_sn000120lp_2020_file", false);
    ASSERT_TRUE(write_file(configIsFile + "/config", "not a folder"));
    const QString missing = QFileInfo(configIsFile).absolutePath() + "/kelvo6_sn000120lp_2020_gone/";
    const std::pair<QString, QString> cases[] = {
        {configIsFile, "Project kelvo6_sn000120lp_2020_file : Is not valid, Subdirectory 'config' not found"},
        {missing, "Project kelvo6_sn000120lp_2020_gone : Directory not found"},
    };
    for (const auto& [path, text] : cases) {
        Project p;
        ASSERT_TRUE(p.Load(make_project("kelvo6_sn000120lp_2020_ok")));
        LoadCounter loaded(p);
        log.Sync();
        EXPECT_FALSE(p.Load(path));
        EXPECT_EQ(loaded.count, 1);
        EXPECT_EQ(p.Path(), QString());
        EXPECT_EQ(p.SampleHeaderPath(), QString());
        EXPECT_EQ(p.SampleHeader().Columns(), QStringList());
        EXPECT_EQ(log.Texts(), QStringList({"Project|0|" + text}));
    }
    EXPECT_FALSE(QFileInfo::exists(missing));
}

TEST(Project, SampleHeaderGainsTheLaterColumnsWhenMissing) {
    const QString path = make_project("kelvo6_sn000120lp_2020_old");
    const QString header = path + "/meta/kelvo6_header_sn000120lp_2020_old.txt";
    const QByteArray old21 =
        "cruise;ship;filename;profileid;bottomdepth;ctdrosettefilename;latitude;longitude;"
        "firstimage;volimage;aa;exp;dn;winddir;windspeed;seastate;nebuloussness;comment;"
        "endimg;yoyo;stationid\n"
        "c;s;seq1;c_st01;2000;;43.5;7.3;10;0.65;0.004;1.2;;90;5;2;3;;900;;st01\n";
    ASSERT_TRUE(write_file(header, old21));
    Project p;
    ASSERT_TRUE(p.Load(path));
    EXPECT_EQ(p.SampleHeaderPath(), header);
    EXPECT_EQ(p.SampleHeader().Columns(), k27);
    EXPECT_EQ(read_file(header), old21) << "loading never writes";

    p.SampleHeader().Set(0, "sampletype", "P");
    ASSERT_TRUE(p.SaveSampleHeader());
    EXPECT_EQ(read_file(header),
              k27Line +
                  "\nc;s;seq1;c_st01;2000;;43.5;7.3;10;0.65;0.004;1.2;;90;5;2;3;;900;;st01;P;nan;;;;nan\n");
}

TEST(Project, HeaderColumnsWhateverTheFileHolds) {
    struct Case {
        const char* what;
        QByteArray file; // null: no header file
        QStringList columns;
        int rows;
    };
    const Case cases[] = {
        {"no header file", QByteArray(), k27, 0},
        {"empty file", "", k27, 0},
        {"empty first line", "\ncruise;filename\n", k27, 0},
        {"later columns in another order",
         "constantdepth;filename;sampletype\n1;seq;P\n",
         {"constantdepth", "filename", "sampletype", "integrationtime", "argoid", "pixelsize",
          "sampledatetime"},
         1},
        {"duplicate column",
         "filename;filename;argoid\nseq1;seq2;\n",
         {"filename", "filename", "argoid", "sampletype", "integrationtime", "pixelsize", "sampledatetime",
          "constantdepth"},
         1},
    };
    for (const Case& c : cases) {
        const QString path = make_project("kelvo6_sn000120lp_2020_cols");
        if (!c.file.isNull()) {
            ASSERT_TRUE(write_file(path + "/meta/kelvo6_header_sn000120lp_2020_cols.txt", c.file));
        }
        Project p;
        ASSERT_TRUE(p.Load(path)) << c.what;
        EXPECT_EQ(p.SampleHeader().Columns(), c.columns) << c.what;
        EXPECT_EQ(p.SampleHeader().RowCount(), c.rows) << c.what;
        EXPECT_EQ(QFileInfo::exists(path + "/meta/kelvo6_header_sn000120lp_2020_cols.txt"), !c.file.isNull());
    }
}

TEST(Project, AcronymOlderModelAndPaths) {
    struct Case {
        const char* folder;
        const char* cruiseInfo; // null: no file
        const char* acronym;
        bool older;
    };
    const Case cases[] = {
        {"kelvo6_sn000120lp_2020_cruise1", "[General]\nyear=2020\n", "cruise1", false},
        {"kelvo6_sn000120lp_2020_cruise1", nullptr, "cruise1", false},
        {"kelvo6_nosn", nullptr, "", false},
        {"kelvo5_sn0042_2015_old", nullptr, "old", true},
        {"Kelvo5_sn0042_2015_old", nullptr, "old", false},
    };
    for (const Case& c : cases) {
        const QString path = make_project(c.folder);
        if (c.cruiseInfo) {
            ASSERT_TRUE(write_file(path + "/config/cruise_info.txt", c.cruiseInfo));
        }
        Project p;
        ASSERT_TRUE(p.Load(path));
        EXPECT_EQ(p.Acronym(), c.acronym) << c.folder;
        EXPECT_EQ(p.IsOlderModel(), c.older) << c.folder;
    }

    const QString path = make_project("kelvo6_sn000120lp_2020_paths");
    ASSERT_TRUE(write_file(path + "/maridata/st01/st01_Particule.zip", "PK"));
    ASSERT_TRUE(write_file(path + "/maridata/st02/st02_Images.zip", "PK"));
    Project p;
    ASSERT_TRUE(p.Load(path));
    EXPECT_TRUE(p.HasParticleArchive("st01"));
    EXPECT_FALSE(p.HasImageArchive("st01"));
    EXPECT_FALSE(p.HasParticleArchive("st02"));
    EXPECT_TRUE(p.HasImageArchive("st02"));
    EXPECT_EQ(p.ParticleArchivePath("st01"), path + "/maridata/st01/st01_Particule.zip");
    EXPECT_FALSE(QFileInfo::exists(path + "/results"));
    EXPECT_EQ(p.ResultsDir().absolutePath(), path + "/results");
    EXPECT_TRUE(QFileInfo(path + "/results").isDir());
    EXPECT_TRUE(p.BelongsTo("000120LP"));
    EXPECT_FALSE(p.BelongsTo("000121LP"));

    auto info = p.CruiseInfo();
    info->setValue("acron", "Paths");
    info->sync();
    EXPECT_EQ(p.Acronym(), "Paths");
    EXPECT_TRUE(QFileInfo::exists(path + "/config/cruise_info.txt"));
}

TEST(Project, RelativePathIsStoredAbsoluteAndCloseEmptiesTheState) {
    const QString path = make_project("kelvo6_sn000120lp_2020_rel");
    const QString cwd = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(QFileInfo(path).absolutePath()));
    Project p;
    const bool ok = p.Load("kelvo6_sn000120lp_2020_rel/");
    QDir::setCurrent(cwd);
    ASSERT_TRUE(ok);
    EXPECT_EQ(p.Path(), path);
    EXPECT_EQ(p.SampleHeaderPath(), path + "/meta/kelvo6_header_sn000120lp_2020_rel.txt");
    LoadCounter loaded(p);
    p.Close();
    EXPECT_EQ(loaded.count, 1);
    EXPECT_FALSE(p.IsOpen());
    EXPECT_EQ(p.SampleHeader().Columns(), QStringList());
}
