// Programming against the simulator over its pseudo-terminal: the exact lines sent for each
// preset, what the instrument then holds, the read-back, and the failures on the way.
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "programming/ParamMgt.h"
#include "programming/PresetProgram.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

class ProgramSensorTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim = std::make_unique<Kelvo6Simulator>();
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        cam = std::make_unique<InterfaceCamera>();
        ASSERT_TRUE(cam->connectAndIdentify());
        mgt.takeFromCamera(*cam);
        project = kelvotest::make_temp_dir(QStringLiteral("prog")) + "/kelvo6_snk6lp-0001_2024_prog";
        QDir().mkpath(project + "/config");
        mgt.setProjectPath(project);
    }
    void TearDown() override {
        close_comm();
        sim->stop();
    }

    // The preset's set, as its page builds it with the template values and the given ones.
    void buildPreset(const char* key,
                     std::initializer_list<std::pair<const char*, const char*>> values = {}) {
        PresetProgram p(*preset_mode(key), kelvotest::source_dir() + "/templates", project);
        QString error;
        ASSERT_TRUE(p.load(&error)) << error.toStdString();
        p.fillValues(&mgt.working());
        for (const auto& [field, value] : values) {
            p.setValue(field, value);
        }
        ASSERT_EQ(p.build(mgt.working(), "op@example.org"), "");
    }

    // What programSensor must send for the working set.
    QStringList expectedLines() const {
        QStringList lines{"$SU;", QString::fromStdString(
                                      "$HWCONFset:" + write_params_to_string("", mgt.working().hw) + ";")};
        for (int i = 0; i < kAcqSlotCount; ++i) {
            lines << QString("$ACQCONFerase:%1;").arg(i);
        }
        for (int i = 0; i < kAcqSlotCount; ++i) {
            if (!mgt.working().slot(i).empty()) {
                lines << QString("$ACQCONFset:%1,").arg(i) +
                             QString::fromStdString(write_params_to_string("", mgt.working().slot(i))) + ";";
            }
        }
        return lines;
    }

    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<InterfaceCamera> cam;
    ParamMgt mgt;
    QString project;
};

} // namespace

TEST_F(ProgramSensorTest, EveryPresetSendsItsSetsSlotBySlot) {
    const struct {
        const char* key;
        int filled;
        const char* mode;
    } presets[] = {{"als", 10, "ALS"},  {"cscs", 10, "CSCS"},      {"cts5", 10, "NKE"}, {"ctd", 1, "CTD"},
                   {"auto", 1, "AUTO"}, {"supervised", 10, "SUP"}, {"time", 1, "TIME"}};
    for (const auto& p : presets) {
        // Each programming archives the project's timetable away with the other files.
        kelvotest::write_file(project + "/config/timetable.txt", "2024 * * * 10 * ACQ_TIME_DAY 60\n");
        buildPreset(p.key);
        const QStringList expected = expectedLines();
        sim->clearReceived();
        const ProgramResult r = mgt.programSensor(cam.get());
        ASSERT_TRUE(r.ok) << p.key << ": " << r.error.toStdString();
        const QStringList sent = sim->receivedLines().mid(0, expected.size());
        EXPECT_EQ(sent, expected) << p.key;
        // Then the read-back: the hardware set and the ten slots.
        EXPECT_EQ(sim->receivedLines().mid(expected.size(), 2),
                  (QStringList{"$HWCONFread;", "$ACQCONFread:0;"}));
        // The instrument holds the configurations in the same slots, the others erased.
        int held = 0;
        for (int i = 0; i < kAcqSlotCount; ++i) {
            const QStringList fields = sim->slotFields(i);
            EXPECT_EQ(fields.isEmpty(), mgt.working().slot(i).empty()) << p.key << " slot " << i;
            if (!fields.isEmpty()) {
                ++held;
                EXPECT_EQ(fields[0].toStdString(), param_config_name(mgt.working().slot(i)));
            }
        }
        EXPECT_EQ(held, p.filled) << p.key;
        // Its own serial numbers stay; the project got the files of the new mode.
        EXPECT_EQ(sim->hardwareFields().value(0), "K6LP-0001");
        EXPECT_TRUE(QFileInfo::exists(project + QString("/config/HW_%1_K6LP-0001.txt").arg(p.mode))) << p.key;
    }
}

TEST_F(ProgramSensorTest, CtdSlotCarriesThePageValuesOnTheWire) {
    buildPreset("ctd", {{"edPressureAutoStart", "12"},
                        {"edPressureAutoStop", "40"},
                        {"edGain", "2500"},
                        {"edPressureOfs", "-0.25"}});
    sim->clearReceived();
    ASSERT_TRUE(mgt.programSensor(cam.get()).ok);
    EXPECT_TRUE(sim->receivedLines().contains(
        "$ACQCONFset:0,ACQ_CTD,3,10.000000,10,1,12,40,0,0,100,2,1000,1.000000,0,10,"
        "1,2500,0,40,UNDEFINED;"))
        << sim->receivedLines().join('\n').toStdString();
}

TEST_F(ProgramSensorTest, ReadBackCatchesAValueTheInstrumentChanged) {
    buildPreset("auto");
    sim->setStoredValue("Frames_per_bloc", "7");
    const ProgramResult r = mgt.programSensor(cam.get());
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.instrumentChanged);
    EXPECT_EQ(r.readBackDifferences, "Slot 0 ACQ_AUTO : Parameter Frames_per_bloc differ 10<>7\n\n");
    EXPECT_TRUE(r.errorBoxText().endsWith("device is in invalid state"));
}

TEST_F(ProgramSensorTest, ErrorAnswerOrSilenceStopsAtOnce) {
    // An error answer in the middle of the slots: nothing more is sent.
    buildPreset("als");
    sim->setGarbleNextAnswers(1, "$ACQCONFset:3,");
    sim->clearReceived();
    ProgramResult r = mgt.programSensor(cam.get());
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(
        r.errorBoxText(),
        "Error during programmation : \nInvalid answer : $ok not found \n \ndevice is in invalid state");
    const QStringList lines = sim->receivedLines();
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(lines.last().startsWith("$ACQCONFset:3,")) << lines.last().toStdString();

    sim->setSilentCommands(1, "$HWCONFset");
    r = mgt.programSensor(cam.get());
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.error, "Invalid answer : ok not found");
}

TEST_F(ProgramSensorTest, NoProjectSendsNothing) {
    buildPreset("auto");
    mgt.setProjectPath(QString());
    sim->clearReceived();
    const ProgramResult r = mgt.programSensor(cam.get());
    EXPECT_FALSE(r.ok);
    EXPECT_FALSE(r.instrumentChanged);
    EXPECT_EQ(r.errorBoxText(), "Error during programmation : \nUnable to save parameters if no active "
                                "project \n \nnothing was sent to the device");
    EXPECT_TRUE(sim->receivedLines().isEmpty());
}

TEST_F(ProgramSensorTest, TimetableIsProgrammedAndReadBack) {
    kelvotest::write_file(project + "/config/timetable.txt",
                          "2024 * * * 10 * ACQ_TIME_DAY 60\n2024 * * * 22 * ACQ_TIME_NIGHT 30\n");
    buildPreset("time");
    ASSERT_EQ(mgt.working().timetable.size(), 2u);
    const ProgramResult r = mgt.programTimetable(cam.get());
    ASSERT_TRUE(r.ok) << r.error.toStdString();
    ASSERT_EQ(sim->timetable().size(), 2);
    EXPECT_TRUE(sim->timetable()[1].contains("ACQ_TIME_NIGHT"));
}
