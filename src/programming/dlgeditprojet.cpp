#include "programming/dlgeditprojet.h"

#include "app/UiDialogs.h"
#include "device/InterfaceCamera.h"
#include "programming/ParamMgt.h"
#include "project/Project.h"
#include "trace/ZelTraceMgr.h"

#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace ProjectCreation;

namespace {

QPushButton* button(const char* object, const QString& text, QWidget* parent) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1String(object));
    return b;
}

} // namespace

dlgeditprojet::dlgeditprojet(Mode mode, Project* project, ParamMgt& mgt, InterfaceCamera* camera,
                             ProjectOpener opener, QWidget* parent)
    : QDialog(parent)
    , m_mode(mode)
    , m_project(project)
    , m_mgt(mgt)
    , m_camera(camera)
    , m_opener(std::move(opener)) {
    setObjectName(QStringLiteral("dlgeditprojet"));
    setWindowTitle(QStringLiteral("Project Metadata"));
    static const std::pair<const char*, const char*> kFields[] = {
        {"acron", "Cruise acronym :"},
        {"year", "Date :"},
        {"sn", "S/N :"},
        {"op_name", "Operator name :"},
        {"op_email", "Operator email :"},
        {"cs_name", "Chief scientist name :"},
        {"cs_email", "Chief scientist email :"},
        {"do_name", "Data owner name :"},
        {"do_email", "Data owner email :"},
        {"gen_info", "General information :"},
        {"description", "Description :"},
    };
    auto* form = new QFormLayout;
    for (const auto& [key, label] : kFields) {
        auto* e = new QLineEdit(this);
        e->setObjectName(QStringLiteral("ed_") + QLatin1String(key));
        form->addRow(QLatin1String(label), e);
        m_edits.insert(QLatin1String(key), e);
    }
    m_edits.value(QStringLiteral("year"))->setPlaceholderText(QStringLiteral("YYYY or YYYYMM or YYYYMMDD"));
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    const bool create = mode == Mode::Create;
    if (create) {
        auto* row = new QHBoxLayout;
        m_parent = new QLineEdit(this);
        m_parent->setObjectName(QStringLiteral("edParentFolder"));
        row->addWidget(m_parent);
        row->addWidget(button("btSelectFolder", QStringLiteral("..."), this));
        form->addRow(QStringLiteral("Parent Folder :"), row);
        m_folder = new QLabel(this);
        m_folder->setObjectName(QStringLiteral("lblFolder"));
        m_folder->setWordWrap(true);
        form->addRow(QStringLiteral("Folder"), m_folder);
        if (m_camera != nullptr) {
            m_edits.value(QStringLiteral("sn"))->setText(m_camera->cameraRef());
        }
    } else if (m_project != nullptr && m_project->IsOpen()) {
        const Metadata m = readCruiseInfo(m_project->Path());
        for (auto it = m.begin(); it != m.end(); ++it) {
            if (QLineEdit* e = m_edits.value(it.key())) {
                e->setText(it.value());
            }
        }
    }
    auto* buttons = new QHBoxLayout;
    if (create) {
        buttons->addWidget(button("btcheckfolder", QStringLiteral("Check folder name"), this));
    }
    buttons->addStretch();
    buttons->addWidget(button("btsavemetadata",
                              create ? QStringLiteral("Create project") : QStringLiteral("Save data"), this));
    buttons->addWidget(button("btcancel", QStringLiteral("Cancel"), this));
    layout->addLayout(buttons);
    QMetaObject::connectSlotsByName(this);
}

Metadata dlgeditprojet::metadata() const {
    Metadata m;
    for (auto it = m_edits.begin(); it != m_edits.end(); ++it) {
        m.insert(it.key(), it.value()->text().trimmed());
    }
    return m;
}

void dlgeditprojet::on_btSelectFolder_clicked() {
    const QString dir =
        UiDialogs::existingDirectory(this, QStringLiteral("Select Output Folder"),
                                     m_parent->text().isEmpty() ? QDir::homePath() : m_parent->text());
    if (!dir.isEmpty()) {
        m_parent->setText(QDir::cleanPath(dir));
    }
}

bool dlgeditprojet::checkFolder() {
    const Metadata m = metadata();
    const Refusal required = checkRequired(m);
    if (required.refused()) {
        UiDialogs::warning(this, required.title, required.text);
        return false;
    }
    const QString name = folderName(m);
    const Refusal folder = ProjectCreation::checkFolder(m_parent->text(), m);
    if (folder.refused()) {
        m_folder->setText(name);
        UiDialogs::warning(this, folder.title, folder.text);
        return false;
    }
    m_folder->setText(name + QStringLiteral("\n\nFolder name OK"));
    return true;
}

void dlgeditprojet::on_btcheckfolder_clicked() {
    checkFolder();
}

void dlgeditprojet::on_btsavemetadata_clicked() {
    const Metadata m = metadata();
    if (missingPeople(m) &&
        UiDialogs::question(this, QString::fromLatin1(kMissingTitle), QString::fromLatin1(kMissingText),
                            QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel,
                            QMessageBox::Cancel) != QMessageBox::Yes) {
        return;
    }
    const Refusal date = checkDate(m.value(QStringLiteral("year")));
    if (date.refused()) {
        UiDialogs::warning(this, date.title, date.text);
        return;
    }
    QString error;
    if (m_mode == Mode::Edit) {
        if (m_project == nullptr || !m_project->IsOpen()) {
            UiDialogs::warning(this, QStringLiteral("No project"), QStringLiteral("No project open"));
            return;
        }
        if (!writeCruiseInfo(m_project->Path(), m, &error)) {
            UiDialogs::warning(this, QStringLiteral("Project Metadata"), error);
            return;
        }
        accept();
        return;
    }
    if (!checkFolder()) {
        return;
    }
    Refusal refusal;
    const QString path = createFolders(m_parent->text(), m, &refusal);
    if (path.isEmpty()) {
        UiDialogs::warning(this, refusal.title, refusal.text);
        return;
    }
    m_created = path;
    if (m_opener && !m_opener(path)) {
        UiDialogs::warning(this, QStringLiteral("Open project"),
                           m_project != nullptr ? m_project->LastError()
                                                : QStringLiteral("Unable to open ") + path);
        return;
    }
    // The instrument's parameters go into the new project when one is connected.
    if (m_camera != nullptr && !m_camera->cameraRef().isEmpty()) {
        m_mgt.takeFromCamera(*m_camera);
        m_mgt.setProjectPath(path);
        if (!m_mgt.saveToProject(&error)) {
            UiDialogs::warning(this, QStringLiteral("Project Metadata"), error);
        }
    }
    if (!writeCruiseInfo(path, m, &error)) {
        UiDialogs::warning(this, QStringLiteral("Project Metadata"), error);
        return;
    }
    accept();
}

void dlgeditprojet::on_btcancel_clicked() {
    reject();
}
