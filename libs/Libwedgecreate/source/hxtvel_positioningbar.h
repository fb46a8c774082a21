// hxtvel_positioningbar.h - the positioning bar pattern and its drawing.
#ifndef HXTVEL_POSITIONINGBAR_H
#define HXTVEL_POSITIONINGBAR_H

#include "hxtvel_mchartcreate.h"

#endif  // HXTVEL_POSITIONINGBAR_H
