#pragma once

// Shared by the fuzz targets: silence term_print (the trace log would only slow the run), and
// hand inputs to the file readers through a private scratch file.
#include "terminal/TermPrint.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <cstdint>
#include <cstdlib>
#include <unistd.h>

namespace fuzzsupport {

inline void quiet() {
    static const bool done = [] {
        set_term_print_sink([](const std::string&) {});
        return true;
    }();
    (void)done;
}

// A file of this process holding `data` (rewritten for every input).
inline QString scratch_file(const uint8_t* data, size_t size) {
    static const QString path = QDir::temp().filePath(QStringLiteral("kelvo-fuzz-%1.txt").arg(getpid()));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::abort();
    }
    f.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    f.close();
    return path;
}

} // namespace fuzzsupport
