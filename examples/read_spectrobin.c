/*
 * read_spectrobin.c - a host reading an instrument's spectrobin file safely:
 * the whole file into memory, the header-only length check before any
 * library call, the chart list, and every patch's spectrum as L*a*b* under
 * the conditions the instrument states (D50 and 2 degrees when it states an
 * illuminant the conversion does not know).
 *
 *   read_spectrobin measurement.spectrobin
 *
 * Exit status 0, or 1 with a message naming what is wrong.
 */
#include <stdio.h>
#include <stdlib.h>

#include <hxtvel/hxtvel.h>

static unsigned char *read_all(const char *path, size_t *size) {
    FILE *f = fopen(path, "rb");
    unsigned char *bytes = NULL;
    size_t used = 0, room = 0, n;
    if (!f) return NULL;
    do {
        if (used == room) {
            unsigned char *more = realloc(bytes, room = room ? 2 * room : 65536);
            if (!more) break;
            bytes = more;
        }
        n = fread(bytes + used, 1, room - used, f);
        used += n;
    } while (n > 0);
    fclose(f);
    *size = used;
    return bytes;
}

int main(int argc, char **argv) {
    size_t size = 0;
    unsigned char *stream;
    hxtvel_stream_check check;
    uint32_t charts = 0, c;
    unsigned char *ids;
    int32_t code;
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE.spectrobin\n", argv[0]);
        return 1;
    }
    stream = read_all(argv[1], &size);
    if (!stream) {
        perror(argv[1]);
        return 1;
    }
    /* The stream functions take no length: check the bytes first. */
    check = hxtvel_check_spectrobin(stream, size);
    if (check.verdict == HXTVEL_STREAM_TRUNCATED) {
        fprintf(stderr, "%s: cut short at byte %llu: block %d %s needs bytes up to %llu\n", argv[1],
                (unsigned long long)check.size, (int)check.block, check.field,
                (unsigned long long)check.field_end);
        return 1;
    }
    if (check.verdict == HXTVEL_STREAM_IMPLAUSIBLE) {
        fprintf(stderr, "%s: block %d: %s %llu is beyond %llu\n", argv[1], (int)check.block, check.field,
                (unsigned long long)check.value, (unsigned long long)check.limit);
        return 1;
    }
    code = HXTVEL_GetMChartIDList(stream, NULL, &charts);
    if (code != 0) {
        fprintf(stderr, "%s: %s\n", argv[1], hxtvel_code_text(code));
        return 1;
    }
    printf("%s: %u chart%s\n", argv[1], (unsigned)charts, charts == 1 ? "" : "s");
    ids = malloc(charts ? charts : 1);
    if (!ids || (charts && HXTVEL_GetMChartIDList(stream, ids, &charts) != 0)) return 1;
    for (c = 0; c < charts; ++c) {
        uint32_t patches = 0, values = 0, p;
        velSensorInfo sensor;
        velSPECTRO_REF *refs;
        double *data;
        int32_t light;
        /* Query mode first: how many patches, how many values each. */
        code = HXTVEL_GetSpectrorefByMChartID(stream, ids[c], NULL, &patches, &values, NULL);
        if (code != 0) {
            fprintf(stderr, "chart %u: %s\n", ids[c], hxtvel_code_text(code));
            continue;
        }
        /* One record more than the patches, so that a chart of none still
           receives the sensor information. */
        refs = calloc(patches + 1, sizeof *refs);
        data = calloc((size_t)(patches + 1) * values, sizeof *data);
        if (!refs || !data) return 1;
        for (p = 0; p <= patches; ++p) refs[p].data = data + (size_t)p * values;
        code = HXTVEL_GetSpectrorefByMChartID(stream, ids[c], refs, &patches, &values, &sensor);
        if (code != 0) return 1;
        /* The instrument's illumination code is not the conversion's
           illuminant: map it. */
        light = hxtvel_light_of_illumination(sensor.illumination);
        if (light == 0) light = HXTVEL_LIGHT_D50;
        printf("chart %u: %u patches\n", ids[c], (unsigned)patches);
        for (p = 0; p < patches; ++p) {
            velCIELab lab;
            code = (int32_t)HXTVEL_SpectroRefToLAB(light, refs[p], sensor.observer, &lab);
            if (code != 0) {
                printf("  %4u  %s\n", (unsigned)p + 1, hxtvel_code_text(code));
            } else {
                printf("  %4u  L* %6.2f  a* %7.2f  b* %7.2f\n", (unsigned)p + 1, lab.L, lab.a, lab.b);
            }
        }
        free(refs);
        free(data);
    }
    free(ids);
    free(stream);
    return 0;
}
