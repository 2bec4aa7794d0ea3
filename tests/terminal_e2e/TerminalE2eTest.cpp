// The VortOS commands against the Kelvo6 simulator over its real pseudo-terminal.
#include "SimShellFixture.h"

#include "params/ParamSets.h"
#include "params/Timetable.h"

namespace {

QString file_of(const std::string& path) {
    return QString::fromStdString(path);
}

class TerminalE2eTest : public SimShellFixture {
protected:
    // Editable values of a parameter file, in table order.
    static std::vector<std::string> editableValues(const std::string& path, void (*build)(ParamTable&)) {
        ParamTable table;
        build(table);
        EXPECT_GT(get_params_from_file(QString::fromStdString(path), table), 0) << path;
        std::vector<std::string> values;
        for (const ParamDef& d : table) {
            if (param_type_is_editable(d.type)) {
                values.push_back(param_value_text(d));
            }
        }
        return values;
    }
};

// The templates' default and given names: the timetable's default is checked through `kelvo terminal`.
TEST_F(TerminalE2eTest, HardwareTemplateStoreLoadRoundTrip) {
    ASSERT_TRUE(run("hwconf template"));
    EXPECT_EQ(out, std::vector<std::string>{"\n[HWCONF]: template file \"" + configurator("HWtemplate.txt") +
                                            "\" created."});
    QByteArray file = kelvotest::read_file(file_of(configurator("HWtemplate.txt")));
    ASSERT_FALSE(file.isEmpty());
    // Later lines set the same records again.
    file += "Camera_ref = K6LP-0777\nAcquisition_mode = 2\nLight_ref = LU-12\n";
    ASSERT_TRUE(kelvotest::write_file(file_of(configurator("hw.txt")), file));

    ASSERT_TRUE(run("hwconf store hw.txt"));
    EXPECT_EQ(out.back(), "\t\tParameters successfully stored.");
    EXPECT_EQ(sim->hardwareFields().value(0), QStringLiteral("K6LP-0777"));
    EXPECT_EQ(sim->hardwareFields().value(1), QStringLiteral("2"));

    ASSERT_TRUE(run("hwconf load back.txt"));
    EXPECT_TRUE(printed("Loaded VORTAN Hardware Configuration :\n"));
    EXPECT_EQ(out.back(), "\n[HWCONF]: parameters successfully saved to " + configurator("back.txt") + ".");
    EXPECT_EQ(editableValues(configurator("back.txt"), build_hw_params),
              editableValues(configurator("hw.txt"), build_hw_params));
}

TEST_F(TerminalE2eTest, AcquisitionSlotsZeroAndNine) {
    ASSERT_TRUE(run("acqconf template"));
    EXPECT_EQ(out, std::vector<std::string>{"\n[ACQCONF]: template file \"" +
                                            configurator("ACQtemplate.txt") + "\" created."});
    const QByteArray base = kelvotest::read_file(file_of(configurator("ACQtemplate.txt")));
    for (int slot : {0, 9}) {
        const std::string id = std::to_string(slot);
        const std::string name = "acq" + id + ".txt";
        ASSERT_TRUE(
            kelvotest::write_file(file_of(configurator(name)),
                                  base + "Configuration_name = ACQ_SLOT" + QByteArray::number(slot) + "\n"));
        ASSERT_TRUE(run("acqconf store " + id + " " + name)) << slot;
        EXPECT_TRUE(printed("\n[ACQCONF]: Store these parameters into VORTAN slot #" + id +
                            " ? (type yes to accept): "));
        EXPECT_EQ(out.back(), "\t\tParameters successfully stored.");

        ASSERT_TRUE(run("acqconf load " + id + " back" + id + ".txt")) << slot;
        EXPECT_TRUE(printed("Loaded VORTAN Acquisition Configuration slot #" + id + " :\n"));
        EXPECT_EQ(editableValues(configurator("back" + id + ".txt"), build_acq_params),
                  editableValues(configurator(name), build_acq_params));
    }
    EXPECT_TRUE(sim->receivedLines().contains(QStringLiteral("$ACQCONFread:9;")));
    EXPECT_FALSE(sim->slotFields(9).isEmpty());
}

TEST_F(TerminalE2eTest, TimetableTemplateProgrammedByRawLinesThenLoaded) {
    ASSERT_TRUE(run("timetable template"));
    Timetable examples;
    ASSERT_EQ(get_timetable_from_file(file_of(configurator("Timetable_template.txt")), examples), 5);

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
    EXPECT_EQ(out.back(),
              "\n[TIMETABLE]: Timetable successfully saved to " + configurator("saved.txt") + ".");
    Timetable saved;
    ASSERT_EQ(get_timetable_from_file(file_of(configurator("saved.txt")), saved), 5);
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
    EXPECT_EQ(out, failure("\n[ERROR]: (PU_function) Unable to power Processing Unit on !", "pu"));
}

TEST_F(TerminalE2eTest, RebootReachesTheInstrumentInSupervisorMode) {
    ASSERT_TRUE(run("reboot"));
    EXPECT_TRUE(kelvotest::wait_until(
        [&] {
            return sim->receivedLines() == QStringList{QStringLiteral("$SU;"), QStringLiteral("$SUreboot;")};
        },
        3000))
        << sim->receivedLines().join(' ').toStdString();
}

TEST_F(TerminalE2eTest, RtcsyncSetsTheClock) {
    sim->setClockOffsetSeconds(-7200);
    // Single-digit fields show that every date and time field is zero-padded. Far enough from a
    // minute's end that the instrument's clock, which runs on after the set, still shows the same
    // minute when read back.
    shell->context().setClock([] { return QDateTime(QDate(2024, 1, 5), QTime(7, 8, 0)); });
    ASSERT_TRUE(run("rtcsync"));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_TRUE(out[0].starts_with("\n[RTCSYNC]: VORTAN time is     : ")) << out[0];
    EXPECT_EQ(out[1], "\n[RTCSYNC]: Host system time is : 20240105,070800");
    EXPECT_TRUE(out[2].starts_with("\n[RTCSYNC]: New VORTAN time is : 20240105,0708")) << out[2];
    EXPECT_EQ(out[2].size(), std::string("\n[RTCSYNC]: New VORTAN time is : 20240105,070800").size());
    EXPECT_EQ(sim->receivedLines(),
              (QStringList{QStringLiteral("$SU;"), QStringLiteral("$RTCread;"),
                           QStringLiteral("$RTCset:20240105,070800;"), QStringLiteral("$RTCread;")}));
}

} // namespace
