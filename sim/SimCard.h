#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The instrument's SD card, kept as a folder on disk. Card paths are relative, "/"-separated
// ("acq/202403/20240315-081200/20240315-081200_data.txt"); a path that is absolute, empty or
// holds a "." or ".." component never reaches the disk.
class SimCard {
public:
    explicit SimCard(QString folder);

    const QString& folder() const { return m_folder; }
    bool isSet() const { return !m_folder.isEmpty(); }

    // The file behind a card path, or an empty string (with the reason) when the path is refused.
    QString localPath(const QString& cardPath, QString* why = nullptr) const;

    // Every file of the card as "a/b/c/file", sorted byte-wise, the listing itself left out.
    QStringList files() const;

    // Rewrites "tree.txt" at the card's root: one card path per line, each ended by a line feed.
    bool updateTree(QString* error = nullptr) const;

    // Removes everything on the card (the folder itself stays). Refuses the file-system root and
    // the user's home folder, so that a mistyped --card never wipes them.
    bool format(QString* error = nullptr) const;

    // Lines of the synthetic file of the most recent sequence (sequence folders are named after
    // their start time, so the greatest name is the latest). Empty when that sequence has none.
    QStringList lastSyntheticLines(QString* source = nullptr) const;

    static constexpr const char* kTreeFile = "tree.txt";

private:
    QString m_folder;
};
