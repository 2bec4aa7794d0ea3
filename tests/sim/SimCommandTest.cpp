// Every serial command of the instrument, in its success and refusal forms, over the real
// pseudo-terminal.
#include "SimFixture.h"

#include <vector>

namespace {

struct Row {
    std::vector<QByteArray> setup;
    QByteArray command;
    QByteArray expected; // "" means: no answer at all
    const char* variant = "LP";
};

const QByteArray kSu = "$SU;";
const QByteArray kOn = "$POWERPUset:1;";
const QByteArray kAcq0 = "$ACQCONFset:0,ACQ_A,1,0.001,1,1,0,0,true,false,0,0,0,3,0,1,false,1,0,0,a@b;";
const QByteArray kAcq0Read = "$ACQCONFread:0,ACQ_A,1,0.001000,1,1,0,0,1,0,0,0,0,3.000000,0,1,0,1,0,0,a@b;\n";

std::vector<Row> rows() {
    const std::vector<QByteArray> puOn = {kSu, kOn, "$PUready;"};
    return {
        // Modes.
        {{}, "$SU;", "== Kelvo6-LP == Entering Supervisor Mode ==\n"},
        {{}, "$SU;", "== Kelvo6-HF == Entering Supervisor Mode ==\n", "HF"},
        {{kSu}, "$USER;", "== Leaving Supervisor Mode ==\n"},
        {{}, "$USER;", "$starterr:30;\n"},
        // Identity and health.
        {{},
         "$POWERmonitor;",
         "B0 voltage: 12.10 V\nB1 voltage: 0.00 V\nSU current: 0.042 A\nPU current: 0.000 "
         "A\n$POWERmonitor:OK;\n"},
        {puOn, "$TSread;", "$TSread:24.35;\n"},
        // Configuration reads of a fresh instrument.
        {{}, "$ACQCONFread:03;", "$ACQCONFread:03,<invalid>;\n"},
        {{}, "$ACQCONFread:10;", "$ACQCONFread:ERROR;\n"},
        {{}, "$HWCONFread:1;", "$HWCONFread:ERROR;\n"},
        // Configuration commands need supervisor mode.
        {{}, "$POWERPUset:1;", "$POWERPUset:DENIED;\n"},
        {{}, "$RTCset:20240131,235959;", "$RTCset:DENIED;\n"},
        {{}, "$ACQCONFset:1,A;", "$ACQCONFset:DENIED;\n"},
        {{}, "$TIMEPROGadd:*,*,*,*,6,1,MORNING,30;", "$TIMEPROGadd:DENIED;\n"},
        {{}, "$SUreboot;", "$SUreboot:DENIED;\n"},
        // Slots: booleans may come as words and are read back as digits; a refused set leaves the
        // slot as it was (frequency below its bound, a missing field, a slot out of range, a word
        // that is not a boolean); an erased slot reads as invalid.
        {{kSu, kAcq0}, "$ACQCONFread:0;", kAcq0Read},
        {{kSu, kAcq0, "$ACQCONFset:0,ACQ_A,1,0.0009,1,1,0,0,1,0,0,0,0,3,0,1,0,1,0,0,a@b;"},
         "$ACQCONFread:0;",
         kAcq0Read},
        {{kSu}, "$ACQCONFset:0,ACQ_A,1,1,1,1,0,0,1,0,0,0,0,3,0,1,0,1,0,0;", "$ACQCONFset:ERROR;\n"},
        {{kSu}, "$ACQCONFset:10,ACQ_A,1,1,1,1,0,0,1,0,0,0,0,3,0,1,0,1,0,0,a@b;", "$ACQCONFset:ERROR;\n"},
        {{kSu}, "$ACQCONFset:0,ACQ_A,1,1,1,1,0,0,yes,0,0,0,0,3,0,1,0,1,0,0,a@b;", "$ACQCONFset:ERROR;\n"},
        {{kSu, kAcq0, "$ACQCONFerase:0;"}, "$ACQCONFread:0;", "$ACQCONFread:0,<invalid>;\n"},
        // Programs: a day given stores the weekday as a wildcard; refused are weekday 9 with a
        // wildcard day, hour 24, a 16-character name, duration 65536 and a missing field;
        // TIMEPROGinit empties the table.
        {{kSu, "$TIMEPROGadd:*,*,15,9,6,1,NIGHT,30;"},
         "$TIMEPROGread:0;",
         "$TIMEPROGread:0,*,*,15,*,6,1,NIGHT,30;\n"},
        {{kSu}, "$TIMEPROGadd:*,*,*,9,6,1,NIGHT,30;", "$TIMEPROGadd:ERROR;\n"},
        {{kSu}, "$TIMEPROGadd:2019,7,*,*,24,0,July_CONF,120;", "$TIMEPROGadd:ERROR;\n"},
        {{kSu}, "$TIMEPROGadd:2019,7,*,*,20,0,ABCDEFGHIJKLMNOP,120;", "$TIMEPROGadd:ERROR;\n"},
        {{kSu}, "$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,65536;", "$TIMEPROGadd:ERROR;\n"},
        {{kSu}, "$TIMEPROGadd:2019,7,*,*,20,0,July_CONF;", "$TIMEPROGadd:ERROR;\n"},
        {{kSu, "$TIMEPROGadd:*,*,*,*,14,*,Afternoon_ACQ,0;", "$TIMEPROGinit;"},
         "$TIMEPROGread:0;",
         "$TIMEPROGread:0,<invalid>;\n"},
        {{kSu}, "$ACQCONFerase:12;", "$ACQCONFerase:ERROR;\n"},
        {{kSu}, "$RTCset:20240231,120000;", "$RTCset:ERROR;\n"},
        {{kSu}, "$RTCset:20240131;", "$RTCset:ERROR;\n"},
        {{kSu}, "$SUreboot;", ""},
        // A reboot comes back in user mode with the PU off and the Ethernet destination forgotten.
        {{kSu, kOn, "$SUreboot;"}, "$PU:alive;", "$PU:OFF;\n"},
        {{kSu, "$SUreboot;"}, "$POWERPUset:1;", "$POWERPUset:DENIED;\n"},
        {{kSu, kOn, "$PU:ethlink,2,127.0.0.2,49152;", "$SUreboot;", kSu, kOn},
         "$PU:framedump,1,0;",
         "[PU]:$framedump:ERROR;\n"},
        // Processing unit power.
        {{kSu}, "$POWERPUset:2;", "$POWERPUset:ERROR;\n"},
        {{kSu, kOn, "$POWERPUset:0;"}, "$PUready;", "$PUready:OK;\n"},
        {puOn, "$PU:ethlink,2,300.0.0.1,49152;", "[PU]:$ethlink:ERROR;\n"},
        {puOn, "$PU:ethlink,2,127.0.0.2,70000;", "[PU]:$ethlink:ERROR;\n"},
        {puOn, "$PU:ethlink,2,127.0.0.2;", "[PU]:$ethlink:ERROR;\n"},
        {puOn, "$PU:hwinfo;", "[PU]:$hwinfo:PU-K6LP-0001,PU V2.1.7,IMX304,2464,2056,29872,30436,30.4;\n"},
        {puOn, "$PU:hwinfo;",
         "[PU]:$hwinfo:PU-K6HF-0001,PU V2.1.7,IMX304,2464,2056,HF-FLASH 2,29872,30436,30.4;\n", "HF"},
        {puOn, "$PU:framedump,1,0;", "[PU]:$framedump:ERROR;\n"},
        {puOn, "$PU:filedump,tree.txt;", ""},
        {puOn, "$PU:imgparamset,1,2,0.50;", ""},
        {puOn, "$PU:frobnicate;", "$error:UNKNOWN;\n"},
        // Commands that are never answered, and starts.
        {{}, "$pt:12.50,20240131,235959;", ""},
        {{}, "$start:CONFNAME;", "$start:ERROR;\n"},
        // Nonsense.
        {{}, "$frobnicate;", "$error:UNKNOWN;\n"},
        {{}, "$SU", "$error:SYNTAX;\n"},
        {{}, "$S U;", "$error:SYNTAX;\n"},
        {{}, "$PU:;", "$error:SYNTAX;\n"},
        {{}, "$SU;\xc3\xa9", "$error:SYNTAX;\n"},
        {{}, "$SU;\r", "== Kelvo6-LP == Entering Supervisor Mode ==\n"},
    };
}

} // namespace

// Answers the application's end-to-end tests already read (the default version, the HF power
// text, the temperature with the PU off, a passed self-check, $ok to clock and power settings,
// the alive acknowledgement, stop) are left to them.
TEST(SimCommands, EachCommandAnswersWithTheInstrumentsExactText) {
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.variant + std::string(" ") + row.command.toStdString());
        SimOptions o;
        o.variant = QLatin1String(row.variant);
        SimSession s(o);
        ASSERT_TRUE(s.started);
        for (const QByteArray& line : row.setup) {
            ASSERT_EQ(s(line, 400).isEmpty(), line == "$SUreboot;") << line.toStdString();
        }
        EXPECT_EQ(s(row.command, row.expected.isEmpty() ? 400 : 1000), row.expected);
    }
}

TEST(SimCommands, RealisticTimingsKeepThePuSilentUntilReadyAndLoseLinesDuringAReboot) {
    SimOptions o;
    o.realistic = true;
    o.puStartupMs = 1500;
    SimSession s(o);
    ASSERT_EQ(s("$SU;"), QByteArray("== Kelvo6-LP == Entering Supervisor Mode ==\n"));
    ASSERT_EQ(s("$POWERPUset:1;"), QByteArray("$ok;\n"));
    // While it boots the PU does not answer at all.
    EXPECT_EQ(s("$PU:alive;", 300), QByteArray());
    // The ready answer comes only once the start-up is over, however long the host waits.
    ASSERT_TRUE(s.client.send("$PUready;\n"));
    EXPECT_EQ(s.client.readBurst(200), QByteArray());
    EXPECT_EQ(s.client.readBurst(3000), QByteArray("$PUready:OK;\n"));
    EXPECT_EQ(s("$PU:alive;"), QByteArray("[PU]:$aliveack;\n"));
    // What arrives while the unit restarts is lost, never answered later.
    EXPECT_EQ(s("$SUreboot;", 300), QByteArray());
    EXPECT_EQ(s("$VERSION;", 300), QByteArray());
    EXPECT_EQ(s.client.readBurst(3200), QByteArray());
    EXPECT_EQ(s("$VERSION;"), QByteArray("$VERSION:V3.4.2,2021.06.30;\n"));
}

TEST(SimCommands, AcquisitionSendsResultsRefusesSupervisorModeAndLeavesSyntheticData) {
    SimSession s;
    s("$SU;");
    // Slot 2: name RUN_A, 10 Hz, 2 frames per bloc, results sent and saved.
    const QByteArray set = "$ACQCONFset:2,RUN_A,1,10.000000,2,1,0,0,1,1,100,0,1000,1.000000,0,10,0,1000,0,40,"
                           "op@example.org;";
    ASSERT_EQ(s(set), QByteArray("$ok;\n"));
    s("$pt:100.00,20240131,235959;", 300);
    ASSERT_EQ(s("$start:RUN_A;"), QByteArray("$ok;\n"));
    // Result lines may share a burst with an answer: look for the answer inside it.
    EXPECT_TRUE(s("$SU;").contains("$SU:BUSY;\n"));
    const QByteArray results = s.client.readBurst(3000, 150);
    EXPECT_TRUE(results.startsWith("$result:")) << results.toStdString();
    EXPECT_TRUE(results.contains(",100.00,")) << results.toStdString();
    EXPECT_TRUE(s("$stop;").contains("$ok;\n"));
    s("$SU;");
    s("$POWERPUset:1;");
    EXPECT_EQ(s("$PU:datareq;"), QByteArray("[PU]:$datareq:OK;\n"));
    EXPECT_TRUE(s("$PU:datareq;").startsWith("[PU]:1,100.00,"));
}
