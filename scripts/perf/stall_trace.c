/* Where did a late cycle's time go? A recorder for soak runs, not part of the program.

   Every 10 ms (absolute deadlines, like the device cycle) it writes one line with the machine's CPU time
   counters and the scheduler counters of every thread of one process, so that a script can later take the
   difference over any stretch of time:

     s <µs> <late µs> <steal> <busy> <idle> <tid>:<run ns>:<wait ns> ...

   <µs> is CLOCK_MONOTONIC in microseconds (the hidapi double's clock); <late µs> is how long after its
   deadline this recorder itself woke, so a stall that hits every process shows there too; <steal>, <busy>
   (user + nice + system + irq + softirq) and <idle> (idle + iowait) are /proc/stat's machine-wide ticks; run
   ns is the time a thread ran and wait ns the time it was ready to run but waited for a CPU
   (/proc/<pid>/task/<tid>/schedstat). A thread that is neither running nor waiting was asleep.
   Thread names come on their own lines when a thread is first seen:

     t <tid> <name>

     cc -O2 -Wall -o /tmp/stall_trace scripts/perf/stall_trace.c
     /tmp/stall_trace <pid> <output file> [seconds, default: until the process ends] */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#define MAX_THREADS 64

struct thread {
    int tid;
    int fd; /* schedstat, read again from offset 0 at every sample */
};

static struct thread threads[MAX_THREADS];
static int thread_count;

static long long micros(const struct timespec *t) {
    return t->tv_sec * 1000000LL + t->tv_nsec / 1000;
}

static ssize_t read_at_start(int fd, char *buffer, size_t size) {
    const ssize_t n = pread(fd, buffer, size - 1, 0);
    buffer[n > 0 ? n : 0] = '\0';
    return n;
}

static int known(int tid) {
    for (int i = 0; i < thread_count; ++i)
        if (threads[i].tid == tid)
            return 1;
    return 0;
}

static void find_threads(int pid, FILE *out) {
    char path[128];
    snprintf(path, sizeof path, "/proc/%d/task", pid);
    DIR *dir = opendir(path);
    if (!dir)
        return;
    struct dirent *entry;
    while ((entry = readdir(dir)) && thread_count < MAX_THREADS) {
        const int tid = atoi(entry->d_name);
        if (tid <= 0 || known(tid))
            continue;
        snprintf(path, sizeof path, "/proc/%d/task/%d/schedstat", pid, tid);
        const int fd = open(path, O_RDONLY);
        if (fd < 0)
            continue;
        char name[64] = "";
        snprintf(path, sizeof path, "/proc/%d/task/%d/comm", pid, tid);
        const int comm = open(path, O_RDONLY);
        if (comm >= 0) {
            read_at_start(comm, name, sizeof name);
            name[strcspn(name, "\n")] = '\0';
            close(comm);
        }
        threads[thread_count].tid = tid;
        threads[thread_count].fd = fd;
        ++thread_count;
        fprintf(out, "t %d %s\n", tid, name);
    }
    closedir(dir);
}

int main(int argc, char **argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s <pid> <output file> [seconds]\n", argv[0]);
        return 2;
    }
    const int pid = atoi(argv[1]);
    const long long samples = argc > 3 ? atoll(argv[3]) * 100 : -1;
    FILE *out = fopen(argv[2], "w");
    const int stat = open("/proc/stat", O_RDONLY);
    if (!out || stat < 0) {
        perror("stall_trace");
        return 1;
    }
    char proc[64];
    snprintf(proc, sizeof proc, "/proc/%d", pid);
    struct timespec deadline, now;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    char buffer[4096];
    for (long long i = 0; samples < 0 || i < samples; ++i) {
        deadline.tv_nsec += 10000000;
        if (deadline.tv_nsec >= 1000000000) {
            deadline.tv_nsec -= 1000000000;
            deadline.tv_sec++;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, NULL);
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (i % 100 == 0) {
            if (access(proc, F_OK) != 0)
                break;
            find_threads(pid, out);
        }
        unsigned long long user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0,
                           steal = 0;
        if (read_at_start(stat, buffer, sizeof buffer) > 0)
            sscanf(buffer, "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &user, &nice, &system, &idle,
                   &iowait, &irq, &softirq, &steal);
        fprintf(out, "s %lld %lld %llu %llu %llu", micros(&now), micros(&now) - micros(&deadline), steal,
                user + nice + system + irq + softirq, idle + iowait);
        for (int t = 0; t < thread_count; ++t) {
            unsigned long long run = 0, wait = 0;
            if (read_at_start(threads[t].fd, buffer, sizeof buffer) > 0 &&
                sscanf(buffer, "%llu %llu", &run, &wait) == 2)
                fprintf(out, " %d:%llu:%llu", threads[t].tid, run, wait);
        }
        fputc('\n', out);
    }
    fclose(out);
    return 0;
}
