// sdformat, the argument checks of the storage commands and their readers, on a scripted
// instrument (the transfers themselves run against the simulator in terminal_storage).
#include "ShellFixture.h"

#include "terminal/StorageCommands.h"

#include <regex>

namespace {

class StorageTest : public ShellFixture {
protected:
    // Supervisor mode, PU power with ready and alive, Ethernet link on.
    void acceptPuStart() {
        acceptSupervisor();
        answers["$POWERPUset:1;"] = "$ok;\n";
        answers["$PUready;"] = "$PUready:OK;\n";
        answers["$PU:alive;"] = "[PU]:$aliveack;\n";
        answers["$PU:ethlink,1;"] = "[PU]:$ethlink:OK;\n";
    }
};

TEST(CardList, OnePathPerLineWithoutCarriageReturnsOrBlankLines) {
    EXPECT_EQ(card_list_entries("a/b/c/x_data.txt\r\n\r\n  AUTOCHECK/r.txt \nlast"),
              (std::vector<std::string>{"a/b/c/x_data.txt", "AUTOCHECK/r.txt", "last"}));
    EXPECT_TRUE(card_list_entries("\n\r\n \t\n").empty());
    EXPECT_TRUE(card_list_entries("").empty());
}

TEST_F(StorageTest, SdformatAnswerForms) {
    acceptPuStart();
    const std::string unexpected = "Failed with unexpected answer !";
    // Signs and blanks before a value are read; a long status, an empty one, a value that is not a
    // number or does not fit, and another answer altogether are all unexpected.
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"[PU]:$makefs:OK,15000,14990,4,8;\n",
         {"Done !", "\tStorage capacity in Mb : 15000", "\tFree capacity in Mb : 14990",
          "\tFile system type : UNKNOWN", "\tCluster size in Kb : 4"}},
        {"[PU]:$makefs:OK,-5,+6, 0,1;",
         {"Done !", "\tStorage capacity in Mb : -5", "\tFree capacity in Mb : 6",
          "\tFile system type : FAT12", "\tCluster size in Kb : 0"}},
        {"[PU]:$makefs:FAILED,12;\n", failure("Failed with error 12 !", "sdformat")},
        {"[PU]:$makefs:FAILED,12,3,4,5;\n", failure(unexpected, "sdformat")},
        {"[PU]:$makefs:OK,1,2;\n", failure(unexpected, "sdformat")},
        {"[PU]:$makefs:TOOLONGSTATUS,1,2,3,4;\n", failure(unexpected, "sdformat")},
        {"[PU]:$makefs:,1,2,3,4;\n", failure(unexpected, "sdformat")},
        {"[PU]:$makefs:OK,x,2,3,4;\n", failure(unexpected, "sdformat")},
        {"[PU]:$makefs:OK,99999999999,1,1,1;\n", failure(unexpected, "sdformat")},
        {"$PU:OFF;\n", failure(unexpected, "sdformat")},
    };
    const std::regex prompt(
        "\nAre you sure you want to format the SD card \\? Enter code \x1b\\[92m[0-9]{4}\x1b\\[m "
        "to proceed : ");
    for (const auto& [answer, printed] : cases) {
        answers["$PU:makefs;"] = answer;
        EXPECT_EQ(run("sdformat"), printed.front() == "Done !") << answer;
        ASSERT_EQ(out.size(), 4 + printed.size()) << answer;
        EXPECT_EQ(out[0], "\n[SDFORMAT]: Initializing Processing Unit...");
        EXPECT_EQ(out[1], "PU is ready!");
        EXPECT_TRUE(std::regex_match(out[2], prompt)) << out[2];
        EXPECT_EQ(out[3], "\n[SDFORMAT]: Formatting... ");
        EXPECT_EQ(tail(printed.size()), printed) << answer;
        EXPECT_EQ(script->lines.back(), "$PU:makefs;");
    }
}

TEST_F(StorageTest, ProcessingUnitThatDoesNotStartStopsEveryCommand) {
    acceptSupervisor();
    answers["$POWERPUset:1;"] = "$ok;\n";
    answers["$PUready;"] = "$PUready:FAILED;\n";
    const std::pair<const char*, const char*> cases[] = {
        {"getfile a.txt", "GETFILE"}, {"sdlist", "SDLIST"},          {"sdformat", "SDFORMAT"},
        {"datareq", "DATAREQ"},       {"sddump list.txt", "SDDUMP"},
    };
    ASSERT_TRUE(kelvotest::write_file(workDir + QStringLiteral("/filemanager/list.txt"), "a.txt\n"));
    for (const auto& [line, tag] : cases) {
        EXPECT_FALSE(run(line)) << line;
        const std::string name = std::string(line).substr(0, std::string(line).find(' '));
        std::vector<std::string> expected = failure("Failed.", name);
        expected.insert(expected.begin(), std::string("\n[") + tag + "]: Initializing Processing Unit...");
        EXPECT_EQ(tail(3), expected) << line;
        for (const std::string& sent : script->lines) {
            EXPECT_FALSE(sent.starts_with("$PU:filedump") || sent.starts_with("$PU:makefs") ||
                         sent.starts_with("$PU:datareq"))
                << line << ": " << sent;
        }
    }
}

TEST_F(StorageTest, BadArgumentsPowerNothing) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"getfile", {"\n[GETFILE]: Argument \"filename\" is missing ! EXIT !"}},
        {"getfile a.txt 127.0.0.2 http",
         {"\n[ERROR]: (getfile_function) Invalid UDP port \"http\", a decimal number from 1 to 65535 is "
          "expected !"}},
        {"getfile a.txt auto 65536",
         {"\n[ERROR]: (getfile_function) Invalid UDP port \"65536\", a decimal number from 1 to 65535 is "
          "expected !"}},
        {"sdlist auto 0",
         {"\n[ERROR]: (sdlist_function) Invalid UDP port \"0\", a decimal number from 1 to 65535 is expected "
          "!"}},
        {"sdlist auto 4000 extra", {"\n[ERROR]: (sdlist_function) Too many parameters !"}},
        {"sddump", // the default list has not been fetched yet
         {"\n[SDDUMP]: Trying to get the list of files to download from filemanager/tree.txt...",
          "Failed. Maybe file does not exist."}},
    };
    for (const auto& [line, printed] : cases) {
        EXPECT_FALSE(run(line)) << line;
        std::vector<std::string> expected = printed;
        const std::string name = std::string(line).substr(0, std::string(line).find(' '));
        expected.push_back("\n[VortOS]: Command " + name + " returned an error !");
        EXPECT_EQ(out, expected) << line;
        EXPECT_TRUE(script->lines.empty()) << line;
    }
}

// getfile's whole help is in the shell's table of detailed helps.
TEST_F(StorageTest, DetailedHelpOfEachCommand) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"sdlist",
         {"\n[SDLIST]: sdlist command help",
          "\n\tDescription : Update and download the file list from VORTAN SD card", "\n\tUsages :"}},
        {"sddump",
         {"\n[SDDUMP]: sddump command help", "\n\tDescription : Download a list of files from VORTAN SD card",
          "\n\tUsages :"}},
        {"sdformat",
         {"\n[SDFORMAT]: sdformat command help", "\n\tDescription : Format VORTAN SD card", "\n\tUsage :"}},
        {"datareq",
         {"\n[DATAREQ]: datareq command help",
          "\n\tDescription : Display synthetic data from last VORTAN acquisition", "\n\tUsage :"}},
    };
    for (const auto& [name, start] : cases) {
        EXPECT_TRUE(run(std::string("help ") + name)) << name;
        ASSERT_GT(out.size(), start.size()) << name;
        EXPECT_EQ(std::vector<std::string>(out.begin(), out.begin() + 3), start) << name;
        EXPECT_EQ(out.back(), "") << name; // the help terminator
        EXPECT_TRUE(script->lines.empty()) << name;
    }
}

} // namespace
