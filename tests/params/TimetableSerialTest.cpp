// The timetable exchanges over a real pseudo-terminal: the bytes that reach the instrument and
// the answers that stop a programming.
#include "link/SerialLink.h"
#include "params/Timetable.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

// The instrument's end of a pseudo-terminal: collects every byte sent and answers each line
// with the next scripted answer.
class FakeInstrument {
public:
    explicit FakeInstrument(std::vector<std::string> answers)
        : m_answers(std::move(answers)) {
        char name[256] = {};
        termios raw{};
        cfmakeraw(&raw);
        if (openpty(&m_master, &m_slave, name, &raw, nullptr) != 0) {
            throw std::runtime_error("openpty failed");
        }
        m_path = name;
        m_thread = std::thread([this] { serve(); });
    }
    ~FakeInstrument() {
        received();
        close(m_master);
        close(m_slave);
    }
    const std::string& path() const { return m_path; }
    // Stops serving; everything sent until then.
    std::string received() {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return m_received;
    }

private:
    void serve() {
        std::size_t next = 0;
        while (!m_stop) {
            pollfd p{m_master, POLLIN, 0};
            if (poll(&p, 1, 20) <= 0) {
                continue;
            }
            char buf[256];
            const ssize_t n = read(m_master, buf, sizeof buf);
            for (ssize_t i = 0; i < n; ++i) {
                m_received += buf[i];
                if (buf[i] == '\n' && next < m_answers.size()) {
                    const std::string& a = m_answers[next++];
                    (void)!write(m_master, a.data(), a.size());
                }
            }
        }
    }

    std::vector<std::string> m_answers;
    int m_master = -1;
    int m_slave = -1;
    std::string m_path;
    std::string m_received;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

Timetable two_programs() {
    Timetable tt(2);
    EXPECT_TRUE(time_program_from_text("2019 7 * * 20 0 July_CONF 120", "", tt[0]));
    EXPECT_TRUE(time_program_from_text("* * 15 3 6 1 NIGHT 0", "", tt[1]));
    return tt;
}

} // namespace

TEST(TimetableSerial, ProgrammingSendsEveryLineWithItsLineFeed) {
    struct Case {
        std::vector<std::string> answers;
        const char* error;
        const char* sent;
    };
    const Case cases[] = {
        {{"$ok;\n", "$ok;\n", "$ok;\n"},
         "",
         "$TIMEPROGinit;\n$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;\n$TIMEPROGadd:*,*,15,*,6,1,NIGHT,0;\n"},
        {{"$error;\n"}, "Unable to initiate Timetable programming. Failed !", "$TIMEPROGinit;\n"},
        {{"$ok;\n", "$ko;\n"},
         "An error occurred while programming the Timetable. Failed !",
         "$TIMEPROGinit;\n$TIMEPROGadd:2019,7,*,*,20,0,July_CONF,120;\n"},
    };
    for (const Case& c : cases) {
        FakeInstrument instrument(c.answers);
        ASSERT_TRUE(init_comm(QString::fromStdString(instrument.path()), 38400));
        std::string error;
        try {
            program_timetable(two_programs());
        } catch (const std::runtime_error& e) {
            error = e.what();
        }
        close_comm();
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(instrument.received(), c.sent);
    }
}
