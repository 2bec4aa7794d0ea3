#pragma once

#include "SequenceHandler.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>

class Project;

// One sample being created or edited: the values of its header fields, the sequence it is cut
// from, and the rules by which it is pre-filled, checked, stored and deleted. The sample dialog
// and `kelvo sample` both work through it, so that a rule holds the same on both faces; the
// questions and refusals come back as texts for the face to show.
class SampleForm {
public:
    // A refusal or a question: the title and text of its box.
    struct Box {
        QString title;
        QString text;
        bool isSet() const { return !title.isEmpty(); }
    };

    // The outcome of the checks on save: the messages in their order (with the dialog's
    // entities, "&lt;"), and whether the pressure of every selected image is missing (the dialog
    // tells that one in its own box, titled "No pressure data").
    struct Check {
        QStringList messages;
        bool allPressureMissing = false;
        bool ok() const { return messages.isEmpty(); }
    };

    SampleForm();

    // The fields with an editor, in name order ("dn" and "yoyo" have none and keep their cells).
    static const QStringList& Fields();
    // The same fields in the header's column order, as the dialog lays their editors out.
    static const QStringList& FieldsInFileOrder();
    // The label of a field in the dialog and in the messages ("Sample Name" for "profileid").
    static QString Label(const QString& field);

    QString Get(const QString& field) const { return m_values.value(field); }
    void Set(const QString& field, const QString& value) { m_values.insert(field, value); }
    const QMap<QString, QString>& Values() const { return m_values; }

    // Reads the sequence's data file; false (with its logged reason in LastError()) when it
    // cannot be read.
    bool OpenSequence(const QString& projectPath, const QString& sequence);
    bool SequenceLoaded() const { return m_seqLoaded; }
    const SequenceHandler& Sequence() const { return *m_seq; }
    QString LastError() const { return m_lastError; }

    // A sequence recorded with Save_images 3 (full frames, no process) cannot give a sample.
    Box SequenceRefusal() const;

    // Pre-fills a new sample of the opened sequence: "filename", "profileid" (acronym + "_"),
    // the calibration fields from the configuration lines, the fields copied from the last
    // sample of the header, and the whole sequence as range.
    void Prefill(const Project& project);
    // Loads the cells of the named sample and opens its sequence. Returns the "Invalid sample"
    // box when the sample is not in the header (the sequence's own failure is in LastError()).
    Box Load(const Project& project, const QString& sample);
    // The name of the sample being edited; empty while creating.
    QString EditedName() const { return m_edited; }

    // Sets the range, and the sample's date-time to that of its first image.
    void SetRange(int first, int last);

    // Index of the last image in the sample's particle archive, -1 when none.
    int LastProcessedImage(const Project& project) const;
    static Box LastProcessedBox(int image);

    // Every check of a save, in order; nothing is written.
    Check Validate(const Project& project) const;
    // The messages as the dialog shows them: each in red bold, joined with "<br>".
    static QString Html(const QStringList& messages);
    // A message without markup and entities, for plain-text faces.
    static QString Plain(const QString& message);

    // The questions before a store: set when it must be asked (only Save goes on).
    Box ResultDiscardQuestion(const Project& project) const;
    Box OverlapQuestion(const Project& project) const;

    // Appends or updates the sample's row and saves the header (the previous file stays whole on
    // failure, and so does the table in memory). The results of an edited sample whose fields
    // changed are removed. Emits SamplesUpdated.
    bool Store(Project& project, QString* error = nullptr);

    static Box DeleteQuestion();
    // Backs the header up, removes "maridata/<sample>/", removes the row and saves the header.
    // Emits SamplesUpdated.
    static bool Delete(Project& project, const QString& sample, QString* error = nullptr);

    // The header row of `sample`, -1 when it is not there.
    static int FindRow(const Project& project, const QString& sample);

private:
    bool changedFrom(const Project& project) const;

    QMap<QString, QString> m_values;
    std::unique_ptr<SequenceHandler> m_seq;
    bool m_seqLoaded = false;
    QString m_edited;
    QString m_lastError;
};
