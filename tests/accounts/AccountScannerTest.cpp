#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/accounts/IdentityReader.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace brellin {

namespace {

using world::TemporaryDirectory;

const std::string alwaysLastCaveat =
    "A config directory not named `.claude-*` shows up only if $CLAUDE_CONFIG_DIR or a shell alias names it.\n";

/// A line for each account, with its label, its path, its sources and what else holds; then the caveats.
std::string summary(const AccountScan& scan) {
    std::string text;
    for (const ClaudeAccount& account : scan.accounts) {
        text += account.label + " " + account.path;
        for (const ClaudeAccount::Source source : account.sources) {
            text += " " + std::string(rawValue(source));
        }
        text += std::string(account.isDefault ? ", default" : "") + (account.isActiveForThisProcess ? ", active" : "") +
                (account.existsOnDisk ? "\n" : ", absent\n");
    }
    for (const std::string& caveat : scan.caveats) {
        text += caveat + "\n";
    }
    return text;
}

}  // namespace

TEST(AccountScanner, MergesSourcesByPathAndSortsByLabel) {
    const TemporaryDirectory parent;
    const std::string home = parent / "home";
    for (const char* name : {"", "-work", "-", "-caf\xE9"}) {
        parent.makeDirectory(std::string("home/.claude") + name);
    }
    parent.makeDirectory("z/.claude-work");
    parent.write("home/.claude-notes", "a file");
    std::filesystem::create_directory_symlink(".claude-work", home + "/.claude-Link");
    parent.write("home/.zshrc",
                 fmt::format("alias claude-e='CLAUDE_CONFIG_DIR={0}/z/.claude-work claude'\n"
                             "alias claude-w='CLAUDE_CONFIG_DIR={0}/home/.claude-x/../.claude-work/ claude'\n"
                             "alias claude-yolo='claude --yolo'\nalias a-claude='claude -c'\n",
                             parent.path()));
    parent.write("home/.bashrc",
                 "alias claude-yolo='claude --yolo'\nalias claude-gone='CLAUDE_CONFIG_DIR=/gone/.cfg'\n");
    EXPECT_EQ(summary(AccountScanner::scan(home + "/", {{"CLAUDE_CONFIG_DIR", home + "/./.claude//"}})),
              fmt::format("main {0}/home/.claude defaultHome environment, default, active\n"
                          " {0}/home/.claude- orphanDirectory\n"
                          "Link {0}/home/.claude-Link orphanDirectory\n"
                          "caf{1} {0}/home/.claude-caf{1} orphanDirectory\n"
                          "cfg /gone/.cfg alias, absent\n"
                          "work {0}/home/.claude-work alias orphanDirectory\n"
                          "work {0}/z/.claude-work alias\n"
                          "3 alias(es) change more than CLAUDE_CONFIG_DIR (a-claude, claude-yolo, claude-yolo) — they "
                          "are not treated as standing for an account.\n"
                          "1 account(s) configured but with no directory on disk (cfg) — configured, never used.\n",
                          parent.path(), "\xE9") +
                  alwaysLastCaveat);
}

TEST(AccountScanner, SaysWhenTheHomeCannotBeListed) {
    const TemporaryDirectory parent;
    const std::string home = parent.write("file", "");
    const std::string here = std::filesystem::current_path();
    EXPECT_EQ(summary(AccountScanner::scan(home, {{"CLAUDE_CONFIG_DIR", "relative/.dir"}})),
              "main " + home + "/.claude defaultHome, default, absent\ndir " + here +
                  "/relative/.dir environment, active, absent\nCould not list " + home +
                  " — the account list is incomplete.\n"
                  "2 account(s) configured but with no directory on disk (main, dir) — configured, never used.\n" +
                  alwaysLastCaveat);
}

TEST(IdentityReader, LooksInTheAccountFirstAndInTheHomeForTheDefaultOne) {
    const std::string outer = R"({"oauthAccount": {"emailAddress": "in@home"}})";
    const std::string manyPieces = R"({"projects": ")" + std::string(300000, 'x') + "\", ";
    // The file in the account, that in the home, and whom they name for the default account and for another.
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {R"({"oauthAccount": {"emailAddress": "in@account"}})", outer, "in@account", "in@account"},
        {"", outer, "in@home", "-"},
        {R"({"oauthAccount": {"emailAddress": ""}})", outer, "in@home", "-"},
        {R"({"oauthAccount": {"emailAddress": 5}})", outer, "in@home", "-"},
        {R"({"oauthAccount": "in@account"})", outer, "in@home", "-"},
        {"[]", outer, "in@home", "-"},
        {"{", "{", "-", "-"},
        {manyPieces + R"("oauthAccount": {"emailAddress": "in@account"}})", outer, "in@account", "in@account"},
        {manyPieces + R"("oauthAccount": {"emailAddress": "in@account"})", outer, "in@home", "-"},
        {R"({"oauthAccount": {"emailAddress": " Ä@b "}})", "", " Ä@b ", " Ä@b "}};
    for (const auto& [inAccount, inHome, ofDefault, ofOther] : cases) {
        const TemporaryDirectory home;
        home.write(".claude/.claude.json", inAccount);
        home.write(".claude-x/.claude.json", inAccount);
        home.write(".claude.json", inHome);
        EXPECT_EQ(IdentityReader::email(home / ".claude", home.path()).value_or("-"), ofDefault) << inAccount;
        EXPECT_EQ(IdentityReader::email(home / ".claude-x", home.path()).value_or("-"), ofOther) << inAccount;
        const auto identity = [&](auto... identities) {
            return AccountScanner::scan(home.path(), {}, identities...).accounts.at(0).identityEmail.value_or("-");
        };
        EXPECT_EQ(identity(), ofDefault);
        EXPECT_EQ(identity(AccountScanner::Identities::leave), "-");
        EXPECT_EQ(IdentityReader::candidateFiles(home / ".claude/", home.path()).size(), 1U);
    }
}

}  // namespace brellin
