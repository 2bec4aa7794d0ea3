// sdformat, the argument checks of the storage commands and their readers, on a scripted
// instrument (the transfers themselves run against the simulator in terminal_storage).
#include "ShellFixture.h"

#include "terminal/StorageCommands.h"

#include <algorithm>
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

TEST(MakefsAnswer, ReadLikeTheInstrumentFormat) {
    struct Case {
        const char* answer;
        int items;
        const char* status;
        std::vector<int> values;
    };
    const Case cases[] = {
        {"[PU]:$makefs:OK,30436,30420,3,64;\n", 5, "OK", {30436, 30420, 3, 64}},
        {"[PU]:$makefs:FAILED,7;\n", 2, "FAILED", {7}},
        {"[PU]:$makefs:OK,-5,+6, 2,8;", 5, "OK", {-5, 6, 2, 8}},
        {"[PU]:$makefs:OK,1,2;\n", 3, "OK", {1, 2}},
        {"[PU]:$makefs:TOOLONGSTATUS,1;\n", 1, "TOOLONG", {}},
        {"[PU]:$makefs:,1,2,3,4;\n", 0, "", {}},
        {"[PU]:$makefs:OK,x;\n", 1, "OK", {}},
        {"[PU]:$makefs:OK,99999999999,1,1,1;\n", 1, "OK", {}},
        {"$PU:OFF;\n", 0, "", {}},
        {"", -1, "", {}},
    };
    for (const Case& c : cases) {
        const MakefsAnswer a = parse_makefs_answer(c.answer);
        EXPECT_EQ(a.items, c.items) << c.answer;
        EXPECT_EQ(a.status, c.status) << c.answer;
        for (std::size_t i = 0; i < c.values.size(); ++i) {
            EXPECT_EQ(a.values[i], c.values[i]) << c.answer << " value " << i;
        }
    }
}

TEST(CardList, OnePathPerLineWithoutCarriageReturnsOrBlankLines) {
    EXPECT_EQ(card_list_entries("a/b/c/x_data.txt\r\n\r\n  AUTOCHECK/r.txt \nlast"),
              (std::vector<std::string>{"a/b/c/x_data.txt", "AUTOCHECK/r.txt", "last"}));
    EXPECT_TRUE(card_list_entries("\n\r\n \t\n").empty());
    EXPECT_TRUE(card_list_entries("").empty());
}

TEST_F(StorageTest, SdformatAnswerForms) {
    acceptPuStart();
    const std::vector<std::string> tail = {"\n[SDFORMAT]: Formatting... "};
    struct Case {
        const char* answer;
        bool ok;
        std::vector<std::string> printed;
    };
    const Case cases[] = {
        {"[PU]:$makefs:OK,30436,30420,3,64;\n",
         true,
         {"Done !", "\tStorage capacity in Mb : 30436", "\tFree capacity in Mb : 30420",
          "\tFile system type : EXFAT", "\tCluster size in Kb : 32"}},
        {"[PU]:$makefs:OK,15000,14990,4,8;\n",
         true,
         {"Done !", "\tStorage capacity in Mb : 15000", "\tFree capacity in Mb : 14990",
          "\tFile system type : UNKNOWN", "\tCluster size in Kb : 4"}},
        {"[PU]:$makefs:OK,100,90,0,1;\n",
         true,
         {"Done !", "\tStorage capacity in Mb : 100", "\tFree capacity in Mb : 90",
          "\tFile system type : FAT12", "\tCluster size in Kb : 0"}},
        {"[PU]:$makefs:OK,100,90,2,-1;\n",
         true,
         {"Done !", "\tStorage capacity in Mb : 100", "\tFree capacity in Mb : 90",
          "\tFile system type : FAT32", "\tCluster size in Kb : 0"}},
        {"[PU]:$makefs:FAILED,12;\n",
         false,
         {"Failed with error 12 !", "\n[VortOS]: Command sdformat returned an error !"}},
        {"[PU]:$makefs:FAILED,12,3,4,5;\n",
         false,
         {"Failed with unexpected answer !", "\n[VortOS]: Command sdformat returned an error !"}},
        {"[PU]:$makefs:OK,1,2;\n",
         false,
         {"Failed with unexpected answer !", "\n[VortOS]: Command sdformat returned an error !"}},
        {"[PU]:$makefs:ERROR;\n",
         false,
         {"Failed with unexpected answer !", "\n[VortOS]: Command sdformat returned an error !"}},
    };
    const std::regex prompt(
        "\nAre you sure you want to format the SD card \\? Enter code \x1b\\[92m[0-9]{4}\x1b\\[m "
        "to proceed : ");
    for (const Case& c : cases) {
        answers["$PU:makefs;"] = c.answer;
        out.clear();
        script->lines.clear();
        EXPECT_EQ(run("sdformat"), c.ok) << c.answer;
        ASSERT_EQ(out.size(), 4 + c.printed.size()) << c.answer;
        EXPECT_EQ(out[0], "\n[SDFORMAT]: Initializing Processing Unit...");
        EXPECT_EQ(out[1], "PU is ready!");
        EXPECT_TRUE(std::regex_match(out[2], prompt)) << out[2];
        EXPECT_EQ(out[3], "\n[SDFORMAT]: Formatting... ");
        EXPECT_EQ(std::vector<std::string>(out.begin() + 4, out.end()), c.printed) << c.answer;
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
        out.clear();
        script->lines.clear();
        EXPECT_FALSE(run(line)) << line;
        ASSERT_GE(out.size(), 3u) << line;
        EXPECT_EQ(out[out.size() - 3], std::string("\n[") + tag + "]: Initializing Processing Unit...")
            << line;
        EXPECT_EQ(out[out.size() - 2], "Failed.") << line;
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
        {"sddump tree.txt auto 12x",
         {"\n[ERROR]: (sddump_function) Invalid UDP port \"12x\", a decimal number from 1 to 65535 is "
          "expected !"}},
        {"sddump missing.txt",
         {"\n[SDDUMP]: Trying to get the list of files to download from filemanager/missing.txt...",
          "Failed. Maybe file does not exist."}},
        {"sddump", // the default list has not been fetched yet
         {"\n[SDDUMP]: Trying to get the list of files to download from filemanager/tree.txt...",
          "Failed. Maybe file does not exist."}},
    };
    for (const auto& [line, printed] : cases) {
        out.clear();
        EXPECT_FALSE(run(line)) << line;
        std::vector<std::string> expected = printed;
        std::string name = line;
        name = name.substr(0, name.find(' '));
        expected.push_back("\n[VortOS]: Command " + name + " returned an error !");
        EXPECT_EQ(out, expected) << line;
    }
    EXPECT_TRUE(script->lines.empty());
}

TEST_F(StorageTest, DetailedHelpOfEachCommand) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"getfile",
         {"\n[GETFILE]: getfile command help", "\n\tDescription : Download a file from VORTAN SD card",
          "\n\tUsages :"}},
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
        out.clear();
        EXPECT_TRUE(run(std::string("help ") + name)) << name;
        ASSERT_GT(out.size(), start.size()) << name;
        EXPECT_EQ(std::vector<std::string>(out.begin(), out.begin() + 3), start) << name;
        EXPECT_EQ(out.back(), "") << name; // the help terminator
    }
    out.clear();
    run("help getfile");
    const std::vector<std::string> optional = {
        "\n\tOptional Parameters :",
        "\n\t\t<IP_address> - manually sets the host IP address, use 'auto' for automatic",
    };
    EXPECT_NE(std::search(out.begin(), out.end(), optional.begin(), optional.end()), out.end());
    EXPECT_TRUE(script->lines.empty());
}

} // namespace
