#pragma once

#include <QStringList>

// The columns of a project's sample header table (one row per sample), in file order.
namespace SampleHeaderColumns {

// All 27 columns of a new header file.
const QStringList& All();

// The columns that older header files lack; a loaded table gains each missing one at its end,
// in this order.
const QStringList& Later();

// Columns whose empty cells stand for "not used" and are written "nan".
const QStringList& Numeric();

} // namespace SampleHeaderColumns
