/*
 * hxtvel_types.h - records, enums and the export macro shared by every
 * family of the hxtvel C interface.
 *
 * All records are plain C structs passed by address (arrays of them) unless a
 * function says otherwise. Numbers are native-endian. velSensorInfo is packed
 * to exactly 38 bytes; every other record has natural alignment.
 *
 * Compiles as C99 and as C++.
 */
#ifndef HXTVEL_TYPES_H
#define HXTVEL_TYPES_H

#include <stdint.h>

#if defined(HXTVEL_BUILDING_LIBRARY)
#  define HXTVEL_API __attribute__((visibility("default")))
#else
#  define HXTVEL_API
#endif

#ifdef __cplusplus
#  define HXTVEL_EXTERN_C_BEGIN extern "C" {
#  define HXTVEL_EXTERN_C_END }
#else
#  define HXTVEL_EXTERN_C_BEGIN
#  define HXTVEL_EXTERN_C_END
#endif

/* Compile-time check usable in C99 and C++ (a negative array size fails). */
#define HXTVEL_STATIC_CHECK(name, cond) typedef char hxtvel_check_##name[(cond) ? 1 : -1]

/* One CIE L*a*b* colour. L 0..100, a and b -128..128 on input. */
typedef struct velCIELab {
    double L;
    double a;
    double b;
} velCIELab;

/* One CIE XYZ colour. Not negative on input, no upper bound. */
typedef struct velCIEXYZ {
    double X;
    double Y;
    double Z;
} velCIEXYZ;

/* One RGB colour, each component 0..255. */
typedef struct velRGB {
    double R;
    double G;
    double B;
} velRGB;

/* One CMYK colour, each component in percent 0..100. */
typedef struct velCMYK {
    double C;
    double M;
    double Y;
    double K;
} velCMYK;

/*
 * Measuring conditions of the instrument: exactly 38 bytes, no padding,
 * passed by value to HXTVEL_SetSensorInfo, filled by
 * HXTVEL_GetSpectrorefByMChartID. The codes (constants below):
 *   backing       HXTVEL_BACKING_*: 0 unknown, 1 white, 2 black
 *   temperature   any (written as a plain number)
 *   humidity      any (written as a plain number)
 *   illumination  HXTVEL_ILLUMINATION_*: 0 A, 1 C, 2 D50, 3 D65, 4 F2, 5 F7,
 *                 6 F11, 7 F12, 8 D75, 9 D55, 10 F8, 11 F10
 *   observer      HXTVEL_OBSERVER_ANGLE_*: 0 two degrees, 1 ten degrees
 *   filter        HXTVEL_FILTER_*: 0 none, 1 UV cut
 * instrument must hold a NUL within its 32 bytes (0 to 31 characters).
 *
 * WARNING: the illumination code is NOT the illuminant argument of
 * HXTVEL_SpectroRefToLAB / HXTVEL_SpectroRefToXYZ (in_light: 1 = D50,
 * 2 = D65, 3 = A). The codes map as
 *     illumination 2 (D50) -> in_light 1 (HXTVEL_LIGHT_D50)
 *     illumination 3 (D65) -> in_light 2 (HXTVEL_LIGHT_D65)
 *     illumination 0 (A)   -> in_light 3 (HXTVEL_LIGHT_A)
 * and the conversion knows no other illuminant; hxtvel_light_of_illumination
 * (hxtvel_colorconv.h) does this mapping. The observer code, by contrast, is
 * the conversion's in_percmf as it stands (0 = 2 degrees, 1 = 10 degrees).
 */
#define HXTVEL_BACKING_UNKNOWN 0
#define HXTVEL_BACKING_WHITE 1
#define HXTVEL_BACKING_BLACK 2
#define HXTVEL_ILLUMINATION_A 0
#define HXTVEL_ILLUMINATION_C 1
#define HXTVEL_ILLUMINATION_D50 2
#define HXTVEL_ILLUMINATION_D65 3
#define HXTVEL_ILLUMINATION_F2 4
#define HXTVEL_ILLUMINATION_F7 5
#define HXTVEL_ILLUMINATION_F11 6
#define HXTVEL_ILLUMINATION_F12 7
#define HXTVEL_ILLUMINATION_D75 8
#define HXTVEL_ILLUMINATION_D55 9
#define HXTVEL_ILLUMINATION_F8 10
#define HXTVEL_ILLUMINATION_F10 11
#define HXTVEL_OBSERVER_ANGLE_2 0
#define HXTVEL_OBSERVER_ANGLE_10 1
#define HXTVEL_FILTER_NONE 0
#define HXTVEL_FILTER_UVCUT 1
#pragma pack(push, 1)
typedef struct velSensorInfo {
    char instrument[32];
    uint8_t backing;
    uint8_t temperature;
    uint8_t humidity;
    uint8_t illumination;
    uint8_t observer;
    uint8_t filter;
} velSensorInfo;
#pragma pack(pop)

/*
 * One spectral reflectance measurement: wavelengths start..end (nm) in steps
 * of pitch, one double per wavelength in data (1.0 = perfect white). The
 * number of values is (end - start) / pitch + 1 in 16-bit arithmetic, 0 when
 * pitch is 0. The library copies values in and out; data always belongs to
 * whoever filled the record.
 */
typedef struct velSPECTRO_REF {
    uint16_t start;
    uint16_t end;
    uint16_t pitch;
    double *data;
} velSPECTRO_REF;

/* Delimiter of HXTVEL_WriteText. Any other value is refused with 107. */
typedef enum HXTVEL_FileType {
    HXTVEL_FILE_COMMA = 0, /* fields separated by "," */
    HXTVEL_FILE_TAB = 1    /* fields separated by a tab */
} HXTVEL_FileType;

/* Unit of the size fields of a returned velMChartStruct. */
typedef enum HXTVEL_UnitType {
    HXTVEL_UNIT_PIXEL = 0,   /* pixels */
    HXTVEL_UNIT_TENTH_MM = 1 /* tenths of a millimetre (254 to the inch) */
} HXTVEL_UnitType;

/* Whether a positioning bar is drawn below the patches of each page. */
typedef enum HXTVEL_PosBar {
    HXTVEL_POSBAR_OFF = 0,
    HXTVEL_POSBAR_ON = 1
} HXTVEL_PosBar;

/*
 * Chart setting, lengths in tenths of a millimetre.
 *   layout_first  corner of patch 0: 8 top left, 4 top right,
 *                 2 bottom left, 1 bottom right
 *   layout_second first direction: 4 rightwards, 8 leftwards,
 *                 1 downwards, 2 upwards (must lead away from the corner)
 *   whitebar_width 0..60, pixels at 300 dpi
 */
typedef struct velPAreaStruct {
    uint32_t patch_count;
    uint32_t page_width;
    uint32_t page_height;
    uint32_t resolution;     /* dots per inch, 30..1200 */
    uint32_t patch_width;
    uint32_t patch_height;
    uint8_t layout_first;
    uint8_t layout_second;
    uint32_t whitebar_width;
} velPAreaStruct;

/* Geometry of one chart page. Size fields in pixels or 0.1 mm (see
 * HXTVEL_UnitType); positions always in pixels. */
typedef struct velMChartStruct {
    uint32_t patch_count;
    uint32_t columns;
    uint32_t rows;
    uint32_t image_width;
    uint32_t image_height;
    uint32_t sidebar_left;
    uint32_t grid_top;
    uint32_t resolution;
    uint32_t patch_width;
    uint32_t patch_height;
    uint32_t bar_left;
    uint32_t bar_top;
    uint8_t layout_first;
    uint8_t layout_second;
} velMChartStruct;

HXTVEL_STATIC_CHECK(lab_size, sizeof(velCIELab) == 24);
HXTVEL_STATIC_CHECK(xyz_size, sizeof(velCIEXYZ) == 24);
HXTVEL_STATIC_CHECK(rgb_size, sizeof(velRGB) == 24);
HXTVEL_STATIC_CHECK(cmyk_size, sizeof(velCMYK) == 32);
HXTVEL_STATIC_CHECK(sensorinfo_size, sizeof(velSensorInfo) == 38);
HXTVEL_STATIC_CHECK(pagearea_size, sizeof(velPAreaStruct) == 32);
HXTVEL_STATIC_CHECK(mchart_size, sizeof(velMChartStruct) == 52);

/* Result codes. 0 is success in every family. */
#define HXTVEL_OK 0u
/* measurement instance family */
#define HXTVEL_E_WRITE 101u       /* no colour kind to read / a write failed */
#define HXTVEL_E_FORMAT 102u      /* the file breaks the accepted format */
#define HXTVEL_E_NODATA 103u      /* nothing to write / no spectral column */
#define HXTVEL_E_OPEN 104u        /* a file could not be opened */
#define HXTVEL_E_RANGE 105u       /* value out of range, bad sensor info */
#define HXTVEL_E_READDONE 106u    /* instance already holds read data */
#define HXTVEL_E_ARG 107u         /* invalid argument, null handle */
#define HXTVEL_E_MEMORY 108u      /* memory could not be allocated */
/* chart family */
#define HXTVEL_E_CHART_SETTING 202u  /* setting missing or unusable */
#define HXTVEL_E_CHART_NOCOLOR 203u  /* no patch colours set */
#define HXTVEL_E_CHART_SIZE 204u     /* resolution out of range, page too big */
#define HXTVEL_E_CHART_DRAW 205u     /* page could not be drawn */
#define HXTVEL_E_CHART_ARG 206u      /* bad argument, null handle */
#define HXTVEL_E_CHART_MEMORY 207u   /* memory, or data not there yet */
#define HXTVEL_E_CHART_OPEN 208u     /* page file could not be opened */
#define HXTVEL_E_CHART_WRITE 209u    /* page file could not be written */
/* spectral conversion and colour difference */
#define HXTVEL_E_CONV_ARG 302u
#define HXTVEL_E_CONV_MEMORY 303u
#define HXTVEL_E_CONV_RANGE 304u
/* wedge division (signed codes) */
#define HXTVEL_E_WEDGE_DATA 402
#define HXTVEL_E_WEDGE_MEMORY 403

/*
 * A short phrase for any result code of any family, for messages:
 *   fprintf(stderr, "read failed: %s\n", hxtvel_code_text(code));
 * Header-only: no library call. Codes mean slightly different things in
 * different operations of a family (101 is "no colour kind" when reading and
 * "write failed" when writing); the phrase names both where they differ.
 */
static inline const char *hxtvel_code_text(int64_t code) {
    switch (code) {
    case 0: return "success";
    case 101: return "no colour kind requested (reading), or the file could not be written (writing)";
    case 102: return "the file breaks the CGATS format";
    case 103: return "nothing to write (no data sets), or no spectral column understood (reading)";
    case 104: return "the file could not be opened";
    case 105: return "a value is out of its range, or the sensor information is invalid";
    case 106: return "the instance already holds data read from a file";
    case 107: return "invalid argument (null handle or pointer, zero count, unknown kind or file type)";
    case 108: return "out of memory";
    case 202: return "the chart setting is missing or cannot give a page";
    case 203: return "no patch colours set";
    case 204: return "resolution out of range (30 to 1200 dpi), or a page of 4 GiB or more";
    case 205: return "a page could not be drawn";
    case 206: return "invalid chart argument or setting (null handle included)";
    case 207: return "out of memory, or nothing drawn yet";
    case 208: return "a page file could not be opened";
    case 209: return "a page file could not be written";
    case 302: return "invalid illuminant, observer, method or result pointer";
    case 303: return "out of memory";
    case 304: return "wavelengths outside 380 to 780 nm, or a L*a*b* value out of range";
    case 402: return "bad argument or stream data, or the chart ID is not in the stream";
    case 403: return "out of memory";
    default: return "unknown result code";
    }
}

#endif /* HXTVEL_TYPES_H */
