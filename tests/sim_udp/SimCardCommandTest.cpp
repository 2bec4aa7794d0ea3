// The card commands on a card folder: the file list rebuilt, the synthetic data of the last
// sequence, formatting.
#include "UdpSession.h"

#include <QDir>
#include <QFileInfo>

namespace {

TEST(TreeUpdate, RewritesTheListingFromTheFolderAndFailsWithoutIt) {
    const QString card = cardWith({QStringLiteral("acq/202401/20240102-000000/20240102-000000_data.txt"),
                                   QStringLiteral("acq/202401/20240102-000000/img_0000/b.vig"),
                                   QStringLiteral("acq/202401/20240102-000000/img_0000/a.raw"),
                                   QStringLiteral("AUTOCHECK/20240101-000000_autocheck_data.txt"),
                                   QStringLiteral("Zeta/x/y/z.txt")});
    ASSERT_TRUE(kelvotest::write_file(card + QStringLiteral("/tree.txt"), "stale/listing/from/before.txt\n"));
    UdpSession u(cardOptions(card));
    EXPECT_EQ(u.s("$PU:treeupdate;"), QByteArray("[PU]:$treeupdate:OK;\n"));
    // Byte order: upper case before lower case; the listing does not list itself.
    EXPECT_EQ(kelvotest::read_file(card + QStringLiteral("/tree.txt")),
              QByteArray("AUTOCHECK/20240101-000000_autocheck_data.txt\n"
                         "Zeta/x/y/z.txt\n"
                         "acq/202401/20240102-000000/20240102-000000_data.txt\n"
                         "acq/202401/20240102-000000/img_0000/a.raw\n"
                         "acq/202401/20240102-000000/img_0000/b.vig\n"));
    // A card folder removed under the simulator.
    ASSERT_TRUE(QDir(card).removeRecursively());
    EXPECT_EQ(u.s("$PU:treeupdate;"), QByteArray("[PU]:$treeupdate:FAILED;\n"));
}

TEST(Datareq, ServesTheSyntheticFileOfTheLatestSequence) {
    // AUTOCHECK is no sequence.
    const QString card = cardWith({QStringLiteral("AUTOCHECK/x_synthetic.txt")});
    UdpSession u(cardOptions(card));
    EXPECT_EQ(u.s("$PU:datareq;"), QByteArray("[PU]:$datareq:FAILED;\n"));
    const struct {
        const char* sequence;
        QByteArray synthetic;
    } files[] = {
        {"202401/20240101-000000", "1,5.00,10,6,3,1\n"},
        {"202401/20240102-083000", "1,2.50,300,180,90,30\r\n2,7.25,250,150,75,25\n\n"},
        {"202312/20231231-235959", "9,9.00,9,9,0,0\n"},
    };
    for (const auto& f : files) {
        const QString seq = QString::fromLatin1(f.sequence);
        ASSERT_TRUE(kelvotest::write_file(
            card + QStringLiteral("/acq/%1/%2_synthetic.txt").arg(seq, seq.mid(7)), f.synthetic));
    }
    for (const char* answer : {"[PU]:$datareq:OK;\n", "[PU]:1,2.50,300,180,90,30\n",
                               "[PU]:2,7.25,250,150,75,25\n", "[PU]:$datareq:$eof;\n"}) {
        EXPECT_EQ(u.s("$PU:datareq;"), QByteArray(answer));
    }
    // Read afresh at the next request: a newer sequence without synthetic file means FAILED.
    ASSERT_TRUE(kelvotest::write_file(
        card + QStringLiteral("/acq/202401/20240103-000000/20240103-000000_data.txt"), "HW_CONF,x;\n"));
    EXPECT_EQ(u.s("$PU:datareq;"), QByteArray("[PU]:$datareq:FAILED;\n"));
}

TEST(Makefs, AnInjectedFailureLeavesTheCardThenFormattingEmptiesItButKeepsItsFolder) {
    const QString card =
        cardWith({QStringLiteral("acq/202401/20240102-000000/20240102-000000_data.txt"),
                  QStringLiteral("AUTOCHECK/a.raw"), QStringLiteral("tree.txt"), QStringLiteral(".hidden")});
    const QString outside = QFileInfo(card).absolutePath() + QStringLiteral("/beside-the-card.txt");
    ASSERT_TRUE(kelvotest::write_file(outside, "kept"));
    UdpSession u(cardOptions(card));
    u.s.sim->setMakefsFailure(7);
    EXPECT_EQ(u.s("$PU:makefs;"), QByteArray("[PU]:$makefs:FAILED,7;\n"));
    EXPECT_EQ(kelvotest::read_file(card + QStringLiteral("/AUTOCHECK/a.raw")), QByteArray("AUTOCHECK/a.raw"));
    u.s.sim->setMakefsFailure(0);
    EXPECT_EQ(u.s("$PU:makefs;"), QByteArray("[PU]:$makefs:OK,30436,30420,3,64;\n"));
    EXPECT_TRUE(QFileInfo(card).isDir());
    EXPECT_EQ(QDir(card).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
              QStringList());
    EXPECT_EQ(kelvotest::read_file(outside), QByteArray("kept"));
}

} // namespace
