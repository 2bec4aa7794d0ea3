#include "programming/FreeFileUpload.h"

#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"

#include <fmt/format.h>

#include <stdexcept>

namespace FreeFileUpload {

namespace {

void copy_values(ParamTable& to, const ParamTable& from, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        auto src = find_param(name, from);
        auto dst = find_param(name, to);
        if (src != from.end() && dst != to.end()) {
            *dst = *src;
        }
    }
}

} // namespace

bool readParamFile(const QString& path, bool hardware, ParamTable& table) {
    if (hardware) {
        build_hw_params(table);
    } else {
        build_acq_params(table);
    }
    return get_params_from_file(path, table) >= 0;
}

void keepInstrumentValues(ParamTable& file, const ParamTable& instrument, bool overrideSerials,
                          bool overrideSettings) {
    if (!overrideSerials) {
        copy_values(file, instrument, {"Camera_ref", "Light_ref", "Pressure_sensor_ref"});
    }
    if (!overrideSettings) {
        copy_values(file, instrument,
                    {"Correction_table_activation", "Time_between_lighting_power_up_and_trigger",
                     "Time_between_lighting_trigger_and_acquisition", "Black_level", "Shutter", "Gain",
                     "Threshold", "Aa", "Exp", "Pixel_Size", "Image_volume", "Calibration_date"});
    }
}

ProgramResult uploadHardware(ParamTable file, InterfaceCamera& camera, bool overrideSerials,
                             bool overrideSettings) {
    return ProgramResult::attempt([&](ProgramResult& r) {
        ProgramResult::enterSupervisorMode();
        if (!camera.readHardwareConfiguration()) {
            throw std::runtime_error("Unable to read the hardware configuration of the Kelvo6");
        }
        keepInstrumentValues(file, camera.hardware(), overrideSerials, overrideSettings);
        purge_comm(false);
        r.send(fmt::format("$HWCONFset:{};", write_params_to_string("", file)), "ok");
        if (!camera.readHardwareConfiguration()) {
            throw std::runtime_error("The hardware configuration could not be read back");
        }
        const QString diff = ParamMgt::compareParams(file, camera.hardware());
        r.judgeReadBack(diff.isEmpty() ? QString() : QStringLiteral("HW_CONF : ") + diff);
    });
}

ProgramResult uploadAcquisition(const ParamTable& file, int slot, InterfaceCamera& camera) {
    return ProgramResult::attempt([&](ProgramResult& r) {
        ProgramResult::enterSupervisorMode();
        if (slot < 0 || slot >= kAcqSlotCount) {
            throw std::runtime_error(fmt::format("Invalid slot {}", slot));
        }
        // A project keeps a configuration as "<name>.txt" and finds it again by "acq*.txt".
        const std::string name = param_config_name(file);
        if (name.rfind("ACQ_", 0) != 0) {
            throw std::runtime_error(fmt::format("Configuration name {} must start by ACQ_", name));
        }
        purge_comm(false);
        r.send(fmt::format("$ACQCONFset:{},{};", slot, write_params_to_string("", file)), "$ok");
        camera.readAcquisitionConfigurations();
        const QString diff = camera.acquisitionSlotValid(slot)
                                 ? ParamMgt::compareParams(file, camera.acquisition(slot))
                                 : QStringLiteral("Missing");
        r.judgeReadBack(diff.isEmpty() ? QString() : QStringLiteral("Slot %1 : ").arg(slot) + diff);
    });
}

ProgramResult uploadTimetable(const Timetable& timetable, InterfaceCamera& camera) {
    return ParamMgt::sendTimetable(timetable, &camera);
}

} // namespace FreeFileUpload
