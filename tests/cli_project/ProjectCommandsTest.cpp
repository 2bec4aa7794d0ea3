#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>

using kelvotest::write_file;

namespace {

kelvotest::ProgramRun kelvo(const QStringList& args, const QString& cwd = QString()) {
    return kelvotest::run_program(kelvotest::bin_dir() + "/kelvo", args, QByteArray(), cwd, 30000);
}

QString make_project() {
    const QString root = kelvotest::make_temp_dir(QStringLiteral("cli"));
    const QString path = root + "/kelvo6_sn000120lp_2020_initial";
    QDir().mkpath(path + "/config");
    write_file(path + "/config/cruise_info.txt", "[General]\nacron=Initial 2020\nyear=2020\n");
    write_file(path + "/meta/kelvo6_header_sn000120lp_2020_initial.txt",
               "cruise;filename;profileid\nc;seqA;a1\nc;seqA;a2\nc;seqB;b1\n");
    write_file(path + "/raw/seqA/seqA_data.txt", "HW_CONF,000120LP,1,x\r\n"
                                                 "20200101-000000,12.5,3.1,1:12,3,4,5;20,1,2,3;\r\n"
                                                 "20200101-000001,nan,0.1,0:OK\r\n"
                                                 "a,b,c,d\r\n"
                                                 "20200101-000002,-0.75,1e-3,1:12,5,0,0;20,2,0,0;\r\n");
    write_file(path + "/raw/seqA/seqA_synthetic.txt", "s");
    write_file(path + "/raw/seqB/images.zip", "PK");
    return path;
}

} // namespace

TEST(CliProject, ProjectShowPrintsThePartsAndTheSequencesTable) {
    const QString path = make_project();
    const kelvotest::ProgramRun r =
        kelvo({"project", "show", "kelvo6_sn000120lp_2020_initial"}, QDir(path + "/..").absolutePath());
    ASSERT_EQ(r.status, 0) << r.err.constData();
    QList<QByteArray> lines = r.out.split('\n');
    ASSERT_EQ(lines.size(), 12) << r.out.constData();
    // The sequences come in folder listing order.
    std::sort(lines.begin() + 9, lines.begin() + 11);
    EXPECT_EQ(lines.join('\n'), QStringLiteral("path: %1\nprefix: kelvo6\nserial: 000120lp\nyear: 2020\n"
                                               "acronym: Initial 2020\n"
                                               "header: %1/meta/kelvo6_header_sn000120lp_2020_initial.txt\n"
                                               "samples: 3\n\n"
                                               "Sequence\tDATA file\tSynth file\timages.zip\t# of sample\n"
                                               "seqA\tY\tY\tN\t2\nseqB\tN\tN\tY\t1\n")
                                    .arg(path)
                                    .toUtf8());
    EXPECT_EQ(r.err, "");
}

TEST(CliProject, ProjectThatDoesNotLoadPrintsTheReason) {
    const QString root = kelvotest::make_temp_dir(QStringLiteral("clibad"));
    QDir().mkpath(root + "/kelvo6_sn1_2020_bad/meta");
    struct Case {
        QString dir;
        QByteArray err;
    };
    const Case cases[] = {
        {root + "/kelvo6_sn1_2020_bad",
         "Project kelvo6_sn1_2020_bad : Is not valid, Subdirectory 'config' not found\n"},
        {root + "/kelvo6_sn1_2020_none", "Project kelvo6_sn1_2020_none : Directory not found\n"},
    };
    for (const Case& c : cases) {
        const kelvotest::ProgramRun r = kelvo({"project", "show", c.dir});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.err);
    }
    EXPECT_EQ(QDir(root + "/kelvo6_sn1_2020_bad").entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList({"meta"}));
}

// A short run ends while the log's threads are still starting; it must still exit cleanly.
TEST(CliProject, ShortRunsExitCleanly) {
    const QString missing = kelvotest::make_temp_dir(QStringLiteral("clishort")) + "/kelvo6_sn1_2020_none";
    int crashed = 0;
    for (int i = 0; i < 30; ++i) {
        const kelvotest::ProgramRun r = kelvo({"project", "show", missing});
        crashed += r.status == 1 ? 0 : 1;
    }
    EXPECT_EQ(crashed, 0);
}

TEST(CliProject, SequenceShowPrintsTheSummaryAndTheRows) {
    const QString path = make_project();
    const QByteArray summary = "rows: 3\n"
                               "nan_pressure: 1\n"
                               "tracked_sizes: 12 20\n"
                               "hw_conf: yes\n"
                               "acq_conf: no\n";
    kelvotest::ProgramRun r = kelvo({"sequence", "show", path, "seqA"});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(r.out, summary);

    r = kelvo({"sequence", "show", path, "seqA", "--rows"});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_EQ(r.out, summary + "0\t20200101-000000\t12.5\t3.1\t1\tO\t3\t1\n"
                               "1\t20200101-000001\tnan\t0.1\t0\tE\t0\t0\n"
                               "2\t20200101-000002\t-0.75\t0.001\t1\tO\t5\t2\n");
}

TEST(CliProject, SequenceShowFailuresAndUsage) {
    const QString path = make_project();
    kelvotest::ProgramRun r = kelvo({"sequence", "show", path, "seqB"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, ("SequenceHandler::ReadDataFile erreur open " + path +
                      "/raw/seqB/seqB_data.txt No such file or directory\n")
                         .toUtf8());

    const QByteArray projectUsage = "Usage: kelvo project show DIR\n";
    const QByteArray sequenceUsage = "Usage: kelvo sequence show DIR SEQ [--rows]\n";
    const struct {
        QStringList args;
        QByteArray err;
    } refused[] = {
        {{"sequence", "show", path}, sequenceUsage},
        {{"sequence", "list", path, "seqA"}, sequenceUsage},
        {{"sequence", "show", path, "../raw"}, "kelvo: \"../raw\" is not a sequence name\n"},
        {{"project", "show"}, projectUsage},
        {{"project", "show", path, path}, projectUsage},
    };
    for (const auto& c : refused) {
        r = kelvo(c.args);
        EXPECT_EQ(r.status, 2) << c.args.join(' ').toStdString();
        EXPECT_EQ(r.err, c.err) << c.args.join(' ').toStdString();
    }
    for (const auto& [command, usage] :
         {std::pair{"project", projectUsage}, std::pair{"sequence", sequenceUsage}}) {
        r = kelvo({command, "--help"});
        EXPECT_EQ(r.status, 0) << command;
        EXPECT_TRUE(r.out.startsWith(usage)) << r.out.constData();
    }
}
