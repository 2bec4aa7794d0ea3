#pragma once

#include <QString>

// What a generated demo card holds.
struct SimDemoCardReport {
    int sequences = 0; // AUTOCHECK left out
    int files = 0;     // "tree.txt" included
    qint64 bytes = 0;
};

// A realistic SD card for demonstrations and tests, as the instrument lays it out:
//   acq/<yyyyMM>/<yyyyMMdd-HHmmss>/<seq>_data.txt        one line per image, configuration first
//   acq/<yyyyMM>/<yyyyMMdd-HHmmss>/<seq>_synthetic.txt   one line per bloc
//   acq/<yyyyMM>/<yyyyMMdd-HHmmss>/img_NNNN/<seq>_<image>_<object>.vig   object vignettes
//   acq/<yyyyMM>/<yyyyMMdd-HHmmss>/img_NNNN/<seq>_<image>.raw            full frames, 2067 x 2480
//   AUTOCHECK/<yyyyMMdd-HHmmss>_autocheck_data.txt, its vignettes and one raw frame
//   tree.txt
// Four sequences: a descending and an ascending profile, a time series at a fixed depth and a
// short profile that saved no images. Everything depends on the seed only (not on the clock),
// so a seed always gives the same bytes. About 25 MB.
//
// A vignette (".vig") is the simulator's own small image format: width and height as
// little-endian 16-bit numbers, then width x height grey bytes, row after row.
class SimDemoCard {
public:
    // `dir` must be new or empty; nothing is written into a folder that already holds files.
    static bool make(const QString& dir, quint32 seed, QString* error = nullptr,
                     SimDemoCardReport* report = nullptr);
};
