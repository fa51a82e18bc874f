#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/accounts/IdentityReader.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace brellin {

namespace {

using enum ClaudeAccount::Source;
using world::TemporaryDirectory;

const std::string alwaysLastCaveat =
    "A config directory not named `.claude-*` shows up only if $CLAUDE_CONFIG_DIR or a shell alias names it.";

std::string signedInAs(std::string_view address) {
    return R"({"oauthAccount": {"emailAddress": ")" + std::string(address) + "\"}}";
}

}  // namespace

TEST(AccountScanner, AnEmptyHomeHasTheDefaultAccountAlone) {
    const TemporaryDirectory home;
    const AccountScan scan = AccountScanner::scan(home.path(), {{"CLAUDE_CONFIG_DIR", ""}});
    ASSERT_EQ(scan.accounts.size(), 1U);
    EXPECT_EQ(scan.accounts[0],
              (ClaudeAccount{.path = home / ".claude", .label = "main", .sources = {defaultHome}, .isDefault = true}));
    const std::vector<std::string> caveats = {
        "1 account(s) configured but with no directory on disk (main) — configured, never used.", alwaysLastCaveat};
    EXPECT_EQ(scan.caveats, caveats);
}

TEST(AccountScanner, MergesSourcesByPathAndSortsByLabel) {
    const TemporaryDirectory home;
    const TemporaryDirectory elsewhere;
    home.makeDirectory(".claude");
    home.makeDirectory(".claude-work");
    home.makeDirectory(".claude-");
    home.makeDirectory(".claude-caf\xE9");
    home.write(".claude-notes", "a file");
    elsewhere.makeDirectory(".claude-work");
    std::filesystem::create_directory_symlink(".claude-work", home / ".claude-Link");
    home.write(".zshrc", "alias claude-w='CLAUDE_CONFIG_DIR=" + home / ".claude-x/../.claude-work/" +
                             " claude'\nalias claude-yolo='claude --yolo'\n"
                             "alias claude-e='CLAUDE_CONFIG_DIR=" +
                             elsewhere / ".claude-work" + " claude'\nalias a-claude='claude -c'\n");
    home.write(".bashrc", "alias claude-yolo='claude --yolo'\nalias claude-gone='CLAUDE_CONFIG_DIR=/gone/.cfg'\n");
    const AccountScan scan = AccountScanner::scan(home.path() + "/", {{"CLAUDE_CONFIG_DIR", home / "./.claude//"}});

    std::vector<std::pair<std::string, std::string>> found;
    for (const ClaudeAccount& account : scan.accounts) {
        found.emplace_back(account.label, account.path);
    }
    std::vector<std::pair<std::string, std::string>> expected = {
        {"main", home / ".claude"},
        {"", home / ".claude-"},
        {"Link", home / ".claude-Link"},
        {"caf\xE9", home / ".claude-caf\xE9"},
        {"cfg", "/gone/.cfg"},
        {"work", std::min(home / ".claude-work", elsewhere / ".claude-work")},
        {"work", std::max(home / ".claude-work", elsewhere / ".claude-work")},
    };
    EXPECT_EQ(found, expected);
    EXPECT_EQ(scan.accounts[0].sources, (decltype(ClaudeAccount::sources){defaultHome, environment}));
    EXPECT_TRUE(scan.accounts[0].isActiveForThisProcess);
    const auto& merged = scan.accounts[home.path() < elsewhere.path() ? 5 : 6];
    EXPECT_EQ(merged.sources, (decltype(ClaudeAccount::sources){alias, orphanDirectory}));
    EXPECT_FALSE(merged.isActiveForThisProcess);
    EXPECT_FALSE(scan.accounts[4].existsOnDisk);

    const std::vector<std::string> caveats = {
        "3 alias(es) change more than CLAUDE_CONFIG_DIR (a-claude, claude-yolo, claude-yolo) — they are not "
        "treated as standing for an account.",
        "1 account(s) configured but with no directory on disk (cfg) — configured, never used.", alwaysLastCaveat};
    EXPECT_EQ(scan.caveats, caveats);
}

TEST(AccountScanner, SaysWhenTheHomeCannotBeListed) {
    const TemporaryDirectory parent;
    const std::string home = parent.write("file", "");
    const AccountScan scan = AccountScanner::scan(home, {{"CLAUDE_CONFIG_DIR", "relative/.dir"}});
    ASSERT_EQ(scan.accounts.size(), 2U);
    EXPECT_EQ(scan.accounts[1].path, (std::filesystem::current_path() / "relative/.dir").string());
    EXPECT_EQ(scan.accounts[1].label, "dir");
    EXPECT_TRUE(scan.accounts[1].isActiveForThisProcess);
    EXPECT_EQ(scan.caveats[0], "Could not list " + home + " — the account list is incomplete.");
    EXPECT_EQ(scan.caveats[1],
              "2 account(s) configured but with no directory on disk (main, dir) — configured, never used.");
}

TEST(IdentityReader, LooksInTheAccountFirstAndInTheHomeForTheDefaultOne) {
    struct Case {
        std::string_view inAccount;
        std::string_view inHome;
        std::optional<std::string> defaultEmail;
        std::optional<std::string> otherEmail;
    };
    const std::string inner = signedInAs("in@account");
    const std::string outer = signedInAs("in@home");
    for (const auto& [inAccount, inHome, defaultEmail, otherEmail] : {
             Case{inner, outer, "in@account", "in@account"},
             Case{"", outer, "in@home", std::nullopt},
             Case{R"({"oauthAccount": {"emailAddress": ""}})", outer, "in@home", std::nullopt},
             Case{R"({"oauthAccount": {"emailAddress": 5}})", outer, "in@home", std::nullopt},
             Case{R"({"oauthAccount": "in@account"})", outer, "in@home", std::nullopt},
             Case{"[]", outer, "in@home", std::nullopt},
             Case{"{", "{", std::nullopt, std::nullopt},
             Case{R"({"oauthAccount": {"emailAddress": " Ä@b "}})", "", " Ä@b ", " Ä@b "},
         }) {
        const TemporaryDirectory home;
        home.write(".claude/.claude.json", inAccount);
        home.write(".claude-x/.claude.json", inAccount);
        home.write(".claude.json", inHome);
        EXPECT_EQ(IdentityReader::email(home / ".claude", home.path()), defaultEmail) << inAccount;
        EXPECT_EQ(IdentityReader::email(home / ".claude-x", home.path()), otherEmail) << inAccount;
        EXPECT_EQ(IdentityReader::candidateFiles(home / ".claude/", home.path()).size(), 1U);
    }
}

}  // namespace brellin
