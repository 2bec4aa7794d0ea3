// The configurations the instrument keeps: hardware table, acquisition slots, timetable and
// clock, across commands and across runs.
#include "SimFixture.h"

#include <QDateTime>

namespace {

// The 23 editable hardware fields as the application sends them.
const QByteArray kHwSet =
    "$HWCONFset:K6LP-0007,2,ACQ_TIME_01,5,LU-0099,1,160,240,PS-12,1.500000,1500,1,"
    "192.168.0.130,12,250,6,4,5000.000000,1.100000,70,0.700000,20240115,op@example.org;";
// What the instrument reads back: the same values plus Storage_capacity (after Pressure_offset)
// and Last_parameters_modification (before Operator_email).
const QByteArray kHwReadHead = "$HWCONFread:K6LP-0007,2,ACQ_TIME_01,5,LU-0099,1,160,240,PS-12,1.500000,30436,"
                               "1500,1,192.168.0.130,12,250,6,4,5000.000000,1.100000,70,0.700000,20240115,";

const QByteArray kAcqSet = "$ACQCONFset:4,ACQ_DEEP,3,2.500000,20,2,30,10,0,1,150,2,800,1.500000,5,12,1,"
                           "2000,3,35,op@example.org;";
const QByteArray kAcqRead = "$ACQCONFread:4,ACQ_DEEP,3,2.500000,20,2,30,10,0,1,150,2,800,1.500000,5,12,1,"
                            "2000,3,35,op@example.org;\n";

} // namespace

TEST(SimConfig, RefusedHardwareSetChangesNothing) {
    const struct {
        const char* why;
        QByteArray line;
    } cases[] = {
        {"22 fields",
         "$HWCONFset:K6,2,A,5,L,1,160,240,P,1.5,1500,1,192.168.0.130,12,250,6,4,5000,1.1,70,0.7,D;"},
        {"Gain 49",
         "$HWCONFset:K6,2,A,5,L,1,160,240,P,1.5,1500,1,192.168.0.130,12,250,49,4,5000,1.1,70,0.7,D,E;"},
        {"Exp 2.0001",
         "$HWCONFset:K6,2,A,5,L,1,160,240,P,1.5,1500,1,192.168.0.130,12,250,6,4,5000,2.0001,70,0.7,D,E;"},
        {"IP of 16",
         "$HWCONFset:K6,2,A,5,L,1,160,240,P,1.5,1500,1,192.168.100.1000,12,250,6,4,5000,1.1,70,0.7,D,E;"},
        {"empty Camera_ref",
         "$HWCONFset:,2,A,5,L,1,160,240,P,1.5,1500,1,192.168.0.130,12,250,6,4,5000,1.1,70,0.7,D,E;"},
        {"letters in an integer",
         "$HWCONFset:K6,x,A,5,L,1,160,240,P,1.5,1500,1,192.168.0.130,12,250,6,4,5000,1.1,70,0.7,D,E;"},
    };
    SimSession s;
    s("$SU;");
    const QStringList original = s.sim->hardwareFields();
    for (const auto& c : cases) {
        EXPECT_EQ(s(c.line), QByteArray("$HWCONFset:ERROR;\n")) << c.why;
        EXPECT_EQ(s.sim->hardwareFields(), original) << c.why;
    }
    // The bounds themselves are accepted: Exp 2.0, Shutter 14, an empty pressure sensor.
    EXPECT_EQ(s("$HWCONFset:K6,2,A,5,L,1,160,240,,1.5,1500,1,1.1.1.1,12,14,48,255,5000,2.0,70,0.7,D,E;"),
              QByteArray("$ok;\n"));
}

// (Refused programs and slots: the command table.)
TEST(SimConfig, TimetableHoldsAtMost128Programs) {
    SimSession s;
    s("$SU;");
    const QByteArray add = "$TIMEPROGadd:*,*,*,*,6,1,MORNING,30;\n";
    ASSERT_TRUE(s.client.send(add.repeated(128)));
    QByteArray answers;
    while (answers.size() < 128 * 5) {
        const QByteArray burst = s.client.readBurst(2000);
        ASSERT_FALSE(burst.isEmpty()) << answers.size();
        answers += burst;
    }
    EXPECT_EQ(answers, QByteArray("$ok;\n").repeated(128));
    EXPECT_EQ(s("$TIMEPROGadd:*,*,*,*,6,1,MORNING,30;"), QByteArray("$TIMEPROGadd:ERROR;\n"));
    EXPECT_EQ(s("$TIMEPROGread:127;"), QByteArray("$TIMEPROGread:127,*,*,*,*,6,1,MORNING,30;\n"));
    EXPECT_EQ(s("$TIMEPROGread:128;"), QByteArray("$TIMEPROGread:128,<invalid>;\n"));
}

TEST(SimConfig, HardwareTableIsStampedAndAStateFileCarriesConfigurationsAndClockAcrossRuns) {
    const QString dir = kelvotest::make_temp_dir(QStringLiteral("simstate"));
    SimOptions o;
    o.stateFile = dir + QStringLiteral("/state/kelvo6.json");
    {
        SimSession s(o);
        s("$SU;");
        // Half a minute in, so that the hardware table's minute stamp cannot be the next one.
        ASSERT_EQ(s("$RTCset:20300615,120030;"), QByteArray("$ok;\n"));
        ASSERT_EQ(s(kHwSet), QByteArray("$ok;\n"));
        // Last_parameters_modification on the instrument's clock, then Operator_email.
        EXPECT_EQ(s("$HWCONFread;"), kHwReadHead + "203006151200,op@example.org;\n");
        ASSERT_EQ(s(kAcqSet), QByteArray("$ok;\n"));
        ASSERT_EQ(s("$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;"), QByteArray("$ok;\n"));
    }
    SimSession s(o);
    // A new run starts like a powered-up instrument: user mode, PU off, configurations kept.
    EXPECT_EQ(s("$USER;"), QByteArray("$starterr:30;\n"));
    EXPECT_TRUE(s("$HWCONFread;").startsWith(kHwReadHead));
    EXPECT_EQ(s("$ACQCONFread:4;"), kAcqRead);
    EXPECT_EQ(s("$TIMEPROGread:0;"), QByteArray("$TIMEPROGread:0,2019,7,*,*,20,0,July_CONF,120;\n"));
    EXPECT_TRUE(s("$RTCread;").startsWith("$RTCread:2030061"));
}

// Bad options, and a damaged state file, which is left untouched.
TEST(SimConfig, BadOptionsAndDamagedStateFilesAreRefusedByStart) {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("simstate")) + QStringLiteral("/bad.json");
    const struct {
        void (*set)(SimOptions&);
        QByteArray state; // null: no state file
        const char* message;
    } cases[] = {
        {[](SimOptions& o) { o.serial = QStringLiteral("0123456789ABCDEF"); },
         {},
         "the serial number must be at most 15 characters without \",\" or \";\""},
        {[](SimOptions& o) { o.firmware = QStringLiteral("V1;2"); },
         {},
         "the firmware text may not hold \";\" or a line feed"},
        {[](SimOptions& o) { o.sdFreeMb = 40000; },
         {},
         "SD sizes must satisfy 0 <= free <= total and total > 0"},
        {[](SimOptions& o) { o.packetSize = 65508; }, {}, "the packet size must be from 1 to 65507 bytes"},
        {nullptr, "{ \"hardware\": [",
         "the state file %1 is not valid JSON (unterminated array at offset 15); it was left untouched"},
        {nullptr, R"({"hardware":["A"],"slots":[],"timetable":[],"clockOffset":0})",
         "the state file %1 is damaged: the hardware configuration is missing or invalid; it was left "
         "untouched"},
        {nullptr,
         R"({"hardware":["K","0","U","0","L","0","150","250","","999.000000","1","2000","2","192.168.0.128","0","100","0","3","1.000000","1.000000","73","0.650000","U","","U"],"slots":[null,null,null,null,null,null,null,null,null],"timetable":[],"clockOffset":0})",
         "the state file %1 is damaged: the acquisition slots are missing (ten expected); it was left "
         "untouched"},
    };
    for (const auto& c : cases) {
        SimOptions o;
        if (c.set) {
            c.set(o);
        } else {
            ASSERT_TRUE(kelvotest::write_file(path, c.state));
            o.stateFile = path;
        }
        Kelvo6Simulator sim(o);
        QString error;
        EXPECT_FALSE(sim.start(&error));
        EXPECT_EQ(error, QString::fromLatin1(c.message).replace(QStringLiteral("%1"), path));
        EXPECT_TRUE(sim.devicePath().isEmpty()) << c.message;
        EXPECT_EQ(kelvotest::read_file(path), c.state);
    }
}

// A clock set to a whole second keeps the fraction of a second it was set in: reading it at once
// never gives an earlier second, whatever the host's milliseconds were.
TEST(SimConfig, ClockReadRightAfterSettingNeverGoesBack) {
    SimSession s;
    s("$SU;");
    for (int i = 0; i < 5; ++i) {
        const QDateTime target = QDateTime::currentDateTimeUtc().addSecs(3600 + i);
        const QByteArray set = "$RTCset:" + target.toString("yyyyMMdd,HHmmss").toLatin1() + ";";
        ASSERT_EQ(s(set), QByteArray("$ok;\n"));
        const QByteArray read = s("$RTCread;");
        ASSERT_TRUE(read.startsWith("$RTCread:")) << read.constData();
        const QDateTime back = QDateTime::fromString(QString::fromLatin1(read.mid(9, 15)), "yyyyMMdd,HHmmss");
        EXPECT_GE(back.toString("yyyyMMddHHmmss"), target.toString("yyyyMMddHHmmss")) << read.constData();
    }
}
