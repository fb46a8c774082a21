/*
 * measurement_round.c - a host's view of hxtvel: store a few measured
 * colours in a measurement instance, read them back and print them.
 *
 *   measurement_round [OUTDIR]
 */
#include <stdio.h>
#include <stdlib.h>

#include <hxtvel/hxtvel.h>

static int check(const char *what, uint32_t code) {
    if (code != 0) fprintf(stderr, "%s failed: %u\n", what, (unsigned)code);
    return code == 0;
}

int main(int argc, char **argv) {
    (void)argc;
    (void)argv;
    velCIELab lab[3] = {{95.0, -0.5, 2.0}, {54.0, -37.0, -50.0}, {48.0, 74.0, -3.0}};
    void *m = HXTVEL_CreateCGATSInstance();
    if (!check("HXTVEL_SetLAB", HXTVEL_SetLAB(m, lab, 3))) return 1;

    uint32_t n = 0;
    if (!check("HXTVEL_GetLAB (count)", HXTVEL_GetLAB(m, NULL, &n))) return 1;
    velCIELab *back = malloc(sizeof *back * n);
    if (!back || !check("HXTVEL_GetLAB", HXTVEL_GetLAB(m, back, &n))) return 1;
    printf("%u Lab records stored\n", (unsigned)n);
    for (uint32_t i = 0; i < n; ++i)
        printf("  %u: L*=%.2f a*=%.2f b*=%.2f\n", (unsigned)(i + 1), back[i].L, back[i].a, back[i].b);
    free(back);
    HXTVEL_DeleteCGATSInstance(m);
    return 0;
}
