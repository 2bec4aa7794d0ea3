// `kelvo params compare|save PROJECT`, `kelvo program PROJECT --preset ...` and
// `kelvo project create PARENT ...`: the instrument's parameters against a project, the
// programming presets and project creation, over the same core as the windows.
#include "ProgramCommands.h"
#include "CliCommand.h"
#include "CliOutput.h"

#include "app/AppSettings.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "programming/FreeFileUpload.h"
#include "programming/ParamMgt.h"
#include "programming/PresetProgram.h"
#include "programming/ProjectCreation.h"
#include "programming/ShippedData.h"
#include "project/Project.h"
#include "trace/FmtQt.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>
#include <fmt/format.h>
#include <memory>

namespace {

// Options as "--name value" pairs and bare flags; the positional arguments apart.
struct Options {
    QStringList positional;
    QMap<QString, QString> values;
    QStringList sets; // repeated --set
    QStringList flags;
    QString error;
    bool has(const char* name) const { return values.contains(QLatin1String(name)); }
    QString value(const char* name) const { return values.value(QLatin1String(name)); }
};

Options parse(const QStringList& args, const QStringList& withValue, const QStringList& flags) {
    Options o;
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            o.flags << QStringLiteral("help");
        } else if (a.startsWith(QLatin1String("--"))) {
            const QString name = a.mid(2);
            if (flags.contains(name)) {
                o.flags << name;
            } else if (withValue.contains(name)) {
                if (i + 1 >= args.size()) {
                    o.error = QStringLiteral("%1 needs a value").arg(a);
                    return o;
                }
                if (name == QLatin1String("set")) {
                    o.sets << args[++i];
                } else {
                    o.values.insert(name, args[++i]);
                }
            } else {
                o.error = QStringLiteral("unknown option %1").arg(a);
                return o;
            }
        } else {
            o.positional << a;
        }
    }
    return o;
}

// The serial port of this run and the instrument read through it.
class Instrument {
public:
    ~Instrument() {
        if (m_open) {
            close_comm();
        }
    }
    // Opens the port and identifies the instrument; false with the reason in `error`.
    bool connect(const QString& portOption, QString* error) {
        const QString port = portOption.isEmpty() ? AppSettings::serialPort() : portOption;
        std::string linkError;
        set_comm_error_hook([&linkError](const std::string& text) { linkError = text; });
        m_open = init_comm(port, static_cast<quint32>(AppSettings::serialSpeed()));
        set_comm_error_hook({});
        if (!m_open) {
            *error =
                QStringLiteral("serial port %1 not opened: %2").arg(port, QString::fromStdString(linkError));
            return false;
        }
        if (!m_camera.connectAndIdentify() || m_camera.cameraRef().isEmpty()) {
            *error = QStringLiteral("No device found on %1").arg(port);
            return false;
        }
        ParamMgt::instance().takeFromCamera(m_camera);
        return true;
    }
    InterfaceCamera& camera() { return m_camera; }

private:
    InterfaceCamera m_camera;
    bool m_open = false;
};

bool load_project(const QString& path, const char* command, Project& project) {
    if (!project.Load(path)) {
        err(fmt::format("kelvo {}: {}\n", command, project.LastError()));
        return false;
    }
    ParamMgt::instance().setProjectPath(project.Path());
    return true;
}

int params_command(const QStringList& args) {
    static const char* const usage = "Usage: kelvo params compare|save PROJECT [--port P]\n";
    const Options o = parse(args, {"port"}, {});
    if (o.flags.contains(QLatin1String("help"))) {
        out(usage);
        out("compare: connects, prints the differences between the instrument's parameters and PROJECT's "
            "(nothing when equal); exit 0 when equal, 3 when they differ, 1 on failure.\n"
            "save: archives PROJECT's parameter files into config/param_archive_<date>.zip and writes the "
            "instrument's in their place.\n");
        return 0;
    }
    const QString verb = o.positional.value(0);
    if (!o.error.isEmpty() || o.positional.size() != 2 ||
        (verb != QLatin1String("compare") && verb != QLatin1String("save"))) {
        err(fmt::format("kelvo params: {}\n{}", o.error.isEmpty() ? QStringLiteral("bad arguments") : o.error,
                        usage));
        return 2;
    }
    const std::string command = "params " + verb.toStdString();
    Project project;
    if (!load_project(o.positional[1], command.c_str(), project)) {
        return 1;
    }
    Instrument instrument;
    QString error;
    if (!instrument.connect(o.value("port"), &error)) {
        err(fmt::format("kelvo {}: {}\n", command, error));
        return 1;
    }
    ParamMgt& mgt = ParamMgt::instance();
    if (verb == QLatin1String("compare")) {
        const QString diff = mgt.compareWithProject();
        out(diff.toStdString());
        return diff.isEmpty() ? 0 : 3;
    }
    if (!mgt.saveToProject(&error)) {
        err(fmt::format("kelvo {}: {}\n", command, error));
        return 1;
    }
    out(fmt::format("saved into {}/config\n", project.Path()));
    return 0;
}

// A check box's value from the command line.
bool checkbox_value(const PresetField& f, const QString& text, QString* value) {
    const QString t = text.toLower();
    bool on = false;
    if (t == QLatin1String("yes") || t == QLatin1String("true") || t == QLatin1String("1") ||
        (f.kind == PresetFieldKind::Vignettes && t == QLatin1String("2"))) {
        on = true;
    } else if (!(t == QLatin1String("no") || t == QLatin1String("false") || t == QLatin1String("0"))) {
        return false;
    }
    *value = preset_check_text(f.kind, on);
    return true;
}

std::string program_usage() {
    std::string u = "Usage: kelvo program PROJECT --preset als|cscs|cts5|ctd|auto|supervised|time "
                    "[--pressure-offset X] [page options] [--set CONF:PARAM=VALUE]... [--preview] [--port P] "
                    "[--templates DIR]\n";
    return u;
}

std::string program_help() {
    std::string h =
        "Programs the instrument as the preset page does: the preset's templates, the four forced "
        "hardware values, the page's values, the same checks and texts. The project's parameter files "
        "are archived and replaced first; what the instrument holds afterwards is read back and "
        "compared. --preview prints the hardware set and the slots that would be programmed and "
        "sets nothing (it reads the instrument, or the project's hardware file when no instrument "
        "answers).\nPage options:\n";
    for (const PresetMode& s : preset_modes()) {
        h += fmt::format("  {}:", s.key);
        for (const PresetField& f : s.fields) {
            h += fmt::format(" --{}", f.option);
        }
        if (!s.gridParams.empty()) {
            h += " --set CONF:PARAM=VALUE (CONF a slot number or configuration name; PARAM one of";
            for (const char* p : s.gridParams) {
                h += fmt::format(" {}", p);
            }
            h += ")";
        }
        h += "\n";
    }
    h += "Check boxes (save1, save2, result-sending) take yes or no.\nExit 1 on refusal or programming "
         "error.\n";
    return h;
}

int program_command(const QStringList& args) {
    QStringList valued = {"preset", "port", "templates", "set"};
    for (const PresetMode& s : preset_modes()) {
        for (const PresetField& f : s.fields) {
            if (!valued.contains(QLatin1String(f.option))) {
                valued << QLatin1String(f.option);
            }
        }
    }
    const Options o = parse(args, valued, {"preview"});
    if (o.flags.contains(QLatin1String("help"))) {
        out(program_usage());
        out(program_help());
        return 0;
    }
    const PresetMode* presetMode = preset_mode(o.value("preset"));
    if (!o.error.isEmpty() || o.positional.size() != 1 || presetMode == nullptr) {
        err(fmt::format("kelvo program: {}\n{}",
                        !o.error.isEmpty() ? o.error
                        : presetMode == nullptr
                            ? QStringLiteral("--preset must be one of als, cscs, cts5, ctd, auto, "
                                             "supervised, time")
                            : QStringLiteral("one PROJECT is needed"),
                        program_usage()));
        return 2;
    }
    for (auto it = o.values.constBegin(); it != o.values.constEnd(); ++it) {
        const bool known =
            it.key() == QLatin1String("preset") || it.key() == QLatin1String("port") ||
            it.key() == QLatin1String("templates") ||
            std::any_of(presetMode->fields.begin(), presetMode->fields.end(),
                        [&](const PresetField& f) { return it.key() == QLatin1String(f.option); });
        if (!known) {
            err(fmt::format("kelvo program: --{} is not an option of the {} preset\n", it.key(),
                            presetMode->key));
            return 2;
        }
    }
    const bool preview = o.flags.contains(QLatin1String("preview"));
    const auto refuse = [](const QString& text) {
        err(fmt::format("{}: {}\n", PresetProgram::kRefusalTitle, text));
        return 1;
    };
    Project project;
    if (!project.Load(o.positional[0])) {
        err(fmt::format("kelvo program: {}\n", project.LastError()));
        return refuse(QString::fromLatin1(PresetProgram::kNoProjectRefusal));
    }
    ParamMgt& mgt = ParamMgt::instance();
    mgt.setProjectPath(project.Path());

    Instrument instrument;
    QString error;
    const bool connected = instrument.connect(o.value("port"), &error);
    if (!connected && !preview) {
        err(fmt::format("kelvo program: {}\n", error));
        return refuse(QString::fromLatin1(PresetProgram::kNoDeviceRefusal));
    }
    if (!connected) {
        err(fmt::format("kelvo program: {}; the preview starts from the project's hardware file\n", error));
        ParamTable hw;
        if (!mgt.loadProjectHW(hw, &error) || hw.empty()) {
            err(fmt::format("kelvo program: {}\n",
                            error.isEmpty() ? QStringLiteral("the project has no hardware file") : error));
            return 1;
        }
        mgt.working() = WorkingSet();
        mgt.working().hw = hw;
    }
    const QString sensorRefusal =
        PresetProgram::hardwareRefusal(QLatin1String(presetMode->key), mgt.working().hw);
    if (!sensorRefusal.isEmpty()) {
        return refuse(sensorRefusal);
    }

    const QString templates =
        o.has("templates") ? o.value("templates") : ShippedData::folder(QStringLiteral("templates"));
    PresetProgram preset(*presetMode, templates, project.Path());
    QString title;
    if (!preset.load(&error, &title)) {
        err(fmt::format("kelvo program: {}: {}\n", title, error));
        return 1;
    }
    preset.fillValues(&mgt.working());
    for (const PresetField& f : presetMode->fields) {
        if (!o.has(f.option)) {
            continue;
        }
        QString v = o.value(f.option);
        if (f.kind != PresetFieldKind::Text && !checkbox_value(f, o.value(f.option), &v)) {
            err(fmt::format("kelvo program: --{} takes yes or no, not \"{}\"\n", f.option,
                            o.value(f.option)));
            return 2;
        }
        preset.setValue(QLatin1String(f.object), v);
    }
    for (const QString& s : o.sets) {
        const int colon = s.indexOf(QLatin1Char(':'));
        const int eq = s.indexOf(QLatin1Char('='), colon + 1);
        int slot = -1;
        if (colon > 0 && eq > colon) {
            const QString conf = s.left(colon);
            for (int i : preset.gridSlots()) {
                if (conf == QString::number(i) ||
                    conf == QString::fromStdString(param_config_name(preset.templates().slot(i)))) {
                    slot = i;
                }
            }
        }
        const QString param = colon > 0 && eq > colon ? s.mid(colon + 1, eq - colon - 1) : QString();
        const bool gridParam = std::any_of(presetMode->gridParams.begin(), presetMode->gridParams.end(),
                                           [&](const char* p) { return param == QLatin1String(p); });
        if (slot < 0 || !gridParam) {
            err(fmt::format(
                "kelvo program: --set {}: not CONF:PARAM=VALUE with a configuration and a parameter of "
                "the {} preset\n",
                s, presetMode->key));
            return 2;
        }
        preset.setValue(PresetProgram::gridKey(slot, param.toLatin1().constData()), s.mid(eq + 1));
    }
    if (presetMode->slotKind == PresetSlots::Time && preset.templates().timetable.empty() && !preview) {
        err(fmt::format("{}: {}\n", PresetProgram::kTimetableErrorTitle,
                        PresetProgram::kTimetableEmptyError));
        return 1;
    }
    WorkingSet set = mgt.working();
    const QString invalid = preset.build(set, AppSettings::userEmail());
    if (!invalid.isEmpty()) {
        err(fmt::format("{}:\n{}\n", PresetProgram::kInvalidTitle, invalid));
        return 1;
    }
    if (preview) {
        out(PresetProgram::previewText(set, presetMode->slotKind == PresetSlots::Time).toStdString());
        return 0;
    }
    mgt.working() = set;
    if (presetMode->slotKind == PresetSlots::Time) {
        const ProgramResult t = mgt.programTimetable(&instrument.camera());
        if (!t.ok) {
            err(fmt::format("{}: {}\n", ParamMgt::kErrorTitle, t.errorBoxText()));
            return 1;
        }
    }
    const ProgramResult r = mgt.programSensor(&instrument.camera());
    if (!r.ok) {
        err(fmt::format("{}: {}\n", ParamMgt::kErrorTitle, r.errorBoxText()));
        return 1;
    }
    out(fmt::format("{}: {}\n", ParamMgt::kDoneTitle, ParamMgt::kDoneText));
    return 0;
}

// The free-file page's three uploads.
int upload_command(const QStringList& args) {
    static const char* const usage = "Usage: kelvo upload (--hw-file F [--override-serials] "
                                     "[--override-settings] | --acq-file F --slot N | "
                                     "--timetable-file F) [--port P]\n";
    const Options o = parse(args, {"hw-file", "acq-file", "slot", "timetable-file", "port"},
                            {"override-serials", "override-settings"});
    if (o.flags.contains(QLatin1String("help"))) {
        out(usage);
        out("Uploads one parameter file as the free-file page does and reads back what the instrument then "
            "holds. "
            "A hardware file keeps the instrument's serial numbers and its own settings (calibration, light "
            "timing, image sensor) unless overridden.\n");
        return 0;
    }
    const int kinds = int(o.has("hw-file")) + int(o.has("acq-file")) + int(o.has("timetable-file"));
    bool slotOk = false;
    const int slot = o.value("slot").toInt(&slotOk);
    if (!o.error.isEmpty() || kinds != 1 || !o.positional.isEmpty() || (o.has("acq-file") && !slotOk)) {
        err(fmt::format("kelvo upload: {}\n{}", o.error.isEmpty() ? QStringLiteral("bad arguments") : o.error,
                        usage));
        return 2;
    }
    ParamTable table;
    Timetable timetable;
    QString file;
    bool read = false;
    if (o.has("hw-file") || o.has("acq-file")) {
        file = o.has("hw-file") ? o.value("hw-file") : o.value("acq-file");
        read = FreeFileUpload::readParamFile(file, o.has("hw-file"), table);
    } else {
        file = o.value("timetable-file");
        read = get_timetable_from_file(file, timetable) >= 0;
    }
    if (!read) {
        err(fmt::format("kelvo upload: Unable to load file {}\n", file));
        return 1;
    }
    Instrument instrument;
    QString error;
    if (!instrument.connect(o.value("port"), &error)) {
        err(fmt::format("kelvo upload: {}\n", error));
        return 1;
    }
    ProgramResult r;
    QString done;
    QString failed;
    if (o.has("hw-file")) {
        r = FreeFileUpload::uploadHardware(table, instrument.camera(),
                                           o.flags.contains(QLatin1String("override-serials")),
                                           o.flags.contains(QLatin1String("override-settings")));
        done = QStringLiteral("HW Parameter updated");
        failed = QStringLiteral("HW Parameter programming error");
    } else if (o.has("acq-file")) {
        r = FreeFileUpload::uploadAcquisition(table, slot, instrument.camera());
        done = QStringLiteral("ACQ Parameter updated");
        failed = QStringLiteral("ACQ programming error");
    } else {
        r = FreeFileUpload::uploadTimetable(timetable, instrument.camera());
        done = QStringLiteral("TimeTable updated");
        failed = QStringLiteral("TimeTable programming error");
    }
    if (!r.ok) {
        err(fmt::format("{}: {}\n", failed, r.errorBoxText()));
        return 1;
    }
    out(fmt::format("Update done: {}\n", done));
    return 0;
}

static CliRegistrar uploadReg({"upload",
                               "upload (--hw-file F | --acq-file F --slot N | --timetable-file F) [--port P]",
                               "upload a parameter or timetable file and read it back", &upload_command});

static CliRegistrar paramsReg({"params", "params compare|save PROJECT [--port P]",
                               "compare the instrument's parameters with a project's, or save them into it",
                               &params_command});
static CliRegistrar programReg({"program",
                                "program PROJECT --preset als|cscs|cts5|ctd|auto|supervised|time [options] "
                                "[--preview]",
                                "program the instrument with a preset (or preview what would be programmed)",
                                &program_command});

} // namespace

int project_create(const QStringList& args) {
    static const char* const usage =
        "Usage: kelvo project create PARENT --acronym A --date D --sn S [--op-name ..] [--op-email ..] "
        "[--cs-name ..] [--cs-email ..] [--do-name ..] [--do-email ..] [--gen-info ..] [--description ..] "
        "[--port P]\n";
    static const QList<QPair<const char*, const char*>> kOptions = {{"acronym", "acron"},
                                                                    {"date", "year"},
                                                                    {"sn", "sn"},
                                                                    {"op-name", "op_name"},
                                                                    {"op-email", "op_email"},
                                                                    {"cs-name", "cs_name"},
                                                                    {"cs-email", "cs_email"},
                                                                    {"do-name", "do_name"},
                                                                    {"do-email", "do_email"},
                                                                    {"gen-info", "gen_info"},
                                                                    {"description", "description"}};
    QStringList valued = {"port"};
    for (const auto& [option, key] : kOptions) {
        valued << QLatin1String(option);
    }
    const Options o = parse(args, valued, {});
    if (o.flags.contains(QLatin1String("help"))) {
        out(usage);
        out("Creates PARENT/kelvo6_sn<sn>_<date>_<acronym> with its nine folders, "
            "config/compute_vignette.txt and "
            "config/cruise_info.txt, with the checks of the project dialog; prints the created folder. With "
            "--port the instrument's parameter files are saved into it too. Exit 1 on a refusal.\n");
        return 0;
    }
    if (!o.error.isEmpty() || o.positional.size() != 1) {
        err(fmt::format("kelvo project create: {}\n{}",
                        o.error.isEmpty() ? QStringLiteral("one PARENT is needed") : o.error, usage));
        return 2;
    }
    ProjectCreation::Metadata m;
    for (const auto& [option, key] : kOptions) {
        m.insert(QLatin1String(key), o.value(option));
    }
    const auto refuse = [](const ProjectCreation::Refusal& r) {
        err(fmt::format("{}: {}\n", r.title, r.text));
        return 1;
    };
    const QString parent = o.positional[0];
    ProjectCreation::Refusal r = ProjectCreation::checkRequired(m);
    if (r.refused()) {
        return refuse(r);
    }
    if (ProjectCreation::missingPeople(m)) {
        err(fmt::format("{}: the Operator, Chief scientist and Data owner names are not all given\n",
                        ProjectCreation::kMissingTitle));
    }
    if ((r = ProjectCreation::checkDate(m.value(QStringLiteral("year")))).refused() ||
        (r = ProjectCreation::checkFolder(parent, m)).refused()) {
        return refuse(r);
    }
    std::unique_ptr<Instrument> instrument;
    if (o.has("port")) {
        instrument = std::make_unique<Instrument>();
        QString error;
        if (!instrument->connect(o.value("port"), &error)) {
            err(fmt::format("kelvo project create: {}\n", error));
            return 1;
        }
    }
    const QString path = ProjectCreation::createFolders(parent, m, &r);
    if (path.isEmpty()) {
        return refuse(r);
    }
    Project project;
    project.SetConnectedSerial(instrument ? instrument->camera().cameraRef() : QString());
    if (!project.Load(path)) {
        err(fmt::format("kelvo project create: {}\n", project.LastError()));
        return 1;
    }
    QString error;
    if (instrument) {
        ParamMgt::instance().setProjectPath(project.Path());
        if (!ParamMgt::instance().saveToProject(&error)) {
            err(fmt::format("kelvo project create: {}\n", error));
            return 1;
        }
    }
    if (!ProjectCreation::writeCruiseInfo(project.Path(), m, &error)) {
        err(fmt::format("kelvo project create: {}\n", error));
        return 1;
    }
    out(fmt::format("{}\n", project.Path()));
    return 0;
}
