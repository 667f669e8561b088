// Where the things are that a cycle leaves when it is told to keep them.
#pragma once

#include <string>

#include "simhost/report/report.h"

// Tells the image and the mount that the report's result names, and the directories that were made. image_root: below which
// the image library keeps images of LSUs that are no directories.
void tell_kept_things(Report &report, const std::string &image_root);
