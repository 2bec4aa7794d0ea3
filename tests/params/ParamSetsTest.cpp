#include "params/ParamSets.h"
#include "PrintCapture.h"
#include "params/ParamTable.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>

using kelvotest::make_temp_dir;
using kelvotest::read_file;

namespace {

QByteArray golden(const char* name) {
    return read_file(QStringLiteral(PARAMS_TEST_DATA "/") + QString::fromLatin1(name));
}

std::vector<std::string> names_of(const ParamTable& t) {
    std::vector<std::string> out;
    for (const ParamDef& d : t) {
        out.push_back(d.name);
    }
    return out;
}

const char* const kHwAnswer =
    "$HWCONFread:SN042,2,ACQ_A,5,LU7,1,100,200,,12.5,30000,1000,2,192.168.0.50,10,500,6,4,"
    "1234.5,1.0,80,0.5,20240101,202401021230,ops@example.org;\n";

} // namespace

TEST(ParamSets, HardwareTemplateMatchesTheHandWrittenFile) {
    ParamTable t;
    build_hw_params(t);
    const QString path = QDir(make_temp_dir("sets")).filePath("HWtemplate.txt");
    ASSERT_TRUE(write_params_to_file(path, t));
    const QByteArray expected = golden("hw_template.txt");
    ASSERT_FALSE(expected.isEmpty());
    EXPECT_EQ(read_file(path).toStdString(), expected.toStdString());
}

TEST(ParamSets, AcquisitionTemplateMatchesTheHandWrittenFile) {
    ParamTable t;
    build_acq_params(t);
    const QString path = QDir(make_temp_dir("sets")).filePath("ACQtemplate.txt");
    ASSERT_TRUE(write_params_to_file(path, t));
    const QByteArray expected = golden("acq_template.txt");
    ASSERT_FALSE(expected.isEmpty());
    EXPECT_EQ(read_file(path).toStdString(), expected.toStdString());
}

TEST(ParamSets, TemplatesReadBackSkippingInternalAndEmptyLines) {
    const QString dir = make_temp_dir("sets");
    ParamTable hw;
    build_hw_params(hw);
    ASSERT_TRUE(write_params_to_file(dir + "/hw.txt", hw));
    PrintCapture out;
    EXPECT_EQ(get_params_from_file(dir + "/hw.txt", hw), 22);
    ParamTable acq;
    build_acq_params(acq);
    ASSERT_TRUE(write_params_to_file(dir + "/acq.txt", acq));
    EXPECT_EQ(get_params_from_file(dir + "/acq.txt", acq), 20);
    EXPECT_TRUE(out.lines.empty()) << out.all();
}

TEST(ParamSets, RecordOrderAndCounts) {
    ParamTable hw;
    build_hw_params(hw);
    const std::vector<std::string> hwNames = {"Hardware configuration parameters",
                                              "Camera_ref",
                                              "Acquisition_mode",
                                              "Default_acquisition_configuration",
                                              "Delay_after_power_up_on_time_mode",
                                              "Light_ref",
                                              "Correction_table_activation",
                                              "Time_between_lighting_power_up_and_trigger",
                                              "Time_between_lighting_trigger_and_acquisition",
                                              "Pressure_sensor_ref",
                                              "Pressure_offset",
                                              "Storage_capacity",
                                              "Minimum_remaining_memory_for_thumbnail_saving",
                                              "Baud_Rate",
                                              "IP_adress",
                                              "Black_level",
                                              "Shutter",
                                              "Gain",
                                              "Threshold",
                                              "Aa",
                                              "Exp",
                                              "Pixel_Size",
                                              "Image_volume",
                                              "Calibration_date",
                                              "Last_parameters_modification",
                                              "Operator_email"};
    EXPECT_EQ(names_of(hw), hwNames);
    EXPECT_EQ(hw[0].type, ParamRoot);
    EXPECT_EQ(hw[0].description, "");
    EXPECT_EQ(hw[11].type, ParamInternalInteger);
    EXPECT_EQ(hw[24].type, ParamInternalString);

    ParamTable acq;
    build_acq_params(acq);
    ASSERT_EQ(acq.size(), 21);
    EXPECT_EQ(acq[0].name, "Acquisition configuration parameters");
    EXPECT_EQ(acq[8].name, "Result_sending");
    EXPECT_EQ(acq[9].name, "Save_synthetic_data_for_delayed_request");
    for (const ParamDef& d : acq) {
        EXPECT_FALSE(param_type_is_internal(d.type)) << d.name;
    }
    // A second build starts again from the defaults.
    ASSERT_EQ(SetParamFromText(acq, "PT_mode", "3"), "");
    build_acq_params(acq);
    EXPECT_EQ(acq.size(), 21);
    EXPECT_EQ(GetParamAsText(acq, "PT_mode"), "1");
}

TEST(ParamSets, DefaultSetMessages) {
    ParamTable hw;
    build_hw_params(hw);
    const std::string hwSet = write_params_to_string("$HWCONFset:", hw) + ";";
    EXPECT_EQ(hwSet.rfind("$HWCONFset:UNDEFINED,0,UNDEFINED,0,UNDEFINED,0,150,250,", 0), 0u) << hwSet;
    EXPECT_EQ(
        hwSet,
        "$HWCONFset:UNDEFINED,0,UNDEFINED,0,UNDEFINED,0,150,250,,999.000000,2000,2,192.168.0.128,0,100,0,"
        "3,5380.100098,1.000000,73,0.650000,UNDEFINED,UNDEFINED;");

    ParamTable acq;
    build_acq_params(acq);
    EXPECT_EQ(
        write_params_to_string("$ACQCONFset:0,", acq) + ";",
        "$ACQCONFset:0,CONFNAME,1,1.000000,10,1,0,0,1,0,100,0,1000,1.000000,0,10,0,1000,0,40,UNDEFINED;");
}

TEST(ParamSets, InstrumentAnswerCarriesInternalFieldsTooAndEmptyPressureSensor) {
    ParamTable hw;
    build_hw_params(hw);
    PrintCapture out;
    ASSERT_EQ(get_params_from_string(kHwAnswer, "$HWCONFread:", hw), 25);
    EXPECT_EQ(GetParamAsText(hw, "Pressure_sensor_ref"), "");
    EXPECT_EQ(GetParamAsText(hw, "Storage_capacity"), "30000");
    EXPECT_EQ(GetParamAsText(hw, "Last_parameters_modification"), "202401021230");
    EXPECT_EQ(GetParamAsText(hw, "Operator_email"), "ops@example.org");
    EXPECT_EQ(
        write_params_to_string("$HWCONFset:", hw),
        "$HWCONFset:SN042,2,ACQ_A,5,LU7,1,100,200,,12.500000,1000,2,192.168.0.50,10,500,6,4,1234.500000,"
        "1.000000,80,0.500000,20240101,ops@example.org");
    EXPECT_TRUE(out.lines.empty()) << out.all();

    // One field short: the last record finds no terminator.
    std::string shorter = kHwAnswer;
    shorter.erase(shorter.find(",ops@example.org"), std::string(",ops@example.org").size());
    ParamTable again;
    build_hw_params(again);
    EXPECT_EQ(get_params_from_string(shorter, "$HWCONFread:", again), -1);
    ASSERT_EQ(out.lines.size(), 1u);
    EXPECT_EQ(
        out.lines[0],
        "\n[ERROR]: (get_params_from_string) Input string has an invalid format, or not enough parameters !");
}

TEST(ParamSets, SavedConfigurationRoundTripsThroughTheFile) {
    ParamTable hw;
    build_hw_params(hw);
    PrintCapture out;
    ASSERT_EQ(get_params_from_string(kHwAnswer, "$HWCONFread:", hw), 25);
    const QString path = QDir(make_temp_dir("sets")).filePath("saved.txt");
    ASSERT_TRUE(write_params_to_file(path, hw));
    const std::string text = read_file(path).toStdString();
    EXPECT_NE(text.find("\nStorage_capacity = 30000\n"), std::string::npos);
    EXPECT_NE(text.find("\nAa = 1234.500\n"), std::string::npos);
    ParamTable back;
    build_hw_params(back);
    // Pressure_sensor_ref is empty, so its line carries no value: 22 lines are taken.
    EXPECT_EQ(get_params_from_file(path, back), 22);
    EXPECT_EQ(write_params_to_string("$HWCONFset:", back), write_params_to_string("$HWCONFset:", hw));
    EXPECT_EQ(GetParamAsText(back, "Storage_capacity"), "-1");
}
