#pragma once

#include <QString>
#include <QStringList>

// One time program as the instrument stores it: six date fields (0 is the wildcard "*"), the
// acquisition configuration name and the duration in minutes. Hour and half hour are kept as
// written on the wire (0 to 23, 0 or 1); the weekday only counts when the day is a wildcard,
// so it is dropped to "*" when a day is given.
struct SimTimeProgram {
    int year = -1, month = -1, day = -1, weekday = -1, hour = -1, halfHour = -1; // -1: "*"
    QString configuration;
    int duration = 0;

    // Reads the eight comma-separated wire fields of "$TIMEPROGadd:"; false when any is refused.
    static bool fromWireFields(const QStringList& fields, SimTimeProgram* out);
    // "2019,7,*,*,20,0,July_CONF,120"
    QString toWire() const;
};
