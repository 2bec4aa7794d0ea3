#include "programming/FParamFreeFile.h"

#include "app/UiDialogs.h"
#include "params/DlgAcqParamViewer.h"
#include "params/DlgParamViewer.h"
#include "params/DlgTimetableViewer.h"
#include "params/ParamSets.h"
#include "programming/FreeFileUpload.h"
#include "worker/InstrumentBusyRunner.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QPushButton* button(const char* object, const char* text, QWidget* parent) {
    auto* b = new QPushButton(QString::fromLatin1(text), parent);
    b->setObjectName(QLatin1String(object));
    return b;
}

QLineEdit* edit(const char* object, QWidget* parent) {
    auto* e = new QLineEdit(parent);
    e->setObjectName(QLatin1String(object));
    return e;
}

} // namespace

FParamFreeFile::FParamFreeFile(InterfaceCamera* camera, const QString& startDir, QWidget* parent)
    : QDialog(parent)
    , m_camera(camera)
    , m_startDir(startDir)
    , m_edHW(edit("edHWFile", this))
    , m_edACQ(edit("edACQFile", this))
    , m_edTimeTable(edit("edTimeTableFile", this))
    , m_slot(new QSpinBox(this))
    , m_overrideSerials(new QCheckBox(QStringLiteral("Overide Serial Numbers"), this))
    , m_overrideSettings(new QCheckBox(QStringLiteral("Overide Instrument settings"), this)) {
    setObjectName(QStringLiteral("FParamFreeFile"));
    setWindowTitle(QStringLiteral("Free file transfert"));
    m_slot->setObjectName(QStringLiteral("sbSlot"));
    m_slot->setRange(0, kAcqSlotCount - 1);
    m_overrideSerials->setObjectName(QStringLiteral("cbOverideSerials"));
    m_overrideSettings->setObjectName(QStringLiteral("cbOverideSettings"));

    auto* grid = new QGridLayout;
    int row = 0;
    const auto line = [&](const char* label, const char* pick, QLineEdit* path, const char* upload,
                          const char* uploadText, const char* preview, const char* previewText) {
        grid->addWidget(new QLabel(QString::fromLatin1(label), this), row, 0);
        grid->addWidget(path, row, 1);
        grid->addWidget(button(pick, "...", this), row, 2);
        grid->addWidget(button(preview, previewText, this), row, 3);
        grid->addWidget(button(upload, uploadText, this), row, 4);
        ++row;
    };
    line("HWConf file", "btHWFile", m_edHW, "btUploadHW", "Upload HW Conf File", "btHWPreview",
         "HW Conf Preview");
    line("Acq Conf file", "btACQFile", m_edACQ, "btUploadACQ", "Upload ACQ Conf File", "btACQPreview",
         "ACQ Conf Preview");
    grid->addWidget(new QLabel(QStringLiteral("Slot :"), this), row, 0);
    grid->addWidget(m_slot, row, 1, Qt::AlignLeft);
    ++row;
    line("Time Table", "btTimeTableFile", m_edTimeTable, "btUploadTimeTable", "Upload Time Table File",
         "btTimeTablePreview", "Time Table Preview");
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(m_overrideSerials);
    layout->addWidget(m_overrideSettings);
    auto* close = button("btcancel", "Close", this);
    layout->addWidget(close, 0, Qt::AlignRight);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    QMetaObject::connectSlotsByName(this);
}

void FParamFreeFile::on_btHWFile_clicked() {
    const QString f =
        UiDialogs::openFileName(this, QStringLiteral("Select HW File"), m_startDir, QStringLiteral("*.txt"));
    if (!f.isEmpty()) {
        m_edHW->setText(f);
    }
}

void FParamFreeFile::on_btACQFile_clicked() {
    const QString f =
        UiDialogs::openFileName(this, QStringLiteral("Select ACQ File"), m_startDir, QStringLiteral("*.txt"));
    if (!f.isEmpty()) {
        m_edACQ->setText(f);
    }
}

void FParamFreeFile::on_btTimeTableFile_clicked() {
    const QString f = UiDialogs::openFileName(this, QStringLiteral("Select TimeTable File"), m_startDir,
                                              QStringLiteral("*.txt"));
    if (!f.isEmpty()) {
        m_edTimeTable->setText(f);
    }
}

bool FParamFreeFile::readTable(const QLineEdit* path, bool hardware, ParamTable& table) {
    if (!FreeFileUpload::readParamFile(path->text(), hardware, table)) {
        UiDialogs::warning(this, QStringLiteral("File error"),
                           QStringLiteral("Unable to load file ") + path->text());
        return false;
    }
    return true;
}

bool FParamFreeFile::readTimetable(Timetable& timetable) {
    if (get_timetable_from_file(m_edTimeTable->text(), timetable) < 0) {
        UiDialogs::warning(this, QStringLiteral("File error"),
                           QStringLiteral("Unable to load file ") + m_edTimeTable->text());
        return false;
    }
    return true;
}

void FParamFreeFile::report(const QVariant& result, const QString& done, const QString& failed) {
    const QStringList r = result.toStringList();
    if (r.value(0) == QLatin1String("ok")) {
        UiDialogs::information(this, QStringLiteral("Update done"), done);
    } else {
        UiDialogs::warning(this, QStringLiteral("Update error"), failed + QStringLiteral("\n") + r.value(1));
    }
}

namespace {

QVariant outcome(const ProgramResult& r) {
    return QVariant::fromValue(
        QStringList{r.ok ? QStringLiteral("ok") : QStringLiteral("error"), r.errorBoxText()});
}

} // namespace

void FParamFreeFile::on_btUploadHW_clicked() {
    ParamTable table;
    if (m_camera == nullptr || !readTable(m_edHW, true, table)) {
        return;
    }
    InterfaceCamera* cam = m_camera;
    const bool serials = m_overrideSerials->isChecked();
    const bool settings = m_overrideSettings->isChecked();
    const auto r = InstrumentBusyRunner::run(this, QStringLiteral("Upload HW Conf File"), [=] {
        return outcome(FreeFileUpload::uploadHardware(table, *cam, serials, settings));
    });
    if (r.ran) {
        report(r.error.isEmpty() ? r.value : QVariant(QStringList{"error", r.error}),
               QStringLiteral("HW Parameter updated"), QStringLiteral("HW Parameter programming error"));
    }
}

void FParamFreeFile::on_btUploadACQ_clicked() {
    ParamTable table;
    if (m_camera == nullptr || !readTable(m_edACQ, false, table)) {
        return;
    }
    InterfaceCamera* cam = m_camera;
    const int slot = m_slot->value();
    const auto r = InstrumentBusyRunner::run(this, QStringLiteral("Upload ACQ Conf File"), [=] {
        return outcome(FreeFileUpload::uploadAcquisition(table, slot, *cam));
    });
    if (r.ran) {
        report(r.error.isEmpty() ? r.value : QVariant(QStringList{"error", r.error}),
               QStringLiteral("ACQ Parameter updated"), QStringLiteral("ACQ programming error"));
    }
}

void FParamFreeFile::on_btUploadTimeTable_clicked() {
    Timetable timetable;
    if (m_camera == nullptr || !readTimetable(timetable)) {
        return;
    }
    InterfaceCamera* cam = m_camera;
    const auto r = InstrumentBusyRunner::run(this, QStringLiteral("Upload Time Table File"), [=] {
        return outcome(FreeFileUpload::uploadTimetable(timetable, *cam));
    });
    if (r.ran) {
        report(r.error.isEmpty() ? r.value : QVariant(QStringList{"error", r.error}),
               QStringLiteral("TimeTable updated"), QStringLiteral("TimeTable programming error"));
    }
}

void FParamFreeFile::on_btHWPreview_clicked() {
    ParamTable table;
    if (readTable(m_edHW, true, table)) {
        DlgParamViewer dlg(this);
        dlg.view(table, QStringLiteral("Hardware parameter preview"));
    }
}

void FParamFreeFile::on_btACQPreview_clicked() {
    ParamTable table;
    if (readTable(m_edACQ, false, table)) {
        DlgAcqParamViewer dlg(this);
        dlg.setTables({table}, QStringLiteral("Acquisition parameter preview"),
                      QStringLiteral("Acquisition parameter preview"));
        dlg.setModal(true);
        dlg.exec();
    }
}

void FParamFreeFile::on_btTimeTablePreview_clicked() {
    Timetable timetable;
    if (readTimetable(timetable)) {
        DlgTimetableViewer dlg(this);
        dlg.view(&timetable, QStringLiteral("Time Table Preview"), false);
    }
}
