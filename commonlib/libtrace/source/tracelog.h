// tracelog.h - the library's side of the trace log.
//
// The exported trace_* functions (hxtvel_trace.h) hold the process-wide
// settings. Library code does not call them directly: it uses the macros
// below, which announce a message exactly as trace_set_olevel + trace_pos +
// trace_msg would, but test the threshold inline first, so a disabled trace
// costs a few stores and one comparison and formats nothing.
//
//   HX_TRACE_SCOPE("set_lab");          // "set_lab in" now, "set_lab out" at scope exit
//   HX_TRACE_INOUT("get_lab int", "get_lab out");
//   HX_TRACE(HX_LV_ERROR, "check_datarange err = %f", v);
#ifndef HXTVEL_TRACELOG_H
#define HXTVEL_TRACELOG_H

#include <atomic>
#include <cstdint>

#include "hxtvel_trace.h"

namespace hxtvel {

enum trace_lv : int32_t {
    HX_LV_DEBUG = 0,
    HX_LV_INFO = 16,
    HX_LV_WARN = 32,
    HX_LV_ERROR = 48,
    HX_LV_FATAL = 64,
    HX_LV_RESET = 80,
};

// Process-wide trace state. Atomic (relaxed) only so that threads tracing at
// once do not race in the language sense; like any unguarded state, the
// level and position of two concurrent messages may still mix.
struct trace_state {
    std::atomic<int32_t> golevel{HX_LV_RESET};  // level of the message being announced
    std::atomic<int32_t> gelevel{HX_LV_RESET};  // threshold
    std::atomic<uint32_t> glevel{1};            // output mask: 1 stdout, 2 file
    std::atomic<const char *> glogfile{nullptr};
    std::atomic<uint32_t> gline{0};
    std::atomic<uint32_t> gtype{0};
};
extern trace_state g_trace;

// The announcement of trace_set_olevel + trace_pos, inline. Returns whether
// trace_msg would write the message.
inline bool trace_announce(int32_t level, const char *file, uint32_t line) {
    g_trace.golevel.store(level, std::memory_order_relaxed);
    g_trace.glogfile.store(file, std::memory_order_relaxed);
    g_trace.gline.store(line, std::memory_order_relaxed);
    g_trace.gtype.store(0, std::memory_order_relaxed);
    return g_trace.glevel.load(std::memory_order_relaxed) != 0 &&
           g_trace.gelevel.load(std::memory_order_relaxed) <= level;
}

// Entry text at construction, exit text at destruction (unless cancelled or
// null), both at one level with the position of the declaration.
class trace_scope {
public:
    trace_scope(int32_t level, const char *file, uint32_t line, const char *in_text,
                const char *out_text) noexcept
        : level_(level), line_(line), file_(file), out_(out_text) {
        if (trace_announce(level, file, line)) trace_msg("%s", in_text);
    }
    ~trace_scope() {
        if (out_ && trace_announce(level_, file_, line_)) trace_msg("%s", out_);
    }
    // The exit text is not written (for exits the trace contract leaves silent).
    void cancel() noexcept { out_ = nullptr; }
    trace_scope(const trace_scope &) = delete;
    trace_scope &operator=(const trace_scope &) = delete;

private:
    int32_t level_;
    uint32_t line_;
    const char *file_;
    const char *out_;
};

}  // namespace hxtvel

#define HX_TRACE(level, ...)                                                          \
    do {                                                                              \
        if (::hxtvel::trace_announce((level), __FILE__, __LINE__)) trace_msg(__VA_ARGS__); \
    } while (0)
#define HX_TRACE_INOUT(in_text, out_text) \
    ::hxtvel::trace_scope hx_trace_scope_(::hxtvel::HX_LV_INFO, __FILE__, __LINE__, in_text, out_text)
#define HX_TRACE_SCOPE(name) HX_TRACE_INOUT(name " in", name " out")

#endif  // HXTVEL_TRACELOG_H
