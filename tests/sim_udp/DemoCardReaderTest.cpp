// The demo card read back by the application's own sequence reader: every data line taken, the
// configuration lines complete for the parameter tables, BLACK images where they belong, profiles
// from the surface to depth and one synthetic line per bloc.
#include "params/ParamTable.h"
#include "project/SequenceHandler.h"
#include "sim/SimDemoCard.h"
#include "support/TestSupport.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

TEST(DemoCardReader, EverySequenceReadsWholeWithItsConfiguration) {
    const QString card = kelvotest::make_temp_dir(QStringLiteral("card")) + QStringLiteral("/c");
    QString error;
    ASSERT_TRUE(SimDemoCard::make(card, 11, &error)) << error.toStdString();
    const QString project = kelvotest::make_temp_dir(QStringLiteral("kelvo6_sn0001lp_2024_demo"));

    static const QRegularExpression dataFile(QStringLiteral("^[^/]+/[^/]+/([^/]+)/(\\1_data\\.txt)$"));
    int sequences = 0;
    int profiles = 0;
    for (const QByteArray& entry : kelvotest::read_file(card + QStringLiteral("/tree.txt")).split('\n')) {
        const auto m = dataFile.match(QString::fromUtf8(entry));
        if (!m.hasMatch()) {
            continue;
        }
        const QString seq = m.captured(1);
        const QByteArray bytes = kelvotest::read_file(card + QLatin1Char('/') + QString::fromUtf8(entry));
        ASSERT_TRUE(kelvotest::write_file(SequenceHandler::DataFilePath(project, seq), bytes));
        ++sequences;

        SequenceHandler h(project, seq);
        ASSERT_TRUE(h.ReadDataFile()) << h.LastError().toStdString();
        const int lines = int(bytes.count('\n'));
        EXPECT_EQ(h.RowCount(), lines - 2) << seq.toStdString(); // no line skipped
        EXPECT_EQ(h.NanPressureCount(), 0);

        ParamTable hw;
        ParamTable acq;
        const int hwRead = h.ReadHwConf(hw);
        const int acqRead = h.ReadAcqConf(acq);
        // Every value of both tables (their root caption holds none).
        EXPECT_EQ(hwRead, 25) << h.HwConfLine().toStdString();
        EXPECT_EQ(acqRead, 20) << h.AcqConfLine().toStdString();
        EXPECT_EQ(GetParamAsText(hw, "Camera_ref"), "K6LP-0001");
        EXPECT_EQ(GetParamAsText(acq, "Interval_for_measuring_background_noise"), "10");

        const auto& rows = h.Rows();
        ASSERT_GT(rows.size(), 100u);
        double lo = 1e9, hi = -1e9;
        for (size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(rows[i].IsBlack(), i % 10 == 0) << seq.toStdString() << " row " << i;
            ASSERT_EQ(rows[i].kind, 'O');
            ASSERT_TRUE(std::isfinite(rows[i].pressure));
            ASSERT_EQ(h.RowIndex(rows[i].dateTime), int(i)) << "date-times are unique";
            lo = std::min(lo, rows[i].pressure);
            hi = std::max(hi, rows[i].pressure);
        }
        // A profile from the surface to depth, descending or ascending; else a fixed depth.
        if (hi - lo > 50) {
            ++profiles;
            EXPECT_LT(lo, 5.0);
            EXPECT_GT(hi, 75.0);
            EXPECT_LT(hi, 1000.0);
            EXPECT_GT(std::abs(rows.front().pressure - rows.back().pressure), 50.0);
        } else {
            EXPECT_GT(lo, 10.0) << seq.toStdString();
        }
        // One synthetic line per bloc of ten images.
        const QString synthetic =
            QString::fromUtf8(entry).replace(QStringLiteral("_data.txt"), QStringLiteral("_synthetic.txt"));
        EXPECT_EQ(kelvotest::read_file(card + QLatin1Char('/') + synthetic).count('\n'),
                  qsizetype((rows.size() + 9) / 10));
    }
    EXPECT_EQ(sequences, 4);
    EXPECT_EQ(profiles, 3);
}
