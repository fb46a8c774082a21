// trace_capture.h - records what the library traces, through the log file.
#ifndef HXTVEL_TRACE_CAPTURE_H
#define HXTVEL_TRACE_CAPTURE_H

#include <unistd.h>

#include <string>
#include <vector>

#include "hxtvel_trace.h"
#include "test_support.h"

namespace hxtvel_test {

// Switches the trace log to a private file for the scope; lines() returns the
// message texts ("Info:set_lab in" ...) written so far.
class TraceCapture {
public:
    explicit TraceCapture(uint32_t level = 0x02) {
        name_ = "hxtvel_test_" + std::to_string(::getpid());
        trace_proc_name(name_.c_str());
        trace_remove();
        trace_level(level);
    }
    ~TraceCapture() {
        trace_level(0x51);  // back to the initial settings: stdout, threshold 80
        trace_remove();
        trace_proc_name("tracelog");
    }
    std::string path() const { return "/tmp/" + name_ + "_tracelog.txt"; }
    std::vector<std::string> raw_lines() const { return split_lines(read_file(path())); }
    // Second bracket of each line: the level word and the text.
    std::vector<std::string> lines() const {
        std::vector<std::string> out;
        for (const std::string &l : raw_lines()) {
            size_t a = l.find("][");
            if (a == std::string::npos) continue;
            size_t b = l.find("][", a + 2);
            out.push_back(l.substr(a + 2, b == std::string::npos ? std::string::npos : b - a - 2));
        }
        return out;
    }
    void clear() { trace_remove(); }

private:
    std::string name_;
};

}  // namespace hxtvel_test

#endif  // HXTVEL_TRACE_CAPTURE_H
