#include "programming/ParamMgt.h"

#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>
#include <zlib.h>

#include <fmt/format.h>

#include <stdexcept>

namespace {

constexpr const char* kModule = ParamMgt::kModule;

ZelTraceMgr* trace() {
    return GetTraceMgr();
}

bool is_ignored(const std::string& name) {
    // The instrument updates these two by itself.
    return name == "Storage_capacity" || name == "Last_parameters_modification";
}

QFileInfoList config_files(const QString& dir, const QStringList& filters) {
    // Name filters of QDir ignore case unless told otherwise: "acq*.txt" finds "ACQ_...".
    return QDir(dir).entryInfoList(filters, QDir::Files, QDir::Name);
}

std::string hw_text(const ParamTable& table, const char* name) {
    return find_param(name, table) == table.end() ? std::string() : GetParamAsText(table, name);
}

} // namespace

ParamMgt::ParamMgt() {
    build_hw_params(m_working.hw);
}

ParamMgt& ParamMgt::instance() {
    static ParamMgt mgt;
    return mgt;
}

WorkingSet ParamMgt::workingSetOf(const InterfaceCamera& camera) {
    WorkingSet set;
    set.hw = camera.hardware();
    for (int i = 0; i < kAcqSlotCount; ++i) {
        if (camera.acquisitionSlotValid(i)) {
            set.slot(i) = camera.acquisition(i);
        }
    }
    set.timetable = camera.timetable();
    return set;
}

void ParamMgt::takeFromCamera(const InterfaceCamera& camera) {
    m_working = workingSetOf(camera);
}

QString ParamMgt::configDir() const {
    return m_project + QStringLiteral("/config");
}

bool ParamMgt::loadProjectHW(ParamTable& table, QString* error) const {
    table.clear();
    const QFileInfoList files = config_files(configDir(), {QStringLiteral("HW*.txt")});
    if (files.isEmpty()) {
        return true;
    }
    build_hw_params(table);
    const QString path = files.first().filePath();
    if (get_params_from_file(path, table) < 0) {
        const QString text = QStringLiteral("Unable to load file ") + path;
        trace()->logf(kModule, ZelLevelError, "{}", text);
        if (error != nullptr) {
            *error = text;
        }
        return false;
    }
    return true;
}

int ParamMgt::loadProjectACQ(std::array<ParamTable, kAcqSlotCount>& tables) const {
    for (ParamTable& t : tables) {
        t.clear();
    }
    int slot = 0;
    for (const QFileInfo& f : config_files(configDir(), {QStringLiteral("acq*.txt")})) {
        if (slot >= kAcqSlotCount) {
            break;
        }
        ParamTable& t = tables[static_cast<std::size_t>(slot)];
        build_acq_params(t);
        if (get_params_from_file(f.filePath(), t) < 0) {
            trace()->logf(kModule, ZelLevelError, "Unable to load file {}", f.filePath());
            t.clear();
            continue;
        }
        ++slot;
    }
    return slot;
}

bool ParamMgt::loadProjectTimetable(Timetable& timetable) const {
    timetable.clear();
    const QString path = configDir() + QStringLiteral("/timetable.txt");
    if (!QFileInfo::exists(path)) {
        return true;
    }
    return get_timetable_from_file(path, timetable) >= 0;
}

QString ParamMgt::compareParams(const ParamTable& first, const ParamTable& second) {
    if (first.empty()) {
        return second.empty() ? QString() : QStringLiteral("Parameter size differ\n");
    }
    if (second.empty()) {
        return QStringLiteral("Missing");
    }
    std::string out;
    if (first.size() != second.size()) {
        out += "Parameter size differ\n";
    }
    for (const ParamDef& d : first) {
        if (d.type == ParamRoot || is_ignored(d.name)) {
            continue;
        }
        const std::string mine = param_value_text(d);
        const auto other = find_param(d.name, second);
        const std::string theirs = other == second.end() ? std::string() : param_value_text(*other);
        if (mine != theirs) {
            out += fmt::format("Parameter {} differ {}<>{}\n", d.name, mine, theirs);
        }
    }
    return QString::fromStdString(out);
}

QString ParamMgt::compareWithProject(const ParamTable& projectHW,
                                     const std::array<ParamTable, kAcqSlotCount>& projectACQ,
                                     const Timetable& projectTimetable) const {
    QString out;
    const QString hw = compareParams(m_working.hw, projectHW);
    if (!hw.isEmpty()) {
        out += QStringLiteral("HW_CONF : ") + hw + QLatin1Char('\n');
    }
    for (const ParamTable& t : m_working.acq) {
        if (t.empty()) {
            continue;
        }
        const std::string name = param_config_name(t);
        const ParamTable* p = find_configuration(projectACQ, name);
        const QString diff = p == nullptr ? QStringLiteral("Missing") : compareParams(t, *p);
        if (!diff.isEmpty()) {
            out += QString::fromStdString(name) + QStringLiteral(" : ") + diff + QLatin1Char('\n');
        }
    }
    for (const ParamTable& p : projectACQ) {
        if (p.empty()) {
            continue;
        }
        const std::string name = param_config_name(p);
        if (find_configuration(m_working.acq, name) == nullptr) {
            out += QString::fromStdString(name) + QStringLiteral(" : Only in project\n");
        }
    }
    if (modeName(true) == QLatin1String("TIME") &&
        timetable_to_text(m_working.timetable) != timetable_to_text(projectTimetable)) {
        out += QStringLiteral("Timetable differ\n");
    }
    return out;
}

QString ParamMgt::compareWithProject() const {
    ParamTable hw;
    std::array<ParamTable, kAcqSlotCount> acq;
    Timetable timetable;
    loadProjectHW(hw);
    loadProjectACQ(acq);
    loadProjectTimetable(timetable);
    return compareWithProject(hw, acq, timetable);
}

bool ParamMgt::archiveProjectFiles(QString* error) const {
    const QFileInfoList files =
        config_files(configDir(), {QStringLiteral("HW_*.txt"), QStringLiteral("acq*.txt"),
                                   QStringLiteral("timetable.txt")});
    if (files.isEmpty()) {
        return true;
    }
    const QString path = QString::fromStdString(
        fmt::format("{}/config/param_archive_{}.zip", m_project,
                    QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_HHmmss"))));
    // Built under a temporary name and put in place once complete; only then do the archived
    // files leave the config folder.
    const QString partial = path + QStringLiteral(".partial");
    const auto fail = [&](const QString& why) {
        QFile::remove(partial);
        const QString text =
            QStringLiteral("Unable to archive the project parameters into %1 : %2").arg(path, why);
        trace()->logf(kModule, ZelLevelError, "{}", text);
        if (error != nullptr) {
            *error = text;
        }
        return false;
    };
    {
        QuaZip zip(partial);
        if (!zip.open(QuaZip::mdCreate)) {
            return fail(QStringLiteral("zip error %1").arg(zip.getZipError()));
        }
        for (const QFileInfo& f : files) {
            QFile in(f.filePath());
            if (!in.open(QIODevice::ReadOnly)) {
                zip.close();
                return fail(in.errorString());
            }
            QuaZipFile entry(&zip);
            QuaZipNewInfo info(f.fileName(), f.filePath());
            if (!entry.open(QIODevice::WriteOnly, info, nullptr, 0, Z_DEFLATED, Z_DEFAULT_COMPRESSION, false,
                            -MAX_WBITS, 8)) {
                zip.close();
                return fail(QStringLiteral("zip error %1").arg(entry.getZipError()));
            }
            const QByteArray bytes = in.readAll();
            if (entry.write(bytes) != bytes.size()) {
                entry.close();
                zip.close();
                return fail(entry.errorString());
            }
            entry.close();
            if (entry.getZipError() != ZIP_OK) {
                zip.close();
                return fail(QStringLiteral("zip error %1").arg(entry.getZipError()));
            }
        }
        zip.close();
        if (zip.getZipError() != ZIP_OK) {
            return fail(QStringLiteral("zip error %1").arg(zip.getZipError()));
        }
    }
    QFile::remove(path); // a second save in the same second replaces the first archive
    if (!QFile::rename(partial, path)) {
        return fail(QStringLiteral("the archive could not be renamed"));
    }
    for (const QFileInfo& f : files) {
        QFile::remove(f.filePath());
    }
    return true;
}

bool ParamMgt::saveToProject(QString* error) {
    if (m_project.isEmpty()) {
        trace()->post(kModule, ZelLevelWarning, "Unable to save parameters if no active project");
        if (error != nullptr) {
            *error = QStringLiteral("Unable to save parameters if no active project");
        }
        return false;
    }
    if (!QFileInfo(configDir()).isDir() && !QDir().mkpath(configDir())) {
        if (error != nullptr) {
            *error = QStringLiteral("Unable to create folder ") + configDir();
        }
        return false;
    }
    if (!archiveProjectFiles(error)) {
        return false;
    }
    const auto failWrite = [&](const QString& path) {
        const QString text = QStringLiteral("Unable to write file ") + path;
        trace()->logf(kModule, ZelLevelError, "{}", text);
        if (error != nullptr) {
            *error = text;
        }
        return false;
    };
    const QString hwPath = configDir() + QLatin1Char('/') + hardwareFileName(m_working);
    if (!write_params_to_file(hwPath, m_working.hw)) {
        return failWrite(hwPath);
    }
    for (const ParamTable& t : m_working.acq) {
        const std::string name = t.empty() ? std::string() : param_config_name(t);
        if (name.empty()) {
            continue;
        }
        const QString path =
            configDir() + QLatin1Char('/') + QString::fromStdString(name) + QStringLiteral(".txt");
        if (!write_params_to_file(path, t)) {
            return failWrite(path);
        }
    }
    const QString ttPath = configDir() + QStringLiteral("/timetable.txt");
    if (m_working.timetable.empty()) {
        QFile::remove(ttPath);
    } else if (!write_timetable_to_file(ttPath, m_working.timetable, "Read from Kelvo by KELVOAPP")) {
        return failWrite(ttPath);
    }
    return true;
}

QString ParamMgt::compareSent(const WorkingSet& sent, const InterfaceCamera& camera) {
    QString out;
    const QString hw = compareParams(sent.hw, camera.hardware());
    if (!hw.isEmpty()) {
        out += QStringLiteral("HW_CONF : ") + hw + QLatin1Char('\n');
    }
    for (int i = 0; i < kAcqSlotCount; ++i) {
        const ParamTable& mine = sent.slot(i);
        const bool held = camera.acquisitionSlotValid(i);
        if (mine.empty()) {
            if (held) {
                out += QStringLiteral("Slot %1 : not erased\n").arg(i);
            }
            continue;
        }
        const QString name = QString::fromStdString(param_config_name(mine));
        const QString diff = held ? compareParams(mine, camera.acquisition(i)) : QStringLiteral("Missing");
        if (!diff.isEmpty()) {
            out += QStringLiteral("Slot %1 %2 : ").arg(i).arg(name) + diff + QLatin1Char('\n');
        }
    }
    return out;
}

ProgramResult ParamMgt::programSensor(InterfaceCamera* readBack) {
    const ProgramResult result = ProgramResult::attempt([&](ProgramResult& r) {
        QString saveError;
        if (!saveToProject(&saveError)) {
            throw std::runtime_error(saveError.toStdString());
        }
        ProgramResult::enterSupervisorMode();
        const std::string hw = write_params_to_string("", m_working.hw);
        purge_comm(false);
        r.send(fmt::format("$HWCONFset:{};", hw), "ok");
        for (int i = 0; i < kAcqSlotCount; ++i) {
            r.send(fmt::format("$ACQCONFerase:{};", i), "$ok");
        }
        for (int i = 0; i < kAcqSlotCount; ++i) {
            const ParamTable& t = m_working.slot(i);
            if (t.empty()) {
                continue; // free tables keep their numbers
            }
            r.send(fmt::format("$ACQCONFset:{},{};", i, write_params_to_string("", t)), "$ok");
        }
        if (readBack == nullptr) {
            r.ok = true;
            return;
        }
        const bool hwRead = readBack->readHardwareConfiguration();
        readBack->readAcquisitionConfigurations();
        r.judgeReadBack(hwRead ? compareSent(m_working, *readBack)
                               : QStringLiteral("The hardware configuration could not be read back\n"));
    });
    if (result.ok) {
        if (m_changed) {
            m_changed();
        }
        trace()->post(kModule, ZelLevelInformation, "Programmation Done");
    }
    return result;
}

ProgramResult ParamMgt::sendTimetable(const Timetable& timetable, InterfaceCamera* readBack) {
    return ProgramResult::attempt([&](ProgramResult& r) {
        ProgramResult::enterSupervisorMode();
        r.instrumentChanged = true;
        program_timetable(timetable);
        if (readBack == nullptr) {
            r.ok = true;
            return;
        }
        readBack->readTimetable();
        r.judgeReadBack(timetable_to_text(readBack->timetable()) == timetable_to_text(timetable)
                            ? QString()
                            : QStringLiteral("Timetable differ\n"));
    });
}

ProgramResult ParamMgt::programTimetable(InterfaceCamera* readBack) {
    const ProgramResult result = sendTimetable(m_working.timetable, readBack);
    if (result.ok) {
        trace()->post(kModule, ZelLevelInformation, "Timetable programmed");
    }
    return result;
}

void ParamMgt::setOperatorEmail(ParamTable& hw, const QString& email) {
    auto it = find_param("Operator_email", hw);
    // Without a user e-mail (nobody logged in) the instrument keeps the one it has.
    if (it != hw.end() && !email.isEmpty()) {
        it->setString(email.left(63).toStdString());
    }
}

QString ParamMgt::modeName(const WorkingSet& set, bool shortForm) {
    const std::string mode = hw_text(set.hw, "Acquisition_mode");
    const auto pick = [shortForm](const char* s, const char* l) {
        return QString::fromLatin1(shortForm ? s : l);
    };
    if (mode == "1") {
        const std::string def = hw_text(set.hw, "Default_acquisition_configuration");
        if (def == "ACQ_CTD") {
            return pick("CTD", "CTD");
        }
        if (def == "ACQ_AUTO") {
            return pick("AUTO", "AUTO");
        }
    } else if (mode == "2") {
        return pick("TIME", "TIME");
    } else if (mode == "0") {
        const auto first =
            std::find_if(set.acq.begin(), set.acq.end(), [](const ParamTable& t) { return !t.empty(); });
        if (first != set.acq.end()) {
            // The presets' own configurations are recognised by the beginning of their name.
            const std::string name = param_config_name(*first);
            static const struct {
                const char* prefix;
                const char* shortName;
                const char* longName;
            } kModes[] = {{"ACQ_NKE", "NKE", "CTS5 USEA"},
                          {"ACQ_ALS", "ALS", "SeaExplorer"},
                          {"ACQ_CSCS", "CSCS", "SeaGlider"},
                          {"ACQ_SG", "SG", "SeaGlider"},
                          {"ACQ_SUP", "SUP", "Supervised"}};
            for (const auto& m : kModes) {
                if (name.rfind(m.prefix, 0) == 0) {
                    return pick(m.shortName, m.longName);
                }
            }
        }
    }
    return shortForm ? QString() : QStringLiteral("Not detected");
}

QString ParamMgt::hardwareFileName(const WorkingSet& set) {
    return QStringLiteral("HW_%1_%2.txt")
        .arg(modeName(set, true), QString::fromStdString(hw_text(set.hw, "Camera_ref")));
}
