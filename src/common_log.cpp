// Prints messages of the checker to standard error or output, and to the log file.
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "src/common.h"

int qxfsutil_debug_level;
char* qxfsutil_debug_logfile;
char* qxfsutil_debug_progname;

namespace {

// The copies that set_log made. Callers may change the exported pointers, so only these are freed.
char* owned_logfile;
char* owned_progname;

char* copy_or_null(const char* text) {
    return text != nullptr ? xstrdup(text) : nullptr;
}

// Keeps errno, because the caller may need it after the message.
class KeptErrno {
public:
    KeptErrno() = default;
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;
    ~KeptErrno() { errno = value_; }

private:
    int value_ = errno;
};

// 0, or -1 if something could not be written.
int write_line(FILE* file, const char* format, va_list arguments, int newline) {
    char stamp[64];
    const time_t now = time(nullptr);
    tm local{};
    tzset();
    localtime_r(&now, &local);
    strftime(stamp, sizeof stamp, "%Y-%m-%dT%T%z", &local);
    if (fprintf(file, "%s ", stamp) < 0) {
        return -1;
    }
    if (qxfsutil_debug_progname != nullptr && fprintf(file, "%s ", qxfsutil_debug_progname) < 0) {
        return -1;
    }
    if (fputs(": ", file) < 0 || vfprintf(file, format, arguments) < 0) {
        return -1;
    }
    return newline != 0 && fputc('\n', file) == EOF ? -1 : 0;
}

void log_copy(const char* format, va_list arguments, int newline) {
    va_list copy;
    va_copy(copy, arguments);
    write_log(format, copy, newline);
    va_end(copy);
}

void print_copy(FILE* stream, const char* format, va_list arguments) {
    va_list copy;
    va_copy(copy, arguments);
    vfprintf(stream, format, copy);
    va_end(copy);
}

void end_line(FILE* stream, int errnum) {
    if (errnum != 0) {
        fprintf(stream, ": %s\n", strerror(errnum));
    } else {
        fputc('\n', stream);
    }
}

void report_error(int errnum, const char* format, va_list arguments) {
    fputs("Error: ", stderr);
    print_copy(stderr, format, arguments);
    log_copy(format, arguments, 1);
    end_line(stderr, errnum);
}

}  // namespace

void set_log(int level, const char* logfile, const char* progname) {
    // Copy before freeing the old ones, because a caller may pass the current pointers.
    char* new_logfile = copy_or_null(logfile);
    char* new_progname = copy_or_null(progname);
    free(owned_logfile);
    free(owned_progname);
    qxfsutil_debug_level = level;
    qxfsutil_debug_logfile = owned_logfile = new_logfile;
    qxfsutil_debug_progname = owned_progname = new_progname;
}

int write_log(const char* format, va_list arguments, int newline) {
    if (qxfsutil_debug_logfile == nullptr) {
        return 0;
    }
    FILE* file = fopen(qxfsutil_debug_logfile, "a+e");
    if (file == nullptr) {
        return -1;
    }
    const bool written = write_line(file, format, arguments, newline) == 0;
    const bool closed = fclose(file) == 0;
    if (!written) {
        return -2;
    }
    return closed ? 0 : -3;
}

void vdebug_print(int /*level*/, const char* format, va_list arguments) {
    print_copy(stderr, format, arguments);
    log_copy(format, arguments, 0);
}

void debug_print(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vdebug_print(level, format, arguments);
    va_end(arguments);
}

void warning(int errnum, const char* format, ...) {
    if (qxfsutil_debug_level < common::kLevelFaults) {
        return;
    }
    const KeptErrno kept;
    va_list arguments;
    va_start(arguments, format);
    fputs("Warning: ", stdout);
    print_copy(stdout, format, arguments);
    log_copy(format, arguments, 1);
    end_line(stdout, errnum);
    va_end(arguments);
}

void werror(int errnum, const char* format, ...) {
    if (qxfsutil_debug_level < common::kLevelFaults) {
        return;
    }
    const KeptErrno kept;
    va_list arguments;
    va_start(arguments, format);
    fputs("Error: ", stderr);
    print_copy(stderr, format, arguments);
    end_line(stderr, errnum);
    log_copy(format, arguments, 1);
    va_end(arguments);
}

void error(int status, int errnum, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    report_error(errnum, format, arguments);
    va_end(arguments);
    if (status != 0) {
        exit(status);
    }
}

namespace common {

void fatal(int errnum, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    report_error(errnum, format, arguments);
    va_end(arguments);
    exit(1);
}

void assertion_failed(int line, const char* function, const char* condition) {
    constexpr int kStatus = 255;
    error(kStatus, 0, "ASSERTION FAILED: %s(%d), function '%s()', condition: %s", "src/common",
          line, function, condition);
    exit(kStatus);
}

}  // namespace common
