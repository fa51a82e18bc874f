#ifndef FLOOR_DATABASE_H
#define FLOOR_DATABASE_H

#include <sqlite3.h>

/* Opens a database and runs the store's opening scripts; ends the program when it cannot. */
sqlite3* open_database(const char* path);

/* Prepares a statement; ends the program when it cannot. */
sqlite3_stmt* prepare(sqlite3* database, const char* sql);

void bind_text(sqlite3_stmt* statement, int position, const char* text);

/* Steps a write to its end and finalizes it; ends the program when it fails. */
void finish_write(sqlite3_stmt* statement);

#endif
