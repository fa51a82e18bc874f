#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/accounts/IdentityReader.h"
#include "BrellinCore/accounts/ShellAliases.h"
#include "tests/world/FailingCall.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace brellin {

using world::TemporaryDirectory;
using Words = std::vector<std::string>;

#ifdef __linux__
TEST(AccountScanner, TellsInOrderWhatItCouldNotSee) {
    const TemporaryDirectory home;
    home.write(".zshrc", "alias claude-yolo='claude --yolo'");
    world::failNext("readdir", EIO);
    const Words caveats = {
        "1 alias(es) change more than CLAUDE_CONFIG_DIR (claude-yolo) — they are not treated as standing for an account.",
        "Could not list " + home.path() + " — the account list is incomplete.",
        "2 account(s) configured but with no directory on disk (main, dir) — configured, never used.",
        "A config directory not named `.claude-*` shows up only if $CLAUDE_CONFIG_DIR or a shell alias names it."};
    EXPECT_EQ(AccountScanner::scan(home.path(), {{"CLAUDE_CONFIG_DIR", "relative/.dir"}}).caveats, caveats);
}
#endif

TEST(IdentityReader, LooksInTheAccountFirstAndInTheHomeForTheDefaultOne) {
    const TemporaryDirectory home;
    const auto email = [&](std::string_view account) {
        return IdentityReader::email(home / account, home.path()).value_or("-");
    };
    home.write(".claude.json", R"({"oauthAccount": {"emailAddress": " Ä@home "}})");
    const std::string manyPieces = R"({"projects": ")" + std::string(300000, 'x') + "\", ";
    const std::string address = R"("oauthAccount": {"emailAddress": "in@account"})";
    const Words withoutAddress = {"",
                                  "{",
                                  "[]",
                                  R"({"oauthAccount": "a@b"})",
                                  R"({"oauthAccount": {"emailAddress": ""}})",
                                  R"({"oauthAccount": {"emailAddress": 5}})",
                                  manyPieces + address};
    for (const std::string& text : withoutAddress) {
        home.write(".claude/.claude.json", text);
        EXPECT_EQ(email(".claude"), " Ä@home ") << text;
    }
    EXPECT_EQ(email(".claude-x"), "-");
    home.write(".claude/.claude.json", manyPieces + address + "}");
    EXPECT_EQ(email(".claude"), "in@account");
    const AccountScan scan = AccountScanner::scan(home.path(), {}, AccountScanner::Identities::leave);
    EXPECT_EQ(scan.accounts.at(0).identityEmail, std::nullopt);
}

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
    const TemporaryDirectory home;
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
