#include "DlgSampleFigure.h"

#include "SamplePlots.h"
#include "app/UiDialogs.h"
#include "project/Project.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <qcustomplot.h>

DlgSampleFigure::DlgSampleFigure(const Project& project, const QString& sample, QWidget* parent)
    : QDialog(parent)
    , m_view(new QComboBox(this))
    , m_classes(new QComboBox(this))
    , m_plot(new QCustomPlot(this))
    , m_readout(new QLabel(this)) {
    setObjectName(QStringLiteral("DlgSampleFigure"));
    setWindowTitle(QStringLiteral("Sample %1").arg(sample));
    m_settings = SpectrumSettings::load(project.Path(), &m_error);
    m_error.clear();
    m_loaded = SampleSpectrumSource::load(project, sample, m_settings, &m_data, &m_error);

    m_view->setObjectName(QStringLiteral("cbView"));
    m_view->addItems(
        {QStringLiteral("Total abundance and biovolume"), QStringLiteral("Grouped size ranges")});
    m_classes->setObjectName(QStringLiteral("cbClasses"));
    m_classes->addItem(QStringLiteral("All size classes"));
    const std::vector<double> edges = m_settings.classEdgesMm();
    for (int c = 0; c < static_cast<int>(edges.size()); ++c) {
        m_classes->addItem(SpectrumSettings::classLabel(edges, c) + QStringLiteral(" mm"));
    }
    m_classes->setToolTip(QStringLiteral("The classes counted in the total abundance"));
    auto* save = new QPushButton(QStringLiteral("Save as PNG/PDF"), this);
    save->setObjectName(QStringLiteral("btSave"));
    m_readout->setObjectName(QStringLiteral("lblReadout"));
    m_readout->setMinimumWidth(
        fontMetrics().horizontalAdvance(QStringLiteral("Depth 0000.0 m: 0000000 #/L")));
    auto* help =
        new QLabel(QStringLiteral("Drag to pan, wheel to zoom; the values under the cursor are shown "
                                  "on the right."),
                   this);
    help->setWordWrap(true);

    auto* top = new QHBoxLayout;
    top->addWidget(m_view);
    top->addWidget(m_classes);
    top->addStretch();
    top->addWidget(save);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_plot, 1);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(help, 1);
    bottom->addWidget(m_readout);
    layout->addLayout(bottom);
    m_plot->setMinimumSize(600, 700);
    connect(m_plot, &QCustomPlot::mouseMove, this, [this](QMouseEvent* e) { showValueAt(e->pos()); });
    connect(m_classes, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] { redraw(); });
    QMetaObject::connectSlotsByName(this);
    redraw();
}

void DlgSampleFigure::redraw() {
    if (!m_loaded) {
        m_plot->plotLayout()->clear();
        m_plot->plotLayout()->addElement(0, 0, new QCPTextElement(m_plot, m_error));
        m_plot->replot();
        return;
    }
    SampleSpectrumData shown = m_data;
    // One class chosen: the others count for nothing in what is drawn.
    const int only = m_classes->currentIndex() - 1;
    if (only >= 0) {
        for (SpectrumBin& bin : shown.spectrum.bins) {
            for (int c = 0; c < static_cast<int>(bin.abundance.size()); ++c) {
                if (c != only) {
                    bin.abundance[static_cast<std::size_t>(c)] = 0;
                }
            }
        }
    }
    if (m_view->currentIndex() == 0) {
        SamplePlots::drawTotal(m_plot, shown);
    } else {
        SamplePlots::drawReduced(m_plot, shown, m_settings);
    }
}

void DlgSampleFigure::on_cbView_currentIndexChanged(int) {
    m_classes->setEnabled(m_view->currentIndex() == 0);
    redraw();
}

void DlgSampleFigure::showValueAt(const QPoint& pos) {
    QCPAxisRect* rect = m_plot->axisRect();
    if (rect == nullptr || !m_loaded) {
        return;
    }
    const bool time = m_data.spectrum.timeSeries;
    QCPAxis* place = rect->axis(time ? QCPAxis::atBottom : QCPAxis::atLeft);
    QCPAxis* value = rect->axis(time ? QCPAxis::atLeft : QCPAxis::atBottom);
    const double at = place->pixelToCoord(time ? pos.x() : pos.y());
    const double v = value->pixelToCoord(time ? pos.y() : pos.x());
    m_readout->setText(time ? QStringLiteral("%1: %2 %3")
                                  .arg(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(at * 1000))
                                           .toString(QStringLiteral("hh:mm:ss")))
                                  .arg(v, 0, 'g', 4)
                                  .arg(value->label().section(QLatin1Char(' '), 1, 1))
                            : QStringLiteral("Depth %1 m: %2 %3")
                                  .arg(at, 0, 'f', 1)
                                  .arg(v, 0, 'g', 4)
                                  .arg(value->label().section(QLatin1Char(' '), -1)));
}

bool DlgSampleFigure::saveTo(const QString& path) {
    if (path.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive)) {
        return m_plot->savePdf(path);
    }
    return m_plot->savePng(path);
}

void DlgSampleFigure::on_btSave_clicked() {
    const QString path =
        UiDialogs::saveFileName(this, QStringLiteral("Save the chart"), m_data.name + QStringLiteral(".png"),
                                QStringLiteral("PNG image (*.png);;PDF document (*.pdf)"));
    if (!path.isEmpty() && !saveTo(path)) {
        UiDialogs::warning(this, QStringLiteral("Save the chart"),
                           QStringLiteral("Unable to write %1").arg(path));
    }
}
