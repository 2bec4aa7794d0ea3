#pragma once

// Standard output and error of the `kelvo` commands. Output is flushed at once, so that a
// progress line reaches a pipe when it is written and keeps its place among the error lines.
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

inline void out(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}
inline void out(const QString& text) {
    out(text.toStdString());
}
inline void out(const char* text) {
    out(std::string(text));
}

inline void err(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
}
inline void err(const QString& text) {
    err(text.toStdString());
}
inline void err(const char* text) {
    err(std::string(text));
}

// Whether terminal escapes (colours, redrawn progress lines) may be written to standard output:
// only to a terminal, and not when NO_COLOR is set.
inline bool escapes_allowed() {
    const char* noColor = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) && (noColor == nullptr || noColor[0] == '\0');
}
