/* The public headers as a C99 host sees them: they compile under
 * -std=c99 -pedantic, the record layouts are fixed, and a measurement
 * instance round works through the shared library. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include <hxtvel/hxtvel.h>

#define CHECK(cond)                                                 \
    do {                                                            \
        if (!(cond)) {                                              \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond); \
            return 1;                                               \
        }                                                           \
    } while (0)

int main(void) {
    velSensorInfo sensor;
    velCMYK cmyk[2] = {{0, 0, 0, 100}, {100, 50, 25, 0}};
    velCMYK back[2];
    uint32_t n = 0;
    void *m;

    CHECK(sizeof(velSensorInfo) == 38);
    CHECK(offsetof(velSensorInfo, backing) == 32 && offsetof(velSensorInfo, filter) == 37);
    CHECK(sizeof(velSPECTRO_REF) == 16 && offsetof(velSPECTRO_REF, data) == 8);
    CHECK(sizeof(velPAreaStruct) == 32 && offsetof(velPAreaStruct, whitebar_width) == 28);
    CHECK(sizeof(velMChartStruct) == 52 && offsetof(velMChartStruct, layout_second) == 49);

    m = HXTVEL_CreateCGATSInstance();
    CHECK(m != NULL);
    CHECK(HXTVEL_SetCMYK(m, cmyk, 2) == 0);
    CHECK(HXTVEL_GetCMYK(m, NULL, &n) == 0 && n == 2);
    CHECK(HXTVEL_GetCMYK(m, back, &n) == 0);
    CHECK(memcmp(back, cmyk, sizeof cmyk) == 0);
    memset(&sensor, 0, sizeof sensor);
    strcpy(sensor.instrument, "C host");
    CHECK(HXTVEL_SetSensorInfo(m, sensor) == 0);
    CHECK(HXTVEL_WriteText(NULL, "x", HXTVEL_FILE_COMMA) == 107);
    HXTVEL_DeleteCGATSInstance(m);
    HXTVEL_DeleteCGATSInstance(NULL);
    puts("C host round: ok");
    return 0;
}
