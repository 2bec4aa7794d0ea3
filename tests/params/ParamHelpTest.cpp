#include "params/ParamHelp.h"
#include "params/ParamSets.h"
#include "support/TestSupport.h"
#include "trace/ZelTraceMgr.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
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

TEST(ParamHelp, MalformedHelpReadsAsQuestionMarks) {
    std::vector<ZelTraceMgrMsgPtr> logged;
    auto c = QObject::connect(GetTraceMgr()->GetDispatcher(), &ZelTraceMgrDispatcher::NewMessage, qApp,
                              [&](ZelTraceMgrMsgPtr m) { logged.push_back(m); });
    const QString dir = make_temp_dir("help");
    struct Case {
        const char* content; // nullptr: no file
        const char* gain;
        const char* exp;
        const char* log;
    };
    const Case cases[] = {
        {"{\"hw\": {\"Gain\": \"sensor gain\", \"Exp\": 3}}", "sensor gain", "?", nullptr},
        {"{\"hw\": [\"Gain\"]}", "?", "?", nullptr},
        {"{\"acq\": {\"Gain\": \"x\"}}", "?", "?", nullptr},
        {"{\"hw\": nope}", "?", "?", "Parsing Error at 9 = illegal value"},
        {nullptr, "?", "?", "Parsing Error at 0 = illegal value"},
    };
    for (const Case& cs : cases) {
        logged.clear();
        const QString path = dir + "/help.json";
        QFile::remove(path);
        if (cs.content != nullptr) {
            ASSERT_TRUE(write_file(path, cs.content));
        }
        const ParamHelp help = ParamHelp::fromFile(path, "hw", "DlgParamViewer");
        EXPECT_EQ(help.text("Gain").toStdString(), cs.gain) << cs.content;
        EXPECT_EQ(help.text("Exp").toStdString(), cs.exp) << cs.content;
        if (cs.log != nullptr) {
            ASSERT_TRUE(kelvotest::wait_until([&] { return !logged.empty(); }));
            EXPECT_EQ(logged[0]->module.toStdString(), "DlgParamViewer");
            EXPECT_EQ(logged[0]->message.toStdString(), cs.log);
        }
    }
    QObject::disconnect(c);
}
