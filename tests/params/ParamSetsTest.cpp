#include "params/ParamSets.h"
#include "ParamsTestSupport.h"
#include "params/ParamTable.h"

#include <gtest/gtest.h>

using kelvotest::read_file;

TEST(ParamSets, TemplatesMatchTheHandWrittenFilesAndReadBack) {
    const struct {
        void (*build)(ParamTable&);
        const char* file;
        int readBack; // internal records and empty values are not taken
    } sets[] = {{&build_hw_params, "hw_template.txt", 22}, {&build_acq_params, "acq_template.txt", 20}};
    for (const auto& s : sets) {
        ParamTable t;
        s.build(t);
        const QString path = temp_file(s.file);
        ASSERT_TRUE(write_params_to_file(path, t));
        const QByteArray expected = expected_file(s.file);
        ASSERT_FALSE(expected.isEmpty()) << s.file;
        EXPECT_EQ(read_file(path).toStdString(), expected.toStdString()) << s.file;
        PrintCapture out;
        EXPECT_EQ(get_params_from_file(path, t), s.readBack) << s.file;
        EXPECT_EQ(out.text, "") << s.file;
    }
}

TEST(ParamSets, DefaultSetMessages) {
    ParamTable hw;
    build_hw_params(hw);
    EXPECT_EQ(
        write_params_to_string("$HWCONFset:", hw) + ";",
        "$HWCONFset:UNDEFINED,0,UNDEFINED,0,UNDEFINED,0,150,250,,999.000000,2000,2,192.168.0.128,0,100,0,"
        "3,5380.100098,1.000000,73,0.650000,UNDEFINED,UNDEFINED;");

    ParamTable acq;
    build_acq_params(acq);
    EXPECT_EQ(
        write_params_to_string("$ACQCONFset:0,", acq) + ";",
        "$ACQCONFset:0,CONFNAME,1,1.000000,10,1,0,0,1,0,100,0,1000,1.000000,0,10,0,1000,0,40,UNDEFINED;");
}

TEST(ParamSets, InstrumentAnswerGoesToTheSetMessage) {
    ParamTable hw;
    build_hw_params(hw);
    PrintCapture out;
    ASSERT_EQ(
        get_params_from_string("$HWCONFread:SN042,2,ACQ_A,5,LU7,1,100,200,,12.5,30000,1000,2,192.168.0.50,"
                               "10,500,6,4,1234.5,1.0,80,0.5,20240101,202401021230,ops@example.org;\n",
                               "$HWCONFread:", hw),
        25);
    EXPECT_EQ(GetParamAsText(hw, "Storage_capacity"), "30000");
    EXPECT_EQ(GetParamAsText(hw, "Last_parameters_modification"), "202401021230");
    EXPECT_EQ(
        write_params_to_string("$HWCONFset:", hw),
        "$HWCONFset:SN042,2,ACQ_A,5,LU7,1,100,200,,12.500000,1000,2,192.168.0.50,10,500,6,4,1234.500000,"
        "1.000000,80,0.500000,20240101,ops@example.org");

    EXPECT_EQ(out.text, "");
}
