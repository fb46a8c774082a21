// test_support.h - small helpers shared by the unit tests.
#ifndef HXTVEL_TEST_SUPPORT_H
#define HXTVEL_TEST_SUPPORT_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace hxtvel_test {

// A fresh directory under /tmp, removed with its contents at scope exit.
class TempDir {
public:
    TempDir() {
        char tmpl[] = "/tmp/hxtvel_test_XXXXXX";
        const char *p = mkdtemp(tmpl);
        path_ = p ? p : "/tmp";
    }
    ~TempDir() {
        if (path_ != "/tmp") {
            std::string cmd = "rm -rf '" + path_ + "'";
            if (std::system(cmd.c_str()) != 0) {
            }
        }
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline void write_file(const std::string &path, const std::string &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

inline std::vector<std::string> split_lines(const std::string &text) {
    std::vector<std::string> lines;
    std::string line;
    std::istringstream in(text);
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

inline bool file_exists(const std::string &path) { return ::access(path.c_str(), F_OK) == 0; }

}  // namespace hxtvel_test

#endif  // HXTVEL_TEST_SUPPORT_H
