#pragma once

#include "link/SerialPort.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// A serial port whose reads follow a script, for the link's counting rules (tries, NUL-led
// chunks, failed reads) without depending on real time. The script and the counters live in a
// shared record so that the test keeps them after the link took the port.
struct PortScript {
    struct Read {
        bool ok = true;
        std::string bytes; // empty: a silent read
    };
    std::deque<Read> reads; // once empty, every read is silent
    bool openOk = true;
    bool timeoutsOk = true;
    std::string failureText = "Scripted failure";
    int readCount = 0;
    int purgeCount = 0;
    std::string written;
    std::vector<std::string> lines; // every line written, without its line feed
    // Plays the instrument: called for each complete line written, it may queue reads.
    std::function<void(const std::string& line, PortScript& script)> onLine;

    // Queues one answer as its own burst (followed by a silent read, as a pause on the line).
    void answer(const std::string& text) {
        reads.push_back({true, text});
        reads.push_back({true, ""});
    }
};

class ScriptedSerialPort final : public SerialPort {
public:
    explicit ScriptedSerialPort(std::shared_ptr<PortScript> script)
        : m_script(std::move(script)) {}

    bool open(const std::string&) override { return m_script->openOk; }
    bool configure(unsigned) override { return true; }
    bool setReadTimeouts(int, int) override { return m_script->timeoutsOk; }
    bool write(const char* data, std::size_t size, std::size_t& written) override {
        m_script->written.append(data, size);
        m_pending.append(data, size);
        for (auto nl = m_pending.find('\n'); nl != std::string::npos; nl = m_pending.find('\n')) {
            const std::string line = m_pending.substr(0, nl);
            m_pending.erase(0, nl + 1);
            m_script->lines.push_back(line);
            if (m_script->onLine) {
                m_script->onLine(line, *m_script);
            }
        }
        written = size;
        return true;
    }
    bool read(char* buffer, std::size_t capacity, std::size_t& got) override {
        ++m_script->readCount;
        got = 0;
        if (m_script->reads.empty()) {
            return true;
        }
        PortScript::Read r = m_script->reads.front();
        m_script->reads.pop_front();
        got = std::min(capacity, r.bytes.size());
        r.bytes.copy(buffer, got);
        return r.ok;
    }
    bool purgeReceive() override {
        ++m_script->purgeCount;
        return true;
    }
    bool close() override { return true; }
    std::string errorText() const override { return m_script->failureText; }

private:
    std::shared_ptr<PortScript> m_script;
    std::string m_pending;
};
