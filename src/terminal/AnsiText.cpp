#include "terminal/AnsiText.h"

#include <algorithm>
#include <cstdlib>

namespace {

struct Cell {
    char c;
    int colour;
};

// One line under construction: cells addressed by a cursor that may move back and overwrite.
class LineCells {
public:
    LineCells() = default;
    explicit LineCells(const AnsiLine& line) {
        for (const AnsiRun& run : line) {
            for (const char c : run.text) {
                put(c, run.colour);
            }
        }
    }
    void put(char c, int colour) {
        if (m_cursor >= AnsiText::kMaxColumn) {
            return;
        }
        pad();
        if (m_cursor < static_cast<int>(m_cells.size())) {
            m_cells[static_cast<std::size_t>(m_cursor)] = {c, colour};
        } else {
            m_cells.push_back({c, colour});
        }
        ++m_cursor;
    }
    void moveTo(int column) { m_cursor = std::clamp(column, 0, AnsiText::kMaxColumn); }
    int cursor() const { return m_cursor; }
    void eraseToEnd() {
        if (m_cursor < static_cast<int>(m_cells.size())) {
            m_cells.resize(static_cast<std::size_t>(m_cursor));
        }
    }
    void eraseAll() { m_cells.clear(); }

    AnsiLine runs() const {
        AnsiLine line;
        for (const Cell& cell : m_cells) {
            if (line.empty() || line.back().colour != cell.colour) {
                line.push_back({std::string(), cell.colour});
            }
            line.back().text += cell.c;
        }
        return line;
    }

private:
    // Moving past the end leaves blanks behind, as a terminal shows them.
    void pad() {
        while (static_cast<int>(m_cells.size()) < m_cursor) {
            m_cells.push_back({' ', 0});
        }
    }
    std::vector<Cell> m_cells;
    int m_cursor = 0;
};

int first_param(const std::string& params, int fallback) {
    if (params.empty()) {
        return fallback;
    }
    return std::atoi(params.c_str());
}

} // namespace

void AnsiText::applySgr(const std::string& params) {
    if (params.empty()) {
        m_colour = 0;
        return;
    }
    std::size_t pos = 0;
    while (pos <= params.size()) {
        const std::size_t sep = std::min(params.find(';', pos), params.size());
        const int code = std::atoi(params.substr(pos, sep - pos).c_str());
        if (code == 0 || code == 39) {
            m_colour = 0;
        } else if ((code >= 30 && code <= 37) || (code >= 90 && code <= 97)) {
            m_colour = code;
        }
        pos = sep + 1;
    }
}

bool AnsiText::continuesLine(const std::string& text) {
    return !text.empty() && text[0] == '\b';
}

bool AnsiText::isCursorControlOnly(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (text.compare(i, 3, "\x1b[?") != 0) {
            return false;
        }
        i += 3;
        while (i < text.size() && (text[i] < 0x40 || text[i] > 0x7e)) {
            ++i;
        }
        if (i >= text.size()) {
            return false;
        }
        ++i;
    }
    return !text.empty();
}

std::vector<AnsiLine> AnsiText::parse(const std::string& text) {
    return parse(text, AnsiLine());
}

std::vector<AnsiLine> AnsiText::parse(const std::string& text, const AnsiLine& continued) {
    std::vector<AnsiLine> lines;
    LineCells line(continued);
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char c = text[i];
        if (c == '\n') {
            lines.push_back(line.runs());
            line = LineCells();
        } else if (c == '\r') {
            line.moveTo(0);
        } else if (c == '\b') {
            line.moveTo(line.cursor() - 1);
        } else if (c == '\t') {
            const int next = (line.cursor() / 8 + 1) * 8;
            while (line.cursor() < next && line.cursor() < kMaxColumn) {
                line.put(' ', m_colour);
            }
        } else if (c == '\x1b') {
            if (i + 1 >= n || text[i + 1] != '[') {
                continue; // a lone escape is dropped
            }
            std::size_t j = i + 2;
            while (j < n && (text[j] < 0x40 || text[j] > 0x7e)) {
                ++j;
            }
            if (j >= n) {
                break; // an unfinished sequence ends the text
            }
            const std::string params = text.substr(i + 2, j - i - 2);
            const bool privateMode = !params.empty() && params[0] == '?';
            switch (privateMode ? '\0' : text[j]) {
            case 'm':
                applySgr(params);
                break;
            case 'G':
                line.moveTo(first_param(params, 1) - 1);
                break;
            case 'C':
                line.moveTo(line.cursor() + first_param(params, 1));
                break;
            case 'D':
                line.moveTo(line.cursor() - first_param(params, 1));
                break;
            case 'K':
                if (first_param(params, 0) == 2) {
                    line.eraseAll();
                } else if (first_param(params, 0) == 0) {
                    line.eraseToEnd();
                }
                break;
            default:
                break;
            }
            i = j;
        } else if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) {
            line.put(c, m_colour);
        }
    }
    lines.push_back(line.runs());
    return lines;
}
