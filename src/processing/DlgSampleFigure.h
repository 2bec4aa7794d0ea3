#pragma once

#include "SampleSpectrumSource.h"

#include <QDialog>

class QComboBox;
class QCustomPlot;
class QLabel;

// "View chart": a sample's particle spectra drawn live, the total or the grouped sizes against
// depth (or time), with zoom and pan by the mouse, a read-out of the values under the cursor,
// a choice of the size classes shown, and saving as PNG or PDF.
class DlgSampleFigure : public QDialog {
    Q_OBJECT
public:
    // Reads the sample at once; `error()` tells why when it cannot be shown.
    DlgSampleFigure(const Project& project, const QString& sample, QWidget* parent = nullptr);

    bool isLoaded() const { return m_loaded; }
    QString error() const { return m_error; }
    QCustomPlot* plot() const { return m_plot; }
    QLabel* readout() const { return m_readout; }

    // Saves what is shown: PDF when the name ends in ".pdf", else PNG.
    bool saveTo(const QString& path);

public Q_SLOTS:
    void on_cbView_currentIndexChanged(int index);
    void on_btSave_clicked();

private:
    void redraw();
    void showValueAt(const QPoint& pos);

    SampleSpectrumData m_data;
    SpectrumSettings m_settings;
    bool m_loaded = false;
    QString m_error;
    QComboBox* m_view;
    QComboBox* m_classes;
    QCustomPlot* m_plot;
    QLabel* m_readout;
};
