#pragma once

#include "params/ParamSets.h"
#include "params/ParamTable.h"
#include "params/Timetable.h"

#include <array>

// The instrument's parameters as one unit: the hardware set, the ten acquisition slots (an
// empty table is a free slot) and the timetable (possibly empty).
struct WorkingSet {
    ParamTable hw;
    std::array<ParamTable, kAcqSlotCount> acq;
    Timetable timetable;

    ParamTable& slot(int i) { return acq.at(static_cast<std::size_t>(i)); }
    const ParamTable& slot(int i) const { return acq.at(static_cast<std::size_t>(i)); }
};
