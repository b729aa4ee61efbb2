// places.cpp - the only source that is compiled with the place of this tree in it, so that a
// compiler cache knows the others again in another clone.

#include "tests/support/places.h"

std::string sample_path(const std::string& name)
{
    return TREVOLAN_TEST_DATA "/" + name;
}

std::string tool_path()
{
    return TREVOLAN_TOOL;
}
