#include "programming/FParamPreset.h"

#include "app/AppSettings.h"
#include "app/UiDialogs.h"
#include "params/DlgAcqParamViewer.h"
#include "params/DlgParamViewer.h"
#include "params/DlgTimetableViewer.h"
#include "programming/ParamMgt.h"
#include "trace/ZelTraceMgr.h"
#include "worker/InstrumentBusyRunner.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <vector>

namespace {

QPushButton* make_button(const char* object, const char* text, QWidget* parent) {
    auto* b = new QPushButton(QString::fromLatin1(text), parent);
    b->setObjectName(QLatin1String(object));
    return b;
}

} // namespace

FParamPreset::FParamPreset(const PresetMode& presetMode, ParamMgt& mgt, InterfaceCamera* camera,
                           const QString& projectPath, const QString& templatesDir, QWidget* parent)
    : QDialog(parent)
    , m_program(presetMode, templatesDir, projectPath)
    , m_mgt(mgt)
    , m_camera(camera)
    , m_btProgSensor(make_button("btProgSensor", "Program sensor", this))
    , m_btHWPreview(make_button("btHWPreview", "HW Conf Preview", this))
    , m_btACQPreview(make_button("btACQPreview", "ACQ Conf Preview", this)) {
    setObjectName(QLatin1String(presetMode.page));
    setWindowTitle(QLatin1String(presetMode.title));
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel(QLatin1String(presetMode.title), this);
    title->setObjectName(QStringLiteral("lblTitle"));
    title->setStyleSheet(QStringLiteral("font-weight:bold;font-size:16px;"));
    layout->addWidget(title);

    // The main form, then one group box per group of the preset, in their order.
    auto* main = new QFormLayout;
    layout->addLayout(main);
    QMap<QString, QFormLayout*> groups;
    for (const PresetField& f : presetMode.fields) {
        QFormLayout* form = main;
        const QString group = QLatin1String(f.group);
        if (!group.isEmpty()) {
            if (!groups.contains(group)) {
                auto* box = new QGroupBox(group, this);
                groups.insert(group, new QFormLayout(box));
                layout->addWidget(box);
            }
            form = groups.value(group);
        }
        QWidget* w = nullptr;
        if (f.kind == PresetFieldKind::Text) {
            w = new QLineEdit(this);
        } else {
            w = new QCheckBox(this);
        }
        w->setObjectName(QLatin1String(f.object));
        form->addRow(
            QLatin1String(f.object == QLatin1String("edPressureOfs") ? presetMode.pressureLabel : f.label),
            w);
        m_fields.insert(QLatin1String(f.object), w);
    }
    if (!presetMode.gridParams.empty()) {
        m_grid = new QTableWidget(this);
        m_grid->setObjectName(QStringLiteral("tblConfigurations"));
        m_grid->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
        layout->addWidget(m_grid, 1);
    }
    if (presetMode.slotKind == PresetSlots::Time) {
        auto* row = new QHBoxLayout;
        auto* lbl = new QLabel(QStringLiteral("Timetable from config/timetable.txt"), this);
        lbl->setObjectName(QStringLiteral("lblTimetable"));
        row->addWidget(lbl);
        row->addStretch();
        row->addWidget(make_button("btEditTimetable", "Edit Timetable", this));
        layout->addLayout(row);
    }
    auto* help = new QLabel(QLatin1String(presetMode.help), this);
    help->setObjectName(QStringLiteral("lblHelp"));
    help->setWordWrap(true);
    layout->addWidget(help);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(make_button("btLoadDefault", "Load Default Values", this));
    buttons->addWidget(m_btHWPreview);
    buttons->addWidget(m_btACQPreview);
    buttons->addStretch();
    buttons->addWidget(m_btProgSensor);
    QPushButton* cancel = make_button("btcancel", "Cancel", this);
    buttons->addWidget(cancel);
    layout->addLayout(buttons);

    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    // The previews share the program slot, which acts by its sender.
    connect(m_btHWPreview, &QPushButton::clicked, this, &FParamPreset::on_btProgSensor_clicked);
    connect(m_btACQPreview, &QPushButton::clicked, this, &FParamPreset::on_btProgSensor_clicked);
    QMetaObject::connectSlotsByName(this);
    load(true);
}

void FParamPreset::load(bool opening) {
    QString error;
    QString title;
    if (!m_program.load(&error, &title)) {
        // The page keeps the values it had.
        UiDialogs::critical(this, title, error);
        if (!opening) {
            return;
        }
    }
    m_program.fillValues(opening ? &m_mgt.working() : nullptr);
    showValues();
}

void FParamPreset::showValues() {
    for (const PresetField& f : m_program.presetMode().fields) {
        const QString v = m_program.value(QLatin1String(f.object));
        if (auto* edit = qobject_cast<QLineEdit*>(m_fields.value(QLatin1String(f.object)))) {
            edit->setText(v);
        } else if (auto* box = qobject_cast<QCheckBox*>(m_fields.value(QLatin1String(f.object)))) {
            box->setChecked(v == QLatin1String("2") || v == QLatin1String("true"));
        }
    }
    if (m_grid == nullptr) {
        return;
    }
    const QList<int> gridColumns = m_program.gridSlots();
    const auto& params = m_program.presetMode().gridParams;
    m_grid->clear();
    m_grid->setRowCount(static_cast<int>(params.size()));
    m_grid->setColumnCount(gridColumns.size());
    QStringList rows;
    for (const char* p : params) {
        rows << QLatin1String(p);
    }
    m_grid->setVerticalHeaderLabels(rows);
    QStringList columns;
    for (int c = 0; c < gridColumns.size(); ++c) {
        columns << QStringLiteral("Conf ") +
                       QString::fromStdString(param_config_name(m_program.templates().slot(gridColumns[c])));
        for (int r = 0; r < static_cast<int>(params.size()); ++r) {
            m_grid->setItem(r, c,
                            new QTableWidgetItem(m_program.value(PresetProgram::gridKey(
                                gridColumns[c], params[static_cast<std::size_t>(r)]))));
        }
    }
    m_grid->setHorizontalHeaderLabels(columns);
    m_grid->resizeColumnsToContents();
}

void FParamPreset::takeValues() {
    for (const PresetField& f : m_program.presetMode().fields) {
        QWidget* w = m_fields.value(QLatin1String(f.object));
        if (auto* edit = qobject_cast<QLineEdit*>(w)) {
            m_program.setValue(QLatin1String(f.object), edit->text());
        } else if (auto* box = qobject_cast<QCheckBox*>(w)) {
            m_program.setValue(QLatin1String(f.object), preset_check_text(f.kind, box->isChecked()));
        }
    }
    if (m_grid == nullptr) {
        return;
    }
    const QList<int> gridColumns = m_program.gridSlots();
    const auto& params = m_program.presetMode().gridParams;
    for (int c = 0; c < gridColumns.size() && c < m_grid->columnCount(); ++c) {
        for (int r = 0; r < static_cast<int>(params.size()); ++r) {
            const QTableWidgetItem* item = m_grid->item(r, c);
            m_program.setValue(PresetProgram::gridKey(gridColumns[c], params[static_cast<std::size_t>(r)]),
                               item != nullptr ? item->text() : QString());
        }
    }
}

void FParamPreset::on_btLoadDefault_clicked() {
    load(false);
}

void FParamPreset::on_btProgSensor_clicked() {
    act(sender());
}

void FParamPreset::act(QObject* from) {
    const bool programming = from == nullptr || from == m_btProgSensor;
    takeValues();
    if (programming && m_program.presetMode().slotKind == PresetSlots::Time &&
        m_program.templates().timetable.empty()) {
        UiDialogs::critical(this, QString::fromLatin1(PresetProgram::kTimetableErrorTitle),
                            QString::fromLatin1(PresetProgram::kTimetableEmptyError));
        return;
    }
    WorkingSet set = m_mgt.working();
    const QString invalid = m_program.build(set, AppSettings::userEmail());
    if (!invalid.isEmpty()) {
        UiDialogs::warning(this, QString::fromLatin1(PresetProgram::kInvalidTitle), invalid);
        return;
    }
    if (from == m_btHWPreview) {
        auto* dlg = new DlgParamViewer(this);
        dlg->setAttribute(Qt::WA_DeleteOnClose);
        dlg->setTable(set.hw, QStringLiteral("Hardware parameter preview"));
        dlg->show();
        return;
    }
    if (from == m_btACQPreview) {
        auto* dlg = new DlgAcqParamViewer(this);
        dlg->setAttribute(Qt::WA_DeleteOnClose);
        const std::vector<ParamTable> tables(set.acq.begin(), set.acq.end());
        dlg->setTables(tables, QStringLiteral("Acquisition parameter preview"),
                       QStringLiteral("Acquisition parameter preview"));
        dlg->show();
        return;
    }
    if (program(set)) {
        accept();
    }
}

bool FParamPreset::program(const WorkingSet& set) {
    m_mgt.working() = set;
    ParamMgt* mgt = &m_mgt;
    InterfaceCamera* camera = m_camera;
    const bool time = m_program.presetMode().slotKind == PresetSlots::Time;
    const InstrumentBusyRunner::Result run =
        InstrumentBusyRunner::run(this, QLatin1String(m_program.presetMode().title), [mgt, camera, time] {
            ProgramResult r;
            if (time) {
                r = mgt->programTimetable(camera);
                if (!r.ok) {
                    return QVariant::fromValue(QStringList{r.errorBoxText()});
                }
            }
            r = mgt->programSensor(camera);
            return QVariant::fromValue(QStringList{r.ok ? QString() : r.errorBoxText()});
        });
    if (!run.ran) {
        return false;
    }
    const QString error = !run.error.isEmpty() ? run.error : run.value.toStringList().value(0);
    if (!error.isEmpty()) {
        UiDialogs::warning(this, QString::fromLatin1(ParamMgt::kErrorTitle), error);
        return false;
    }
    UiDialogs::information(this, QString::fromLatin1(ParamMgt::kDoneTitle),
                           QString::fromLatin1(ParamMgt::kDoneText));
    return true;
}

void FParamPreset::on_btEditTimetable_clicked() {
    // The editor works on a copy; the changes are logged entry by entry and kept for programming.
    const Timetable before = m_program.templates().timetable;
    Timetable edited = before;
    DlgTimetableViewer dlg(this);
    if (dlg.view(&edited, QStringLiteral("TIME Mode Timetable edition"), true) != QDialog::Accepted) {
        return;
    }
    for (std::size_t i = 0; i < std::max(before.size(), edited.size()); ++i) {
        if (i < edited.size() && (i >= before.size() || !(edited[i] == before[i]))) {
            GetTraceMgr()->logf("ParamTIME", ZelLevelInformation, "AcqName={} at pos {} = {}",
                                edited[i].configurationName(), i,
                                time_program_to_text(std::string(), edited[i]));
        } else if (i >= edited.size()) {
            GetTraceMgr()->logf("ParamTIME", ZelLevelInformation, "delete AcqName={} at pos {} = {}",
                                before[i].configurationName(), i,
                                time_program_to_text(std::string(), before[i]));
        }
    }
    takeValues();
    QString error;
    QString title;
    if (!m_program.setTimetable(edited, &error, &title)) {
        UiDialogs::critical(this, title, error);
        return;
    }
    showValues();
}
