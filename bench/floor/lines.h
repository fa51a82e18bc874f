#ifndef FLOOR_LINES_H
#define FLOOR_LINES_H

#include <stddef.h>

/* Calls `answer` with every line of standard input, its line feed replaced by a NUL, until the input ends.
 */
void for_each_line(void (*answer)(char* line));

/* Writes a reply and its line feed by two writes, as the server does. */
void write_reply(const char* text, size_t size);

#endif
