#pragma once

#include <QByteArray>
#include <QHash>
#include <QPair>
#include <QString>
#include <QVector>

#include <vector>

class ParamTable;

// One sequence of a project: a folder "raw/<seq>/" holding the data file "<seq>_data.txt" (one
// line per image), the instrument's synthetic file and the vignette archive "images.zip".
// ReadDataFile() reads the data file into rows that samples, processing and charts work on.
//
// A data line is "<date-time>,<pressure>,<value>,<flag><sep><payload>"; the lines whose first
// field is "HW_CONF" or "ACQ_CONF" carry the instrument configuration and are kept whole.
class SequenceHandler {
public:
    // One data line of the file.
    struct stDataRaw {
        QByteArray dateTime;
        double pressure = 0.0; // NaN when the field is not a number
        double value2 = 0.0;   // the third field, read the same way
        char flag = 0;         // '0': image without flash ("BLACK"), anything else: "DATA"
        char kind = 'O';       // 'O' objects, 'E' payload starting with O, 'Y' payload starting with E
        QByteArray payload;    // from the third character after the third comma
        qint32 count1 = 0;     // objects of tracked size 1 on this image
        qint32 count2 = 0;     // objects of tracked size 2 on this image

        bool IsBlack() const { return flag == '0'; }
    };

    static constexpr qint32 kNoTrackedSize = -999;
    static constexpr int kReservedRows = 10000;

    SequenceHandler(const QString& projectPath, const QString& name);

    QString Name() const { return m_name; }
    QString ProjectPath() const { return m_projectPath; }

    // "<project>/raw/<seq>" and "<project>/raw/<seq>/<seq>_data.txt".
    static QString SequenceFolder(const QString& projectPath, const QString& seq);
    static QString DataFilePath(const QString& projectPath, const QString& seq);
    QString SequenceFolder() const { return SequenceFolder(m_projectPath, m_name); }
    QString DataFilePath() const { return DataFilePath(m_projectPath, m_name); }
    QString SyntheticFilePath() const;
    QString ImageArchivePath() const;

    // A sequence name comes from a folder listing or from the instrument's card: it must be a
    // plain folder name before it is used to build a path that is read or removed.
    static bool IsSafeName(const QString& seq);

    // Fills the sequence from its data file. False (with a debug log) when the file cannot be
    // opened; lines too short to hold four fields are skipped and logged, never fatal.
    bool ReadDataFile();
    // The same, keeping only the rows at these indices (ascending, distinct): Rows() then holds them in
    // that order, fewer when the file is shorter, and RowIndex() finds nothing. Much cheaper
    // when a few thousand rows of a long sequence are needed.
    bool ReadDataFile(const std::vector<int>& onlyRows);
    // The logged text of the last failed ReadDataFile().
    QString LastError() const { return m_lastError; }

    const std::vector<stDataRaw>& Rows() const { return m_rows; }
    int RowCount() const { return static_cast<int>(m_rows.size()); }
    // Index of the last row with this date-time text, or -1.
    int RowIndex(const QByteArray& dateTime) const { return m_index.value(dateTime, -1); }
    const QByteArray& HwConfLine() const { return m_hwConf; }
    const QByteArray& AcqConfLine() const { return m_acqConf; }
    // The configuration lines read into the instrument's hardware, respectively acquisition,
    // parameter table (rebuilt with its defaults first). Returns the number of values read, or
    // -1 when the line is absent or does not hold every parameter.
    int ReadHwConf(ParamTable& table) const;
    int ReadAcqConf(ParamTable& table) const;
    // The fields of a configuration line paired with the names of the parameter list they are
    // read with, in line order, as written in the line (a short line gives fewer pairs).
    using ConfigFields = QVector<QPair<QString, QByteArray>>;
    ConfigFields HwConfFields() const;
    ConfigFields AcqConfFields() const;
    int NanPressureCount() const { return m_nanCount; }
    qint32 TrackedSize1() const { return m_trackedSize1; }
    qint32 TrackedSize2() const { return m_trackedSize2; }

    // Removes the sequence folder with everything in it. Refuses an unsafe name.
    bool RemoveFolder(QString* error = nullptr) const;

private:
    bool readFile(const std::vector<int>* onlyRows);
    void parseLine(const char* begin, const char* end);

    QString m_projectPath;
    QString m_name;
    QByteArray m_hwConf;
    QByteArray m_acqConf;
    std::vector<stDataRaw> m_rows;
    QHash<QByteArray, int> m_index;
    qint32 m_trackedSize1 = kNoTrackedSize;
    qint32 m_trackedSize2 = kNoTrackedSize;
    bool m_tracked = false;
    int m_nanCount = 0;
    int m_skipped = 0;
    const std::vector<int>* m_onlyRows = nullptr; // see ReadDataFile(onlyRows)
    std::size_t m_nextOnly = 0;
    int m_dataLines = 0;
    QString m_lastError;
};
