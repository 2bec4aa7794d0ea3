#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

// A delimited text file held whole in memory: a header row of column names and rows of text
// cells, addressed by row number and column name. Every cell is text; the table converts
// nothing except that empty cells of the numeric columns stand for a missing number ("nan").
//
// Misuse never throws: it is logged (source "default") and answered by an empty result or by no
// change at all, so that a damaged file or a wrong column name costs a warning, not the project.
class RAMCsv {
public:
    explicit RAMCsv(const QString& separator = QStringLiteral(";"));

    void SetSeparator(const QString& separator) { m_separator = separator; }
    QString Separator() const { return m_separator; }

    // Replaces the header (names trimmed); the rows are kept as they are.
    void SetColumns(const QStringList& names);
    // Appends a column unless one of that (trimmed) name exists. Existing rows are padded with
    // empty cells up to the new header width, so that the new column can be set on them.
    void AddColumn(const QString& name);
    QStringList Columns() const { return m_header; }
    bool HasColumn(const QString& name) const { return m_index.contains(name); }

    // Column index of `name`, or -1 with the warning "RAMCsv::Locate Invalid column name".
    int Locate(const QString& name) const;

    int RowCount() const { return m_rows.size(); }
    QStringList Row(int row) const { return m_rows.value(row); }

    QString Get(int row, const QString& name) const;
    void Set(int row, const QString& name, const QString& value);

    // Appends a row; a row shorter than the header is padded with empty cells so that every
    // column can be set on it.
    void AddRow(const QStringList& cells);
    void RemoveRow(int row);
    // Gives a row shorter than the header its missing (empty) cells, so that each can be set.
    void PadRow(int row);

    // Columns whose empty cells are written (and read back) as "nan".
    void SetNumericColumns(const QStringList& names);
    QStringList NumericColumns() const { return m_numeric; }

    // Loads the whole file; on failure the table is left as it was.
    bool LoadFile(const QString& path);
    // Writes the whole table to a temporary file beside `path` and renames it over `path`, so
    // that a crash or a full disk leaves the previous file whole.
    bool SaveFile(const QString& path);

    // The whole table as it would be written to a file.
    QByteArray ToBytes();

private:
    void rebuildIndex();
    void applyNumericRule();

    QString m_separator;
    QStringList m_header;
    QMap<QString, int> m_index;
    QVector<QStringList> m_rows;
    QStringList m_numeric;
    // A file that was not valid UTF-8 is read and written back as Latin-1, byte for byte.
    bool m_latin1 = false;
};
