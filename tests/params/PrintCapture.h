#pragma once

#include "terminal/TermPrint.h"

#include <string>
#include <vector>

// Collects what the code under test prints through term_print.
struct PrintCapture {
    std::vector<std::string> lines;
    ScopedTermPrintSink sink{[this](const std::string& s) { lines.push_back(s); }};

    std::string all() const {
        std::string out;
        for (const std::string& l : lines) {
            out += l;
            out += '|';
        }
        return out;
    }
};
