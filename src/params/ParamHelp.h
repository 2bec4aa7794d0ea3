#pragma once

#include <QJsonObject>
#include <QString>

// Help texts of the parameters, read from the help file "kelvoappmsg.json": a JSON object with
// the members "hw" (hardware parameters) and "acq" (acquisition parameters), each mapping a
// parameter name to its text. Anything missing or malformed reads as "?"; a viewer never fails
// because of its help.
class ParamHelp {
public:
    static constexpr const char* kFileName = "kelvoappmsg.json";

    ParamHelp() = default;

    // Reads `group` ("hw" or "acq") of the file at `path`. A parse error (a missing file
    // included) is logged as "Parsing Error at <offset> = <reason>" under `module`, and every
    // text is then "?".
    static ParamHelp fromFile(const QString& path, const QString& group, const char* module);

    // The same from the shipped help file (see helpFilePath).
    static ParamHelp load(const QString& group, const char* module);

    // Where the shipped help file is: beside the executable, else in the installed data
    // folders, else the bare name in the working folder.
    static QString helpFilePath();

    // The help text of `name`, or "?" when there is none.
    QString text(const QString& name) const;

private:
    QJsonObject m_texts;
};
