#ifndef FLOOR_SESSION_FILES_H
#define FLOOR_SESSION_FILES_H

/* Calls `use` with the content of every file of the directory that ends in ".json". */
void for_each_session_file(const char* directory, void (*use)(char* content));

/* The string that stands behind "key": in the content, ended by a NUL in place of its quote; NULL when
   there is none. Escapes stay as they are: the files made here have none. */
char* string_member(char* content, const char* key);

/* The number that stands behind "key": in the content, 0 when there is none. */
long long number_member(const char* content, const char* key);

#endif
