#pragma once

#include "support/TestSupport.h"
#include "terminal/TermPrint.h"

#include <QDir>

#include <string>

// Collects what the code under test prints through term_print.
struct PrintCapture {
    std::string text;
    ScopedTermPrintSink sink{[this](const std::string& s) { text += (text.empty() ? "" : "|") + s; }};
};

// A path in a fresh temporary folder.
inline QString temp_file(const char* name) {
    return QDir(kelvotest::make_temp_dir("params")).filePath(QString::fromLatin1(name));
}

// Hand-written expected files of tests/params/data.
inline QByteArray expected_file(const char* name) {
    return kelvotest::read_file(QStringLiteral(PARAMS_TEST_DATA "/") + QString::fromLatin1(name));
}
