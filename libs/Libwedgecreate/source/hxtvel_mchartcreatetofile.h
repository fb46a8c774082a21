// hxtvel_mchartcreatetofile.h - drawing chart pages to files.
#ifndef HXTVEL_MCHARTCREATETOFILE_H
#define HXTVEL_MCHARTCREATETOFILE_H

#include "hxtvel_mchartcreate.h"

#endif  // HXTVEL_MCHARTCREATETOFILE_H
