// pending.cpp - exports whose modules have not arrived yet: not supported. A module takes
// its lines away when it comes; the file goes with the last of them.

#include "core/errors.h"
#include "core/image.h"

