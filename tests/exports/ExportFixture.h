#pragma once

// A project whose sample "s1" (images 1 to 3 of sequence S1, 6 images from 0 to 10 dbar) has
// vignettes in its sequence's "images.zip": one before the range, one in it (a 10 x 6 rectangle
// of grey 200 on black, threshold 10), one truncated.
#include "samples/SampleFixture.h"

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <gtest/gtest.h>

namespace exporttest {

// A w x h vignette with a `rw` x `rh` rectangle of grey 200 at (2, 3) on a black background.
inline QByteArray vignette(int w, int h, int rw, int rh) {
    QByteArray v(4 + w * h, '\0');
    v[0] = static_cast<char>(w);
    v[2] = static_cast<char>(h);
    for (int y = 3; y < 3 + rh; ++y) {
        for (int x = 2; x < 2 + rw; ++x) {
            v[4 + y * w + x] = static_cast<char>(200);
        }
    }
    return v;
}

inline QString vignette_project() {
    const QString path = kelvotest::make_sample_project();
    kelvotest::write_sequence(path, QStringLiteral("S1"), kelvotest::profile(6, 10, 0),
                              kelvotest::hw_line({{"Threshold", "10"}}));
    kelvotest::write_file(
        path + QStringLiteral("/meta/kelvo6_header_sn000120lp_2024_cast.txt"),
        "cruise;profileid;filename;firstimage;endimg;latitude;longitude;aa;exp;volimage;pixelsize\n"
        "cr;s1;S1;1;3;-10.5;20.25;0.01;1;0.5;73\n");
    QuaZip zip(path + QStringLiteral("/raw/S1/images.zip"));
    EXPECT_TRUE(zip.open(QuaZip::mdCreate));
    const std::pair<const char*, QByteArray> entries[] = {
        {"img_0000/S1_000000_00.vig", vignette(20, 16, 10, 6)}, // before the range
        {"img_0000/S1_000002_00.vig", vignette(20, 16, 10, 6)},
        {"img_0000/S1_000003_01.vig", vignette(20, 16, 10, 6).left(100)}, // truncated
    };
    for (const auto& [name, bytes] : entries) {
        QuaZipFile entry(&zip);
        EXPECT_TRUE(entry.open(QIODevice::WriteOnly, QuaZipNewInfo(QLatin1String(name))));
        entry.write(bytes);
    }
    return path;
}

} // namespace exporttest
