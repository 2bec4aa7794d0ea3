// `kelvo sequence merge` and `kelvo sequence unmerge`: the merge dialog's work from a shell,
// over the same core.
#include "CliOutput.h"
#include "SequenceCardCommands.h"

#include "project/Project.h"
#include "tools/SequenceMerge.h"
#include "trace/FmtQt.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>

namespace {

const char* const kMergeUsage =
    "Usage: kelvo sequence merge PROJECT --into NAME SEQ SEQ...\n"
    "       kelvo sequence merge PROJECT --auto [--criteria lpm,vig,save,ratio] [--max-gap S]\n"
    "                                   [--max-count N] [--dry-run] [--show-used]\n";

int run_merge(const QString& project, const QStringList& sources, const QString& into) {
    out(fmt::format("{}\n", SequenceMerge::StatusText(into, sources)));
    const SequenceMerge::Result r = SequenceMerge::Merge(project, sources, into);
    for (const QString& s : r.skipped) {
        err(fmt::format("{}\n", s));
    }
    if (!r.ok) {
        err(fmt::format("kelvo sequence merge: {}\n", r.error));
        return 1;
    }
    out(fmt::format("{}\t{} images\n", into, r.entries));
    return 0;
}

} // namespace

int sequence_merge(const QStringList& args) {
    QString project;
    QString into;
    QStringList sequences;
    bool automatic = false;
    bool dryRun = false;
    SequenceMerge::Grouping grouping;
    grouping.maxGapSeconds = 3600;
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        auto value = [&](QString* v) {
            if (i + 1 >= args.size()) {
                err(fmt::format("kelvo sequence merge: {} needs a value\n{}", a, kMergeUsage));
                return false;
            }
            *v = args[++i];
            return true;
        };
        auto number = [&](qint64* n) {
            QString v;
            if (!value(&v)) {
                return false;
            }
            bool ok = false;
            *n = v.toLongLong(&ok);
            if (!ok) {
                err(fmt::format("kelvo sequence merge: {} needs a whole number, not \"{}\"\n", a, v));
            }
            return ok;
        };
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            out(kMergeUsage);
            out("With --into, merges the sequences SEQ... of PROJECT, in that order, into the new sequence "
                "NAME. With --auto, groups the project's sequences by equal criteria values (default: all "
                "four), a gap of at most S seconds between starts (default 3600; 0: time not used) and at "
                "most N sequences (default: no limit), then merges every group of 2 or more into "
                "<first>_Merged-<count>; --dry-run prints the candidate table instead (name, key, gap, "
                "proposal). The sources are kept, renamed <name>_UsedForMerge.\n");
            return 0;
        }
        if (a == QLatin1String("--into")) {
            if (!value(&into)) {
                return 2;
            }
        } else if (a == QLatin1String("--auto")) {
            automatic = true;
        } else if (a == QLatin1String("--dry-run")) {
            dryRun = true;
        } else if (a == QLatin1String("--show-used")) {
            grouping.hideUsed = false;
        } else if (a == QLatin1String("--criteria")) {
            QString v;
            if (!value(&v)) {
                return 2;
            }
            grouping.criteria = SequenceMerge::ParseCriteria(v);
            if (grouping.criteria < 0) {
                err(fmt::format("kelvo sequence merge: --criteria takes lpm, vig, save and ratio joined with "
                                "\",\", not \"{}\"\n",
                                v));
                return 2;
            }
        } else if (a == QLatin1String("--max-gap")) {
            if (!number(&grouping.maxGapSeconds)) {
                return 2;
            }
        } else if (a == QLatin1String("--max-count")) {
            qint64 n = 0;
            if (!number(&n)) {
                return 2;
            }
            grouping.maxCount = static_cast<int>(std::clamp<qint64>(n, 0, SequenceMerge::kNoCountLimit));
        } else if (a.startsWith(QLatin1String("--"))) {
            err(fmt::format("kelvo sequence merge: unknown option {}\n{}", a, kMergeUsage));
            return 2;
        } else if (project.isEmpty()) {
            project = a;
        } else {
            sequences << a;
        }
    }
    if (project.isEmpty() || automatic == !into.isEmpty() || (automatic && !sequences.isEmpty())) {
        err(fmt::format(
            "kelvo sequence merge: give a project and either --auto or --into NAME SEQ SEQ...\n{}",
            kMergeUsage));
        return 2;
    }
    Project prj;
    if (!prj.Load(project)) {
        err(fmt::format("kelvo sequence merge: {}\n", prj.LastError()));
        return 1;
    }
    if (!automatic) {
        if (sequences.size() < 2) {
            err("kelvo sequence merge: You must select at least 2 sequences\n");
            return 2;
        }
        return run_merge(prj.Path(), sequences, into);
    }
    const std::vector<MergeCandidate> list =
        SequenceMerge::Candidates(prj.Path(), SequenceMerge::ProjectSequences(prj.Path()), grouping);
    if (dryRun) {
        std::string text = "Sequence\tParams\tDelta T (s)\tProposal\n";
        for (const MergeCandidate& c : list) {
            text += fmt::format("{}\t{}\t{}\t{}\n", c.name, c.key, c.gap, c.proposal);
        }
        out(text);
        return 0;
    }
    int status = 0;
    int merged = 0;
    for (const MergeCandidate& c : list) {
        if (c.count >= 2) {
            ++merged;
            status = std::max(status,
                              run_merge(prj.Path(), SequenceMerge::GroupMembers(list, c.name), c.proposal));
        }
    }
    out(fmt::format("merged groups: {}\n", merged));
    return status;
}

int sequence_unmerge(const QStringList& args) {
    static const char* const usage = "Usage: kelvo sequence unmerge PROJECT SEQ...\n";
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        out(usage);
        out("Gives each used source SEQ (a name holding _UsedForMerge) its name back: its data file, then "
            "its "
            "folder. The merged sequences are left as they are.\n");
        return 0;
    }
    if (args.size() < 3) {
        err(usage);
        return 2;
    }
    Project prj;
    if (!prj.Load(args[1])) {
        err(fmt::format("kelvo sequence unmerge: {}\n", prj.LastError()));
        return 1;
    }
    int status = 0;
    for (const QString& name : args.mid(2)) {
        QString error;
        if (SequenceMerge::Restore(prj.Path(), name, &error)) {
            out(fmt::format("{}\trestored\n", name));
        } else {
            err(fmt::format("kelvo sequence unmerge: {}\n", error));
            status = 1;
        }
    }
    return status;
}
