// tracelog.cpp - the process-wide trace log: settings, line format, outputs.
#include "tracelog.h"

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <locale.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

namespace hxtvel {
trace_state g_trace;
}

namespace {

using hxtvel::g_trace;

char gprocname[64] = "tracelog";
char glogpath[1024] = "tracelog.txt";

const char *level_word(int32_t level) {
    switch (level) {
    case hxtvel::HX_LV_DEBUG: return "Debug:";
    case hxtvel::HX_LV_INFO: return "Info:";
    case hxtvel::HX_LV_WARN: return "Warn:";
    case hxtvel::HX_LV_ERROR: return "Error:";
    case hxtvel::HX_LV_FATAL: return "Fatal:";
    default: return "";
    }
}

// Formats into a string of any length.
std::string vformat(const char *format, va_list ap) {
    va_list copy;
    va_copy(copy, ap);
    char small[256];
    int n = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0) return std::string();
    if (static_cast<size_t>(n) < sizeof small) return std::string(small, static_cast<size_t>(n));
    std::string out(static_cast<size_t>(n) + 1, '\0');
    std::vsnprintf(&out[0], out.size(), format, ap);
    out.resize(static_cast<size_t>(n));
    return out;
}

// strerror_r comes in two flavours; both end up as the text in buf.
[[maybe_unused]] const char *errtext(int rc, const char *buf) { return rc == 0 ? buf : "noerr"; }
[[maybe_unused]] const char *errtext(const char *text, const char *) { return text; }

void write_message(uint32_t outputs, int32_t level, const char *format, va_list ap);

}  // namespace

extern "C" {

HXTVEL_API uint32_t trace_level(uint32_t level) {
    g_trace.glevel.store(level & 0x0F, std::memory_order_relaxed);
    g_trace.gelevel.store(static_cast<int32_t>(level & 0xF0), std::memory_order_relaxed);
    return level & 0x0F;
}

HXTVEL_API int trace_proc_name(const char *name) {
    std::snprintf(gprocname, sizeof gprocname, "%s", name ? name : "");
    char path[1024] = {0};
    std::snprintf(path, sizeof path, "/tmp/%s_", gprocname);
    std::strncat(path, "tracelog.txt", sizeof path - std::strlen(path) - 1);
    std::snprintf(glogpath, sizeof glogpath, "%s", path);
    return static_cast<int>(std::strlen(glogpath));
}

HXTVEL_API int trace_remove(void) { return std::remove(glogpath) == 0 ? 0 : -1; }

HXTVEL_API void trace_set_olevel(int32_t level) {
    g_trace.golevel.store(level, std::memory_order_relaxed);
}

HXTVEL_API void trace_pos(const char *file, uint32_t line, uint32_t type) {
    g_trace.glogfile.store(file, std::memory_order_relaxed);
    g_trace.gline.store(line, std::memory_order_relaxed);
    g_trace.gtype.store(type, std::memory_order_relaxed);
}

HXTVEL_API int trace_msg(const char *format, ...) {
    const int saved_errno = errno;
    const uint32_t outputs = g_trace.glevel.load(std::memory_order_relaxed);
    const int32_t level = g_trace.golevel.load(std::memory_order_relaxed);
    if (outputs == 0 || g_trace.gelevel.load(std::memory_order_relaxed) > level) return 0;

    va_list ap;
    va_start(ap, format);
    try {
        write_message(outputs, level, format, ap);
    } catch (...) {
        // Tracing never stops its caller: a message that cannot be built
        // (memory exhausted) is dropped.
    }
    va_end(ap);
    errno = saved_errno;
    return 0;
}

}  // extern "C"

namespace {

// Numbers in trace texts are written the same way whatever numeric locale
// the host has set: the calling thread formats under the "C" locale.
class c_locale_scope {
public:
    c_locale_scope() {
        static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
        old_ = c ? uselocale(c) : static_cast<locale_t>(0);
    }
    ~c_locale_scope() {
        if (old_) uselocale(old_);
    }
    c_locale_scope(const c_locale_scope &) = delete;
    c_locale_scope &operator=(const c_locale_scope &) = delete;

private:
    locale_t old_;
};

void write_message(uint32_t outputs, int32_t level, const char *format, va_list ap) {
    const int saved_errno = errno;
    const c_locale_scope numeric;
    std::string text = level_word(level);
    text += vformat(format ? format : "", ap);
    g_trace.golevel.store(hxtvel::HX_LV_RESET, std::memory_order_relaxed);

    char header[512] = {0};
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    struct tm lt;
    time_t secs = tv.tv_sec;
    localtime_r(&secs, &lt);
    std::snprintf(header, sizeof header, "%02d%02d%02d.%06d p%05d t:%lx %s", lt.tm_hour, lt.tm_min,
                  lt.tm_sec, static_cast<int>(tv.tv_usec), static_cast<int>(getpid()),
                  static_cast<unsigned long>(pthread_self()), gprocname);

    const char *file = g_trace.glogfile.load(std::memory_order_relaxed);
    if (!file) file = "";
    const unsigned line_no = g_trace.gline.load(std::memory_order_relaxed);
    const uint32_t type = g_trace.gtype.load(std::memory_order_relaxed);

    std::string line;
    if (type == 0) {
        line.resize(std::strlen(header) + text.size() + 1044);
        int n = std::snprintf(&line[0], line.size(), "[%s][%s][%s %u]\n", header, text.c_str(), file,
                              line_no);
        line.resize(n < 0 ? 0 : std::min(static_cast<size_t>(n), line.size() - 1));
    } else if (type == 1) {
        char err[512] = {0};
        if (saved_errno != 0) {
            std::snprintf(err, sizeof err, "%s",
                          errtext(strerror_r(saved_errno, err, sizeof err), err));
        } else {
            std::snprintf(err, sizeof err, "noerr");
        }
        line.resize(std::strlen(header) + text.size() + std::strlen(err) + 1044);
        int n = std::snprintf(&line[0], line.size(), "[%s][%s][%s][%s %u]\n", header, text.c_str(),
                              err, file, line_no);
        line.resize(n < 0 ? 0 : std::min(static_cast<size_t>(n), line.size() - 1));
    }

    if (outputs & 2) {
        if (FILE *f = std::fopen(glogpath, "a")) {
            std::fwrite(line.data(), 1, line.size(), f);
            std::fclose(f);
        }
    }
    if (outputs & 1) {
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fflush(stdout);
    }
}

}  // namespace
