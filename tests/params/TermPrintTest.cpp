#include "terminal/TermPrint.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

TEST(TermPrint, FormatsDropsOneTrailingNewlineAndRestoresAnOuterSink) {
    std::vector<std::string> got;
    std::vector<std::string> inner;
    ScopedTermPrintSink sink([&](const std::string& s) { got.push_back(s); });
    term_print("\n[ERROR]: (%s) Cannot open file %s !\n", "get_params_from_file", "a.txt");
    term_print("two\n\n");
    {
        ScopedTermPrintSink nested([&](const std::string& s) { inner.push_back(s); });
        term_print("none");
    }
    term_print("\n");
    term_print("%d-%05.1f", 7, 2.5);
    const std::vector<std::string> expected = {"\n[ERROR]: (get_params_from_file) Cannot open file a.txt !",
                                               "two\n", "", "7-002.5"};
    EXPECT_EQ(got, expected);
    EXPECT_EQ(inner, std::vector<std::string>{"none"});
}

TEST(TermPrint, LongTextIsCutAtTheBuffer) {
    std::vector<std::string> got;
    ScopedTermPrintSink sink([&](const std::string& s) { got.push_back(s); });
    const std::string big(200000, 'z');
    term_print("%s", big.c_str());
    term_print("%s\n", std::string(127998, 'y').c_str());
    term_print("%s", std::string(127999, 'w').c_str());
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0], std::string(127999, 'z'));
    EXPECT_EQ(got[1], std::string(127998, 'y'));
    EXPECT_EQ(got[2], std::string(127999, 'w'));
}

TEST(TermPrint, WithoutSinkGoesToTheTraceLog) {
    kelvotest::LogCapture log;
    term_print("\n[HWCONF]: template %s created.\n", "HW.txt");
    EXPECT_EQ(log.Texts(), QStringList({"term_print|2|\n[HWCONF]: template HW.txt created."}));
}

TEST(TermPrint, ManyThreadsKeepTheirOwnTexts) {
    std::mutex m;
    std::vector<std::string> got;
    ScopedTermPrintSink sink([&](const std::string& s) {
        std::lock_guard<std::mutex> lock(m);
        got.push_back(s);
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 500; ++i) {
                term_print("t%d:%d:%s\n", t, i,
                           std::string(static_cast<std::size_t>(100 + t), 'a' + t).c_str());
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    ASSERT_EQ(got.size(), 2000u);
    std::vector<int> next(4, 0);
    for (const std::string& s : got) {
        const int t = s[1] - '0';
        ASSERT_GE(t, 0);
        ASSERT_LT(t, 4);
        const std::string expected = "t" + std::to_string(t) + ":" + std::to_string(next[t]++) + ":" +
                                     std::string(static_cast<std::size_t>(100 + t), 'a' + t);
        EXPECT_EQ(s, expected);
    }
}
