#include "params/ParamTable.h"
#include "PrintCapture.h"
#include "params/ParamSets.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>

using kelvotest::make_temp_dir;
using kelvotest::read_file;
using kelvotest::write_file;

namespace {

QString temp_file(const char* name) {
    return QDir(make_temp_dir("params")).filePath(QString::fromLatin1(name));
}

// A small table with one record of every type, for the conversions.
ParamTable every_type_table() {
    ParamTable t;
    t.append(ParamDef::root("Mixed"));
    t.append(ParamDef::integer("I", -5, 5, 1, "an integer"));
    t.append(ParamDef::integer("II", -1, -1, 7, "internal integer", true));
    t.append(ParamDef::real("F", 0.5f, 2.5f, 1.25f, "a float"));
    t.append(ParamDef::real("IF", -1, -1, 3.5f, "internal float", true));
    t.append(ParamDef::string("S", 2, 5, "abc", "a string"));
    t.append(ParamDef::internalString("IS", 4, "xyz", "internal string"));
    t.append(ParamDef::boolean("B", true, "a boolean"));
    t.append(ParamDef::boolean("IB", false, "internal boolean", true));
    return t;
}

} // namespace

TEST(ParamValueText, EveryTypeHasItsForm) {
    ParamTable t = every_type_table();
    const struct {
        int index;
        const char* text;
    } cases[] = {{0, "ROOT"}, {1, "1"},   {2, "7"},    {3, "1.250"}, {4, "3.500"},
                 {5, "abc"},  {6, "xyz"}, {7, "true"}, {8, "false"}};
    for (const auto& c : cases) {
        EXPECT_EQ(param_value_text(t[c.index]), c.text) << t[c.index].name;
    }
    ParamDef odd = ParamDef::root("X");
    odd.type = 9;
    EXPECT_EQ(param_value_text(odd), "UnknownType");
    t[3].floatValue = 999.0f;
    EXPECT_EQ(param_value_text(t[3]), "999.000");
    t[3].floatValue = 0.65f;
    EXPECT_EQ(param_value_text(t[3]), "0.650");
}

TEST(ParamFile, ReadingFollowsTheLineRules) {
    struct Case {
        const char* name;
        const char* content;
        int result;
        int gain;
    };
    const Case cases[] = {
        {"trailing comment", "Gain = 12 // twelve\n", 1, 12},
        {"no blanks", "Gain=12\n", 1, 12},
        {"no equals sign", "Gain 12\n", 0, 0},
        {"slash inside the name", "Ga/in = 12\n", 0, 0},
        {"single slash comment", "/ Gain = 12\n", 0, 0},
        {"trailing text after digits", "Gain = 12dB\n", 1, 12},
        {"no value word", "Gain =   \n", 0, 0},
        {"no name", " = 12\n", 0, 0},
        {"twice", "Gain = 3\nGain = 4\n", 2, 4},
        {"carriage returns", "Gain = 5\r\n", 1, 5},
        {"no final newline", "Gain = 6", 1, 6},
        {"internal record ignored", "Storage_capacity = 5\n", 0, 0},
        {"root record ignored", "Hardware = 1\n", 0, 0},
    };
    for (const Case& c : cases) {
        const QString path = temp_file("gain.txt");
        ASSERT_TRUE(write_file(path, c.content));
        ParamTable t;
        build_hw_params(t);
        PrintCapture out;
        EXPECT_EQ(get_params_from_file(path, t), c.result) << c.name;
        EXPECT_EQ(GetParamAsText(t, "Gain"), std::to_string(c.gain)) << c.name;
        EXPECT_EQ(GetParamAsText(t, "Storage_capacity"), "-1") << c.name;
    }
}

TEST(ParamFile, UnknownNameWarnsAndIsSkipped) {
    const QString path = temp_file("unknown.txt");
    ASSERT_TRUE(write_file(path, "Gainz = 3\nGain = 4\n"));
    ParamTable t;
    build_hw_params(t);
    PrintCapture out;
    EXPECT_EQ(get_params_from_file(path, t), 1);
    ASSERT_EQ(out.lines.size(), 1u);
    EXPECT_EQ(out.lines[0], "\n[WARNING]: (get_params_from_file) Unknown parameter Gainz !");
}

TEST(ParamFile, InclusiveBoundsAndTheirMessages) {
    struct Case {
        const char* line;
        bool acq;
        int result;
        const char* message; // "" when accepted silently
    };
    const Case cases[] = {
        {"Shutter = 13", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for integer Shutter !"},
        {"Shutter = 14", false, 1, ""},
        {"Shutter = 60000000", false, 1, ""},
        {"Shutter = 60000001", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for integer Shutter !"},
        {"Shutter = 99999999999999999999999", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for integer Shutter !"},
        {"Baud_Rate = 3", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for integer Baud_Rate !"},
        {"Gain = 48", false, 1, ""},
        {"Gain = 49", false, -1, "\n[ERROR]: (get_params_from_file) Out of range value for integer Gain !"},
        {"Gain = -1", false, -1, "\n[ERROR]: (get_params_from_file) Out of range value for integer Gain !"},
        {"Threshold = 256", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for integer Threshold !"},
        {"Exp = 2.0", false, 1, ""},
        {"Exp = 2.0001", false, -1, "\n[ERROR]: (get_params_from_file) Out of range value for float Exp !"},
        {"Exp = nan", false, -1, "\n[ERROR]: (get_params_from_file) Out of range value for float Exp !"},
        {"Aa = 1e39", false, -1, "\n[ERROR]: (get_params_from_file) Out of range value for float Aa !"},
        {"Pressure_offset = -999", false, 1, ""},
        {"Pressure_offset = -999.01", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for float Pressure_offset !"},
        {"Acquisition_frequency = 0.001", true, 1, ""},
        {"Acquisition_frequency = 0.0009", true, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for float Acquisition_frequency !"},
        {"IP_adress = 1.1.1.1", false, 1, ""},
        {"IP_adress = 192.168.100.100", false, 1, ""},
        {"IP_adress = 192.168.100.1000", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range length for string IP_adress !"},
        {"IP_adress = 1.1.1.", false, -1,
         "\n[ERROR]: (get_params_from_file) Out of range length for string IP_adress !"},
        {"Result_sending = yes", true, -1,
         "\n[ERROR]: (get_params_from_file) Out of range value for boolean Result_sending !"},
        {"Result_sending = 1", true, 1, ""},
        {"Result_sending = true", true, 1, ""},
        {"Result_sending = false", true, 1, ""},
        {"Result_sending = 0", true, 1, ""},
    };
    for (const Case& c : cases) {
        const QString path = temp_file("bounds.txt");
        ASSERT_TRUE(write_file(path, QByteArray(c.line) + "\n"));
        ParamTable t;
        c.acq ? build_acq_params(t) : build_hw_params(t);
        PrintCapture out;
        EXPECT_EQ(get_params_from_file(path, t), c.result) << c.line;
        EXPECT_EQ(out.lines.empty() ? std::string() : out.lines[0], c.message) << c.line;
    }
}

TEST(ParamFile, AcceptedValuesAreStoredAndEarlierOnesSurviveAnError) {
    const QString path = temp_file("partial.txt");
    ASSERT_TRUE(
        write_file(path, "Gain = 7\nExp = 0.25\nIP_adress = 10.0.0.2\nThreshold = 900\nBlack_level = 5\n"));
    ParamTable t;
    build_hw_params(t);
    PrintCapture out;
    EXPECT_EQ(get_params_from_file(path, t), -1);
    EXPECT_EQ(GetParamAsText(t, "Gain"), "7");
    EXPECT_EQ(GetParamAsText(t, "Exp"), "0.250");
    EXPECT_EQ(GetParamAsText(t, "IP_adress"), "10.0.0.2");
    EXPECT_EQ(GetParamAsText(t, "Threshold"), "3");
    EXPECT_EQ(GetParamAsText(t, "Black_level"), "0");
}

TEST(ParamFile, FailuresToOpenAndEmptyTables) {
    ParamTable empty;
    ParamTable hw;
    build_hw_params(hw);
    PrintCapture out;
    EXPECT_EQ(get_params_from_file(temp_file("x.txt"), empty), -1);
    EXPECT_EQ(get_params_from_file("/nonexistent-dir/none.txt", hw), -1);
    EXPECT_FALSE(write_params_to_file(temp_file("y.txt"), empty));
    EXPECT_FALSE(write_params_to_file("/nonexistent-dir/out.txt", hw));
    EXPECT_EQ(get_params_from_string("$X:1;", "$X:", empty), -1);
    const std::vector<std::string> expected = {
        "\n[ERROR]: (get_params_from_file) Input parameters map is empty !",
        "\n[ERROR]: (get_params_from_file) Cannot open file /nonexistent-dir/none.txt !",
        "\n[ERROR]: (write_params_to_file) Input parameters map is empty !",
        "\n[ERROR]: (write_params_to_file) Cannot open file /nonexistent-dir/out.txt !",
        "\n[ERROR]: (get_params_from_string) Input parameters map is empty !",
    };
    EXPECT_EQ(out.lines, expected);
}

TEST(ParamFile, LongLinesAndBinaryNoiseAreHandled) {
    const QString path = temp_file("noise.txt");
    QByteArray content = "Camera_ref = " + QByteArray(5000, 'A') + "\n";
    content.prepend(QByteArray("\x00\xff\x01=\x02\n", 6));
    content.prepend(QByteArray(100000, 'x') + " = 3\n");
    ASSERT_TRUE(write_file(path, content));
    ParamTable t;
    build_hw_params(t);
    PrintCapture out;
    EXPECT_EQ(get_params_from_file(path, t), -1);
    EXPECT_EQ(GetParamAsText(t, "Camera_ref"), "UNDEFINED");
    EXPECT_EQ(out.lines.back(),
              "\n[ERROR]: (get_params_from_file) Out of range length for string Camera_ref !");
}

TEST(ParamFile, NulEndsALineOrAnAnswer) {
    using namespace std::string_literals;
    const QString path = temp_file("nul.txt");
    ASSERT_TRUE(write_file(path, QByteArray("Camera_ref = AB\0CD\nGain = 4\0 9\n", 31)));
    ParamTable t;
    build_hw_params(t);
    PrintCapture out;
    EXPECT_EQ(get_params_from_file(path, t), 2);
    EXPECT_EQ(GetParamAsText(t, "Camera_ref"), "AB");
    EXPECT_EQ(GetParamAsText(t, "Gain"), "4");
    EXPECT_EQ(SetParamFromText(t, "Light_ref", "L\0X"s), "");
    EXPECT_EQ(GetParamAsText(t, "Light_ref"), "L");
    ParamTable m = every_type_table();
    EXPECT_EQ(get_params_from_string("$R:1,2,0.5,0,a\0b,c,0,1;"s, "$R:", m), -1);
    EXPECT_EQ(param_value_text(m[5]), "abc");
}

TEST(ParamFile, WritingTheEveryTypeTable) {
    const QString path = temp_file("mixed.txt");
    ParamTable t = every_type_table();
    ASSERT_TRUE(write_params_to_file(path, t));
    const char* expected =
        "// Mixed :\n\n"
        "// Parameter name: I, Integer type, range: -5 to 5\n// Description: an integer\nI = 1\n\n"
        "// Parameter name: II, Internal integer type, do not edit\n// Description: internal "
        "integer\nII = 7\n\n"
        "// Parameter name: F, Float type, range: 0.5 to 2.5\n// Description: a float\nF = 1.250\n\n"
        "// Parameter name: IF, Internal float type, do not edit\n// Description: internal "
        "float\nIF = 3.500\n\n"
        "// Parameter name: S, String type, length range: 2 to 5 characters\n// Description: a "
        "string\nS = abc\n\n"
        "// Parameter name: IS, Internal string type, do not edit\n// Description: internal "
        "string\nIS = xyz\n\n"
        "// Parameter name: B, Boolean type, range: [0;1] or [false;true]\n// Description: a "
        "boolean\nB = true\n\n"
        "// Parameter name: IB, Internal boolean type, do not edit\n// Description: internal "
        "boolean\nIB = false\n\n";
    EXPECT_EQ(read_file(path).toStdString(), expected);
}

TEST(ParamFile, UnknownTypeCodeIsReportedByEveryConversion) {
    ParamTable t;
    t.append(ParamDef::root("T"));
    ParamDef odd = ParamDef::integer("Odd", 0, 1, 0, "d");
    odd.type = 11;
    t.append(odd);
    t.append(ParamDef::integer("N", 0, 9, 4, "n"));
    const QString path = temp_file("odd.txt");
    PrintCapture out;
    ASSERT_TRUE(write_params_to_file(path, t));
    EXPECT_EQ(read_file(path).toStdString(),
              "// T :\n\n// Parameter name: Odd, \n// Description: d\nOdd = "
              "UnknownType\n\n// Parameter name: N, Integer type, range: 0 to 9\n// "
              "Description: n\nN = 4\n\n");
    EXPECT_EQ(write_params_to_string("$P:", t), "$P:4");
    ASSERT_TRUE(write_file(path, "Odd = 1\nN = 2\n"));
    EXPECT_EQ(get_params_from_file(path, t), 1);
    EXPECT_EQ(get_params_from_string("$P:1,3;", "$P:", t), 2);
    EXPECT_EQ(GetParamAsText(t, "N"), "3");
    const std::vector<std::string> expected = {
        "\n[WARNING]: (write_params_to_file) Unknown parameter type for Odd !",
        "\n[WARNING]: (write_params_to_string) Unknown parameter type for Odd !",
        "\n[WARNING]: (get_params_from_file) Unknown parameter type for Odd !",
        "\n[WARNING]: (get_params_from_string) Unknown parameter type for Odd !",
    };
    EXPECT_EQ(out.lines, expected);
}

TEST(ParamWire, WritingKeepsEditableFieldsAndThePrefixAsymmetry) {
    ParamTable t = every_type_table();
    EXPECT_EQ(write_params_to_string("$SET:", t), "$SET:1,1.250000,abc,1");
    ParamTable internalOnly;
    internalOnly.append(ParamDef::root("R"));
    internalOnly.append(ParamDef::integer("II", -1, -1, 7, "", true));
    EXPECT_EQ(write_params_to_string("$ACQCONFset:3,", internalOnly), "$ACQCONFset:3");
    EXPECT_EQ(write_params_to_string("", internalOnly), "");
}

TEST(ParamWire, ReadingFieldsInTableOrder) {
    struct Case {
        const char* received;
        int result;
        const char* i;
        const char* ii;
        const char* f;
        const char* s;
        const char* is;
        const char* b;
        const char* message;
    };
    const Case cases[] = {
        {"$R:-3,9,2.5,4.5,hello,abc,0,1;\n", 8, "-3", "9", "2.500", "hello", "abc", "false", ""},
        {"noise before $R:-3,9,2.5,4.5,hello,abc,0,1;", 8, "-3", "9", "2.500", "hello", "abc", "false", ""},
        {"$R:-3,9,2.5,4.5,hello,abc,0,1,extra,fields;", 8, "-3", "9", "2.500", "hello", "abc", "false", ""},
        // no range checks on the wire, strings cut to their buffers
        {"$R:99,9,7.0,0,toolongtext,abcdef,true,1;", 8, "99", "9", "7.000", "toolo", "abc", "true", ""},
        {"$R:,,,,,,,;", 8, "0", "0", "0.000", "", "", "true", ""},
        {"$R:1,2,0.5,0,ab,c,maybe,1;", 8, "1", "2", "0.500", "ab", "c", "true", ""},
        {"$R:1,2,0.5,0,ab,c,0", -1, "1", "2", "0.500", "ab", "c", "true",
         "\n[ERROR]: (get_params_from_string) Input string has an invalid format, or not enough parameters "
         "!"},
        {"$Q:1,2;", -1, "1", "7", "1.250", "abc", "xyz", "true",
         "\n[ERROR]: (get_params_from_string) Prefix \" $R: \" not found !"},
        {"$R:99999999999,-99999999999,1,1,ab,c,0,1;", 8, "2147483647", "-2147483648", "1.000", "ab", "c",
         "false", ""},
    };
    for (const Case& c : cases) {
        ParamTable t = every_type_table();
        PrintCapture out;
        const int r = get_params_from_string(c.received, "$R:", t);
        EXPECT_EQ(r, c.result) << c.received;
        EXPECT_EQ(param_value_text(t[1]), c.i) << c.received;
        EXPECT_EQ(param_value_text(t[2]), c.ii) << c.received;
        EXPECT_EQ(param_value_text(t[3]), c.f) << c.received;
        EXPECT_EQ(param_value_text(t[5]), c.s) << c.received;
        EXPECT_EQ(param_value_text(t[6]), c.is) << c.received;
        EXPECT_EQ(param_value_text(t[7]), c.b) << c.received;
        EXPECT_EQ(out.lines.empty() ? std::string() : out.lines[0], c.message) << c.received;
    }
}

TEST(ParamAccess, GetAndSetByNameWithTheirMessages) {
    ParamTable t;
    build_hw_params(t);
    PrintCapture out;
    EXPECT_EQ(GetParamAsText(t, "Gainn"), "Missing parameter Gainn");
    EXPECT_EQ(SetParamFromText(t, "Gainn", "3"), "Missing parameter Gainn");
    const std::vector<std::string> expected = {
        "\n[WARNING]: (GetParamAsText) GetParamAsText Unknown parameter  Gainn !",
        "\n[WARNING]: (SetParamFromText) SetParamFromText Unknown parameter  Gainn !",
    };
    EXPECT_EQ(out.lines, expected);

    struct Case {
        const char* name;
        const char* text;
        const char* error;
        const char* after;
    };
    const Case cases[] = {
        {"Gain", "48", "", "48"},
        {"Gain", "49", "Out of range value for integer Gain : 0<=49<=48", "0"},
        {"Shutter", "13", "Out of range value for integer Shutter : 14<=13<=60000000", "100"},
        {"Exp", "2.0", "", "2.000"},
        {"Exp", "2.5", "Out of range value for float Exp : 0<=2.5<=2", "1.000"},
        {"Pressure_offset", "-1000", "Out of range value for float Pressure_offset : -999<=-1000<=999",
         "999.000"},
        {"IP_adress", "1.2.3.4", "", "1.2.3.4"},
        {"IP_adress", "1.2.3.", "Out of range length for string IP_adress", "192.168.0.128"},
        {"Camera_ref", "", "Out of range length for string Camera_ref", "UNDEFINED"},
        {"Pressure_sensor_ref", "", "", ""},
        {"Storage_capacity", "55", "", "-1"},
        {"Last_parameters_modification", "202401011200", "", ""},
    };
    for (const Case& c : cases) {
        ParamTable fresh;
        build_hw_params(fresh);
        EXPECT_EQ(SetParamFromText(fresh, c.name, c.text), c.error) << c.name << "=" << c.text;
        EXPECT_EQ(GetParamAsText(fresh, c.name), c.after) << c.name << "=" << c.text;
    }

    ParamTable acq;
    build_acq_params(acq);
    EXPECT_EQ(SetParamFromText(acq, "Acquisition_frequency", "0.001"), "");
    EXPECT_EQ(SetParamFromText(acq, "Acquisition_frequency", "0.0009"),
              "Out of range value for float Acquisition_frequency : 0.001<=0.0009<=50");
    EXPECT_EQ(SetParamFromText(acq, "Result_sending", "no"), "Out of range value for boolean Result_sending");
    EXPECT_EQ(SetParamFromText(acq, "Result_sending", "0"), "");
    EXPECT_EQ(GetParamAsText(acq, "Result_sending"), "false");
}

TEST(ParamAccess, ConfigurationNameAndFind) {
    ParamTable acq;
    build_acq_params(acq);
    EXPECT_EQ(param_config_name(acq), "CONFNAME");
    ASSERT_EQ(SetParamFromText(acq, "Configuration_name", "ACQ_NIGHT"), "");
    EXPECT_EQ(param_config_name(acq), "ACQ_NIGHT");
    ParamTable hw;
    build_hw_params(hw);
    EXPECT_EQ(param_config_name(hw), "");
    EXPECT_EQ(find_param("Nope", hw), hw.end());
    ASSERT_NE(find_param("Gain", hw), hw.end());
    EXPECT_EQ(find_param("Gain", hw)->intValue, 0);
    // Operator_email exists in both tables; each finds its own.
    EXPECT_EQ(find_param("Operator_email", hw) - hw.begin(), 25);
    EXPECT_EQ(find_param("Operator_email", acq) - acq.begin(), 20);
}

TEST(ParamPrint, CaptionRowsAndRootLine) {
    ParamTable t;
    t.append(ParamDef::root("Loaded VORTAN Hardware Configuration"));
    t.append(ParamDef::integer("Gain", 0, 48, 6, ""));
    t.append(ParamDef::real("Exp", 0, 2, 0.5f, ""));
    PrintCapture out;
    print_params(t);
    const std::vector<std::string> expected = {
        "Loaded VORTAN Hardware Configuration :\n",
        "\tLoaded VORTAN Hardware Configuration = ROOT",
        "\tGain = 6",
        "\tExp = 0.500",
    };
    EXPECT_EQ(out.lines, expected);
}
