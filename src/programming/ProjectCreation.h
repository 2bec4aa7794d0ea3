#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// Creating a project folder and keeping its metadata ("config/cruise_info.txt"), without the
// dialog: the checks with their texts, the folder tree, the vignette template and the atomic
// metadata file. `dlgeditprojet` and `kelvo project create` are its two faces.
namespace ProjectCreation {

// Metadata by cruise_info key ("acron", "year", "sn", "op_name", ...).
using Metadata = QMap<QString, QString>;

// The keys, in the dialog's order.
const QStringList& keys();

// A refusal: the box title and text.
struct Refusal {
    QString title;
    QString text;
    bool refused() const { return !text.isEmpty(); }
};

// "kelvo6_sn" + S/N + "_" + date + "_" + acronym (blanks as "_"), all in lower case.
QString folderName(const Metadata& m);

// "Fields required" when the acronym, the date or the S/N is empty.
Refusal checkRequired(const Metadata& m);
// The parent and target folder checks ("Project creation folder"); empty text when fine.
Refusal checkFolder(const QString& parent, const Metadata& m);
// The date rules ("Date format error").
Refusal checkDate(const QString& date);
// True when the operator, chief scientist or data owner name is missing.
bool missingPeople(const Metadata& m);

constexpr const char* kMissingTitle = "Missing data";
constexpr const char* kMissingText =
    "It is highly recommended to document the fields Operator, Chief scientist and Data owner as they will "
    "be "
    "requested in the Maridex application.\nDo you want to continue without theses data ?";

// The nine folders of a new project, in creation order.
const QStringList& subfolders();

// Creates <parent>/<folderName> and its nine folders, and copies "compute_vignette.txt" from
// the "modele" folder (a missing template is no error). Returns the new folder, or "" with the
// refusal ("Folder creation error") in `refusal`.
QString createFolders(const QString& parent, const Metadata& m, Refusal* refusal);

// Writes every key into "<project>/config/cruise_info.txt" through a temporary file renamed
// over the old one; keys not in the table are kept.
bool writeCruiseInfo(const QString& projectPath, const Metadata& m, QString* error = nullptr);
Metadata readCruiseInfo(const QString& projectPath);

} // namespace ProjectCreation
