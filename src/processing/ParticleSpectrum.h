#pragma once

#include "SpectrumSettings.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <vector>

// What a spectrum needs of a sample besides its particle rows: the calibration and the kind of
// sample, as its header row holds them.
struct SpectrumSample {
    double aa = 0; // object area in mm^2 = aa x (area in pixels)^exp
    double exp = 1;
    double volimageL = 0; // water imaged per image, litres
    bool timeSeries = false;
    double integrationSeconds = 0; // time sample: width of a window
    double constantDepth = 0;      // time sample: the depth of every window (NaN when unknown)
};

// One depth bin (pressure sample) or one time window (time sample).
struct SpectrumBin {
    double depth = 0;              // metres: the bin's centre, or the constant depth of a time sample
    QDateTime start;               // time of the bin's first image (time sample: the window's start)
    int images = 0;                // DATA images in the bin
    double volumeL = 0;            // images x volimage
    std::vector<double> objects;   // objects counted per class
    std::vector<double> abundance; // per class, #/L; 0 when the bin has no volume
    double biovolumePpm = 0;       // total biovolume of the classified objects, mm^3/L
};

// Particle size spectra of a sample, binned by depth or by time, from its "particules.csv".
//
// Every DATA image (flag other than '0') with object measurements counts: each payload group
// "area,count,..." holds `count` objects of `area` pixels; area in mm^2 = aa x area^exp, the
// equivalent spherical diameter ESD = 2 sqrt(area / pi), and its biovolume that of a sphere of
// that ESD. Objects below the first class edge are left out. An object on an edge belongs to
// the class above it. Depth is pressure in decibar taken as metres (1 dbar = 1 m, good to about
// 1 % in the upper 1000 m); rows without a pressure are left out of a pressure sample's bins.
struct ParticleSpectrum {
    bool timeSeries = false;
    std::vector<double> edges; // class edges, mm; class i is [edges[i], edges[i+1]), the last open
    std::vector<SpectrumBin> bins;
    QDateTime firstImage; // date-time of the sample's first image, invalid when unknown
    int imagesRead = 0;   // data lines read from the archive

    int classCount() const { return static_cast<int>(edges.size()); }
    // Class of an object of `esdMm`, -1 below the first edge.
    int classOf(double esdMm) const;

    // Builds the spectrum; false with the reason (an empty or damaged "particules.csv", a time
    // sample without a usable integration time).
    static bool compute(const QByteArray& particulesCsv, const SpectrumSample& sample,
                        const SpectrumSettings& settings, ParticleSpectrum* out, QString* error);
    // The instrument's image time stamp: "yyyyMMdd-HHmmss" with an optional "-zzz" (ms).
    static QDateTime parseImageTime(const QByteArray& text);
    // The same as a date and a time, false when either is not valid. Cheaper where no local
    // date-time is needed: making one reads the time zone.
    static bool parseImageDateAndTime(const QByteArray& text, QDate* date, QTime* time);
};
