#pragma once

#include "params/ParamTable.h"

// Titles of the two tables (their root records).
inline constexpr const char* kHwParamsTitle = "Hardware configuration parameters";
inline constexpr const char* kAcqParamsTitle = "Acquisition configuration parameters";

// Number of acquisition configuration slots of the instrument (0 to 9).
inline constexpr int kAcqSlotCount = 10;

// Clears `table` and fills it with the instrument's hardware configuration records holding their
// default values: 25 records after the root, 23 of them editable.
void build_hw_params(ParamTable& table);

// Clears `table` and fills it with the 20 acquisition configuration records (all editable)
// holding their default values.
void build_acq_params(ParamTable& table);
