#include "DlgCreateSample.h"

#include "Project.h"
#include "app/UiDialogs.h"
#include "processing/RangeDetector.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <qcustomplot.h>

#include <cmath>

namespace {

constexpr const char* kModule = "DlgCreateSample";
// A press this close to a range line (in pixels) grabs it instead of panning the chart.
constexpr double kGrabPixels = 6.0;

} // namespace

DlgCreateSample::DlgCreateSample(Project* project, QWidget* parent)
    : QDialog(parent)
    , m_project(project) {
    setObjectName(QStringLiteral("DlgCreateSample"));
    setWindowTitle(tr("Sample"));
    build();
}

QString DlgCreateSample::HelpText() {
    return QStringLiteral(
        "The chart shows the pressure of every image of the sequence (left axis) and the object count of "
        "the images taken without flash (BLACK, right axis).\n"
        "Zoom with the mouse wheel, pan by dragging the chart; the value under the cursor is shown below "
        "the chart.\n"
        "The green and red vertical lines are the first and last images of the sample: drag them, or edit "
        "the First image and Last image fields.\n"
        "Detect range proposes the range from the BLACK counts (surface light) for a Depth sample, the whole "
        "sequence for a Time sample.");
}

void DlgCreateSample::build() {
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    // The editors follow the header's column order; the checks go by field name.
    for (const QString& field : SampleForm::FieldsInFileOrder()) {
        if (field == QLatin1String("sampletype")) {
            auto* types = new QHBoxLayout;
            m_rbPressure = new QRadioButton(tr("Depth (P)"), this);
            m_rbPressure->setObjectName(QStringLiteral("rbPressure"));
            m_rbTime = new QRadioButton(tr("Time (T)"), this);
            m_rbTime->setObjectName(QStringLiteral("rbTime"));
            types->addWidget(m_rbPressure);
            types->addWidget(m_rbTime);
            types->addStretch();
            form->addRow(SampleForm::Label(field) + QStringLiteral(" :"), types);
            continue;
        }
        auto* edit = new QLineEdit(this);
        edit->setObjectName(QStringLiteral("ed") + field);
        m_editors.insert(field, edit);
        form->addRow(SampleForm::Label(field) + QStringLiteral(" :"), edit);
    }
    m_editors.value(QStringLiteral("filename"))->setReadOnly(true);
    connect(m_editors.value(QStringLiteral("firstimage")), &QLineEdit::editingFinished, this,
            &DlgCreateSample::onRangeEdited);
    connect(m_editors.value(QStringLiteral("endimg")), &QLineEdit::editingFinished, this,
            &DlgCreateSample::onRangeEdited);
    // The lines follow the typing; the date-time follows once the field is left.
    connect(m_editors.value(QStringLiteral("firstimage")), &QLineEdit::textEdited, this,
            &DlgCreateSample::updateLines);
    connect(m_editors.value(QStringLiteral("endimg")), &QLineEdit::textEdited, this,
            &DlgCreateSample::updateLines);

    auto* fields = new QWidget(this);
    fields->setLayout(form);
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(fields);
    scroll->setWidgetResizable(true);
    scroll->setMinimumWidth(fields->sizeHint().width() + 30);

    m_plot = new QCustomPlot(this);
    m_plot->setObjectName(QStringLiteral("plot"));
    m_plot->setMinimumSize(480, 360);
    m_plot->setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
    m_plot->axisRect()->setRangeDrag(Qt::Horizontal | Qt::Vertical);
    m_plot->axisRect()->setRangeZoom(Qt::Horizontal | Qt::Vertical);
    m_plot->xAxis->setLabel(tr("Image index"));
    m_plot->yAxis->setLabel(tr("Pressure (dbar)"));
    m_plot->yAxis->setRangeReversed(true);
    m_plot->yAxis2->setVisible(true);
    m_plot->yAxis2->setLabel(tr("BLACK count 1"));
    m_pressure = m_plot->addGraph(m_plot->xAxis, m_plot->yAxis);
    m_pressure->setName(tr("Pressure"));
    m_pressure->setPen(QPen(QColor(30, 90, 200)));
    m_black = m_plot->addGraph(m_plot->xAxis, m_plot->yAxis2);
    m_black->setName(tr("BLACK count 1"));
    m_black->setLineStyle(QCPGraph::lsNone);
    m_black->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssDisc, QColor(120, 120, 120), 3));
    m_firstLine = new QCPItemStraightLine(m_plot);
    m_firstLine->setPen(QPen(QColor(0, 150, 0), 2));
    m_lastLine = new QCPItemStraightLine(m_plot);
    m_lastLine->setPen(QPen(QColor(200, 0, 0), 2));
    m_plot->legend->setVisible(true);
    connect(m_plot, &QCustomPlot::mousePress, this, &DlgCreateSample::onMousePress);
    connect(m_plot, &QCustomPlot::mouseMove, this, &DlgCreateSample::onMouseMove);
    connect(m_plot, &QCustomPlot::mouseRelease, this, &DlgCreateSample::onMouseRelease);

    m_readout = new QLabel(this);
    m_readout->setObjectName(QStringLiteral("lblValue"));
    auto* help = new QLabel(HelpText(), this);
    help->setObjectName(QStringLiteral("lblHelp"));
    help->setWordWrap(true);
    m_messages = new QLabel(this);
    m_messages->setObjectName(QStringLiteral("lblMessages"));
    m_messages->setTextFormat(Qt::RichText);
    m_messages->setWordWrap(true);
    m_messages->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // However many messages a save collects, they can all be read.
    auto* messages = new QScrollArea(this);
    messages->setWidget(m_messages);
    messages->setWidgetResizable(true);
    messages->setFrameShape(QFrame::NoFrame);
    messages->setMinimumHeight(fontMetrics().lineSpacing() * 6);

    auto* chart = new QVBoxLayout;
    chart->addWidget(m_plot, 1);
    chart->addWidget(m_readout);
    chart->addWidget(help);
    chart->addWidget(messages);

    auto* top = new QHBoxLayout;
    top->addWidget(scroll);
    top->addLayout(chart, 1);

    auto* buttons = new QHBoxLayout;
    const auto button = [&](const char* name, const QString& text) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(QLatin1String(name));
        b->setAutoDefault(false);
        buttons->addWidget(b);
        return b;
    };
    button("btDetectRange", tr("Detect range"));
    m_btDelete = button("btDeleteSample", tr("Delete sample"));
    m_btDelete->setVisible(false);
    buttons->addStretch();
    button("btSave", tr("Save"));
    QPushButton* cancel = button("btCancel", tr("Cancel"));
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addLayout(buttons);
    QMetaObject::connectSlotsByName(this);
}

QString DlgCreateSample::GET(const QString& field) const {
    if (field == QLatin1String("sampletype")) {
        return m_rbPressure->isChecked() ? QStringLiteral("P")
               : m_rbTime->isChecked()   ? QStringLiteral("T")
                                         : QString();
    }
    if (QLineEdit* edit = m_editors.value(field)) {
        return edit->text();
    }
    GetTraceMgr()->logf(kModule, ZelLevelWarning, "GET invalid FieldName {}", field);
    return QString();
}

void DlgCreateSample::SET(const QString& field, const QString& value) {
    if (field == QLatin1String("sampletype")) {
        // Exclusive buttons: clearing both needs the exclusivity lifted for a moment.
        m_rbPressure->setAutoExclusive(false);
        m_rbTime->setAutoExclusive(false);
        m_rbPressure->setChecked(value == QLatin1String("P"));
        m_rbTime->setChecked(value == QLatin1String("T"));
        m_rbPressure->setAutoExclusive(true);
        m_rbTime->setAutoExclusive(true);
        return;
    }
    if (QLineEdit* edit = m_editors.value(field)) {
        edit->setText(value);
        edit->setCursorPosition(0);
        return;
    }
    GetTraceMgr()->logf(kModule, ZelLevelWarning, "SET invalid FieldName {}", field);
}

void DlgCreateSample::fillEditors() {
    for (const QString& field : SampleForm::Fields()) {
        SET(field, m_form.Get(field));
    }
}

void DlgCreateSample::collect() {
    for (const QString& field : SampleForm::Fields()) {
        m_form.Set(field, GET(field));
    }
}

bool DlgCreateSample::OpenForSequence(const QString& sequence) {
    if (!m_form.OpenSequence(m_project->Path(), sequence)) {
        UiDialogs::critical(this, QStringLiteral("Create sample"),
                            QStringLiteral("Unable to read the data file of sequence '%1'\n%2")
                                .arg(sequence, m_form.LastError()));
        return false;
    }
    const SampleForm::Box refusal = m_form.SequenceRefusal();
    if (refusal.isSet()) {
        UiDialogs::warning(this, refusal.title, refusal.text);
        return false;
    }
    m_form.Prefill(*m_project);
    setWindowTitle(tr("Create sample from sequence %1").arg(sequence));
    m_btDelete->setVisible(false);
    fillEditors();
    drawChart();
    return true;
}

bool DlgCreateSample::OpenForSample(const QString& sample) {
    const SampleForm::Box invalid = m_form.Load(*m_project, sample);
    if (invalid.isSet()) {
        UiDialogs::warning(this, invalid.title, invalid.text);
        return false;
    }
    setWindowTitle(tr("Edit sample %1").arg(sample));
    m_btDelete->setVisible(true);
    fillEditors();
    drawChart();
    if (!m_form.SequenceLoaded()) {
        m_messages->setText(SampleForm::Html({QStringLiteral("Unable to read the data file of sequence '%1'")
                                                  .arg(m_form.Get(QStringLiteral("filename")))}));
    }
    const int processed = m_form.LastProcessedImage(*m_project);
    if (processed >= 0) {
        const SampleForm::Box box = SampleForm::LastProcessedBox(processed);
        UiDialogRequest request;
        request.icon = QMessageBox::Information;
        request.title = box.title;
        request.text = box.text;
        request.buttons = QMessageBox::Apply | QMessageBox::Close;
        request.defaultButton = QMessageBox::Close;
        request.labels.insert(QMessageBox::Apply, QStringLiteral("Use it"));
        if (UiDialogs::ask(this, request) == QMessageBox::Apply) {
            SET(QStringLiteral("endimg"), QString::number(processed));
            onRangeEdited();
        }
    }
    return true;
}

void DlgCreateSample::drawChart() {
    QVector<double> x;
    QVector<double> p;
    QVector<double> bx;
    QVector<double> bc;
    if (m_form.SequenceLoaded()) {
        const auto& rows = m_form.Sequence().Rows();
        x.reserve(static_cast<int>(rows.size()));
        p.reserve(static_cast<int>(rows.size()));
        for (size_t i = 0; i < rows.size(); ++i) {
            const SequenceHandler::stDataRaw& r = rows[i];
            x.append(static_cast<double>(i));
            // A missing pressure leaves a gap in the line.
            p.append(r.pressure);
            if (r.IsBlack() && r.kind == 'O') {
                bx.append(static_cast<double>(i));
                bc.append(r.count1);
            }
        }
    }
    m_pressure->setData(x, p, true);
    m_black->setData(bx, bc, true);
    m_plot->rescaleAxes();
    if (!x.isEmpty()) {
        m_plot->xAxis->setRange(-1, x.size());
    }
    updateLines();
}

double DlgCreateSample::FirstLine() const {
    return m_firstLine->point1->coords().x();
}

double DlgCreateSample::LastLine() const {
    return m_lastLine->point1->coords().x();
}

void DlgCreateSample::updateLines() {
    bool okFirst = false;
    bool okLast = false;
    const int first = GET(QStringLiteral("firstimage")).trimmed().toInt(&okFirst);
    const int last = GET(QStringLiteral("endimg")).trimmed().toInt(&okLast);
    m_firstLine->setVisible(okFirst);
    m_lastLine->setVisible(okLast);
    if (okFirst) {
        m_firstLine->point1->setCoords(first, 0);
        m_firstLine->point2->setCoords(first, 1);
    }
    if (okLast) {
        m_lastLine->point1->setCoords(last, 0);
        m_lastLine->point2->setCoords(last, 1);
    }
    m_plot->replot(QCustomPlot::rpQueuedReplot);
}

void DlgCreateSample::onRangeEdited() {
    bool okFirst = false;
    bool okLast = false;
    const int first = GET(QStringLiteral("firstimage")).trimmed().toInt(&okFirst);
    const int last = GET(QStringLiteral("endimg")).trimmed().toInt(&okLast);
    if (okFirst && okLast) {
        collect();
        m_form.SetRange(first, last);
        SET(QStringLiteral("sampledatetime"), m_form.Get(QStringLiteral("sampledatetime")));
    }
    updateLines();
}

void DlgCreateSample::DragLineTo(bool first, double image) {
    const int rows = m_form.SequenceLoaded() ? m_form.Sequence().RowCount() : 0;
    const int index = std::clamp(static_cast<int>(std::lround(image)), 0, std::max(0, rows - 1));
    SET(first ? QStringLiteral("firstimage") : QStringLiteral("endimg"), QString::number(index));
    onRangeEdited();
}

void DlgCreateSample::onMousePress(QMouseEvent* event) {
    m_dragging = 0;
    const double px = event->pos().x();
    const auto near = [&](QCPItemStraightLine* line) {
        return line->visible() &&
               std::abs(m_plot->xAxis->coordToPixel(line->point1->coords().x()) - px) <= kGrabPixels;
    };
    if (near(m_firstLine)) {
        m_dragging = 1;
    } else if (near(m_lastLine)) {
        m_dragging = 2;
    }
    // A grabbed line moves alone: the chart does not pan under it.
    m_plot->setInteraction(QCP::iRangeDrag, m_dragging == 0);
}

void DlgCreateSample::onMouseMove(QMouseEvent* event) {
    const double x = m_plot->xAxis->pixelToCoord(event->pos().x());
    const int index = static_cast<int>(std::lround(x));
    QString text = tr("Image %1").arg(index);
    if (m_form.SequenceLoaded() && index >= 0 && index < m_form.Sequence().RowCount()) {
        const SequenceHandler::stDataRaw& r = m_form.Sequence().Rows()[static_cast<size_t>(index)];
        text += tr(" : %1 dbar, %2, count 1 = %3")
                    .arg(std::isnan(r.pressure) ? QStringLiteral("nan") : QString::number(r.pressure, 'g', 6))
                    .arg(r.IsBlack() ? QStringLiteral("BLACK") : QStringLiteral("DATA"))
                    .arg(r.count1);
    }
    m_readout->setText(text);
    if (m_dragging != 0 && (event->buttons() & Qt::LeftButton)) {
        DragLineTo(m_dragging == 1, x);
    }
}

void DlgCreateSample::onMouseRelease(QMouseEvent*) {
    m_dragging = 0;
    m_plot->setInteraction(QCP::iRangeDrag, true);
}

void DlgCreateSample::on_btDetectRange_clicked() {
    if (!m_form.SequenceLoaded()) {
        return;
    }
    const RangeDetector::Result r =
        RangeDetector::Detect(m_form.Sequence().Rows(), GET(QStringLiteral("sampletype")));
    if (!r.title.isEmpty()) {
        UiDialogs::warning(this, r.title, r.text);
    }
    if (!r.ok) {
        return;
    }
    SET(QStringLiteral("firstimage"), QString::number(r.first));
    SET(QStringLiteral("endimg"), QString::number(r.last));
    onRangeEdited();
}

void DlgCreateSample::on_btSave_clicked() {
    collect();
    const SampleForm::Check check = m_form.Validate(*m_project);
    m_messages->setText(SampleForm::Html(check.messages));
    if (check.allPressureMissing) {
        UiDialogs::warning(this, QStringLiteral("No pressure data"),
                           SampleForm::Plain(check.messages.last()));
    }
    if (!check.ok()) {
        return;
    }
    for (const SampleForm::Box& q :
         {m_form.ResultDiscardQuestion(*m_project), m_form.OverlapQuestion(*m_project)}) {
        if (!q.isSet()) {
            continue;
        }
        if (UiDialogs::question(this, q.title, q.text,
                                QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                QMessageBox::Cancel) != QMessageBox::Save) {
            return;
        }
    }
    QString error;
    if (!m_form.Store(*m_project, &error)) {
        UiDialogs::critical(this, QStringLiteral("Save sample"), error);
        return;
    }
    accept();
}

void DlgCreateSample::on_btDeleteSample_clicked() {
    const QString sample = m_form.EditedName();
    if (sample.isEmpty()) {
        return;
    }
    const SampleForm::Box q = SampleForm::DeleteQuestion();
    if (UiDialogs::question(this, q.title, q.text, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel,
                            QMessageBox::Cancel) != QMessageBox::Yes) {
        return;
    }
    QString error;
    if (!SampleForm::Delete(*m_project, sample, &error)) {
        UiDialogs::critical(this, QStringLiteral("Delete sample"), error);
        return;
    }
    accept();
}
