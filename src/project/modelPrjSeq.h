#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QStringList>
#include <QVector>

class Project;

// The sequences of the open project, one row per folder of "raw/": whether its data file,
// synthetic file and vignette archive are there, and how many samples are cut from it.
class modelPrjSeq : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { ColSequence = 0, ColDataFile, ColSynthFile, ColImagesZip, ColSamples, ColumnCount };

    struct Entry {
        QString name;
        bool dataFile = false;
        bool synthFile = false;
        bool imagesZip = false;
        int samples = 0;
    };

    explicit modelPrjSeq(const Project* project, QObject* parent = nullptr);

    // Re-reads "raw/" and the sample counts of the project's header table.
    void Reload();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    static QStringList ColumnHeaders();
    const Entry& EntryAt(int row) const { return m_entries.at(row); }
    int RowOf(const QString& sequence) const;
    // Sequences whose vignette archive has not been built yet.
    QStringList SequencesWithoutImageZip() const;

private:
    const Project* m_project;
    QVector<Entry> m_entries;
};
