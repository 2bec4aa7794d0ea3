#pragma once

#include "SampleForm.h"

#include <QDialog>
#include <QMap>
#include <QString>

class Project;
class QCPGraph;
class QCPItemStraightLine;
class QCustomPlot;
class QLabel;
class QLineEdit;
class QMouseEvent;
class QPushButton;
class QRadioButton;

// Creates a sample over a sequence, or edits or deletes an existing one. One editor per header
// field (addressed by field name through GET/SET), the two sample-type buttons, and the chart
// of the sequence: pressure against image index, the object counts of the images without flash
// on a second axis, and the first and last images of the range as vertical lines that can be
// dragged. The rules themselves are SampleForm's; this dialog only shows and asks.
class DlgCreateSample : public QDialog {
    Q_OBJECT
public:
    explicit DlgCreateSample(Project* project, QWidget* parent = nullptr);

    // Prepares the creation of a sample of `sequence`; false (after the box saying why) when no
    // sample can be made from it.
    bool OpenForSequence(const QString& sequence);
    // Prepares the edition of `sample`; false (after the "Invalid sample" box) when it is not in
    // the header.
    bool OpenForSample(const QString& sample);

    QString GET(const QString& field) const;
    void SET(const QString& field, const QString& value);

    // The range lines of the chart (image indices).
    double FirstLine() const;
    double LastLine() const;
    // Moves a range line as a drag would, and edits its field.
    void DragLineTo(bool first, double image);

    QCustomPlot* Plot() const { return m_plot; }
    QLabel* Messages() const { return m_messages; }
    static QString HelpText();

public Q_SLOTS:
    void on_btSave_clicked();
    void on_btDetectRange_clicked();
    void on_btDeleteSample_clicked();

private:
    void build();
    void fillEditors();
    void collect();
    void drawChart();
    void updateLines();
    void onRangeEdited();
    void onMousePress(QMouseEvent* event);
    void onMouseMove(QMouseEvent* event);
    void onMouseRelease(QMouseEvent* event);

    Project* m_project;
    SampleForm m_form;
    QMap<QString, QLineEdit*> m_editors;
    QRadioButton* m_rbPressure = nullptr;
    QRadioButton* m_rbTime = nullptr;
    QLabel* m_messages = nullptr;
    QLabel* m_readout = nullptr;
    QPushButton* m_btDelete = nullptr;
    QCustomPlot* m_plot = nullptr;
    QCPGraph* m_pressure = nullptr;
    QCPGraph* m_black = nullptr;
    QCPItemStraightLine* m_firstLine = nullptr;
    QCPItemStraightLine* m_lastLine = nullptr;
    int m_dragging = 0; // 0 none, 1 first line, 2 last line
};
