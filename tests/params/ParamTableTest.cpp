#include "params/ParamTable.h"
#include "ParamsTestSupport.h"
#include "params/ParamSets.h"

#include <gtest/gtest.h>

using kelvotest::read_file;
using kelvotest::write_file;

namespace {

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

// The value texts of every record after the root, separated by "|".
std::string values_of(const ParamTable& t) {
    std::string out;
    for (int i = 1; i < t.size(); ++i) {
        out += (i > 1 ? "|" : "") + param_value_text(t[i]);
    }
    return out;
}

} // namespace

TEST(ParamFile, ReadingFollowsTheLineRules) {
    struct Case {
        const char* name;
        const char* content;
        int result;
        int gain;
        const char* printed;
    };
    const Case cases[] = {
        {"trailing comment", "Gain = 12 // twelve\n", 1, 12, ""},
        {"no equals sign", "Gain 12\n", 0, 0, ""},
        {"slash inside the name", "Ga/in = 12\n", 0, 0, ""},
        {"single slash comment", "/ Gain = 12\n", 0, 0, ""},
        {"trailing text after digits", "Gain = 12dB\n", 1, 12, ""},
        {"no value word", "Gain =   \n", 0, 0, ""},
        {"no name", " = 12\n", 0, 0, ""},
        {"carriage returns", "Gain = 5\r\n", 1, 5, ""},
        {"internal record ignored", "Storage_capacity = 5\n", 0, 0, ""},
        {"unknown name skipped", "Gainz = 3\nGain = 4\n", 1, 4,
         "\n[WARNING]: (get_params_from_file) Unknown parameter Gainz !"},
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
        EXPECT_EQ(out.text, c.printed) << c.name;
    }
}

TEST(ParamFile, InclusiveBoundsAndTheirMessages) {
    struct Case {
        const char* line;
        bool acq;
        const char* error; // between "Out of range " and " !"; "" when accepted
    };
    const Case cases[] = {
        {"Shutter = 13", false, "value for integer Shutter"},
        {"Shutter = 60000001", false, "value for integer Shutter"},
        {"Shutter = 99999999999999999999999", false, "value for integer Shutter"},
        {"Exp = 2.0001", false, "value for float Exp"},
        {"Exp = nan", false, "value for float Exp"},
        {"Aa = 1e39", false, "value for float Aa"},
        {"IP_adress = 192.168.100.100", false, ""},
        {"IP_adress = 192.168.100.1000", false, "length for string IP_adress"},
        {"IP_adress = 1.1.1.", false, "length for string IP_adress"},
        {"Result_sending = yes", true, "value for boolean Result_sending"},
        {"Result_sending = true", true, ""},
    };
    for (const Case& c : cases) {
        const QString path = temp_file("bounds.txt");
        ASSERT_TRUE(write_file(path, QByteArray(c.line) + "\n"));
        ParamTable t;
        c.acq ? build_acq_params(t) : build_hw_params(t);
        PrintCapture out;
        const bool refused = *c.error != '\0';
        EXPECT_EQ(get_params_from_file(path, t), refused ? -1 : 1) << c.line;
        EXPECT_EQ(out.text,
                  refused ? "\n[ERROR]: (get_params_from_file) Out of range " + std::string(c.error) + " !"
                          : "")
            << c.line;
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
    EXPECT_EQ(out.text, "\n[ERROR]: (get_params_from_file) Input parameters map is empty !|"
                        "\n[ERROR]: (get_params_from_file) Cannot open file /nonexistent-dir/none.txt !|"
                        "\n[ERROR]: (write_params_to_file) Input parameters map is empty !|"
                        "\n[ERROR]: (write_params_to_file) Cannot open file /nonexistent-dir/out.txt !|"
                        "\n[ERROR]: (get_params_from_string) Input parameters map is empty !");
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
    EXPECT_EQ(out.text,
              "\n[WARNING]: (get_params_from_file) Unknown parameter " + std::string(100000, 'x') +
                  " !|\n[ERROR]: (get_params_from_file) Out of range length for string Camera_ref !");
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
    ASSERT_TRUE(write_params_to_file(path, every_type_table()));
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

TEST(ParamWire, WritingKeepsEditableFieldsAndThePrefixAsymmetry) {
    EXPECT_EQ(write_params_to_string("$SET:", every_type_table()), "$SET:1,1.250000,abc,1");
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
        const char* values; // I|II|F|IF|S|IS|B|IB after the reading
        const char* printed;
    };
    const Case cases[] = {
        {"$R:-3,9,2.5,4.5,hello,abc,0,1;\n", 8, "-3|9|2.500|4.500|hello|abc|false|true", ""},
        {"noise before $R:-3,9,2.5,4.5,hello,abc,0,1;", 8, "-3|9|2.500|4.500|hello|abc|false|true", ""},
        {"$R:-3,9,2.5,4.5,hello,abc,0,1,extra,fields;", 8, "-3|9|2.500|4.500|hello|abc|false|true", ""},
        // no range checks on the wire, strings cut to their buffers
        {"$R:99,9,7.0,0,toolongtext,abcdef,true,1;", 8, "99|9|7.000|0.000|toolo|abc|true|true", ""},
        {"$R:,,,,,,,;", 8, "0|0|0.000|0.000|||true|false", ""},
        {"$R:1,2,0.5,0,ab,c,maybe,1;", 8, "1|2|0.500|0.000|ab|c|true|true", ""},
        {"$R:1,2,0.5,0,ab,c,0", -1, "1|2|0.500|0.000|ab|c|true|false",
         "\n[ERROR]: (get_params_from_string) Input string has an invalid format, or not enough parameters "
         "!"},
        {"$Q:1,2;", -1, "1|7|1.250|3.500|abc|xyz|true|false",
         "\n[ERROR]: (get_params_from_string) Prefix \" $R: \" not found !"},
        {"$R:99999999999,-99999999999,1,1,ab,c,0,1;", 8, "2147483647|-2147483648|1.000|1.000|ab|c|false|true",
         ""},
    };
    for (const Case& c : cases) {
        ParamTable t = every_type_table();
        PrintCapture out;
        EXPECT_EQ(get_params_from_string(c.received, "$R:", t), c.result) << c.received;
        EXPECT_EQ(values_of(t), c.values) << c.received;
        EXPECT_EQ(out.text, c.printed) << c.received;
    }
}

TEST(ParamAccess, GetAndSetByNameWithTheirMessages) {
    ParamTable t;
    build_hw_params(t);
    PrintCapture out;
    EXPECT_EQ(GetParamAsText(t, "Gainn"), "Missing parameter Gainn");
    EXPECT_EQ(SetParamFromText(t, "Gainn", "3"), "Missing parameter Gainn");
    EXPECT_EQ(out.text, "\n[WARNING]: (GetParamAsText) GetParamAsText Unknown parameter  Gainn !|"
                        "\n[WARNING]: (SetParamFromText) SetParamFromText Unknown parameter  Gainn !");

    struct Case {
        bool acq;
        const char* name;
        const char* text;
        const char* error;
        const char* after;
    };
    const Case cases[] = {
        {false, "Gain", "48", "", "48"},
        {false, "Gain", "49", "Out of range value for integer Gain : 0<=49<=48", "0"},
        {false, "Shutter", "13", "Out of range value for integer Shutter : 14<=13<=60000000", "100"},
        {false, "Exp", "2.5", "Out of range value for float Exp : 0<=2.5<=2", "1.000"},
        {false, "IP_adress", "1.2.3.", "Out of range length for string IP_adress", "192.168.0.128"},
        {false, "Camera_ref", "", "Out of range length for string Camera_ref", "UNDEFINED"},
        {false, "Pressure_sensor_ref", "", "", ""},
        {false, "Storage_capacity", "55", "", "-1"},
        {false, "Last_parameters_modification", "202401011200", "", ""},
        {true, "Acquisition_frequency", "0.0009",
         "Out of range value for float Acquisition_frequency : 0.001<=0.0009<=50", "1.000"},
        {true, "Result_sending", "no", "Out of range value for boolean Result_sending", "true"},
        {true, "Result_sending", "0", "", "false"},
    };
    for (const Case& c : cases) {
        ParamTable fresh;
        c.acq ? build_acq_params(fresh) : build_hw_params(fresh);
        EXPECT_EQ(SetParamFromText(fresh, c.name, c.text), c.error) << c.name << "=" << c.text;
        EXPECT_EQ(GetParamAsText(fresh, c.name), c.after) << c.name << "=" << c.text;
    }
}

TEST(ParamPrint, CaptionRowsAndRootLine) {
    ParamTable t;
    t.append(ParamDef::root("Loaded VORTAN Hardware Configuration"));
    t.append(ParamDef::integer("Gain", 0, 48, 6, ""));
    t.append(ParamDef::real("Exp", 0, 2, 0.5f, ""));
    PrintCapture out;
    print_params(t);
    EXPECT_EQ(out.text, "Loaded VORTAN Hardware Configuration :\n|"
                        "\tLoaded VORTAN Hardware Configuration = ROOT|\tGain = 6|\tExp = 0.500");
}
