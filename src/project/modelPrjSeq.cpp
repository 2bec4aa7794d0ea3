#include "modelPrjSeq.h"

#include "Project.h"
#include "SequenceHandler.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

modelPrjSeq::modelPrjSeq(const Project* project, QObject* parent)
    : QAbstractTableModel(parent)
    , m_project(project) {}

QStringList modelPrjSeq::ColumnHeaders() {
    return {QStringLiteral("Sequence"), QStringLiteral("DATA file"), QStringLiteral("Synth file"),
            QStringLiteral("images.zip"), QStringLiteral("# of sample")};
}

void modelPrjSeq::Reload() {
    beginResetModel();
    m_entries.clear();
    if (m_project && m_project->IsOpen()) {
        const RAMCsv& header = m_project->SampleHeader();
        QHash<QString, int> samples;
        const int column = header.Columns().indexOf(QStringLiteral("filename"));
        if (column >= 0) {
            for (int r = 0; r < header.RowCount(); ++r) {
                const QStringList row = header.Row(r);
                if (column < row.size()) {
                    ++samples[row[column]];
                }
            }
        }
        const QString project = m_project->Path();
        const QDir raw(project + QStringLiteral("/raw"));
        const QStringList folders = raw.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        m_entries.reserve(folders.size());
        for (const QString& name : folders) {
            Entry e;
            e.name = name;
            const SequenceHandler seq(project, name);
            e.dataFile = QFileInfo::exists(seq.DataFilePath());
            e.synthFile = QFileInfo::exists(seq.SyntheticFilePath());
            e.imagesZip = QFileInfo::exists(seq.ImageArchivePath());
            e.samples = samples.value(name, 0);
            m_entries.append(e);
        }
    }
    endResetModel();
}

int modelPrjSeq::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_entries.size();
}

int modelPrjSeq::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant modelPrjSeq::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_entries.size() || role != Qt::DisplayRole) {
        return QVariant();
    }
    const Entry& e = m_entries[index.row()];
    auto yn = [](bool b) { return b ? QStringLiteral("Y") : QStringLiteral("N"); };
    switch (index.column()) {
    case ColSequence:
        return e.name;
    case ColDataFile:
        return yn(e.dataFile);
    case ColSynthFile:
        return yn(e.synthFile);
    case ColImagesZip:
        return yn(e.imagesZip);
    case ColSamples:
        return e.samples;
    default:
        return QVariant();
    }
}

QVariant modelPrjSeq::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < ColumnCount) {
        return ColumnHeaders().at(section);
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

int modelPrjSeq::RowOf(const QString& sequence) const {
    for (int i = 0; i < m_entries.size(); ++i) {
        if (m_entries[i].name == sequence) {
            return i;
        }
    }
    return -1;
}

QStringList modelPrjSeq::SequencesWithoutImageZip() const {
    QStringList names;
    for (const Entry& e : m_entries) {
        if (!e.imagesZip) {
            names.append(e.name);
        }
    }
    return names;
}
