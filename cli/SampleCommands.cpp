// `kelvo sample list|create|edit|delete|detect-range|process`: the samples of a project without
// the window, over the same rules as the sample dialog and the same processing as the worker.
#include "CliCommand.h"
#include "CliOutput.h"

#include "processing/RangeDetector.h"
#include "processing/SampleTasks.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/modelPrjSample.h"
#include "trace/FmtQt.h"

#include <QFileInfo>

#include <cstdio>
#include <fmt/format.h>

// ExportCommands.cpp
int sample_spectrum_command(const QStringList& args);
int sample_images_command(const QStringList& args);

namespace {

const char* const kUsage =
    "Usage: kelvo sample list PROJECT\n"
    "       kelvo sample create PROJECT --sequence SEQ --name NAME [--type P|T] [--set FIELD=VALUE]...\n"
    "                           [--detect-range] [--yes]\n"
    "       kelvo sample edit PROJECT NAME [--set FIELD=VALUE]... [--detect-range] [--yes]\n"
    "       kelvo sample delete PROJECT NAME --yes\n"
    "       kelvo sample detect-range PROJECT SEQ --type P|T\n"
    "       kelvo sample process PROJECT (NAME... | --all)\n"
    "       kelvo sample spectrum PROJECT NAME\n"
    "       kelvo sample images PROJECT (NAME... | --all)\n";

const char* const kHelp =
    "\n"
    "list          the samples table, tab-separated: the column headers, then one line per sample.\n"
    "create        pre-fills a new sample of SEQ as the sample dialog does (calibration from the\n"
    "              configuration lines, fields copied from the last sample, the whole sequence as\n"
    "              range), applies --type and every --set (the range's first image also gives\n"
    "              \"sampledatetime\" unless that is set), then --detect-range, checks the sample as\n"
    "              the dialog does and stores it. Refusals are printed one per line (exit 1).\n"
    "edit          the same on an existing sample.\n"
    "delete        backs the header up, removes maridata/NAME/ and the sample.\n"
    "detect-range  prints \"first: N\" and \"last: N\", or the refusal's title and text (exit 1).\n"
    "process       builds the particle archive of each sample, one line per sample (exit 1 if any\n"
    "              failed).\n"
    "spectrum      the particle size spectra of a processed sample, binned by depth (or by time),\n"
    "              as tab-separated lines: abundance per size class and total biovolume.\n"
    "images        the sample image archive maridata/NAME/NAME_Images.zip: the range's vignettes\n"
    "              as PNG and their object table (exit 1 if any failed).\n"
    "--yes         answers Save to the questions the dialog would ask (results discarded, images\n"
    "              shared with another sample); without it they refuse.\n"
    "FIELD         one of: ";

struct Options {
    QStringList positional;
    QString sequence;
    QString name;
    QString type;
    QList<QPair<QString, QString>> sets;
    bool detect = false;
    bool yes = false;
    bool all = false;
    bool help = false;
};

bool parse(const QStringList& args, Options& o, QString& error) {
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        const auto value = [&](QString& into) {
            if (i + 1 >= args.size()) {
                error = QStringLiteral("%1 needs a value").arg(a);
                return false;
            }
            into = args[++i];
            return true;
        };
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            o.help = true;
        } else if (a == QLatin1String("--sequence")) {
            if (!value(o.sequence)) {
                return false;
            }
        } else if (a == QLatin1String("--name")) {
            if (!value(o.name)) {
                return false;
            }
        } else if (a == QLatin1String("--type")) {
            if (!value(o.type)) {
                return false;
            }
            if (o.type != QLatin1String("P") && o.type != QLatin1String("T")) {
                error = QStringLiteral("--type takes P or T");
                return false;
            }
        } else if (a == QLatin1String("--set")) {
            QString pair;
            if (!value(pair)) {
                return false;
            }
            const int eq = pair.indexOf(QLatin1Char('='));
            const QString field = pair.left(eq);
            if (eq < 0 || !SampleForm::Fields().contains(field)) {
                error = QStringLiteral("--set takes FIELD=VALUE with FIELD one of %1")
                            .arg(SampleForm::Fields().join(QLatin1Char(' ')));
                return false;
            }
            o.sets.append({field, pair.mid(eq + 1)});
        } else if (a == QLatin1String("--detect-range")) {
            o.detect = true;
        } else if (a == QLatin1String("--yes")) {
            o.yes = true;
        } else if (a == QLatin1String("--all")) {
            o.all = true;
        } else if (a.startsWith(QLatin1String("--"))) {
            error = QStringLiteral("unknown option %1").arg(a);
            return false;
        } else {
            o.positional << a;
        }
    }
    return true;
}

// Opens the project of a verb whose arguments `fit`: 2 (after the usage) when they do not, 1 when
// the project does not open, 0 when it is open.
int open_checked(bool fit, const Options& o, Project& project) {
    if (!fit) {
        err(QString::fromLatin1(kUsage));
        return 2;
    }
    if (!project.Load(o.positional[0])) {
        err(project.LastError() + QLatin1Char('\n'));
        return 1;
    }
    return 0;
}

void print_box(const QString& title, const QString& text) {
    err(title + QStringLiteral(": ") + text + QLatin1Char('\n'));
}

int sample_list(const Options& o) {
    Project project;
    if (const int rc = open_checked(o.positional.size() == 1, o, project)) {
        return rc;
    }
    modelPrjSample model(&project);
    model.Reload();
    out(modelPrjSample::ColumnHeaders().join(QLatin1Char('\t')) + QLatin1Char('\n'));
    for (int r = 0; r < model.rowCount(); ++r) {
        out(model.RowTexts(r).join(QLatin1Char('\t')) + QLatin1Char('\n'));
    }
    return 0;
}

// The options of create and edit applied to the form, then its checks, questions and store.
int fill_check_store(Project& project, SampleForm& form, const Options& o) {
    if (!o.type.isEmpty()) {
        form.Set(QStringLiteral("sampletype"), o.type);
    }
    bool rangeSet = false;
    bool dateSet = false;
    for (const auto& [field, value] : o.sets) {
        form.Set(field, value);
        if (field == QLatin1String("filename")) {
            // The range is checked against the sequence named last.
            form.OpenSequence(project.Path(), value);
        }
        rangeSet |= field == QLatin1String("firstimage") || field == QLatin1String("endimg");
        dateSet |= field == QLatin1String("sampledatetime");
    }
    if (rangeSet && !dateSet) {
        bool okFirst = false;
        bool okLast = false;
        const int first = form.Get(QStringLiteral("firstimage")).toInt(&okFirst);
        const int last = form.Get(QStringLiteral("endimg")).toInt(&okLast);
        if (okFirst && okLast) {
            form.SetRange(first, last);
        }
    }
    if (o.detect && form.SequenceLoaded()) {
        const RangeDetector::Result r =
            RangeDetector::Detect(form.Sequence().Rows(), form.Get(QStringLiteral("sampletype")));
        if (!r.title.isEmpty()) {
            print_box(r.title, r.text);
        }
        if (!r.ok) {
            return 1;
        }
        form.SetRange(r.first, r.last);
        out(QStringLiteral("first: %1\nlast: %2\n").arg(r.first).arg(r.last));
    }
    const SampleForm::Check check = form.Validate(project);
    if (!check.ok()) {
        for (const QString& m : check.messages) {
            err(SampleForm::Plain(m) + QLatin1Char('\n'));
        }
        return 1;
    }
    for (const SampleForm::Box& q : {form.ResultDiscardQuestion(project), form.OverlapQuestion(project)}) {
        if (q.isSet() && !o.yes) {
            print_box(q.title, q.text);
            err(QStringLiteral("Refused: --yes answers Save to this question.\n"));
            return 1;
        }
    }
    QString error;
    if (!form.Store(project, &error)) {
        err(error + QLatin1Char('\n'));
        return 1;
    }
    out(QStringLiteral("stored: %1\n").arg(form.Get(QStringLiteral("profileid"))));
    return 0;
}

int sample_create(const Options& o) {
    Project project;
    if (const int rc = open_checked(o.positional.size() == 1 && !o.sequence.isEmpty() && !o.name.isEmpty(), o,
                                    project)) {
        return rc;
    }
    SampleForm form;
    if (!form.OpenSequence(project.Path(), o.sequence)) {
        err(QStringLiteral("Unable to read the data file of sequence '%1': %2\n")
                .arg(o.sequence, form.LastError()));
        return 1;
    }
    const SampleForm::Box refusal = form.SequenceRefusal();
    if (refusal.isSet()) {
        print_box(refusal.title, refusal.text);
        return 1;
    }
    form.Prefill(project);
    form.Set(QStringLiteral("profileid"), o.name);
    return fill_check_store(project, form, o);
}

int sample_edit(const Options& o) {
    Project project;
    if (const int rc = open_checked(o.positional.size() == 2, o, project)) {
        return rc;
    }
    SampleForm form;
    const SampleForm::Box invalid = form.Load(project, o.positional[1]);
    if (invalid.isSet()) {
        print_box(invalid.title, invalid.text);
        return 1;
    }
    return fill_check_store(project, form, o);
}

int sample_delete(const Options& o) {
    Project project;
    if (const int rc = open_checked(o.positional.size() == 2, o, project)) {
        return rc;
    }
    if (SampleForm::FindRow(project, o.positional[1]) < 0) {
        print_box(QStringLiteral("Invalid sample"),
                  QStringLiteral("This sample doesn't exist in the sample header file."));
        return 1;
    }
    if (!o.yes) {
        const SampleForm::Box q = SampleForm::DeleteQuestion();
        print_box(q.title, q.text);
        err(QStringLiteral("Refused: --yes answers Yes to this question.\n"));
        return 1;
    }
    QString error;
    if (!SampleForm::Delete(project, o.positional[1], &error)) {
        err(error + QLatin1Char('\n'));
        return 1;
    }
    out(QStringLiteral("deleted: %1\n").arg(o.positional[1]));
    return 0;
}

int sample_detect(const Options& o) {
    if (o.positional.size() != 2) {
        err(QString::fromLatin1(kUsage));
        return 2;
    }
    SampleForm form;
    if (!form.OpenSequence(QFileInfo(o.positional[0]).absoluteFilePath(), o.positional[1])) {
        err(QStringLiteral("Unable to read the data file of sequence '%1': %2\n")
                .arg(o.positional[1], form.LastError()));
        return 1;
    }
    const RangeDetector::Result r = RangeDetector::Detect(form.Sequence().Rows(), o.type);
    if (!r.title.isEmpty()) {
        print_box(r.title, r.text);
    }
    if (!r.ok) {
        return 1;
    }
    out(QStringLiteral("first: %1\nlast: %2\n").arg(r.first).arg(r.last));
    return 0;
}

int sample_process(const Options& o) {
    Project project;
    if (const int rc =
            open_checked(!o.positional.isEmpty() && o.all != (o.positional.size() > 1), o, project)) {
        return rc;
    }
    QStringList names = o.positional.mid(1);
    if (o.all) {
        modelPrjSample model(&project);
        model.Reload();
        names = model.Samples();
    }
    int failed = 0;
    for (const QString& name : names) {
        const QString status = SampleTasks::processData(project.Path(), name);
        failed += status.startsWith(QLatin1String("Warn:")) ? 1 : 0;
        out(QStringLiteral("%1: %2\n").arg(name, status));
    }
    return failed > 0 ? 1 : 0;
}

int sample_command(const QStringList& args) {
    if (args.value(0) == QLatin1String("spectrum")) {
        return sample_spectrum_command(args); // options of its own
    }
    if (args.value(0) == QLatin1String("images")) {
        return sample_images_command(args);
    }
    Options o;
    QString error;
    if (!parse(args, o, error)) {
        err(QStringLiteral("kelvo sample: %1\n").arg(error) + QString::fromLatin1(kUsage));
        return 2;
    }
    if (o.help || args.isEmpty() || args[0] == QLatin1String("--help") || args[0] == QLatin1String("-h")) {
        out(QString::fromLatin1(kUsage) + QString::fromLatin1(kHelp) +
            SampleForm::Fields().join(QLatin1Char(' ')) + QLatin1Char('\n'));
        return args.isEmpty() ? 2 : 0;
    }
    const QString verb = args[0];
    if (verb == QLatin1String("list")) {
        return sample_list(o);
    }
    if (verb == QLatin1String("create")) {
        return sample_create(o);
    }
    if (verb == QLatin1String("edit")) {
        return sample_edit(o);
    }
    if (verb == QLatin1String("delete")) {
        return sample_delete(o);
    }
    if (verb == QLatin1String("detect-range")) {
        return sample_detect(o);
    }
    if (verb == QLatin1String("process")) {
        return sample_process(o);
    }
    err(QString::fromLatin1(kUsage));
    return 2;
}

static CliRegistrar
    sampleReg({"sample", "sample list|create|edit|delete|detect-range|process|spectrum|images PROJECT ...",
               "list, create, edit, delete and process the samples of a project; detect a range; print a "
               "spectrum; build image archives",
               &sample_command});

} // namespace
