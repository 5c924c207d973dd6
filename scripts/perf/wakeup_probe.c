/* A reference for the machine, not part of the program: sleeps to absolute 10 ms deadlines (the device
   cycle's rate) doing nothing else. Prints every wake-up that came more than 15 ms after the previous one
   (CLOCK_MONOTONIC µs, the hidapi double's clock, and the interval in ms), then its own CPU use, which is
   the bare cost of 100 wake-ups a second here.

     cc -O2 -Wall -o /tmp/wakeup_probe scripts/perf/wakeup_probe.c && /tmp/wakeup_probe [seconds, default 60] */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static long long micros(const struct timespec *t) {
    return t->tv_sec * 1000000LL + t->tv_nsec / 1000;
}

int main(int argc, char **argv) {
    const int seconds = argc > 1 ? atoi(argv[1]) : 60;
    struct timespec deadline, now, cpu;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    long long previous = micros(&deadline);
    for (int i = 0; i < seconds * 100; ++i) {
        deadline.tv_nsec += 10000000;
        if (deadline.tv_nsec >= 1000000000) {
            deadline.tv_nsec -= 1000000000;
            deadline.tv_sec++;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, NULL);
        clock_gettime(CLOCK_MONOTONIC, &now);
        const long long us = micros(&now);
        if (us - previous > 15000) {
            printf("%lld %.1f\n", previous, (us - previous) / 1000.0);
            fflush(stdout);
        }
        previous = us;
    }
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    const double used = cpu.tv_sec + cpu.tv_nsec / 1e9;
    printf("cpu %.3f s over %d s = %.3f %% of one core\n", used, seconds, 100 * used / seconds);
    return 0;
}
