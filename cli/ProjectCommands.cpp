// `kelvo project show DIR` and `kelvo sequence show DIR SEQ [--rows]`: a project and its
// sequences checked without the window, for scripts.
#include "CliCommand.h"
#include "CliOutput.h"
#include "ProgramCommands.h"
#include "SequenceCardCommands.h"

#include "project/Project.h"
#include "project/SequenceHandler.h"
#include "project/modelPrjSeq.h"
#include "trace/FmtQt.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>
#include <cstdio>
#include <fmt/format.h>

namespace {

bool wants_help(const QStringList& args) {
    return args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"));
}

// The shortest text that reads back as the same single-precision value (the data file's own
// precision); NaN is written "nan".
std::string number(double v) {
    if (std::isnan(v)) {
        return "nan";
    }
    return fmt::format("{}", static_cast<float>(v));
}

int project_show(const QStringList& args) {
    static const char* const usage = "Usage: kelvo project show DIR\n";
    if (!args.isEmpty() && args[0] == QLatin1String("create")) {
        return project_create(args.mid(1));
    }
    if (wants_help(args)) {
        out(usage);
        out("Loads DIR as a project (no instrument connected) and prints its folder parts, its sample "
            "header file, its number of samples and its sequences table.\n");
        return 0;
    }
    if (args.size() != 2 || args[0] != QLatin1String("show")) {
        err(usage);
        return 2;
    }
    Project project;
    if (!project.Load(args[1])) {
        err(fmt::format("{}\n", project.LastError()));
        return 1;
    }
    const QStringList parts = Project::FolderParts(project.FolderName());
    out(fmt::format("path: {}\nprefix: {}\nserial: {}\nyear: {}\nacronym: {}\nheader: {}\nsamples: {}\n\n",
                    project.Path(), parts[0], parts[1], parts[2], project.Acronym(),
                    project.SampleHeaderPath(), project.SampleHeader().RowCount()));
    modelPrjSeq model(&project);
    model.Reload();
    out(fmt::format("{}\n", modelPrjSeq::ColumnHeaders().join(QLatin1Char('\t'))));
    for (int r = 0; r < model.rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < model.columnCount(); ++c) {
            cells << model.data(model.index(r, c)).toString();
        }
        out(fmt::format("{}\n", cells.join(QLatin1Char('\t'))));
    }
    return 0;
}

int sequence_show(const QStringList& args) {
    static const char* const usage = "Usage: kelvo sequence show DIR SEQ [--rows]\n";
    if (wants_help(args)) {
        out(usage);
        out("Reads the data file of sequence SEQ of the project DIR and prints its row count, its rows "
            "without pressure, its tracked object sizes and whether it holds the configuration lines; "
            "with --rows, one tab-separated line per data row.\n");
        return 0;
    }
    QStringList rest = args;
    const bool rows = rest.removeAll(QStringLiteral("--rows")) > 0;
    if (rest.size() != 3 || rest[0] != QLatin1String("show")) {
        err(usage);
        return 2;
    }
    if (!SequenceHandler::IsSafeName(rest[2])) {
        err(fmt::format("kelvo: \"{}\" is not a sequence name\n", rest[2]));
        return 2;
    }
    SequenceHandler seq(QFileInfo(rest[1]).absoluteFilePath(), rest[2]);
    if (!seq.ReadDataFile()) {
        err(fmt::format("{}\n", seq.LastError()));
        return 1;
    }
    out(fmt::format("rows: {}\nnan_pressure: {}\ntracked_sizes: {} {}\nhw_conf: {}\nacq_conf: {}\n",
                    seq.RowCount(), seq.NanPressureCount(), seq.TrackedSize1(), seq.TrackedSize2(),
                    seq.HwConfLine().isEmpty() ? "no" : "yes", seq.AcqConfLine().isEmpty() ? "no" : "yes"));
    if (rows) {
        std::string text;
        int i = 0;
        for (const SequenceHandler::stDataRaw& row : seq.Rows()) {
            const std::string flag = row.flag ? std::string(1, row.flag) : std::string();
            text += fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", i++, row.dateTime, number(row.pressure),
                                number(row.value2), flag, row.kind, row.count1, row.count2);
            if (text.size() > (1 << 20)) {
                out(text);
                text.clear();
            }
        }
        out(text);
    }
    return 0;
}

// "kelvo sequence <verb> ...": one command word, a verb per job.
int sequence_command(const QStringList& args) {
    const QString verb = args.value(0);
    if (verb == QLatin1String("card")) {
        return sequence_card(args);
    }
    if (verb == QLatin1String("download")) {
        return sequence_download(args);
    }
    if (verb == QLatin1String("zip")) {
        return sequence_zip(args);
    }
    if (verb == QLatin1String("merge")) {
        return sequence_merge(args);
    }
    if (verb == QLatin1String("unmerge")) {
        return sequence_unmerge(args);
    }
    return sequence_show(args);
}

static CliRegistrar
    projectReg({"project", "project show DIR | create PARENT --acronym A --date D --sn S ...",
                "load DIR as a project and print its parts, header file and sequences; create a new project",
                &project_show});
static CliRegistrar sequenceReg(
    {"sequence",
     "sequence show DIR SEQ [--rows] | card DIR | download DIR (--missing | SEQ...) | "
     "zip DIR (--missing | SEQ...) | merge DIR (--into NAME SEQ... | --auto) | unmerge DIR SEQ...",
     "print a sequence's summary; list, download or archive the card's sequences; "
     "merge sequences",
     &sequence_command});

} // namespace
