// Timetable programming over a real pseudo-terminal, against the simulated instrument: the bytes
// that reach it, the programs it keeps and the answers that stop a programming.
#include "link/SerialLink.h"
#include "params/Timetable.h"
#include "sim/Kelvo6Simulator.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(TimetableSerial, ProgrammingSendsEveryLineWithItsLineFeed) {
    Timetable tt(2);
    ASSERT_TRUE(time_program_from_text("2019 7 * * 20 0 July_CONF 120", "", tt[0]));
    ASSERT_TRUE(time_program_from_text("* * 15 3 6 1 NIGHT 0", "", tt[1]));
    TimeProgram at24 = tt[0];
    at24.hour = 25; // 24:00, which the instrument refuses
    const std::string init = "$TIMEPROGinit;\n";
    const std::string july = "$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;\n";
    struct Case {
        bool supervisor; // in user mode the instrument refuses any programming
        Timetable timetable;
        const char* error;
        std::string sent;
        QStringList kept;
    };
    const Case cases[] = {
        {true,
         tt,
         "",
         init + july + "$TIMEPROGadd:*,*,15,*,6,1,NIGHT,0;\n",
         {"2019,7,*,*,20,0,July_CONF,120", "*,*,15,*,6,1,NIGHT,0"}},
        {false, tt, "Unable to initiate Timetable programming. Failed !", init, {}},
        {true,
         {tt[0], at24, tt[1]},
         "An error occurred while programming the Timetable. Failed !",
         init + july + "$TIMEPROGadd:2019,7,*,*,24,0,July_CONF,120;\n",
         {"2019,7,*,*,20,0,July_CONF,120"}},
    };
    for (const Case& c : cases) {
        Kelvo6Simulator sim;
        ASSERT_TRUE(sim.start());
        ASSERT_TRUE(init_comm(sim.devicePath(), 38400));
        if (c.supervisor) {
            ASSERT_NE(serial_link_exchange()("$SU;"), "");
            sim.clearReceived();
        }
        std::string error;
        try {
            program_timetable(c.timetable);
        } catch (const std::runtime_error& e) {
            error = e.what();
        }
        close_comm();
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(sim.receivedBytes().toStdString(), c.sent);
        EXPECT_EQ(sim.timetable(), c.kept);
    }
}
