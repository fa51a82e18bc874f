/* The work that a report cannot do without, done once for every line of input, with a reply of a few bytes:

     report ps PID...                       runs `ps` for every process
     report now DIRECTORY SIZE              reads every session file, has it parsed, asks for its process, and
                                            replies with as many bytes as the report has
     report resolve DIRECTORY DATABASE      reads them, has them parsed, and asks the history for every
                                            session's names */

#define _GNU_SOURCE

#include "database.h"
#include "lines.h"
#include "pass_over.h"
#include "session_files.h"
#include "statements.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

static char **arguments;
static sqlite3 *history;
static unsigned char sum; /* of something in every result, so that none is computed for nothing */

static void finish(void) {
    const char digits[] = {(char)('0' + sum / 100), (char)('0' + sum / 10 % 10), (char)('0' + sum % 10)};
    write_reply(digits, sizeof digits);
}

static void run_ps(char *pid) {
    int ends[2];
    posix_spawn_file_actions_t actions;
    if (pipe2(ends, O_CLOEXEC) != 0 || posix_spawn_file_actions_init(&actions) != 0 ||
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO) != 0) {
        exit(1);
    }
    char *const words[] = {"ps", "-o", "lstart=", "-p", pid, NULL};
    pid_t child = 0;
    if (posix_spawn(&child, "/bin/ps", &actions, NULL, words, environ) != 0) {
        exit(1);
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char output[256];
    ssize_t count = 0;
    while ((count = read(ends[0], output, sizeof output)) > 0) {
        sum ^= (unsigned char)output[0];
    }
    close(ends[0]);
    waitpid(child, NULL, 0);
}

static void answer_ps(char *line) {
    (void)line;
    for (char **pid = arguments; *pid != NULL; ++pid) {
        run_ps(*pid);
    }
    finish();
}

static void look_at_session(char *content, size_t size) {
    sum ^= (unsigned char)pass_over(content, size);
    sum ^= kill((pid_t)number_member(content, "pid"), 0) == 0;
}

static void answer_now(char *line) {
    (void)line;
    static char *report = NULL;
    const size_t size = (size_t)atoll(arguments[1]);
    if (report == NULL && (report = malloc(size)) == NULL) {
        exit(1);
    }
    for_each_session_file(arguments[0], look_at_session);
    memset(report, 'a' + sum % 26, size);
    write_reply(report, size);
}

static void look_up_names(char *content, size_t size) {
    sum ^= (unsigned char)pass_over(content, size);
    sqlite3_stmt *statement = prepare(history, name_history);
    bind_text(statement, 1, string_member(content, "sessionId"));
    while (sqlite3_step(statement) == SQLITE_ROW) {
        for (int column = 0; column < 2; ++column) {
            const char *text = (const char *)sqlite3_column_text(statement, column);
            sum ^= text != NULL && strcmp(text, "no such name") == 0;
        }
    }
    sqlite3_finalize(statement);
}

static void answer_resolve(char *line) {
    (void)line;
    history = open_database(arguments[1]);
    for_each_session_file(arguments[0], look_up_names);
    sqlite3_close(history);
    finish();
}

int main(int count, char **words) {
    if (count < 3) {
        return 2;
    }
    arguments = words + 2;
    if (strcmp(words[1], "ps") == 0) {
        for_each_line(answer_ps);
    } else if (strcmp(words[1], "now") == 0 && count == 4) {
        for_each_line(answer_now);
    } else {
        for_each_line(answer_resolve);
    }
    return 0;
}
