/* The least that a round of the recorder can do, in one transaction: what it must read to know what is new, and
   the rows that it writes, for sessions whose processes are gone:

     record DIRECTORY DATABASE ACCOUNT */

#include "database.h"
#include "session_files.h"
#include "statements.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static sqlite3 *history;
static const char *account;
static sqlite3_int64 now;
static char **known;
static size_t known_count;

static int compare_texts(const void *left, const void *right) {
    return strcmp(*(char *const *)left, *(char *const *)right);
}

static void read_declared_ids(void) {
    size_t room = 0;
    sqlite3_stmt *statement = prepare(history, declared);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        if (known_count == room) {
            room = room == 0 ? 64 : 2 * room;
            known = realloc(known, room * sizeof *known);
        }
        known[known_count++] = strdup((const char *)sqlite3_column_text(statement, 0));
    }
    sqlite3_finalize(statement);
    if (known_count > 0) {
        qsort(known, known_count, sizeof *known, compare_texts);
    }
}

static int is_known(const char *id) {
    return known_count > 0 && bsearch(&id, known, known_count, sizeof *known, compare_texts) != NULL;
}

static void write_account(void) {
    sqlite3_stmt *statement = prepare(history, record_account);
    bind_text(statement, 1, account);
    bind_text(statement, 2, "main");
    sqlite3_bind_null(statement, 3);
    sqlite3_bind_int(statement, 4, 1);
    sqlite3_bind_int64(statement, 5, now);
    sqlite3_bind_int64(statement, 6, now);
    finish_write(statement);
}

static void write_session(const char *id, const char *cwd, sqlite3_int64 started) {
    sqlite3_stmt *statement = prepare(history, upsert_session);
    bind_text(statement, 1, id);
    bind_text(statement, 2, account);
    bind_text(statement, 3, cwd);
    sqlite3_bind_int64(statement, 4, started);
    sqlite3_bind_int64(statement, 5, now);
    sqlite3_bind_int64(statement, 6, now);
    finish_write(statement);
}

static void write_event(const char *id, const char *kind, const char *detail) {
    sqlite3_stmt *statement = prepare(history, append_event);
    bind_text(statement, 1, id);
    sqlite3_bind_int64(statement, 2, now);
    bind_text(statement, 3, kind);
    bind_text(statement, 4, detail);
    bind_text(statement, 5, "observed");
    finish_write(statement);
    printf("%s %s\n", kind, id);
}

static void write_first_sight(const char *id, long long pid) {
    char detail[1024];
    snprintf(detail, sizeof detail, "first observation · account %s", account);
    write_event(id, "seen", detail);
    snprintf(detail, sizeof detail, "no process with PID %lld", pid);
    write_event(id, "died", detail);
    sqlite3_stmt *statement = prepare(history, declare);
    bind_text(statement, 1, id);
    sqlite3_bind_int(statement, 2, 1);
    bind_text(statement, 3, "stale");
    finish_write(statement);
}

static int is_observed(const char *id, long long pid, const char *status) {
    sqlite3_stmt *statement = prepare(history, last_observation);
    bind_text(statement, 1, id);
    sqlite3_bind_int64(statement, 2, now);
    const int found = sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_int64(statement, 1) == pid &&
                      strcmp((const char *)sqlite3_column_text(statement, 4), status) == 0;
    sqlite3_finalize(statement);
    return found;
}

static int has_name(const char *id, const char *name) {
    sqlite3_stmt *statement = prepare(history, current_name);
    bind_text(statement, 1, id);
    const int found = sqlite3_step(statement) == SQLITE_ROW &&
                      strcmp((const char *)sqlite3_column_text(statement, 0), name) == 0;
    sqlite3_finalize(statement);
    return found;
}

static void write_name(const char *id, const char *name, const char *source) {
    char ref[7];
    snprintf(ref, sizeof ref, "%.6s", id); /* six digits; which ones is the hash's business */
    sqlite3_stmt *statement = prepare(history, open_name);
    bind_text(statement, 1, id);
    bind_text(statement, 2, name);
    bind_text(statement, 3, ref);
    bind_text(statement, 4, source);
    sqlite3_bind_int64(statement, 5, now);
    finish_write(statement);
}

static void write_observation(const char *id, long long pid, const char *status) {
    sqlite3_stmt *statement = prepare(history, append_observation);
    bind_text(statement, 1, id);
    sqlite3_bind_int64(statement, 2, now);
    sqlite3_bind_int64(statement, 3, pid);
    bind_text(statement, 4, kill((pid_t)pid, 0) == 0 ? "unknown" : "stale");
    bind_text(statement, 5, "kill(pid,0)");
    bind_text(statement, 6, status);
    finish_write(statement);
}

static void record_session(char *content, size_t size) {
    (void)size;
    /* Numbers first: reading a string puts a NUL behind it. */
    const long long pid = number_member(content, "pid");
    const long long started = number_member(content, "startedAt");
    const char *status = string_member(content, "status");
    const char *source = string_member(content, "nameSource");
    const char *name = string_member(content, "name");
    const char *cwd = string_member(content, "cwd");
    const char *id = string_member(content, "sessionId");
    write_session(id, cwd, started);
    if (!is_known(id)) {
        write_first_sight(id, pid);
    }
    if (!has_name(id, name)) {
        write_name(id, name, source);
    }
    if (!is_observed(id, pid, status)) {
        write_observation(id, pid, status);
    }
}

int main(int count, char **words) {
    if (count != 4) {
        return 2;
    }
    account = words[3];
    struct timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    now = (sqlite3_int64)time.tv_sec * 1000 + time.tv_nsec / 1000000;
    history = open_database(words[2]);
    sqlite3_exec(history, chronicle_tables, NULL, NULL, NULL);
    sqlite3_exec(history, "BEGIN IMMEDIATE;", NULL, NULL, NULL);
    write_account();
    read_declared_ids();
    for_each_session_file(words[1], record_session);
    if (sqlite3_exec(history, "COMMIT;", NULL, NULL, NULL) != SQLITE_OK) {
        return 1;
    }
    sqlite3_close(history);
    return 0;
}
