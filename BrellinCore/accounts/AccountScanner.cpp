#include "BrellinCore/accounts/AccountScanner.h"

#include "BrellinCore/accounts/IdentityReader.h"
#include "BrellinCore/accounts/ShellAliases.h"
#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/HomeDirectory.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

namespace brellin::AccountScanner {

namespace {

using Source = ClaudeAccount::Source;

/// Accumulates the sources of one path while a scan runs.
struct Builder {
    std::string path;
    decltype(ClaudeAccount::sources) sources;
};

/// The paths offered so far, by normalised path.
class Offers {
  public:
    void offer(std::string_view path, Source source) {
        std::string normalized = FilePath::normalize(path);
        Builder& builder = builders_[normalized];
        builder.path = std::move(normalized);
        builder.sources.insert(source);
    }
    const std::map<std::string, Builder>& builders() const { return builders_; }

  private:
    std::map<std::string, Builder> builders_;
};

/// The value of CLAUDE_CONFIG_DIR; nullopt when it is unset or empty.
std::optional<std::string> configDirIn(const Environment& environment) {
    const auto entry = environment.find("CLAUDE_CONFIG_DIR");
    if (entry == environment.end() || entry->second.empty()) {
        return std::nullopt;
    }
    return entry->second;
}

void offerAliases(const std::string& home, Offers& offers, std::vector<std::string>& caveats) {
    std::vector<std::string> excluded;
    for (const ShellAlias& alias : ShellAliases::claudeAliases(home, shellRCFiles)) {
        if (alias.changesOnlyConfigDir()) {
            offers.offer(*alias.configDir, Source::alias);
        } else {
            excluded.push_back(alias.name);
        }
    }
    if (excluded.empty()) {
        return;
    }
    std::ranges::sort(excluded);
    caveats.push_back(
        fmt::format("{} alias(es) change more than CLAUDE_CONFIG_DIR ({}) — "
                    "they are not treated as standing for an account.",
                    excluded.size(), fmt::join(excluded, ", ")));
}

void offerOrphans(const std::string& home, Offers& offers, std::vector<std::string>& caveats) {
    const auto names = FileSystem::listDirectory(home);
    if (!names) {
        caveats.push_back(fmt::format("Could not list {} — the account list is incomplete.", home));
        return;
    }
    for (const std::string& name : *names) {
        const std::string path = fmt::format("{}/{}", home, name);
        if (name.starts_with(".claude-") && FileSystem::isDirectory(path)) {
            offers.offer(path, Source::orphanDirectory);
        }
    }
}

void addCaveatOnMissingDirectories(const std::vector<ClaudeAccount>& accounts,
                                   std::vector<std::string>& caveats) {
    std::vector<std::string_view> labels;
    for (const ClaudeAccount& account : accounts) {
        if (!account.existsOnDisk) {
            labels.push_back(account.label);
        }
    }
    if (!labels.empty()) {
        caveats.push_back(
            fmt::format("{} account(s) configured but with no directory on disk ({}) — "
                        "configured, never used.",
                        labels.size(), fmt::join(labels, ", ")));
    }
}

}  // namespace

std::string homeDirectory() {
    return brellin::homeDirectory();
}

std::string label(std::string_view path, std::string_view defaultPath) {
    if (path == defaultPath) {
        return "main";
    }
    constexpr std::string_view prefix = ".claude-";
    std::string_view name = FilePath::lastComponent(path);
    if (name.starts_with(prefix)) {
        name.remove_prefix(prefix.size());
    } else if (name.starts_with('.')) {
        name.remove_prefix(1);
    }
    return std::string(name);
}

AccountScan scan(const std::optional<std::string>& home, const Environment& environment,
                 Identities identities) {
    const std::string scannedHome = home ? FilePath::absolute(*home) : homeDirectory();
    const std::string defaultPath = FilePath::normalize(scannedHome + "/.claude");
    const auto configDir = configDirIn(environment);
    const auto activePath = configDir ? std::optional(FilePath::normalize(*configDir)) : std::nullopt;

    AccountScan result;
    Offers offers;
    offers.offer(defaultPath, Source::defaultHome);
    if (configDir) {
        offers.offer(*configDir, Source::environment);
    }
    offerAliases(scannedHome, offers, result.caveats);
    offerOrphans(scannedHome, offers, result.caveats);

    for (const auto& [path, builder] : offers.builders()) {
        ClaudeAccount account;
        account.path = builder.path;
        account.label = label(path, defaultPath);
        account.sources = builder.sources;
        account.isDefault = path == defaultPath;
        account.isActiveForThisProcess = activePath == path;
        account.existsOnDisk = FileSystem::isDirectory(path);
        if (account.existsOnDisk && identities == Identities::read) {
            account.identityEmail = IdentityReader::email(path, scannedHome);
        }
        result.accounts.push_back(std::move(account));
    }
    // The map yields paths in order, so accounts with equal labels stay ordered by path.
    std::ranges::stable_sort(result.accounts, [](const ClaudeAccount& left, const ClaudeAccount& right) {
        return std::tuple(!left.isDefault, std::string_view(left.label)) <
               std::tuple(!right.isDefault, std::string_view(right.label));
    });
    addCaveatOnMissingDirectories(result.accounts, result.caveats);
    result.caveats.emplace_back(
        "A config directory not named `.claude-*` shows up only if $CLAUDE_CONFIG_DIR or a shell alias names "
        "it.");
    return result;
}

}  // namespace brellin::AccountScanner
