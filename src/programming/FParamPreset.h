#pragma once

#include "programming/PresetProgram.h"

#include <QDialog>
#include <QMap>

class InterfaceCamera;
class ParamMgt;
class QAbstractButton;
class QLabel;
class QPushButton;
class QTableWidget;
class QWidget;

// The programming page of one preset (FParamALS, FParamCSCS, ... are this class driven by the
// preset's row): the values the user may change, "Load Default Values", the two previews and
// "Program sensor", which programs off the GUI thread under the instrument lock.
class FParamPreset : public QDialog {
    Q_OBJECT
public:
    FParamPreset(const PresetMode& presetMode, ParamMgt& mgt, InterfaceCamera* camera,
                 const QString& projectPath, const QString& templatesDir, QWidget* parent = nullptr);

    PresetProgram& program() { return m_program; }
    // The widget showing a value (edit or check box), by object name.
    QWidget* field(const QString& object) const { return m_fields.value(object); }
    QTableWidget* grid() const { return m_grid; }

public Q_SLOTS:
    // The three action buttons share this slot and act by their sender.
    void on_btProgSensor_clicked();
    void on_btLoadDefault_clicked();
    void on_btEditTimetable_clicked();

private:
    void load(bool opening);
    void showValues();
    void takeValues();
    void act(QObject* sender);
    bool program(const WorkingSet& set);

    PresetProgram m_program;
    ParamMgt& m_mgt;
    InterfaceCamera* m_camera;
    QMap<QString, QWidget*> m_fields;
    QTableWidget* m_grid = nullptr;
    QPushButton* m_btProgSensor;
    QPushButton* m_btHWPreview;
    QPushButton* m_btACQPreview;
};
