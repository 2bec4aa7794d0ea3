// The shell: line parsing, dispatch, raw messages, the command table and help.
#include "ShellFixture.h"

#include "terminal/VortOShell.h"

namespace {

TEST(ParseCommandLine, Table) {
    struct Case {
        std::string line;
        int kind;
        std::string name;
        ShellArgs args;
    };
    const Case cases[] = {
        {" \t  \t", CommandLineEmpty, "", {}},
        {"  acqconf   load\t3  ", CommandLineCommand, "acqconf", {"load", "3"}},
        {"hwconf\tstore\t\tmy file.txt", CommandLineCommand, "hwconf", {"store", "my", "file.txt"}},
        {" \t$USER;  ", CommandLineRaw, "$USER;", {}},
        {"$PU:a b;", CommandLineRaw, "$PU:a b;", {}},
        {"$stop", CommandLineCommand, "$stop", {}},
        {"stop;", CommandLineCommand, "stop;", {}},
        {"$;", CommandLineRaw, "$;", {}},
    };
    for (const Case& c : cases) {
        std::string name = "stale";
        ShellArgs args{"stale"};
        EXPECT_EQ(parse_command_line(c.line, name, args), c.kind) << c.line;
        EXPECT_EQ(name, c.name) << c.line;
        EXPECT_EQ(args, c.args) << c.line;
    }
}

using ShellTest = ShellFixture;

TEST_F(ShellTest, HelpListingBytes) {
    EXPECT_TRUE(run("help"));
    const std::vector<std::string> expected{
        "\n[HELP]:\x1b[10GCommand\x1b[25GDescription\n",
        "\x1b[92m\x1b[10Gacqconf\x1b[25GManage VORTAN acquisition configurations\x1b[m",
        "\x1b[97m\x1b[10Gclear\x1b[25GClear this terminal\x1b[m",
        "\x1b[92m\x1b[10Gdatareq\x1b[25GDisplay synthetic data from last VORTAN acquisition\x1b[m",
        "\x1b[97m\x1b[10Ggetfile\x1b[25GDownload a file from VORTAN SD card\x1b[m",
        "\x1b[92m\x1b[10Ghelp\x1b[25GDisplay help on available commands\x1b[m",
        "\x1b[97m\x1b[10Ghwconf\x1b[25GManage VORTAN hardware configuration\x1b[m",
        "\x1b[92m\x1b[10Gpt\x1b[25GSend a 'pt' message to VORTAN\x1b[m",
        "\x1b[97m\x1b[10Gpu\x1b[25GPower on/off the processing unit\x1b[m",
        "\x1b[92m\x1b[10Greboot\x1b[25GReboot VORTAN software\x1b[m",
        "\x1b[97m\x1b[10Grtcsync\x1b[25GSynchronize VORTAN clock with this system time\x1b[m",
        "\x1b[92m\x1b[10Gsddump\x1b[25GDownload a list of files from VORTAN SD card\x1b[m",
        "\x1b[97m\x1b[10Gsdformat\x1b[25GFormat VORTAN SD card\x1b[m",
        "\x1b[92m\x1b[10Gsdlist\x1b[25GUpdate and download the file list from VORTAN SD card\x1b[m",
        "\x1b[97m\x1b[10Gsu\x1b[25GPut VORTAN into Super-User mode\x1b[m",
        "\x1b[92m\x1b[10Gtimetable\x1b[25GManage VORTAN time programming configuration\x1b[m",
        "\x1b[97m\x1b[10Guser\x1b[25GSwitch VORTAN back to User mode\x1b[m",
    };
    EXPECT_EQ(out, expected);
    EXPECT_TRUE(script->lines.empty());
}

// "help help" and "help su" are checked byte for byte through `kelvo terminal` (cli_terminal).
TEST_F(ShellTest, DetailedHelps) {
    struct Case {
        std::string line;
        bool ok;
        std::vector<std::string> printed;
    };
    const Case cases[] = {
        {"help pt",
         true,
         {"\n[PT]: pt command help", "\n\tDescription : Send a 'pt' message to VORTAN",
          "\n\tUsages :", "\n\t\tpt - Sends a 'pt' message with actual time and a pressure of zero",
          "\n\t\tpt <pressure> - Sends a 'pt' message with actual time and a pressure of <pressure> mH2O",
          ""}},
        {"clear help",
         true,
         {"\n[CLEAR]: clear command help", "\n\tDescription : Clear this terminal", "\n\tUsage :",
          "\n\t\tclear - Completely clears this terminal window, scrolling buffers included", ""}},
        {"help reboot",
         true,
         {"\n[REBOOT]: reboot command help", "\n\tDescription : Reboot VORTAN software",
          "\n\tUsage :", "\n\t\treboot - Invoke a software reboot on VORTAN", "\n\tNotes :",
          "\n\t\tSupervision Unit is rebooted (and hence returns to User mode), Processing Unit is powered "
          "off",
          ""}},
        {"help getfile",
         true,
         {"\n[GETFILE]: getfile command help", "\n\tDescription : Download a file from VORTAN SD card",
          "\n\tUsages :",
          "\n\t\tgetfile <filename> - Download <filename> using automatic IP detection and default UDP port",
          "\n\t\tgetfile <filename> <IP_address> - Download <filename> using <IP_address> and default UDP "
          "port",
          "\n\t\tgetfile <filename> <IP_address> <UDP_port> - Download <filename> using <IP_address> and "
          "<UDP_port>",
          "\n\tOptional Parameters :",
          "\n\t\t<IP_address> - manually sets the host IP address, use 'auto' for automatic",
          "\n\t\t<UDP_port> - manually sets the host UDP port on which getfile receives the data",
          "\n\tNotes :",
          "\n\t\tThe file is written into the <filemanager> folder inside the <VortOS> folder, keeping its "
          "path "
          "on the SD card",
          "\n\t\tAutomatic IP detection may fail if the host has several IP addresses, set it manually in "
          "that "
          "case",
          ""}},
        {"help quit",
         false,
         {"\n[HELP]: Unknown command \"quit\" !", "\n[VortOS]: Command help returned an error !"}},
        {"help acqconf",
         true,
         {"\n[ACQCONF]: acqconf command help", "\n\tDescription : Manage VORTAN acquisition configurations",
          "\n\tUsages :", "\n\t\tacqconf template - creates a template file called \"ACQtemplate.txt\"",
          "\n\t\tacqconf template <filename> - creates a template file called <filename>",
          "\n\t\tacqconf load <conf_ID> - load and display VORTAN Acquisition configuration from slot "
          "<conf_ID>",
          "\n\t\tacqconf load <conf_ID> <filename> - load and display VORTAN Acquisition configuration from "
          "slot "
          "<conf_ID>, and saves into <filename>",
          "\n\t\tacqconf store <conf_ID> <filename> - load and display Acquisition configuration from "
          "<filename>, and stores into VORTAN slot <conf_ID> if valid",
          "\n\tNotes :",
          "\n\t\tBase path for all filenames is the <configurator> folder, inside the <VortOS> folder", ""}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(run(c.line), c.ok) << c.line;
        EXPECT_EQ(out, c.printed) << c.line;
        EXPECT_TRUE(script->lines.empty()) << c.line;
    }
}

// "quit" is left out of the table ("help quit" above is refused); the function still answers.
TEST_F(ShellTest, QuitOutsideTheTable) {
    EXPECT_TRUE(VortOShell::quit({}));
    EXPECT_TRUE(VortOShell::quit({"help"}));
    const std::vector<std::string> expected{
        "\n[QUIT]",
        "\n[QUIT]: quit command help",
        "\n\tDescription : Quit VortOS",
        "\n\tUsage :",
        "\n\t\tquit - Leave VortOS and closes this window",
        "\n\tNote :",
        "\n\t\tClosing VortOS does not change VORTAN state, it will continue working until it's powered off",
        "",
    };
    EXPECT_EQ(out, expected);
}

// Echoed command lines and unknown names are checked through the window (terminal_gui) and
// `kelvo terminal` (cli_terminal); a blank line is echoed too, and names are case-sensitive.
TEST_F(ShellTest, BlankLineEchoedAndNamesCaseSensitive) {
    EXPECT_TRUE(shell->runLine(" \t ", true));
    EXPECT_FALSE(shell->runLine("Help", true));
    EXPECT_EQ(out, (std::vector<std::string>{"[ME]  \t ", "[ME] Help",
                                             "\n[VortOShell]: Unknown command \"Help\" !"}));
    EXPECT_TRUE(script->lines.empty());
}

TEST_F(ShellTest, RawLinesAreSentTrimmedAndAnswered) {
    answers["$USER;"] = "$starterr:30;\n";
    EXPECT_TRUE(shell->runLine("  $USER;\t", true));
    EXPECT_TRUE(shell->runLine("$stop;", false)); // no answer: an empty [Raw] line
    EXPECT_EQ(script->written, "$USER;\n$stop;\n");
    const std::vector<std::string> expected{"[ME]   $USER;\t", "[Raw]$starterr:30;", "[Raw]"};
    EXPECT_EQ(out, expected);

    // A port that did not open: the line is refused with the port's reason, nothing is tried.
    script->openOk = false;
    script->failureText = "Permission denied";
    ASSERT_FALSE(init_comm(QStringLiteral("scripted"), 38400));
    script->written.clear();
    EXPECT_FALSE(run("$stop;"));
    EXPECT_EQ(out,
              std::vector<std::string>{
                  "\n[VortOS]: Serial port scripted is not open (Permission denied), \"$stop;\" needs the "
                  "instrument !"});
    EXPECT_TRUE(script->written.empty());
}

TEST_F(ShellTest, VeryLongLines) {
    // A command name, a raw message and an argument of 100,000 characters.
    const std::string word(100000, 'x');
    EXPECT_FALSE(shell->runLine(word, true));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], "[ME] " + word);
    EXPECT_EQ(out[1], "\n[VortOShell]: Unknown command \"" + word + "\" !");

    EXPECT_FALSE(run("$" + word + ";")); // longer than the link takes
    EXPECT_EQ(out, std::vector<std::string>{"Error performing the COM port write operation"});
    EXPECT_TRUE(script->written.empty());

    EXPECT_FALSE(run("acqconf load " + word));
    EXPECT_EQ(out,
              failure("\n[ERROR]: (acqconf_function) Invalid option " + word + ", or not enough parameters !",
                      "acqconf"));
    EXPECT_TRUE(script->written.empty());
}

} // namespace
