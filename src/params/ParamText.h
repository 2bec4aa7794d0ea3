#pragma once

#include <string>
#include <string_view>

// Text conversions shared by the parameter and timetable readers. They follow the C library's
// rules for decimal text (leading white space, optional sign, trailing text ignored), but never
// overflow and never depend on the process locale: the instrument's files always use a point.
namespace paramtext {

// White space as the C library sees it: blank, tab, newline, vertical tab, form feed, return.
inline bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// `text` up to its first NUL byte: the instrument's texts and the files are C strings, so a NUL
// ends them wherever it appears.
inline std::string_view c_string(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

// Leading decimal integer of `text`; 0 when there are no digits. Saturates far beyond 32 bits,
// so a huge number stays huge (and fails any range check) instead of wrapping.
long long parse_integer(std::string_view text);

// True when `text` holds at least one digit after the optional white space and sign.
bool has_leading_integer(std::string_view text);

// Leading decimal number of `text` read as a 32-bit float; 0 when nothing is readable.
float parse_float(std::string_view text);

// Text with the white space at both ends removed.
std::string_view trim(std::string_view text);

// First white-space-delimited word of `text` ("" when none).
std::string_view first_word(std::string_view text);

// `text` cut before its first "/" (the comment start of parameter and timetable files).
std::string_view strip_comment(std::string_view text);

} // namespace paramtext
