#pragma once

#include <chrono>
#include <string>

// A pseudo-terminal pair for link tests: the link opens the device side by its path, the test
// plays the instrument on the controller side.
class PtyPair {
public:
    PtyPair();
    ~PtyPair();
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    bool valid() const { return m_master >= 0; }
    const std::string& devicePath() const { return m_path; }

    // Writes bytes as the instrument would (one burst).
    void send(const std::string& bytes);

    // Collects what the link wrote, until `quiet` passes with nothing new (or `limit` elapses).
    std::string receive(std::chrono::milliseconds quiet = std::chrono::milliseconds(150),
                        std::chrono::milliseconds limit = std::chrono::milliseconds(3000));

private:
    int m_master = -1;
    int m_slave = -1; // kept open so that the pair survives the link closing its side
    std::string m_path;
};
