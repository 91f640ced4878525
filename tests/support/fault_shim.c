// Intercepts the file system calls of a program. It is loaded before the C library with LD_PRELOAD,
// and does nothing unless its variables are set. See system_faults.h, which sets them.
//
//   QUORVEL_FAULT_LOG    log file for calls that open, create, change or delete files, for each
//                        fault that takes effect and, if there is a fault of the kind "cached",
//                        for reads of files and hints
//   QUORVEL_FAULT_<n>    n from 0: one fault, "call path first last offset end effect"
//
// A fault affects the calls `first` to `last` (counted from 1) of that kind, on a file whose name
// ends with `path` ("*" for any file, "1" and "2" for standard output and standard error). Reads
// are affected only at positions in [offset, end). `effect` is an errno, or "half", "less" (by a
// byte) or "nothing" for a call that transfers only that much, or "unseekable" for an open that
// returns a file whose end cannot be sought.
//
// "cached" is a read that must not wait (preadv2). Without a fault it is not supported, so that all
// reads are of the kind "read"; "allowed" lets it pass. "hint" is posix_fadvise, "stat" a question
// for the metadata of a file, "seek" lseek, and "change" a call that renames, links, deletes or
// truncates a file, creates a folder or sets permissions.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

enum { most_faults = 8, most_files = 1024, path_size = 4096, word_size = 16 };

struct fault {
    char call[word_size], path[path_size], effect[word_size];
    unsigned long first, last, calls;
    long long offset, end;
};

static struct fault faults[most_faults];
static int fault_count = -1;
static int log_file = -1;
static int logs_reads = 0;

static void* next_function(const char* name) {
    void* found = dlsym(RTLD_NEXT, name);
    if (found == NULL) abort();
    return found;
}

// The shim itself makes its system calls directly.
static void note(const char* format, ...) {
    if (log_file < 0) return;
    char line[path_size + 64];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (length > 0) {
        const size_t size = (size_t)length < sizeof line ? (size_t)length : sizeof line - 1;
        if (syscall(SYS_write, log_file, line, size) < 0) abort();
    }
}

__attribute__((constructor)) static void start(void) {
    if (fault_count >= 0) return;
    fault_count = 0;
    const char* log_name = getenv("QUORVEL_FAULT_LOG");
    if (log_name != NULL) {
        log_file = (int)syscall(SYS_openat, AT_FDCWD, log_name,
                                O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (log_file < 0) abort();
    }
    for (int i = 0; i < most_faults; ++i) {
        char name[32];
        snprintf(name, sizeof name, "QUORVEL_FAULT_%d", i);
        const char* text = getenv(name);
        if (text == NULL) break;
        struct fault* made = &faults[fault_count];
        if (sscanf(text, "%15s %4095s %lu %lu %lld %lld %15s", made->call, made->path, &made->first,
                   &made->last, &made->offset, &made->end, made->effect) != 7) {
            abort();
        }
        ++fault_count;
        if (strcmp(made->call, "cached") == 0) logs_reads = 1;
    }
}

static int ends_with(const char* text, const char* end) {
    const size_t size = strlen(text), end_size = strlen(end);
    return size >= end_size && strcmp(text + size - end_size, end) == 0;
}

// Returns the name of an open file according to the kernel, or "1" or "2" for the standard outputs.
static const char* name_of(int fd, char* buffer) {
    if (fd == 1 || fd == 2) return fd == 1 ? "1" : "2";
    char link[32];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t length = readlink(link, buffer, path_size - 1);
    buffer[length > 0 ? length : 0] = '\0';
    return buffer;
}

// Returns the effect on this call, or null.
static const char* effect_on(const char* call, const char* path, long long offset) {
    start();
    for (int i = 0; i < fault_count; ++i) {
        struct fault* at = &faults[i];
        if (strcmp(at->call, call) != 0) continue;
        if (strcmp(at->path, "*") != 0 && !ends_with(path, at->path)) continue;
        if (offset < at->offset || offset >= at->end) continue;
        ++at->calls;
        if (at->calls < at->first || at->calls > at->last) continue;
        note("fault %s %s\n", call, path);
        return at->effect;
    }
    return NULL;
}

// Returns true, with errno set, if the effect is an errno.
static int is_error(const char* effect) {
    static const struct {
        const char* name;
        int number;
    } known[] = {{"EIO", EIO},       {"EACCES", EACCES}, {"EMFILE", EMFILE}, {"ENOSPC", ENOSPC},
                 {"EPIPE", EPIPE},   {"EINTR", EINTR},   {"ENOENT", ENOENT}, {"EROFS", EROFS},
                 {"ESPIPE", ESPIPE}, {"EBADF", EBADF},   {"EAGAIN", EAGAIN}, {"EINVAL", EINVAL}};
    for (size_t i = 0; i < sizeof known / sizeof known[0]; ++i) {
        if (strcmp(effect, known[i].name) == 0) {
            errno = known[i].number;
            return 1;
        }
    }
    return 0;
}

static int fails(const char* call, const char* path) {
    const char* effect = effect_on(call, path, 0);
    return effect != NULL && is_error(effect);
}

static size_t shortened(const char* effect, size_t size) {
    if (strcmp(effect, "half") == 0) return size / 2;
    if (strcmp(effect, "less") == 0) return size != 0 ? size - 1 : 0;
    if (strcmp(effect, "nothing") == 0) return 0;
    abort();
}

// --- reads ---

ssize_t read(int fd, void* buffer, size_t size) {
    char name[path_size];
    const char* effect = effect_on("read", name_of(fd, name), syscall(SYS_lseek, fd, 0L, SEEK_CUR));
    if (effect != NULL) {
        if (is_error(effect)) return -1;
        size = shortened(effect, size);
    }
    return syscall(SYS_read, fd, buffer, size);
}

static ssize_t read_at(int fd, void* buffer, size_t size, off64_t offset) {
    char name[path_size];
    const char* effect = effect_on("read", name_of(fd, name), offset);
    if (effect != NULL) {
        if (is_error(effect)) return -1;
        size = shortened(effect, size);
    }
    if (logs_reads) note("read %s %lld %zu\n", name_of(fd, name), (long long)offset, size);
    return syscall(SYS_pread64, fd, buffer, size, offset);
}
ssize_t pread64(int fd, void* buffer, size_t size, off64_t offset) {
    return read_at(fd, buffer, size, offset);
}
ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
    return read_at(fd, buffer, size, offset);
}

// --- reads of what is cached, and hints ---

static ssize_t read_cached(int fd, const struct iovec* parts, int count, off64_t offset,
                           int flags) {
    char name[path_size];
    const char* effect = effect_on("cached", name_of(fd, name), offset);
    if (effect != NULL && strcmp(effect, "allowed") == 0) {
        const ssize_t done = syscall(SYS_preadv2, fd, parts, count, offset, 0L, flags);
        if (done >= 0) note("read %s %lld %zd\n", name, (long long)offset, done);
        return done;
    }
    if (effect != NULL && is_error(effect)) return -1;
    errno = EOPNOTSUPP;
    return -1;
}
ssize_t preadv64v2(int fd, const struct iovec* parts, int count, off64_t offset, int flags) {
    return read_cached(fd, parts, count, offset, flags);
}
ssize_t preadv2(int fd, const struct iovec* parts, int count, off_t offset, int flags) {
    return read_cached(fd, parts, count, offset, flags);
}

static int advise(int fd, off64_t offset, off64_t size, int advice) {
    char name[path_size];
    const char* effect = effect_on("hint", name_of(fd, name), offset);
    if (effect != NULL && is_error(effect)) return errno;
    if (logs_reads) note("hint %s %lld %lld\n", name, (long long)offset, (long long)size);
    return syscall(SYS_fadvise64, fd, offset, size, advice) == 0 ? 0 : errno;
}
int posix_fadvise64(int fd, off64_t offset, off64_t size, int advice) {
    return advise(fd, offset, size, advice);
}
int posix_fadvise(int fd, off_t offset, off_t size, int advice) {
    return advise(fd, offset, size, advice);
}

// --- writes ---

ssize_t write(int fd, const void* buffer, size_t size) {
    char name[path_size];
    const char* effect = effect_on("write", name_of(fd, name), 0);
    if (effect != NULL) {
        if (is_error(effect)) return -1;
        size = shortened(effect, size);
    }
    return syscall(SYS_write, fd, buffer, size);
}

ssize_t writev(int fd, const struct iovec* parts, int count) {
    char name[path_size];
    const char* effect = effect_on("write", name_of(fd, name), 0);
    if (effect == NULL) return syscall(SYS_writev, fd, parts, count);
    if (is_error(effect)) return -1;
    if (count < 1) return 0;
    return syscall(SYS_write, fd, parts[0].iov_base, shortened(effect, parts[0].iov_len));
}

static ssize_t write_at(int fd, const void* buffer, size_t size, off64_t offset) {
    char name[path_size];
    const char* effect = effect_on("write", name_of(fd, name), offset);
    if (effect != NULL) {
        if (is_error(effect)) return -1;
        size = shortened(effect, size);
    }
    return syscall(SYS_pwrite64, fd, buffer, size, offset);
}
ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset) {
    return write_at(fd, buffer, size, offset);
}
ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    return write_at(fd, buffer, size, offset);
}

// --- positions and metadata ---

static off64_t seek(int fd, off64_t offset, int whence) {
    char name[path_size];
    return fails("seek", name_of(fd, name)) ? -1 : syscall(SYS_lseek, fd, offset, whence);
}
off64_t lseek64(int fd, off64_t offset, int whence) { return seek(fd, offset, whence); }
off_t lseek(int fd, off_t offset, int whence) { return seek(fd, offset, whence); }

#define ASKED(name, parameters, arguments, path)                          \
    int name parameters {                                                 \
        static int(*next) parameters;                                     \
        if (next == NULL) next = (int(*) parameters)next_function(#name); \
        char buffer[path_size];                                           \
        (void)buffer;                                                     \
        return fails("stat", path) ? -1 : next arguments;                 \
    }
ASKED(fstat, (int fd, struct stat* status), (fd, status), name_of(fd, buffer))
ASKED(fstat64, (int fd, struct stat64* status), (fd, status), name_of(fd, buffer))
ASKED(stat, (const char* path, struct stat* status), (path, status), path)
ASKED(stat64, (const char* path, struct stat64* status), (path, status), path)
ASKED(lstat, (const char* path, struct stat* status), (path, status), path)
ASKED(lstat64, (const char* path, struct stat64* status), (path, status), path)

// --- names ---

static int open_at(int directory, const char* path, int flags, mode_t mode) {
    const char* effect = effect_on("open", path, 0);
    const char* access = (flags & O_ACCMODE) == O_RDONLY ? "read" : "write";
    note("open %s%s%s %s\n", access, (flags & O_CREAT) != 0 ? "+create" : "",
         (flags & O_TRUNC) != 0 ? "+truncate" : "", path);
    if (effect != NULL && strcmp(effect, "unseekable") == 0)
        path = "/proc/version";
    else if (effect != NULL && is_error(effect))
        return -1;
    return (int)syscall(SYS_openat, directory, path, flags, mode);
}

static mode_t mode_of(int flags, va_list arguments) {
    const int has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return has_mode ? va_arg(arguments, mode_t) : 0;
}

#define OPEN(name)                                     \
    int name(const char* path, int flags, ...) {       \
        va_list arguments;                             \
        va_start(arguments, flags);                    \
        const mode_t mode = mode_of(flags, arguments); \
        va_end(arguments);                             \
        return open_at(AT_FDCWD, path, flags, mode);   \
    }
#define OPENAT(name)                                            \
    int name(int directory, const char* path, int flags, ...) { \
        va_list arguments;                                      \
        va_start(arguments, flags);                             \
        const mode_t mode = mode_of(flags, arguments);          \
        va_end(arguments);                                      \
        return open_at(directory, path, flags, mode);           \
    }
OPEN(open)
OPEN(open64)
OPENAT(openat)
OPENAT(openat64)

#define CREAT(name)                                                         \
    int name(const char* path, mode_t mode) {                               \
        return open_at(AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, mode); \
    }
CREAT(creat)
CREAT(creat64)

#define MAKE_TEMPORARY(name)                                                \
    int name(char* path, int flags) {                                       \
        static int (*next)(char*, int);                                     \
        if (next == NULL) next = (int (*)(char*, int))next_function(#name); \
        if (fails("open", path)) return -1;                                 \
        const int fd = next(path, flags);                                   \
        note("open write+create %s\n", path);                               \
        return fd;                                                          \
    }
MAKE_TEMPORARY(mkostemp)
MAKE_TEMPORARY(mkostemp64)

// The stream functions of the C library, which file streams of C++ use, open files without calling
// open().
#define FOPEN(name)                                                                                \
    FILE* name(const char* path, const char* mode) {                                               \
        static FILE* (*next)(const char*, const char*);                                            \
        if (next == NULL) next = (FILE * (*)(const char*, const char*)) next_function(#name);      \
        const char* effect = effect_on("open", path, 0);                                           \
        const int writes = strpbrk(mode, "wa+") != NULL;                                           \
        note("open %s%s%s %s\n", writes ? "write" : "read",                                        \
             mode[0] == 'w' || mode[0] == 'a' ? "+create" : "", mode[0] == 'w' ? "+truncate" : "", \
             path);                                                                                \
        return effect != NULL && is_error(effect) ? NULL : next(path, mode);                       \
    }
FOPEN(fopen)
FOPEN(fopen64)

#define NAMED(name, parameters, arguments, path)                          \
    int name parameters {                                                 \
        static int(*next) parameters;                                     \
        if (next == NULL) next = (int(*) parameters)next_function(#name); \
        note(#name " %s\n", path);                                        \
        return fails("change", path) ? -1 : next arguments;               \
    }
NAMED(unlink, (const char* path), (path), path)
NAMED(unlinkat, (int directory, const char* path, int flags), (directory, path, flags), path)
NAMED(remove, (const char* path), (path), path)
NAMED(rmdir, (const char* path), (path), path)
NAMED(mkdir, (const char* path, mode_t mode), (path, mode), path)
NAMED(rename, (const char* path, const char* to), (path, to), path)
NAMED(renameat2,
      (int from_directory, const char* path, int to_directory, const char* to, unsigned flags),
      (from_directory, path, to_directory, to, flags), path)
NAMED(link, (const char* path, const char* to), (path, to), path)
NAMED(symlink, (const char* path, const char* to), (path, to), to)
NAMED(truncate, (const char* path, off_t size), (path, size), path)
NAMED(truncate64, (const char* path, off64_t size), (path, size), path)
NAMED(chmod, (const char* path, mode_t mode), (path, mode), path)
NAMED(chown, (const char* path, uid_t owner, gid_t group), (path, owner, group), path)
NAMED(mkfifo, (const char* path, mode_t mode), (path, mode), path)

#define ON_FILE(name, parameters, arguments)                              \
    int name parameters {                                                 \
        static int(*next) parameters;                                     \
        if (next == NULL) next = (int(*) parameters)next_function(#name); \
        char path[path_size];                                             \
        note(#name " %s\n", name_of(fd, path));                           \
        return fails("change", path) ? -1 : next arguments;               \
    }
ON_FILE(ftruncate, (int fd, off_t size), (fd, size))
ON_FILE(ftruncate64, (int fd, off64_t size), (fd, size))
ON_FILE(fchmod, (int fd, mode_t mode), (fd, mode))

int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    char path[path_size];
    note("ioctl %s\n", name_of(fd, path));
    return (int)syscall(SYS_ioctl, fd, request, argument);
}
