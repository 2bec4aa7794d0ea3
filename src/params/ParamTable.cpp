#include "params/ParamTable.h"

#include "params/ParamText.h"
#include "terminal/TermPrint.h"
#include "trace/ZelTraceMgr.h"

#include <QFile>
#include <QSaveFile>

#include <fmt/format.h>

using paramtext::first_word;
using paramtext::parse_float;
using paramtext::parse_integer;
using paramtext::strip_comment;

namespace {

const char* const kMapEmpty = "\n[ERROR]: (%s) Input parameters map is empty !\n";
const char* const kCannotOpen = "\n[ERROR]: (%s) Cannot open file %s !\n";
const char* const kUnknownType = "\n[WARNING]: (%s) Unknown parameter type for %s !\n";

int int_bound(float bound) {
    return static_cast<int>(bound);
}

// String bounds are lengths; a negative bound (internal records) is never used for a check.
std::size_t length_bound(float bound) {
    return bound <= 0.0f ? 0 : static_cast<std::size_t>(bound);
}

bool int_in_range(long long value, const ParamDef& d) {
    return value >= int_bound(d.min) && value <= int_bound(d.max);
}

// The bounds are 32-bit floats and so is the typed value; widening both to double before the
// comparison is what makes the text 0.001 meet a bound of 0.001f.
bool float_in_range(float value, const ParamDef& d) {
    return static_cast<double>(value) >= static_cast<double>(d.min) &&
           static_cast<double>(value) <= static_cast<double>(d.max);
}

bool length_in_range(std::size_t length, const ParamDef& d) {
    return length >= length_bound(d.min) && length <= length_bound(d.max);
}

// "false"/"0" and "true"/"1"; anything else leaves `out` alone and returns false.
bool parse_bool(std::string_view text, bool& out) {
    if (text == "false" || text == "0") {
        out = false;
        return true;
    }
    if (text == "true" || text == "1") {
        out = true;
        return true;
    }
    return false;
}

qint32 clamp_to_int32(long long v) {
    if (v > std::numeric_limits<qint32>::max()) {
        return std::numeric_limits<qint32>::max();
    }
    if (v < std::numeric_limits<qint32>::min()) {
        return std::numeric_limits<qint32>::min();
    }
    return static_cast<qint32>(v);
}

QByteArray path_text(const QString& path) {
    return path.toLocal8Bit();
}

// The "// Parameter name: ..." comment line's type part; empty (after a warning) for an unknown
// code.
std::string type_text(const ParamDef& d) {
    switch (d.type) {
    case ParamInteger:
        return fmt::format("Integer type, range: {} to {}", int_bound(d.min), int_bound(d.max));
    case ParamInternalInteger:
        return "Internal integer type, do not edit";
    case ParamFloat:
        return fmt::format("Float type, range: {:g} to {:g}", static_cast<double>(d.min),
                           static_cast<double>(d.max));
    case ParamInternalFloat:
        return "Internal float type, do not edit";
    case ParamString:
        return fmt::format("String type, length range: {} to {} characters", int_bound(d.min),
                           int_bound(d.max));
    case ParamInternalString:
        return "Internal string type, do not edit";
    case ParamBoolean:
        return "Boolean type, range: [0;1] or [false;true]";
    case ParamInternalBoolean:
        return "Internal boolean type, do not edit";
    default:
        term_print(kUnknownType, "write_params_to_file", d.name.c_str());
        return {};
    }
}

} // namespace

std::string param_value_text(const ParamDef& d) {
    switch (d.type) {
    case ParamRoot:
        return "ROOT";
    case ParamInteger:
    case ParamInternalInteger:
        return std::to_string(d.intValue);
    case ParamFloat:
    case ParamInternalFloat:
        return fmt::format("{:.3f}", static_cast<double>(d.floatValue));
    case ParamString:
    case ParamInternalString:
        return d.stringValue;
    case ParamBoolean:
    case ParamInternalBoolean:
        return d.boolValue ? "true" : "false";
    default:
        return "UnknownType";
    }
}

ParamTable::iterator find_param(const std::string& name, ParamTable& table) {
    return std::find_if(table.begin(), table.end(), [&](const ParamDef& d) { return d.name == name; });
}

ParamTable::const_iterator find_param(const std::string& name, const ParamTable& table) {
    return std::find_if(table.begin(), table.end(), [&](const ParamDef& d) { return d.name == name; });
}

int get_params_from_file(const QString& path, ParamTable& table) {
    static const char* const self = "get_params_from_file";
    if (table.empty()) {
        term_print(kMapEmpty, self);
        return -1;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        term_print(kCannotOpen, self, path_text(path).constData());
        return -1;
    }
    int count = 0;
    while (!file.atEnd()) {
        const QByteArray raw = file.readLine();
        if (raw.isEmpty() && file.error() != QFileDevice::NoError) {
            break;
        }
        const std::string_view line =
            strip_comment(paramtext::c_string(std::string_view(raw.constData(), raw.size())));
        const std::size_t eq = line.find('=');
        if (eq == std::string_view::npos) {
            continue;
        }
        const std::string name(first_word(line.substr(0, eq)));
        if (name.empty()) {
            continue;
        }
        auto it = find_param(name, table);
        if (it == table.end()) {
            term_print("\n[WARNING]: (%s) Unknown parameter %s !\n", self, name.c_str());
            continue;
        }
        const std::string_view value = first_word(line.substr(eq + 1));
        if (value.empty()) {
            continue;
        }
        ParamDef& d = *it;
        switch (d.type) {
        case ParamRoot:
        case ParamInternalInteger:
        case ParamInternalFloat:
        case ParamInternalString:
        case ParamInternalBoolean:
            continue;
        case ParamInteger: {
            const long long v = parse_integer(value);
            if (!int_in_range(v, d)) {
                term_print("\n[ERROR]: (%s) Out of range value for integer %s !\n", self, d.name.c_str());
                return -1;
            }
            d.intValue = static_cast<qint32>(v);
            break;
        }
        case ParamFloat: {
            const float v = parse_float(value);
            if (!float_in_range(v, d)) {
                term_print("\n[ERROR]: (%s) Out of range value for float %s !\n", self, d.name.c_str());
                return -1;
            }
            d.floatValue = v;
            break;
        }
        case ParamString:
            if (!length_in_range(value.size(), d)) {
                term_print("\n[ERROR]: (%s) Out of range length for string %s !\n", self, d.name.c_str());
                return -1;
            }
            d.setString(value);
            break;
        case ParamBoolean:
            if (!parse_bool(value, d.boolValue)) {
                term_print("\n[ERROR]: (%s) Out of range value for boolean %s !\n", self, d.name.c_str());
                return -1;
            }
            break;
        default:
            term_print(kUnknownType, self, d.name.c_str());
            continue;
        }
        ++count;
    }
    return count;
}

int get_params_from_string(const std::string& receivedBytes, const std::string& prefix, ParamTable& table) {
    static const char* const self = "get_params_from_string";
    const std::string received(paramtext::c_string(receivedBytes));
    if (table.empty()) {
        term_print(kMapEmpty, self);
        return -1;
    }
    const std::size_t at = received.find(prefix);
    if (at == std::string::npos) {
        term_print("\n[ERROR]: (%s) Prefix \" %s \" not found !\n", self, prefix.c_str());
        return -1;
    }
    std::size_t pos = at + prefix.size();
    int count = 0;
    for (ParamDef& d : table) {
        if (d.type == ParamRoot) {
            continue;
        }
        const std::size_t sep = received.find_first_of(",;", pos);
        if (sep == std::string::npos) {
            term_print("\n[ERROR]: (%s) Input string has an invalid format, or not enough parameters !\n",
                       self);
            return -1;
        }
        const std::string_view field(received.data() + pos, sep - pos);
        pos = sep + 1;
        ++count;
        switch (d.type) {
        case ParamInteger:
        case ParamInternalInteger:
            d.intValue = clamp_to_int32(parse_integer(field));
            break;
        case ParamFloat:
        case ParamInternalFloat:
            d.floatValue = parse_float(field);
            break;
        case ParamString:
        case ParamInternalString:
            // The instrument's text is trusted for content but not for length: it is cut to
            // the record's buffer.
            d.setString(field);
            break;
        case ParamBoolean:
        case ParamInternalBoolean:
            parse_bool(field, d.boolValue);
            break;
        default:
            term_print(kUnknownType, self, d.name.c_str());
            break;
        }
    }
    return count;
}

bool write_params_to_file(const QString& path, const ParamTable& table) {
    static const char* const self = "write_params_to_file";
    if (table.empty()) {
        term_print(kMapEmpty, self);
        return false;
    }
    std::string out;
    out.reserve(8192);
    out += "// " + table[0].name + " :\n\n";
    for (const ParamDef& d : table) {
        if (d.type == ParamRoot) {
            continue;
        }
        out += "// Parameter name: " + d.name + ", " + type_text(d) + "\n";
        out += "// Description: " + d.description + "\n";
        out += d.name + " = " + param_value_text(d) + "\n\n";
    }
    // Written beside the target and renamed over it, so that a full disk or a crash never
    // leaves half a configuration behind.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        term_print(kCannotOpen, self, path_text(path).constData());
        return false;
    }
    file.write(out.data(), static_cast<qint64>(out.size()));
    if (!file.commit()) {
        GetTraceMgr()->logf("ParamTable", ZelLevelError, "{}: writing {} failed: {}", self, path,
                            file.errorString());
        return false;
    }
    return true;
}

std::string write_params_to_string(const std::string& prefix, const ParamTable& table) {
    std::string out = prefix;
    for (const ParamDef& d : table) {
        switch (d.type) {
        case ParamInteger:
            out += std::to_string(d.intValue) + ",";
            break;
        case ParamFloat:
            out += fmt::format("{:f},", static_cast<double>(d.floatValue));
            break;
        case ParamString:
            out += d.stringValue + ",";
            break;
        case ParamBoolean:
            out += d.boolValue ? "1," : "0,";
            break;
        case ParamRoot:
        case ParamInternalInteger:
        case ParamInternalFloat:
        case ParamInternalString:
        case ParamInternalBoolean:
            break;
        default:
            term_print(kUnknownType, "write_params_to_string", d.name.c_str());
            break;
        }
    }
    // Meant for the trailing ","; with no field appended the prefix loses its own last
    // character, which callers have always relied on staying so.
    if (!out.empty()) {
        out.pop_back();
    }
    return out;
}

void print_params(const ParamTable& table) {
    if (table.empty()) {
        return;
    }
    term_print("%s :\n\n", table[0].name.c_str());
    for (const ParamDef& d : table) {
        term_print("\t%s = %s\n", d.name.c_str(), param_value_text(d).c_str());
    }
}

std::string GetParamAsText(const ParamTable& table, const std::string& name) {
    auto it = find_param(name, table);
    if (it == table.end()) {
        term_print("\n[WARNING]: (%s) GetParamAsText Unknown parameter  %s !\n", "GetParamAsText",
                   name.c_str());
        return "Missing parameter " + name;
    }
    return param_value_text(*it);
}

std::string SetParamFromText(ParamTable& table, const std::string& name, const std::string& text) {
    auto it = find_param(name, table);
    if (it == table.end()) {
        term_print("\n[WARNING]: (%s) SetParamFromText Unknown parameter  %s !\n", "SetParamFromText",
                   name.c_str());
        return "Missing parameter " + name;
    }
    return set_param_checked(*it, text);
}

std::string set_param_checked(ParamDef& d, const std::string& textBytes) {
    const std::string_view text = paramtext::c_string(textBytes);
    switch (d.type) {
    case ParamInteger: {
        const long long v = parse_integer(text);
        if (!int_in_range(v, d)) {
            return fmt::format("Out of range value for integer {} : {}<={}<={}", d.name, int_bound(d.min), v,
                               int_bound(d.max));
        }
        d.intValue = static_cast<qint32>(v);
        return {};
    }
    case ParamFloat: {
        const float v = parse_float(text);
        if (!float_in_range(v, d)) {
            return fmt::format("Out of range value for float {} : {}<={}<={}", d.name, d.min, v, d.max);
        }
        d.floatValue = v;
        return {};
    }
    case ParamString:
        if (!length_in_range(text.size(), d)) {
            return "Out of range length for string " + d.name;
        }
        d.setString(text);
        return {};
    case ParamBoolean:
        if (!parse_bool(text, d.boolValue)) {
            return "Out of range value for boolean " + d.name;
        }
        return {};
    default:
        return {};
    }
}

std::string param_config_name(const ParamTable& table) {
    auto it = find_param("Configuration_name", table);
    return it == table.end() ? std::string() : param_value_text(*it);
}
