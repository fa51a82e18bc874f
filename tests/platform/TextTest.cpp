#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/text/Utf8.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string_view>

namespace brellin {

TEST(Utf8, TrimsUnicodeWhiteSpaceAtBothEndsOnly) {
    EXPECT_EQ(Utf8::trimmed("\u3000\t\r\n\u2028\u0085 a \u00A0b\u202F\v\f"), "a \u00A0b");
    EXPECT_EQ(Utf8::trimmed(" \u1680\u2000\u200A\u205F "), "");
    EXPECT_EQ(Utf8::trimmed("\u200Ba\uFEFF"), "\u200Ba\uFEFF") << "neither is white space";
    EXPECT_EQ(Utf8::trimmedOfBlanks("\u3000 \ta\u2009"), "a");
    EXPECT_EQ(Utf8::trimmedOfBlanks("\na\r"), "\na\r") << "line breaks stay";
}

TEST(Utf8, CountsAndRepairsWholeCharacters) {
    EXPECT_EQ(Utf8::prefix("aé𝄞z", 3), "aé𝄞");
    EXPECT_EQ(Utf8::prefix("ab", 3), "ab");
    EXPECT_EQ(Utf8::prefix("ab", 0), "");
    EXPECT_EQ(Utf8::repaired("a\xFFz\xE2\x82"), "a\uFFFDz\uFFFD");
    for (const std::string_view broken : {"\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\x80", "\xE2\x82"}) {
        EXPECT_FALSE(Utf8::isValid(broken));
        EXPECT_TRUE(Utf8::isValid(Utf8::repaired(broken)));
    }
}

TEST(FilePath, NormalizesToOneSpelling) {
    const world::ScopedVariable home("HOME", "/home/u/");
    const std::string here = FilePath::absolute("");
    const std::pair<std::string_view, std::string> cases[] = {{"~", "/home/u"},
                                                              {"~/.claude-work/", "/home/u/.claude-work"},
                                                              {"/home/u/x/.././/y/.", "/home/u/y"},
                                                              {"/../..", "/"},
                                                              {"//a//b//", "/a/b"},
                                                              {"relative/../x", here + "/x"},
                                                              {"~no-such-user/x", here + "/~no-such-user/x"},
                                                              {"~root/x", "/root/x"},
                                                              {"/a/~/b", "/a/~/b"}};
    for (const auto& [path, normalized] : cases) {
        EXPECT_EQ(FilePath::normalize(path), normalized) << path;
    }
}

TEST(Paths, FindTheDataDirectory) {
    const world::ScopedVariable home("HOME", "/home/u");
    const std::string here = FilePath::absolute("");
    EXPECT_EQ(Paths::root({}).native(), "/home/u/Library/Application Support/Havrick");
    const std::pair<std::string_view, std::string> cases[] = {{"", "/home/u/Library/Application Support/Havrick"},
                                                              {"~/data/", "/home/u/data"},
                                                              {"  ", here + "/  "},
                                                              {"a/./b", here + "/a/b"},
                                                              {"/x/ y /.", "/x/ y /."}};
    for (const auto& [value, root] : cases) {
        EXPECT_EQ(Paths::root({{"HAVRICK_ROOT", std::string(value)}}).native(), root);
    }
}

}  // namespace brellin
