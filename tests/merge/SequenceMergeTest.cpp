// Sequence merging: the candidate groups, a merge of three sequences checked file by file, the
// refusals and damaged inputs, restoring used sources, and `kelvo sequence merge|unmerge`.
#include "tools/SequenceMerge.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

#include <utility>

using kelvotest::LogCapture;
using kelvotest::read_file;
using kelvotest::write_file;

namespace {

QByteArray acq_line(const char* lpm = "100", const char* save = "2", const char* vig = "1000",
                    const char* ratio = "1.0") {
    return QByteArray("ACQ_CONF,ACQ_DEEP,1,2.0,10,1,0,0,1,0,") + lpm + ',' + save + ',' + vig + ',' + ratio +
           ",0,10,0,1000,0,40,op@example.org;\n";
}

QString make_project() {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("merge")) + "/kelvo6_sn000120lp_2020_merge";
    QDir().mkpath(path + "/config");
    QDir().mkpath(path + "/raw");
    return path;
}

void add_sequence(const QString& project, const QString& name, const QByteArray& acq = acq_line(),
                  const QByteArray& rows = "20200101-000000,1.0,2.0,1:x\n") {
    write_file(project + "/raw/" + name + "/" + name + "_data.txt",
               "HW_CONF,000120LP,0,ACQ_DEEP\n" + acq + rows);
}

// An archive of `entries` (name, bytes), deflated.
void write_zip(const QString& path, const std::vector<std::pair<QString, QByteArray>>& entries) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QuaZip zip(path);
    ASSERT_TRUE(zip.open(QuaZip::mdCreate));
    for (const auto& [name, bytes] : entries) {
        QuaZipFile f(&zip);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly, QuaZipNewInfo(name)));
        f.write(bytes);
        f.close();
    }
    zip.close();
}

std::vector<std::pair<QString, QByteArray>> read_zip(const QString& path) {
    std::vector<std::pair<QString, QByteArray>> entries;
    QuaZip zip(path);
    EXPECT_TRUE(zip.open(QuaZip::mdUnzip)) << path.toStdString();
    for (bool more = zip.goToFirstFile(); more; more = zip.goToNextFile()) {
        QuaZipFile f(&zip);
        EXPECT_TRUE(f.open(QIODevice::ReadOnly));
        entries.emplace_back(zip.getCurrentFileName(), f.readAll());
        EXPECT_EQ(f.getZipError(), UNZ_OK); // the CRC of the copied data checks out
    }
    return entries;
}

QStringList listing(const std::vector<MergeCandidate>& list) {
    QStringList lines;
    for (const MergeCandidate& c : list) {
        lines << QStringLiteral("%1|%2|%3|%4|%5").arg(c.name, c.key, c.gap, c.base).arg(c.count);
    }
    return lines;
}

} // namespace

TEST(SequenceMerge, CandidateGroups) {
    const QString p = make_project();
    struct Case {
        const char* what;
        std::vector<std::pair<const char*, QByteArray>> seqs; // name, ACQ_CONF line
        SequenceMerge::Grouping grouping;
        QStringList expected;
    };
    SequenceMerge::Grouping g60{SequenceMerge::kAllCriteria, 60, 0, true};
    SequenceMerge::Grouping g3{SequenceMerge::Lpm | SequenceMerge::Save, 0, 3, true};
    SequenceMerge::Grouping gShow{SequenceMerge::Vig, 0, -5, false};
    const Case cases[] = {
        {"a gap one second over the limit breaks the group",
         {{"20200101-000000_a", acq_line()},
          {"20200101-000100_b", acq_line()},
          {"20200101-000201_c", acq_line()}},
         g60,
         {"20200101-000000_a|100,1000,2,1.000||20200101-000000_a|2",
          "20200101-000100_b|100,1000,2,1.000|60|20200101-000000_a|0",
          "20200101-000201_c|100,1000,2,1.000|61|20200101-000201_c|1"}},
        {"another key, a name without stamp and an absent ACQ_CONF line break it",
         {{"20200101-000000_a", acq_line()},
          {"20200101-000010_b", acq_line("100", "2", "1000", "2.0")},
          {"20200101-00002x_nostamp", acq_line("100", "2", "1000", "2.0")},
          {"20200101-000030_d", ""},
          {"20200101-000040_e", ""}},
         g60,
         {"20200101-000000_a|100,1000,2,1.000||20200101-000000_a|1",
          "20200101-000010_b|100,1000,2,2.000|10|20200101-000010_b|1",
          "20200101-00002x_nostamp|100,1000,2,2.000||20200101-00002x_nostamp|1",
          "20200101-000030_d|,,,||20200101-000030_d|2", "20200101-000040_e|,,,|10|20200101-000030_d|0"}},
        {"a limit of 3 cuts six equal sequences in two groups; time not used; merged names skipped",
         {{"s1", acq_line("7")},
          {"s2", acq_line("7")},
          {"s2_Merged-002", acq_line("7")},
          {"s3", acq_line("7")},
          {"s4", acq_line("7", "2", "5")},
          {"s5", acq_line("7")},
          {"s6", acq_line("7")},
          {"s7_UsedForMerge", acq_line("7")}},
         g3,
         {"s1|7,2||s1|3", "s2|7,2||s1|0", "s3|7,2||s1|0", "s4|7,2||s4|3", "s5|7,2||s4|0", "s6|7,2||s4|0"}},
        {"a maximum below 1 is no limit; used sources shown on request; Merged first is a name",
         {{"Merged1", acq_line()},
          {"u1_UsedForMerge", acq_line()},
          {"x_Merged", acq_line()},
          {"z", acq_line()}},
         gShow,
         {"Merged1|1000||Merged1|3", "u1_UsedForMerge|1000||Merged1|0", "z|1000||Merged1|0"}},
    };
    for (const Case& c : cases) {
        QDir(p + "/raw").removeRecursively();
        QStringList names;
        for (const auto& [name, acq] : c.seqs) {
            add_sequence(p, name, acq);
            names << name;
        }
        EXPECT_EQ(SequenceMerge::ProjectSequences(p), names) << c.what;
        EXPECT_EQ(listing(SequenceMerge::Candidates(p, names, c.grouping)), c.expected) << c.what;
    }
    EXPECT_EQ(SequenceMerge::MergedName("s1", 3), "s1_Merged-003");
    EXPECT_EQ(SequenceMerge::MergedName("s1", 1234), "s1_Merged-1234");
    EXPECT_EQ(SequenceMerge::CriteriaLabels(SequenceMerge::kAllCriteria).join(','), "Lpm,Vig,Save,Ratio");
    EXPECT_EQ(SequenceMerge::ParseCriteria("ratio,LPM"), SequenceMerge::Ratio | SequenceMerge::Lpm);
    EXPECT_EQ(SequenceMerge::ParseCriteria("lpm,size"), -1);
}

TEST(SequenceMerge, ThreeSequencesFileByFile) {
    const QString p = make_project();
    add_sequence(p, "20200101-000000_a", acq_line(),
                 "20200101-000000,1.0,2.0,1:a1\n20200101-000001,1.5,2.0,0:a2\n");
    add_sequence(p, "20200101-000100_b", acq_line(),
                 "20200101-000100,3.0,2.0,1:b1\nHW_CONF,stray,line\n20200101-000101,3.5,2.0,1:b2\n");
    add_sequence(p, "20200101-000200_c", acq_line(), "20200101-000200,5.0,2.0,1:c1");
    // The first source has no archive: the second's is copied whole.
    const QByteArray big(300000, 'v');
    write_zip(p + "/raw/20200101-000100_b/images.zip", {{"b1.vig", "bee one"}, {"b2.png", big}});
    write_zip(p + "/raw/20200101-000200_c/images.zip", {{"c1.vig", "sea one"}, {"c2.png", big + "c"}});
    const QByteArray zipB = read_file(p + "/raw/20200101-000100_b/images.zip");
    const QStringList sources = {"20200101-000000_a", "20200101-000100_b", "20200101-000200_c"};
    const QString dest = SequenceMerge::MergedName(sources[0], 3);
    EXPECT_EQ(SequenceMerge::StatusText(dest, sources),
              "Merging 20200101-000000_a_Merged-003\n\nPlease Wait\n\nInclude :20200101-000000_a , "
              "20200101-000100_b , 20200101-000200_c");

    const SequenceMerge::Result r = SequenceMerge::Merge(p, sources, dest);
    ASSERT_TRUE(r.ok) << r.error.toStdString();
    EXPECT_TRUE(r.skipped.isEmpty());
    const QString d = p + "/raw/" + dest;
    EXPECT_EQ(r.destination, d);
    EXPECT_EQ(read_file(d + "/" + dest + "_data.txt"),
              "HW_CONF,000120LP,0,ACQ_DEEP\n" + acq_line() +
                  "20200101-000000,1.0,2.0,1:a1\n20200101-000001,1.5,2.0,0:a2\n"
                  "20200101-000100,3.0,2.0,1:b1\n20200101-000101,3.5,2.0,1:b2\n"
                  "20200101-000200,5.0,2.0,1:c1");
    const QString raw = p + "/raw/";
    EXPECT_EQ(read_file(d + "/Merge.log"),
              (raw + "20200101-000000_a/20200101-000000_a_data.txt used as base file by copy\n" + raw +
               "20200101-000100_b/20200101-000100_b_data.txt appended\n" + raw +
               "20200101-000200_c/20200101-000200_c_data.txt appended\n")
                  .toUtf8());
    const auto entries = read_zip(d + "/images.zip");
    ASSERT_EQ(entries.size(), 4u);
    const std::pair<QString, QByteArray> expected[] = {
        {"b1.vig", "bee one"}, {"b2.png", big}, {"c1.vig", "sea one"}, {"c2.png", big + "c"}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(entries[i].first, expected[i].first);
        EXPECT_EQ(entries[i].second, expected[i].second) << i;
    }
    EXPECT_EQ(r.entries, 4);
    EXPECT_EQ(QDir(d).entryList(QDir::Files, QDir::Name),
              (QStringList{dest + "_data.txt", "Merge.log", "images.zip"}));
    // The sources are kept whole under their marked names; nothing staged is left behind.
    for (const QString& s : sources) {
        EXPECT_FALSE(QFileInfo::exists(raw + s));
        EXPECT_TRUE(QFileInfo::exists(raw + s + "_UsedForMerge/" + s + "_UsedForMerge_data.txt"))
            << s.toStdString();
    }
    EXPECT_EQ(read_file(raw + "20200101-000100_b_UsedForMerge/images.zip"), zipB);
    EXPECT_EQ(QDir(raw).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).size(), 4);

    // Restored: data file and folder get their names back.
    QString error;
    EXPECT_TRUE(SequenceMerge::Restore(p, "20200101-000100_b_UsedForMerge", &error)) << error.toStdString();
    EXPECT_TRUE(QFileInfo::exists(raw + "20200101-000100_b/20200101-000100_b_data.txt"));
    EXPECT_FALSE(SequenceMerge::Restore(p, "20200101-000100_b", &error));
    EXPECT_EQ(error, "Sequence 20200101-000100_b is not marked _UsedForMerge");
}

TEST(SequenceMerge, RefusalsLeaveEverySourceAsItWas) {
    const QString p = make_project();
    add_sequence(p, "a");
    add_sequence(p, "b");
    QDir().mkpath(p + "/raw/nodata");
    QDir().mkpath(p + "/raw/a_Merged-002");
    const std::tuple<QStringList, QString, QString> cases[] = {
        {{"a"}, "x", "You must select at least 2 sequences"},
        {{"a", "b"}, "a_Merged-002", "Sequence a_Merged-002 already exists"},
        {{"a", "nodata"}, "y", "Sequence nodata has no data file " + p + "/raw/nodata/nodata_data.txt"},
        {{"a", "missing"}, "y", "Invalid sequence missing"},
        {{"a", "a"}, "y", "Sequence a is listed twice"},
        {{"a", "b"}, "../y", "\"../y\" is not a valid sequence name"},
    };
    for (const auto& [sources, dest, error] : cases) {
        const SequenceMerge::Result r = SequenceMerge::Merge(p, sources, dest);
        EXPECT_FALSE(r.ok);
        EXPECT_EQ(r.error, error);
    }
    EXPECT_EQ(QDir(p + "/raw").entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
              (QStringList{"a", "a_Merged-002", "b", "nodata"}));
}

TEST(SequenceMerge, DamagedArchivesAndRepeatedNamesAreLoggedAndSkipped) {
    const QString p = make_project();
    for (const char* s : {"a", "b", "c", "d"}) {
        add_sequence(p, s, acq_line(), QByteArray("row-") + s + "\n");
    }
    write_zip(p + "/raw/a/images.zip", {{"one.vig", "1"}, {"same.vig", "from a"}});
    write_file(p + "/raw/b/images.zip", "PK\x03\x04 this is not an archive");
    write_zip(p + "/raw/c/images.zip", {{"same.vig", "from c"}, {"three.vig", "3"}});
    LogCapture log;
    const SequenceMerge::Result r = SequenceMerge::Merge(p, {"a", "b", "c", "d"}, "m");
    ASSERT_TRUE(r.ok) << r.error.toStdString();
    const QString bZip = p + "/raw/b/images.zip";
    EXPECT_TRUE(
        log.saw("DlgMergeSequence|0|MergeImages Can't open source sequence images " + bZip.toStdString()));
    EXPECT_TRUE(log.saw("DlgMergeSequence|1|MergeImages duplicate entry same.vig of " + p.toStdString() +
                        "/raw/c/images.zip skipped"));
    EXPECT_EQ(r.skipped.size(), 2);
    const auto entries = read_zip(p + "/raw/m/images.zip");
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1], std::make_pair(QString("same.vig"), QByteArray("from a")));
    EXPECT_EQ(entries[2].first, "three.vig");
    EXPECT_EQ(read_file(p + "/raw/m/m_data.txt"),
              "HW_CONF,000120LP,0,ACQ_DEEP\n" + acq_line() + "row-a\nrow-b\nrow-c\nrow-d\n");
    // The damaged archive is still there, in its marked source.
    EXPECT_EQ(read_file(p + "/raw/b_UsedForMerge/images.zip"), "PK\x03\x04 this is not an archive");
}

TEST(SequenceMerge, CommandLine) {
    const QString p = make_project();
    for (const char* s :
         {"20200101-000000_a", "20200101-000010_b", "20200101-010000_c", "20200101-010005_d"}) {
        add_sequence(p, s);
    }
    const QString kelvo = kelvotest::bin_dir() + "/kelvo";
    auto run = [&](const QStringList& args) { return kelvotest::run_program(kelvo, args); };
    kelvotest::ProgramRun dry =
        run({"sequence", "merge", p, "--auto", "--criteria", "save,lpm", "--max-gap", "60", "--dry-run"});
    EXPECT_EQ(dry.status, 0) << dry.err.toStdString();
    EXPECT_EQ(dry.out, "Sequence\tParams\tDelta T (s)\tProposal\n"
                       "20200101-000000_a\t100,2\t\t20200101-000000_a_Merged-002\n"
                       "20200101-000010_b\t100,2\t10\t20200101-000000_a_Merged-002\n"
                       "20200101-010000_c\t100,2\t3590\t20200101-010000_c_Merged-002\n"
                       "20200101-010005_d\t100,2\t5\t20200101-010000_c_Merged-002\n");
    EXPECT_TRUE(QFileInfo::exists(p + "/raw/20200101-000000_a")) << "a dry run merges nothing";

    kelvotest::ProgramRun merged = run({"sequence", "merge", p, "--auto", "--max-gap", "60"});
    EXPECT_EQ(merged.status, 0) << merged.err.toStdString();
    EXPECT_TRUE(merged.out.endsWith("merged groups: 2\n")) << merged.out.toStdString();
    EXPECT_TRUE(
        QFileInfo::exists(p + "/raw/20200101-010000_c_Merged-002/20200101-010000_c_Merged-002_data.txt"));

    kelvotest::ProgramRun restored =
        run({"sequence", "unmerge", p, "20200101-000000_a_UsedForMerge", "nothere"});
    EXPECT_EQ(restored.status, 1);
    EXPECT_EQ(restored.out, "20200101-000000_a_UsedForMerge\trestored\n");
    EXPECT_EQ(restored.err, "kelvo sequence unmerge: Sequence nothere is not marked _UsedForMerge\n");

    kelvotest::ProgramRun byHand = run(
        {"sequence", "merge", p, "--into", "hand", "20200101-000000_a", "20200101-000010_b_UsedForMerge"});
    EXPECT_EQ(byHand.status, 0) << byHand.err.toStdString();
    EXPECT_TRUE(QFileInfo::exists(p + "/raw/hand/hand_data.txt"));
    // A source already marked keeps its name.
    EXPECT_TRUE(QFileInfo::exists(p + "/raw/20200101-000010_b_UsedForMerge"));
    EXPECT_EQ(run({"sequence", "merge", p, "--into", "hand", "x"}).status, 2);
    EXPECT_EQ(run({"sequence", "merge", p, "--auto", "--criteria", "size"}).status, 2);
}
