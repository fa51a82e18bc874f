#include "BrellinCore/accounts/ShellAliases.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace brellin {

using Words = std::vector<std::string>;

TEST(AliasParser, ReducesAValueToDirectoryAndOtherWords) {
    const std::tuple<std::string, std::optional<std::string>, Words> cases[] = {
        {"'CLAUDE_CONFIG_DIR=~/.claude-work claude'", "~/.claude-work", {}},
        {"'CLAUDE_CONFIG_DIR=~/.claude-work claude --some-flag'", "~/.claude-work", {"--some-flag"}},
        {"'env CLAUDE_CONFIG_DIR=~/.claude-w claude'", "~/.claude-w", {"env"}},
        {"'claude --some-flag'", {}, {"--some-flag"}},
        {"\"CLAUDE_CONFIG_DIR=/opt/cc claude\"", "/opt/cc", {}},
        {"CLAUDE_CONFIG_DIR=/x", "/x", {}},
        {"'CLAUDE_CONFIG_DIR= claude'", "", {}},
        {"'CLAUDE_CONFIG_DIR=/a  /usr/local/bin/claude/'", "/a", {}},
        {"'claude claude'", {}, {"claude"}},
        {"'claude CLAUDE_CONFIG_DIR=/a CLAUDE_CONFIG_DIR=/b'", "/b", {}},
        {"'\"claude\"'", {}, {}},
        {"\"'claude'\"", {}, {"'claude'"}},
        {"''claude''", {}, {"'claude'"}},
        {"'", {}, {"'"}},
        {"", {}, {}},
        {"'CLAUDE_CONFIG_DIR=/a\tclaude'", "/a\tclaude", {}},
        {"'CLAUDE_CONFIG_DIR=\"$HOME/x\" claude'", "\"$HOME/x\"", {}},
        {"'CLAUDE_CONFIG_DIR=/a claude' # mine", {}, {"'CLAUDE_CONFIG_DIR=/a", "claude'", "#", "mine"}}};
    for (const auto& [value, configDir, extraFlags] : cases) {
        const auto alias = ShellAliases::parse("alias  claude-x\t= " + value, "f:1");
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
               "# alias claude-no=claude\n\n \u3000\talias claude-a=claude\u00A0\nalias\tclaude-no=claude\n"
               "alias cw=claude\nalias Claude=claude\n  #alias claude-no=claude\nalias -g myclaude=claude\n"
               "alias claude-a=claude");
    // Carriage return and line feed together are one character, and no line feed.
    home.write(".zshrc", "alias claude-b=1\r\nalias claude-c=2\r\n\nalias claude-d=3");
    home.write(".notUTF8", "alias claude-e=claude\n# caf\xE9\n");
    const std::vector<ShellAlias> expected = {{"claude-b", ".zshrc:1", {}, {"1\r\nalias", "claude-c=2\r\n"}},
                                              {"claude-d", ".zshrc:2", {}, {"3"}},
                                              {"claude-a", ".bashrc:3", {}, {}},
                                              {"-g myclaude", ".bashrc:8", {}, {}},
                                              {"claude-a", ".bashrc:9", {}, {}}};
    constexpr std::string_view files[] = {".zshrc", ".notUTF8", ".missing", ".bashrc"};
    EXPECT_EQ(ShellAliases::claudeAliases(home.path(), files), expected);
}

}  // namespace brellin
