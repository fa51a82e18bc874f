// The least that a `ps` must be for a root directory with nothing in it: prints when processes started, for
// "ps -o lstart= -p PID" and "ps -o pid=,stat=,lstart= -p PID,PID", by what the kernel says.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static long boot_time(void) {
    char text[4096];
    long boot = 0;
    FILE* machine = fopen("/proc/stat", "r");
    while (machine != NULL && fgets(text, sizeof text, machine) != NULL && sscanf(text, "btime %ld", &boot) != 1) {
    }
    return boot;
}

static int print_process(const char* pid, int is_table) {
    char path[64];
    char text[4096] = "";
    snprintf(path, sizeof path, "/proc/%s/stat", pid);
    FILE* process = fopen(path, "r");
    if (process == NULL || fgets(text, sizeof text, process) == NULL) {
        return 0;
    }
    // The command's name stands in brackets and may hold anything; the start is the twentieth field behind it.
    char* field = strrchr(text, ')') + 2;
    const char state = *field;
    for (int skipped = 0; skipped < 19; ++skipped) {
        field = strchr(field, ' ') + 1;
    }
    const time_t start = boot_time() + strtol(field, NULL, 10) / sysconf(_SC_CLK_TCK);
    char date[64];
    strftime(date, sizeof date, "%a %b %e %H:%M:%S %Y", localtime(&start));
    if (is_table) {
        printf("%s %c ", pid, state);
    }
    puts(date);
    return 1;
}

int main(int count, char** words) {
    const int is_table = count == 5 && strcmp(words[2], "pid=,stat=,lstart=") == 0;
    if (count != 5 || (!is_table && strcmp(words[2], "lstart=") != 0)) {
        return 2;
    }
    int found = 0;
    for (char* pid = strtok(words[4], ","); pid != NULL; pid = strtok(NULL, ",")) {
        found += print_process(pid, is_table);
    }
    return found > 0 ? 0 : 1;
}
