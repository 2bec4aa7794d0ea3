#pragma once

#include <QString>

// Data shipped with the application ("templates/", "modele/"): looked up beside the executable
// first, then in the installed data folder. Tests and `kelvo` may point elsewhere.
namespace ShippedData {

// The folder `name`; when found nowhere, the path beside the executable (so that the error
// names where it was expected).
QString folder(const QString& name);

// Replaces the lookup of `name` by `path` (an empty path restores the lookup).
void setFolderOverride(const QString& name, const QString& path);

} // namespace ShippedData
