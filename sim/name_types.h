// The containers of names that the disk-array model is made of.
#pragma once

#include <ace/Containers_T.h>

#include "sim/name.h"
#include "sim/name_map.h"

using NameList = ACE_Array<Name>;
// A set of host names; every value is 1. The most recently added name comes first in iteration.
using HostSet = NameMap<int>;
