// `kelvo sample ...` end to end: the same rules as the dialog, printed as plain text.
#include "SampleFixture.h"
#include "support/LogCapture.h"

#include <QDir>
#include <QFileInfo>
#include <QString>

#include <gtest/gtest.h>

using namespace kelvotest;

namespace {

ProgramRun kelvo(const QStringList& args) {
    return run_program(bin_dir() + "/kelvo", QStringList{"sample"} + args, QByteArray(), QString(), 30000);
}

const QStringList kFields{"--set", "cruise=Cruise1", "--set", "bottomdepth=320", "--set", "latitude=43.6861",
                          "--set", "longitude=7.3",  "--set", "winddir=270",     "--set", "windspeed=12",
                          "--set", "seastate=3",     "--set", "nebuloussness=4"};

} // namespace

TEST(CliSample, CreateListProcessEditDelete) {
    const QString prj = make_sample_project();
    write_sequence(prj, "S1", profile(301, 300, 20));
    write_sequence(prj, "S2", profile(50, 60, 20));
    write_file(prj + "/config/cruise_info.txt", "[General]\nacron=Cruise1\n");

    ProgramRun r = kelvo(QStringList{"create", prj, "--sequence", "S1", "--name", "cruise1_st01", "--type",
                                     "P", "--detect-range"} +
                         kFields);
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(QString(r.out), "first: 28\nlast: 300\nstored: cruise1_st01\n");

    // The dialog's refusals without their markup, one per line.
    r = kelvo(QStringList{"create", prj, "--sequence", "S1", "--name", "Cruise1_", "--set", "firstimage=5",
                          "--set", "endimg=5", "--set", "latitude=43,6"} +
              kFields.mid(0, 4));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(QString(r.err),
              "Field 'Latitude' has an invalid format\nField 'Longitude' is required\n"
              "Field 'Nebulousness' is required\nField 'Sample Name' must not just be equal to the project "
              "cruise name.\nField 'Sea state' is required\nField 'Wind direction' is required\nField 'Wind "
              "speed' is required\nLast image < first image\n");

    // Images shared with another sample: refused unless --yes.
    const QStringList second =
        QStringList{"create",         prj,     "--sequence", "S1",     "--name", "cruise1_st02", "--set",
                    "firstimage=100", "--set", "endimg=200", "--type", "P"} +
        kFields;
    r = kelvo(second);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(QString(r.err),
              "Image in 2 sample: Some image selected by the current sample are also available in at least "
              "sample 'cruise1_st01'.\nDo you want to continue ?\nRefused: --yes answers Save to this "
              "question.\n");
    r = kelvo(second + QStringList{"--yes"});
    ASSERT_EQ(r.status, 0) << r.err.constData();

    r = kelvo({"process", prj, "--all"});
    EXPECT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(QString(r.out),
              "cruise1_st01: Particules cruise1_st01 done!!\ncruise1_st02: Particules cruise1_st02 done!!\n");
    r = kelvo({"process", prj, "cruise1_st01", "nobody"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(QString(r.out),
              "cruise1_st01: Particules cruise1_st01 done!!\nnobody: Warn: Particules nobody : "
              "SampleDataProcessor::ProcessData Sample not found : nobody\n");

    r = kelvo({"list", prj});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(QString(r.out),
              "Sample ID\tSource Seq.\tDate & Time\tStation ID\tLat.\tLong.\t1st img.\tLast img.\tType\t"
              "Data proc.\tImg. proc.\n"
              "cruise1_st01\tS1\t20240301-060028\t\t43.6861\t7.3\t28\t300\tDepth\tYes\tNo\n"
              "cruise1_st02\tS1\t20240301-060140\t\t43.6861\t7.3\t100\t200\tDepth\tYes\tNo\n");

    // Editing a processed sample discards its results: asked first.
    r = kelvo({"edit", prj, "cruise1_st02", "--set", "comment=second look"});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(
        r.err.startsWith("Result discarding: As you have modified Metadata, result files will be erased.\n"))
        << r.err.constData();
    EXPECT_TRUE(QFileInfo::exists(prj + "/maridata/cruise1_st02/cruise1_st02_Particule.zip"));

    r = kelvo({"detect-range", prj, "S2", "--type", "P"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(QString(r.err), "No deep data: no data under 80m\n");
    r = kelvo({"detect-range", prj, "S2", "--type", "T"});
    EXPECT_EQ(QString(r.out), "first: 0\nlast: 49\n");

    r = kelvo({"delete", prj, "cruise1_st02"});
    EXPECT_EQ(r.status, 1);
    r = kelvo({"delete", prj, "cruise1_st02", "--yes"});
    EXPECT_EQ(r.status, 0) << r.err.constData();
    EXPECT_FALSE(QFileInfo::exists(prj + "/maridata/cruise1_st02"));
    r = kelvo({"list", prj});
    EXPECT_EQ(r.out.count('\n'), 2);
}
