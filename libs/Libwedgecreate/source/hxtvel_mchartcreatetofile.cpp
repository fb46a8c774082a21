// hxtvel_mchartcreatetofile.cpp - drawing chart pages to files.
#include "hxtvel_mchartcreatetofile.h"
