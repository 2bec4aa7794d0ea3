#pragma once

#include <QString>

// What one pass of the live camera asks of the instrument and of the disk: exposure, gain,
// black level, transfer function, test pattern, light, and how frames are saved. In "Driven"
// mode the values come from an INI file ("./automate.ini") that another program writes.
struct LiveCameraSettings {
    enum class Save { Off, Every, One };

    static constexpr double kMinExposureUs = 13.78;
    static constexpr int kMaxBlackLevel = 4095;
    static constexpr int kMaxGain = 480; // tenths of dB
    static constexpr int kTransferCount = 8;

    double exposureUs = 1000.0;
    int blackLevel = 0;
    int gain = 0;          // tenths of dB
    int transferIndex = 0; // 0: "CURRENT", the instrument keeps its curve
    bool mire = false;     // test pattern overlay
    bool light = false;
    bool lightCorrection = false;
    QString fileBaseName = QStringLiteral("livecamera#");
    QString fileExt = QStringLiteral("png");
    Save save = Save::Off;

    // The values as the instrument may take them: exposure at least 13.78, black level 0 to
    // 4095, gain 0 to 480, a transfer index outside 0 to 7 taken as 0.
    LiveCameraSettings Bounded() const;
    // "exposure/black/gain/transfer/mire/light/lightcorrection": a settings file is written
    // beside the saved images when this changes.
    QString Signature() const;

    // The settings of an INI file ("settings/Shutter", "settings/Black_level", ...), with the
    // defaults of an absent key. A value that is not a number counts as absent. The save
    // choice is not read: in "Driven" mode every frame is saved.
    static LiveCameraSettings FromIni(const QString& path);

    static QString TransferName(int index);
    // The command that loads curve `index`; empty for "CURRENT" and out-of-range indexes.
    static QString TransferCommand(int index);
};
