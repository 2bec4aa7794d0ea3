// The shipped templates and what a preset builds from them, without an instrument.
#include "programming/PresetProgram.h"
#include "programming/ParamMgt.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

QString templates() {
    return kelvotest::source_dir() + "/templates";
}

// The instrument's set as a fresh simulator holds it, with its own serial numbers.
WorkingSet instrument_set() {
    WorkingSet set;
    build_hw_params(set.hw);
    SetParamFromText(set.hw, "Camera_ref", "K6LP-0001");
    SetParamFromText(set.hw, "Light_ref", "LU-0001");
    SetParamFromText(set.hw, "Pressure_sensor_ref", "PS-77");
    SetParamFromText(set.hw, "Aa", "4000");
    return set;
}

QString project_with_config(const QMap<QString, QByteArray>& files) {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("pp")) + "/kelvo6_snk6lp-0001_2024_p";
    QDir().mkpath(path + "/config");
    for (auto it = files.begin(); it != files.end(); ++it) {
        kelvotest::write_file(path + "/config/" + it.key(), it.value());
    }
    return path;
}

} // namespace

TEST(PresetTemplates, EveryTemplateLoadsAndCarriesItsFileName) {
    const QFileInfoList files = QDir(templates()).entryInfoList({"*.txt"}, QDir::Files);
    ASSERT_EQ(files.size(), 41);
    for (const QFileInfo& f : files) {
        ParamTable t;
        const bool hw = f.fileName().startsWith("HW_");
        hw ? build_hw_params(t) : build_acq_params(t);
        EXPECT_GT(get_params_from_file(f.filePath(), t), 0) << f.fileName().toStdString();
        if (!hw && !f.baseName().endsWith("_template")) {
            EXPECT_EQ(param_config_name(t), f.baseName().toStdString());
        }
    }
}

TEST(PresetProgram, CarrierPresetChangesOnlyWhatThePageOwns) {
    const std::pair<const char*, const char*> presets[] = {
        {"als", "SeaExplorer"}, {"cscs", "SeaGlider"}, {"cts5", "CTS5 USEA"}};
    for (const auto& [key, mode] : presets) {
        const PresetMode& presetMode = *preset_mode(key);
        PresetProgram p(presetMode, templates(), QString());
        ASSERT_TRUE(p.load());
        p.fillValues(nullptr);
        p.setValue("edPressureOfs", "-1.5");
        p.setValue("cbSave1", "0");
        p.setValue("cbSave2", "0");
        p.setValue("edInterval2", "33");
        const WorkingSet before = instrument_set();
        WorkingSet set = before;
        ASSERT_EQ(p.build(set, "op@example.org"), "") << key;
        // Hardware: the four forced values, the pressure offset and the e-mail, nothing else.
        QStringList changed;
        for (const ParamDef& d : set.hw) {
            if (param_value_text(d) != GetParamAsText(before.hw, d.name)) {
                changed << QString::fromStdString(d.name);
            }
        }
        // (Acquisition_mode 0 and no delay are the instrument's values already.)
        EXPECT_EQ(changed, (QStringList{"Default_acquisition_configuration", "Pressure_offset",
                                        "Minimum_remaining_memory_for_thumbnail_saving", "Operator_email"}))
            << key;
        EXPECT_EQ(GetParamAsText(set.hw, "Pressure_offset"), "-1.500");
        // Slots 0 to 7 are the templates; 8 and 9 carry the two groups.
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(ParamMgt::compareParams(set.slot(i), p.templates().slot(i)), "") << key << i;
        }
        EXPECT_EQ(GetParamAsText(set.slot(8), "Save_images"), "0");
        EXPECT_EQ(GetParamAsText(set.slot(9), "Save_images"), "0");
        EXPECT_EQ(GetParamAsText(set.slot(9), "Interval_for_measuring_background_noise"), "33");
        EXPECT_EQ(ParamMgt::modeName(set, false), mode);
    }
}

TEST(PresetProgram, RefusedValuesAreListedAndNothingIsTaken) {
    PresetProgram p(*preset_mode("ctd"), templates(), QString());
    ASSERT_TRUE(p.load());
    p.fillValues(nullptr);
    p.setValue("edPressureOfs", "1000");
    p.setValue("edGain", "0");
    WorkingSet set = instrument_set();
    EXPECT_EQ(p.build(set, "x"), "Out of range value for float Pressure_offset : -999<=1000<=999\n"
                                 "Out of range value for integer Gain_for_analog_out : 1<=0<=65535");
}

TEST(PresetProgram, LoadErrorsKeepThePreviousValues) {
    const QString copy = kelvotest::make_temp_dir(QStringLiteral("tpl"));
    for (const QString& f : QDir(templates()).entryList({"*.txt"}, QDir::Files)) {
        QFile::copy(templates() + "/" + f, copy + "/" + f);
    }
    PresetProgram p(*preset_mode("als"), copy, QString());
    ASSERT_TRUE(p.load());
    p.fillValues(nullptr);
    p.setValue("edInterval1", "77");

    QFile::remove(copy + "/ACQ_ALS_052H.txt");
    QString error;
    EXPECT_FALSE(p.load(&error));
    EXPECT_EQ(error, "Unable to load file " + copy + "/ACQ_ALS_052H.txt");
    EXPECT_EQ(p.value("edInterval1"), "77");
    EXPECT_EQ(param_config_name(p.templates().slot(5)), "ACQ_ALS_052H");

    // A custom configuration under another name is reported by its expected name.
    kelvotest::write_file(copy + "/ACQ_ALS_052H.txt",
                          kelvotest::read_file(templates() + "/ACQ_ALS_052H.txt"));
    QByteArray cust = kelvotest::read_file(copy + "/ACQ_ALS_CUST_2.txt");
    cust.replace("ACQ_ALS_CUST_2", "ACQ_ALS_OTHER");
    kelvotest::write_file(copy + "/ACQ_ALS_CUST_2.txt", cust);
    EXPECT_FALSE(p.load(&error));
    EXPECT_EQ(error, "ACQ_ALS_CUST_2 not found");

    // A value out of its bounds in a template is a load error too.
    kelvotest::write_file(copy + "/HW_ALS_template.txt", "Acquisition_mode = 7\n");
    EXPECT_FALSE(p.load(&error));
    EXPECT_EQ(error, "Unable to load file " + copy + "/HW_ALS_template.txt");
}

// The SeaGlider page takes the instrument's values for an instrument in the ALS mode too.
TEST(PresetProgram, SeaGliderPageShowsTheValuesOfAnInstrumentInTheAlsMode) {
    PresetProgram als(*preset_mode("als"), templates(), QString());
    ASSERT_TRUE(als.load());
    WorkingSet built = instrument_set();
    als.fillValues(nullptr);
    ASSERT_EQ(als.build(built, "x"), "");
    PresetProgram cscs(*preset_mode("cscs"), templates(), QString());
    ASSERT_TRUE(cscs.load());
    cscs.fillValues(&built);
    EXPECT_TRUE(cscs.alreadyInMode(built));
    EXPECT_EQ(cscs.value("edPressureOfs"),
              QString::fromStdString(GetParamAsText(built.hw, "Pressure_offset")));
}

TEST(PresetProgram, SupervisedTakesTheProjectsConfigurationsFirst) {
    QByteArray own = kelvotest::read_file(templates() + "/ACQ_SUP_template.txt");
    own.replace("ACQ_SUP_00", "ACQ_SUP_MINE");
    const QString project = project_with_config({{"ACQ_SUP_MINE.txt", own}});
    PresetProgram p(*preset_mode("supervised"), templates(), project);
    ASSERT_TRUE(p.load());
    EXPECT_EQ(param_config_name(p.templates().slot(0)), "ACQ_SUP_MINE");
    for (int i = 1; i < kAcqSlotCount; ++i) {
        EXPECT_EQ(param_config_name(p.templates().slot(i)),
                  QString("ACQ_SUP_%1").arg(i, 2, 10, QChar('0')).toStdString());
    }
    EXPECT_EQ(p.gridSlots().size(), 10);
    p.fillValues(nullptr);
    p.setValue(PresetProgram::gridKey(3, "PT_mode"), "3");
    WorkingSet set = instrument_set();
    ASSERT_EQ(p.build(set, "x"), "");
    EXPECT_EQ(GetParamAsText(set.slot(3), "PT_mode"), "3");
    EXPECT_EQ(ParamMgt::modeName(set, false), "Supervised");
}

TEST(PresetProgram, TimeChecksTheTimetableNames) {
    const struct {
        QByteArray timetable;
        bool ok;
        QString error;
    } cases[] = {
        {"2024 * * * 10 * ACQ_TIME_DAY 60\n2024 * * * 22 * ACQ_TIME_NIGHT 30\n", true, ""},
        {"2024 * * * 10 * ACQ_TIMX 60\n", false, "All ACQ name must start by ACQ_TIME"},
    };
    for (const auto& c : cases) {
        PresetProgram p(*preset_mode("time"), templates(),
                        project_with_config({{"timetable.txt", c.timetable}}));
        QString error;
        QString title;
        EXPECT_EQ(p.load(&error, &title), c.ok) << c.timetable.constData();
        EXPECT_EQ(error, c.error);
        if (!c.ok) {
            EXPECT_EQ(title, "Timetable Error");
        } else {
            EXPECT_EQ(param_config_name(p.templates().slot(1)), "ACQ_TIME_NIGHT");
            EXPECT_EQ(p.templates().timetable.size(), 2u);
        }
    }
}
