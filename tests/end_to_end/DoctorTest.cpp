#include "tests/world/Household.h"

#include <filesystem>

namespace brellin {

namespace {

namespace fs = std::filesystem;

/// One live session that was recorded, in a world whose faults are made by a shell. "doctor" examines it.
class Doctor : public world::Household {
  protected:
    Doctor() {
        declare("abc", reachable() + "'name':'n',");
        fs::permissions(home_.write("ps", "#!/bin/sh\neval \"$ps\"\n"), fs::perms::owner_all);
        environment_.insert({{"HAVRICK_TEST_PS", "./ps"}, {"HAVRICK_TEST_LSOF", "/none"}, {"ps", "exec ps \"$@\""}});
        EXPECT_EQ(runIn("bin/havrick record").exitStatus, 0);
    }
    /// What makes a fault, what ends it, and what the doctor says.
    using Fault = std::tuple<std::string, std::string, std::string>;

    void expectOf(const Fault& fault, int status) const {
        const auto& [make, end, line] = fault;
        const auto run = runIn(make + "\nbin/havrick-for-faults doctor; s=$?; " + end + "\nexit $s");
        EXPECT_NE(run.output.find(line), std::string::npos) << make << "\nwithout: " << line << "\n" << run.output;
        EXPECT_EQ(run.exitStatus, status) << make << "\n" << run.output;
    }
    /// The names of everything in the home, and what the history holds.
    std::string everything() const { return runIn("find . | sort").output + home_.read("data/havrick.db-wal"); }
};

}  // namespace

TEST_F(Doctor, FindsNothingWrongAndChangesNothing) {
    const std::string before = everything();
    const auto run = runIn("bin/havrick doctor");
    EXPECT_EQ(run.exitStatus, 0) << run.errors;
    EXPECT_EQ(run.output.find("✕ "), std::string::npos) << run.output;
    for (const char* line :
         {"\n✓            the clock agrees with ps", "/havrick-mcp of the same version\n",
          "\n✓ accounts   found main (the default)\n", "\n✓ sessions   1 session file read, of 1 account\n",
          "/data, which HAVRICK_ROOT names\n✓            it and its files are yours alone\n", "\n✓ history    sound, ",
          " 1 session, 1 name, 1 event, 1 observation since ",
          "\n✓ recorder   nobody records sessions now; the last round was "}) {
        EXPECT_NE(run.output.find(line), std::string::npos) << line << "\n" << run.output;
    }
    EXPECT_EQ(runIn("HAVRICK_ROOT=$PWD/none bin/havrick doctor").exitStatus, 0);
    EXPECT_EQ(everything(), before);
    expectOf(
        {"echo log >data/havrick.db-wal", "rm data/havrick.db-wal", "havrick.db-shm it cannot be read unchanged\n"}, 0);
    EXPECT_FALSE(fs::exists(root_ + "/havrick.db-wal") || fs::exists(root_ + "/havrick.db-shm"));
}

TEST_F(Doctor, FailsWhereSomethingIsWrong) {
    home_.write("garbage/havrick.db", std::string(5000, 'x'));
    for (const Fault& fault : std::initializer_list<Fault>{
             {"export HAVRICK_TEST_PS=/none", "", "✕ programs   /none cannot be run: no session's verdict can be "},
             {"export ps='echo garbage'", "", "✕ programs   ./ps does not do what it should: "},
             {R"(export ps='ps "$@" | sed -E "s/ 20[0-9]{2} / 2001 /"')", "",
              " s ago: start times cannot be trusted\n"},
             {"mkdir .claude-b; >.claude-b/sessions", "rm -r .claude-b",
              "✕            " + home_ / ".claude-b/sessions cannot be listed: its sessions cannot be seen\n"},
             {"chmod 777 data", "chmod 700 data",
              root_ + " can be written by other users: nobody could trust what is in it\n             → `chmod go-w '" +
                  root_ + "'`\n"},
             {"chmod 606 data/havrick.db", "chmod 600 data/havrick.db", "havrick.db can be written by other users: "},
             {"export HAVRICK_ROOT=ps", "", "✕            " + home_ / "ps cannot be listed\n"},
             {"chmod 700 garbage; export HAVRICK_ROOT=garbage", "", " is no sound history: file is not a database\n"},
             {"export HAVRICK_ROOT=$PWD/torn; mkdir -m 700 torn; cp -p data/*.db* torn; bin/havrick history prune "
              "--older-than 0 --vacuum; dd if=/dev/zero of=torn/havrick.db bs=4096 seek=2 count=1 conv=notrunc",
              "", "havrick.db is no sound history: "}}) {
        expectOf(fault, 1);
    }
}

TEST_F(Doctor, SaysWhatIsWorthALook) {
    const std::string file = home_ / ".claude/sessions/a'b.json";
    const std::string server =
        R"(echo '{"mcpServers":{"a":[{}],"h\"":{"command":"havrick-mcp","env":{"HAVRICK_ROOT":")";
    home_.write("own/havrick-mcp", "#!/bin/sh\necho '{\"result\":{\"serverInfo\":{\"version\":\"9\"}}}'\n");
    const std::string whenLogged = "until [ -s log ]; do sleep .01; done";
    for (
        const Fault& fault : std::initializer_list<Fault>{
            {"", "", "\n!            /none cannot be run: only watched ports need it\n"},
            {"cp bin/havrick own; chmod +x own/*; own/havrick doctor", "rm -r own",
             "/own/havrick-mcp 9\n             → install both"},
            {"echo \"alias claude-x='A=1 claude'\" >.bashrc", "", "\n!            1 alias(es) change more than "},
            {"printf '{' >\"$HOME/.claude/sessions/a'b.json\"", "rm .claude/sessions/a?b.json",
             file +
                 " declares no session: it is not whole, or not JSON with sessionId, pid and startedAt\n"
                 "             → if no session is just writing it: `rm '" +
                 home_ / ".claude/sessions/a'\\''b.json'`\n"},
            {"mkdir .claude/sessions/x.json", "rmdir .claude/sessions/x.json", "x.json cannot be read\n"},
            {"mkdir -p .claude-b/sessions; cp .claude/sessions/abc.json .claude-b/sessions", "rm -r .claude-b",
             "abc is declared twice: in " + home_ / ".claude with PID "},
            {"chmod 755 data", "chmod 700 data", "!            " + root_ + " can be read by other users\n"},
            {"echo '[1]' >data/watchlist.json", "rm data/watchlist.json", "/watchlist.json is no list: "},
            {"export HAVRICK_ROOT=none", "", "! history    there is no history yet: " + home_ / "none"},
            {"export HAVRICK_ROOT=none", "", "relative, so it is another one in every directory\n"},
            {server + "/else\"}}}}' >.claude.json", "",
             "\"h\"\" in " + home_ / ".claude.json sets HAVRICK_ROOT to /else, and this command uses " + root_},
            {server + root_ + "/\"}}}}' >.claude.json", "rm .claude.json",
             ".claude.json uses the same data directory\n"},
            {server + "${D}\"}}}}' >.mcp.json", "", "/.mcp.json uses ${D}, whatever"},
            {"sed s,havrick-mcp,~/havrick-mcp, .mcp.json >x; mv x .mcp.json", "",
             "starts ~/havrick-mcp, which does not "},
#ifdef __linux__
            {"mkfifo in; HAVRICK_ROOT=$PWD/else bin/havrick-mcp <>in 2>log & " + whenLogged, "kill $!; rm log",
             "(havrick-mcp) uses " + home_ / "else, and this command uses " + root_},
            {"HAVRICK_ROOT=$PWD/else bin/havrick record --every 9 >log & " + whenLogged, "kill $!; rm log",
             " records into " + home_ / "else, which is not the data directory of this command\n"},
#endif
            {"bin/havrick record --every 9 --keep 90d & until bin/havrick doctor | grep 'process .* records'; do :; done",
             "kill $!", "\n✓            observations older than 90d are removed once a day\n"}}) {
        expectOf(fault, 0);
    }
}

}  // namespace brellin
