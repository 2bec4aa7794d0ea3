// The storage commands against the Kelvo6 simulator: serial side over its pseudo-terminal, file
// dumps over loopback UDP to 127.0.0.2, files compared byte for byte with the simulator's card.
#include "terminal_e2e/SimShellFixture.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

namespace {

// Bytes that differ from position to position, so that a shifted or repeated datagram shows.
QByteArray pattern(int size, int seed) {
    QByteArray b(size, '\0');
    for (int i = 0; i < size; ++i) {
        b[i] = static_cast<char>((i * 31 + seed * 7 + i / 251) & 0xFF);
    }
    return b;
}

class TerminalStorageTest : public SimShellFixture {
protected:
    void SetUp() override {
        cardDir = kelvotest::make_temp_dir(QStringLiteral("card"));
        card = {
            {QStringLiteral("data/seq1/file.txt"), pattern(3000, 1)}, // three 1024-byte datagrams
            {QStringLiteral("small.txt"), QByteArray("one line\r\n")},
            {QStringLiteral("empty.dat"), QByteArray()},
            {QStringLiteral("acq/202403/20240315-081200/20240315-081200_data.txt"), pattern(5000, 2)},
        };
        for (const auto& [path, bytes] : card) {
            ASSERT_TRUE(kelvotest::write_file(cardDir + QLatin1Char('/') + path, bytes));
        }
        // Without a card, the simulator's synthetic data is what the data request tests give it.
        if (withCard) {
            options.cardDir = cardDir;
        }
        SimShellFixture::SetUp();
    }

    QString local(const QString& cardPath) const {
        return workDir + QStringLiteral("/filemanager/") + cardPath;
    }

    // Every file below `dir`, relative to it.
    static QStringList filesBelow(const QString& dir) {
        QStringList found;
        QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            found << QDir(dir).relativeFilePath(it.next());
        }
        found.sort();
        return found;
    }

    std::string portLine() const {
        char text[128];
        std::snprintf(text, sizeof text, "Done! IP = 127.0.0.2, Port = %#4X, MAC = FF.FF.FF.FF.FF.FF", port);
        return text;
    }

    bool withCard = true;
    QString cardDir;
    std::map<QString, QByteArray> card;
};

// The printed progress, the wire request and the card's folders of a transfer are checked byte for
// byte through `kelvo terminal` (cli_terminal).
TEST_F(TerminalStorageTest, GetfileReplacesAnOldCopyAndWritesAnEmptyFile) {
    ASSERT_TRUE(kelvotest::write_file(local(QStringLiteral("small.txt")), "an older and longer content"));
    ASSERT_TRUE(run("getfile small.txt" + endpoint));
    EXPECT_EQ(kelvotest::read_file(local(QStringLiteral("small.txt"))), QByteArray("one line\r\n"));
    EXPECT_EQ(sim->puState(), SimPuState::Ready);
    ASSERT_TRUE(run("getfile empty.dat" + endpoint));
    EXPECT_TRUE(printed("( 0 bytes ) :    "));
    EXPECT_TRUE(printed("\b\b\b100%"));
    EXPECT_TRUE(QFile::exists(local(QStringLiteral("empty.dat"))));
    EXPECT_EQ(QFileInfo(local(QStringLiteral("empty.dat"))).size(), 0);
}

TEST_F(TerminalStorageTest, PathsThatLeaveFilemanagerAreRefusedBeforeAnyRequest) {
    // Where a traversal would land: beside the working folder and inside it, outside filemanager/.
    ASSERT_TRUE(kelvotest::write_file(cardDir + QStringLiteral("/x/outside.txt"), "from the card"));
    const std::pair<const char*, const char*> cases[] = {
        {"../outside.txt", "Path refused, it holds a \"..\" component: \"../outside.txt\""},
        {"/tmp/outside.txt", "Path refused, it is absolute: \"/tmp/outside.txt\""},
        {"..\\outside.txt", "Path refused, it holds a \"..\" component: \"..\\outside.txt\""},
    };
    for (const auto& [path, refusal] : cases) {
        EXPECT_FALSE(run(std::string("getfile ") + path + endpoint)) << path;
        EXPECT_TRUE(printed(std::string("\n[ERROR]: (getfile) ") + refusal)) << path;
        EXPECT_EQ(out.back(), "\n[VortOS]: Command getfile returned an error !");
    }
    EXPECT_EQ(requests(QStringLiteral("$PU:filedump")), 0);
    EXPECT_TRUE(filesBelow(workDir).filter(QStringLiteral("outside")).isEmpty())
        << filesBelow(workDir).join(' ').toStdString();
    EXPECT_FALSE(QFile::exists(QFileInfo(workDir).absolutePath() + QStringLiteral("/outside.txt")));
    EXPECT_FALSE(QFile::exists(QStringLiteral("/tmp/outside.txt")));
}

TEST_F(TerminalStorageTest, HostAddressThatCannotBeBoundFailsBeforeAnyRequest) {
    EXPECT_FALSE(run("getfile small.txt 10.999.0.1 " + std::to_string(port)));
    EXPECT_EQ(tail(3), (std::vector<std::string>{"\n[GETFILE]: Initializing Ethernet UDP socket...",
                                                 "Failed with error 99 !",
                                                 "\n[VortOS]: Command getfile returned an error !"}));
    EXPECT_EQ(requests(QStringLiteral("$PU:filedump")), 0);
    EXPECT_FALSE(QFile::exists(local(QStringLiteral("small.txt"))));
}

TEST_F(TerminalStorageTest, SdlistFetchesTheRebuiltListThenSddumpFetchesEveryFile) {
    ASSERT_TRUE(run("sdlist" + endpoint));
    const std::vector<std::string> head = {
        "\n[SDLIST]: Initializing Processing Unit...",
        "PU is ready!",
        "\n[SDLIST]: Initializing Ethernet UDP socket...",
        portLine(),
        "\n[SDLIST]: Updating and recovering the file list...",
        "Done !",
        "\x1b[?25l",
        "\r\x1b[2K\tDownloading file tree.txt ",
    };
    ASSERT_GE(out.size(), head.size());
    EXPECT_EQ(std::vector<std::string>(out.begin(), out.begin() + head.size()), head);
    EXPECT_EQ(out.back(), "\n[SDLIST]: EXIT !");
    EXPECT_EQ(kelvotest::read_file(local(QStringLiteral("tree.txt"))),
              QByteArray("acq/202403/20240315-081200/20240315-081200_data.txt\ndata/seq1/file.txt\n"
                         "empty.dat\nsmall.txt\n"));

    ASSERT_TRUE(run("sddump" + std::string(" tree.txt") + endpoint));
    EXPECT_EQ(out.front(),
              "\n[SDDUMP]: Trying to get the list of files to download from filemanager/tree.txt...");
    EXPECT_EQ(out[1], "Done!");
    EXPECT_TRUE(printed("\n[SDDUMP]: Starting download...\n"));
    EXPECT_EQ(out.back(), "\n[SDDUMP]: EXIT !");
    for (const auto& [path, bytes] : card) {
        EXPECT_EQ(kelvotest::read_file(local(path)), bytes) << path.toStdString();
    }
    EXPECT_EQ(requests(QStringLiteral("$PU:filedump")), 1 + 4);
}

TEST_F(TerminalStorageTest, SddumpGoesOnAfterAFailedFileAndReportsTheLastOne) {
    // A CRLF list as a host editor writes it; the middle file is not on the card.
    ASSERT_TRUE(kelvotest::write_file(local(QStringLiteral("list.txt")),
                                      "data/seq1/file.txt\r\nnot/on/card.txt\r\n\r\nsmall.txt\r\n"));
    ASSERT_TRUE(run("sddump list.txt" + endpoint));
    EXPECT_TRUE(printed("\n[WARNING]: (getfile) not/on/card.txt transfer failed !"));
    EXPECT_EQ(kelvotest::read_file(local(QStringLiteral("data/seq1/file.txt"))),
              card.at(QStringLiteral("data/seq1/file.txt")));
    EXPECT_EQ(kelvotest::read_file(local(QStringLiteral("small.txt"))), card.at(QStringLiteral("small.txt")));
    EXPECT_FALSE(QFile::exists(local(QStringLiteral("not/on/card.txt")))); // no partial file
    EXPECT_EQ(requests(QStringLiteral("$PU:filedump,not/on/card.txt,")), 3);

    // The last file refused: the command fails although the first file came.
    QFile::remove(local(QStringLiteral("small.txt")));
    ASSERT_TRUE(kelvotest::write_file(local(QStringLiteral("bad.txt")), "small.txt\n../../escaped.txt\n"));
    EXPECT_FALSE(run("sddump bad.txt" + endpoint));
    EXPECT_EQ(kelvotest::read_file(local(QStringLiteral("small.txt"))), card.at(QStringLiteral("small.txt")));
    EXPECT_TRUE(
        printed("\n[ERROR]: (getfile) Path refused, it holds a \"..\" component: \"../../escaped.txt\""));
    EXPECT_EQ(out.back(), "\n[VortOS]: Command sddump returned an error !");
    EXPECT_EQ(requests(QStringLiteral("$PU:filedump,../")), 0);
}

TEST_F(TerminalStorageTest, SdformatEmptiesTheCard) {
    ASSERT_TRUE(run("sdformat"));
    EXPECT_EQ(tail(5), (std::vector<std::string>{"Done !", "\tStorage capacity in Mb : 30436",
                                                 "\tFree capacity in Mb : 30420",
                                                 "\tFile system type : EXFAT", "\tCluster size in Kb : 32"}));
    EXPECT_TRUE(filesBelow(cardDir).isEmpty());
}

class TerminalDatareqTest : public TerminalStorageTest {
protected:
    TerminalDatareqTest() { withCard = false; }
};

TEST_F(TerminalDatareqTest, Endings) {
    const QStringList synthetic = {QStringLiteral("$synth:20240315,081200,1,12.5"),
                                   QStringLiteral("$synth:20240315,081210,2,25.0")};
    sim->setSyntheticData(synthetic);
    ASSERT_TRUE(run("datareq"));
    EXPECT_EQ(out, (std::vector<std::string>{"\n[DATAREQ]: Initializing Processing Unit...", "PU is ready!",
                                             "\n[DATAREQ]: Sending Data Request...", "Done !\n",
                                             "$synth:20240315,081200,1,12.5", "$synth:20240315,081210,2,25.0",
                                             "$eof;"}));

    sim->setDatareqErrorAfter(1);
    EXPECT_FALSE(run("datareq"));
    EXPECT_EQ(tail(3),
              (std::vector<std::string>{
                  "$synth:20240315,081200,1,12.5",
                  "\n[DATAREQ]: Reading error Stop. End of the synthetic data file was not reached. Failed !",
                  "\n[VortOS]: Command datareq returned an error !"}));
    sim->setDatareqErrorAfter(-1);

    sim->setSyntheticData({});
    EXPECT_FALSE(run("datareq"));
    EXPECT_EQ(tail(2), failure("Failed. Maybe VORTAN last acquisition did not create a synthetic data file.",
                               "datareq"));

    // Silence at the first request, then in the middle of the file.
    sim->setSyntheticData(synthetic);
    sim->setSilentCommands(1, QStringLiteral("$PU:datareq"));
    EXPECT_FALSE(run("datareq"));
    EXPECT_EQ(tail(2), failure("Timeout.", "datareq"));

    int requestsSeen = 0;
    set_comm_send_hook([&](const std::string& line) {
        if (line.starts_with("$PU:datareq;") && ++requestsSeen == 3) {
            sim->setSilentCommands(1, QStringLiteral("$PU:datareq"));
        }
    });
    EXPECT_FALSE(run("datareq"));
    EXPECT_EQ(tail(3),
              (std::vector<std::string>{
                  "$synth:20240315,081200,1,12.5",
                  "\n[DATAREQ]: Timeout Stop. End of the synthetic data file was not reached. Failed !",
                  "\n[VortOS]: Command datareq returned an error !"}));
}

} // namespace
