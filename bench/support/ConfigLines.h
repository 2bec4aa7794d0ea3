#pragma once

// A configuration line of a data file as the instrument writes it: every field of the table,
// its internal ones too, with its default value.
#include "params/ParamSets.h"
#include "params/ParamTable.h"

#include <QByteArray>

#include <fmt/format.h>
#include <string>

namespace benchsupport {

inline QByteArray config_line(const char* prefix, void (*build)(ParamTable&)) {
    ParamTable t;
    build(t);
    std::string line = prefix;
    bool first = true;
    for (const ParamDef& d : t) {
        if (d.type == ParamRoot) {
            continue;
        }
        line += first ? "" : ",";
        first = false;
        line += d.type == ParamFloat || d.type == ParamInternalFloat
                    ? fmt::format("{:f}", static_cast<double>(d.floatValue))
                    : param_value_text(d);
    }
    return QByteArray::fromStdString(line) + ';';
}

} // namespace benchsupport
