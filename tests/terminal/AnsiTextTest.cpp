// The escape sequences of the terminal read into coloured columns.
#include "terminal/AnsiText.h"

#include <gtest/gtest.h>

namespace {

// A help row read into coloured columns is checked with the view itself (terminal_gui).
TEST(AnsiText, Table) {
    struct Case {
        const char* text;
        std::vector<std::string> plain; // the lines as shown, colours ignored
    };
    const Case cases[] = {
        {"ab\tc", {"ab      c"}},
        {"\tDescription", {"        Description"}},
        {"abcdef\rXY", {"XYcdef"}},
        {"50%\b\b\b75%", {"75%"}},
        {"old text\r\x1b[2Knew", {"new"}},
        {"abcdef\x1b[3G\x1b[K", {"ab"}},
        {"\x1b[?25lhidden cursor\x1b[?25h", {"hidden cursor"}},
        {"bell\a and \x1b lone escape", {"bell and  lone escape"}},
        {"cut \x1b[9", {"cut "}},
        {"x\x1b[99999Gy", {"x"}},
        {"a\x1b[5Cb\x1b[3Dc", {"a   c b"}},
    };
    for (const Case& c : cases) {
        AnsiText reader;
        std::vector<std::string> plain;
        for (const AnsiLine& line : reader.parse(c.text)) {
            std::string s;
            for (const AnsiRun& run : line) {
                s += run.text;
            }
            plain.push_back(s);
        }
        EXPECT_EQ(plain, c.plain) << c.text;
    }
}

TEST(AnsiText, ColourCarriesOverAndResets) {
    AnsiText reader;
    EXPECT_EQ(reader.parse("\x1b[97mwhite")[0], (AnsiLine{{"white", 97}}));
    EXPECT_EQ(reader.parse("still")[0], (AnsiLine{{"still", 97}}));
    EXPECT_EQ(reader.parse("\x1b[1;31mred\x1b[0mplain")[0], (AnsiLine{{"red", 31}, {"plain", 0}}));
    EXPECT_EQ(reader.parse("\x1b[92mg\x1b[39md")[0], (AnsiLine{{"g", 92}, {"d", 0}}));
}

// The percentage redrawn in the view is checked with the view itself (terminal_gui).
TEST(AnsiText, ContinuedLineKeepsItsColoursWhereNotOverwritten) {
    AnsiText reader;
    const auto lines = reader.parse("\b\bok\nnext", AnsiLine{{"ab", 92}, {"cd", 0}});
    EXPECT_EQ(lines, (std::vector<AnsiLine>{{{"ab", 92}, {"ok", 0}}, {{"next", 0}}}));
}

// A lone cursor hide or show and a percentage that redraws its line are checked with the view
// itself (terminal_gui); here the texts at the edges.
TEST(AnsiText, TextsThatOnlyMoveOrShowTheCursor) {
    const std::pair<const char*, bool> cursorOnly[] = {
        {"\x1b[?25l\x1b[?25h", true}, {"", false},        {"\x1b[?25", false},
        {"\x1b[?25lx", false},        {"\x1b[2K", false}, {"\n", false},
    };
    for (const auto& [text, expected] : cursorOnly) {
        EXPECT_EQ(AnsiText::isCursorControlOnly(text), expected) << text;
    }
    EXPECT_FALSE(AnsiText::continuesLine(""));
}

} // namespace
