#pragma once

#include "programming/ParamMgt.h"

#include <QString>

class InterfaceCamera;

// Uploads of parameter files chosen by the user (the free-file page), each followed by a
// read-back of what the instrument then holds. Must run with the instrument held.
namespace FreeFileUpload {

// `path` read into `table`, first built as a hardware set or an acquisition configuration;
// false when the file does not load.
bool readParamFile(const QString& path, bool hardware, ParamTable& table);

// Unless overridden, the instrument's serial numbers and its own settings (calibration, light
// timing, image sensor) are kept in `file` whatever the file says.
void keepInstrumentValues(ParamTable& file, const ParamTable& instrument, bool overrideSerials,
                          bool overrideSettings);

// Reads the instrument's hardware set, keeps its values as above, sends "$HWCONFset" and
// reads it back.
ProgramResult uploadHardware(ParamTable file, InterfaceCamera& camera, bool overrideSerials,
                             bool overrideSettings);
// Sends "$ACQCONFset" for `slot` and reads the slot back; a configuration whose name does not
// start with "ACQ_" is refused before anything is sent.
ProgramResult uploadAcquisition(const ParamTable& file, int slot, InterfaceCamera& camera);
// Programs the timetable and reads it back.
ProgramResult uploadTimetable(const Timetable& timetable, InterfaceCamera& camera);

} // namespace FreeFileUpload
