/* The header-only stream check compiled as C99, for comparison with the
 * same header compiled as C++ (tests/test_stream_check.cpp). */
#include <hxtvel/hxtvel.h>

hxtvel_stream_check stream_check_as_c(const unsigned char *buffer, size_t size);

hxtvel_stream_check stream_check_as_c(const unsigned char *buffer, size_t size) {
    return hxtvel_check_spectrobin(buffer, size);
}
