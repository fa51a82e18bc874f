#define _DEFAULT_SOURCE

#include "session_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

enum { LARGEST_FILE = 1 << 16 };

static int is_session_file(const char *name) {
    const size_t length = strlen(name);
    return length > 5 && memcmp(name + length - 5, ".json", 5) == 0;
}

static int is_regular(const struct dirent *entry, int file) {
    struct stat status;
    return entry->d_type == DT_REG || (fstat(file, &status) == 0 && S_ISREG(status.st_mode));
}

void for_each_session_file(const char *directory, void (*use)(char *content, size_t size)) {
    static char content[LARGEST_FILE];
    DIR *entries = opendir(directory);
    if (entries == NULL) {
        exit(1);
    }
    const struct dirent *entry = NULL;
    while ((entry = readdir(entries)) != NULL) {
        if (!is_session_file(entry->d_name)) {
            continue;
        }
        const int file = openat(dirfd(entries), entry->d_name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const ssize_t size = is_regular(entry, file) ? read(file, content, LARGEST_FILE - 1) : -1;
        close(file);
        if (size >= 0) {
            content[size] = '\0';
            use(content, (size_t)size);
        }
    }
    closedir(entries);
}

static char *behind_key(const char *content, const char *key) {
    char pattern[64];
    const int length = snprintf(pattern, sizeof pattern, "\"%s\":", key);
    char *found = strstr(content, pattern);
    return found == NULL ? NULL : found + length;
}

char *string_member(char *content, const char *key) {
    char *value = behind_key(content, key);
    if (value == NULL || *value != '"') {
        return NULL;
    }
    char *end = strchr(++value, '"');
    if (end == NULL) {
        return NULL;
    }
    *end = '\0';
    return value;
}

long long number_member(const char *content, const char *key) {
    const char *value = behind_key(content, key);
    return value == NULL ? 0 : atoll(value);
}
