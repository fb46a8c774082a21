// locale_support.h - a host locale whose decimal separator is a comma, for
// tests that prove number texts do not depend on the host's locale.
#ifndef HXTVEL_LOCALE_SUPPORT_H
#define HXTVEL_LOCALE_SUPPORT_H

#include <clocale>
#include <cstdlib>
#include <string>

#include "test_support.h"

namespace hxtvel_test {

// Sets LC_NUMERIC to a German locale (decimal comma). Where none is
// installed one is compiled into a private directory with localedef. Returns
// false if that is not possible; the caller resets LC_NUMERIC to "C".
inline bool set_comma_numeric_locale() {
    for (const char *name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"}) {
        if (std::setlocale(LC_NUMERIC, name)) return true;
    }
    static TempDir dir;
    static const bool built = [] {
        const std::string cmd = "localedef -i de_DE -f UTF-8 '" + dir.path() +
                                "/de_DE.UTF-8' >/dev/null 2>&1";
        return std::system(cmd.c_str()) == 0;
    }();
    if (!built) return false;
    ::setenv("LOCPATH", dir.path().c_str(), 1);
    return std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
}

}  // namespace hxtvel_test

#endif  // HXTVEL_LOCALE_SUPPORT_H
