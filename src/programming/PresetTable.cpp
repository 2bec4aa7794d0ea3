#include "programming/PresetTable.h"

namespace {

constexpr const char* kSaveHelp =
    "Save image : 0: don't save, 1: save whole raw image, 2: save vignettes only, 3: full (no process)";
constexpr const char* kPtHelp = "PT_mode : 0: Triggered by vector, 1: Asks for pressure and time, 2: Use "
                                "Kelvo6 pressure sensor, 3: CTD mode";

using K = PresetFieldKind;

PresetField pressure(const char* label) {
    return {"edPressureOfs", "pressure-offset", label, "", -1, "Pressure_offset", K::Text};
}

// The two custom groups of the carrier presets, in slots 8 and 9.
std::vector<PresetField> carrier_fields() {
    return {
        pressure("Pressure offset [m] :"),
        {"cbSave1", "save1", "Save_vignettes :", "Custom Settings #1", 8, "Save_images", K::Vignettes},
        {"edInterval1", "interval1", "Interval_for_measuring_background_noise :", "Custom Settings #1", 8,
         "Interval_for_measuring_background_noise", K::Text},
        {"cbSave2", "save2", "Save_vignettes :", "Custom Settings #2", 9, "Save_images", K::Vignettes},
        {"edInterval2", "interval2", "Interval_for_measuring_background_noise :", "Custom Settings #2", 9,
         "Interval_for_measuring_background_noise", K::Text},
    };
}

std::vector<const char*> carrier_templates(const char* const (&names)[10]) {
    return std::vector<const char*>(std::begin(names), std::end(names));
}

const char* const kAls[10] = {
    "ACQ_ALS_002L.txt", "ACQ_ALS_002H.txt", "ACQ_ALS_022L.txt", "ACQ_ALS_022H.txt",   "ACQ_ALS_052L.txt",
    "ACQ_ALS_052H.txt", "ACQ_ALS_102L.txt", "ACQ_ALS_102H.txt", "ACQ_ALS_CUST_1.txt", "ACQ_ALS_CUST_2.txt"};
const char* const kCscs[10] = {"ACQ_CSCS_002L.txt",  "ACQ_CSCS_002H.txt", "ACQ_CSCS_022L.txt",
                               "ACQ_CSCS_022H.txt",  "ACQ_CSCS_052L.txt", "ACQ_CSCS_052H.txt",
                               "ACQ_CSCS_102L.txt",  "ACQ_CSCS_102H.txt", "ACQ_CSCS_CUST_1.txt",
                               "ACQ_CSCS_CUST_2.txt"};
const char* const kNke[10] = {"ACQ_NKE_00H.txt",    "ACQ_NKE_00L.txt",   "ACQ_NKE_01H.txt", "ACQ_NKE_01L.txt",
                              "ACQ_NKE_20H.txt",    "ACQ_NKE_20L.txt",   "ACQ_NKE_21H.txt", "ACQ_NKE_21L.txt",
                              "ACQ_NKE_CUST_1.txt", "ACQ_NKE_CUST_2.txt"};

std::vector<PresetMode> make_modes() {
    std::vector<PresetMode> s;
    s.push_back({"als",
                 "FParamALS",
                 "ALS Sea Explorer Parameter program",
                 "SeaExplorer",
                 "Pressure offset [m] :",
                 "HW_ALS_template.txt",
                 carrier_templates(kAls),
                 PresetSlots::Fixed,
                 "",
                 {"ACQ_ALS_CUST_1", "ACQ_ALS_CUST_2"},
                 carrier_fields(),
                 {},
                 kSaveHelp});
    // Kept as the instrument's users know it: the SeaGlider page recognises an instrument
    // already programmed for the SeaExplorer, not one programmed for the SeaGlider.
    s.push_back({"cscs",
                 "FParamCSCS",
                 "CSCS Sea Glider Parameter program",
                 "SeaExplorer",
                 "Pressure offset [m] :",
                 "HW_CSCS_template.txt",
                 carrier_templates(kCscs),
                 PresetSlots::Fixed,
                 "",
                 {"ACQ_CSCS_CUST_1", "ACQ_CSCS_CUST_2"},
                 carrier_fields(),
                 {},
                 kSaveHelp});
    s.push_back({"cts5",
                 "FParamCTS5",
                 "CTS5 USEA Parameter program",
                 "CTS5 USEA",
                 "Pressure offset [m]:",
                 "HW_NKE_template.txt",
                 carrier_templates(kNke),
                 PresetSlots::Fixed,
                 "",
                 {"ACQ_NKE_CUST_1", "ACQ_NKE_CUST_2"},
                 carrier_fields(),
                 {},
                 kSaveHelp});
    s.push_back({"ctd",
                 "FParamCtd",
                 "CTD Parameter program",
                 "CTD",
                 "Pressure offset :",
                 "HW_CTD_template.txt",
                 {"ACQ_CTD.txt"},
                 PresetSlots::Fixed,
                 "",
                 {"ACQ_CTD"},
                 {pressure("Pressure offset :"),
                  {"edPressureAutoStart", "auto-start", "Pressure_for_auto_start :", "", 0,
                   "Pressure_for_auto_start"},
                  {"edPressureAutoStop", "auto-stop", "Pressure_difference_for_auto_stop :", "", 0,
                   "Pressure_difference_for_auto_stop"},
                  {"edGain", "gain", "Gain_for_analog_out :", "", 0, "Gain_for_analog_out"}},
                 {},
                 kSaveHelp});
    s.push_back(
        {"auto",
         "FParamAuto",
         "AUTO Mode Parameter program",
         "AUTO",
         "Pressure offset :",
         "HW_AUTO_template.txt",
         {"ACQ_AUTO.txt"},
         PresetSlots::Fixed,
         "",
         {"ACQ_AUTO"},
         {pressure("Pressure offset :"),
          {"edDelay", "delay", "Delay after power up [minutes] :", "", -1,
           "Delay_after_power_up_on_time_mode"},
          {"edFrequency", "frequency", "Acquisition frequency [Hz] :", "", 0, "Acquisition_frequency"},
          {"edFramePerBloc", "frames-per-bloc", "Frames per bloc :", "", 0, "Frames_per_bloc"},
          {"cbResulSending", "result-sending", "Result sending :", "", 0, "Result_sending", K::Flag},
          {"edSaveEdit", "save-images", "Save images :", "", 0, "Save_images"},
          {"edInterval", "interval", "Background noise interval [blocs] :", "", 0,
           "Interval_for_measuring_background_noise"}},
         {},
         kSaveHelp});
    s.push_back({"supervised",
                 "FParamSupervised",
                 "SUPERVISED Mode Parameter program",
                 "Supervised",
                 "Pressure offset :",
                 "HW_SUP_template.txt",
                 {},
                 PresetSlots::Supervised,
                 "ACQ_SUP_template.txt",
                 {},
                 {pressure("Pressure offset :")},
                 {"PT_mode", "Acquisition_frequency", "Frames_per_bloc", "Blocs_per_PT", "Result_sending",
                  "Save_images", "Interval_for_measuring_background_noise"},
                 kPtHelp});
    s.push_back({"time",
                 "FParamTime",
                 "TIME Mode Parameter program",
                 "TIME",
                 "Pressure offset :",
                 "HW_TIME_template.txt",
                 {},
                 PresetSlots::Time,
                 "ACQ_TIME_template.txt",
                 {},
                 {pressure("Pressure offset :")},
                 {"Acquisition_frequency", "Frames_per_bloc", "Result_sending", "Save_images",
                  "Interval_for_measuring_background_noise"},
                 kSaveHelp});
    return s;
}

} // namespace

const std::vector<PresetMode>& preset_modes() {
    static const std::vector<PresetMode> modes = make_modes();
    return modes;
}

QString preset_check_text(PresetFieldKind kind, bool ticked) {
    if (kind == PresetFieldKind::Vignettes) {
        return ticked ? QStringLiteral("2") : QStringLiteral("0");
    }
    return ticked ? QStringLiteral("true") : QStringLiteral("false");
}

const PresetMode* preset_mode(const QString& key) {
    for (const PresetMode& s : preset_modes()) {
        if (key == QLatin1String(s.key) || key == QLatin1String(s.page)) {
            return &s;
        }
    }
    return nullptr;
}

const std::vector<const char*>& preset_forced_hw_params() {
    static const std::vector<const char*> names = {"Acquisition_mode", "Default_acquisition_configuration",
                                                   "Delay_after_power_up_on_time_mode",
                                                   "Minimum_remaining_memory_for_thumbnail_saving"};
    return names;
}
