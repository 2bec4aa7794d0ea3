#include "modelPrjSample.h"

#include "Project.h"

modelPrjSample::modelPrjSample(const Project* project, QObject* parent)
    : QAbstractTableModel(parent)
    , m_project(project) {}

QStringList modelPrjSample::ColumnHeaders() {
    return {QStringLiteral("Sample ID"),  QStringLiteral("Source Seq."), QStringLiteral("Date & Time"),
            QStringLiteral("Station ID"), QStringLiteral("Lat."),        QStringLiteral("Long."),
            QStringLiteral("1st img."),   QStringLiteral("Last img."),   QStringLiteral("Type"),
            QStringLiteral("Data proc."), QStringLiteral("Img. proc.")};
}

QStringList modelPrjSample::ColumnToolTips() {
    return {QString(),
            QString(),
            QString(),
            QString(),
            QStringLiteral("Latitude"),
            QStringLiteral("Longitude"),
            QStringLiteral("First image"),
            QStringLiteral("Last image"),
            QString(),
            QStringLiteral("Data processed"),
            QStringLiteral("Image processed")};
}

void modelPrjSample::Reload() {
    beginResetModel();
    m_rows.clear();
    if (m_project && m_project->IsOpen()) {
        const RAMCsv& header = m_project->SampleHeader();
        const QStringList columns = header.Columns();
        // Cells are read by position: a row shorter than the header simply has empty cells.
        const auto cell = [&](const QStringList& row, const char* name) {
            return row.value(columns.indexOf(QLatin1String(name)));
        };
        for (int r = 0; r < header.RowCount(); ++r) {
            const QStringList row = header.Row(r);
            const QString name = cell(row, "profileid");
            const QString type = cell(row, "sampletype");
            const QString kind = type == QLatin1String("P")   ? QStringLiteral("Depth")
                                 : type == QLatin1String("T") ? QStringLiteral("Time")
                                                              : type;
            m_rows.append({name, cell(row, "filename"), cell(row, "sampledatetime"), cell(row, "stationid"),
                           cell(row, "latitude"), cell(row, "longitude"), cell(row, "firstimage"),
                           cell(row, "endimg"), kind,
                           m_project->HasParticleArchive(name) ? QStringLiteral("Yes") : QStringLiteral("No"),
                           m_project->HasImageArchive(name) ? QStringLiteral("Yes") : QStringLiteral("No")});
        }
    }
    endResetModel();
}

int modelPrjSample::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rows.size();
}

int modelPrjSample::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant modelPrjSample::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_rows.size() || role != Qt::DisplayRole) {
        return QVariant();
    }
    return m_rows[index.row()].value(index.column());
}

QVariant modelPrjSample::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && section >= 0 && section < ColumnCount) {
        if (role == Qt::DisplayRole) {
            return ColumnHeaders().at(section);
        }
        if (role == Qt::ToolTipRole) {
            const QString tip = ColumnToolTips().at(section);
            return tip.isEmpty() ? QVariant() : QVariant(tip);
        }
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

int modelPrjSample::RowOf(const QString& sample) const {
    for (int i = 0; i < m_rows.size(); ++i) {
        if (m_rows[i].value(ColSample) == sample) {
            return i;
        }
    }
    return -1;
}

QStringList modelPrjSample::Samples() const {
    QStringList names;
    for (const QStringList& row : m_rows) {
        names << row.value(ColSample);
    }
    return names;
}
