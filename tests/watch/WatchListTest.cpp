#include "BrellinCore/text/Split.h"
#include "BrellinCore/watch/WatchList.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <system_error>

namespace brellin {

TEST(WatchTarget, ParsesSpecsIntoTheirNormalForm) {
    const std::tuple<std::string_view, std::string, std::string> accepted[] = {
        {"pid:4242", "pid:4242", "PID 4242"},
        {"pid:+007", "pid:7", "PID 7"},
        {"pid:-2147483648", "pid:-2147483648", "PID -2147483648"},
        {":::pid:0", "pid:0", "PID 0"},
        {"cmd:a:b", "cmd:a:b", "command ~ “a:b”"},
        {"cmd::", "cmd::", "command ~ “:”"},
        {"cmd: ", "cmd: ", "command ~ “ ”"},
        {"port:08080", "port:8080", "port 8080"},
        {"port:+65535", "port:65535", "port 65535"},
        {"port:-0", "port:0", "port 0"}};
    for (const auto& [spec, key, description] : accepted) {
        const auto target = WatchTarget::fromSpec(spec);
        ASSERT_TRUE(target) << spec;
        EXPECT_EQ(target->key(), key);
        EXPECT_EQ(target->describe(), description);
        EXPECT_EQ(WatchTarget::fromSpec(key), target) << "a key is a spec";
        EXPECT_EQ(std::hash<WatchTarget>()(*WatchTarget::fromSpec(key)), std::hash<WatchTarget>()(*target));
    }
    EXPECT_EQ(WatchTarget::fromSpec(""), std::nullopt);
    for (const std::string_view spec : splitDroppingEmpty(
             ":|::|pid|pid:|:pid:|pid: 7|pid:7 |PID:7| pid:7|pid:2147483648|pid:-2147483649|pid:1.0|pid:+|pid:-|"
             "pid:+-1|pid:--1|pid:0x1|pid:١|pid::7|port:65536|port:-1|port:http|cmd:|7|file:/x",
             "|")) {
        EXPECT_EQ(WatchTarget::fromSpec(spec), std::nullopt) << spec;
    }
}

TEST(WatchTarget, ABaselineTellsTargetsApartButNotTheirKeys) {
    const auto bare = WatchTarget::pid(5);
    const auto declared = WatchTarget::pid(5, "");
    EXPECT_NE(bare, declared);
    EXPECT_NE(std::hash<WatchTarget>()(bare), std::hash<WatchTarget>()(declared));
    WatchList list;
    EXPECT_TRUE(list.add(WatchTarget::port(5)));
    EXPECT_TRUE(list.add(bare));
    EXPECT_FALSE(list.add(declared));
    EXPECT_EQ(list.targets, (std::vector{WatchTarget::port(5), bare}));
}

TEST(WatchList, LoadsWhatItCanAndCountsTheRest) {
    const auto x = WatchTarget::command("x");
    const std::tuple<std::string_view, std::vector<WatchTarget>, std::size_t> cases[] = {
        {"{}", {}, 0},
        {"", {}, 0},
        {R"(["pid:1", 5])", {}, 0},
        {R"(["pid:1","bogus","port:70000","cmd:x"])", {WatchTarget::pid(1), x}, 2},
        {R"([ "cmd:x", "cmd:x" ])", {x, x}, 0}};
    const world::TemporaryDirectory directory;
    for (const auto& [text, targets, skipped] : cases) {
        directory.write("watchlist.json", text);
        const auto loaded = WatchList::load(directory.path());
        EXPECT_EQ(loaded.list.targets, targets) << text;
        EXPECT_EQ(loaded.skipped, skipped) << text;
    }
    WatchList twice{{x, x}};
    EXPECT_FALSE(twice.remove("x"));
    EXPECT_TRUE(twice.remove("cmd:x"));
    EXPECT_FALSE(twice.remove("cmd:x"));
}

TEST(WatchList, SavesAtomicallyAndComesBack) {
    const world::TemporaryDirectory home;
    const std::string directory = home / "new/data";
    const WatchList list{{WatchTarget::command("a/b \"é\\"), WatchTarget::port(80), WatchTarget::pid(7)}};
    list.save(directory);
    EXPECT_EQ(world::contentOf(directory + "/watchlist.json"), R"(["cmd:a\/b \"é\\","port:80","pid:7"])");
    EXPECT_EQ(WatchList::load(directory).list, list);
    WatchList{{WatchTarget::pid(7, "baseline")}}.save(directory);
    EXPECT_EQ(WatchList::load(directory).list, (WatchList{{WatchTarget::pid(7)}}));
    EXPECT_THROW(list.save(home.write("file", "")), std::system_error);

    // No room for a single byte: the old list stays, and nothing beside it.
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{0, RLIM_INFINITY};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &none), 0);
    EXPECT_THROW(list.save(directory), std::system_error);
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &unlimited), 0);
    EXPECT_EQ(world::contentOf(directory + "/watchlist.json"), R"(["pid:7"])");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
}

}  // namespace brellin
