// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Preloaded into the program: lets one of its calls that change files fail, or ends the process just before it.
// FAIL_CALL is the number of the call, from 1; FAIL_WITH the errno, or 0 for the end. With FAIL_COUNT the number of
// calls is written into that file at the end.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

static pid_t owner;
static long calls;

__attribute__((constructor)) static void begin(void) {
    owner = getpid();
}

__attribute__((destructor)) static void end(void) {
    const char *path = getenv("FAIL_COUNT");
    if (path == NULL || getpid() != owner) return;
    FILE *file = fopen(path, "w");
    fprintf(file, "%ld", calls);
    fclose(file);
}

// Whether this call is to fail. Forked workers are left alone.
static int fails(void) {
    const char *call = getenv("FAIL_CALL");
    if (getpid() != owner || ++calls != (call == NULL ? -1 : atol(call))) return 0;
    const int error = atoi(getenv("FAIL_WITH"));
    if (error == 0) kill(owner, SIGKILL);
    errno = error;
    return 1;
}

#define REAL(name) ((__typeof__(&(name)))dlsym(RTLD_NEXT, #name))

int rename(const char *from, const char *to) {
    return fails() ? -1 : REAL(rename)(from, to);
}

int mkdir(const char *path, mode_t mode) {
    return fails() ? -1 : REAL(mkdir)(path, mode);
}

int unlink(const char *path) {
    return fails() ? -1 : REAL(unlink)(path);
}

int unlinkat(int directory, const char *path, int flags) {
    return fails() ? -1 : REAL(unlinkat)(directory, path, flags);
}

int remove(const char *path) {
    return fails() ? -1 : REAL(remove)(path);
}

int fsync(int descriptor) {
    return fails() ? -1 : REAL(fsync)(descriptor);
}

ssize_t write(int descriptor, const void *bytes, size_t size) {
    struct stat status;
    const int counts = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return counts && fails() ? -1 : REAL(write)(descriptor, bytes, size);
}

int open(const char *path, int flags, ...) {
    if ((flags & (O_CREAT | O_WRONLY | O_RDWR)) != 0 && fails()) return -1;
    __builtin_va_list more;
    __builtin_va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? __builtin_va_arg(more, mode_t) : 0;
    __builtin_va_end(more);
    return REAL(open)(path, flags, mode);
}
