#include "bench/JsonFiles.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string_view>

namespace brellin::bench::JsonFiles {

namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr std::size_t memberCount = 65536;

/// The last 16 bits of an FNV-1a hash, in which the names have to agree for a table of 65,536 members. They
/// depend on nothing above them, and differences between texts of one length on nothing above the lowest 8.
using Hash = std::uint16_t;
constexpr std::uint32_t prime = 0x1B3;

// What Boost.JSON starts from, and the last bits of where malloc and a document's memory put so large a
// table.
constexpr Hash start = 0x2325 + 0x30;

Hash hashOf(std::string_view text) {
    Hash hash = start;
    for (const char letter : text) {
        hash = static_cast<Hash>((hash ^ static_cast<unsigned char>(letter)) * prime);
    }
    return hash;
}

/// The hashes from which two letters lead to one and the same, and these letters.
std::map<Hash, std::string> lastLetters() {
    std::uint32_t inverse = 1;
    for (int doubling = 0; doubling < 4; ++doubling) {
        inverse *= 2 - prime * inverse;
    }
    const auto before = [inverse](Hash hash, char letter) {
        return static_cast<Hash>(static_cast<Hash>(hash * inverse) ^ static_cast<unsigned char>(letter));
    };
    std::map<Hash, std::string> endings;
    for (const char last : letters) {
        for (const char secondLast : letters) {
            endings[before(before(0, last), secondLast)] = {secondLast, last};
        }
    }
    return endings;
}

std::string session(const std::set<std::string>& names) {
    std::string text = R"({"sessionId":"s","pid":5000000,"startedAt":1)";
    for (const std::string& name : names) {
        text += fmt::format(R"(,"{}":1)", name);
    }
    return text + "}";
}

/// @param finish makes a name of a beginning, or an empty text when it has none for it
template <typename Finish>
std::set<std::string> names(Finish finish) {
    std::mt19937 random(1);
    std::set<std::string> found;
    while (found.size() < memberCount - 3) {
        std::string name;
        for (int length = 0; length < 8; ++length) {
            name += letters[random() % letters.size()];
        }
        if (const std::string ending = finish(name); !ending.empty()) {
            found.insert(name + ending);
        }
    }
    return found;
}

}  // namespace

void writeIdentity(const std::string& path, std::size_t size) {
    std::ofstream file(path);
    std::minstd_rand random(1);
    file << R"({"numStartups":3,"projects":{)";
    for (int project = 0; file.tellp() < static_cast<std::streamoff>(size); ++project) {
        file << fmt::format(R"("/home/ana/projects/p{}":{{"allowedTools":[],"lastCost":{}.25,"history":[)",
                            project, random() % 100);
        for (int prompt = 0; prompt < 100; ++prompt) {
            file << fmt::format(
                R"({{"display":"fix \"it\" in line {}\nand look at \u00e9 — {}","pastedContents":{{}}}},)",
                random() % 9999, std::string(random() % 200, 'x'));
        }
        file << "{}]},";
    }
    file << R"("":{}},"oauthAccount":{"emailAddress":"ana@example.com"}})";
}

std::string collidingSession() {
    const std::map<Hash, std::string> endings = lastLetters();
    return session(names([&](const std::string& beginning) {
        const auto ending = endings.find(hashOf(beginning));
        return ending == endings.end() ? std::string() : ending->second;
    }));
}

std::string harmlessSession() {
    return session(names([](const std::string& /*beginning*/) { return std::string("xy"); }));
}

}  // namespace brellin::bench::JsonFiles
