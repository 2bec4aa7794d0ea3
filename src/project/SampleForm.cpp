#include "SampleForm.h"

#include "Project.h"
#include "SampleHandler.h"
#include "SampleHeaderColumns.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <cmath>

namespace {

constexpr const char* kModule = "DlgCreateSample";

QString field_of(const SequenceHandler::ConfigFields& fields, const char* name) {
    for (const auto& f : fields) {
        if (f.first == QLatin1String(name)) {
            return QString::fromUtf8(f.second).trimmed();
        }
    }
    return QString();
}

bool parse_int(const QString& text, int* value) {
    bool ok = false;
    *value = text.trimmed().toInt(&ok);
    return ok;
}

// A cell read by position: a row shorter than the header has empty cells at its end (and no
// warning for each of them).
QString cell_of(const RAMCsv& header, int row, const QString& field) {
    return header.Row(row).value(header.Columns().indexOf(field));
}

bool is_nan_text(const QString& text) {
    const QString t = text.trimmed();
    return t.isEmpty() || t.compare(QLatin1String("nan"), Qt::CaseInsensitive) == 0;
}

} // namespace

SampleForm::SampleForm() = default;

const QStringList& SampleForm::FieldsInFileOrder() {
    static const QStringList fields = [] {
        QStringList f = SampleHeaderColumns::All();
        f.removeAll(QStringLiteral("dn"));
        f.removeAll(QStringLiteral("yoyo"));
        return f;
    }();
    return fields;
}

const QStringList& SampleForm::Fields() {
    static const QStringList fields = [] {
        QStringList f = FieldsInFileOrder();
        f.sort();
        return f;
    }();
    return fields;
}

QString SampleForm::Label(const QString& field) {
    static const QMap<QString, QString> labels{
        {QStringLiteral("cruise"), QStringLiteral("Cruise")},
        {QStringLiteral("ship"), QStringLiteral("Ship")},
        {QStringLiteral("filename"), QStringLiteral("Sequence")},
        {QStringLiteral("profileid"), QStringLiteral("Sample Name")},
        {QStringLiteral("bottomdepth"), QStringLiteral("Bottom depth")},
        {QStringLiteral("ctdrosettefilename"), QStringLiteral("CTD file")},
        {QStringLiteral("latitude"), QStringLiteral("Latitude")},
        {QStringLiteral("longitude"), QStringLiteral("Longitude")},
        {QStringLiteral("firstimage"), QStringLiteral("First image")},
        {QStringLiteral("volimage"), QStringLiteral("Image volume")},
        {QStringLiteral("aa"), QStringLiteral("Aa")},
        {QStringLiteral("exp"), QStringLiteral("Exp")},
        {QStringLiteral("winddir"), QStringLiteral("Wind direction")},
        {QStringLiteral("windspeed"), QStringLiteral("Wind speed")},
        {QStringLiteral("seastate"), QStringLiteral("Sea state")},
        {QStringLiteral("nebuloussness"), QStringLiteral("Nebulousness")},
        {QStringLiteral("comment"), QStringLiteral("Comment")},
        {QStringLiteral("endimg"), QStringLiteral("Last image")},
        {QStringLiteral("stationid"), QStringLiteral("Station ID")},
        {QStringLiteral("sampletype"), QStringLiteral("Sample type")},
        {QStringLiteral("integrationtime"), QStringLiteral("Integration time")},
        {QStringLiteral("argoid"), QStringLiteral("Argo ID")},
        {QStringLiteral("pixelsize"), QStringLiteral("Pixel size")},
        {QStringLiteral("sampledatetime"), QStringLiteral("Sample date-time")},
        {QStringLiteral("constantdepth"), QStringLiteral("Instrument depth")},
    };
    return labels.value(field, field);
}

bool SampleForm::OpenSequence(const QString& projectPath, const QString& sequence) {
    m_seq = std::make_unique<SequenceHandler>(projectPath, sequence);
    m_seqLoaded = false;
    if (!SequenceHandler::IsSafeName(sequence)) {
        m_lastError = QStringLiteral("Sequence name '%1' is not a plain folder name").arg(sequence);
        return false;
    }
    m_seqLoaded = m_seq->ReadDataFile();
    m_lastError = m_seqLoaded ? QString() : m_seq->LastError();
    return m_seqLoaded;
}

SampleForm::Box SampleForm::SequenceRefusal() const {
    if (m_seq && field_of(m_seq->AcqConfFields(), "Save_images") == QLatin1String("3")) {
        return {
            QStringLiteral("Save_images mode not allowed"),
            QStringLiteral("This sequence use Save_images mode 3 (full : no process), it's not allowed to "
                           "create sample from this kind of sequence.")};
    }
    return {};
}

void SampleForm::Prefill(const Project& project) {
    m_edited.clear();
    m_values.clear();
    const RAMCsv& header = project.SampleHeader();
    if (header.RowCount() > 0) {
        const int last = header.RowCount() - 1;
        for (const char* name : {"cruise", "ship", "comment", "stationid", "argoid", "integrationtime",
                                 "sampletype", "constantdepth"}) {
            const QString field = QLatin1String(name);
            Set(field, cell_of(header, last, field));
        }
    }
    if (!m_seq) {
        return;
    }
    Set(QStringLiteral("filename"), m_seq->Name());
    Set(QStringLiteral("profileid"), project.Acronym() + QLatin1Char('_'));
    const SequenceHandler::ConfigFields hw = m_seq->HwConfFields();
    const QString aa = field_of(hw, "Aa");
    bool ok = false;
    const double aaValue = aa.toDouble(&ok);
    if (ok) {
        Set(QStringLiteral("aa"), QString::number(aaValue * 1e-6, 'g', 6));
    }
    Set(QStringLiteral("exp"), field_of(hw, "Exp"));
    Set(QStringLiteral("volimage"), field_of(hw, "Image_volume"));
    Set(QStringLiteral("pixelsize"), field_of(hw, "Pixel_Size"));
    if (m_seq->RowCount() > 0) {
        SetRange(0, m_seq->RowCount() - 1);
    }
}

SampleForm::Box SampleForm::Load(const Project& project, const QString& sample) {
    m_values.clear();
    m_edited = sample;
    const int row = FindRow(project, sample);
    if (row < 0) {
        return {QStringLiteral("Invalid sample"),
                QStringLiteral("This sample doesn't exist in the sample header file.")};
    }
    const RAMCsv& header = project.SampleHeader();
    for (const QString& field : SampleHeaderColumns::All()) {
        Set(field, cell_of(header, row, field));
    }
    OpenSequence(project.Path(), Get(QStringLiteral("filename")));
    return {};
}

void SampleForm::SetRange(int first, int last) {
    Set(QStringLiteral("firstimage"), QString::number(first));
    Set(QStringLiteral("endimg"), QString::number(last));
    if (m_seq && first >= 0 && first < m_seq->RowCount()) {
        const QString text = QString::fromUtf8(m_seq->Rows()[static_cast<size_t>(first)].dateTime);
        // The instrument names its images "yyyyMMdd-HHmmss" followed by fractions at most.
        QDateTime when = QDateTime::fromString(text.left(15), QStringLiteral("yyyyMMdd-HHmmss"));
        if (!when.isValid()) {
            when = QDateTime::fromString(text, Qt::ISODate);
        }
        Set(QStringLiteral("sampledatetime"),
            when.isValid() ? when.toString(QStringLiteral("yyyyMMdd-HHmmss")) : text);
    }
}

int SampleForm::FindRow(const Project& project, const QString& sample) {
    const RAMCsv& header = project.SampleHeader();
    const int column = header.Columns().indexOf(QStringLiteral("profileid"));
    if (column < 0 || sample.isEmpty()) {
        return -1;
    }
    for (int r = 0; r < header.RowCount(); ++r) {
        const QStringList row = header.Row(r);
        if (column < row.size() && row[column] == sample) {
            return r;
        }
    }
    return -1;
}

int SampleForm::LastProcessedImage(const Project& project) const {
    if (m_edited.isEmpty() || !m_seq || !project.HasParticleArchive(m_edited)) {
        return -1;
    }
    const QByteArray csv = SampleHandler(project.Path()).getParticuleCSVContent(m_edited);
    QList<QByteArray> lines = csv.split('\n');
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty()) {
        lines.removeLast();
    }
    // The two configuration lines come first; an archive without image lines has none.
    if (lines.size() <= 2) {
        return -1;
    }
    const QByteArray& last = lines.last();
    return m_seq->RowIndex(last.left(last.indexOf(',')));
}

SampleForm::Box SampleForm::LastProcessedBox(int image) {
    return {QStringLiteral("Last processed image"),
            QStringLiteral("The last image currently processed is #%1").arg(image)};
}

SampleForm::Check SampleForm::Validate(const Project& project) const {
    Check check;
    QStringList& msg = check.messages;
    const bool timeSample = Get(QStringLiteral("sampletype")) == QLatin1String("T");
    static const QRegularExpression namePattern(QStringLiteral("^[\\w]+$"));
    static const QRegularExpression position(
        QStringLiteral("(^[+-]?\\d{1,3}°\\d{1,2} \\d{1,2}$)|(^[+-]?\\d{1,3}\\.\\d+$)"));
    static const QStringList optional{QStringLiteral("ctdrosettefilename"), QStringLiteral("comment"),
                                      QStringLiteral("argoid"), QStringLiteral("stationid"),
                                      QStringLiteral("ship")};

    for (const QString& field : Fields()) {
        const QString value = Get(field);
        const QString label = Label(field);
        if (field == QLatin1String("profileid")) {
            if (!namePattern.match(value).hasMatch()) {
                msg << QStringLiteral("Field 'Sample Name' has an invalid format, allowed char are : Letter, "
                                      "figures, _");
            }
            if (value.compare(project.Acronym() + QLatin1Char('_'), Qt::CaseInsensitive) == 0) {
                msg << QStringLiteral(
                    "Field 'Sample Name' must not just be equal to the project cruise name.");
            }
            continue;
        }
        if (value.contains(QLatin1Char(';'))) {
            msg << QStringLiteral("Field '%1' character ';' is forbiden").arg(label);
        }
        // A line break would cut the header file's row in two.
        if (value.contains(QLatin1Char('\n')) || value.contains(QLatin1Char('\r'))) {
            msg << QStringLiteral("Field '%1' line breaks are forbiden").arg(label);
        }
        if (optional.contains(field)) {
            continue;
        }
        if (field == QLatin1String("integrationtime") || field == QLatin1String("constantdepth")) {
            if (!is_nan_text(value)) {
                bool ok = false;
                value.trimmed().toDouble(&ok);
                if (!ok) {
                    msg << QStringLiteral("Field '%1' must be a valid number").arg(label);
                }
            }
            if (field == QLatin1String("integrationtime") && timeSample && is_nan_text(value)) {
                msg << QStringLiteral("Field '%1' is required").arg(label);
            }
            continue;
        }
        if (value.trimmed().isEmpty()) {
            msg << QStringLiteral("Field '%1' is required").arg(label);
            continue;
        }
        if ((field == QLatin1String("latitude") || field == QLatin1String("longitude")) &&
            !position.match(value).hasMatch()) {
            msg << QStringLiteral("Field '%1' has an invalid format").arg(label);
        }
    }

    const QString name = Get(QStringLiteral("profileid"));
    const int existing = FindRow(project, name);
    if (existing >= 0 && (m_edited.isEmpty() || name != m_edited)) {
        msg << QStringLiteral("This 'Sample Name' Already exists");
    }

    int first = 0;
    int last = 0;
    const bool firstOk = parse_int(Get(QStringLiteral("firstimage")), &first);
    const bool lastOk = parse_int(Get(QStringLiteral("endimg")), &last);
    if (!Get(QStringLiteral("firstimage")).trimmed().isEmpty() && !firstOk) {
        msg << QStringLiteral("Field '%1' must be a valid number").arg(Label(QStringLiteral("firstimage")));
    }
    if (!Get(QStringLiteral("endimg")).trimmed().isEmpty() && !lastOk) {
        msg << QStringLiteral("Field '%1' must be a valid number").arg(Label(QStringLiteral("endimg")));
    }
    if (!m_seqLoaded) {
        msg << QStringLiteral("Unable to read the data file of sequence '%1'")
                   .arg(m_seq ? m_seq->Name() : Get(QStringLiteral("filename")));
        return check;
    }
    if (!firstOk || !lastOk) {
        return check;
    }
    const int rows = m_seq->RowCount();
    bool rangeOk = true;
    if (first >= last) {
        msg << QStringLiteral("Last image &lt; first image");
        rangeOk = false;
    }
    if (first < 0) {
        msg << QStringLiteral("first image negative not allowed");
        rangeOk = false;
    }
    if (last >= rows) {
        msg << QStringLiteral("Last image after the last available image (must be &lt; %1)").arg(rows);
        rangeOk = false;
    }
    if (!rangeOk) {
        return check;
    }
    int missing = 0;
    int flash = 0;
    const auto& data = m_seq->Rows();
    for (int i = first; i <= last; ++i) {
        const SequenceHandler::stDataRaw& row = data[static_cast<size_t>(i)];
        missing += std::isnan(row.pressure) ? 1 : 0;
        flash += row.IsBlack() ? 0 : 1;
    }
    const int images = last - first + 1;
    if (!timeSample && missing > 0 && missing < images) {
        msg << QStringLiteral(
                   "%1 missing pressure data over the %2 images in the data file of the sequence.\n"
                   "The sample cannot be created !!!\nCorrect the file before trying again to "
                   "create a sample")
                   .arg(missing)
                   .arg(images);
    }
    if (flash == 0) {
        msg << QStringLiteral(
            "No valid images in your selection, at leat one image ok with flash is required");
    }
    if (!timeSample && missing == images) {
        check.allPressureMissing = true;
        msg << QStringLiteral(
            "All pressure data are missing in the selected images of the sequence.\n If you want to create a "
            "sample, correct the file or select the TIME option and fill in the INTEGRATION TIME and the "
            "INSTRUMENT DEPTH fields first.");
    }
    return check;
}

QString SampleForm::Html(const QStringList& messages) {
    QStringList parts;
    for (const QString& m : messages) {
        parts << QStringLiteral("<font color=red><b>%1</b></font>").arg(m);
    }
    return parts.join(QStringLiteral("<br>"));
}

QString SampleForm::Plain(const QString& message) {
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    QString text = message;
    text.replace(QStringLiteral("<br>"), QStringLiteral("\n"));
    text.remove(tag);
    text.replace(QStringLiteral("&lt;"), QStringLiteral("<"));
    text.replace(QStringLiteral("&gt;"), QStringLiteral(">"));
    text.replace(QStringLiteral("&quot;"), QStringLiteral("\""));
    text.replace(QStringLiteral("&amp;"), QStringLiteral("&"));
    return text;
}

bool SampleForm::changedFrom(const Project& project) const {
    const int row = FindRow(project, m_edited);
    if (row < 0) {
        return false;
    }
    const RAMCsv& header = project.SampleHeader();
    for (const QString& field : Fields()) {
        if (cell_of(header, row, field) != Get(field)) {
            return true;
        }
    }
    return false;
}

SampleForm::Box SampleForm::ResultDiscardQuestion(const Project& project) const {
    if (m_edited.isEmpty() || !(project.HasParticleArchive(m_edited) || project.HasImageArchive(m_edited)) ||
        !changedFrom(project)) {
        return {};
    }
    return {QStringLiteral("Result discarding"),
            QStringLiteral(
                "As you have modified Metadata, result files will be erased.\nDo you want to continue ?")};
}

SampleForm::Box SampleForm::OverlapQuestion(const Project& project) const {
    int first = 0;
    int last = 0;
    if (!parse_int(Get(QStringLiteral("firstimage")), &first) ||
        !parse_int(Get(QStringLiteral("endimg")), &last)) {
        return {};
    }
    const RAMCsv& header = project.SampleHeader();
    const QString seq = Get(QStringLiteral("filename"));
    for (int r = 0; r < header.RowCount(); ++r) {
        const QString other = cell_of(header, r, QStringLiteral("profileid"));
        if (other == m_edited && !m_edited.isEmpty()) {
            continue;
        }
        if (cell_of(header, r, QStringLiteral("filename")) != seq) {
            continue;
        }
        int f = 0;
        int l = 0;
        if (!parse_int(cell_of(header, r, QStringLiteral("firstimage")), &f) ||
            !parse_int(cell_of(header, r, QStringLiteral("endimg")), &l)) {
            continue;
        }
        if (f <= last && first <= l) {
            return {QStringLiteral("Image in 2 sample"),
                    QStringLiteral("Some image selected by the current sample are also available in at least "
                                   "sample '") +
                        other + QStringLiteral("'.\nDo you want to continue ?")};
        }
    }
    return {};
}

namespace {

bool remove_sample_dir(const Project& project, const QString& sample, QString* error) {
    if (!SequenceHandler::IsSafeName(sample)) {
        // Never a path outside "maridata/": such a name has no folder of its own.
        return true;
    }
    const QString dir = SampleHandler(project.Path()).SampleDir(sample);
    if (QFileInfo(dir).isSymLink()) {
        return QFile::remove(dir);
    }
    if (QFileInfo::exists(dir) && !QDir(dir).removeRecursively()) {
        const QString text = QStringLiteral("Unable to remove the results folder %1").arg(dir);
        GetTraceMgr()->logf(kModule, ZelLevelError, "{}", text);
        if (error) {
            *error = text;
        }
        return false;
    }
    return true;
}

} // namespace

bool SampleForm::Store(Project& project, QString* error) {
    RAMCsv& header = project.SampleHeader();
    const RAMCsv before = header;
    const bool discard = !ResultDiscardQuestion(project).title.isEmpty();
    int row = m_edited.isEmpty() ? -1 : FindRow(project, m_edited);
    if (row < 0) {
        header.AddRow(QStringList());
        row = header.RowCount() - 1;
    }
    for (const QString& field : Fields()) {
        header.AddColumn(field);
    }
    header.PadRow(row);
    for (const QString& field : Fields()) {
        header.Set(row, field, Get(field));
    }
    if (!project.SaveSampleHeader()) {
        header = before;
        const QString text =
            QStringLiteral("Unable to save the sample header file %1").arg(project.SampleHeaderPath());
        if (error) {
            *error = text;
        }
        return false;
    }
    if (discard) {
        remove_sample_dir(project, m_edited, error);
    }
    m_edited = Get(QStringLiteral("profileid"));
    Q_EMIT project.SamplesUpdated();
    return true;
}

SampleForm::Box SampleForm::DeleteQuestion() {
    return {
        QStringLiteral("Delete sample ?"),
        QStringLiteral("You are erasing a sample, result files will be erased.\nDo you want to continue ?")};
}

bool SampleForm::Delete(Project& project, const QString& sample, QString* error) {
    const int row = FindRow(project, sample);
    if (row < 0) {
        if (error) {
            *error = QStringLiteral("This sample doesn't exist in the sample header file.");
        }
        return false;
    }
    if (QFileInfo::exists(project.SampleHeaderPath()) && project.BackupSampleHeader().isEmpty()) {
        if (error) {
            *error =
                QStringLiteral("Unable to back up the sample header file %1").arg(project.SampleHeaderPath());
        }
        return false;
    }
    if (!remove_sample_dir(project, sample, error)) {
        return false;
    }
    RAMCsv& header = project.SampleHeader();
    const RAMCsv before = header;
    header.RemoveRow(row);
    if (!project.SaveSampleHeader()) {
        header = before;
        if (error) {
            *error =
                QStringLiteral("Unable to save the sample header file %1").arg(project.SampleHeaderPath());
        }
        return false;
    }
    Q_EMIT project.SamplesUpdated();
    return true;
}
