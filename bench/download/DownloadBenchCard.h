#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>

// What the download benchmarks share: a temporary HOME, a card written on disk and memory
// readings.
namespace downloadbench {

// Points HOME and the XDG folders at a temporary folder (removed at exit).
void use_temporary_home();

// Writes one realistic sequence into `card` (a 50,000-line data file, a synthetic file, 2,000
// vignettes of 1-60 KB over 20 image folders and 20 raw frames) and its "tree.txt". Returns the
// sequence's name.
QString write_realistic_sequence(const QString& card, std::int64_t* bytes = nullptr);

// Peak resident memory since the last reset, in MB (VmHWM).
double peak_rss_mb();
void reset_peak_rss();

} // namespace downloadbench
