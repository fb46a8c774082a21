// spectrotransform.cpp - illuminant and colour-matching tables, conversion.
#include "spectrotransform.h"
