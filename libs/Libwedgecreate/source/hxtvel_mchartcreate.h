// hxtvel_mchartcreate.h - c_mchart: chart settings, geometry, TIFF encoding
// and drawing.
#ifndef HXTVEL_MCHARTCREATE_H
#define HXTVEL_MCHARTCREATE_H

#include "hxtvel_mchart.h"

#endif  // HXTVEL_MCHARTCREATE_H
