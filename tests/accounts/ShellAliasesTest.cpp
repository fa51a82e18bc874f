#include "BrellinCore/accounts/ShellAliases.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>

namespace brellin {

namespace {

using Words = std::vector<std::string>;

constexpr std::array<std::string_view, 2> files = {".zshrc", ".bashrc"};

}  // namespace

TEST(AliasParser, ReducesAValueToDirectoryAndOtherWords) {
    struct Case {
        std::string_view value;
        std::optional<std::string> configDir;
        Words extraFlags;
    };
    for (const auto& [value, configDir, extraFlags] : {
             Case{"'CLAUDE_CONFIG_DIR=~/.claude-work claude'", "~/.claude-work", {}},
             Case{"'CLAUDE_CONFIG_DIR=~/.claude-work claude --some-flag'", "~/.claude-work", {"--some-flag"}},
             Case{"'env CLAUDE_CONFIG_DIR=~/.claude-w claude'", "~/.claude-w", {"env"}},
             Case{"'claude --some-flag'", std::nullopt, {"--some-flag"}},
             Case{"\"CLAUDE_CONFIG_DIR=/opt/cc claude\"", "/opt/cc", {}},
             Case{"CLAUDE_CONFIG_DIR=/x", "/x", {}},
             Case{"'CLAUDE_CONFIG_DIR= claude'", "", {}},
             Case{"'CLAUDE_CONFIG_DIR=/a  /usr/local/bin/claude/'", "/a", {}},
             Case{"'claude claude'", std::nullopt, {"claude"}},
             Case{"'claude CLAUDE_CONFIG_DIR=/a CLAUDE_CONFIG_DIR=/b'", "/b", {}},
             Case{"'\"claude\"'", std::nullopt, {}},
             Case{"\"'claude'\"", std::nullopt, {"'claude'"}},
             Case{"''claude''", std::nullopt, {"'claude'"}},
             Case{"'", std::nullopt, {"'"}},
             Case{"", std::nullopt, {}},
             Case{"'CLAUDE_CONFIG_DIR=/a\tclaude'", "/a\tclaude", {}},
             Case{"'CLAUDE_CONFIG_DIR=\"$HOME/x\" claude'", "\"$HOME/x\"", {}},
             Case{"'CLAUDE_CONFIG_DIR=/a claude' # mine",
                  std::nullopt,
                  {"'CLAUDE_CONFIG_DIR=/a", "claude'", "#", "mine"}},
         }) {
        const auto alias = ShellAliases::parse("alias  claude-x\t= " + std::string(value), "f:1");
        ASSERT_TRUE(alias) << value;
        EXPECT_EQ(*alias, (ShellAlias{"claude-x", "f:1", configDir, extraFlags})) << value;
        EXPECT_EQ(alias->changesOnlyConfigDir(), configDir.has_value() && extraFlags.empty()) << value;
    }
    for (const std::string_view line : {"alias claude", "alias =claude", "alias \t =x", "alias ", "", "äöüß"}) {
        EXPECT_EQ(ShellAliases::parse(line, "f:1"), std::nullopt) << line;
    }
    EXPECT_EQ(ShellAliases::parse("ååååååx=claude", "f:1")->name, "x") << "six characters, not six bytes";
}

TEST(AliasParser, CollectsDefinitionsInFileAndLineOrder) {
    const world::TemporaryDirectory home;
    home.write(".bashrc",
               "# alias claude-no=claude\n"
               "\n"
               " \u3000\talias claude-a=claude\u00A0\n"
               "alias\tclaude-no=claude\n"
               "alias cw=claude\n"
               "alias Claude=claude\n"
               "  #alias claude-no=claude\n"
               "alias -g myclaude=claude\n"
               "alias claude-a=claude");
    home.write(".zshrc", "alias claude-z=claude\n");
    const auto aliases = ShellAliases::claudeAliases(home.path(), files);
    const std::vector<ShellAlias> expected = {
        {"claude-z", ".zshrc:1", std::nullopt, {}},
        {"claude-a", ".bashrc:3", std::nullopt, {}},
        {"-g myclaude", ".bashrc:8", std::nullopt, {}},
        {"claude-a", ".bashrc:9", std::nullopt, {}},
    };
    EXPECT_EQ(aliases, expected);
}

TEST(AliasParser, TakesCarriageReturnAndLineFeedForOneCharacter) {
    const world::TemporaryDirectory home;
    home.write(".zshrc", "alias claude-a=1\r\nalias claude-b=2\r\n\nalias claude-c=3");
    const auto aliases = ShellAliases::claudeAliases(home.path(), files);
    const std::vector<ShellAlias> expected = {
        {"claude-a", ".zshrc:1", std::nullopt, {"1\r\nalias", "claude-b=2\r\n"}},
        {"claude-c", ".zshrc:2", std::nullopt, {"3"}},
    };
    EXPECT_EQ(aliases, expected);
}

TEST(AliasParser, SkipsFilesThatAreNotUtf8) {
    const world::TemporaryDirectory home;
    home.write(".zshrc", "alias claude-a=claude\n# caf\xE9\n");
    home.write(".bashrc", "alias claude-b=claude\n");
    EXPECT_EQ(ShellAliases::claudeAliases(home.path(), files).size(), 1U);
}

}  // namespace brellin
