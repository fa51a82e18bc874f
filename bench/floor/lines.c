#include "lines.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { BUFFER_SIZE = 1 << 17 };

void for_each_line(void (*answer)(char *line)) {
    static char buffer[BUFFER_SIZE];
    size_t filled = 0;
    for (;;) {
        const ssize_t count = read(STDIN_FILENO, buffer + filled, BUFFER_SIZE - filled);
        if (count <= 0) {
            return;
        }
        filled += (size_t)count;
        char *line = buffer;
        char *feed = NULL;
        while ((feed = memchr(line, '\n', (size_t)(buffer + filled - line))) != NULL) {
            *feed = '\0';
            answer(line);
            line = feed + 1;
        }
        filled = (size_t)(buffer + filled - line);
        memmove(buffer, line, filled);
    }
}

void write_reply(const char *text, size_t size) {
    if (write(STDOUT_FILENO, text, size) < 0 || write(STDOUT_FILENO, "\n", 1) < 0) {
        exit(1);
    }
}
