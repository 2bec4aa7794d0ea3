// The VortOS commands against the Kelvo6 simulator over its real pseudo-terminal.
#include "app/WorkFolder.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "params/ParamSets.h"
#include "params/Timetable.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"
#include "terminal/TermPrint.h"
#include "terminal/VortOShell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace {

class TerminalE2eTest : public ::testing::Test {
protected:
    void SetUp() override {
        workDir = kelvotest::make_temp_dir(QStringLiteral("work"));
        WorkFolder::setPath(workDir);
        sim = std::make_unique<Kelvo6Simulator>();
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        shell = std::make_unique<VortOShell>();
        // About two seconds of silence before a command gives up (the default waits thirty).
        shell->context().setAnswerReads(20);
        sink = std::make_unique<ScopedTermPrintSink>([this](const std::string& t) { out.push_back(t); });
    }

    void TearDown() override {
        sink.reset();
        close_comm();
        sim->stop();
        WorkFolder::setPath(QString());
        set_instrument_variant(QString());
    }

    bool run(const std::string& line) {
        out.clear();
        return shell->runLine(line, false);
    }

    QString configurator(const QString& name) const {
        return workDir + QStringLiteral("/configurator/") + name;
    }

    bool printed(const std::string& text) const {
        return std::find(out.begin(), out.end(), text) != out.end();
    }

    // Editable values of a parameter file, in table order.
    static std::vector<std::string> editableValues(const QString& path, void (*build)(ParamTable&)) {
        ParamTable table;
        build(table);
        EXPECT_GT(get_params_from_file(path, table), 0) << path.toStdString();
        std::vector<std::string> values;
        for (const ParamDef& d : table) {
            if (param_type_is_editable(d.type)) {
                values.push_back(param_value_text(d));
            }
        }
        return values;
    }

    QString workDir;
    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<VortOShell> shell;
    std::vector<std::string> out;
    std::unique_ptr<ScopedTermPrintSink> sink;
};

TEST_F(TerminalE2eTest, HardwareTemplateStoreLoadRoundTrip) {
    ASSERT_TRUE(run("hwconf template hw.txt"));
    QByteArray file = kelvotest::read_file(configurator(QStringLiteral("hw.txt")));
    ASSERT_FALSE(file.isEmpty());
    // Later lines set the same records again.
    file += "Camera_ref = K6LP-0777\nAcquisition_mode = 2\nLight_ref = LU-12\n";
    ASSERT_TRUE(kelvotest::write_file(configurator(QStringLiteral("hw.txt")), file));

    ASSERT_TRUE(run("hwconf store hw.txt"));
    EXPECT_EQ(out.back(), "\t\tParameters successfully stored.");
    EXPECT_EQ(sim->hardwareFields().value(0), QStringLiteral("K6LP-0777"));
    EXPECT_EQ(sim->hardwareFields().value(1), QStringLiteral("2"));

    ASSERT_TRUE(run("hwconf load back.txt"));
    EXPECT_TRUE(printed("Loaded VORTAN Hardware Configuration :\n"));
    EXPECT_EQ(out.back(), "\n[HWCONF]: parameters successfully saved to " +
                              configurator(QStringLiteral("back.txt")).toStdString() + ".");
    EXPECT_EQ(editableValues(configurator(QStringLiteral("back.txt")), build_hw_params),
              editableValues(configurator(QStringLiteral("hw.txt")), build_hw_params));
}

TEST_F(TerminalE2eTest, AcquisitionSlotsZeroAndNine) {
    ASSERT_TRUE(run("acqconf template acq.txt"));
    const QByteArray base = kelvotest::read_file(configurator(QStringLiteral("acq.txt")));
    for (int slot : {0, 9}) {
        const QString name = QStringLiteral("acq%1.txt").arg(slot);
        ASSERT_TRUE(kelvotest::write_file(configurator(name), base + "Configuration_name = ACQ_SLOT" +
                                                                  QByteArray::number(slot) + "\n"));
        const std::string id = std::to_string(slot);
        ASSERT_TRUE(run("acqconf store " + id + " " + name.toStdString())) << slot;
        EXPECT_TRUE(printed("\n[ACQCONF]: Store these parameters into VORTAN slot #" + id +
                            " ? (type yes to accept): "));
        EXPECT_EQ(out.back(), "\t\tParameters successfully stored.");

        ASSERT_TRUE(run("acqconf load " + id + " back" + id + ".txt")) << slot;
        EXPECT_TRUE(printed("Loaded VORTAN Acquisition Configuration slot #" + id + " :\n"));
        EXPECT_EQ(editableValues(configurator(QStringLiteral("back%1.txt").arg(slot)), build_acq_params),
                  editableValues(configurator(name), build_acq_params));
    }
    EXPECT_TRUE(sim->receivedLines().contains(QStringLiteral("$ACQCONFread:9;")));
    EXPECT_FALSE(sim->slotFields(9).isEmpty());
}

TEST_F(TerminalE2eTest, TimetableTemplateProgrammedByRawLinesThenLoaded) {
    ASSERT_TRUE(run("timetable template"));
    Timetable examples;
    ASSERT_EQ(get_timetable_from_file(configurator(QStringLiteral("Timetable_template.txt")), examples), 5);

    // Programmed by raw lines typed in the terminal, then read back into a file.
    ASSERT_TRUE(run("su"));
    ASSERT_TRUE(run("$TIMEPROGinit;"));
    EXPECT_EQ(out, std::vector<std::string>{"[Raw]$ok;"});
    for (const TimeProgram& p : examples) {
        ASSERT_TRUE(run(time_program_to_text("$TIMEPROGadd:", p) + ";"));
        EXPECT_EQ(out, std::vector<std::string>{"[Raw]$ok;"});
    }
    ASSERT_TRUE(run("timetable load saved.txt"));
    EXPECT_EQ(out.front(), "\n[TIMETABLE]: Timetable loaded from VORTAN :\n");
    EXPECT_EQ(out.back(), "\n[TIMETABLE]: Timetable successfully saved to " +
                              configurator(QStringLiteral("saved.txt")).toStdString() + ".");
    Timetable saved;
    ASSERT_EQ(get_timetable_from_file(configurator(QStringLiteral("saved.txt")), saved), 5);
    EXPECT_EQ(saved, examples);
}

TEST_F(TerminalE2eTest, SupervisorUserAndRefusalOfABusyInstrument) {
    ASSERT_TRUE(run("su"));
    EXPECT_EQ(sim->mode(), SimMode::Supervisor);
    ASSERT_TRUE(run("user"));
    EXPECT_EQ(sim->mode(), SimMode::User);
    ASSERT_TRUE(run("user")); // already in user mode: "$starterr:30;"

    sim->setBusy(true);
    const std::string suError = "Unable to put VORTAN into SU mode !\nMaybe the system is not idle "
                                "(busy/sleeping/ongoing acquisition ?) !";
    const std::pair<const char*, const char*> cases[] = {
        {"su", "SU_function"},
        {"pu on", "PU_function"},
        {"reboot", "reboot_function"},
        {"rtcsync", "rtcsync_function"},
        {"hwconf load", "hwconf_function"},
        {"acqconf load 0", "acqconf_function"},
    };
    for (const auto& [line, self] : cases) {
        EXPECT_FALSE(run(line)) << line;
        ASSERT_GE(out.size(), 2u);
        EXPECT_EQ(out[out.size() - 2], std::string("\n[ERROR]: (") + self + ") " + suError) << line;
    }
    EXPECT_EQ(sim->mode(), SimMode::User);
    EXPECT_FALSE(sim->receivedLines().contains(QStringLiteral("$SUreboot;")));
    EXPECT_FALSE(sim->receivedLines().contains(QStringLiteral("$RTCread;")));
}

TEST_F(TerminalE2eTest, ProcessingUnitOnAndOff) {
    ASSERT_TRUE(run("pu on"));
    EXPECT_EQ(sim->puState(), SimPuState::Ready);
    ASSERT_TRUE(run("pu 0"));
    EXPECT_EQ(sim->puState(), SimPuState::Off);

    sim->setPuStartFailure(true);
    EXPECT_FALSE(run("pu 1"));
    EXPECT_EQ(out, (std::vector<std::string>{"\n[ERROR]: (PU_function) Unable to power Processing Unit on !",
                                             "\n[VortOS]: Command pu returned an error !"}));
}

// The bytes of pt and reboot are checked on the scripted port (terminal); here they reach the
// instrument.
TEST_F(TerminalE2eTest, RebootReachesTheInstrument) {
    ASSERT_TRUE(run("reboot"));
    EXPECT_TRUE(kelvotest::wait_until(
        [&] { return sim->receivedLines().contains(QStringLiteral("$SUreboot;")); }, 3000));
}

TEST_F(TerminalE2eTest, RtcsyncSetsTheClock) {
    sim->setClockOffsetSeconds(-7200);
    // Far enough from a minute's end that the instrument's clock, which runs on after the set,
    // still shows the same minute when read back.
    shell->context().setClock([] { return QDateTime(QDate(2024, 1, 31), QTime(23, 58, 0)); });
    ASSERT_TRUE(run("rtcsync"));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_TRUE(out[0].starts_with("\n[RTCSYNC]: VORTAN time is     : ")) << out[0];
    EXPECT_EQ(out[1], "\n[RTCSYNC]: Host system time is : 20240131,235800");
    EXPECT_TRUE(out[2].starts_with("\n[RTCSYNC]: New VORTAN time is : 20240131,2358")) << out[2];
    EXPECT_EQ(out[2].size(), std::string("\n[RTCSYNC]: New VORTAN time is : 20240131,235800").size());
}

} // namespace
