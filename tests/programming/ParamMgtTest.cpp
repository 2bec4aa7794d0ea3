// ParamMgt without an instrument: the comparison texts, the archive and the files written into a
// project, the mode names and the operator e-mail.
#include "programming/ParamMgt.h"
#include "support/TestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <gtest/gtest.h>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

namespace {

ParamTable hw_table(std::initializer_list<std::pair<const char*, const char*>> values = {}) {
    ParamTable t;
    build_hw_params(t);
    for (const auto& [name, value] : values) {
        EXPECT_EQ(SetParamFromText(t, name, value), "") << name;
    }
    return t;
}

ParamTable acq_table(const char* name,
                     std::initializer_list<std::pair<const char*, const char*>> values = {}) {
    ParamTable t;
    build_acq_params(t);
    SetParamFromText(t, "Configuration_name", name);
    for (const auto& [param, value] : values) {
        EXPECT_EQ(SetParamFromText(t, param, value), "") << param;
    }
    return t;
}

QString make_project() {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("pm")) + "/kelvo6_snk6lp-0001_2024_test";
    QDir().mkpath(path + "/config");
    return path;
}

QStringList zip_entries(const QString& path) {
    QuaZip zip(path);
    if (!zip.open(QuaZip::mdUnzip)) {
        return {};
    }
    return zip.getFileNameList();
}

QByteArray zip_entry(const QString& path, const QString& name) {
    QuaZip zip(path);
    zip.open(QuaZip::mdUnzip);
    zip.setCurrentFile(name);
    QuaZipFile f(&zip);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

} // namespace

TEST(ParamMgt, CompareParamsTexts) {
    ParamTable extra = hw_table();
    extra.append(ParamDef::integer("Future_parameter", 0, 9, 1, ""));
    const struct {
        const char* what;
        ParamTable first;
        ParamTable second;
        QString expected;
    } cases[] = {
        {"equal", hw_table(), hw_table(), ""},
        {"only the instrument's own values", hw_table({{"Storage_capacity", "1"}}),
         hw_table({{"Last_parameters_modification", "202401010000"}}), ""},
        {"both empty", ParamTable(), ParamTable(), ""},
        {"empty first", ParamTable(), hw_table(), "Parameter size differ\n"},
        {"empty second", hw_table(), ParamTable(), "Missing"},
        {"extra parameter in the second", hw_table(), extra, "Parameter size differ\n"},
        {"values", hw_table({{"Gain", "12"}, {"Pressure_offset", "-0.5"}}), hw_table({{"Gain", "3"}}),
         "Parameter Pressure_offset differ -0.500<>999.000\nParameter Gain differ 12<>3\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ParamMgt::compareParams(c.first, c.second), c.expected) << c.what;
    }
}

TEST(ParamMgt, CompareWithProjectNamesEveryDifference) {
    ParamMgt mgt;
    mgt.working().hw = hw_table({{"Acquisition_mode", "2"}, {"Gain", "5"}});
    mgt.working().slot(0) = acq_table("ACQ_TIME_A");
    mgt.working().slot(3) = acq_table("ACQ_TIME_B", {{"Frames_per_bloc", "20"}});
    TimeProgram p;
    p.setConfiguration("ACQ_TIME_A");
    p.duration = 30;
    mgt.working().timetable = {p};

    std::array<ParamTable, kAcqSlotCount> project;
    project[0] = acq_table("ACQ_TIME_B");
    project[1] = acq_table("ACQ_OLD");
    EXPECT_EQ(mgt.compareWithProject(hw_table({{"Acquisition_mode", "2"}}), project, Timetable()),
              "HW_CONF : Parameter Gain differ 5<>0\n\n"
              "ACQ_TIME_A : Missing\n"
              "ACQ_TIME_B : Parameter Frames_per_bloc differ 20<>10\n\n"
              "ACQ_OLD : Only in project\n"
              "Timetable differ\n");
}

// The names of the carrier presets are checked where those presets are built and programmed.
TEST(ParamMgt, ModeNames) {
    const struct {
        const char* mode;
        const char* def;
        const char* firstSlot;
        const char* shortName;
        const char* longName;
    } cases[] = {
        {"1", "ACQ_CTD", "", "CTD", "CTD"},
        {"1", "ACQ_AUTO", "", "AUTO", "AUTO"},
        {"1", "ACQ_OTHER", "", "", "Not detected"},
        {"2", "UNDEFINED", "", "TIME", "TIME"},
        {"0", "x", "ACQ_SG_1", "SG", "SeaGlider"},
        {"0", "x", "acq_sup_03", "", "Not detected"}, // no case folding
        {"0", "x", "", "", "Not detected"},           // no slot at all
    };
    for (const auto& c : cases) {
        WorkingSet set;
        set.hw = hw_table({{"Acquisition_mode", c.mode}, {"Default_acquisition_configuration", c.def}});
        if (*c.firstSlot != '\0') {
            set.slot(2) = acq_table(c.firstSlot);
            set.slot(5) = acq_table("ACQ_ALS_x"); // only the first filled slot counts
        }
        EXPECT_EQ(ParamMgt::modeName(set, true), c.shortName) << c.firstSlot << c.def;
        EXPECT_EQ(ParamMgt::modeName(set, false), c.longName) << c.firstSlot << c.def;
    }
}

TEST(ParamMgt, OperatorEmailIsCutTo63Characters) {
    ParamMgt mgt;
    mgt.setOperatorEmail(QString(70, QLatin1Char('a')));
    EXPECT_EQ(GetParamAsText(mgt.working().hw, "Operator_email"), std::string(63, 'a'));
}

TEST(ParamMgt, SaveArchivesTheOldFilesAndWritesTheWorkingSet) {
    const QString project = make_project();
    const QString config = project + "/config";
    kelvotest::write_file(config + "/HW_OLD_x.txt", "old hw");
    kelvotest::write_file(config + "/ACQ_OLD.txt", "old acq");
    kelvotest::write_file(config + "/timetable.txt", "old tt");
    kelvotest::write_file(config + "/cruise_info.txt", "[General]\nacron=a\n");

    ParamMgt mgt;
    mgt.setProjectPath(project);
    mgt.working().hw = hw_table({{"Camera_ref", "K6LP-0001"},
                                 {"Acquisition_mode", "1"},
                                 {"Default_acquisition_configuration", "ACQ_AUTO"}});
    mgt.working().slot(4) = acq_table("ACQ_AUTO");
    QString error;
    ASSERT_TRUE(mgt.saveToProject(&error)) << error.toStdString();

    const QStringList archives = QDir(config).entryList({"param_archive_*.zip"}, QDir::Files);
    ASSERT_EQ(archives.size(), 1);
    EXPECT_TRUE(QRegularExpression("^param_archive_\\d{8}_\\d{6}\\.zip$").match(archives[0]).hasMatch());
    const QString zip = config + "/" + archives[0];
    QStringList entries = zip_entries(zip);
    entries.sort();
    EXPECT_EQ(entries, (QStringList{"ACQ_OLD.txt", "HW_OLD_x.txt", "timetable.txt"}));
    EXPECT_EQ(zip_entry(zip, "ACQ_OLD.txt"), "old acq");

    QStringList files = QDir(config).entryList({"*.txt"}, QDir::Files, QDir::Name);
    EXPECT_EQ(files, (QStringList{"ACQ_AUTO.txt", "HW_AUTO_K6LP-0001.txt", "cruise_info.txt"}));
    // What was written reads back as the working set.
    ParamTable hw;
    std::array<ParamTable, kAcqSlotCount> acq;
    ASSERT_TRUE(mgt.loadProjectHW(hw));
    EXPECT_EQ(mgt.loadProjectACQ(acq), 1);
    EXPECT_EQ(mgt.compareWithProject(hw, acq, Timetable()), "");

    // The second save archives the files of the first; within the same second its archive
    // replaces the first one under the same name.
    ASSERT_TRUE(mgt.saveToProject(&error));
    const QStringList after = QDir(config).entryList({"param_archive_*.zip"}, QDir::Files, QDir::Name);
    ASSERT_GE(after.size(), 1);
    ASSERT_LE(after.size(), 2);
    entries = zip_entries(config + "/" + after.last());
    entries.sort();
    EXPECT_EQ(entries, (QStringList{"ACQ_AUTO.txt", "HW_AUTO_K6LP-0001.txt"}));
    EXPECT_TRUE(QDir(config).entryList({"*.partial"}, QDir::Files).isEmpty());
}

TEST(ParamMgt, NoParameterFileMeansNoArchive) {
    const QString project = make_project();
    ParamMgt mgt;
    mgt.setProjectPath(project);
    ASSERT_TRUE(mgt.saveToProject());
    EXPECT_TRUE(QDir(project + "/config").entryList({"param_archive_*"}, QDir::Files).isEmpty());
}

TEST(ParamMgt, ArchiveThatCannotBeWrittenLosesNothing) {
    const QString project = make_project();
    const QString config = project + "/config";
    kelvotest::write_file(config + "/ACQ_OLD.txt", "old acq");
    // The archive's place is taken for the next seconds (a folder where its temporary file goes).
    const QDateTime now = QDateTime::currentDateTime();
    for (int s = 0; s < 10; ++s) {
        QDir().mkpath(config + "/param_archive_" + now.addSecs(s).toString("yyyyMMdd_HHmmss") +
                      ".zip.partial");
    }
    ParamMgt mgt;
    mgt.setProjectPath(project);
    mgt.working().hw = hw_table({{"Camera_ref", "K6LP-0001"}});
    QString error;
    EXPECT_FALSE(mgt.saveToProject(&error));
    EXPECT_TRUE(error.startsWith("Unable to archive the project parameters")) << error.toStdString();
    EXPECT_EQ(kelvotest::read_file(config + "/ACQ_OLD.txt"), "old acq");
    EXPECT_TRUE(QDir(config).entryList({"HW_*.txt"}, QDir::Files).isEmpty());
}
