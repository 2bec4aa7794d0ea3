#include "programming/FreeFileUpload.h"

#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "trace/ZelTraceMgr.h"

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

ProgramResult run(const std::function<void(ProgramResult&)>& body) {
    ProgramResult r;
    try {
        InstrumentProtocol protocol;
        if (protocol.supervisorMode(true) == SupervisorFailed) {
            throw std::runtime_error("Unable to enter supervisor mode");
        }
        body(r);
    } catch (const std::exception& e) {
        r.ok = false;
        r.error = QString::fromStdString(e.what());
    }
    if (!r.ok) {
        GetTraceMgr()->logf(ParamMgt::kModule, ZelLevelError, "Error during programmation : {}", r.error);
    }
    return r;
}

void send_expect(const std::string& line, const char* expected, ProgramResult& r) {
    r.instrumentChanged = true;
    if (!send_message("%s", line.c_str())) {
        throw std::runtime_error("Unable to send " + line);
    }
    expect_answer(expected, ParamMgt::kAnswerTries);
}

void fail_on(const QString& differences, ProgramResult& r) {
    r.readBackDifferences = differences;
    r.ok = differences.isEmpty();
    if (!r.ok) {
        r.error = QStringLiteral("The Kelvo6 does not hold what was programmed :\n") + differences;
    }
}

} // namespace

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
    return run([&](ProgramResult& r) {
        if (!camera.readHardwareConfiguration()) {
            throw std::runtime_error("Unable to read the hardware configuration of the Kelvo6");
        }
        keepInstrumentValues(file, camera.hardware(), overrideSerials, overrideSettings);
        purge_comm(false);
        send_expect(fmt::format("$HWCONFset:{};", write_params_to_string("", file)), "ok", r);
        if (!camera.readHardwareConfiguration()) {
            throw std::runtime_error("The hardware configuration could not be read back");
        }
        const QString diff = ParamMgt::compareParams(file, camera.hardware());
        fail_on(diff.isEmpty() ? QString() : QStringLiteral("HW_CONF : ") + diff, r);
    });
}

ProgramResult uploadAcquisition(const ParamTable& file, int slot, InterfaceCamera& camera) {
    return run([&](ProgramResult& r) {
        if (slot < 0 || slot >= kAcqSlotCount) {
            throw std::runtime_error(fmt::format("Invalid slot {}", slot));
        }
        // A project keeps a configuration as "<name>.txt" and finds it again by "acq*.txt".
        const std::string name = param_config_name(file);
        if (name.rfind("ACQ_", 0) != 0) {
            throw std::runtime_error(fmt::format("Configuration name {} must start by ACQ_", name));
        }
        purge_comm(false);
        send_expect(fmt::format("$ACQCONFset:{},{};", slot, write_params_to_string("", file)), "$ok", r);
        camera.readAcquisitionConfigurations();
        const QString diff = camera.acquisitionSlotValid(slot)
                                 ? ParamMgt::compareParams(file, camera.acquisition(slot))
                                 : QStringLiteral("Missing");
        fail_on(diff.isEmpty() ? QString() : QStringLiteral("Slot %1 : ").arg(slot) + diff, r);
    });
}

ProgramResult uploadTimetable(const Timetable& timetable, InterfaceCamera& camera) {
    return run([&](ProgramResult& r) {
        r.instrumentChanged = true;
        program_timetable(timetable);
        camera.readTimetable();
        fail_on(timetable_to_text(camera.timetable()) == timetable_to_text(timetable)
                    ? QString()
                    : QStringLiteral("Timetable differ\n"),
                r);
    });
}

} // namespace FreeFileUpload
