// hxtvel_positioningbar.cpp - the positioning bar pattern and its drawing.
#include "hxtvel_positioningbar.h"
