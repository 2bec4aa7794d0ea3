#pragma once

#include <QString>
#include <QStringList>

// The serial devices present under `devRoot` ("/dev" on a real system): ttyS*, ttyUSB*,
// ttyACM* and the stable names in serial/by-id/, in natural order (ttyUSB2 before ttyUSB10).
QStringList list_serial_devices(const QString& devRoot = QStringLiteral("/dev"));
