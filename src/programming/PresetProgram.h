#pragma once

#include "programming/PresetTable.h"
#include "programming/WorkingSet.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// What a preset page does, without the page: loads the templates of its mode into a template
// set, holds the values the user may change, checks them and builds the working set to be
// programmed. The page and `kelvo program` both drive one of these.
class PresetProgram {
public:
    static constexpr const char* kRefusalTitle = "Unable to do Programmation";
    static constexpr const char* kNoDeviceRefusal = "No device found, you can't do programmation.";
    static constexpr const char* kNoProjectRefusal = "No active project, you can't do programmation.";
    static constexpr const char* kInvalidTitle = "Invalid values";
    static constexpr const char* kTimetableErrorTitle = "Timetable Error";
    static constexpr const char* kTimetableNameError = "All ACQ name must start by ACQ_TIME";
    static constexpr const char* kTimetableEmptyError =
        "A Time table with at least one record is required on the project config/timetable.txt file";

    // `templatesDir` holds the template files; `projectPath` is the open project (supervised
    // and time presets read its config folder).
    PresetProgram(const PresetMode& presetMode, const QString& templatesDir, const QString& projectPath);

    const PresetMode& presetMode() const { return m_mode; }

    // Why the preset `key` may not program an instrument holding the hardware set `hw`
    // ("Pressure sensor required for CTD Mode."); empty when it may.
    static QString hardwareRefusal(const QString& key, const ParamTable& hw);

    // Reads the templates into the template set. On failure the previous template set and
    // values stay; `error` holds the messages ("Unable to load file <path>", "<name> not
    // found") and `errorTitle` the box title ("Timetable Error" for a bad timetable name).
    bool load(QString* error = nullptr, QString* errorTitle = nullptr);

    // Sets the shown values from the templates, or from `current` when the instrument is
    // already in this preset's mode (pass null on "Load Default Values").
    void fillValues(const WorkingSet* current);
    bool alreadyInMode(const WorkingSet& current) const;

    // TIME preset: uses `timetable` (as edited) instead of the project's file and loads the
    // configurations it names; false, with the load's messages, when they do not load.
    bool setTimetable(const Timetable& timetable, QString* error = nullptr, QString* errorTitle = nullptr);

    const WorkingSet& templates() const { return m_templates; }
    // The slots edited per configuration (grid columns), in slot order.
    QList<int> gridSlots() const;

    // Values by key: a field's object name, or gridKey(slot, param).
    static QString gridKey(int slot, const char* param);
    QString value(const QString& key) const { return m_values.value(key); }
    void setValue(const QString& key, const QString& text) { m_values.insert(key, text); }
    const QMap<QString, QString>& values() const { return m_values; }

    // Builds the set to program into `working` (the instrument's set): the four forced
    // hardware values, the hardware fields, the template slots, the operator e-mail, the slot
    // fields and the grid. Returns the refused values' messages joined with "\n" (empty: valid).
    QString build(WorkingSet& working, const QString& operatorEmail) const;

    // The hardware set and the filled slots in the parameter file form, as `--preview` prints.
    static QString previewText(const WorkingSet& set, bool withTimetable);

private:
    bool loadSlots(WorkingSet& set, QString* error, QString* errorTitle) const;
    QString templatePath(const char* name) const;

    const PresetMode& m_mode;
    QString m_templatesDir;
    QString m_project;
    WorkingSet m_templates;
    QMap<QString, QString> m_values;
    std::optional<Timetable> m_timetable;
};
