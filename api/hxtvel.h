/*
 * hxtvel.h - the whole hxtvel C interface.
 *
 * hxtvel is a colour-data library for printed measurement charts:
 *   hxtvel_cgats.h       measurement instance, CGATS.17 and text files
 *   hxtvel_mchart.h      measurement chart pages as TIFF (memory or files)
 *   hxtvel_colorconv.h   spectra to XYZ / Lab, colour differences
 *   hxtvel_spectroref.h  charts and spectra of an instrument's stream
 *   hxtvel_trace.h       the trace log
 * Link with -lhxtvel (pkg-config hxtvel, or CMake find_package(hxtvel) and
 * the target hxtvel::hxtvel).
 */
#ifndef HXTVEL_H
#define HXTVEL_H

#include "hxtvel_types.h"
#include "hxtvel_trace.h"
#include "hxtvel_cgats.h"
#include "hxtvel_mchart.h"
#include "hxtvel_colorconv.h"
#include "hxtvel_spectroref.h"

#define HXTVEL_VERSION_MAJOR 1
#define HXTVEL_VERSION_MINOR 0
#define HXTVEL_VERSION_PATCH 0

#endif /* HXTVEL_H */
