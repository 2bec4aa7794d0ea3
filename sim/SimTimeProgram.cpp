#include "SimTimeProgram.h"

#include <QRegularExpression>

namespace {

// A date field: "*" or a plain decimal number within [lo, hi].
bool readField(const QString& text, int lo, int hi, int* out) {
    if (text == QLatin1String("*")) {
        *out = -1;
        return true;
    }
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,6}$"));
    if (!digits.match(text).hasMatch()) {
        return false;
    }
    const int v = text.toInt();
    if (v < lo || v > hi) {
        return false;
    }
    *out = v;
    return true;
}

QString fieldText(int v) {
    return v < 0 ? QStringLiteral("*") : QString::number(v);
}

} // namespace

bool SimTimeProgram::fromWireFields(const QStringList& fields, SimTimeProgram* out) {
    if (fields.size() != 8) {
        return false;
    }
    SimTimeProgram p;
    if (!readField(fields[0], 2000, 2100, &p.year) || !readField(fields[1], 1, 12, &p.month) ||
        !readField(fields[2], 1, 31, &p.day) || !readField(fields[4], 0, 23, &p.hour) ||
        !readField(fields[5], 0, 1, &p.halfHour)) {
        return false;
    }
    if (p.day < 0) {
        if (!readField(fields[3], 1, 7, &p.weekday)) {
            return false;
        }
    } else {
        p.weekday = -1;
    }
    const QString& conf = fields[6];
    if (conf.isEmpty() || conf.size() > 15) {
        return false;
    }
    for (const QChar c : conf) {
        if (c.unicode() <= 0x20 || c.unicode() > 0x7e) {
            return false;
        }
    }
    p.configuration = conf;
    int duration = 0;
    if (fields[7] == QLatin1String("*") || !readField(fields[7], 0, 65535, &duration)) {
        return false;
    }
    p.duration = duration;
    *out = p;
    return true;
}

QString SimTimeProgram::toWire() const {
    return QStringList{fieldText(year), fieldText(month),    fieldText(day), fieldText(weekday),
                       fieldText(hour), fieldText(halfHour), configuration,  QString::number(duration)}
        .join(QLatin1Char(','));
}
