// cli_common.cpp - shared services of the hxtvel subcommands.
#include "cli_common.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace hxcli {

void fail(int status, const std::string &message) { throw cli_error(status, message); }

std::string measurement_code_text(uint32_t code, bool writing) {
    switch (code) {
    case 101: return writing ? "writing failed (disk full or I/O error)" : "no colour kind was requested";
    case 102: return "the file breaks the CGATS format";
    case 103: return writing ? "there is nothing to write (no data sets, or colour kinds with different counts)"
                             : "spectral data was asked for, but no spectral column was understood";
    case 104: return writing ? "the file could not be created" : "the file could not be opened";
    case 105: return "a value is out of its permitted range";
    case 106: return "the measurement instance already holds data read from a file";
    case 107: return "invalid argument";
    case 108: return "out of memory";
    default: return "unexpected result code " + std::to_string(code);
    }
}

std::string chart_code_text(uint32_t code) {
    switch (code) {
    case 202: return "the setting cannot give a page (page too small for one patch and the bar, "
                     "or the white bars leave no room in a patch)";
    case 203: return "no patch colours were set";
    case 204: return "the resolution is out of range (30 to 1200 dpi) or a page would reach 4 GiB";
    case 205: return "a page could not be drawn";
    case 206: return "invalid chart setting or argument";
    case 207: return "out of memory";
    case 208: return "a page file could not be created";
    case 209: return "a page file could not be written (disk full or I/O error)";
    default: return "unexpected result code " + std::to_string(code);
    }
}

std::string conversion_code_text(uint32_t code) {
    switch (code) {
    case 302: return "invalid illuminant, observer or method";
    case 303: return "out of memory";
    case 304: return "the wavelengths are outside 380 to 780 nm (or not on a 10 nm grid), "
                     "or a Lab value is out of range";
    default: return "unexpected result code " + std::to_string(code);
    }
}

std::string wedge_code_text(int32_t code) {
    switch (code) {
    case 402: return "the stream is malformed, or the chart is not in it";
    case 403: return "out of memory";
    default: return "unexpected result code " + std::to_string(code);
    }
}

void write_bytes(const std::string &path, const void *data, size_t size, const std::string &final_path) {
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) fail(exit_io, final_path + ": cannot create (" + std::strerror(errno) + ")");
    const bool written = std::fwrite(data, 1, size, f) == size;
    const int saved = errno;
    if (std::fclose(f) != 0 || !written) {
        fail(exit_io, final_path + ": write failed (" + std::strerror(written ? errno : saved) + ")");
    }
}

void write_text_file(const std::string &path, const std::string &text, const std::string &final_path) {
    write_bytes(path, text.data(), text.size(), final_path);
}

std::vector<unsigned char> read_binary(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) fail(exit_input, path + ": cannot open (" + std::strerror(errno) + ")");
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) fail(exit_input, path + ": read error");
    return bytes;
}

namespace {

std::string dir_of(const std::string &path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string base_of(const std::string &path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string temp_name(const std::string &final_path) {
    static unsigned counter = 0;
    return join_path(dir_of(final_path), "." + base_of(final_path) + ".tmp" +
                                             std::to_string(::getpid()) + "_" +
                                             std::to_string(counter++));
}

}  // namespace

std::string join_path(const std::string &dir, const std::string &name) {
    if (dir.empty() || dir == ".") return name;
    return dir.back() == '/' ? dir + name : dir + "/" + name;
}

output_stage::~output_stage() {
    if (committed_) return;
    for (const entry &e : entries_) std::remove(e.temp.c_str());
    for (auto d = made_.rbegin(); d != made_.rend(); ++d) ::rmdir(d->c_str());
}

std::string output_stage::add(const std::string &final_path) {
    const std::vector<std::string> made = make_directories(dir_of(final_path));
    made_.insert(made_.end(), made.begin(), made.end());
    entries_.push_back({temp_name(final_path), final_path});
    return entries_.back().temp;
}

std::string output_stage::add_prefix(const std::string &final_prefix) {
    const std::vector<std::string> made = make_directories(dir_of(final_prefix));
    made_.insert(made_.end(), made.begin(), made.end());
    prefixes_.push_back(temp_name(final_prefix) + "_");
    return prefixes_.back();
}

void output_stage::add_written(const std::string &temp_path, const std::string &final_path) {
    entries_.push_back({temp_path, final_path});
}

void output_stage::commit() {
    for (const entry &e : entries_) {
        if (std::rename(e.temp.c_str(), e.final_path.c_str()) != 0) {
            fail(exit_io, e.final_path + ": cannot move the finished file into place (" +
                              std::strerror(errno) + ")");
        }
    }
    committed_ = true;
}

std::vector<std::string> output_stage::finals() const {
    std::vector<std::string> out;
    for (const entry &e : entries_) out.push_back(e.final_path);
    return out;
}

std::vector<std::string> make_directories(const std::string &path) {
    std::vector<std::string> made;
    if (path.empty()) return made;
    std::string partial;
    size_t pos = 0;
    while (pos != std::string::npos) {
        pos = path.find('/', pos + 1);
        partial = path.substr(0, pos);
        if (partial.empty()) continue;
        if (::mkdir(partial.c_str(), 0777) == 0) {
            made.push_back(partial);
        } else if (errno != EEXIST) {
            fail(exit_io, partial + ": cannot create directory (" + std::strerror(errno) + ")");
        }
    }
    struct stat st;
    if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        fail(exit_io, path + ": not a directory");
    }
    return made;
}

progress::progress(std::string what, size_t total)
    : what_(std::move(what)), total_(total), start_(std::chrono::steady_clock::now()),
      tty_(::isatty(STDERR_FILENO) != 0) {}

progress::~progress() {
    if (shown_) std::fprintf(stderr, "\r\033[K");
}

void progress::update(size_t done) {
    if (!tty_) return;
    const double secs =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    if (secs < 1.0) return;
    shown_ = true;
    std::fprintf(stderr, "\r%s %zu/%zu (%.1f s)\033[K", what_.c_str(), done, total_, secs);
    std::fflush(stderr);
}

de_summary summarise(const std::vector<double> &values, std::optional<double> tolerance) {
    de_summary s;
    s.count = values.size();
    if (values.empty()) return s;
    double sum = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        sum += values[i];
        if (values[i] > s.max || i == 0) {
            s.max = values[i];
            s.max_index = i;
        }
        if (tolerance && values[i] > *tolerance) ++s.over;
    }
    s.mean = sum / static_cast<double>(values.size());
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    const size_t n = sorted.size();
    s.median = n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2.0;
    const size_t rank = static_cast<size_t>(std::ceil(0.95 * static_cast<double>(n)));
    s.p95 = sorted[rank == 0 ? 0 : rank - 1];
    return s;
}

}  // namespace hxcli
