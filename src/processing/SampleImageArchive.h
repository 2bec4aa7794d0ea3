#pragma once

#include <QString>
#include <QStringList>

class Project;

// The sample image archive "maridata/<sample>/<sample>_Images.zip": the vignettes of the
// sample's range (image index from the file name "<seq>_<image>_<object>.vig") taken from its
// sequence's "images.zip" and stored as PNG, with the object table "objects_<sample>.tsv" in the
// tab-separated form of plankton-image portals: lower-case names prefixed object_, img_,
// sample_, acq_, process_, a type row ("[t]" text, "[f]" number), then one row per vignette with
// its place, time and measurements. Written under a temporary name and renamed when complete.
namespace SampleImageArchive {

// Returns "" when the archive was written, else the reason; `warnings` gets the vignettes that
// could not be read (left out of the archive).
QString build(const Project& project, const QString& sample, QStringList* warnings = nullptr);

// The columns of the object table, in order, and their types.
QStringList columns();
QStringList types();

} // namespace SampleImageArchive
