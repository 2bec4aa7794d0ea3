#include "params/ParamSets.h"

// Names, order, bounds, defaults and descriptions below are the instrument's: the names are the
// keys of files and viewers, the order is the wire order, and the descriptions are written into
// every parameter file. Spellings such as "IP_adress" and "mH20" are part of that contract.

void build_hw_params(ParamTable& t) {
    t.clear();
    t.append(ParamDef::root(kHwParamsTitle));
    t.append(ParamDef::string("Camera_ref", 1, 15, "UNDEFINED", "VORTAN serial number"));
    t.append(ParamDef::integer("Acquisition_mode", 0, 2, 0,
                               "0: SUPERVISED mode, 1: AUTONOMOUS mode, 2: TIME-programmed mode"));
    t.append(ParamDef::string("Default_acquisition_configuration", 1, 15, "UNDEFINED",
                              "Name of the acquisition configuration automatically launched when "
                              "Acquisition_mode = 1 (AUTONOMOUS)"));
    t.append(ParamDef::integer(
        "Delay_after_power_up_on_time_mode", 0, 65535, 0,
        "Delay before starting image acquisition when Acquisition_mode = 1 (AUTONOMOUS) - Unit: minutes"));
    t.append(ParamDef::string("Light_ref", 1, 15, "UNDEFINED", "Light unit serial number"));
    t.append(
        ParamDef::integer("Correction_table_activation", 0, 2, 0,
                          "Selection of the lighting correction LUT -> 0: no correction, 1: vertical light "
                          "unit, 2: horizontal light unit"));
    t.append(ParamDef::integer("Time_between_lighting_power_up_and_trigger", 0, 1000, 150,
                               "Delay between light unit powering and trigger - Unit: µs"));
    t.append(ParamDef::integer("Time_between_lighting_trigger_and_acquisition", 0, 1000, 250,
                               "Delay between light unit trigger and image sensor shutter - Unit: µs"));
    t.append(ParamDef::string("Pressure_sensor_ref", 0, 15, "",
                              "Pressure sensor serial number (let it empty if no sensor installed)"));
    t.append(ParamDef::real(
        "Pressure_offset", -999, 999, 999.0f,
        "Distance between the image plan and the pressure measurement point (if undefined, set "
        "999) - Unit: m\n// !!!! Attention: if value is >= 0.0 and <= 100.0, temporarily used "
        "as maximum activity ratio for over exposition detection !!!!"));
    t.append(
        ParamDef::integer("Storage_capacity", -1, -1, -1,
                          "SD card storage capacity, automatically updated by VORTAN when parameters are "
                          "modified, do not edit - Unit: MBytes",
                          true));
    t.append(ParamDef::integer(
        "Minimum_remaining_memory_for_thumbnail_saving", 0, 65535, 2000,
        "Minimal memory remaining in the SD card to keep saving images or vignettes - Unit: MBytes"));
    t.append(
        ParamDef::integer("Baud_Rate", 0, 2, 2,
                          "VORTAN RS232 speed selection -> 0: 9600 bauds, 1: 19200 bauds, 2: 38400 bauds"));
    t.append(ParamDef::string("IP_adress", 7, 15, "192.168.0.128",
                              "VORTAN IP address for Ethernet communication"));
    t.append(ParamDef::integer("Black_level", 0, 4095, 0,
                               "Image sensor black level parameter - Unit: gray level(12bits)"));
    t.append(ParamDef::integer("Shutter", 14, 60000000, 100,
                               "Image sensor integration time (shutter) - Unit: µs"));
    t.append(ParamDef::integer("Gain", 0, 48, 0, "Image sensor gain - Unit: dB"));
    t.append(ParamDef::integer(
        "Threshold", 0, 255, 3,
        "Threshold for image segmentation (pixels <= Threshold are considered background) - "
        "Unit: gray level(8bits)"));
    t.append(
        ParamDef::real("Aa", 0, 1000000, 5380.1f,
                       "Calibration parameter (corresponding area in the scene represented by each pixel) - "
                       "Unit: (µm^2)/pixel)"));
    t.append(ParamDef::real("Exp", 0, 2, 1.0f,
                            "Calibration parameter (adjusting for specular reflections). If Aa and Exp= 0.0, "
                            "values are kept in pixels"));
    t.append(ParamDef::integer("Pixel_Size", 0, 1000, 73,
                               "Uncalibrated pixel size in the scene, for reference only - Unit: µm"));
    t.append(ParamDef::real(
        "Image_volume", 0, 10, 0.65f,
        "Image volume (if = 0.0, particle concentrations are given in #/image, else in #/10L) - Unit: L"));
    t.append(ParamDef::string("Calibration_date", 1, 15, "UNDEFINED",
                              "Calibration date for the values in this table"));
    t.append(
        ParamDef::internalString("Last_parameters_modification", 16, "",
                                 "YYYYMMDDHHMM, automatically updated by VORTAN when hardware parameters are "
                                 "modified, do not edit"));
    t.append(ParamDef::string("Operator_email", 1, 63, "UNDEFINED",
                              "Identification of the operator filling this configuration table"));
}

void build_acq_params(ParamTable& t) {
    t.clear();
    t.append(ParamDef::root(kAcqParamsTitle));
    t.append(ParamDef::string("Configuration_name", 1, 15, "CONFNAME",
                              "Name used to launch this configuration ($start:CONFNAME)"));
    t.append(ParamDef::integer(
        "PT_mode", 0, 3, 1,
        "0: Triggered by vector, 1: Asks for pressure and time, 2: Use VORTAN pressure sensor, "
        "3: CTD mode"));
    t.append(ParamDef::real("Acquisition_frequency", 0.001f, 50, 1.0f,
                            "Acquisition frequency (maximum value) - Unit: Hz"));
    t.append(ParamDef::integer(
        "Frames_per_bloc", 1, 255, 10,
        "Nb of images to accumulate and synthesize histograms before sending each result - Unit: frames"));
    t.append(ParamDef::integer(
        "Blocs_per_PT", 1, 255, 1,
        "Nb of blocs to acquire before acquiring or asking for a new pressure information - Unit: blocs"));
    t.append(ParamDef::integer(
        "Pressure_for_auto_start", 0, 6000, 0,
        "When in CTD mode (PT_mode= 3), pressure value to automatically start the acquisition - Unit: mH20"));
    t.append(
        ParamDef::integer("Pressure_difference_for_auto_stop", 0, 6000, 0,
                          "When in CTD mode (PT_mode= 3), pressure drop from deepest value to automatically "
                          "stop the acquisition - Unit: mH20"));
    t.append(ParamDef::boolean("Result_sending", true,
                               "0/false: results are never sent - 1/true: synthesized results are sent "
                               "through RS232 after each bloc"));
    t.append(ParamDef::boolean(
        "Save_synthetic_data_for_delayed_request", false,
        "0/false: do not save - 1/true: save synthetic data for a potential delayed request"));
    t.append(ParamDef::integer("Limit_lpm_detection_size", 0, 65535, 100,
                               "Minimum size (ESD) to count and analyze objects - Unit: µm(ESD)"));
    t.append(
        ParamDef::integer("Save_images", 0, 3, 0,
                          "How to save Images -> 0: don't save, 1: save whole raw image, 2: save vignettes "
                          "only, 3: full (no process)"));
    t.append(ParamDef::integer(
        "Vignetting_lower_limit_size", 0, 65535, 1000,
        "When saving vignettes (Save_images= 2), minimum object size (ESD) to save - Unit: µm(ESD)"));
    t.append(
        ParamDef::real("Appendices_ratio", 1, 3, 1.0f,
                       "When saving vignettes (Save_images= 2), vignette size to actual object size ratio"));
    t.append(ParamDef::integer(
        "Interval_for_measuring_background_noise", 0, 255, 0,
        "Blocs between background noise measures (bloc acquired without flashing). Disabled "
        "if zero - Unit: blocs"));
    t.append(ParamDef::integer(
        "Image_nb_for_smoothing", 1, 20, 10,
        "Nb of images to smooth temperature and number of objects signals (analog output and "
        "security stop) - Unit: frames"));
    t.append(ParamDef::boolean(
        "Analog_output_activation", false,
        "0/false: analog output disabled - 1/true: analog output is updated at each image"));
    t.append(ParamDef::integer(
        "Gain_for_analog_out", 1, 65535, 1000,
        "Smoothed number of objects for maximum analog output value (5 Volts) - Unit: objects"));
    t.append(
        ParamDef::integer("Minimum_object_number", 0, 65535, 0,
                          "Smoothed minimum number of objects to cause a security stop - Unit: objects"));
    t.append(ParamDef::integer("Maximal_internal_temperature", 0, 255, 40,
                               "Smoothed maximum temperature to cause a security stop - Unit: Celsius"));
    t.append(ParamDef::string("Operator_email", 1, 63, "UNDEFINED",
                              "Identification of the operator filling this configuration table"));
}
