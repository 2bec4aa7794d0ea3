#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

// Where a download stands, for a progress bar or a progress line.
struct DownloadProgress {
    QString sequence;
    int filesDone = 0;
    int filesTotal = 0;
    std::int64_t bytes = 0;
    std::int64_t elapsedMs = 0;
};

// One sequence of the instrument's SD card, as its file listing ("tree.txt") names it.
struct SdSequenceEntry {
    QString dir;           // card folder with a trailing "/", taken from the data file's line only
    QString dataFile;      // "..._data.txt", empty when the card has none
    QString syntheticFile; // "..._synthetic.txt", may be empty
    QStringList images;    // ".vig" and ".raw" names below `dir`, in listing order
    quint32 vigCount = 0;
    quint32 rawCount = 0;
    QString status; // last status computed for the grid
};

// The card's sequences, keyed by name in byte order, shared by the download page, its listing
// and download tasks and `kelvo sequence`. The listing task fills it; the page reads it.
class SdSequenceList {
public:
    using Entries = std::map<QByteArray, SdSequenceEntry>;
    static constexpr const char* kSelfCheckKey = "AUTOCHECK";

    static SdSequenceList& instance();

    void clear();
    // Parses listing bytes into the list (which is emptied first). Lines are split at line
    // feeds; a trailing carriage return is dropped. Lines naming an unsafe sequence or file
    // name are logged and left out, and a line repeated is counted once.
    void parseListing(const QByteArray& listing);
    // The same into `entries`, for callers that keep their own list.
    static void parseListingInto(const QByteArray& listing, Entries& entries);

    Entries entries() const;
    std::optional<SdSequenceEntry> find(const QString& name) const;
    int count() const;
    void setStatus(const QString& name, const QString& status);

    QString currentTransfer() const;
    void setCurrentTransfer(const QString& name);
    bool networkError() const;
    void setNetworkError(bool error);
    // The download running now (or the last one), for the page's progress bar.
    DownloadProgress progress() const;
    void setProgress(const DownloadProgress& progress);

private:
    mutable std::mutex m_mutex;
    Entries m_entries;
    QString m_currentTransfer;
    bool m_networkError = false;
    DownloadProgress m_progress;
};

// The grid's status of one entry, tested in this order: "N/A", "transfer in progress",
// "transfer scheduled", "Not in project", "Vignettes missing", "Vignettes corrupted",
// "Some Vignettes missing", "OK".
QString sd_sequence_status(const QString& name, const SdSequenceEntry& entry, const QString& projectPath,
                           const QString& currentTransfer,
                           const std::function<bool(const QString&)>& isScheduled);
