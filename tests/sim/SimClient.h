#pragma once

#include <QByteArray>
#include <QString>

// A bare serial client for the simulator's pseudo-terminal: raw mode, one write per command,
// answers collected until a stretch of silence (as the application's link does, with a little
// margin over its 100 ms).
class SimClient {
public:
    SimClient() = default;
    ~SimClient();
    SimClient(const SimClient&) = delete;
    SimClient& operator=(const SimClient&) = delete;

    bool open(const QString& path);
    bool send(const QByteArray& bytes);
    // The first burst that arrives within `firstMs`, ended by `silenceMs` without bytes.
    QByteArray readBurst(int firstMs = 1000, int silenceMs = 150);
    // Sends `line` plus a line feed and returns the first burst of the answer.
    QByteArray exchange(const QByteArray& line, int firstMs = 1000);

private:
    int m_fd = -1;
};
