#pragma once

#include <QString>

#include <vector>

// How a page value is shown and written.
enum class PresetFieldKind {
    Text,      // an edit; the text is the parameter's value
    Vignettes, // a check box: ticked writes "2" (vignettes only), unticked "0"
    Flag,      // a check box: ticked writes "true", unticked "false"
};

// The value a check box of `kind` writes: "2" or "0" (Vignettes), "true" or "false" (Flag).
QString preset_check_text(PresetFieldKind kind, bool ticked);

// One value the user may change on a preset page.
struct PresetField {
    const char* object; // widget object name ("edPressureOfs", "cbSave1", ...)
    const char* option; // `kelvo program` option, without "--"
    const char* label;
    const char* group; // group box title, or "" for the page's main form
    int slot;          // -1: the hardware set; otherwise the acquisition slot
    const char* param; // the parameter written
    PresetFieldKind kind = PresetFieldKind::Text;
};

enum class PresetSlots {
    Fixed,      // the template list, in slot order
    Supervised, // the project's ACQ_SUP*.txt, then copies of the template up to slot 9
    Time,       // the configurations the project's timetable names
};

// One programming mode: what its page loads, shows and writes. Every preset page is the same
// page class driven by one of these rows.
struct PresetMode {
    const char* key;  // `kelvo program --preset` value
    const char* page; // page object name ("FParamALS", ...)
    const char* title;
    // Long mode name (modeName) of an instrument already in this mode: the page then shows the
    // instrument's values instead of the templates'.
    const char* mode;
    const char* pressureLabel;
    const char* hwTemplate;                    // file name inside "templates/"
    std::vector<const char*> acqTemplates;     // file names inside "templates/", slot order (Fixed)
    PresetSlots slotKind = PresetSlots::Fixed; // how the slots are filled
    const char* slotTemplate = "";             // Supervised and Time: the template of a new slot
    std::vector<const char*> requiredNames;    // configurations that must be among the slots
    std::vector<PresetField> fields;           // besides the grid
    std::vector<const char*> gridParams;       // per-configuration parameters (Supervised, Time)
    const char* help;                          // value meanings shown on the page
};

// The seven presets: als, cscs, cts5, ctd, auto, supervised, time.
const std::vector<PresetMode>& preset_modes();
// The row of `key` (or of its page name); null when unknown.
const PresetMode* preset_mode(const QString& key);

// The four hardware parameters every preset takes from its hardware template.
const std::vector<const char*>& preset_forced_hw_params();
