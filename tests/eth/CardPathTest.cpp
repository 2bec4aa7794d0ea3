// Paths that come from the instrument never leave the target folder.
#include "link/CardPath.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

TEST(CardPath, AcceptedPathsStayInsideTheFolder) {
    const QString root = kelvotest::make_temp_dir();
    const std::pair<const char*, const char*> cases[] = {
        {"tree.txt", "/tree.txt"}, {"a\\b\\c.vig", "/a/b/c.vig"},           {"./x/./y.raw", "/x/y.raw"},
        {"a//b", "/a/b"},          {"..hidden/f..txt", "/..hidden/f..txt"},
    };
    for (const auto& [card, expected] : cases) {
        QString error;
        const auto local = card_path_in_folder(root, card, &error);
        ASSERT_TRUE(local.has_value()) << card << " " << error.toStdString();
        EXPECT_EQ(*local, QDir(root).absolutePath() + QString::fromLatin1(expected)) << card;
    }
}

// Paths with ".." and plain absolute ones are refused end to end (device, terminal_storage).
TEST(CardPath, RefusedPathsSayWhy) {
    const QString root = kelvotest::make_temp_dir();
    const std::string base = QDir(root).absolutePath().toStdString();
    ASSERT_TRUE(QFile::link(kelvotest::make_temp_dir(), root + QStringLiteral("/escape")));
    const std::pair<std::string, std::string> cases[] = {
        {"\\windows\\x", "Path refused, it is absolute: \"\\windows\\x\""},
        {"C:data.txt", "Path refused, it is absolute: \"C:data.txt\""},
        {"", "Path refused, it is empty: \"\""},
        {"a\nb", "Path refused, it holds control characters: \"a\nb\""},
        {".", "Path refused, it leaves the folder " + base + ": \".\""},
        // A link already inside the folder that points out of it.
        {"escape/file.txt", "Path refused, it leaves the folder " + base + ": \"escape/file.txt\""},
    };
    for (const auto& [card, expected] : cases) {
        QString error;
        EXPECT_FALSE(card_path_in_folder(root, card, &error).has_value()) << card;
        EXPECT_EQ(error.toStdString(), expected);
    }
}

TEST(CardPath, AtomicWriteReplacesAndCreatesFolders) {
    const QString root = kelvotest::make_temp_dir();
    const QString path = root + QStringLiteral("/a/b/c.bin");
    QString error;
    ASSERT_TRUE(write_file_atomically(path, "first", 5, &error)) << error.toStdString();
    ASSERT_TRUE(write_file_atomically(path, "2nd", 3, &error));
    EXPECT_EQ(kelvotest::read_file(path), QByteArray("2nd"));
    EXPECT_EQ(QDir(root + QStringLiteral("/a/b")).entryList(QDir::Files),
              QStringList{QStringLiteral("c.bin")});
}
