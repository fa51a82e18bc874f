#include "database.h"

#include "statements.h"

#include <stdio.h>
#include <stdlib.h>

static void fail(sqlite3 *database) {
    fprintf(stderr, "floor: %s\n", sqlite3_errmsg(database));
    exit(1);
}

sqlite3 *open_database(const char *path) {
    sqlite3 *database = NULL;
    if (sqlite3_open(path, &database) != SQLITE_OK) {
        fail(database);
    }
    for (const char *const *script = opening_scripts; *script != NULL; ++script) {
        sqlite3_exec(database, *script, NULL, NULL, NULL);
    }
    return database;
}

sqlite3_stmt *prepare(sqlite3 *database, const char *sql) {
    sqlite3_stmt *statement = NULL;
    if (sqlite3_prepare_v2(database, sql, -1, &statement, NULL) != SQLITE_OK) {
        fail(database);
    }
    return statement;
}

void bind_text(sqlite3_stmt *statement, int position, const char *text) {
    sqlite3_bind_text(statement, position, text, -1, SQLITE_STATIC);
}

void finish_write(sqlite3_stmt *statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) {
        fail(sqlite3_db_handle(statement));
    }
    sqlite3_finalize(statement);
}
