// Positioned reads without any library: BareReads FILE THREADS. Takes lines "position size" from its input;
// each thread reads all of them into one buffer of its own. Prints the nanoseconds from the first read to the
// last.
#define _GNU_SOURCE
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

typedef struct
{
    off_t position;
    size_t size;
} bare_read;

static bare_read* g_reads;
static size_t g_count;
static int g_file;
static pthread_barrier_t g_barrier;

static void* read_all(void* unused)
{
    size_t most = 1;
    for (size_t number = 0; number < g_count; ++number)
        most = g_reads[number].size > most ? g_reads[number].size : most;
    char* const buffer = malloc(most);
    for (size_t at = 0; buffer != NULL && at < most; at += 4096)
        buffer[at] = 1;
    pthread_barrier_wait(&g_barrier);
    for (size_t number = 0; number < g_count; ++number)
        if (pread(g_file, buffer, g_reads[number].size, g_reads[number].position) !=
            (ssize_t)g_reads[number].size)
            abort();
    pthread_barrier_wait(&g_barrier);
    free(buffer);
    return unused;
}

int main(int count, char** arguments)
{
    const int threads = count == 3 ? atoi(arguments[2]) : 0;
    long long position = 0, size = 0;
    if (threads < 1 || (g_file = open(arguments[1], O_RDONLY)) < 0)
        return 2;
    while (scanf("%lld %lld", &position, &size) == 2)
    {
        if (g_count % 1024 == 0)
            g_reads = realloc(g_reads, (g_count + 1024) * sizeof *g_reads);
        g_reads[g_count++] = (bare_read){position, (size_t)size};
    }
    pthread_barrier_init(&g_barrier, NULL, (unsigned)threads + 1);
    for (int number = 0; number < threads; ++number)
    {
        pthread_t thread;
        if (pthread_create(&thread, NULL, read_all, NULL) != 0)
            return 2;
    }
    struct timespec start, end;
    pthread_barrier_wait(&g_barrier);
    clock_gettime(CLOCK_MONOTONIC, &start);
    pthread_barrier_wait(&g_barrier);
    clock_gettime(CLOCK_MONOTONIC, &end);
    printf("%lld\n", (end.tv_sec - start.tv_sec) * 1000000000LL + end.tv_nsec - start.tv_nsec);
    return 0;
}
