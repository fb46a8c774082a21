// hxtvel_mchartcreatetofile.h - drawing chart pages to files: one TIFF file
// per page, written row by row from one row buffer (c_mchart, declared in
// hxtvel_mchartcreate.h).
#ifndef HXTVEL_MCHARTCREATETOFILE_H
#define HXTVEL_MCHARTCREATETOFILE_H

#include "hxtvel_mchartcreate.h"

#endif  // HXTVEL_MCHARTCREATETOFILE_H
