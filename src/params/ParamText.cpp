#include "params/ParamText.h"

#include <clocale>
#include <cstdlib>
#include <locale.h>

namespace paramtext {

long long parse_integer(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && is_space(text[i])) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    constexpr long long kLimit = 1000000000000000LL;
    long long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        if (value < kLimit) {
            value = value * 10 + (text[i] - '0');
        }
    }
    return negative ? -value : value;
}

bool has_leading_integer(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && is_space(text[i])) {
        ++i;
    }
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

float parse_float(std::string_view text) {
    // strtof needs a terminated string; the C locale keeps "0.5" meaning one half whatever
    // LC_NUMERIC the desktop session sets.
    static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    const std::string copy(text);
    return strtof_l(copy.c_str(), nullptr, c_locale);
}

std::string_view trim(std::string_view text) {
    std::size_t b = 0;
    std::size_t e = text.size();
    while (b < e && is_space(text[b])) {
        ++b;
    }
    while (e > b && is_space(text[e - 1])) {
        --e;
    }
    return text.substr(b, e - b);
}

std::string_view first_word(std::string_view text) {
    std::size_t b = 0;
    while (b < text.size() && is_space(text[b])) {
        ++b;
    }
    std::size_t e = b;
    while (e < text.size() && !is_space(text[e])) {
        ++e;
    }
    return text.substr(b, e - b);
}

std::string_view strip_comment(std::string_view text) {
    const std::size_t slash = text.find('/');
    return slash == std::string_view::npos ? text : text.substr(0, slash);
}

} // namespace paramtext
