#pragma once

#include <string>
#include <vector>

// The terminal's escape sequences read into coloured lines, for a view that shows them the way a
// character terminal would: SGR colours ("\e[92m", "\e[97m", "\e[m"...), column moves
// ("\e[10G"), line erasing ("\e[K", "\e[2K"), carriage return, backspace and tab stops every
// eight columns. Cursor visibility ("\e[?25l") and any other sequence are dropped, never shown.

// Foreground colour of a run: 0 for the view's default, otherwise the SGR code (30-37, 90-97).
struct AnsiRun {
    std::string text;
    int colour = 0;
    bool operator==(const AnsiRun&) const = default;
};

using AnsiLine = std::vector<AnsiRun>;

class AnsiText {
public:
    // Columns beyond this are not padded to (a bad "\e[99999G" must not allocate a huge line).
    static constexpr int kMaxColumn = 1024;

    // Splits `text` at "\n" into lines of runs. The colour in force carries over from one call to
    // the next, as on a terminal.
    std::vector<AnsiLine> parse(const std::string& text);
    // The same, the first line continuing `continued` with the cursor at its end (a progress
    // figure redrawn in place with backspaces).
    std::vector<AnsiLine> parse(const std::string& text, const AnsiLine& continued);

    // True for a text that updates the line already shown instead of starting one: it begins
    // with a backspace.
    static bool continuesLine(const std::string& text);
    // True for a non-empty text made only of private-mode sequences ("\e[?25l", "\e[?25h"):
    // it changes the cursor, not the text, and takes no line of its own.
    static bool isCursorControlOnly(const std::string& text);

    int colour() const { return m_colour; }
    void reset() { m_colour = 0; }

private:
    void applySgr(const std::string& params);
    int m_colour = 0;
};
