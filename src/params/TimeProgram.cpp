#include "params/TimeProgram.h"

#include "params/ParamText.h"

#include <fmt/format.h>

#include <array>

using paramtext::is_space;

namespace {

// A small reader with the matching rules of the C library's scanf, so that the instrument's
// texts and the operators' files are read exactly as they always were: "%Ns" words, "%N[^,]"
// fields, "%d" and literal characters (white space in a literal matches any run of it).
class Scanner {
public:
    explicit Scanner(std::string_view text)
        : m_text(text) {}

    void skipSpace() {
        while (m_pos < m_text.size() && is_space(m_text[m_pos])) {
            ++m_pos;
        }
    }

    bool literal(std::string_view lit) {
        for (char c : lit) {
            if (is_space(c)) {
                skipSpace();
            } else if (m_pos < m_text.size() && m_text[m_pos] == c) {
                ++m_pos;
            } else {
                return false;
            }
        }
        return true;
    }

    // "%Ns": skips white space, then takes 1 to `width` non-blank characters.
    bool word(std::size_t width, std::string& out) {
        skipSpace();
        const std::size_t start = m_pos;
        while (m_pos < m_text.size() && m_pos - start < width && !is_space(m_text[m_pos])) {
            ++m_pos;
        }
        out.assign(m_text.substr(start, m_pos - start));
        return m_pos > start;
    }

    // "%N[^,]": 1 to `width` characters other than ",".
    bool field(std::size_t width, std::string& out) {
        const std::size_t start = m_pos;
        while (m_pos < m_text.size() && m_pos - start < width && m_text[m_pos] != ',') {
            ++m_pos;
        }
        out.assign(m_text.substr(start, m_pos - start));
        return m_pos > start;
    }

    // "%d": skips white space, an optional sign and at least one digit. Values far beyond 32
    // bits saturate instead of overflowing.
    bool integer(long long& out) {
        skipSpace();
        std::size_t p = m_pos;
        if (p < m_text.size() && (m_text[p] == '+' || m_text[p] == '-')) {
            ++p;
        }
        const std::size_t digits = p;
        while (p < m_text.size() && m_text[p] >= '0' && m_text[p] <= '9') {
            ++p;
        }
        if (p == digits) {
            return false;
        }
        out = paramtext::parse_integer(m_text.substr(m_pos, p - m_pos));
        m_pos = p;
        return true;
    }

private:
    std::string_view m_text;
    std::size_t m_pos = 0;
};

// The words of a program in text order: six date fields, configuration, duration.
struct ProgramWords {
    std::array<std::string, 6> date;
    std::string configuration;
    long long duration = -1;
};

bool scan_file_form(std::string_view text, ProgramWords& w) {
    Scanner s(text);
    for (std::string& d : w.date) {
        if (!s.word(7, d)) {
            return false;
        }
    }
    return s.word(31, w.configuration) && s.integer(w.duration);
}

bool scan_wire_form(std::string_view text, const std::string& prefix, ProgramWords& w) {
    Scanner s(text);
    if (!s.literal(prefix)) {
        return false;
    }
    for (std::string& d : w.date) {
        if (!s.field(7, d) || !s.literal(",")) {
            return false;
        }
    }
    return s.field(31, w.configuration) && s.literal(",") && s.integer(w.duration);
}

// A date field: "*" is the wildcard (stored 0); otherwise the leading decimal number, checked
// against [lo, hi] and stored with `offset` added.
bool date_field(const std::string& word, long long lo, long long hi, quint32 offset, quint32& out) {
    if (word == "*") {
        out = TimeProgram::kAny;
        return true;
    }
    const long long v = paramtext::parse_integer(word);
    if (v < lo || v > hi) {
        return false;
    }
    out = static_cast<quint32>(v) + offset;
    return true;
}

std::string date_text(quint32 stored, quint32 offset, bool fileForm) {
    if (stored == TimeProgram::kAny) {
        return fileForm ? "    *" : "*";
    }
    // A stored value below its offset cannot come from the reader; it is shown as the number
    // it stands for rather than wrapping around.
    const long long v = static_cast<long long>(stored) - offset;
    return fileForm ? fmt::format("{:5d}", v) : fmt::format("{}", v);
}

} // namespace

std::string time_program_to_text(const std::string& prefix, const TimeProgram& p) {
    const bool fileForm = prefix.empty();
    const char* sep = fileForm ? "   " : ",";
    std::string out = prefix;
    const std::array<std::pair<quint32, quint32>, 6> date{
        {{p.year, 0}, {p.month, 0}, {p.day, 0}, {p.weekday, 0}, {p.hour, 1}, {p.halfHour, 1}}};
    for (const auto& [stored, offset] : date) {
        out += date_text(stored, offset, fileForm);
        out += sep;
    }
    if (fileForm) {
        out += fmt::format("{:>16}", p.configurationName());
        out += sep;
        out += fmt::format("{:5d}", p.duration);
    } else {
        out += p.configurationName();
        out += sep;
        out += std::to_string(p.duration);
    }
    return out;
}

bool time_program_from_text(std::string_view text, const std::string& prefix, TimeProgram& program) {
    text = paramtext::c_string(text);
    ProgramWords w;
    if (!(prefix.empty() ? scan_file_form(text, w) : scan_wire_form(text, prefix, w))) {
        return false;
    }
    TimeProgram p;
    if (!date_field(w.date[0], 2000, 2100, 0, p.year) || !date_field(w.date[1], 1, 12, 0, p.month) ||
        !date_field(w.date[2], 1, 31, 0, p.day) || !date_field(w.date[4], 0, 23, 1, p.hour) ||
        !date_field(w.date[5], 0, 1, 1, p.halfHour)) {
        return false;
    }
    // The weekday only counts when no day is given.
    if (p.day == TimeProgram::kAny) {
        if (!date_field(w.date[3], 1, 7, 0, p.weekday)) {
            return false;
        }
    } else {
        p.weekday = TimeProgram::kAny;
    }
    if (w.configuration.empty() || w.configuration.size() >= sizeof p.configuration) {
        return false;
    }
    p.setConfiguration(w.configuration);
    if (w.duration < 0 || w.duration > 65535) {
        return false;
    }
    p.duration = static_cast<quint32>(w.duration);
    program = p;
    return true;
}
