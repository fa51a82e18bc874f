#ifndef FLOOR_SESSION_FILES_H
#define FLOOR_SESSION_FILES_H

#include <stddef.h>

/* Calls `use` with the content of every regular file of the directory that ends in ".json", and its size; a
   NUL stands behind it. A file is asked whether it is regular only where the listing does not say so. */
void for_each_session_file(const char* directory, void (*use)(char* content, size_t size));

/* The string that stands behind "key": in the content, ended by a NUL in place of its quote; NULL when
   there is none. Escapes stay as they are: the files made here have none. */
char* string_member(char* content, const char* key);

/* The number that stands behind "key": in the content, 0 when there is none. */
long long number_member(const char* content, const char* key);

#endif
