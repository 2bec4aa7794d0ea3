#include "params/ParamHelp.h"
#include "params/ParamSets.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <QFile>

using kelvotest::make_temp_dir;
using kelvotest::source_dir;
using kelvotest::write_file;

TEST(ParamHelp, ShippedFileExplainsEveryParameter) {
    const QString path = source_dir() + "/resources/kelvoappmsg.json";
    const struct {
        const char* group;
        void (*build)(ParamTable&);
    } sets[] = {{"hw", &build_hw_params}, {"acq", &build_acq_params}};
    for (const auto& s : sets) {
        const ParamHelp help = ParamHelp::fromFile(path, s.group, "ParamHelpTest");
        ParamTable t;
        s.build(t);
        for (int i = 1; i < t.size(); ++i) {
            const QString text = help.text(QString::fromStdString(t[i].name));
            EXPECT_NE(text.toStdString(), "?") << s.group << " " << t[i].name;
            // Unit, range and typical values make a help text of some substance.
            EXPECT_GT(text.size(), 80) << s.group << " " << t[i].name;
        }
    }
}

// A help file the user broke reads as "?" for every name, and the reason is logged; a good
// file's texts, and "?" for a text that is not a string, are checked by the viewers' tests.
TEST(ParamHelp, MalformedHelpReadsAsQuestionMarks) {
    kelvotest::LogCapture log;
    const QString path = make_temp_dir("help") + "/help.json";
    const struct {
        const char* content; // nullptr: no file
        QStringList logged;
    } cases[] = {
        {"{\"hw\": [\"Gain\"]}", {}},
        {"{\"hw\": nope}", {"DlgParamViewer|0|Parsing Error at 9 = illegal value"}},
        {nullptr, {"DlgParamViewer|0|Parsing Error at 0 = illegal value"}},
    };
    for (const auto& c : cases) {
        QFile::remove(path);
        ASSERT_TRUE(c.content == nullptr || write_file(path, c.content));
        log.Sync();
        const ParamHelp help = ParamHelp::fromFile(path, "hw", "DlgParamViewer");
        EXPECT_EQ(help.text("Gain").toStdString(), "?") << c.content;
        EXPECT_EQ(log.Texts(), c.logged) << c.content;
    }
}
