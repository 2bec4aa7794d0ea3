#include "programming/PresetProgram.h"

#include "programming/ParamMgt.h"
#include "trace/ZelTraceMgr.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <fmt/format.h>

#include <set>

namespace {

std::string value_of(const ParamTable& t, const char* name) {
    return find_param(name, t) == t.end() ? std::string() : GetParamAsText(t, name);
}

// A check box's text as shown: ticked only by its own ticked text; an edit's text unchanged.
QString field_text(const PresetField& f, const std::string& stored) {
    const QString s = QString::fromStdString(stored);
    if (f.kind == PresetFieldKind::Text) {
        return s;
    }
    return preset_check_text(f.kind, s == preset_check_text(f.kind, true));
}

bool load_table(const QString& path, ParamTable& table, bool hardware, QString* error) {
    if (hardware) {
        build_hw_params(table);
    } else {
        build_acq_params(table);
    }
    if (!QFileInfo(path).isFile() || get_params_from_file(path, table) < 0) {
        *error += QStringLiteral("Unable to load file ") + path + QLatin1Char('\n');
        GetTraceMgr()->logf(ParamMgt::kModule, ZelLevelError, "Unable to load file {}", path);
        return false;
    }
    return true;
}

} // namespace

PresetProgram::PresetProgram(const PresetMode& presetMode, const QString& templatesDir,
                             const QString& projectPath)
    : m_mode(presetMode)
    , m_templatesDir(templatesDir)
    , m_project(projectPath) {}

QString PresetProgram::hardwareRefusal(const QString& key, const ParamTable& hw) {
    if (key == QLatin1String("ctd") && GetParamAsText(hw, "Pressure_sensor_ref").empty()) {
        return QStringLiteral("Pressure sensor required for CTD Mode.");
    }
    return {};
}

QString PresetProgram::templatePath(const char* name) const {
    return QDir(m_templatesDir).filePath(QString::fromLatin1(name));
}

QString PresetProgram::gridKey(int slot, const char* param) {
    return QStringLiteral("%1/%2").arg(slot).arg(QLatin1String(param));
}

bool PresetProgram::loadSlots(WorkingSet& set, QString* error, QString* errorTitle) const {
    bool ok = true;
    int slot = 0;
    const auto take = [&](const QString& path, const std::string& name) {
        ParamTable& t = set.slot(slot++);
        if (!load_table(path, t, false, error)) {
            ok = false;
            t.clear();
            return;
        }
        if (!name.empty()) {
            SetParamFromText(t, "Configuration_name", name);
        }
    };
    const QString config = m_project + QStringLiteral("/config/");
    switch (m_mode.slotKind) {
    case PresetSlots::Fixed:
        for (const char* name : m_mode.acqTemplates) {
            take(templatePath(name), {});
        }
        break;
    case PresetSlots::Supervised: {
        const QStringList own =
            QDir(config).entryList({QStringLiteral("ACQ_SUP*.txt")}, QDir::Files, QDir::Name);
        for (const QString& f : own) {
            if (slot >= kAcqSlotCount) {
                break;
            }
            take(config + f, {});
        }
        while (slot < kAcqSlotCount) {
            take(templatePath(m_mode.slotTemplate), fmt::format("ACQ_SUP_{:02d}", slot));
        }
        break;
    }
    case PresetSlots::Time: {
        const QString ttPath = config + QStringLiteral("timetable.txt");
        if (m_timetable) {
            set.timetable = *m_timetable;
        } else if (QFileInfo::exists(ttPath) && get_timetable_from_file(ttPath, set.timetable) < 0) {
            *error += QStringLiteral("Unable to load file ") + ttPath + QLatin1Char('\n');
            return false;
        }
        std::vector<std::string> names;
        for (const TimeProgram& p : set.timetable) {
            const std::string name = p.configurationName();
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
        for (const std::string& name : names) {
            if (name.rfind("ACQ_TIME", 0) != 0) {
                *error = QString::fromLatin1(kTimetableNameError);
                if (errorTitle != nullptr) {
                    *errorTitle = QString::fromLatin1(kTimetableErrorTitle);
                }
                return false;
            }
        }
        if (names.size() > static_cast<std::size_t>(kAcqSlotCount)) {
            *error = QStringLiteral("The timetable names more than %1 configurations").arg(kAcqSlotCount);
            if (errorTitle != nullptr) {
                *errorTitle = QString::fromLatin1(kTimetableErrorTitle);
            }
            return false;
        }
        for (const std::string& name : names) {
            const QString own = config + QString::fromStdString(name) + QStringLiteral(".txt");
            take(QFileInfo(own).isFile() ? own : templatePath(m_mode.slotTemplate), name);
        }
        break;
    }
    }
    return ok;
}

bool PresetProgram::load(QString* error, QString* errorTitle) {
    QString errors;
    QString title;
    WorkingSet set;
    bool ok = load_table(templatePath(m_mode.hwTemplate), set.hw, true, &errors);
    ok = loadSlots(set, &errors, &title) && ok;
    if (ok) {
        for (const char* name : m_mode.requiredNames) {
            if (find_configuration(set.acq, name) == nullptr) {
                errors += QString::fromLatin1(name) + QStringLiteral(" not found\n");
                ok = false;
            }
        }
    }
    if (!ok) {
        if (error != nullptr) {
            *error = errors.trimmed();
        }
        if (errorTitle != nullptr) {
            *errorTitle = title.isEmpty() ? QStringLiteral("Template error") : title;
        }
        return false;
    }
    m_templates = std::move(set);
    return true;
}

bool PresetProgram::setTimetable(const Timetable& timetable, QString* error, QString* errorTitle) {
    std::optional<Timetable> before = m_timetable;
    m_timetable = timetable;
    if (!load(error, errorTitle)) {
        m_timetable = before;
        return false;
    }
    fillValues(nullptr);
    return true;
}

bool PresetProgram::alreadyInMode(const WorkingSet& current) const {
    return ParamMgt::modeName(current, false) == QLatin1String(m_mode.mode);
}

QList<int> PresetProgram::gridSlots() const {
    QList<int> columns_;
    if (m_mode.gridParams.empty()) {
        return columns_;
    }
    for (int i = 0; i < kAcqSlotCount; ++i) {
        if (!m_templates.slot(i).empty()) {
            columns_ << i;
        }
    }
    return columns_;
}

void PresetProgram::fillValues(const WorkingSet* current) {
    const bool fromInstrument = current != nullptr && alreadyInMode(*current);
    // The table a slot value is read from: the instrument's configuration of the same name
    // when the instrument is in this mode, else the template.
    const auto source = [&](int slot) -> const ParamTable& {
        const ParamTable& t = m_templates.slot(slot);
        if (fromInstrument) {
            if (const ParamTable* mine = find_configuration(current->acq, param_config_name(t))) {
                return *mine;
            }
        }
        return t;
    };
    for (const PresetField& f : m_mode.fields) {
        const ParamTable& t = f.slot < 0 ? (fromInstrument ? current->hw : m_templates.hw) : source(f.slot);
        m_values.insert(QLatin1String(f.object), field_text(f, value_of(t, f.param)));
    }
    for (int slot : gridSlots()) {
        for (const char* param : m_mode.gridParams) {
            m_values.insert(gridKey(slot, param), QString::fromStdString(value_of(source(slot), param)));
        }
    }
}

QString PresetProgram::build(WorkingSet& working, const QString& operatorEmail) const {
    QStringList errors;
    const auto set = [&](ParamTable& t, const char* param, const QString& text) {
        const std::string e = SetParamFromText(t, param, text.toStdString());
        if (!e.empty()) {
            errors << QString::fromStdString(e);
        }
    };
    if (working.hw.empty()) {
        build_hw_params(working.hw);
    }
    for (const char* name : preset_forced_hw_params()) {
        SetParamFromText(working.hw, name, value_of(m_templates.hw, name));
    }
    for (const PresetField& f : m_mode.fields) {
        if (f.slot < 0) {
            set(working.hw, f.param, m_values.value(QLatin1String(f.object)));
        }
    }
    working.acq = m_templates.acq;
    if (m_mode.slotKind == PresetSlots::Time) {
        working.timetable = m_templates.timetable;
    }
    ParamMgt::setOperatorEmail(working.hw, operatorEmail);
    for (const PresetField& f : m_mode.fields) {
        if (f.slot >= 0) {
            set(working.slot(f.slot), f.param, m_values.value(QLatin1String(f.object)));
        }
    }
    for (int slot : gridSlots()) {
        for (const char* param : m_mode.gridParams) {
            set(working.slot(slot), param, m_values.value(gridKey(slot, param)));
        }
    }
    return errors.join(QLatin1Char('\n'));
}

namespace {

// A table in the parameter file form, through the one writer of that form.
std::string file_text(const ParamTable& table) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("preview.txt"));
    if (!dir.isValid() || !write_params_to_file(path, table)) {
        return "// (could not be written)\n";
    }
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll().toStdString() : std::string();
}

} // namespace

QString PresetProgram::previewText(const WorkingSet& set, bool withTimetable) {
    std::string out = "// HWCONF\n" + file_text(set.hw);
    for (int i = 0; i < kAcqSlotCount; ++i) {
        if (!set.slot(i).empty()) {
            out += fmt::format("\n// ACQCONF slot {}\n", i) + file_text(set.slot(i));
        }
    }
    if (withTimetable) {
        out += "\n// TIMETABLE\n" + timetable_to_text(set.timetable);
    }
    return QString::fromStdString(out);
}
