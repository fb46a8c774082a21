/*
 * measurement_round.c - a host's view of hxtvel: one measurement round
 * through the public C interface.
 *
 *   1. lay out a chart of 12 CMYK patches and draw its pages into memory;
 *   2. "measure" it: build the instrument's spectrobin stream by hand
 *      (flat grey spectra, enough to show the stream format);
 *   3. list the charts of the stream and take the spectra of chart 1;
 *   4. convert each spectrum to L*a*b* (D50, 2 degrees), compare with the
 *      first patch by CIEDE2000;
 *   5. store spectra and Lab in a measurement instance, write it as CGATS,
 *      read it back.
 *
 *   measurement_round [OUTDIR]     (default: the current directory)
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <hxtvel/hxtvel.h>

#define PATCHES 12
#define BANDS 31 /* 400 to 700 nm every 10 nm */

static int ok(const char *what, long code) {
    if (code != 0) fprintf(stderr, "%s failed: %ld\n", what, code);
    return code == 0;
}

static void put16(unsigned char *p, unsigned v) {
    p[0] = (unsigned char)(v >> 8);
    p[1] = (unsigned char)v;
}

static void put32(unsigned char *p, unsigned long v) {
    put16(p, (unsigned)(v >> 16));
    put16(p + 2, (unsigned)(v & 0xFFFF));
}

int main(int argc, char **argv) {
    const char *outdir = argc > 1 ? argv[1] : ".";
    char path[1024];
    velCMYK colours[PATCHES];
    unsigned i, k;

    /* 1. The chart: a black ramp on an A6 page at 150 dpi, 10 mm patches. */
    for (i = 0; i < PATCHES; ++i) {
        colours[i].C = colours[i].M = colours[i].Y = 0.0;
        colours[i].K = 100.0 * i / (PATCHES - 1);
    }
    {
        velPAreaStruct setting = {PATCHES, 1050, 1480, 150, 100, 100, 8, 4, 0};
        void *chart = HXTVEL_CreateMChartInstance();
        unsigned long long size = 0;
        uint32_t pages = 0;
        unsigned char *image;
        if (!ok("HXTVEL_SetMChartSetting", HXTVEL_SetMChartSetting(chart, setting)) ||
            !ok("HXTVEL_SetMChartData_CMYK", HXTVEL_SetMChartData_CMYK(chart, colours, PATCHES)) ||
            !ok("HXTVEL_CreateTiff_M (size)", HXTVEL_CreateTiff_M(chart, NULL, &size, &pages, HXTVEL_POSBAR_ON)))
            return 1;
        image = malloc(size);
        if (!image || !ok("HXTVEL_CreateTiff_M", HXTVEL_CreateTiff_M(chart, image, &size, &pages, HXTVEL_POSBAR_ON)))
            return 1;
        printf("chart: %u page(s), %llu bytes of TIFF in memory\n", (unsigned)pages, size);
        free(image);
        HXTVEL_DeleteMChartInstance(chart);
    }

    /* 2. The instrument's stream: header, one chart block of 4 x 3 patches. */
    enum { HEADER = 37, BLOCK = 21, BPP = 2 * BANDS };
    static unsigned char stream[HEADER + BLOCK + PATCHES * BPP];
    memset(stream, 0, sizeof stream);
    stream[0] = 1;                          /* sensor ID */
    stream[1] = 1;                          /* one chart */
    strcpy((char *)stream + 2, "example spectro");
    stream[34] = 1;                         /* white backing */
    stream[35] = 23;                        /* temperature */
    stream[36] = 45;                        /* humidity */
    {
        unsigned char *b = stream + HEADER;
        b[0] = 1;                           /* chart ID */
        put32(b + 1, PATCHES * BPP + 16);
        put32(b + 5, PATCHES);
        put16(b + 9, 4);                    /* columns */
        put16(b + 11, 3);                   /* rows */
        b[14] = 2;                          /* D50 */
        put16(b + 19, BPP);
        for (i = 0; i < PATCHES; ++i)       /* reflectance falls with the black */
            for (k = 0; k < BANDS; ++k)
                put16(b + BLOCK + i * BPP + 2 * k, (unsigned)(8800 - 8400 * colours[i].K / 100.0));
    }

    /* 3. Charts of the stream, and the spectra of chart 1. */
    uint32_t charts = 0, count = 0, values = 0;
    unsigned char id;
    velSPECTRO_REF refs[PATCHES];
    static double spectra[PATCHES][BANDS];
    velSensorInfo sensor;
    if (!ok("HXTVEL_GetMChartIDList", HXTVEL_GetMChartIDList(stream, NULL, &charts)) || charts != 1 ||
        !ok("HXTVEL_GetMChartIDList", HXTVEL_GetMChartIDList(stream, &id, &charts)) ||
        !ok("HXTVEL_GetSpectrorefByMChartID", HXTVEL_GetSpectrorefByMChartID(stream, id, NULL, &count, &values, NULL)))
        return 1;
    for (i = 0; i < count; ++i) refs[i].data = spectra[i];
    if (!ok("HXTVEL_GetSpectrorefByMChartID", HXTVEL_GetSpectrorefByMChartID(stream, id, refs, &count, &values, &sensor)))
        return 1;
    printf("stream: chart %u, %u patches of %u values, instrument \"%s\"\n", id, (unsigned)count,
           (unsigned)values, sensor.instrument);

    /* 4. Lab and the difference of every patch from the first. */
    velCIELab lab[PATCHES];
    for (i = 0; i < count; ++i) {
        double de = 0;
        if (!ok("HXTVEL_SpectroRefToLAB", HXTVEL_SpectroRefToLAB(HXTVEL_LIGHT_D50, refs[i], HXTVEL_OBSERVER_2, &lab[i])) ||
            !ok("HXTVEL_DeltaE", HXTVEL_DeltaE(HXTVEL_DE_2000, lab[0], lab[i], &de)))
            return 1;
        printf("  patch %2u: K %5.1f%%  L*=%6.2f a*=%5.2f b*=%5.2f  dE00 from patch 1 = %6.2f\n", i + 1, colours[i].K,
               lab[i].L, lab[i].a, lab[i].b, de);
    }

    /* 5. The measurement as a CGATS file, and back. */
    void *m = HXTVEL_CreateCGATSInstance();
    snprintf(path, sizeof path, "%s/measurement_round.cgats", outdir);
    if (!ok("HXTVEL_SetSpectroRef", HXTVEL_SetSpectroRef(m, refs, count)) ||
        !ok("HXTVEL_SetLAB", HXTVEL_SetLAB(m, lab, count)) ||
        !ok("HXTVEL_SetSensorInfo", HXTVEL_SetSensorInfo(m, sensor)) ||
        !ok("HXTVEL_WriteCGATS", HXTVEL_WriteCGATS(m, path)))
        return 1;
    HXTVEL_DeleteCGATSInstance(m);
    m = HXTVEL_CreateCGATSInstance();
    uint32_t back = 0;
    if (!ok("HXTVEL_ReadCGATS", HXTVEL_ReadCGATS(m, path, HXTVEL_CLR_LAB | HXTVEL_CLR_SPECTRAL)) ||
        !ok("HXTVEL_GetLAB", HXTVEL_GetLAB(m, NULL, &back)))
        return 1;
    printf("CGATS: %s written and read back, %u Lab records\n", path, (unsigned)back);
    HXTVEL_DeleteCGATSInstance(m);
    return back == count ? 0 : 1;
}
