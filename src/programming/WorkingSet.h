#pragma once

#include "params/ParamSets.h"
#include "params/ParamTable.h"
#include "params/Timetable.h"

#include <array>
#include <string>

// The instrument's parameters as one unit: the hardware set, the ten acquisition slots (an
// empty table is a free slot) and the timetable (possibly empty).
struct WorkingSet {
    ParamTable hw;
    std::array<ParamTable, kAcqSlotCount> acq;
    Timetable timetable;

    ParamTable& slot(int i) { return acq.at(static_cast<std::size_t>(i)); }
    const ParamTable& slot(int i) const { return acq.at(static_cast<std::size_t>(i)); }
};

// The first filled table of `tables` whose `Configuration_name` is `name`; null when none.
inline const ParamTable* find_configuration(const std::array<ParamTable, kAcqSlotCount>& tables,
                                            const std::string& name) {
    for (const ParamTable& t : tables) {
        if (!t.empty() && param_config_name(t) == name) {
            return &t;
        }
    }
    return nullptr;
}
