#include "BrellinCore/watch/WatchList.h"

#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/text/JsonReader.h"
#include "BrellinCore/text/Utf8.h"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <system_error>
#include <utility>

namespace brellin {

std::filesystem::path WatchList::file(const std::filesystem::path& directory) {
    return directory / DataFiles::watchList;
}

WatchList::Loaded WatchList::load(const std::filesystem::path& directory) {
    const auto text = FileSystem::readFile(file(directory));
    if (text) {
        return fromDocument(*text);
    }
    std::error_code ignored;
    const auto type = std::filesystem::status(file(directory), ignored).type();
    return {.isReadable = type == std::filesystem::file_type::not_found};
}

WatchList::Loaded WatchList::fromDocument(std::string_view text) {
    const auto specs = JsonReader::readStrings(text);
    if (!specs) {
        return {.isReadable = false};
    }
    Loaded loaded;
    for (const std::string& spec : *specs) {
        if (auto target = WatchTarget::fromSpec(spec)) {
            loaded.list.targets.push_back(std::move(*target));
        } else {
            ++loaded.skipped;
        }
    }
    return loaded;
}

void WatchList::save(const std::filesystem::path& directory) const {
    std::filesystem::create_directories(directory);
    FileSystem::writeFileAtomically(file(directory), document());
}

std::string WatchList::document() const {
    boost::json::array keys;
    for (const WatchTarget& target : targets) {
        keys.emplace_back(Utf8::repaired(target.key()));
    }
    std::string escaped;
    for (const char character : boost::json::serialize(keys)) {
        escaped.append(character == '/' ? "\\" : "").push_back(character);
    }
    return escaped;
}

bool WatchList::add(const WatchTarget& target) {
    if (std::ranges::find(targets, target.key(), &WatchTarget::key) != targets.end()) {
        return false;
    }
    targets.push_back(target);
    return true;
}

bool WatchList::remove(std::string_view key) {
    return std::erase_if(targets, [&](const WatchTarget& target) { return target.key() == key; }) > 0;
}

}  // namespace brellin
