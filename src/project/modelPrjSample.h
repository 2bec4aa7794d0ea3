#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QStringList>
#include <QVector>

class Project;

// The samples of the open project, one row per row of the sample header: name, sequence,
// date-time, station, position, range, type, and whether the particle and image archives exist.
class modelPrjSample : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column {
        ColSample = 0,
        ColSequence,
        ColDateTime,
        ColStation,
        ColLatitude,
        ColLongitude,
        ColFirst,
        ColLast,
        ColType,
        ColDataProc,
        ColImgProc,
        ColumnCount
    };

    explicit modelPrjSample(const Project* project, QObject* parent = nullptr);

    // Re-reads the header table and the archives' presence.
    void Reload();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    static QStringList ColumnHeaders();
    static QStringList ColumnToolTips();
    // The cells of a row as shown.
    QStringList RowTexts(int row) const { return m_rows.value(row); }
    QString SampleAt(int row) const { return m_rows.value(row).value(ColSample); }
    int RowOf(const QString& sample) const;
    QStringList Samples() const;

private:
    const Project* m_project;
    QVector<QStringList> m_rows;
};
