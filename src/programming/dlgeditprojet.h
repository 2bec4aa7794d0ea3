#pragma once

#include "programming/ProjectCreation.h"

#include <QDialog>
#include <QMap>

#include <functional>

class InterfaceCamera;
class ParamMgt;
class Project;
class QLabel;
class QLineEdit;
class QPushButton;

// "Project Metadata": creates a project folder (creation mode) or edits the metadata of the
// open project (edit mode). The checks, the folder tree and the metadata file are the core's
// (ProjectCreation); this dialog asks and shows.
class dlgeditprojet : public QDialog {
    Q_OBJECT
public:
    enum class Mode { Create, Edit };
    // Opens a project folder as the main window does (recent files, pages); true when it opened.
    using ProjectOpener = std::function<bool(const QString&)>;

    dlgeditprojet(Mode mode, Project* project, ParamMgt& mgt, InterfaceCamera* camera, ProjectOpener opener,
                  QWidget* parent = nullptr);

    QLineEdit* edit(const QString& key) const { return m_edits.value(key); }
    QLineEdit* parentFolder() const { return m_parent; }
    QLabel* folderLabel() const { return m_folder; }
    // The project created, once created.
    QString createdPath() const { return m_created; }

public Q_SLOTS:
    void on_btcheckfolder_clicked();
    void on_btSelectFolder_clicked();
    void on_btsavemetadata_clicked();
    void on_btcancel_clicked();

private:
    ProjectCreation::Metadata metadata() const;
    bool checkFolder();

    Mode m_mode;
    Project* m_project;
    ParamMgt& m_mgt;
    InterfaceCamera* m_camera;
    ProjectOpener m_opener;
    QMap<QString, QLineEdit*> m_edits;
    QLineEdit* m_parent = nullptr;
    QLabel* m_folder = nullptr;
    QString m_created;
};
