// Project creation: the checks and their texts, the folder tree and the metadata file.
#include "programming/ProjectCreation.h"
#include "programming/ShippedData.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QSettings>

#include <gtest/gtest.h>

using namespace ProjectCreation;

TEST(ProjectCreation, DateRules) {
    const std::pair<const char*, const char*> cases[] = {
        {"2020", ""},
        {"202012", ""},
        {"20201231", ""},
        {"2020123", "Invalid date format"},
        {"1999", "Invalid date format"},
        {"20a0", "Invalid date format"},
        {"202013", "Invalid month format in date field, must be between 1 and 12"},
        {"202000", "Invalid month format in date field, must be between 1 and 12"},
        {"20200230", "Invalid date in date field, must be a valid date"},
    };
    for (const auto& [date, text] : cases) {
        const Refusal r = checkDate(date);
        EXPECT_EQ(r.text, text) << date;
        if (r.refused()) {
            EXPECT_EQ(r.title, "Date format error");
        }
    }
}

// The folder name, the required fields, the people and an existing folder are checked through
// `kelvo project create`; the parent folder cannot be left out or missing there, and a file where
// the project's folder goes is told.
TEST(ProjectCreation, ParentFolderChecksAndUncreatableFolder) {
    const Metadata m{{"acron", "x"}, {"year", "2020"}, {"sn", "1"}};
    const QString parent = kelvotest::make_temp_dir(QStringLiteral("pc"));
    EXPECT_EQ(checkFolder("", m).text, "Parent folder must be defined");
    EXPECT_EQ(checkFolder(parent + "/absent", m).text, "Parent folder must exists prior creation");
    EXPECT_FALSE(checkFolder(parent, m).refused());

    kelvotest::write_file(parent + "/kelvo6_sn1_2020_x", "a file where the folder goes");
    Refusal r;
    EXPECT_EQ(createFolders(parent, m, &r), "");
    EXPECT_EQ(r.title, "Folder creation error");
    EXPECT_EQ(r.text, "Unable to create folder " + parent + "/kelvo6_sn1_2020_x");
}

TEST(ProjectCreation, CreatesTheTreeTheTemplateAndTheMetadata) {
    ShippedData::setFolderOverride("modele", kelvotest::source_dir() + "/modele");
    const QString parent = kelvotest::make_temp_dir(QStringLiteral("pc"));
    Metadata m{{"acron", "Deep 1"},
               {"year", "202405"},
               {"sn", "K6LP-0001"},
               {"op_name", "Ann"},
               {"description", "a, b = c"}};
    Refusal r;
    const QString path = createFolders(parent, m, &r);
    ShippedData::setFolderOverride("modele", QString());
    ASSERT_EQ(path, parent + "/kelvo6_snk6lp-0001_202405_deep_1") << r.text.toStdString();
    QStringList made = QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    made.sort();
    QStringList expected = subfolders();
    expected.sort();
    EXPECT_EQ(made, expected);
    EXPECT_EQ(kelvotest::read_file(path + "/config/compute_vignette.txt"),
              kelvotest::read_file(kelvotest::source_dir() + "/modele/compute_vignette.txt"));

    kelvotest::write_file(path + "/config/cruise_info.txt", "[General]\nkept=yes\n");
    ASSERT_TRUE(writeCruiseInfo(path, m));
    const Metadata back = readCruiseInfo(path);
    EXPECT_EQ(back.value("acron"), "Deep 1");
    EXPECT_EQ(back.value("description"), "a, b = c");
    EXPECT_EQ(back.value("cs_name"), "");
    QSettings s(path + "/config/cruise_info.txt", QSettings::IniFormat);
    EXPECT_EQ(s.value("kept").toString(), "yes");
    EXPECT_EQ(QDir(path + "/config").entryList(QDir::Files).size(), 2); // no temporary left over
}
