// `kelvo params`, `kelvo program` and `kelvo project create` as a user runs them, against the
// simulator's pseudo-terminal.
#include "programming/ProjectCreation.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

kelvotest::ProgramRun kelvo(const QStringList& args) {
    return kelvotest::run_program(kelvotest::bin_dir() + "/kelvo", args, QByteArray(), QString(), 60000);
}

class ProgramCommandsTest : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(sim.start(&error)) << error.toStdString();
        project = kelvotest::make_temp_dir(QStringLiteral("cli")) + "/kelvo6_snk6lp-0001_2024_cli";
        QDir().mkpath(project + "/config");
    }
    Kelvo6Simulator sim;
    QString project;
};

} // namespace

TEST_F(ProgramCommandsTest, CompareSaveThenCompareAgain) {
    kelvotest::ProgramRun r = kelvo({"params", "compare", project, "--port", sim.devicePath()});
    EXPECT_EQ(r.status, 3) << r.err.constData();
    EXPECT_EQ(r.out, "HW_CONF : Missing\n");
    r = kelvo({"params", "save", project, "--port", sim.devicePath()});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_TRUE(QFileInfo::exists(project + "/config/HW__K6LP-0001.txt"));
    r = kelvo({"params", "compare", project, "--port", sim.devicePath()});
    EXPECT_EQ(r.status, 0) << r.out.constData();
    EXPECT_EQ(r.out, "");
}

TEST_F(ProgramCommandsTest, PreviewSendsNoSetAndProgramDoes) {
    const QStringList preview = {"program",  project,       "--preset", "als",    "--save1",
                                 "no",       "--interval2", "42",       "--port", sim.devicePath(),
                                 "--preview"};
    kelvotest::ProgramRun r = kelvo(preview);
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_TRUE(r.out.startsWith("// HWCONF\n// Hardware configuration parameters :"));
    EXPECT_EQ(r.out.count("// ACQCONF slot "), 10);
    EXPECT_TRUE(r.out.contains("// ACQCONF slot 9\n// Acquisition configuration parameters :"));
    EXPECT_TRUE(r.out.contains("Interval_for_measuring_background_noise = 42\n"));
    for (const QString& line : sim.receivedLines()) {
        EXPECT_FALSE(line.contains("CONFset:") || line.contains("CONFerase:")) << line.toStdString();
    }
    EXPECT_TRUE(sim.slotFields(0).isEmpty());

    QStringList program = preview;
    program.removeLast();
    r = kelvo(program);
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(r.out, "Programmation Done: Kelvo6 programmed and previous settings archived\n");
    EXPECT_EQ(sim.slotFields(9).value(0), "ACQ_ALS_CUST_2");
    EXPECT_EQ(sim.slotFields(8).value(10), "0"); // Save_images of the first custom group
}

TEST_F(ProgramCommandsTest, RefusalsAndInvalidValues) {
    const struct {
        QStringList args;
        int status;
        QByteArray err;
    } cases[] = {
        {{"program", project, "--preset", "ctd", "--port", sim.devicePath()},
         1,
         "Unable to do Programmation: Pressure sensor required for CTD Mode.\n"},
        {{"program", project, "--preset", "auto", "--frames-per-bloc", "0", "--port", sim.devicePath()},
         1,
         "Invalid values:\nOut of range value for integer Frames_per_bloc : 1<=0<=255\n"},
        {{"program", project, "--preset", "time", "--port", sim.devicePath()},
         1,
         "Timetable Error: A Time table with at least one record is required on the project "
         "config/timetable.txt "
         "file\n"},
        {{"program", project, "--preset", "auto", "--gain", "3", "--port", sim.devicePath()},
         2,
         "kelvo program: --gain is not an option of the auto preset\n"},
    };
    for (const auto& c : cases) {
        const kelvotest::ProgramRun r = kelvo(c.args);
        EXPECT_EQ(r.status, c.status) << c.args.join(' ').toStdString();
        EXPECT_EQ(r.err, c.err) << c.args.join(' ').toStdString();
    }
    for (const QString& line : sim.receivedLines()) {
        EXPECT_FALSE(line.contains("CONFset:") || line.contains("TIMEPROGinit")) << line.toStdString();
    }
}

TEST_F(ProgramCommandsTest, ProjectCreateWithAndWithoutInstrument) {
    const QString parent = kelvotest::make_temp_dir(QStringLiteral("create"));
    kelvotest::ProgramRun r =
        kelvo({"project", "create", parent, "--acronym", "My Cruise", "--date", "2021", "--sn", "K6LP-0001",
               "--op-name", "Ann", "--cs-name", "Bo", "--do-name", "Cy", "--port", sim.devicePath()});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    const QString path = parent + "/kelvo6_snk6lp-0001_2021_my_cruise";
    EXPECT_EQ(r.out, (path + "\n").toUtf8());
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(QFileInfo::exists(path + "/config/HW__K6LP-0001.txt"));
    EXPECT_EQ(ProjectCreation::readCruiseInfo(path).value("acron"), "My Cruise");

    const struct {
        QStringList args;
        QByteArray err;
    } refusals[] = {
        {{"project", "create", parent, "--acronym", "My Cruise", "--date", "2021", "--sn", "K6LP-0001"},
         "Missing data: the Operator, Chief scientist and Data owner names are not all given\n"
         "Project creation folder: Folder must NOT exists prior creation\n"},
        {{"project", "create", parent, "--acronym", "x", "--date", "20200230", "--sn", "1", "--op-name", "a",
          "--cs-name", "b", "--do-name", "c"},
         "Date format error: Invalid date in date field, must be a valid date\n"},
        {{"project", "create", parent, "--date", "2020", "--sn", "1"},
         "Fields required: Fields Cruise, Year and SN are required\n"},
    };
    for (const auto& c : refusals) {
        r = kelvo(c.args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, c.err) << c.args.join(' ').toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(parent + "/kelvo6_sn1_20200230_x"));
}

TEST_F(ProgramCommandsTest, UploadKeepsTheInstrumentsSerialNumbersUnlessOverridden) {
    const QString file = project + "/hw.txt";
    kelvotest::write_file(file, "Camera_ref = OTHER\nGain = 7\nPressure_offset = -3\n");
    kelvotest::ProgramRun r = kelvo({"upload", "--hw-file", file, "--port", sim.devicePath()});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(r.out, "Update done: HW Parameter updated\n");
    QStringList hw = sim.hardwareFields();
    EXPECT_EQ(hw.value(0), "K6LP-0001"); // Camera_ref kept
    EXPECT_EQ(hw.value(16), "0");        // Gain is an instrument setting: kept
    EXPECT_EQ(hw.value(9), "-3.000000"); // Pressure_offset taken from the file

    r = kelvo({"upload", "--hw-file", file, "--override-serials", "--override-settings", "--port",
               sim.devicePath()});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    hw = sim.hardwareFields();
    EXPECT_EQ(hw.value(0), "OTHER");
    EXPECT_EQ(hw.value(16), "7");

    r = kelvo({"upload", "--acq-file", project + "/absent.txt", "--slot", "2", "--port", sim.devicePath()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, ("kelvo upload: Unable to load file " + project + "/absent.txt\n").toUtf8());

    kelvotest::write_file(project + "/mine.txt", "Configuration_name = MYCONF\n");
    r = kelvo({"upload", "--acq-file", project + "/mine.txt", "--slot", "2", "--port", sim.devicePath()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(
        r.err,
        "ACQ programming error: Error during programmation : \nConfiguration name MYCONF must start by ACQ_ "
        "\n \nnothing was sent to the device\n");
    EXPECT_TRUE(sim.slotFields(2).isEmpty());
    kelvotest::write_file(project + "/mine.txt", "Configuration_name = ACQ_MINE\nFrames_per_bloc = 33\n");
    r = kelvo({"upload", "--acq-file", project + "/mine.txt", "--slot", "2", "--port", sim.devicePath()});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(r.out, "Update done: ACQ Parameter updated\n");
    EXPECT_EQ(sim.slotFields(2).value(3), "33");
}
