// A private directory for one test.
#pragma once

#include "base/private_directory.h"

// Goes with all it holds.
class TempDirectory : public PrivateDirectory {
public:
    TempDirectory() : PrivateDirectory("stspi-test", AtEnd::remove_all) {}
};
