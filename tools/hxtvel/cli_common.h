// cli_common.h - what every hxtvel subcommand shares: exit codes, errors,
// library result codes in words, whole-file reading, outputs that appear only
// when complete, and a progress line for long work.
#ifndef HXTVEL_CLI_COMMON_H
#define HXTVEL_CLI_COMMON_H

#include <cstddef>
#include <cstdint>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace hxcli {

// Exit status of the tool, documented in --help and the README.
enum exit_status : int {
    exit_ok = 0,  // done
    exit_tolerance = 1, // compare: a difference above the tolerance
    exit_usage = 2,     // bad command line
    exit_input = 3,     // an input file is missing, unreadable or malformed
    exit_io = 4,        // an output could not be written
};

// A failure that ends the command: its message goes to standard error as
// "hxtvel: <message>" and its status becomes the exit status.
class cli_error : public std::runtime_error {
public:
    cli_error(int status, const std::string &message) : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

[[noreturn]] void fail(int status, const std::string &message);

// Library result codes in words, by family and operation.
std::string measurement_code_text(uint32_t code, bool writing);
std::string chart_code_text(uint32_t code);
std::string conversion_code_text(uint32_t code);
std::string wedge_code_text(int32_t code);

// Whole file as bytes; a missing or unreadable file is exit_input.
std::vector<unsigned char> read_binary(const std::string &path);

// Outputs are written under temporary names in their own directory (created
// if missing) and renamed into place by commit(); whatever was not committed,
// directories created for it included, is removed when the stage goes out of
// scope, so a failed command leaves nothing half-written.
class output_stage {
public:
    output_stage() = default;
    ~output_stage();
    output_stage(const output_stage &) = delete;
    output_stage &operator=(const output_stage &) = delete;

    // Temporary name for the final path (same directory).
    std::string add(const std::string &final_path);
    // A temporary name prefix in the directory of final_prefix, for a writer
    // that appends its own suffixes (chart pages: "<prefix><n>.tif").
    std::string add_prefix(const std::string &final_prefix);
    // Registers one file written under a temporary prefix.
    void add_written(const std::string &temp_path, const std::string &final_path);
    // Renames every registered file into place (exit_io on failure).
    void commit();
    // Final paths, in registration order.
    std::vector<std::string> finals() const;

private:
    struct entry {
        std::string temp, final_path;
    };
    std::vector<entry> entries_;
    std::vector<std::string> prefixes_;
    std::vector<std::string> made_;  // directories created for the outputs, removed again on failure
    bool committed_ = false;
};

// Writes bytes or text to path (a temporary name of an output_stage);
// exit_io naming final_path and the system's reason on failure.
void write_bytes(const std::string &path, const void *data, size_t size, const std::string &final_path);
void write_text_file(const std::string &path, const std::string &text, const std::string &final_path);

// Creates a directory (and its parents) if missing; exit_io naming the path
// and the system's reason on failure. Returns the directories it created.
std::vector<std::string> make_directories(const std::string &path);

// "dir/name" for a directory and a file name.
std::string join_path(const std::string &dir, const std::string &name);

// A one-line progress report on standard error, shown only when standard
// error is a terminal and the work has taken more than a second.
class progress {
public:
    progress(std::string what, size_t total);
    ~progress();
    void update(size_t done);

private:
    std::string what_;
    size_t total_;
    std::chrono::steady_clock::time_point start_;
    bool tty_;
    bool shown_ = false;
};

// Summary statistics of a list of colour differences.
struct de_summary {
    size_t count = 0;
    double mean = 0, median = 0, max = 0, p95 = 0;
    size_t max_index = 0;  // the first of the largest
    size_t over = 0;       // values above the tolerance
};
// p95 is the nearest-rank 95th percentile; the median of an even count is
// the mean of the two middle values.
de_summary summarise(const std::vector<double> &values, std::optional<double> tolerance = std::nullopt);

}  // namespace hxcli

#endif  // HXTVEL_CLI_COMMON_H
