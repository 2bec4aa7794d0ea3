#pragma once

// A project folder with sequences written by the tests: the data files hold what the instrument
// writes (configuration lines, then one line per image), built from a list of rows.
#include "params/ParamSets.h"
#include "params/ParamTable.h"
#include "project/SampleHeaderColumns.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QMap>
#include <QStringList>

#include <cmath>
#include <fmt/format.h>
#include <string>

namespace kelvotest {

struct SeqRow {
    double pressure; // NaN: field left empty
    char flag;       // '0' BLACK, '1' DATA
    int count1;      // objects of the first tracked size
    char kind = 'O'; // 'O' objects, 'E' and 'Y' other payloads
};

// A configuration line as the instrument writes it: every field of the table (its internal ones
// too) with its default value, except the given ones.
inline QByteArray config_line(const char* prefix, void (*build)(ParamTable&),
                              const std::vector<std::pair<std::string, std::string>>& changes) {
    ParamTable t;
    build(t);
    std::string line = prefix;
    for (const ParamDef& d : t) {
        if (d.type == ParamRoot) {
            continue;
        }
        std::string value;
        switch (d.type) {
        case ParamFloat:
        case ParamInternalFloat:
            value = fmt::format("{:f}", static_cast<double>(d.floatValue));
            break;
        case ParamBoolean:
        case ParamInternalBoolean:
            value = d.boolValue ? "1" : "0";
            break;
        default:
            value = param_value_text(d);
        }
        for (const auto& [name, text] : changes) {
            if (name == d.name) {
                value = text;
            }
        }
        line += (line.size() > std::string(prefix).size() ? "," : "") + value;
    }
    return QByteArray::fromStdString(line) + ';';
}

inline QByteArray hw_line(const std::vector<std::pair<std::string, std::string>>& changes = {}) {
    return config_line("HW_CONF,", &build_hw_params, changes);
}

inline QByteArray acq_line(const std::vector<std::pair<std::string, std::string>>& changes = {}) {
    return config_line("ACQ_CONF,", &build_acq_params, changes);
}

// One data line for image `i` of a sequence starting at 2024-03-01 06:00:00.
inline QByteArray data_line(int i, const SeqRow& r) {
    const std::string when = fmt::format("20240301-{:02}{:02}{:02}", 6 + i / 3600, (i / 60) % 60, i % 60);
    const std::string p = std::isnan(r.pressure) ? std::string() : fmt::format("{}", r.pressure);
    std::string payload;
    if (r.kind == 'E') {
        payload = "O,12,3";
    } else if (r.kind == 'Y') {
        payload = "E,4";
    } else {
        payload = fmt::format("12,{},3,4;24,{},5,6;", r.count1, r.count1 / 2);
    }
    return QByteArray::fromStdString(fmt::format("{},{},20.5,{}:{}", when, p, r.flag, payload));
}

inline QString make_sample_project(const QString& name = QStringLiteral("kelvo6_sn000120lp_2024_cast")) {
    const QString path = make_temp_dir(QStringLiteral("prj")) + QLatin1Char('/') + name;
    for (const char* sub : {"config", "meta", "raw", "maridata"}) {
        QDir().mkpath(path + QLatin1Char('/') + QLatin1String(sub));
    }
    return path;
}

inline void write_sequence(const QString& project, const QString& seq, const std::vector<SeqRow>& rows,
                           const QByteArray& hw = hw_line(), const QByteArray& acq = acq_line()) {
    QByteArray text = hw + "\n" + acq + "\n";
    for (size_t i = 0; i < rows.size(); ++i) {
        text += data_line(static_cast<int>(i), rows[i]) + "\n";
    }
    write_file(project + QStringLiteral("/raw/%1/%1_data.txt").arg(seq), text);
}

// A descending profile from 0 to `maxDepth` decibar of `n` images, every other one BLACK; BLACK
// images above `litDepth` count `lit` objects, the others 1 to 3.
inline std::vector<SeqRow> profile(int n, double maxDepth, double litDepth, int lit = 50) {
    std::vector<SeqRow> rows;
    for (int i = 0; i < n; ++i) {
        const double p = maxDepth * i / (n - 1);
        const bool black = i % 2 == 0;
        rows.push_back({p, black ? '0' : '1', black ? (p < litDepth ? lit : 1 + i % 3) : 7});
    }
    return rows;
}

// The fields a user fills in for a valid new sample `cruise1_st01` of a project named Cruise1.
inline const QMap<QString, QString>& valid_sample_fields() {
    static const QMap<QString, QString> v{{"profileid", "cruise1_st01"}, {"cruise", "Cruise1"},
                                          {"bottomdepth", "320"},        {"latitude", "43°41 10"},
                                          {"longitude", "-7.3167"},      {"winddir", "270"},
                                          {"windspeed", "12"},           {"seastate", "3"},
                                          {"nebuloussness", "4"},        {"sampletype", "P"}};
    return v;
}

} // namespace kelvotest
