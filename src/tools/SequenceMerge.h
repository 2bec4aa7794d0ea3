#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

// One sequence of the candidate list of a merge: its criteria values, the key they make, the
// time since the previous candidate, the group it falls in and that group's merged name.
struct MergeCandidate {
    QString name;
    QStringList values; // the chosen criteria values, as text
    QString key;        // `values` joined with ","
    QString gap;        // seconds since the previous candidate; empty when it cannot be told
    QString base;       // first sequence of the group
    qint32 count = 0;   // the group's size on its first sequence, 0 on the others
    QString proposal;   // the group's merged name when it has 2 or more sequences, else empty
};

// Joins sequences of a project into one new sequence: the data files are concatenated, the
// image archives united, and the sources kept under a name marked "_UsedForMerge". GUI-free:
// the merge dialog and `kelvo sequence merge|unmerge` are two faces of it. Logs under
// "DlgMergeSequence".
class SequenceMerge {
public:
    // The acquisition parameters that may break a group.
    enum Criterion { Lpm = 1, Vig = 2, Save = 4, Ratio = 8 };
    static constexpr int kAllCriteria = Lpm | Vig | Save | Ratio;
    static constexpr qint32 kNoCountLimit = 999999;
    static constexpr const char* kUsedMark = "_UsedForMerge";

    struct Grouping {
        int criteria = kAllCriteria;
        qint64 maxGapSeconds = 0; // 0 or less: the time does not break groups
        int maxCount = 0;         // below 1: no practical limit
        bool hideUsed = true;     // leave out the sources of earlier merges
    };

    struct Result {
        bool ok = false;
        QString error;       // why the merge did not complete
        QString destination; // folder of the merged sequence
        int entries = 0;     // entries of the destination's images.zip
        QStringList skipped; // archive problems that were logged and skipped
    };

    using Progress = std::function<void(int done, int total)>;

    // "Lpm", "Vig", "Save", "Ratio" of the chosen criteria, in that order.
    static QStringList CriteriaLabels(int criteria);
    // Parses "lpm,vig,save,ratio" (any subset, any order); -1 on an unknown word.
    static int ParseCriteria(const QString& text);

    // A result of an earlier merge: "Merged" after the first character.
    static bool IsMergedName(const QString& name);
    // A source of an earlier merge: "UsedForMerge" anywhere.
    static bool IsUsedName(const QString& name);
    // "<first>_Merged-<count with at least 3 digits>".
    static QString MergedName(const QString& first, int count);
    // The start time read from "yyyyMMdd-HHmmss" at the start of the name, in seconds since
    // the epoch; false when the name does not start with a valid stamp.
    static bool StartTime(const QString& name, qint64* seconds);
    // The chosen criteria values read from the ACQ_CONF line of the sequence's data file; an
    // absent line or parameter gives empty values.
    static QStringList CriteriaValues(const QString& projectPath, const QString& sequence, int criteria);

    // The sequences of the project in the sequences page's order.
    static QStringList ProjectSequences(const QString& projectPath);
    // The candidate list with its groups, from `sequences` in that order.
    static std::vector<MergeCandidate> Candidates(const QString& projectPath, const QStringList& sequences,
                                                  const Grouping& grouping);
    // The names of the group starting at `base`, in list order.
    static QStringList GroupMembers(const std::vector<MergeCandidate>& candidates, const QString& base);

    // "Merging <dest>\n\nPlease Wait\n\nInclude :<sources joined with " , ">".
    static QString StatusText(const QString& destination, const QStringList& sources);

    // Merges `sources` (in that order) into the new sequence `destination`. The destination is
    // written completely under a hidden staging name and then put in place; only then are the
    // sources renamed. A refusal or an error before that leaves every source as it was.
    static Result Merge(const QString& projectPath, const QStringList& sources, const QString& destination,
                        const Progress& progress = {});

    // Gives a used source its name back: its data file, then its folder.
    static bool Restore(const QString& projectPath, const QString& name, QString* error = nullptr);
};
